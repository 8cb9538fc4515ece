// Letter case of the Basic Multilingual Plane: the simple one-to-one mappings of Unicode.
#pragma once

#include "support/Types.h"

namespace zor::CaseTable {

constexpr unsigned int BlockLength = 64;

// The block of distances for each 64 code units, and the blocks: what to add to a unit, modulo 2^16.
extern const unsigned char UpperBlocks[0x10000 / BlockLength];
extern const unsigned char LowerBlocks[0x10000 / BlockLength];
extern const unsigned short Distances[][BlockLength];

inline Char16 mapped(const unsigned char* blocks, Char16 unit) noexcept {
    return static_cast<Char16>(unit + Distances[blocks[unit / BlockLength]][unit % BlockLength]);
}

/// Units without an upper-case form in the plane, surrogates among them, stay what they are.
inline Char16 toUpper(Char16 unit) noexcept { return mapped(UpperBlocks, unit); }
inline Char16 toLower(Char16 unit) noexcept { return mapped(LowerBlocks, unit); }

}  // namespace zor::CaseTable
