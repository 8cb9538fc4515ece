// An ordered collection of device records, filled by SetupDi enumerations: by setup class, by device
// interface, by enumerator, by kinship in the tree, or by a mask of kinds. No two elements have the same
// instance ID (the exact text). A record whose instance ID could not be read matches no other: each such
// record is an element of its own.
//
// Devices and texts that operations take may be those of the set's own records.
//
// An enumeration that Windows refuses adds nothing; nothing throws (beyond std::bad_alloc) and nothing is
// logged. A set is used by one thread at a time.
#pragma once

#include <vector>

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/DeviceTypes.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class SYSMIRA_API WindowsDeviceSet {
public:
    using Devices = std::vector<WindowsDevice>;

    /// Flag bits of appendDevices(classGuid, interfaceGuid, …).
    enum Flags : unsigned {
        KeepHidden = 0x1,       ///< devices that the device manager does not show, too
        ClassDevicesOnly = 0x2  ///< none that only the interface enumeration found
    };

    WindowsDeviceSet() = default;
    /// As appendDevices with WinInt_None.
    WindowsDeviceSet(const GUID* classGuid, const GUID* interfaceGuid, unsigned flags);
    /// As appendDevices with the same arguments.
    WindowsDeviceSet(unsigned typeFilter, unsigned kinds);

    unsigned int size() const { return static_cast<unsigned int>(m_devices.size()); }
    bool empty() const { return m_devices.empty(); }
    void clear() { m_devices.clear(); }
    /// An index beyond the end is misuse: an assertion failure.
    WindowsDevice& operator[](unsigned index);
    const WindowsDevice& operator[](unsigned index) const;
    Devices::iterator begin() { return m_devices.begin(); }
    Devices::iterator end() { return m_devices.end(); }
    Devices::const_iterator begin() const { return m_devices.begin(); }
    Devices::const_iterator end() const { return m_devices.end(); }
    Devices::const_iterator cbegin() const { return m_devices.cbegin(); }
    Devices::const_iterator cend() const { return m_devices.cend(); }
    Devices& devices() { return m_devices; }
    const Devices& devices() const { return m_devices; }

    /// Appends a copy. A device that is there already is not added again; if it had no OS locator it takes
    /// the new one's, with its interface type. Unless `includeHidden`, a device that the device manager does
    /// not show is left out. Each call compares with every element: appending many devices one by one takes
    /// quadratic time, which the operations that enumerate do not.
    void appendDevice(const WindowsDevice& device, bool includeHidden);
    /// An ID that Windows does not know is appended as an invalid record.
    void appendDeviceByDeviceInstanceId(const zor::String& deviceInstanceId);
    /// The present devices of a setup class, with the paths of an interface class (either may be null; both
    /// null: every present device). Flags: see Flags.
    void appendDevices(const GUID* classGuid, const GUID* interfaceGuid, unsigned flags,
                       WinInterfaceType type);

    void appendDisks();
    /// Of the disks those whose type has the WinDev_USBStorage bit, which follows from the enumerator
    /// USBSTOR. A USB drive in UASP mode has the enumerator SCSI and is not among them:
    /// WindowsDrive::busType() returns BusTypeUsb.
    void appendUsbDisks();
    void appendOpticals();
    void appendTapeDrives();
    /// Floppy drives, with the path of their volume where they have no floppy path.
    void appendFloppies();
    /// Volumes and hidden volumes, those that the device manager does not show included.
    void appendVolumes();
    /// Disks, optical drives, tape drives and floppy drives, in that order.
    void appendAllStorageDevices();
    void appendHardDiskControllers();
    void appendFloppyDiskControllers();
    void appendBatteries();
    void appendDisplays();
    void appendDisplayAdapters();
    /// Those that the device manager does not show included.
    void appendComPorts();
    /// Those that the device manager does not show included.
    void appendParallelPorts();

    /// By masks of WinDeviceType and WinInterfaceType bits. With kinds: the devices of these kinds whose type
    /// has a bit in common with `typeFilter` (0: all); volumes are the exception, they come first, whatever
    /// their type and hidden ones too. Without kinds: the present devices of the enumerators in `typeFilter`;
    /// with neither, every present device.
    void appendDevices(unsigned typeFilter, unsigned kinds);
    /// The present devices of an enumerator ("USBSTOR", ignoring case); with a GUID, those of that class and
    /// interface whose enumerator it is (WinInt_None).
    void appendDevicesByEnumerator(const zor::String& enumerator, const GUID* classGuid,
                                   const GUID* interfaceGuid);
    void appendParentOf(const WindowsDevice& device);
    /// The present children, in the tree's order.
    void appendChildrenOf(const WindowsDevice& device);

    /// Each device's report below a numbered separator line, every line preceded by `indent` blanks. An empty
    /// set gives an empty text.
    zor::String toString(unsigned indent) const;

private:
    class Appender;

    Devices m_devices;
};

}  // namespace libSysmira
