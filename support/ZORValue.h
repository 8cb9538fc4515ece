// A variant value.
#pragma once

#include <variant>

#include "support/DateTime.h"
#include "support/Export.h"
#include "support/String.h"
#include "support/TypeMismatch.h"

namespace zor {

/// Null, or a value of one of nine types, which it keeps exactly: a number read as another width of number is
/// a TypeMismatch too.
class ZOR_API ZORValue {
public:
    ZORValue() noexcept = default;
    ZORValue(bool value) noexcept;
    ZORValue(short value) noexcept;
    ZORValue(unsigned short value) noexcept;
    ZORValue(int value) noexcept;
    ZORValue(unsigned int value) noexcept;
    ZORValue(long long value) noexcept;
    ZORValue(unsigned long long value) noexcept;
    ZORValue(String value) noexcept;
    ZORValue(const DateTime& value) noexcept;
    /// Texts come as String: a pointer would turn into a bool.
    template <class T>
    ZORValue(T*) = delete;

    /// A null value, alive until the process is gone.
    static const ZORValue& nilValue() noexcept;

    bool isNull() const noexcept { return m_value.index() == 0; }
    void clear() noexcept { m_value.emplace<std::monostate>(); }
    void assign(ZORValue value) noexcept { m_value = std::move(value.m_value); }

    // The value, when it is of exactly that type; otherwise TypeMismatch is thrown, with `value` untouched.
    void get(bool& value) const;
    void get(short& value) const;
    void get(unsigned short& value) const;
    void get(int& value) const;
    void get(unsigned int& value) const;
    void get(long long& value) const;
    void get(unsigned long long& value) const;
    void get(String& value) const;
    void get(DateTime& value) const;

    /// "null", "bool", "short", "unsigned short", "int", "unsigned int", "long long", "unsigned long long",
    /// "String" or "DateTime".
    const char* getTypeName() const noexcept;

    /// `indent` blanks and the value: a decimal number, "true" or "false", the text itself, the date-time's
    /// toString(), nothing for null.
    String toString(unsigned int indent = 0) const;

    friend bool operator==(const ZORValue& one, const ZORValue& other) {
        return one.m_value == other.m_value;
    }

private:
    std::variant<std::monostate, bool, short, unsigned short, int, unsigned int, long long,
                 unsigned long long, String, DateTime>
        m_value;
};

}  // namespace zor
