#include "tools/sysmira/Progress.h"

#include <chrono>
#include <iostream>

#include "tools/sysmira/Target.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

constexpr std::chrono::milliseconds firstWait(1000), nextWait(250);

std::string grouped(unsigned long long number) {
    std::string digits = std::to_string(number);
    for (std::size_t end = digits.size(); end > 3; end -= 3) digits.insert(end - 3, 1, ',');
    return digits;
}

}  // namespace

Progress::Progress(std::ostream& err, std::string activity, std::string units)
    : m_err(err), m_activity(printable(activity)), m_units(std::move(units)) {
    if (&err == &std::cerr && errorsGoToTerminal()) m_thread = std::thread([this] { run(); });
}

Progress::~Progress() {
    if (!m_thread.joinable()) return;
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
    }
    m_wake.notify_one();
    m_thread.join();
    clear();
}

void Progress::run() {
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(m_mutex);
    for (auto wait = firstWait; !m_wake.wait_for(lock, wait, [this] { return m_ended; }); wait = nextWait) {
        const auto passed = std::chrono::steady_clock::now() - start;
        show(static_cast<unsigned>(std::chrono::duration_cast<std::chrono::seconds>(passed).count()));
    }
}

void Progress::show(unsigned seconds) {
    const std::string amount =
        m_units.empty() ? std::to_string(seconds) + " s" : grouped(m_count) + " " + m_units;
    std::string line = "sysmira: " + m_activity + ": " + amount;
    const std::size_t width = displayWidth(line);
    if (width < m_shown) line.append(m_shown - width, ' ');
    m_err << '\r' << line << std::flush;
    m_shown = width;
}

void Progress::clear() {
    if (m_shown == 0) return;
    m_err << '\r' << std::string(m_shown, ' ') << '\r' << std::flush;
    m_shown = 0;
}

}  // namespace sysmira
