// Multi-strings of any bytes, at any address: their texts are those that stand there, in order, and nothing
// beyond the end is read.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/Check.h"
#include "support/MultiString.h"

namespace {

using Units = std::u16string;

Units unitsOf(const std::uint8_t* data, std::size_t size) {
    Units units(size / 2, u'\0');
    std::memcpy(units.data(), data, units.size() * 2);
    return units;
}

Units unitsOf(const zor::String& text) {
    Units units(text.size(), u'\0');
    std::memcpy(units.data(), text.getUCS2Buffer(), units.size() * 2);
    return units;
}

std::vector<Units> pieces(Units rest) {
    std::vector<Units> result;
    while (!rest.empty() && rest.front() != 0) {
        const std::size_t end = std::min(rest.find(u'\0'), rest.size());
        result.push_back(rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    return result;
}

void compare(const zor::Array<zor::String>& texts, const std::vector<Units>& expected) {
    FUZZ_CHECK(texts.size() == expected.size());
    for (unsigned i = 0; i < texts.size(); ++i) FUZZ_CHECK(unitsOf(texts[i]) == expected[i]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zor::Array<zor::String> texts{zor::String("what was there before")};
    zor::splitMultiString(data, size, texts);
    compare(texts, pieces(unitsOf(data, size)));

    const Units units = unitsOf(data, size);
    zor::splitMultiString(reinterpret_cast<const zor::Char16*>(units.data()),
                          static_cast<unsigned>(units.size()), texts);
    compare(texts, pieces(units));

    // From an odd address on.
    if (size != 0) {
        zor::splitMultiString(data + 1, size - 1, texts);
        compare(texts, pieces(unitsOf(data + 1, size - 1)));
    }

    FUZZ_CHECK(unitsOf(zor::textFromBytes(data, size)) == units.substr(0, units.find(u'\0')));
    return 0;
}
