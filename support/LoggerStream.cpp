#include "support/LoggerStream.h"

#include <charconv>

namespace zor {

namespace {

template <class Number>
void appendNumber(String& text, Number number) {
    char digits[24];
    *std::to_chars(digits, digits + sizeof digits - 1, number).ptr = '\0';
    text.append(digits);
}

}  // namespace

LoggerStream& LoggerStream::operator<<(const String& text) {
    m_text.append(text);
    return *this;
}

LoggerStream& LoggerStream::operator<<(const char* text) {
    m_text.append(text);
    return *this;
}

LoggerStream& LoggerStream::operator<<(const Char16* text) {
    m_text.append(text);
    return *this;
}

LoggerStream& LoggerStream::operator<<(long long number) {
    appendNumber(m_text, number);
    return *this;
}

LoggerStream& LoggerStream::operator<<(unsigned long long number) {
    appendNumber(m_text, number);
    return *this;
}

}  // namespace zor
