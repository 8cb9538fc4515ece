// Device information lists and what is read of their devices: properties, registry keys, interfaces. All
// sizes are bytes but those of instance IDs, which are 16-bit units with the terminator.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "simulation/api/DeviceInfoLists.h"
#include "simulation/api/RegistryAccess.h"

namespace simulation {

namespace {

// What SetupDiGetClassDevsW was asked for.
struct Wanted {
    const GUID* guid = nullptr;  ///< of a setup class, or of an interface class when `interfaces`
    Text enumerator;
    bool present = false;
    bool interfaces = false;

    bool hasEnumerator(const DeviceNode& node) const {
        const size_t length = enumerator.size();
        return length == 0 ||
               (node.instanceId.size() > length && node.instanceId[length] == u'\\' &&
                equalNoCase(std::u16string_view(node.instanceId).substr(0, length), enumerator));
    }
};

void addDevice(DeviceInfoList& list, const Wanted& wanted, const DeviceNode& node) {
    if (!wanted.interfaces) {
        if (wanted.present && node.phantom) return;
        if (wanted.guid != nullptr && !sameGuid(node.classGuid, *wanted.guid)) return;
        if (wanted.hasEnumerator(node)) list.add(node);
        return;
    }
    if (wanted.present && !interfacesActive(node)) return;
    bool added = false;
    for (size_t i = 0; i < node.interfaces.size(); ++i) {
        if (wanted.guid != nullptr && !sameGuid(node.interfaces[i].interfaceClass, *wanted.guid)) continue;
        if (!added) list.add(node);
        added = true;
        list.addInterface(node, i);
    }
}

void fillList(DeviceInfoList& list, const Wanted& wanted) {
    if (wanted.interfaces && !wanted.enumerator.empty()) {
        // The ID of no device leaves the list empty.
        const DeviceNode* node = machine().node(wanted.enumerator);
        if (node != nullptr) addDevice(list, wanted, *node);
        return;
    }
    for (const DeviceNode* node : machine().devicesById()) addDevice(list, wanted, *node);
}

// The value's type, and its bytes by the rules of the property readers.
BOOL readProperty(Call& call, const std::map<DWORD, RegistryValue>& properties, DWORD property, DWORD* type,
                  BYTE* buffer, DWORD size, DWORD* required) {
    const auto found = properties.find(property);
    if (found == properties.end()) return call.fails<BOOL>(ERROR_INVALID_DATA);
    const RegistryValue& value = found->second;
    if (type != nullptr && !call.distorted(Distortion::NothingWritten)) *type = value.type;
    if (!copyOut(call, value.bytes.data(), value.bytes.size(), buffer, size, required)) {
        return call.fails<BOOL>(ERROR_INSUFFICIENT_BUFFER);
    }
    return call.returns<BOOL>(TRUE);
}

constexpr unsigned TextDistortions = Distortion::NothingWritten | Distortion::SizeTooLarge |
                                     Distortion::SizeZero | Distortion::OddSize | Distortion::NoTerminator;

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(HDEVINFO, WINAPI, SetupDiCreateDeviceInfoList, (const GUID* setupClass, HWND)) {
    static const Function function{"SetupDiCreateDeviceInfoList",
                                   Fails::WithMinusOne,
                                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED},
                                   0u | Distortion::NullResult};
    Call call(function, setupClass);
    if (const auto fault = call.fault<HDEVINFO>()) return *fault;
    if (call.distorted(Distortion::NullResult)) return call.returns<HDEVINFO>(nullptr);
    auto list = std::make_unique<DeviceInfoList>();
    if (setupClass != nullptr) list->setupClass = *setupClass;
    return call.returns<HDEVINFO>(deviceInfoLists().add(std::move(list), call.name()));
}

SIMULATED(HDEVINFO, WINAPI, SetupDiGetClassDevsW, (const GUID* guid, PCWSTR enumerator, HWND, DWORD flags)) {
    static const Function function{
        "SetupDiGetClassDevsW",
        Fails::WithMinusOne,
        {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER, ERROR_INVALID_DATA, ERROR_ACCESS_DENIED},
        0u | Distortion::NullResult};
    Call call(function, guid, enumerator, flags);
    if (const auto fault = call.fault<HDEVINFO>()) return *fault;
    // A class is left out by ALLCLASSES alone; then a class that is given all the same does not count.
    if (guid == nullptr && (flags & DIGCF_ALLCLASSES) == 0) {
        return call.fails<HDEVINFO>(ERROR_INVALID_PARAMETER);
    }
    // With interfaces the enumerator is a device's instance ID: three parts at least (Wine's test of
    // SetupDiGetClassDevs, run on Windows).
    if ((flags & DIGCF_DEVICEINTERFACE) != 0 && enumerator != nullptr && *enumerator != 0) {
        const Text id = fromWide(enumerator);
        if (std::count(id.begin(), id.end(), u'\\') < 2) return call.fails<HDEVINFO>(ERROR_INVALID_DATA);
    }
    if (call.distorted(Distortion::NullResult)) return call.returns<HDEVINFO>(nullptr);
    Wanted wanted;
    wanted.guid = (flags & DIGCF_ALLCLASSES) != 0 ? nullptr : guid;
    wanted.enumerator = fromWide(enumerator);
    wanted.present = (flags & DIGCF_PRESENT) != 0;
    wanted.interfaces = (flags & DIGCF_DEVICEINTERFACE) != 0;
    auto list = std::make_unique<DeviceInfoList>();
    if (wanted.guid != nullptr && !wanted.interfaces) list->setupClass = *wanted.guid;
    fillList(*list, wanted);
    return call.returns<HDEVINFO>(deviceInfoLists().add(std::move(list), call.name()));
}

SIMULATED(BOOL, WINAPI, SetupDiDestroyDeviceInfoList, (HDEVINFO handle)) {
    static const Function function{"SetupDiDestroyDeviceInfoList",
                                   Fails::WithZero,
                                   {ERROR_INVALID_HANDLE, static_cast<long long>(ERROR_DEVINFO_LIST_LOCKED)},
                                   0};
    Call call(function, handle);
    // Closing is not tried twice: a list whose closing is made to fail is gone all the same.
    const bool closed = deviceInfoLists().close(handle, call.name());
    if (const auto fault = call.fault<BOOL>()) return *fault;
    return closed ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(ERROR_INVALID_HANDLE);
}

SIMULATED(BOOL, WINAPI, SetupDiOpenDeviceInfoW,
          (HDEVINFO handle, PCWSTR id, HWND, DWORD flags, PSP_DEVINFO_DATA data)) {
    static const Function function{
        "SetupDiOpenDeviceInfoW",
        Fails::WithZero,
        {static_cast<long long>(ERROR_NO_SUCH_DEVINST), static_cast<long long>(ERROR_INVALID_DEVINST_NAME),
         ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED},
        0u | Distortion::NothingWritten};
    Call call(function, handle, id, flags);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    DeviceInfoList* list = deviceInfoLists().find(handle, call.name());
    if (list == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    // Without an ID it is the root of the tree. Devices that are not there can be opened too.
    const DeviceNode* node =
        id == nullptr || *id == 0 ? machine().node(machine().root()) : machine().node(fromWide(id));
    if (node == nullptr) return call.fails<BOOL>(static_cast<long long>(ERROR_NO_SUCH_DEVINST));
    if (list->setupClass && !sameGuid(*list->setupClass, node->classGuid)) {
        return call.fails<BOOL>(static_cast<long long>(ERROR_CLASS_MISMATCH));
    }
    DeviceInfoList::Element* element = list->find(node->handle);
    if (element == nullptr) element = &list->add(*node);
    // The device is in the list all the same (Wine's test of SetupDiOpenDeviceInfo, run on Windows).
    if (data != nullptr && data->cbSize != sizeof *data) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    if (data != nullptr && !call.distorted(Distortion::NothingWritten)) list->fill(*data, *element);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiEnumDeviceInfo, (HDEVINFO handle, DWORD index, PSP_DEVINFO_DATA data)) {
    static const Function function{"SetupDiEnumDeviceInfo",
                                   Fails::WithZero,
                                   {ERROR_NO_MORE_ITEMS, ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_HANDLE},
                                   0u | Distortion::NothingWritten};
    Call call(function, handle, index);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const DeviceInfoList* list = deviceInfoLists().find(handle, call.name());
    if (list == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    if (data == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    if (data->cbSize != sizeof *data) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    if (index >= list->elements.size()) return call.fails<BOOL>(ERROR_NO_MORE_ITEMS);
    if (!call.distorted(Distortion::NothingWritten)) list->fill(*data, list->elements[index]);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiGetDeviceInstanceIdW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, PWSTR buffer, DWORD units, PDWORD required)) {
    static const Function function{"SetupDiGetDeviceInstanceIdW",
                                   Fails::WithZero,
                                   {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER,
                                    ERROR_NOT_ENOUGH_MEMORY, static_cast<long long>(ERROR_NO_SUCH_DEVINST)},
                                   TextDistortions};
    Call call(function, handle, deviceOf(data), units);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, true);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (!copyTextOut(call, arguments.node->instanceId, buffer, units, required)) {
        return call.fails<BOOL>(ERROR_INSUFFICIENT_BUFFER);
    }
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiGetDeviceRegistryPropertyW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, DWORD property, PDWORD type, PBYTE buffer, DWORD size,
           PDWORD required)) {
    static const Function function{"SetupDiGetDeviceRegistryPropertyW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_DATA, ERROR_INSUFFICIENT_BUFFER, ERROR_NOT_ENOUGH_MEMORY,
                                    ERROR_ACCESS_DENIED, static_cast<long long>(ERROR_NO_SUCH_DEVINST)},
                                   TextDistortions};
    Call call(function, handle, deviceOf(data), property, size);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, true);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (property >= SPDRP_MAXIMUM_PROPERTY) {
        return call.fails<BOOL>(static_cast<long long>(ERROR_INVALID_REG_PROPERTY));
    }
    return readProperty(call, arguments.node->properties, property, type, buffer, size, required);
}

