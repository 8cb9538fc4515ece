// The error object of a thread: what a COM method that has failed says about it.
#pragma once

#include "simulation/control/Text.h"

namespace simulation {

/// Leaves a description for the calling thread's next GetErrorInfo, which takes it away.
void setErrorDescription(const Text& source, const Text& description);

}  // namespace simulation
