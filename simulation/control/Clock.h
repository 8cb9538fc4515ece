// Simulated time: nothing really waits.
#pragma once

namespace simulation {

/// Milliseconds that were slept or waited since reset().
unsigned long long sleptMilliseconds();
/// Lets time pass.
void passMilliseconds(unsigned long long milliseconds);

}  // namespace simulation
