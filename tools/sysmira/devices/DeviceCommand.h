// `sysmira device ID`: all that is known of one device.
#pragma once

#include <string>

#include "tools/sysmira/Output.h"

namespace sysmira {

/// Throws CommandFailure when Windows knows no device of that instance ID.
void runDevice(const std::string& deviceInstanceId, Output& output);

}  // namespace sysmira
