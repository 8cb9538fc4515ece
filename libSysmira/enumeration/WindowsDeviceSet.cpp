#include "libSysmira/enumeration/WindowsDeviceSet.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/DeviceEnumeration.h"
#include "support/AssertionFailure.h"
#include "support/HashFunc.h"
#include "support/SprintfFormat.h"

namespace libSysmira {

namespace {

// What a device that is in the set already takes from another record of it.
void takeLocator(WindowsDevice& present, const WindowsDevice& other) {
    if (present.getOsLocator().empty()) present.setOsLocator(other.getOsLocator(), other.getInterfaceType());
}

}  // namespace

// Appends many devices: finds the elements by instance ID with one look-up each, however long the set is. The
// index lives no longer than one operation, since callers may change the elements in between. It is a table
// of positions with open addressing; the IDs stay where they are, in the records. An empty ID matches nothing
// and has no place in the table.
class WindowsDeviceSet::Appender {
public:
    Appender(Devices& devices, std::size_t expected) : m_devices(devices) {
        m_devices.reserve(m_devices.size() + expected);
        rehash(m_devices.size() + expected);
    }

    void append(WindowsDevice&& device, bool includeHidden) {
        if (device.getDeviceInstanceId().empty()) {
            if (includeHidden || !device.isHidden()) m_devices.push_back(std::move(device));
            return;
        }
        unsigned* const place = placeOf(device.getDeviceInstanceId());
        if (*place != None) {
            takeLocator(m_devices[*place], device);
            return;
        }
        if (!includeHidden && device.isHidden()) return;
        m_devices.push_back(std::move(device));
        *place = static_cast<unsigned>(m_devices.size() - 1);
        if (m_devices.size() * 2 > m_table.size()) rehash(m_devices.size());
    }

private:
    static constexpr unsigned None = 0xFFFFFFFF;

    // Where the ID's position stands, or the free place for it.
    unsigned* placeOf(const zor::String& id) {
        const std::size_t mask = m_table.size() - 1;
        std::size_t at = zor::HashFunc<zor::String>::hash(id) & mask;
        while (m_table[at] != None && !(m_devices[m_table[at]].getDeviceInstanceId() == id))
            at = (at + 1) & mask;
        return &m_table[at];
    }

    // At least twice as many places as elements. The first element with an ID is the one that counts.
    void rehash(std::size_t elements) {
        m_table.assign(std::bit_ceil(std::max<std::size_t>(elements, 4) * 2 + 1), None);
        for (unsigned i = 0; i < m_devices.size(); ++i) {
            if (m_devices[i].getDeviceInstanceId().empty()) continue;
            unsigned* const place = placeOf(m_devices[i].getDeviceInstanceId());
            if (*place == None) *place = i;
        }
    }

