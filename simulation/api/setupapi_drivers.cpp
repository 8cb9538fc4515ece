// Installation parameters, driver lists and the class installer. All three belong to one device in one list,
// or to the list as a whole, and go with it.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "simulation/api/DeviceInfoLists.h"
#include "simulation/api/FileQueues.h"

namespace simulation {

namespace {

// Told by the functions themselves; what a caller sets there does not count.
constexpr DWORD ToldFlagsEx = DI_FLAGSEX_DIDINFOLIST | DI_FLAGSEX_DIDCOMPATINFO;

bool isDriverType(DWORD type) { return type == SPDIT_CLASSDRIVER || type == SPDIT_COMPATDRIVER; }

DWORD toldFlag(DWORD type) {
    return type == SPDIT_CLASSDRIVER ? DI_FLAGSEX_DIDINFOLIST : DI_FLAGSEX_DIDCOMPATINFO;
}

struct FoundDriver {
    DWORD type = SPDIT_NODRIVER;
    size_t position = 0;
    const Driver* driver = nullptr;
};

FoundDriver selectedDriver(const InstallState& install) {
    const auto list = install.driverLists.find(install.selectedType);
    if (list == install.driverLists.end() || install.selected >= list->second.drivers.size()) return {};
    return {list->first, install.selected, &list->second.drivers[install.selected]};
}

bool sameField(const Text& text, const WCHAR* field) {
    const WCHAR* end = std::find(field, field + LINE_LEN, L'\0');
    const Text value = fromWide(field, static_cast<size_t>(end - field));
    return value == std::u16string_view(text).substr(0, LINE_LEN - 1);
}

// The driver that a structure names by what an enumeration left in its Reserved member or, when that is 0, by
// type, description, manufacturer and provider.
FoundDriver findDriver(const InstallState& install, const SP_DRVINFO_DATA_W& data) {
    for (const auto& [type, list] : install.driverLists) {
        if (const auto position = positionOf(data.Reserved, list.serial, list.drivers.size())) {
            return {type, *position, &list.drivers[*position]};
        }
        if (data.Reserved != 0 || data.DriverType != type) continue;
        for (size_t i = 0; i < list.drivers.size(); ++i) {
            const Driver& driver = list.drivers[i];
            if (sameField(driver.description, data.Description) &&
                sameField(driver.manufacturer, data.MfgName) &&
                sameField(driver.provider, data.ProviderName)) {
                return {type, i, &driver};
            }
        }
    }
    return {};
}

bool hasDriverInfoSize(const SP_DRVINFO_DATA_W& data) {
    return data.cbSize == sizeof(SP_DRVINFO_DATA_V2_W) || data.cbSize == sizeof(SP_DRVINFO_DATA_V1_W);
}

FILETIME toFileTime(ULONGLONG ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

void addDrivers(DriverList& list, const DeviceNode& node, bool installedOnly) {
    std::copy_if(node.drivers.begin(), node.drivers.end(), std::back_inserter(list.drivers),
                 [&](const Driver& driver) { return driver.installed || !installedOnly; });
}

// The hardware ID, when it fits, in the open end of the detail structure. A list of IDs is whole or absent.
void copyHardwareId(SP_DRVINFO_DETAIL_DATA_W& detail, const Text& id, size_t room) {
    detail.CompatIDsOffset = 0;
    detail.CompatIDsLength = 0;
    detail.HardwareID[0] = 0;
    if (id.empty() || (id.size() + 1) * sizeof(WCHAR) > room) return;
    auto* place = reinterpret_cast<unsigned char*>(&detail) + offsetof(SP_DRVINFO_DETAIL_DATA_W, HardwareID);
    std::memcpy(place, id.c_str(), (id.size() + 1) * sizeof(WCHAR));
    detail.CompatIDsOffset = static_cast<DWORD>(id.size() + 1);
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(BOOL, WINAPI, SetupDiGetDeviceInstallParamsW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_W params)) {
    static const Function function{"SetupDiGetDeviceInstallParamsW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_PARAMETER, ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, handle, deviceOf(data));
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (params == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    if (params->cbSize != sizeof *params) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    if (!call.distorted(Distortion::NothingWritten)) *params = arguments.install().params;
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiSetDeviceInstallParamsW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_W params)) {
    static const Function function{
        "SetupDiSetDeviceInstallParamsW",
        Fails::WithZero,
        {ERROR_INVALID_PARAMETER, ERROR_INVALID_FLAGS, ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY},
        0};
    Call call(function, handle, deviceOf(data), params == nullptr ? 0 : params->Flags,
              params == nullptr ? 0 : params->FlagsEx);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (params == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    if (params->cbSize != sizeof *params) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    // DI_NOVCP says that a queue is given, which must be open.
    if ((params->Flags & DI_NOVCP) != 0 && fileQueues().find(params->FileQueue, call.name()) == nullptr) {
        return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    }
    SP_DEVINSTALL_PARAMS_W& kept = arguments.install().params;
    const DWORD told = kept.FlagsEx & ToldFlagsEx;
    kept = *params;
    kept.FlagsEx = (params->FlagsEx & ~ToldFlagsEx) | told;
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiBuildDriverInfoList, (HDEVINFO handle, PSP_DEVINFO_DATA data, DWORD type)) {
    static const Function function{"SetupDiBuildDriverInfoList",
                                   Fails::WithZero,
                                   {static_cast<long long>(ERROR_NO_COMPAT_DRIVERS), ERROR_FILE_NOT_FOUND,
                                    ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED, ERROR_CALL_NOT_IMPLEMENTED},
                                   0};
    Call call(function, handle, deviceOf(data), type);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (!isDriverType(type) || (data == nullptr && type != SPDIT_CLASSDRIVER)) {
        return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    }
    InstallState& install = arguments.install();
    // A list that stands is kept as it is, whatever the flags say by now.
    if (install.driverLists.count(type) != 0) return call.returns<BOOL>(TRUE);
    if (arguments.node != nullptr && arguments.node->driverListFails) {
        return call.fails<BOOL>(static_cast<long long>(ERROR_NO_COMPAT_DRIVERS));
    }
    const bool installedOnly = (install.params.FlagsEx & DI_FLAGSEX_INSTALLEDDRIVER) != 0;
    DriverList list{nextListSerial(), {}};
    if (arguments.node != nullptr) {
        addDrivers(list, *arguments.node, installedOnly);
    } else {
        for (const DeviceNode& node : machine().devices()) {
            const auto& setupClass = arguments.list->setupClass;
            if (!setupClass || sameGuid(node.classGuid, *setupClass)) addDrivers(list, node, installedOnly);
        }
    }
    install.driverLists[type] = std::move(list);
    install.params.FlagsEx |= toldFlag(type);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiDestroyDriverInfoList, (HDEVINFO handle, PSP_DEVINFO_DATA data, DWORD type)) {
    static const Function function{
        "SetupDiDestroyDriverInfoList", Fails::WithZero, {ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER}, 0};
    Call call(function, handle, deviceOf(data), type);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (!isDriverType(type)) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    InstallState& install = arguments.install();
    install.driverLists.erase(type);
    install.params.FlagsEx &= ~toldFlag(type);
    if (install.selectedType == type) install.selectedType = SPDIT_NODRIVER;
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiEnumDriverInfoW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, DWORD type, DWORD index, PSP_DRVINFO_DATA_W info)) {
    static const Function function{
        "SetupDiEnumDriverInfoW",
        Fails::WithZero,
        {ERROR_NO_MORE_ITEMS, ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY, ERROR_CALL_NOT_IMPLEMENTED},
        Distortion::NothingWritten | Distortion::NoTerminator};
    Call call(function, handle, deviceOf(data), type, index);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (info == nullptr || !isDriverType(type)) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    if (!hasDriverInfoSize(*info)) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    const InstallState& install = arguments.install();
    const auto list = install.driverLists.find(type);
    if (list == install.driverLists.end() || index >= list->second.drivers.size()) {
        return call.fails<BOOL>(ERROR_NO_MORE_ITEMS);
    }
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    const Driver& driver = list->second.drivers[index];
    info->DriverType = type;
    info->Reserved = reservedValue(list->second.serial, index);
    copyField(call, driver.description, info->Description, LINE_LEN);
    copyField(call, driver.manufacturer, info->MfgName, LINE_LEN);
    copyField(call, driver.provider, info->ProviderName, LINE_LEN);
    // The structure's first version ends here.
    if (info->cbSize == sizeof(SP_DRVINFO_DATA_V2_W)) {
        info->DriverDate = toFileTime(driver.date);
        info->DriverVersion = driver.version;
    }
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiSetSelectedDriverW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, PSP_DRVINFO_DATA_W info)) {
    static const Function function{"SetupDiSetSelectedDriverW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_PARAMETER, ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY},
                                   0};
    Call call(function, handle, deviceOf(data));
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    InstallState& install = arguments.install();
    if (info == nullptr) {  // nothing is to be selected any more
        install.selectedType = SPDIT_NODRIVER;
        return call.returns<BOOL>(TRUE);
    }
    if (!hasDriverInfoSize(*info)) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    const FoundDriver found = findDriver(install, *info);
    if (found.driver == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    install.selectedType = found.type;
    install.selected = found.position;
    info->Reserved = reservedValue(install.driverLists[found.type].serial, found.position);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiGetDriverInfoDetailW,
          (HDEVINFO handle, PSP_DEVINFO_DATA data, PSP_DRVINFO_DATA_W info, PSP_DRVINFO_DETAIL_DATA_W detail,
           DWORD size, PDWORD required)) {
    static const Function function{
        "SetupDiGetDriverInfoDetailW",
        Fails::WithZero,
        {ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED},
        Distortion::NothingWritten | Distortion::NoTerminator};
    Call call(function, handle, deviceOf(data), size);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    if (detail == nullptr ? size != 0 : size < sizeof *detail || detail->cbSize != sizeof *detail) {
        return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    }
    if (info != nullptr && !hasDriverInfoSize(*info)) return call.fails<BOOL>(ERROR_INVALID_USER_BUFFER);
    const FoundDriver found =
        info == nullptr ? selectedDriver(arguments.install()) : findDriver(arguments.install(), *info);
    if (found.driver == nullptr) {
        return call.fails<BOOL>(info == nullptr ? static_cast<long long>(ERROR_NO_DRIVER_SELECTED)
                                                : ERROR_INVALID_PARAMETER);
    }
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);

    const Driver& driver = *found.driver;
    constexpr size_t Fixed = offsetof(SP_DRVINFO_DETAIL_DATA_W, HardwareID);
    const size_t needed =
        std::max(Fixed + (driver.hardwareId.size() + 1) * sizeof(WCHAR), sizeof(SP_DRVINFO_DETAIL_DATA_W));
    if (required != nullptr) *required = static_cast<DWORD>(needed);
    if (detail == nullptr) return call.fails<BOOL>(ERROR_INSUFFICIENT_BUFFER);
    // The fixed part is filled even when the IDs behind it do not fit, which is an error all the same.
    detail->InfDate = toFileTime(driver.infDate);
    copyField(call, driver.section, detail->SectionName, LINE_LEN);
    copyField(call, driver.infFile, detail->InfFileName, MAX_PATH);
    copyField(call, driver.description, detail->DrvDescription, LINE_LEN);
    copyHardwareId(*detail, driver.hardwareId, size - Fixed);
    return size < needed ? call.fails<BOOL>(ERROR_INSUFFICIENT_BUFFER) : call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, SetupDiCallClassInstaller,
          (DI_FUNCTION installFunction, HDEVINFO handle, PSP_DEVINFO_DATA data)) {
    static const Function function{
        "SetupDiCallClassInstaller",
        Fails::WithZero,
        {ERROR_ACCESS_DENIED, static_cast<long long>(ERROR_NO_DRIVER_SELECTED), ERROR_FILE_NOT_FOUND,
         ERROR_NOT_ENOUGH_MEMORY, static_cast<long long>(ERROR_INVALID_CLASS_INSTALLER)},
        0};
    Call call(function, installFunction, handle, deviceOf(data));
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const ListArguments arguments(call, handle, data, false);
    if (arguments.error != ERROR_SUCCESS) return call.fails<BOOL>(arguments.error);
    // No class of this PC has an installer of its own, and of the default actions it has this one.
    if (installFunction != DIF_INSTALLDEVICEFILES) {
        return call.fails<BOOL>(static_cast<long long>(ERROR_DI_DO_DEFAULT));
    }
    const InstallState& install = arguments.install();
    const FoundDriver found = selectedDriver(install);
    if (found.driver == nullptr) return call.fails<BOOL>(static_cast<long long>(ERROR_NO_DRIVER_SELECTED));
    if ((install.params.Flags & DI_NOVCP) == 0) {
        // Without a queue of the caller's own, Windows makes one and commits it: drivers are overwritten.
        ledger().violation(std::string(call.name()) +
                           " copies the driver files of a device: DI_NOVCP is not set");
        return call.returns<BOOL>(TRUE);
    }
    FileQueue* queue = fileQueues().find(install.params.FileQueue, call.name());
    if (queue == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    queue->targets.insert(queue->targets.end(), found.driver->files.begin(), found.driver->files.end());
    return call.returns<BOOL>(TRUE);
}
