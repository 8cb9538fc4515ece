#include "support/Logger.h"

#include "support/LastErrorKeeper.h"
#include "support/LogFactory.h"

namespace zor {

int Logger::resolvePriority() const noexcept {
    const int own = getPriority();
    return own != 0 ? own : LogFactory::getPriority();
}

void Logger::log(int priority, const LoggerStream& stream) noexcept {
    const LastErrorKeeper keeper;
    try {
        LogFactory::write(getName(), priority, stream.getText());
    } catch (...) {
        // A sink that fails must not change what the logging code does.
    }
}

}  // namespace zor
