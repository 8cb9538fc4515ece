// COM classes of the shell. Each answers COM's own call.
#pragma once

#include "support/WindowsApi.h"

namespace simulation {

class Call;

/// The classes that the simulated PC has: the Network Connections folder and the help pane.
bool isShellClass(REFCLSID wanted);
/// Frees an item identifier; false when it is none.
bool freeItemIdentifier(void* memory, const char* function);
/// What CoCreateInstance does for one of them.
HRESULT createShellObject(Call& call, REFCLSID wanted, DWORD context, REFIID interfaceId, void** object);

}  // namespace simulation
