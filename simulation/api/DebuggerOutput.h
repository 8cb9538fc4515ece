// What programs have written to the debugger since reset().
#pragma once

#include <string>

namespace simulation {

/// UTF-8.
const std::string& debuggerOutput();

}  // namespace simulation
