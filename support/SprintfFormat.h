// printf-style formatting into a String.
#pragma once

#include <cstddef>
#include <type_traits>

#include "support/CString.h"
#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// One argument of SprintfFormat with its kind, so that the engine never trusts the format about it.
class FormatArgument {
public:
    enum class Kind { Signed, Unsigned, Double, Narrow, Wide, Pointer };

    template <class T>
    requires std::is_integral_v<T> || std::is_enum_v<T> FormatArgument(T value)
    noexcept : m_bytes(sizeof(T)) {
        if constexpr (std::is_enum_v<T>) {
            *this = FormatArgument(static_cast<std::underlying_type_t<T>>(value));
        } else {
            m_kind = std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned;
            m_integer = static_cast<unsigned long long>(value);
        }
    }
    FormatArgument(double value) noexcept : m_kind(Kind::Double), m_double(value) {}
    FormatArgument(const char* text) noexcept : m_kind(Kind::Narrow), m_pointer(text) {}
    FormatArgument(const CString& text) noexcept
        : m_kind(Kind::Narrow), m_pointer(text.c_str()), m_length(text.size()) {}
    FormatArgument(const Char16* text) noexcept : m_kind(Kind::Wide), m_pointer(text) {}
    FormatArgument(const String& text) noexcept
        : m_kind(Kind::Wide), m_pointer(text.getUCS2Buffer()), m_length(text.size()) {}
    FormatArgument(const void* pointer) noexcept : m_kind(Kind::Pointer), m_pointer(pointer) {}

    Kind kind() const noexcept { return m_kind; }
    /// Width of an integer.
    unsigned int bytes() const noexcept { return m_bytes; }
    /// An integer, extended by its own sign to 64 bits.
    unsigned long long integer() const noexcept { return m_integer; }
    double floating() const noexcept { return m_double; }
    const void* pointer() const noexcept { return m_pointer; }
    /// Units of a text, or NotFound when it ends at its NUL.
    unsigned int length() const noexcept { return m_length; }

private:
    Kind m_kind = Kind::Unsigned;
    unsigned int m_bytes = 0;
    union {
        unsigned long long m_integer = 0;
        double m_double;
        const void* m_pointer;
    };
    unsigned int m_length = NotFound;
};

ZOR_API String formatArguments(const char* format, const FormatArgument* arguments, std::size_t count);

/// Formats as printf does, the same under every locale.
///
/// Conversions: %d %i %u %x %X %o %c %s %ws (also %ls, %S) %p %f %F %e %E %g %G %%, with the flags "-+ 0#",
/// width and precision ('*' takes an argument) up to 4096. A length modifier is read over: each argument has
/// its own width, so that %u, %lu and %I64u all print a number of any width; a negative number printed
/// unsigned, and the reverse, has the bits of its own width. %s and %ws both take narrow text, 16-bit text
/// and String; a null text prints "(null)". A missing argument prints "{missing}", one that the conversion
/// cannot print "{mismatch}"; an unknown conversion prints as it stands and takes no argument. Surplus
/// arguments are ignored. The result holds the bytes of narrow text as one unit each.
template <class... Arguments>
String SprintfFormat(const char* format, const Arguments&... arguments) {
    if constexpr (sizeof...(arguments) == 0) {
        return formatArguments(format, nullptr, 0);
    } else {
        const FormatArgument list[] = {FormatArgument(arguments)...};
        return formatArguments(format, list, sizeof...(arguments));
    }
}

}  // namespace zor
