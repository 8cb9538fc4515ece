#include "support/String.h"

#include <climits>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "support/CaseTable.h"

namespace zor {

namespace {

using Units = std::basic_string<Char16, CodeUnitTraits>;

constexpr unsigned int ReplacementCharacter = 0xFFFD;

bool isBlank(Char16 unit) noexcept { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }
bool isDigit(Char16 unit) noexcept { return unit >= '0' && unit <= '9'; }
bool isHighSurrogate(Char16 unit) noexcept { return (unit & 0xFC00) == 0xD800; }
bool isLowSurrogate(Char16 unit) noexcept { return (unit & 0xFC00) == 0xDC00; }

std::size_t lengthOf(const char* text) noexcept { return text == nullptr ? 0 : std::strlen(text); }
std::size_t lengthOf(const Char16* text) noexcept {
    return text == nullptr ? 0 : CodeUnitTraits::length(text);
}

// Lengths are 32-bit numbers, of which the last one means "not found".
void checkLength(std::size_t length) {
    if (length >= NotFound) throw std::length_error("a text of more than 4,294,967,294 units");
}

void makeRoom(Units& units, std::size_t more) {
    checkLength(units.size() + more);
    const std::size_t needed = units.size() + more;
    if (needed > units.capacity()) units.reserve(std::max(needed, units.capacity() * 2));
}

void appendWidened(Units& units, const char* text) {
    const std::size_t length = lengthOf(text);
    makeRoom(units, length);
    for (std::size_t i = 0; i < length; ++i) units.push_back(static_cast<unsigned char>(text[i]));
}

void appendUnits(Units& units, const Char16* text, std::size_t length) {
    if (text == nullptr || length == 0) return;
    // Text of the string's own moves with it.
    const std::less_equal<const Char16*> notBehind;
    const bool own = notBehind(units.data(), text) && notBehind(text, units.data() + units.size());
    const std::size_t offset = own ? static_cast<std::size_t>(text - units.data()) : 0;
    makeRoom(units, length);
    units.append(own ? units.data() + offset : text, length);
}

void appendCodePoint(Units& units, unsigned int codePoint) {
    if (codePoint >= 0x10000) {
        units.push_back(static_cast<Char16>(0xD800 + ((codePoint - 0x10000) >> 10)));
        codePoint = 0xDC00 + (codePoint & 0x3FF);
    }
    units.push_back(static_cast<Char16>(codePoint));
}

// What may follow a first byte of UTF-8: how many bytes, and the range of the first of them, which rules out
// overlong forms, surrogates and code points beyond Unicode.
struct Utf8Sequence {
    int following;
    unsigned char low;
    unsigned char high;
};

Utf8Sequence utf8Sequence(unsigned char first) noexcept {
    if (first < 0xC2 || first > 0xF4) return {0, 0, 0};
    if (first < 0xE0) return {1, 0x80, 0xBF};
    if (first == 0xE0) return {2, 0xA0, 0xBF};
    if (first == 0xED) return {2, 0x80, 0x9F};
    if (first < 0xF0) return {2, 0x80, 0xBF};
    if (first == 0xF0) return {3, 0x90, 0xBF};
    if (first == 0xF4) return {3, 0x80, 0x8F};
    return {3, 0x80, 0xBF};
}

// Reads one code point at `position` and moves behind what it read of it.
unsigned int nextCodePoint(std::string_view text, std::size_t& position) noexcept {
    const auto first = static_cast<unsigned char>(text[position++]);
    if (first < 0x80) return first;
    Utf8Sequence sequence = utf8Sequence(first);
    if (sequence.following == 0) return ReplacementCharacter;
    unsigned int codePoint = first & (0x3F >> sequence.following);
    for (; sequence.following > 0; --sequence.following) {
        if (position == text.size()) return ReplacementCharacter;
        const auto byte = static_cast<unsigned char>(text[position]);
        if (byte < sequence.low || byte > sequence.high) return ReplacementCharacter;
        codePoint = codePoint << 6 | (byte & 0x3F);
        sequence.low = 0x80;
        sequence.high = 0xBF;
        ++position;
    }
    return codePoint;
}

void appendUtf8(std::string& bytes, unsigned int codePoint) {
    const auto put = [&](unsigned int byte) { bytes.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) return put(codePoint);
    if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
    } else {
        if (codePoint < 0x10000) {
            put(0xE0 | codePoint >> 12);
        } else {
            put(0xF0 | codePoint >> 18);
            put(0x80 | (codePoint >> 12 & 0x3F));
        }
        put(0x80 | (codePoint >> 6 & 0x3F));
    }
    put(0x80 | (codePoint & 0x3F));
}

// Four code units at a time, each in a lane of 16 bits.
constexpr std::uint64_t Lanes = 0x0001000100010001U;

std::uint64_t fourUnits(const Char16* units) noexcept {
    std::uint64_t lanes;
    std::memcpy(&lanes, units, sizeof lanes);
    return lanes;
}

// Upper case of four ASCII units: bit 15 of a lane tells whether it holds 'a' or beyond, and not beyond 'z'.
std::uint64_t upperAscii(std::uint64_t lanes) noexcept {
    const std::uint64_t letters =
        (lanes + Lanes * (0x8000 - 'a')) & ~(lanes + Lanes * (0x8000 - 'z' - 1)) & Lanes * 0x8000;
    return lanes - (letters >> 10);
}

bool equalNoCase(std::uint64_t one, std::uint64_t other) noexcept {
    if (one == other) return true;
    return ((one | other) & Lanes * 0xFF80) == 0 && upperAscii(one) == upperAscii(other);
}

// The value of a digit of bases up to 36, or 36.
unsigned int digitValue(Char16 unit) noexcept {
    if (isDigit(unit)) return unit - '0';
    const Char16 lower = unit | 0x20;
    return unit < 0x80 && lower >= 'a' && lower <= 'z' ? lower - 'a' + 10U : 36U;
}

}  // namespace

