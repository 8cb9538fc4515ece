// Elapsed time.
#pragma once

#include <chrono>

namespace zor {

/// Runs from its construction, on a clock that never goes backwards.
class Stopwatch {
public:
    /// Seconds.
    double getElapsed() const noexcept {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace zor
