#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;

Result ids(const WindowsDeviceSet& set) {
    std::string text;
    for (const WindowsDevice& device : set) text += plain(device.getDeviceInstanceId()) + "\n";
    return {true, text};
}

template <void (WindowsDeviceSet::*Append)()>
Result filled() {
    WindowsDeviceSet set;
    (set.*Append)();
    return ids(set);
}

template <class Append>
Result filledBy(Append append) {
    WindowsDeviceSet set;
    append(set);
    return ids(set);
}

}  // namespace

std::vector<Operation> deviceSetOperations() {
    return {
        {"SetDisks", smallPc, filled<&WindowsDeviceSet::appendDisks>, someOfTheDevices()},
        {"SetUsbDisks", smallPc, filled<&WindowsDeviceSet::appendUsbDisks>, someOfTheDevices()},
        {"SetOpticals", smallPc, filled<&WindowsDeviceSet::appendOpticals>, someOfTheDevices()},
        {"SetTapeDrives", smallPc, filled<&WindowsDeviceSet::appendTapeDrives>, someOfTheDevices()},
        {"SetFloppies", smallPc, filled<&WindowsDeviceSet::appendFloppies>, someOfTheDevices()},
        {"SetVolumes", smallPc, filled<&WindowsDeviceSet::appendVolumes>, someOfTheDevices()},
        {"SetStorageDevices", smallPc, filled<&WindowsDeviceSet::appendAllStorageDevices>,
         someOfTheDevices()},
        {"SetHardDiskControllers", smallPc, filled<&WindowsDeviceSet::appendHardDiskControllers>,
         someOfTheDevices()},
        {"SetFloppyControllers", smallPc, filled<&WindowsDeviceSet::appendFloppyDiskControllers>,
         someOfTheDevices()},
        {"SetBatteries", smallPc, filled<&WindowsDeviceSet::appendBatteries>, someOfTheDevices()},
        {"SetDisplays", smallPc, filled<&WindowsDeviceSet::appendDisplays>, someOfTheDevices()},
        {"SetDisplayAdapters", smallPc, filled<&WindowsDeviceSet::appendDisplayAdapters>, someOfTheDevices()},
        {"SetComPorts", smallPc, filled<&WindowsDeviceSet::appendComPorts>, someOfTheDevices()},
        {"SetParallelPorts", smallPc, filled<&WindowsDeviceSet::appendParallelPorts>, someOfTheDevices()},
        {"SetByGuids", smallPc,
         [] { return ids(WindowsDeviceSet(&GUID_DEVCLASS_DISKDRIVE, &GUID_DEVINTERFACE_DISK, 1)); },
         someOfTheDevices()},
        {"SetOfAll", smallPc, [] { return ids(WindowsDeviceSet(0, 0)); }, someOfTheDevices()},
        {"SetByMask", smallPc,
         [] {
             return ids(WindowsDeviceSet(libSysmira::WinDev_SCSI,
                                         libSysmira::WinInt_Disk | libSysmira::WinInt_Volume));
         },
         someOfTheDevices()},
        {"SetByTypes", smallPc,
         [] { return ids(WindowsDeviceSet(libSysmira::WinDev_SCSI | libSysmira::WinDev_PCI, 0)); },
         someOfTheDevices()},
        {"SetByEnumeratorAndClass", smallPc,
         [] {
             return filledBy([](WindowsDeviceSet& set) {
                 set.appendDevicesByEnumerator("scsi", &GUID_DEVCLASS_DISKDRIVE, nullptr);
             });
         },
         someOfTheDevices()},
        {"SetByInstanceId", smallPc,
         [] { return filledBy([](WindowsDeviceSet& set) { set.appendDeviceByDeviceInstanceId(busId); }); },
         someOfTheDevices()},
        {"SetParent", smallPc,
         [] {
             return filledBy(
                 [](WindowsDeviceSet& set) { set.appendParentOf(WindowsDevice("STORAGE\\VOLUME\\1")); });
         },
         someOfTheDevices()},
        {"SetChildren", smallPc,
         [] { return filledBy([](WindowsDeviceSet& set) { set.appendChildrenOf(WindowsDevice(busId)); }); },
         someOfTheDevices()},
    };
}

}  // namespace sweep
