// The SetupDi enumerations behind device sets.
#pragma once

#include <vector>

#include "libSysmira/enumeration/WindowsDevice.h"

namespace libSysmira {

/// The present devices of a setup class, an interface class or both, appended to `devices` in Windows' order:
/// those of the class first (with the interface's path as OS locator where they have one), then, unless
/// `classDevicesOnly`, those that only the interface enumeration found. Both GUIDs null: every present
/// device. Each device gets `type`. A part that Windows refuses adds nothing.
void enumerateDevices(const GUID* classGuid, const GUID* interfaceGuid, WinInterfaceType type,
                      bool classDevicesOnly, std::vector<WindowsDevice>& devices);

/// Every present device of an enumerator.
void enumerateByEnumerator(const zor::String& enumerator, std::vector<WindowsDevice>& devices);

}  // namespace libSysmira
