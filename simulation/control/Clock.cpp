#include "simulation/control/Clock.h"

#include <atomic>

#include "simulation/control/Call.h"

namespace simulation {

namespace {
std::atomic<unsigned long long> thePassed{0};
const AtReset atReset([] { thePassed = 0; });
}  // namespace

unsigned long long sleptMilliseconds() { return thePassed; }
void passMilliseconds(unsigned long long milliseconds) { thePassed += milliseconds; }

}  // namespace simulation
