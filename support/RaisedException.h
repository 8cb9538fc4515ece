// What misuse of the library throws.
#pragma once

#include <exception>

#include "support/Export.h"

namespace zor {

/// A programming error of the caller: an empty holder, an index out of range, a missing current record.
///
/// Deliberately no zor::Exception, so that a handler for failures does not swallow it.
class ZOR_API RaisedException : public std::exception {
public:
    explicit RaisedException(unsigned int code) noexcept : m_code(code) {}
    RaisedException(const RaisedException&) noexcept = default;
    RaisedException& operator=(const RaisedException&) noexcept = default;
    ~RaisedException() override;

    unsigned int getCode() const noexcept { return m_code; }
    const char* what() const noexcept override;

private:
    unsigned int m_code;
};

/// Throws RaisedException with `code`. Flags and arguments are those of Windows' RaiseException, of which the
/// code alone travels.
[[noreturn]] ZOR_API void RaiseExceptionImp(unsigned int code, unsigned int flags, unsigned int count,
                                            const void* arguments);

}  // namespace zor
