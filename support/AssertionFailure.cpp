#include "support/AssertionFailure.h"

#include "support/ClassLogger.h"

namespace zor {

namespace {
constinit ClassLogger log("zor.AssertionFailure");
}

void AssertionFailure::logAssert(const char* sourceFile, int line, const char* expression) noexcept {
    log.write(Error, static_cast<unsigned int>(line),
              [&](LoggerStream& stream) { stream << sourceFile << ": assertion failed: " << expression; });
}

void AssertionFailure::fail(const char* sourceFile, int line, const char* expression) {
    logAssert(sourceFile, line, expression);
    RaiseExceptionImp(/*code=*/7, /*flags=*/0, /*count=*/0, /*arguments=*/nullptr);
}

}  // namespace zor
