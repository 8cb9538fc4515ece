// Texts of any units, and EDIDs of any bytes, on their way to be matched with a monitor.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/Check.h"
#include "libSysmira/enumeration/DisplayMatching.h"

namespace {

zor::String toText(const std::u16string& units) {
    return {reinterpret_cast<const zor::Char16*>(units.data()), static_cast<unsigned>(units.size())};
}

// The place of one text in another, with letter case as the library's texts fold it.
std::size_t place(const std::u16string& text, const std::u16string& in) {
    const auto folded = [](const std::u16string& units) {
        zor::String lower = toText(units);
        lower.toLower();
        const auto* const first = reinterpret_cast<const char16_t*>(lower.getUCS2Buffer());
        return std::u16string(first, first + lower.size());
    };
    return folded(in).find(folded(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace libSysmira;
    FUZZ_CHECK(announcesExtensions(data, size) == (size >= 128 && data[126] != 0));

    // The first unit says where the first text ends.
    std::u16string units(size / 2, u'\0');
    std::memcpy(units.data(), data, units.size() * 2);
    const std::size_t cut = units.empty() ? 0 : std::min<std::size_t>(units[0], units.size() - 1);
    const std::u16string one = units.empty() ? units : units.substr(1, cut);
    const std::u16string other = units.empty() ? units : units.substr(1 + cut);

    const bool occurs = !one.empty() && !other.empty() && place(one, other) != std::u16string::npos;
    FUZZ_CHECK(occursInDeviceKey(toText(one), toText(other)) == occurs);
    FUZZ_CHECK(isInstanceOf(toText(other), toText(one)) == (!one.empty() && place(one, other) == 0));
    if (one.empty()) return 0;
    FUZZ_CHECK(occursInDeviceKey(toText(one), toText(other + one + other)));
    FUZZ_CHECK(isInstanceOf(toText(one + other), toText(one)));
    return 0;
}