SIMULATED(BOOL, WINAPI, SetupDiGetClassRegistryPropertyW,
          (const GUID* setupClass, DWORD property, PDWORD type, PBYTE buffer, DWORD size, PDWORD required,
           PCWSTR computer, PVOID reserved)) {
    static const Function function{"SetupDiGetClassRegistryPropertyW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_DATA, ERROR_INSUFFICIENT_BUFFER, ERROR_NOT_ENOUGH_MEMORY,
                                    static_cast<long long>(ERROR_INVALID_CLASS), ERROR_CALL_NOT_IMPLEMENTED},
                                   TextDistortions};
    Call call(function, setupClass, property, size);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    if (setupClass == nullptr || reserved != nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    if (computer != nullptr && *computer != 0) return call.fails<BOOL>(ERROR_NOT_SUPPORTED);
    if (property >= SPCRP_MAXIMUM_PROPERTY) {
        return call.fails<BOOL>(static_cast<long long>(ERROR_INVALID_REG_PROPERTY));
    }
    const auto found = machine().setupClasses.find(*setupClass);
    if (found == machine().setupClasses.end()) {
        return call.fails<BOOL>(static_cast<long long>(ERROR_INVALID_CLASS));
    }
    return readProperty(call, found->second.properties, property, type, buffer, size, required);
}

