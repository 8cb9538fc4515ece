#include "support/TraceLogger.h"

namespace zor {

namespace {

Logger* wanted(Logger& logger) noexcept {
    const bool unwanted = LogFactory::getPriority() > Detail || logger.resolvePriority() > Detail;
    return unwanted ? nullptr : &logger;
}

}  // namespace

TraceLogger::TraceLogger(Logger& logger, const char* functionName, const char* sourceFile, int line) noexcept
    : TraceLogger(wanted(logger), functionName, sourceFile, line) {}

void TraceLogger::write(const char* mark) noexcept {
    try {
        LoggerStream stream;
        stream << m_line << " " << mark << " " << m_functionName;
        m_logger->log(Detail, stream);
    } catch (...) {
        // Without memory for the line, the line is lost.
    }
}

}  // namespace zor
