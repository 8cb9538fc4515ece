// Loggers by name, the global threshold, and where lines go.
#pragma once

#include <atomic>
#include <functional>

#include "support/Export.h"
#include "support/Logger.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"
#include "support/String.h"

namespace zor {

/// Any thread may call anything here at any time.
class ZOR_API LogFactory {
public:
    /// Receives logger name, priority and text, on the thread that logs. It may log itself, and may throw:
    /// the line is lost then.
    using Sink = std::function<void(const String& logger, int priority, const String& text)>;

    LogFactory() = delete;

    using SharedLogger = SharedResource<PointerStorage<Logger, 0, 3>, 0>;

    /// The logger of that name: the same one each time, alive until the process is gone.
    static void createLogger(const String& name, Logger*& logger);
    /// A logger of the caller's own under that name. Loggers of one name are one: they share its threshold.
    static SharedLogger createLogger(const String& name);

    /// The global threshold, 3 at first.
    static int getPriority() noexcept { return s_priority.load(std::memory_order_relaxed); }
    static void setPriority(int priority) noexcept { s_priority.store(priority, std::memory_order_relaxed); }

    /// An empty function brings back Windows' debugger output (OutputDebugStringW, "name: text\n"). A line
    /// that another thread is writing may still reach the old sink.
    static void setSink(Sink sink);

private:
    friend class Logger;
    struct NamedLogger;

    static NamedLogger& find(const String& name);
    static void write(const String& logger, int priority, const String& text);

    static std::atomic<int> s_priority;
};

}  // namespace zor