String::String(const char* text) { appendWidened(m_text, text); }

String::String(const Char16* text) { appendUnits(m_text, text, lengthOf(text)); }

String::String(const Char16* text, unsigned int length) { assign(text, length); }

String& String::operator=(const char* text) { return assign(text); }

String& String::operator=(const Char16* text) { return assign(text); }

const String& String::EMPTY() noexcept {
    // Never destroyed: other objects may ask for it while the process ends.
    static union Lasting {
        Lasting() noexcept : text() {}
        ~Lasting() {}
        String text;
    } empty;
    return empty.text;
}

String String::fromUTF8(std::string_view text) {
    String result;
    makeRoom(result.m_text, text.size());
    for (std::size_t position = 0; position < text.size();) {
        appendCodePoint(result.m_text, nextCodePoint(text, position));
    }
    return result;
}

String String::repeat(Char16 character, unsigned int count) {
    String result;
    makeRoom(result.m_text, count);
    result.m_text.assign(count, character);
    return result;
}

String& String::assign(const String& text) { return *this = text; }

String& String::assign(const char* text) { return *this = String(text); }

String& String::assign(const Char16* text) { return *this = String(text); }

String& String::assign(const Char16* text, unsigned int length) {
    if (text == nullptr) length = 0;
    if (length > m_text.capacity()) checkLength(length);
    m_text.assign(length == 0 ? m_text.data() : text, length);
    return *this;
}

String& String::append(const String& text) {
    appendUnits(m_text, text.m_text.data(), text.m_text.size());
    return *this;
}

String& String::append(const char* text) {
    appendWidened(m_text, text);
    return *this;
}

String& String::append(const Char16* text) {
    appendUnits(m_text, text, lengthOf(text));
    return *this;
}

String& String::append(const Char16* text, unsigned int length) {
    appendUnits(m_text, text, length);
    return *this;
}

String& String::append(Char16 character) {
    makeRoom(m_text, 1);
    m_text.push_back(character);
    return *this;
}

int String::compareNoCase(const String& other) const noexcept {
    const Char16* one = m_text.data();
    const Char16* two = other.m_text.data();
    const std::size_t common = std::min(m_text.size(), other.m_text.size());
    std::size_t i = 0;
    while (i < common) {
        while (common - i >= 4 && equalNoCase(fourUnits(one + i), fourUnits(two + i))) i += 4;
        for (const std::size_t end = std::min(i + 4, common); i < end; ++i) {
            if (one[i] == two[i]) continue;
            const Char16 left = CaseTable::toUpper(one[i]);
            const Char16 right = CaseTable::toUpper(two[i]);
            if (left != right) return left < right ? -1 : 1;
        }
    }
    if (m_text.size() == other.m_text.size()) return 0;
    return m_text.size() < other.m_text.size() ? -1 : 1;
}

unsigned int String::find(const String& text, unsigned int start) const noexcept {
    const std::size_t place = m_text.find(text.m_text, start);
    return place == Units::npos ? NotFound : static_cast<unsigned int>(place);
}

unsigned int String::findLast(const String& text, unsigned int start, int* number) const noexcept {
    if (start > size()) return NotFound;
    const std::size_t last = m_text.rfind(text.m_text);
    if (last == Units::npos || last < start) return NotFound;
    if (number == nullptr || text.empty()) return static_cast<unsigned int>(last);

    const std::size_t length = text.m_text.size();
    const auto occursAt = [&](std::size_t at) { return m_text.compare(at, length, text.m_text) == 0; };
    bool found = false;
    int greatest = 0;
    std::size_t at = start;
    while ((at = m_text.find(text.m_text, at)) != Units::npos) {
        at += length;
        if (occursAt(at)) {
            at += length;
            continue;
        }
        // Microsoft, FormatMessage: inserts are %1 to %99, so a third digit is text.
        const std::size_t end = std::min(at + 2, m_text.size());
        int value = 0;
        for (std::size_t i = at; i < end && isDigit(m_text[i]); ++i) {
            value = value * 10 + (m_text[i] - '0');
            found = true;
        }
        greatest = std::max(greatest, value);
    }
    if (found) *number = greatest;
    return static_cast<unsigned int>(last);
}

