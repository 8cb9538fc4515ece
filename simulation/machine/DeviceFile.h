// The devices of a machine file, with what the registry holds of them.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

/// Adds the devices of the list "devices" to a machine whose setup classes and registry were read before.
/// Throws MachineFileError.
void readDevices(const JsonPlace& devices, Machine& machine);

/// A member "properties": typed values by number, from 0 to below `end`.
void readNumberedValues(const JsonPlace& place, unsigned end, std::map<DWORD, RegistryValue>& values);
/// Values of a registry key, by name.
void readKeyValues(const JsonPlace& place, RegistryKey& key);

}  // namespace simulation
