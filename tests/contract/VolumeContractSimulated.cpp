#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/contract/VolumeContractMachine.h"

void prepareVolumeContractMachine() {
    simulation::reset();
    simulation::Volume volume;
    volume.name = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000043}\\";
    volume.mountPoints = {u"C:\\"};
    volume.totalBytes = 1ull << 36;
    volume.freeBytes = 1ull << 35;
    volume.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 0, 1};
    simulation::machine().storage.add(std::move(volume));
}
