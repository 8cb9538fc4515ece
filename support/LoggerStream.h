// Builds the text of one log line.
#pragma once

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// Both operators append and return the stream; numbers are decimal.
class ZOR_API LoggerStream {
public:
    LoggerStream() noexcept = default;

    const String& getText() const noexcept { return m_text; }

    LoggerStream& operator<<(const String& text);
    LoggerStream& operator<<(const char* text);
    LoggerStream& operator<<(const Char16* text);
    LoggerStream& operator<<(int number) { return *this << static_cast<long long>(number); }
    LoggerStream& operator<<(unsigned int number) { return *this << static_cast<unsigned long long>(number); }
    LoggerStream& operator<<(long number) { return *this << static_cast<long long>(number); }
    LoggerStream& operator<<(unsigned long number) {
        return *this << static_cast<unsigned long long>(number);
    }
    LoggerStream& operator<<(long long number);
    LoggerStream& operator<<(unsigned long long number);
    /// A pointer to anything else is no text, nor is a truth value a number.
    LoggerStream& operator<<(const void*) = delete;
    LoggerStream& operator<<(bool) = delete;

    template <class Part>
    LoggerStream& operator+(const Part& part) {
        return *this << part;
    }

private:
    String m_text;
};

}  // namespace zor
