#include "support/Exception.h"

namespace zor {

struct Exception::Texts {
    String message;
    CString utf8;
};

Exception::Exception(const String& message)
    : m_texts(std::make_shared<const Texts>(Texts{message, message.getUTF8String()})) {}

Exception::~Exception() = default;

const String& Exception::getMessage() const noexcept { return m_texts->message; }

const char* Exception::what() const noexcept { return m_texts->utf8.c_str(); }

}  // namespace zor