SIMULATED(HKEY, WINAPI, SetupDiOpenDevRegKey,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, DWORD scope, DWORD profile, DWORD keyType,
           REGSAM access)) {
    static const Function function{
        "SetupDiOpenDevRegKey",
        Fails::WithMinusOne,
        {static_cast<long long>(ERROR_KEY_DOES_NOT_EXIST), ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE,
         static_cast<long long>(ERROR_DEVINFO_NOT_REGISTERED)},
        0u | Distortion::NullResult};
    Call call(function, handle, deviceOf(data), scope, profile, keyType, access);
    if (const auto fault = call.fault<HKEY>()) return *fault;
    const ListArguments arguments(call, handle, data, true);
    if (arguments.error != ERROR_SUCCESS) return call.fails<HKEY>(arguments.error);
    if ((scope != DICS_FLAG_GLOBAL && scope != DICS_FLAG_CONFIGSPECIFIC) ||
        (keyType != DIREG_DEV && keyType != DIREG_DRV)) {
        return call.fails<HKEY>(ERROR_INVALID_FLAGS);
    }
    const Text path = keyType == DIREG_DEV ? Machine::deviceKeyPath(*arguments.node)
                                           : Machine::driverKeyPath(*arguments.node);
    const RegistryKey* key = path.empty() ? nullptr : machine().localMachine().find(path);
    // Of keys that belong to one hardware profile this PC has none.
    if (key == nullptr || scope != DICS_FLAG_GLOBAL) {
        return call.fails<HKEY>(static_cast<long long>(ERROR_KEY_DOES_NOT_EXIST));
    }
    if (key->denied) return call.fails<HKEY>(ERROR_ACCESS_DENIED);
    if (access == 0) return call.fails<HKEY>(ERROR_INVALID_DATA);
    if (call.distorted(Distortion::NullResult)) return call.returns<HKEY>(nullptr);
    const HKEY opened = openKey(u"HKEY_LOCAL_MACHINE", path, call.name());
    if (opened == nullptr) return call.fails<HKEY>(static_cast<long long>(ERROR_KEY_DOES_NOT_EXIST));
    return call.returns(opened);
}

