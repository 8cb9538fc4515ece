// How misuse of the library is reported: one log line of priority 4, then a RaisedException with code 7.
#pragma once

#include "support/Export.h"
#include "support/RaisedException.h"

namespace zor {

class ZOR_API AssertionFailure {
public:
    AssertionFailure() = delete;

    /// Logs "<line> <source file>: assertion failed: <expression>" on "zor.AssertionFailure". Throws nothing.
    static void logAssert(const char* sourceFile, int line, const char* expression) noexcept;

    /// logAssert, then RaiseExceptionImp(7, 0, 0, nullptr).
    [[noreturn]] static void fail(const char* sourceFile, int line, const char* expression);
};

}  // namespace zor

/// Does nothing when `expression` holds; otherwise logs its text and throws RaisedException with code 7.
#define ZOR_ASSERT(expression) ZOR_ASSERT_AT(__FILE__, expression)

/// The same under a source name of one's own.
#define ZOR_ASSERT_AT(sourceName, expression) \
    ((expression) ? void() : ::zor::AssertionFailure::fail(sourceName, __LINE__, #expression))
