// The names by which machine files speak of setup classes and interface classes.
#pragma once

#include <string>
#include <string_view>

#include "support/WindowsApi.h"

namespace simulation {

/// False when it is no standard setup class ("DiskDrive", in any letter case). `name` is the class's own
/// spelling.
bool findStandardClass(std::string_view text, GUID& guid, std::string& name);
/// False when it is no interface class of those that machine files name ("disk", "usb-hub").
bool findInterfaceClass(std::string_view text, GUID& guid);
/// All names, for messages: "cdrom, comport, …".
std::string interfaceClassNames();

}  // namespace simulation
