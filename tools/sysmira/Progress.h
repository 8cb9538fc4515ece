// How far long work has come, on a terminal.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>

namespace sysmira {

/// After a second, one line on `err` that is rewritten until the work ends, and taken away then. Where nobody
/// would see it (`err` is not the terminal's) nothing is written and no thread runs.
class Progress {
public:
    /// "sysmira: reading the log "System": 12,345 records": what is done, and what is counted; without units
    /// the seconds that have passed.
    Progress(std::ostream& err, std::string activity, std::string units = "");
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void count() { m_count.fetch_add(1, std::memory_order_relaxed); }

    /// Does work that prints, with the line out of the way.
    template <class Work>
    void aside(Work&& work) {
        const std::lock_guard lock(m_mutex);
        clear();
        work();
    }

private:
    void run();
    void show(unsigned seconds);
    void clear();

    std::ostream& m_err;
    const std::string m_activity;
    const std::string m_units;
    std::atomic<unsigned long long> m_count{0};
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_ended = false;
    std::size_t m_shown = 0;  // columns of the line that stands there
    std::thread m_thread;
};

}  // namespace sysmira
