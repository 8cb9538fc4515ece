// The display devices of a machine file.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

/// Adds the outputs of the list "displays" to a machine whose devices were read before. Throws
/// MachineFileError.
void readDisplays(const JsonPlace& displays, Machine& machine);

}  // namespace simulation
