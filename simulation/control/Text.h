// UTF-16 text of the simulated PC, its UTF-8 form in machine files and journals, and comparison as Windows
// compares names of devices, files and registry keys.
#pragma once

#include <string>
#include <string_view>

#include "support/WindowsApi.h"

namespace simulation {

using Text = std::u16string;

/// The pointer that a Windows function takes or gives; the text owns it.
inline const WCHAR* wide(const Text& text) { return reinterpret_cast<const WCHAR*>(text.c_str()); }

/// The text up to its NUL; a null pointer is the empty text.
Text fromWide(const WCHAR* text);
/// `length` code units, NULs included.
Text fromWide(const WCHAR* text, size_t length);

/// Ill-formed UTF-8 becomes U+FFFD, as do lone surrogates the other way.
Text fromUtf8(std::string_view text);
std::string toUtf8(std::u16string_view text);

/// Upper case of ASCII, Latin-1, Greek and Cyrillic letters: enough for the names that Windows compares
/// without case.
char16_t upper(char16_t unit);
Text upper(std::u16string_view text);
bool equalNoCase(std::u16string_view one, std::u16string_view other);

struct LessNoCase {
    using is_transparent = void;
    bool operator()(std::u16string_view one, std::u16string_view other) const;
};

/// "{4d36e967-e325-11ce-bfc1-08002be10318}", lower case, and its reader (false when it is no GUID).
std::string toString(const GUID& guid);
bool parseGuid(std::string_view text, GUID& guid);
inline bool sameGuid(const GUID& one, const GUID& other) { return IsEqualGUID(one, other) != 0; }

struct LessGuid {
    bool operator()(const GUID& one, const GUID& other) const;
};

}  // namespace simulation
