#include "support/LogFactory.h"

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "support/WindowsApi.h"

namespace zor {

struct LogFactory::NamedLogger {
    explicit NamedLogger(const String& name) : record{name}, logger(record) {}

    Logger::Record record;
    Logger logger;
};

namespace {

std::mutex namesMutex;
std::mutex sinkMutex;

// Loggers and sink outlive everything that may log while the process ends: neither is ever destroyed.
std::shared_ptr<const LogFactory::Sink>& currentSink() {
    static auto* const sink = new std::shared_ptr<const LogFactory::Sink>();
    return *sink;
}

}  // namespace

constinit std::atomic<int> LogFactory::s_priority{Warning};

LogFactory::NamedLogger& LogFactory::find(const String& name) {
    static auto* const loggers = new std::map<String, NamedLogger>();
    const std::lock_guard<std::mutex> lock(namesMutex);
    return loggers->try_emplace(name, name).first->second;
}

void LogFactory::createLogger(const String& name, Logger*& logger) { logger = &find(name).logger; }

LogFactory::SharedLogger LogFactory::createLogger(const String& name) {
    return SharedLogger(new Logger(find(name).record));
}

void LogFactory::setSink(Sink sink) {
    auto next = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
    {
        const std::lock_guard<std::mutex> lock(sinkMutex);
        currentSink().swap(next);
    }
    // The old sink goes here, outside the lock: what it holds may log.
}

void LogFactory::write(const String& logger, int priority, const String& text) {
    std::shared_ptr<const Sink> sink;
    {
        const std::lock_guard<std::mutex> lock(sinkMutex);
        sink = currentSink();
    }
    if (sink != nullptr) {
        (*sink)(logger, priority, text);
    } else {
        OutputDebugStringW((logger + ": " + text + "\n").getUCS2Buffer());
    }
}

}  // namespace zor
