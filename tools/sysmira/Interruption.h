// Ctrl+C as something to be noticed between two steps.
#pragma once

namespace sysmira {

/// While it lives, Ctrl+C is noted and ends nothing. One at a time.
class InterruptionNoted {
public:
    InterruptionNoted();
    ~InterruptionNoted();
    InterruptionNoted(const InterruptionNoted&) = delete;
    InterruptionNoted& operator=(const InterruptionNoted&) = delete;

    static bool happened();

private:
    void (*m_before)(int);
};

}  // namespace sysmira
