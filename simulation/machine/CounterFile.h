// The performance counters of a machine file.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

/// Reads the member "counters", behind the registry: names that stand there already stay. Throws
/// MachineFileError.
void readCounters(const JsonPlace& place, Machine& machine);

}  // namespace simulation
