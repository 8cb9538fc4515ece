// Texts as Windows takes and gives them.
#pragma once

#include <string>

#include "support/WindowsApi.h"

using Text = std::u16string;

/// A last error that no function sets.
constexpr DWORD Marker = 0x2AAAAAAA;

inline const WCHAR* wide(const Text& text) { return reinterpret_cast<const WCHAR*>(text.c_str()); }

inline Text textOf(const WCHAR* text) {
    Text result;
    while (*text != 0) result += static_cast<char16_t>(*text++);
    return result;
}
