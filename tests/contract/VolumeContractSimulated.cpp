#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/contract/VolumeContractMachine.h"

using namespace simulation;

void prepareVolumeContractMachine() {
    reset();
    Disk disk;
    disk.paths = {u"\\\\.\\PhysicalDrive0"};
    disk.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 0, 0};
    disk.size = 1ull << 37;
    disk.product = "ROCKET 1000";
    machine().storage.add(std::move(disk));

    Volume volume;
    volume.name = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000043}\\";
    volume.mountPoints = {u"C:\\"};
    volume.serial = 0x43000000;
    volume.totalBytes = 1ull << 36;
    volume.freeBytes = 1ull << 35;
    volume.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 0, 1};
    DISK_EXTENT extent = {};
    extent.StartingOffset.QuadPart = 1 << 20;
    extent.ExtentLength.QuadPart = 1ll << 36;
    volume.extents = {extent};
    machine().storage.add(std::move(volume));

    // One without a letter, so that a search has somewhere to go on to.
    Volume hidden;
    hidden.name = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000044}\\";
    machine().storage.add(std::move(hidden));
}
