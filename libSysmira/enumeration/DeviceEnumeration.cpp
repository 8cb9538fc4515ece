#include "libSysmira/enumeration/DeviceEnumeration.h"

#include <algorithm>
#include <cstddef>

#include "support/Map.h"
#include "support/MultiString.h"

namespace libSysmira {

namespace {

constexpr DWORD detailBytes = 2048;

// Calls visit(list, data) for each element of the list that SetupDiGetClassDevsW makes.
template <class Visit>
void forEachElement(const GUID* guid, const zor::Char16* enumerator, DWORD flags, Visit&& visit) {
    const DeviceInfoList list(SetupDiGetClassDevsW(guid, enumerator, nullptr, flags));
    if (!list.isValid()) return;
    for (DWORD index = 0;; ++index) {
        SP_DEVINFO_DATA data = {};
        data.cbSize = sizeof data;
        if (!SetupDiEnumDeviceInfo(list.get(), index, &data)) return;
        // Success without an element would go on for ever.
        if (data.DevInst == 0 && data.Reserved == 0) return;
        visit(list, data);
    }
}

// The path of the first interface of this class that the device has.
bool readInterfacePath(const DeviceInfoList& list, SP_DEVINFO_DATA& data, const GUID* interfaceGuid,
                       zor::String& path) {
    SP_DEVICE_INTERFACE_DATA interfaceData = {};
    interfaceData.cbSize = sizeof interfaceData;
    if (!SetupDiEnumDeviceInterfaces(list.get(), &data, interfaceGuid, 0, &interfaceData)) return false;

    alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) unsigned char bytes[detailBytes] = {};
    auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(bytes);
    detail->cbSize = sizeof *detail;
    DWORD required = 0;
    if (!SetupDiGetDeviceInterfaceDetailW(list.get(), &interfaceData, detail, sizeof bytes, &required,
                                          nullptr)) {
        return false;
    }
    constexpr std::size_t pathOffset = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
    const std::size_t end = std::min<std::size_t>(required, sizeof bytes);
    path = end > pathOffset ? zor::textFromBytes(bytes + pathOffset, end - pathOffset) : zor::String();
    return true;
}

}  // namespace

void enumerateDevices(const GUID* classGuid, const GUID* interfaceGuid, WinInterfaceType type,
                      bool classDevicesOnly, std::vector<WindowsDevice>& devices) {
    std::vector<WindowsDevice> interfaceDevices;
    zor::Map<zor::String, zor::String> paths;
    if (interfaceGuid != nullptr) {
        const auto visit = [&](const DeviceInfoList& list, SP_DEVINFO_DATA& data) {
            zor::String path;
            if (!readInterfacePath(list, data, interfaceGuid, path)) return;
            WindowsDevice& device = interfaceDevices.emplace_back(list, data);
            device.setOsLocator(path, type);
            paths.insert(device.getDeviceInstanceId(), path);
        };
        forEachElement(interfaceGuid, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE, visit);
        if (classGuid == nullptr) {
            std::move(interfaceDevices.begin(), interfaceDevices.end(), std::back_inserter(devices));
            return;
        }
    }

    zor::Map<zor::String, bool> seen;
    const DWORD flags = classGuid != nullptr ? DIGCF_PRESENT : DIGCF_PRESENT | DIGCF_ALLCLASSES;
    forEachElement(classGuid, nullptr, flags, [&](const DeviceInfoList& list, const SP_DEVINFO_DATA& data) {
        WindowsDevice& device = devices.emplace_back(list, data);
        const zor::String& id = device.getDeviceInstanceId();
        if (id.empty()) return;
        if (interfaceGuid != nullptr) seen.insert(id, true);
        const zor::String* const path = paths.lookup(id);
        device.setOsLocator(path != nullptr ? *path : zor::String::EMPTY(), type);
    });

    if (classDevicesOnly) return;
    for (WindowsDevice& device : interfaceDevices) {
        if (seen.lookup(device.getDeviceInstanceId()) == nullptr) devices.push_back(std::move(device));
    }
}

void enumerateByEnumerator(const zor::String& enumerator, std::vector<WindowsDevice>& devices) {
    forEachElement(
        nullptr, enumerator.getUCS2Buffer(), DIGCF_PRESENT | DIGCF_ALLCLASSES,
        [&](const DeviceInfoList& list, const SP_DEVINFO_DATA& data) { devices.emplace_back(list, data); });
}

}  // namespace libSysmira
