// Disks and volumes in machine files.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

/// The member "disks"; the devices have been read before. Throws MachineFileError.
void readDisks(const JsonPlace& place, Machine& machine);
/// The member "volumes"; devices and disks have been read before. Throws MachineFileError.
void readVolumes(const JsonPlace& place, Machine& machine);
/// The member "networkDrives" or "otherDrives": letters.
std::string readLetters(const JsonPlace& place);

}  // namespace simulation
