// The basic types that every header of the library shares.
#pragma once

#include <cstdint>

namespace zor {

/// One UTF-16 code unit. The build makes wchar_t 16 bits wide on both targets, so that it is Windows' WCHAR.
using Char16 = wchar_t;
using Uint32 = std::uint32_t;

static_assert(sizeof(Char16) == 2 && Char16(-1) > Char16(0), "code units are 16 bits wide and unsigned");

/// What a search answers that found nothing; as a length it means "to the end".
constexpr unsigned int NotFound = 0xFFFFFFFFU;

}  // namespace zor
