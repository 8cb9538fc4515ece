// An answer that may be unknown.
#pragma once

namespace zor {

class TriBool {
public:
    enum Value { False = 0, True = 1, Unknown = 2 };

    constexpr TriBool() noexcept = default;
    constexpr TriBool(Value value) noexcept : m_value(value) {}
    constexpr TriBool(bool value) noexcept : m_value(value ? True : False) {}
    /// Numbers and pointers are no answers.
    template <class T>
    TriBool(T) = delete;

    constexpr Value getValue() const noexcept { return m_value; }
    constexpr bool isTrue() const noexcept { return m_value == True; }
    constexpr bool isFalse() const noexcept { return m_value == False; }
    constexpr bool isUnknown() const noexcept { return m_value == Unknown; }

    friend constexpr bool operator==(TriBool, TriBool) noexcept = default;

private:
    Value m_value = Unknown;
};

}  // namespace zor
