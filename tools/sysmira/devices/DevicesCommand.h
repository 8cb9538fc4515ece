// `sysmira devices`: sets of devices in the library's own report form.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "tools/sysmira/Output.h"

namespace sysmira {

/// Appends the devices that one option asks for.
using DeviceSelection = std::function<void(libSysmira::WindowsDeviceSet&)>;

/// An option without a value, e.g. "--disks".
struct DeviceKind {
    const char* option;
    const char* help;
    void (*append)(libSysmira::WindowsDeviceSet&);
};
const std::vector<DeviceKind>& deviceKinds();
/// The option --enumerator.
DeviceSelection byEnumerator(const std::string& name);

/// The selections in order, each device once; every present device that is not hidden when there are none.
void runDevices(const std::vector<DeviceSelection>& selections, Output& output);

}  // namespace sysmira
