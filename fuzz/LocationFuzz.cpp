// Location texts of any units. What is read agrees with a reading by other means; a failure writes nothing.
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Check.h"
#include "libSysmira/enumeration/DeviceLocation.h"

namespace {

// The runs of digits in a text; none of a run beyond 32 bits.
std::vector<std::optional<std::uint32_t>> numbers(const std::u16string& text) {
    std::vector<std::optional<std::uint32_t>> result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && text[end] >= u'0' && text[end] <= u'9') ++end;
        if (end == at) {
            ++at;
            continue;
        }
        std::string digits(text.begin() + static_cast<std::ptrdiff_t>(at),
                           text.begin() + static_cast<std::ptrdiff_t>(end));
        digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
        const unsigned long long value = digits.size() > 10 ? ~0ull : std::stoull(digits);
        result.push_back(value > 0xFFFFFFFFull ? std::nullopt
                                               : std::optional(static_cast<std::uint32_t>(value)));
        at = end;
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::u16string units(size / 2, u'\0');
    std::memcpy(units.data(), data, units.size() * 2);
    const zor::String location(reinterpret_cast<const zor::Char16*>(units.data()),
                               static_cast<unsigned>(units.size()));

    const auto whole = numbers(units);
    const bool onlyDigits =
        !units.empty() && units.find_first_not_of(u"0123456789") == std::u16string::npos && whole[0];
    unsigned int number = 4711;
    FUZZ_CHECK(libSysmira::parseNumberLocation(location, number) == onlyDigits);
    FUZZ_CHECK(number == (onlyDigits ? *whole[0] : 4711));

    const auto first = numbers(units.substr(0, 2047));
    const bool three = first.size() >= 3 && first[0] && first[1] && first[2];
    unsigned char address[3] = {1, 2, 3};
    FUZZ_CHECK(libSysmira::parsePciLocation(location, address[0], address[1], address[2]) == three);
    for (unsigned i = 0; i < 3; ++i) {
        FUZZ_CHECK(address[i] == (three ? static_cast<unsigned char>(*first[i]) : i + 1));
    }
    return 0;
}
