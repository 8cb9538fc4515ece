// The text type of the suite: UTF-16 code units, with everything that its classes do with texts.
#pragma once

#include <string>
#include <string_view>

#include "support/Array.h"
#include "support/AssertionFailure.h"
#include "support/CString.h"
#include "support/CodeUnitTraits.h"
#include "support/Export.h"
#include "support/Types.h"

namespace zor {

/// A text of 16-bit code units (UTF-16); lengths and positions are counts of code units.
///
/// Text may hold any unit, NUL and lone surrogates included. Narrow text given to it is the program's own
/// (literals, numbers): each byte becomes one unit; UTF-8 comes in through fromUTF8. A null pointer is the
/// empty text. Letter case is the simple one-to-one Unicode mapping of the Basic Multilingual Plane, the same
/// under every locale; supplementary characters have no case.
class ZOR_API String {
public:
    /// What toUint64 found.
    enum ParseResult {
        ParseSuccess = 0,
        ParseEmpty = 1,         ///< no text, or no digit behind "0x"
        ParseBadCharacter = 2,  ///< anything but digits of the base: signs and blanks too
        ParseOverflow = 3,      ///< more than 64 bits
        ParseBadBase = 4,       ///< neither 0 nor 2 to 36
    };

    String() noexcept = default;
    String(const char* text);
    String(const Char16* text);
    /// NULs are text here. A null pointer is the empty text, whatever the length.
    String(const Char16* text, unsigned int length);
    String(const String&) = default;
    String(String&&) noexcept = default;
    ~String() = default;
    String& operator=(const String&) = default;
    String& operator=(String&&) noexcept = default;
    String& operator=(const char* text);
    String& operator=(const Char16* text);

    /// The empty text, alive until the process is gone.
    static const String& EMPTY() noexcept;
    /// Ill-formed bytes become U+FFFD, one for each maximal ill-formed part.
    static String fromUTF8(std::string_view text);
    /// A run of one code unit.
    static String repeat(Char16 character, unsigned int count);

    String& assign(const String& text);
    String& assign(const char* text);
    /// Up to the NUL. The pointer may point into this text.
    String& assign(const Char16* text);
    String& assign(const Char16* text, unsigned int length);

    String& append(const String& text);
    String& append(const char* text);
    String& append(const Char16* text);
    String& append(const Char16* text, unsigned int length);
    String& append(Char16 character);
    String& operator+=(const String& text) { return append(text); }
    String& operator+=(const char* text) { return append(text); }
    String& operator+=(const Char16* text) { return append(text); }

    unsigned int size() const noexcept { return static_cast<unsigned int>(m_text.size()); }
    bool empty() const noexcept { return m_text.empty(); }
    void clear() noexcept { m_text.clear(); }
    /// Room for that many units in all; the text stays.
    void reserveCapacity(unsigned int units) { m_text.reserve(units); }

    /// Checked: an index beyond the end is misuse.
    Char16& operator[](unsigned int index) {
        ZOR_ASSERT(index < size());
        return m_text[index];
    }
    Char16 operator[](unsigned int index) const {
        ZOR_ASSERT(index < size());
        return m_text[index];
    }

    /// Negative, 0 or positive, in the order of the upper-cased code units.
    int compareNoCase(const String& other) const noexcept;

    /// The first occurrence that begins at `start` or later. NotFound also when `start` lies beyond the end.
    unsigned int find(const String& text, unsigned int start = 0) const noexcept;
    /// The last occurrence that begins at `start` or later, or NotFound.
    ///
    /// `number`, when given, receives the greatest number of one or two decimal digits that directly follows
    /// one of the occurrences, and is unchanged when none is followed by a digit. Further digits are text, as
    /// in a message: "%1234" is insert 12 and "34". Two occurrences side by side stand for the text itself
    /// and introduce nothing, as "%%" does in a message.
    unsigned int findLast(const String& text, unsigned int start = 0, int* number = nullptr) const noexcept;
    /// At most `length` units from `start`; empty when `start` lies beyond the end.
    String subString(unsigned int start, unsigned int length = NotFound) const;

    // In place; each returns this text.
    String& toUpper() noexcept;
    String& toLower() noexcept;
    /// Takes blanks (space, tab, line feed, vertical tab, form feed, carriage return) off both ends.
    String& trim() noexcept;
    /// Makes each run of those blanks one space.
    String& normalizeSpaces() noexcept;
    /// The text with each run of blanks made one space.
    static String normalizeSpaces(String text) noexcept { return std::move(text.normalizeSpaces()); }

    /// The pieces between units of `delimiters`; empty pieces are dropped.
    Array<String> tokenize(const String& delimiters) const;

    /// Ends with a NUL; valid until this text is changed or destroyed.
    const Char16* getUCS2Buffer() const noexcept { return m_text.c_str(); }
    /// UTF-8; lone surrogates become U+FFFD.
    CString getUTF8String() const;

    /// Reads the whole text as a number. Base 0 takes "0x" for hexadecimal, a leading "0" for octal, anything
    /// else for decimal; base 16 accepts "0x" as well. `value` changes on success only.
    ParseResult toUint64(unsigned long long& value, unsigned int base = 0) const noexcept;
    /// The number that toUint64 reads; 0 when it reads none or one beyond 32 bits.
    static unsigned int strToUInt(const String& text, unsigned int base) noexcept;

    friend bool operator==(const String& one, const String& other) noexcept {
        return one.m_text.size() == other.m_text.size() &&
               std::memcmp(one.m_text.data(), other.m_text.data(), one.m_text.size() * sizeof(Char16)) == 0;
    }
    friend bool operator<(const String& one, const String& other) noexcept {
        return one.m_text < other.m_text;
    }

private:
    std::basic_string<Char16, CodeUnitTraits> m_text;
};

/// Without a copy of the narrow text. A null pointer equals the empty text.
ZOR_API bool operator==(const String& one, const char* other) noexcept;

ZOR_API String operator+(const String& one, const String& other);
ZOR_API String operator+(String&& one, const String& other);
ZOR_API String operator+(const String& one, const char* other);
ZOR_API String operator+(String&& one, const char* other);
ZOR_API String operator+(const String& one, const Char16* other);
ZOR_API String operator+(String&& one, const Char16* other);
ZOR_API String operator+(const char* one, const String& other);
ZOR_API String operator+(const Char16* one, const String& other);

}  // namespace zor
