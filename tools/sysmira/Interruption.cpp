#include "tools/sysmira/Interruption.h"

#include <atomic>
#include <csignal>

namespace sysmira {

namespace {

std::atomic<bool> theInterruption{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

// Windows forgets the handler when it calls it: a second Ctrl+C is to be noted, too.
void note(int) {
    std::signal(SIGINT, note);
    theInterruption = true;
}

}  // namespace

InterruptionNoted::InterruptionNoted() : m_before(std::signal(SIGINT, note)) {}

InterruptionNoted::~InterruptionNoted() {
    std::signal(SIGINT, m_before);
    theInterruption = false;
}

bool InterruptionNoted::happened() { return theInterruption; }

}  // namespace sysmira
