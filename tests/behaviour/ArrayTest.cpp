#include "support/Array.h"

#include <new>
#include <stdexcept>

#include "support/Buffer.h"
#include "support/RaisedException.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::Array;
using zor::String;

// Copies throw once the countdown ends; the instances are counted.
struct Fragile {
    explicit Fragile(int number) : value(number) { ++alive; }
    Fragile(const Fragile& other) : value(other.value) {
        if (countdown > 0 && --countdown == 0) throw std::runtime_error("copy");
        ++alive;
    }
    Fragile& operator=(const Fragile&) = default;
    ~Fragile() { --alive; }

    int value;
    static inline int alive = 0;
    static inline int countdown = 0;
};

std::vector<int> values(const Array<Fragile>& array) {
    std::vector<int> result;
    for (const Fragile& element : array) result.push_back(element.value);
    return result;
}

class ArrayMisuse : public SimulatedPc {};

TEST(ArrayGrowth, DoublesAndKeepsItsElements) {
    Array<unsigned> array(8);
    EXPECT_EQ(array.capacity(), 8u);
    EXPECT_TRUE(array.empty());
    for (unsigned i = 0; i < 1000; ++i) {
        array.append(i);
        ASSERT_EQ(array[i / 2], i / 2);
    }
    EXPECT_EQ(array.capacity(), 1024u);
    array.clear();
    EXPECT_EQ(array.capacity(), 1024u);
    array.releaseStorage();
    EXPECT_EQ(array.capacity(), 0u);
    array.append(1);
    EXPECT_EQ(array.size(), 1u);
}

TEST(ArrayGrowth, TakesItsOwnElementsWhileItMoves) {
    Array<String> texts(1);
    texts.append("a text too long for the space inside a string object");
    while (texts.size() < 40) texts.append(texts[0]);
    texts.append(texts);
    EXPECT_EQ(texts.size(), 80u);
    EXPECT_EQ(texts[79], texts[0]);
    const Array<String>& self = texts;
    texts = self;
    Array<String> moved(std::move(texts));
    EXPECT_TRUE(texts.empty());
    moved.remove(0);
    EXPECT_EQ(moved.size(), 79u);
    EXPECT_EQ(moved, Array<String>(moved));
}

TEST(ArrayGrowth, IsAsItWasWhenAnElementCannotBeCopied) {
    {
        Array<Fragile> array(2);
        array.append(Fragile(1));
        array.append(Fragile(2));
        const std::vector<int> before = values(array);
        // The new element, the first and the second old one, in the larger storage.
        for (int copy = 1; copy <= 3; ++copy) {
            const Fragile added(3);
            Fragile::countdown = copy;
            EXPECT_THROW(array.append(added), std::runtime_error);
            EXPECT_EQ(values(array), before);
        }
        for (int copy = 1; copy <= 4; ++copy) {
            Fragile::countdown = copy;
            EXPECT_THROW(array.append(array), std::runtime_error);
            EXPECT_EQ(values(array), before);
        }
        Fragile::countdown = 2;
        EXPECT_THROW(Array<Fragile>{array}, std::runtime_error);
    }
    EXPECT_EQ(Fragile::alive, 0);
}

TEST_F(ArrayMisuse, IsLoggedAndRaisedWithCodeSeven) {
    Array<unsigned> array{1, 2, 3};
    zor::Buffer<unsigned char> buffer(2);
    for (const auto& misuse : std::vector<std::function<void()>>{
             [&] { array[3] = 0; },
             [&] { static_cast<void>(std::as_const(array)[0xFFFFFFFF]); },
             [&] { array.remove(3); },
             [&] { buffer[2] = 0; },
         }) {
        log.clear();
        try {
            misuse();
            ADD_FAILURE() << "no exception";
        } catch (const zor::RaisedException& raised) {
            EXPECT_EQ(raised.getCode(), 7u);
        }
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].logger, "zor.AssertionFailure");
        EXPECT_EQ(log[0].priority, zor::Error);
        EXPECT_NE(log[0].text.find(": assertion failed: index < size()"), std::string::npos) << log[0].text;
    }
    // 4 GiB are too many by one header.
    log.clear();
    EXPECT_THROW(Array<unsigned>(0x3FFFFFFE), zor::RaisedException);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].text.find("initialCapacity <= (Uint32(0xffffffffU)-sizeof(ArrayRep<T>))/sizeof(T)"),
              std::string::npos)
        << log[0].text;
}

TEST(BufferSize, KeepsTheContentAndZeroesWhatComesIn) {
    zor::Buffer<unsigned char> buffer;
    const unsigned char bytes[] = {1, 2, 3};
    buffer.assign(bytes, 3);
    buffer.resize(2);
    buffer.resize(4);
    EXPECT_EQ(std::vector<int>(buffer.data(), buffer.data() + 4), (std::vector<int>{1, 2, 0, 0}));
    buffer.assign(buffer.data() + 1, 3);
    EXPECT_EQ(buffer[0], 2);
    buffer.assign(nullptr, 100);
    EXPECT_TRUE(buffer.empty());
}

}  // namespace
