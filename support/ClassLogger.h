// What a source file keeps for the log lines of its class.
#pragma once

#include <atomic>
#include <utility>

#include "support/Export.h"
#include "support/LastErrorKeeper.h"
#include "support/LogFactory.h"
#include "support/LogPriority.h"
#include "support/Logger.h"
#include "support/LoggerStream.h"

namespace zor {

/// A static of the class, without code at start-up; its logger is made on first use.
///
///     static zor::ClassLogger log("libSysmira.Volume");
///     log.write(zor::Warning, 485, [&](auto& line) { line << "LOCK_VOLUME   - FAILED (" << name << ")"; });
class ZOR_API ClassLogger {
public:
    /// The name must outlive the logger: a literal.
    constexpr explicit ClassLogger(const char* name) noexcept : m_name(name) {}
    ClassLogger(const ClassLogger&) = delete;
    ClassLogger& operator=(const ClassLogger&) = delete;

    /// Writes "<line> " and what `build(stream)` appends. An unwanted line costs the comparison with the
    /// global threshold. Never changes what the caller does: whatever building or writing throws is dropped
    /// with the line, and the thread's last error is kept.
    template <class Build>
    void write(int priority, unsigned int line, Build&& build) noexcept {
        if (LogFactory::getPriority() > priority) return;
        const LastErrorKeeper keeper;
        Logger* logger = find(priority);
        if (logger == nullptr) return;
        try {
            LoggerStream stream;
            stream << line << " ";
            std::forward<Build>(build)(stream);
            logger->log(priority, stream);
        } catch (...) {
        }
    }

    /// The logger when a line of that priority is wanted, otherwise null.
    Logger* wanted(int priority) noexcept {
        return LogFactory::getPriority() > priority ? nullptr : find(priority);
    }

private:
    Logger* find(int priority) noexcept;

    const char* m_name;
    std::atomic<Logger*> m_logger{nullptr};
};

}  // namespace zor
