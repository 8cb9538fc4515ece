#include "support/MultiString.h"

#include <algorithm>
#include <cstring>

namespace zor {

namespace {

Char16 unitAt(const unsigned char* bytes, std::size_t index) noexcept {
    Char16 unit;
    std::memcpy(&unit, bytes + index * sizeof unit, sizeof unit);
    return unit;
}

// Units from `begin` up to the NUL or the end.
std::size_t textLength(const unsigned char* bytes, std::size_t units, std::size_t begin) noexcept {
    std::size_t end = begin;
    while (end < units && unitAt(bytes, end) != 0) ++end;
    return end - begin;
}

String copyText(const unsigned char* bytes, std::size_t begin, std::size_t length) {
    if (length == 0) return String();
    String text = String::repeat(0, static_cast<unsigned int>(std::min<std::size_t>(length, NotFound - 1)));
    std::memcpy(&text[0], bytes + begin * sizeof(Char16), text.size() * sizeof(Char16));
    return text;
}

}  // namespace

void splitMultiString(const unsigned char* bytes, std::size_t length, Array<String>& out) {
    out.clear();
    const std::size_t units = bytes == nullptr ? 0 : length / sizeof(Char16);
    for (std::size_t begin = 0; begin < units;) {
        const std::size_t count = textLength(bytes, units, begin);
        if (count == 0) return;
        out.append(copyText(bytes, begin, count));
        begin += count + 1;
    }
}

void splitMultiString(const Char16* text, unsigned int units, Array<String>& out) {
    splitMultiString(reinterpret_cast<const unsigned char*>(text), std::size_t{units} * sizeof(Char16), out);
}

String textFromBytes(const unsigned char* bytes, std::size_t length) {
    if (bytes == nullptr) return String();
    return copyText(bytes, 0, textLength(bytes, length / sizeof(Char16), 0));
}

}  // namespace zor
