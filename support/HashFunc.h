// The hash functions of zor::Map.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "support/String.h"

namespace zor {

/// What Map asks for the hash of a key; specialise it for further key types.
template <class Key>
struct HashFunc;

template <std::integral Key>
struct HashFunc<Key> {
    static std::size_t hash(Key key) noexcept {
        const std::uint64_t product = static_cast<std::uint64_t>(key) * 0x9E3779B97F4A7C15U;
        return static_cast<std::size_t>(product ^ (product >> 32));
    }
};

/// Eight bytes at a time in two independent lanes, so that the multiplications overlap.
template <>
struct HashFunc<String> {
    static std::size_t hash(const String& key) noexcept {
        const char* bytes = reinterpret_cast<const char*>(key.getUCS2Buffer());
        std::size_t left = key.size() * sizeof(Char16);
        std::uint64_t even = 0x9E3779B97F4A7C15U ^ left;
        std::uint64_t odd = 0xC2B2AE3D27D4EB4FU;
        for (; left >= 16; left -= 16, bytes += 16) {
            even = mixed(even ^ word(bytes));
            odd = mixed(odd ^ word(bytes + 8));
        }
        if (left >= 8) {
            even = mixed(even ^ word(bytes));
            bytes += 8;
            left -= 8;
        }
        std::uint64_t rest = 0;
        std::memcpy(&rest, bytes, left);
        odd = mixed(odd ^ rest);
        return static_cast<std::size_t>(mixed(even ^ (odd << 29 | odd >> 35)));
    }

private:
    static std::uint64_t word(const char* bytes) noexcept {
        std::uint64_t value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    static std::uint64_t mixed(std::uint64_t value) noexcept {
        value *= 0xD6E8FEB86659FD93U;
        return value ^ value >> 32;
    }
};

}  // namespace zor
