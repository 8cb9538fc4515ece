#include "libSysmira/enumeration/DeviceLocation.h"

#include <algorithm>

namespace libSysmira {

namespace {

constexpr unsigned maximumUnits = 2047;

bool isDigit(zor::Char16 unit) { return unit >= u'0' && unit <= u'9'; }

// Reads the number that begins at `at` and moves past it.
bool readNumber(const zor::Char16* text, unsigned length, unsigned& at, unsigned int& number) {
    unsigned long long value = 0;
    const unsigned begin = at;
    for (; at < length && isDigit(text[at]); ++at) {
        value = value * 10 + static_cast<unsigned>(text[at] - u'0');
        if (value > 0xFFFFFFFFu) return false;
    }
    number = static_cast<unsigned int>(value);
    return at != begin;
}

}  // namespace

bool parseNumberLocation(const zor::String& location, unsigned int& number) {
    unsigned at = 0;
    unsigned int value = 0;
    if (!readNumber(location.getUCS2Buffer(), location.size(), at, value) || at != location.size())
        return false;
    number = value;
    return true;
}

bool parsePciLocation(const zor::String& location, unsigned char& bus, unsigned char& device,
                      unsigned char& function) {
    const zor::Char16* const text = location.getUCS2Buffer();
    const unsigned length = std::min(location.size(), maximumUnits);
    unsigned int numbers[3] = {};
    unsigned at = 0;
    for (unsigned int& number : numbers) {
        while (at < length && !isDigit(text[at])) ++at;
        if (!readNumber(text, length, at, number)) return false;
    }
    bus = static_cast<unsigned char>(numbers[0]);
    device = static_cast<unsigned char>(numbers[1]);
    function = static_cast<unsigned char>(numbers[2]);
    return true;
}

}  // namespace libSysmira
