// The loaded modules of the simulated PC.
#pragma once

#include "simulation/control/Text.h"

namespace simulation {

/// The full path of a module that is loaded; null when it is none (using a freed one is a violation).
const Text* loadedModulePath(const void* module, const char* function);

}  // namespace simulation
