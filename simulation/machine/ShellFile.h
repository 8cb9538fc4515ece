// The shell of a machine file.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

/// Reads the member "shell", behind the files. Throws MachineFileError.
void readShell(const JsonPlace& place, Machine& machine);

}  // namespace simulation
