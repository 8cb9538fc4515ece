// Opening registry keys for other simulated functions.
#pragma once

#include "simulation/control/Text.h"

namespace simulation {

/// A key for reading and writing, closed with RegCloseKey; null when there is none. `function` is who opens
/// it, for the ledger.
HKEY openKey(const Text& root, const Text& path, const char* function);

}  // namespace simulation
