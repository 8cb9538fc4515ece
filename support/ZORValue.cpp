#include "support/ZORValue.h"

#include "support/SprintfFormat.h"

namespace zor {

namespace {

// In the order of the variant's types.
constexpr const char* TypeNames[] = {"null",   "bool",         "short",     "unsigned short",
                                     "int",    "unsigned int", "long long", "unsigned long long",
                                     "String", "DateTime"};

String text(std::monostate) { return String(); }
String text(bool value) { return value ? "true" : "false"; }
String text(const String& value) { return value; }
String text(const DateTime& value) { return value.toString(); }
template <std::signed_integral Number>
String text(Number value) {
    return SprintfFormat("%d", value);
}
template <std::unsigned_integral Number>
String text(Number value) {
    return SprintfFormat("%u", value);
}

template <class Variant, class T>
void read(const Variant& variant, T& value) {
    const T* held = std::get_if<T>(&variant);
    if (held == nullptr) throw TypeMismatch(TypeNames[Variant(T()).index()], TypeNames[variant.index()]);
    value = *held;
}

}  // namespace

ZORValue::ZORValue(bool value) noexcept : m_value(value) {}
ZORValue::ZORValue(short value) noexcept : m_value(value) {}
ZORValue::ZORValue(unsigned short value) noexcept : m_value(value) {}
ZORValue::ZORValue(int value) noexcept : m_value(value) {}
ZORValue::ZORValue(unsigned int value) noexcept : m_value(value) {}
ZORValue::ZORValue(long long value) noexcept : m_value(value) {}
ZORValue::ZORValue(unsigned long long value) noexcept : m_value(value) {}
ZORValue::ZORValue(String value) noexcept : m_value(std::move(value)) {}
ZORValue::ZORValue(const DateTime& value) noexcept : m_value(value) {}

const ZORValue& ZORValue::nilValue() noexcept {
    static union Lasting {
        Lasting() noexcept : value() {}
        ~Lasting() {}
        ZORValue value;
    } nil;
    return nil.value;
}

void ZORValue::get(bool& value) const { read(m_value, value); }
void ZORValue::get(short& value) const { read(m_value, value); }
void ZORValue::get(unsigned short& value) const { read(m_value, value); }
void ZORValue::get(int& value) const { read(m_value, value); }
void ZORValue::get(unsigned int& value) const { read(m_value, value); }
void ZORValue::get(long long& value) const { read(m_value, value); }
void ZORValue::get(unsigned long long& value) const { read(m_value, value); }
void ZORValue::get(String& value) const { read(m_value, value); }
void ZORValue::get(DateTime& value) const { read(m_value, value); }

const char* ZORValue::getTypeName() const noexcept { return TypeNames[m_value.index()]; }

String ZORValue::toString(unsigned int indent) const {
    return String::repeat(' ', indent) + std::visit([](const auto& value) { return text(value); }, m_value);
}

}  // namespace zor
