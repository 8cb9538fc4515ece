// Small services of the operating system.
#pragma once

#include "support/Export.h"
#include "support/String.h"
#include "support/Types.h"

namespace zor {

class ZOR_API System {
public:
    System() = delete;

    /// The thread's last error (GetLastError).
    static Uint32 getSystemError() noexcept;
    /// Windows' text for a code (FormatMessageW), in English where Windows has that, else in the user's
    /// language; blanks and line breaks at its end are taken off. "Unknown error 0x1234ABCD" when Windows has
    /// no text. With `withCode`, " (5)" follows: the code in decimal. Keeps the thread's last error.
    static String getSystemErrorMsg(Uint32 code, bool withCode = false);
    /// Suspends the thread (Sleep).
    static void mssleep(unsigned int milliseconds) noexcept;
    /// GetEnvironmentVariableW; empty when there is no such variable.
    static String getEnvironmentVariable(const String& name);
    /// The text with its "%NAME%" references replaced (ExpandEnvironmentStringsW); the text itself when
    /// Windows fails. A text that ends before its NUL, as Windows sees it, is expanded up to there.
    static String expandEnvironment(const String& text);
};

}  // namespace zor