SIMULATED(BOOL, WINAPI, SetupDiEnumDeviceInterfaces,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, const GUID* interfaceClass, DWORD index,
           PSP_DEVICE_INTERFACE_DATA result)) {
    static const Function function{"SetupDiEnumDeviceInterfaces",
                                   Fails::WithZero,
                                   {ERROR_NO_MORE_ITEMS, ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, handle, deviceOf(data), interfaceClass, index);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (interfaceClass == nullptr || result == nullptr || result->cbSize != sizeof *result) {
        return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    }
    const DeviceInfoList& list = *arguments.list;
    std::optional<size_t> found;
    if (arguments.element == nullptr) {
        const auto ofClass = list.interfacesByClass.find(*interfaceClass);
        if (ofClass != list.interfacesByClass.end() && index < ofClass->second.size()) {
            found = ofClass->second[index];
        }
    } else {
        DWORD left = index;
        for (size_t i = 0; i < arguments.element->interfaceCount && !found; ++i) {
            const size_t number = arguments.element->firstInterface + i;
            const DeviceInterface* one = list.deviceInterface(list.interfaces[number]);
            if (one == nullptr || !sameGuid(one->interfaceClass, *interfaceClass)) continue;
            if (left-- == 0) found = number;
        }
    }
    if (!found) return call.fails<BOOL>(ERROR_NO_MORE_ITEMS);
    if (!call.distorted(Distortion::NothingWritten)) list.fill(*result, *found);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiGetDeviceInterfaceDetailW,
          (HDEVINFO handle, PSP_DEVICE_INTERFACE_DATA data, PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail,
           DWORD size, PDWORD required, PSP_DEVINFO_DATA device)) {
    static const Function function{"SetupDiGetDeviceInterfaceDetailW",
                                   Fails::WithZero,
                                   {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_USER_BUFFER,
                                    ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY},
                                   TextDistortions};
    Call call(function, handle, size);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, nullptr, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    DeviceInfoList& list = *arguments.list;
    const DeviceInfoList::Interface* one = list.interfaceOf(data);
    const DeviceInterface* found = one == nullptr ? nullptr : list.deviceInterface(*one);
    if (found == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    // The structure's fixed size is asked for, which padding makes larger than the place of the path.
    constexpr DWORD Header = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
    if (detail == nullptr ? size != 0 : detail->cbSize != sizeof *detail) {
        return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    }

    DWORD pathBytes = 0;
    const bool copied = copyOut(call, found->path.c_str(), (found->path.size() + 1) * sizeof(WCHAR),
                                detail == nullptr || size < Header ? nullptr : detail->DevicePath,
                                size < Header ? 0 : size - Header, &pathBytes);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    if (required != nullptr) *required = call.distorted(Distortion::SizeZero) ? 0 : Header + pathBytes;
    // The device is told even where the path finds no room.
    if (device != nullptr && device->cbSize == sizeof *device)
        list.fill(*device, list.elements[one->element]);
    if (!copied) return call.fails<BOOL>(ERROR_INSUFFICIENT_BUFFER);
    return call.returns<BOOL>(TRUE);
}
