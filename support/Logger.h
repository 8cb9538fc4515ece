// A named source of log lines.
#pragma once

#include <atomic>

#include "support/Export.h"
#include "support/LogPriority.h"
#include "support/LoggerStream.h"
#include "support/String.h"

namespace zor {

/// Made by LogFactory::createLogger. Any thread may use it at any time.
class ZOR_API Logger {
public:
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    ~Logger() = default;

    const String& getName() const noexcept { return m_record.name; }

    /// The threshold of this name; 0 means that it has none.
    int getPriority() const noexcept { return m_record.priority.load(std::memory_order_relaxed); }
    void setPriority(int priority) noexcept { m_record.priority.store(priority, std::memory_order_relaxed); }
    /// Its own threshold, or else the global one.
    int resolvePriority() const noexcept;

    /// Hands one line to the sink, or to the debugger when there is none, whatever the thresholds: whoever
    /// builds the text has tested them. Throws nothing: a line that its sink refuses is lost.
    void log(int priority, const LoggerStream& stream) noexcept;

private:
    friend class LogFactory;

    // What all loggers of a name share; the factory keeps it for the life of the process.
    struct Record {
        const String name;
        std::atomic<int> priority{0};
    };

    explicit Logger(Record& record) noexcept : m_record(record) {}

    Record& m_record;
};

}  // namespace zor
