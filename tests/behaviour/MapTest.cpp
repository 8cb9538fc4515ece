#include "support/Map.h"

#include <random>
#include <unordered_map>

#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::Map;
using zor::String;

TEST(Map, DoesWhatTheStandardMapDoesUnderRandomOperations) {
    Map<String, unsigned> map;
    std::unordered_map<std::string, unsigned> model;
    std::mt19937 random(20260621);
    for (unsigned step = 0; step < 20000; ++step) {
        // Names that grow in length through every tail of the hash function, with one of them empty.
        const unsigned number = random() % 500;
        const std::string name = std::string(number % 23, 'x') + (number == 0 ? "" : std::to_string(number));
        const String key(name.c_str());
        switch (random() % 4) {
            case 0:
            case 1:
                ASSERT_EQ(map.insert(key, step), model.insert_or_assign(name, step).second);
                break;
            case 2:
                ASSERT_EQ(map.remove(key), model.erase(name) == 1);
                break;
            default: {
                const unsigned* found = map.lookup(key);
                const auto expected = model.find(name);
                ASSERT_EQ(found != nullptr, expected != model.end());
                ASSERT_EQ(found == nullptr ? 0 : *found, found == nullptr ? 0 : expected->second);
            }
        }
        ASSERT_EQ(map.size(), model.size());
        if (step % 5000 == 4999) {
            Map<String, unsigned> copy(map);
            map.clear();
            ASSERT_EQ(map.lookup(key), nullptr);
            map = std::move(copy);
        }
    }
    unsigned visited = 0;
    map.forEach([&](const String& key, unsigned value) {
        ++visited;
        EXPECT_EQ(model.at(plain(key)), value);
    });
    EXPECT_EQ(visited, model.size());
}

TEST(Map, KeepsPointersWhileItGrowsAndCopiesDeeply) {
    Map<unsigned long long, String> map;
    map.insert(0, "zero");
    String* zero = map.lookup(0);
    for (unsigned long long key = 1; key < 5000; ++key) map.insert(key << 32, "other");
    EXPECT_EQ(map.lookup(0), zero);
    const Map<unsigned long long, String> copy(map);
    *zero = "changed";
    EXPECT_EQ(*copy.lookup(0), String("zero"));
    EXPECT_EQ(copy.size(), 5000u);
    EXPECT_EQ(copy.lookup(5000ull << 32), nullptr);
}

}  // namespace
