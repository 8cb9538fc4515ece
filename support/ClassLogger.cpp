#include "support/ClassLogger.h"

namespace zor {

Logger* ClassLogger::find(int priority) noexcept {
    Logger* logger = m_logger.load(std::memory_order_acquire);
    if (logger == nullptr) {
        try {
            LogFactory::createLogger(m_name, logger);
        } catch (...) {
            return nullptr;
        }
        // Threads that come here at once all get the same logger.
        m_logger.store(logger, std::memory_order_release);
    }
    return logger->resolvePriority() > priority ? nullptr : logger;
}

}  // namespace zor
