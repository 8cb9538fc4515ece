// Work that is done once: when it is asked for, or at the latest when the holder goes.
#pragma once

#include <functional>
#include <utility>

namespace libSysmira {

class ScopeExit {
public:
    ScopeExit() = default;
    explicit ScopeExit(std::function<void()> work) : m_work(std::move(work)) {}
    ~ScopeExit() { run(); }
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;

    /// Takes on work; what it held before is done now.
    void install(std::function<void()> work) {
        run();
        m_work = std::move(work);
    }

    void run() {
        if (const std::function<void()> work = std::exchange(m_work, nullptr)) work();
    }

private:
    std::function<void()> m_work;
};

}  // namespace libSysmira
