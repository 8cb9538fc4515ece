// Marks entry and exit of a scope in the log.
#pragma once

#include "support/ClassLogger.h"
#include "support/Export.h"
#include "support/Logger.h"

namespace zor {

/// Writes "<line> > name" at construction and "<line> < name" at destruction, at priority 1; costs one
/// comparison each way when that is not wanted. Function and source names must outlive the scope.
class ZOR_API TraceLogger {
public:
    TraceLogger(ClassLogger& logger, const char* functionName, const char* sourceFile, int line) noexcept
        : TraceLogger(logger.wanted(Detail), functionName, sourceFile, line) {}
    TraceLogger(Logger& logger, const char* functionName, const char* sourceFile, int line) noexcept;
    TraceLogger(const TraceLogger&) = delete;
    TraceLogger& operator=(const TraceLogger&) = delete;
    ~TraceLogger() {
        if (m_logger != nullptr) write("<");
    }

private:
    // The source file is part of what a trace knows; the line of text has the logger's name instead.
    TraceLogger(Logger* logger, const char* functionName, const char* /*sourceFile*/, int line) noexcept
        : m_logger(logger), m_functionName(functionName), m_line(line) {
        if (m_logger != nullptr) write(">");
    }

    void write(const char* mark) noexcept;

    Logger* m_logger;
    const char* m_functionName;
    int m_line;
};

}  // namespace zor
