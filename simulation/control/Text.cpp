#include "simulation/control/Text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace simulation {

namespace {

constexpr char32_t Replacement = 0xFFFD;

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void append(Text& text, char32_t character) {
    if (character < 0x10000) {
        text += static_cast<char16_t>(character);
        return;
    }
    text += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
    text += static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
}

void append(std::string& text, char32_t character) {
    if (character < 0x80) {
        text += static_cast<char>(character);
        return;
    }
    if (character < 0x800) {
        text += static_cast<char>(0xC0 | (character >> 6));
    } else {
        if (character < 0x10000) {
            text += static_cast<char>(0xE0 | (character >> 12));
        } else {
            text += static_cast<char>(0xF0 | (character >> 18));
            text += static_cast<char>(0x80 | ((character >> 12) & 0x3F));
        }
        text += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
    }
    text += static_cast<char>(0x80 | (character & 0x3F));
}

// What a lead byte announces: how many bytes follow, and the range of the first of them (which shuts out
// overlong forms, surrogates and what lies beyond Unicode).
struct Lead {
    unsigned following = 0;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
};
Lead leadOf(unsigned char byte) {
    if (byte >= 0xC2 && byte <= 0xDF) return {1};
    if (byte == 0xE0) return {2, 0xA0, 0xBF};
    if (byte == 0xED) return {2, 0x80, 0x9F};
    if (byte >= 0xE1 && byte <= 0xEF) return {2};
    if (byte == 0xF0) return {3, 0x90, 0xBF};
    if (byte == 0xF4) return {3, 0x80, 0x8F};
    if (byte >= 0xF1 && byte <= 0xF3) return {3};
    return {};
}

bool isBetween(char16_t unit, char16_t first, char16_t last) { return unit >= first && unit <= last; }

}  // namespace

Text fromWide(const WCHAR* text) {
    if (text == nullptr) return {};
    size_t length = 0;
    while (text[length] != 0) ++length;
    return fromWide(text, length);
}

Text fromWide(const WCHAR* text, size_t length) {
    Text result(length, u'\0');
    if (length != 0) std::memcpy(result.data(), text, length * sizeof(char16_t));
    return result;
}

Text fromUtf8(std::string_view text) {
    Text result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i++]);
        if (byte < 0x80) {
            result += static_cast<char16_t>(byte);
            continue;
        }
        Lead lead = leadOf(byte);
        char32_t character = lead.following == 0 ? Replacement : byte & (0x3F >> lead.following);
        for (; lead.following != 0; --lead.following, lead.lowest = 0x80, lead.highest = 0xBF) {
            const auto next = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
            if (next < lead.lowest || next > lead.highest) {
                character = Replacement;  // of what was read so far; the offending byte begins anew
                break;
            }
            character = (character << 6) | (next & 0x3F);
            ++i;
        }
        append(result, character);
    }
    return result;
}

std::string toUtf8(std::u16string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t character = text[i];
        if (isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            character = 0x10000 + ((character - 0xD800) << 10) + (text[++i] - 0xDC00u);
        } else if (isHighSurrogate(text[i]) || isLowSurrogate(text[i])) {
            character = Replacement;
        }
        append(result, character);
    }
    return result;
}

char16_t upper(char16_t unit) {
    if (unit < 0x80) return isBetween(unit, u'a', u'z') ? static_cast<char16_t>(unit - 0x20) : unit;
    if (isBetween(unit, 0xE0, 0xFE) && unit != 0xF7) return static_cast<char16_t>(unit - 0x20);
    if (unit == 0xFF) return 0x178;
    if (isBetween(unit, 0x3B1, 0x3CB)) return unit == 0x3C2 ? 0x3A3 : static_cast<char16_t>(unit - 0x20);
    if (unit == 0x3AC) return 0x386;
    if (isBetween(unit, 0x3AD, 0x3AF)) return static_cast<char16_t>(unit - 0x25);
    if (unit == 0x3CC) return 0x38C;
    if (isBetween(unit, 0x3CD, 0x3CE)) return static_cast<char16_t>(unit - 0x3F);
    if (isBetween(unit, 0x430, 0x44F)) return static_cast<char16_t>(unit - 0x20);
    if (isBetween(unit, 0x450, 0x45F)) return static_cast<char16_t>(unit - 0x50);
    return unit;
}

Text upper(std::u16string_view text) {
    Text result(text);
    for (char16_t& unit : result) unit = upper(unit);
    return result;
}

bool equalNoCase(std::u16string_view one, std::u16string_view other) {
    return one.size() == other.size() &&
           std::equal(one.begin(), one.end(), other.begin(),
                      [](char16_t a, char16_t b) { return a == b || upper(a) == upper(b); });
}

bool LessNoCase::operator()(std::u16string_view one, std::u16string_view other) const {
    return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end(),
                                        [](char16_t a, char16_t b) { return upper(a) < upper(b); });
}

std::string toString(const GUID& guid) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}",
                  static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

bool parseGuid(std::string_view text, GUID& guid) {
    constexpr std::string_view Form = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
    if (text.size() != Form.size()) return false;
    unsigned char digits[32];
    size_t count = 0;
    for (size_t i = 0; i < Form.size(); ++i) {
        const char character = text[i];
        if (Form[i] != 'x') {
            if (character != Form[i]) return false;
        } else if (character >= '0' && character <= '9') {
            digits[count++] = static_cast<unsigned char>(character - '0');
        } else if ((character >= 'a' && character <= 'f') || (character >= 'A' && character <= 'F')) {
            digits[count++] = static_cast<unsigned char>((character | 0x20) - 'a' + 10);
        } else {
            return false;
        }
    }
    const auto number = [&](size_t first, size_t length) {
        unsigned value = 0;
        for (size_t i = 0; i < length; ++i) value = value << 4 | digits[first + i];
        return value;
    };
    guid.Data1 = number(0, 8);
    guid.Data2 = static_cast<unsigned short>(number(8, 4));
    guid.Data3 = static_cast<unsigned short>(number(12, 4));
    for (size_t i = 0; i < 8; ++i) guid.Data4[i] = static_cast<unsigned char>(number(16 + 2 * i, 2));
    return true;
}

bool LessGuid::operator()(const GUID& one, const GUID& other) const {
    return std::memcmp(&one, &other, sizeof(GUID)) < 0;
}

}  // namespace simulation
