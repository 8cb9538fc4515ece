// `sysmira wmi`: objects, notifications and methods of Windows Management Instrumentation.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct WmiRequest {
    std::string namespacePath;            ///< "root\cimv2", slashes either way
    std::string query;                    ///< WQL
    bool events = false;                  ///< the query asks for notifications
    std::optional<unsigned> timeoutMs;    ///< of waiting for the next notification; none: until Ctrl+C
    std::string method;                   ///< to call on each object; empty: none
    std::vector<std::string> parameters;  ///< NAME=VALUE
};

/// The objects that a query finds, as text or as one JSON document; notifications as they come, as JSON one
/// object a line; or what a method returns for each object.
///
/// Throws CommandFailure, with what Windows answered. Objects are all read before the first is printed; of a
/// method that fails on a later object, the earlier results are printed.
void runWmi(const WmiRequest& request, Output& output);

}  // namespace sysmira