    Devices& m_devices;
    std::vector<unsigned> m_table;
};

WindowsDeviceSet::WindowsDeviceSet(const GUID* classGuid, const GUID* interfaceGuid, unsigned flags) {
    appendDevices(classGuid, interfaceGuid, flags, WinInt_None);
}

WindowsDeviceSet::WindowsDeviceSet(unsigned typeFilter, unsigned kinds) { appendDevices(typeFilter, kinds); }

WindowsDevice& WindowsDeviceSet::operator[](unsigned index) {
    ZOR_ASSERT(index < size());
    return m_devices[index];
}

const WindowsDevice& WindowsDeviceSet::operator[](unsigned index) const {
    ZOR_ASSERT(index < size());
    return m_devices[index];
}

void WindowsDeviceSet::appendDevice(const WindowsDevice& device, bool includeHidden) {
    const bool hasId = !device.getDeviceInstanceId().empty();
    for (WindowsDevice& present : m_devices) {
        if (hasId && present.getDeviceInstanceId() == device.getDeviceInstanceId()) {
            takeLocator(present, device);
            return;
        }
    }
    if (includeHidden || !device.isHidden()) m_devices.push_back(device);
}

void WindowsDeviceSet::appendDeviceByDeviceInstanceId(const zor::String& deviceInstanceId) {
    appendDevice(WindowsDevice(deviceInstanceId), /*includeHidden=*/false);
}

void WindowsDeviceSet::appendDevices(const GUID* classGuid, const GUID* interfaceGuid, unsigned flags,
                                     WinInterfaceType type) {
    Devices found;
    enumerateDevices(classGuid, interfaceGuid, type, (flags & ClassDevicesOnly) != 0, found);
    Appender appender(m_devices, found.size());
    for (WindowsDevice& device : found) appender.append(std::move(device), (flags & KeepHidden) != 0);
}

void WindowsDeviceSet::appendDisks() {
    appendDevices(&GUID_DEVCLASS_DISKDRIVE, &GUID_DEVINTERFACE_DISK, 0, WinInt_Disk);
}

void WindowsDeviceSet::appendUsbDisks() {
    Devices disks;
    enumerateDevices(&GUID_DEVCLASS_DISKDRIVE, &GUID_DEVINTERFACE_DISK, WinInt_Disk, false, disks);
    Appender appender(m_devices, disks.size());
    for (WindowsDevice& disk : disks) {
        if ((disk.getType() & WinDev_USBStorage) != 0)
            appender.append(std::move(disk), /*includeHidden=*/false);
    }
}

void WindowsDeviceSet::appendOpticals() {
    appendDevices(&GUID_DEVCLASS_CDROM, &GUID_DEVINTERFACE_CDROM, 0, WinInt_Optical);
}

void WindowsDeviceSet::appendTapeDrives() {
    appendDevices(&GUID_DEVCLASS_TAPEDRIVE, &GUID_DEVINTERFACE_TAPE, 0, WinInt_Tape);
}

void WindowsDeviceSet::appendFloppies() {
    appendDevices(&GUID_DEVCLASS_FLOPPYDISK, &GUID_DEVINTERFACE_FLOPPY, 0, WinInt_Floppy);
    appendDevices(&GUID_DEVCLASS_FLOPPYDISK, &GUID_DEVINTERFACE_VOLUME, ClassDevicesOnly, WinInt_Floppy);
}

void WindowsDeviceSet::appendVolumes() {
    appendDevices(nullptr, &GUID_DEVINTERFACE_VOLUME, KeepHidden, WinInt_Volume);
    appendDevices(nullptr, &GUID_DEVINTERFACE_HIDDEN_VOLUME, KeepHidden, WinInt_Volume);
}

void WindowsDeviceSet::appendAllStorageDevices() {
    appendDisks();
    appendOpticals();
    appendTapeDrives();
    appendFloppies();
}

void WindowsDeviceSet::appendHardDiskControllers() {
    appendDevices(&GUID_DEVCLASS_HDC, nullptr, 0, WinInt_None);
    appendDevices(&GUID_DEVCLASS_SCSIADAPTER, nullptr, 0, WinInt_None);
}

void WindowsDeviceSet::appendFloppyDiskControllers() {
    appendDevices(&GUID_DEVCLASS_FDC, nullptr, 0, WinInt_None);
}

void WindowsDeviceSet::appendBatteries() { appendDevices(nullptr, &GUID_DEVICE_BATTERY, 0, WinInt_Battery); }

void WindowsDeviceSet::appendDisplays() { appendDevices(&GUID_DEVCLASS_MONITOR, nullptr, 0, WinInt_None); }

void WindowsDeviceSet::appendDisplayAdapters() {
    appendDevices(&GUID_DEVCLASS_DISPLAY, nullptr, 0, WinInt_None);
}

void WindowsDeviceSet::appendComPorts() {
    appendDevices(nullptr, &GUID_DEVINTERFACE_COMPORT, KeepHidden, WinInt_ComPort);
}

void WindowsDeviceSet::appendParallelPorts() {
    appendDevices(nullptr, &GUID_DEVINTERFACE_PARALLEL, KeepHidden, WinInt_ParallelPort);
}

void WindowsDeviceSet::appendDevices(unsigned typeFilter, unsigned kinds) {
    if (kinds == 0 && typeFilter == 0) {
        appendDevices(nullptr, nullptr, 0, WinInt_None);
        return;
    }
    if (kinds == 0) {
        for (unsigned bit = 0; bit < 32; ++bit) {
            if ((typeFilter & 1u << bit) == 0) continue;
            const auto type = static_cast<WinDeviceType>(1u << bit);
            const zor::String enumerator = WindowsDevice::getEnumeratorFromDeviceType(type);
            if (!enumerator.empty()) appendDevicesByEnumerator(enumerator, nullptr, nullptr);
        }
        return;
    }

    struct Kind {
        WinInterfaceType type;
        const GUID* classGuid;
        const GUID* interfaceGuid;
        bool classDevicesOnly = false;
    };
    static const Kind order[] = {
        {WinInt_Disk, &GUID_DEVCLASS_DISKDRIVE, &GUID_DEVINTERFACE_DISK},
        {WinInt_Optical, &GUID_DEVCLASS_CDROM, &GUID_DEVINTERFACE_CDROM},
        {WinInt_Tape, &GUID_DEVCLASS_TAPEDRIVE, &GUID_DEVINTERFACE_TAPE},
        {WinInt_Volume, nullptr, nullptr},
        {WinInt_Battery, nullptr, &GUID_DEVICE_BATTERY},
        {WinInt_USBController, nullptr, &GUID_DEVINTERFACE_USB_HOST_CONTROLLER},
        {WinInt_USBHub, nullptr, &GUID_DEVINTERFACE_USB_HUB},
        {WinInt_USBDevice, nullptr, &GUID_DEVINTERFACE_USB_DEVICE},
        {WinInt_Display, &GUID_DEVCLASS_MONITOR, &GUID_DEVINTERFACE_MONITOR},
        {WinInt_DisplayAdapter, nullptr, &GUID_DEVINTERFACE_DISPLAY_ADAPTER},
        {WinInt_ParallelPort, nullptr, &GUID_DEVINTERFACE_PARALLEL},
        {WinInt_ComPort, nullptr, &GUID_DEVINTERFACE_COMPORT},
        {WinInt_Floppy, &GUID_DEVCLASS_FLOPPYDISK, &GUID_DEVINTERFACE_FLOPPY},
        {WinInt_Floppy, &GUID_DEVCLASS_FLOPPYDISK, &GUID_DEVINTERFACE_VOLUME, true},
    };
    Devices found;
    for (const Kind& kind : order) {
        if ((kinds & kind.type) == 0) continue;
        if (kind.type == WinInt_Volume) {
            // Volumes go into the set at once: before everything else, unfiltered, hidden ones too.
            appendVolumes();
        } else {
            enumerateDevices(kind.classGuid, kind.interfaceGuid, kind.type, kind.classDevicesOnly, found);
        }
    }
    Appender appender(m_devices, found.size());
    for (WindowsDevice& device : found) {
        if (typeFilter == 0 || (device.getType() & typeFilter) != 0)
            appender.append(std::move(device), /*includeHidden=*/false);
    }
}

void WindowsDeviceSet::appendDevicesByEnumerator(const zor::String& enumerator, const GUID* classGuid,
                                                 const GUID* interfaceGuid) {
    Devices found;
    if (classGuid == nullptr && interfaceGuid == nullptr) {
        enumerateByEnumerator(enumerator, found);
    } else {
        enumerateDevices(classGuid, interfaceGuid, WinInt_None, /*classDevicesOnly=*/false, found);
        std::erase_if(found, [&](const WindowsDevice& device) {
            return device.getEnumerator().compareNoCase(enumerator) != 0;
        });
    }
    // From here on the set grows, and `enumerator` may be a text of one of its records.
    Appender appender(m_devices, found.size());
    for (WindowsDevice& device : found) appender.append(std::move(device), /*includeHidden=*/false);
}

void WindowsDeviceSet::appendParentOf(const WindowsDevice& device) {
    const zor::String parentId = device.getParentDeviceInstanceId();
    if (!parentId.empty()) appendDeviceByDeviceInstanceId(parentId);
}

void WindowsDeviceSet::appendChildrenOf(const WindowsDevice& device) {
    const zor::String& id = device.getDeviceInstanceId();
    const DEVINST node = id.empty() ? 0 : ConfigManager::findByDeviceInstanceId(id);
    if (node == 0) return;
    zor::Array<DEVINST> children;
    ConfigManager::getChildren(node, children);
    Appender appender(m_devices, children.size());
    for (const DEVINST child : children) {
        zor::String childId;
        if (!ConfigManager::getDeviceInstanceId(child, childId) || childId.empty()) continue;
        appender.append(WindowsDevice(childId), /*includeHidden=*/false);
    }
}

zor::String WindowsDeviceSet::toString(unsigned indent) const {
    zor::String report;
    if (empty()) return report;
    report.reserveCapacity(300);
    const zor::String prefix = zor::String::repeat(u' ', indent);
    for (unsigned i = 0; i < size(); ++i) {
        report += prefix;
        report += zor::SprintfFormat("--------------- Device[%u] ---------------\n", i);
        report += m_devices[i].toString(indent);
        report += "\n";
    }
    return report;
}

}  // namespace libSysmira
