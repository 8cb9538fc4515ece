// The map against the standard one, and comparison without case against ICU.
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "benchmarks/Ratio.h"
#include "support/Map.h"
#include "support/String.h"

namespace {

using zor::String;

struct StandardHash {
    std::size_t operator()(const String& key) const noexcept { return zor::HashFunc<String>::hash(key); }
};

std::vector<String> volumeNames(unsigned count) {
    std::mt19937 random(7);
    std::vector<String> names;
    for (unsigned i = 0; i < count; ++i) {
        String digits;
        for (int digit = 0; digit < 32; ++digit) digits.append(L"0123456789abcdef"[random() % 16]);
        names.push_back("\\\\?\\Volume{" + digits + "}\\");
    }
    return names;
}

// Each key once, in an order that is not that of insertion; every other look-up finds nothing.
void mapLookup(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    const std::vector<String> names = volumeNames(2 * count);
    zor::Map<String, char> map;
    std::unordered_map<String, char, StandardHash> standard;
    for (unsigned i = 0; i < count; ++i) {
        map.insert(names[i], 'C');
        standard.emplace(names[i], 'C');
    }
    std::vector<unsigned> order(2 * count);
    for (unsigned i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(11));
    const unsigned rounds = 100'000 / count + 1;
    benchmarks::compare(
        state, {"zor::Map look-up", "std::unordered_map", /*aim=*/1.0},
        [&] {
            unsigned found = 0;
            for (unsigned round = 0; round < rounds; ++round) {
                for (const unsigned i : order) found += map.lookup(names[i]) != nullptr;
            }
            benchmark::DoNotOptimize(found);
        },
        [&] {
            unsigned found = 0;
            for (unsigned round = 0; round < rounds; ++round) {
                for (const unsigned i : order) found += standard.find(names[i]) != standard.end();
            }
            benchmark::DoNotOptimize(found);
        });
}
BENCHMARK(mapLookup)->Arg(16)->Arg(1'000)->Arg(100'000)->UseManualTime()->MinTime(0.3);

// Pairs that differ in case alone, 12 to 40 letters long.
void compareNoCase(benchmark::State& state, const char* lower, const char* upper) {
    std::vector<std::pair<String, String>> pairs;
    for (unsigned length = 12; length <= 40; ++length) {
        String one, two;
        while (one.size() < length) {
            one += String::fromUTF8(lower);
            two += String::fromUTF8(upper);
        }
        pairs.emplace_back(one.subString(0, length), two.subString(0, length));
    }
    const auto units = [](const String& text) {
        return reinterpret_cast<const UChar*>(text.getUCS2Buffer());
    };
    benchmarks::compare(
        state, {"compareNoCase", "u_strCaseCompare of ICU", /*aim=*/0.20},
        [&] {
            int sum = 0;
            for (int round = 0; round < 100; ++round) {
                for (const auto& [one, two] : pairs) sum += one.compareNoCase(two);
            }
            benchmark::DoNotOptimize(sum);
        },
        [&] {
            int sum = 0;
            UErrorCode error = U_ZERO_ERROR;
            for (int round = 0; round < 100; ++round) {
                for (const auto& [one, two] : pairs) {
                    sum += u_strCaseCompare(units(one), static_cast<int>(one.size()), units(two),
                                            static_cast<int>(two.size()), U_FOLD_CASE_DEFAULT, &error);
                }
            }
            benchmark::DoNotOptimize(sum);
        });
}
BENCHMARK_CAPTURE(compareNoCase, latin, "disk drive", "DISK DRIVE")->UseManualTime()->MinTime(0.3);
BENCHMARK_CAPTURE(compareNoCase, mixed, "Processor", "PROCESSOR")->UseManualTime()->MinTime(0.3);
BENCHMARK_CAPTURE(compareNoCase, cyrillic, "\xD0\xB4\xD0\xB8\xD1\x81\xD0\xBA",
                  "\xD0\x94\xD0\x98\xD0\xA1\xD0\x9A")
    ->UseManualTime()
    ->MinTime(0.3);

}  // namespace
