// Character traits of 16-bit code units. The standard traits of wchar_t call functions of the C library,
// which on Linux take wchar_t for 32 bits; these call none.
#pragma once

#include <cstring>
#include <cwchar>
#include <ios>

#include "support/Types.h"

namespace zor {

struct CodeUnitTraits {
    using char_type = Char16;
    using int_type = Uint32;
    using off_type = std::streamoff;
    using pos_type = std::streampos;
    using state_type = std::mbstate_t;

    static constexpr void assign(Char16& to, const Char16& from) noexcept { to = from; }
    static constexpr bool eq(Char16 one, Char16 other) noexcept { return one == other; }
    static constexpr bool lt(Char16 one, Char16 other) noexcept { return one < other; }

    static constexpr int compare(const Char16* one, const Char16* other, std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            if (one[i] != other[i]) return one[i] < other[i] ? -1 : 1;
        }
        return 0;
    }
    static constexpr std::size_t length(const Char16* text) noexcept {
        std::size_t count = 0;
        while (text[count] != 0) ++count;
        return count;
    }
    static constexpr const Char16* find(const Char16* text, std::size_t count, const Char16& unit) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            if (text[i] == unit) return text + i;
        }
        return nullptr;
    }
    static Char16* move(Char16* to, const Char16* from, std::size_t count) noexcept {
        if (count != 0) std::memmove(to, from, count * sizeof(Char16));
        return to;
    }
    static Char16* copy(Char16* to, const Char16* from, std::size_t count) noexcept {
        if (count != 0) std::memcpy(to, from, count * sizeof(Char16));
        return to;
    }
    static constexpr Char16* assign(Char16* to, std::size_t count, Char16 unit) noexcept {
        for (std::size_t i = 0; i < count; ++i) to[i] = unit;
        return to;
    }

    static constexpr int_type eof() noexcept { return 0xFFFFFFFFU; }
    static constexpr int_type not_eof(int_type value) noexcept { return value == eof() ? 0 : value; }
    static constexpr Char16 to_char_type(int_type value) noexcept { return static_cast<Char16>(value); }
    static constexpr int_type to_int_type(Char16 unit) noexcept { return unit; }
    static constexpr bool eq_int_type(int_type one, int_type other) noexcept { return one == other; }
};

}  // namespace zor
