// A narrow copy of a text.
#pragma once

#include <string>
#include <utility>

#include "support/Export.h"

namespace zor {

/// An owned UTF-8 text, as String::getUTF8String() gives it.
class ZOR_API CString {
public:
    CString() = default;
    explicit CString(std::string text) noexcept : m_text(std::move(text)) {}

    /// Ends with a NUL; valid as long as this object is neither changed nor destroyed.
    const char* c_str() const noexcept { return m_text.c_str(); }
    /// Bytes, without the terminator.
    unsigned int size() const noexcept { return static_cast<unsigned int>(m_text.size()); }
    bool empty() const noexcept { return m_text.empty(); }

private:
    std::string m_text;
};

}  // namespace zor
