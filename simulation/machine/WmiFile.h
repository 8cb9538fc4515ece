// The WMI of a machine file.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

/// Reads the member "wmi": namespaces by path. Throws MachineFileError.
void readWmi(const JsonPlace& place, WmiNamespaces& namespaces);

}  // namespace simulation