String String::subString(unsigned int start, unsigned int length) const {
    if (start >= size()) return String();
    return String(m_text.data() + start, std::min(length, size() - start));
}

String& String::toUpper() noexcept {
    for (Char16& unit : m_text) unit = CaseTable::toUpper(unit);
    return *this;
}

String& String::toLower() noexcept {
    for (Char16& unit : m_text) unit = CaseTable::toLower(unit);
    return *this;
}

String& String::trim() noexcept {
    std::size_t end = m_text.size();
    while (end > 0 && isBlank(m_text[end - 1])) --end;
    std::size_t begin = 0;
    while (begin < end && isBlank(m_text[begin])) ++begin;
    m_text.erase(end);
    m_text.erase(0, begin);
    return *this;
}

String& String::normalizeSpaces() noexcept {
    std::size_t kept = 0;
    for (const Char16 unit : m_text) {
        if (!isBlank(unit)) {
            m_text[kept++] = unit;
        } else if (kept == 0 || m_text[kept - 1] != ' ') {
            m_text[kept++] = ' ';
        }
    }
    m_text.erase(kept);
    return *this;
}

Array<String> String::tokenize(const String& delimiters) const {
    Array<String> pieces;
    std::size_t begin = 0;
    while ((begin = m_text.find_first_not_of(delimiters.m_text, begin)) != Units::npos) {
        const std::size_t end = std::min(m_text.find_first_of(delimiters.m_text, begin), m_text.size());
        pieces.append(String(m_text.data() + begin, static_cast<unsigned int>(end - begin)));
        begin = end;
    }
    return pieces;
}

CString String::getUTF8String() const {
    std::string bytes;
    bytes.reserve(m_text.size());
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const Char16 unit = m_text[i];
        if (isHighSurrogate(unit) && i + 1 < m_text.size() && isLowSurrogate(m_text[i + 1])) {
            appendUtf8(bytes, 0x10000 + ((unit & 0x3FFU) << 10) + (m_text[++i] & 0x3FFU));
        } else {
            appendUtf8(bytes, isHighSurrogate(unit) || isLowSurrogate(unit) ? ReplacementCharacter : unit);
        }
    }
    return CString(std::move(bytes));
}

String::ParseResult String::toUint64(unsigned long long& value, unsigned int base) const noexcept {
    if (base == 1 || base > 36) return ParseBadBase;
    const Char16* digit = m_text.data();
    const Char16* end = digit + m_text.size();
    const bool zero = digit != end && *digit == '0';
    if ((base == 0 || base == 16) && zero && end - digit >= 2 && (digit[1] | 0x20) == 'x') {
        base = 16;
        digit += 2;
    } else if (base == 0) {
        base = zero ? 8 : 10;
    }
    if (digit == end) return ParseEmpty;

    unsigned long long number = 0;
    bool overflow = false;
    for (; digit != end; ++digit) {
        const unsigned int next = digitValue(*digit);
        if (next >= base) return ParseBadCharacter;
        if (number > (ULLONG_MAX - next) / base) overflow = true;
        number = number * base + next;
    }
    if (overflow) return ParseOverflow;
    value = number;
    return ParseSuccess;
}

unsigned int String::strToUInt(const String& text, unsigned int base) noexcept {
    unsigned long long value = 0;
    if (text.toUint64(value, base) != ParseSuccess || value > UINT_MAX) return 0;
    return static_cast<unsigned int>(value);
}

bool operator==(const String& one, const char* other) noexcept {
    const std::size_t length = lengthOf(other);
    if (one.size() != length) return false;
    const Char16* units = one.getUCS2Buffer();
    for (std::size_t i = 0; i < length; ++i) {
        if (units[i] != static_cast<unsigned char>(other[i])) return false;
    }
    return true;
}

String operator+(const String& one, const String& other) {
    String sum;
    sum.reserveCapacity(one.size() + other.size());
    return std::move(sum.append(one).append(other));
}
String operator+(String&& one, const String& other) { return std::move(one.append(other)); }
String operator+(const String& one, const char* other) { return std::move(String(one).append(other)); }
String operator+(String&& one, const char* other) { return std::move(one.append(other)); }
String operator+(const String& one, const Char16* other) { return std::move(String(one).append(other)); }
String operator+(String&& one, const Char16* other) { return std::move(one.append(other)); }
String operator+(const char* one, const String& other) { return std::move(String(one).append(other)); }
String operator+(const Char16* one, const String& other) { return std::move(String(one).append(other)); }

}  // namespace zor
