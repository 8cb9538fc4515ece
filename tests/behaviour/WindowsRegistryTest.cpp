#include "support/WindowsRegistry.h"

#include "support/GrowingRead.h"
#include "support/MultiString.h"
#include "support/WindowsRegistryReader.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::Array;
using zor::String;
using zor::WindowsRegistry;
using zor::WindowsRegistryReader;

const String key("HKEY_LOCAL_MACHINE\\Software\\Test");

class Registry : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        machine.environment[u"ROOT"] = u"C:\\Root";
        simulation::RegistryKey& values = machine.localMachine().make(u"Software\\Test");
        values.values[u"Text"] = RegistryValue::text(u"text");
        values.values[u"Path"] = RegistryValue::text(u"%ROOT%\\a.dll;%NONE%", REG_EXPAND_SZ);
        values.values[u"Names"] = RegistryValue::texts({u"one", u"%ROOT%"});
        values.values[u"Number"] = RegistryValue::number(5);
    }

    void put(const Text& name, DWORD type, simulation::Bytes bytes) {
        machine.localMachine().make(u"Software\\Test").values[name] = {type, std::move(bytes)};
    }

    WindowsRegistryReader reader;
};

TEST_F(Registry, NamesItsRootsInFullAndInShort) {
    for (const char* name : {"HKEY_LOCAL_MACHINE\\Software\\Test", "hklm\\SOFTWARE\\test",
                             "HKLM\\Software\\Test\\", "HKLM\\Software\\Test\\\\"}) {
        EXPECT_TRUE(reader.keyExists(name)) << name;
        EXPECT_EQ(reader.getStringValue(name, "Text"), String("text")) << name;
    }
    for (const char* name : {"", "\\", "Software\\Test", "HKLMX\\Software\\Test", "HKLM\\Software\\None",
                             "HKLM Software", "\\HKLM\\Software\\Test"}) {
        EXPECT_FALSE(reader.keyExists(name)) << name;
        EXPECT_FALSE(WindowsRegistry::keyExists(name)) << name;
        EXPECT_FALSE(reader.stringValueExists(name, "Text")) << name;
    }
    EXPECT_TRUE(reader.keyExists("HKLM"));
}

TEST_F(Registry, ReadsAValueAsItsOwnTypeOnly) {
    EXPECT_TRUE(reader.stringValueExists(key, "Text"));
    EXPECT_FALSE(reader.toExpandStringValueExists(key, "Text"));
    EXPECT_FALSE(reader.stringValueExists(key, "Path"));
    EXPECT_TRUE(reader.toExpandStringValueExists(key, "Path"));
    EXPECT_EQ(reader.getExpandedStringValue(key, "Path"), String("C:\\Root\\a.dll;%NONE%"));
    EXPECT_EQ(reader.getStringValue(key, "Path"), String());
    EXPECT_EQ(reader.getExpandedStringValue(key, "Text"), String());
    EXPECT_EQ(reader.getStringValue(key, "Number"), String());
    EXPECT_EQ(reader.getStringValue(key, "Missing"), String());
    EXPECT_TRUE(WindowsRegistry::multiStringValueExists(key, "Names"));
    EXPECT_FALSE(WindowsRegistry::multiStringValueExists(key, "Text"));
    EXPECT_EQ(plain(WindowsRegistry::getMultiStringValue(key, "Names")), (Strings{"one", "%ROOT%"}));
    EXPECT_EQ(plain(WindowsRegistry::getMultiStringValue(key, "Names", true)), (Strings{"one", "C:\\Root"}));
}

TEST_F(Registry, ReadsNothingBeyondWhatAValueHolds) {
    put(u"Cut", REG_SZ, {'a', 0, 'b', 0, 'c'});  // no terminator, half a unit
    put(u"Inside", REG_SZ, {'a', 0, 0, 0, 'b', 0});
    put(u"Empty", REG_SZ, {});
    put(u"Byte", REG_MULTI_SZ, {'a'});
    put(u"Open", REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 'c', 0, 'd'});
    EXPECT_EQ(reader.getStringValue(key, "Cut"), String("ab"));
    EXPECT_EQ(reader.getStringValue(key, "Inside"), String("a"));
    EXPECT_TRUE(reader.stringValueExists(key, "Empty"));
    EXPECT_EQ(reader.getStringValue(key, "Empty"), String());
    EXPECT_TRUE(WindowsRegistry::getMultiStringValue(key, "Byte").empty());
    EXPECT_EQ(plain(WindowsRegistry::getMultiStringValue(key, "Open")), (Strings{"a", "bc"}));
}

TEST_F(Registry, TellsWhatWasExpectedWhereAListCannotBeRead) {
    machine.localMachine().make(u"Software\\Denied").denied = true;
    const struct {
        const char *key, *value;
        zor::Uint32 code;
        const char* said;
    } cases[] = {
        {"HKLM\\Software\\None", "Names", ERROR_FILE_NOT_FOUND, "\"HKLM\\Software\\None\""},
        {"HKLM\\Software\\Test", "Missing", ERROR_FILE_NOT_FOUND, "\"Missing\""},
        {"HKLM\\Software\\Denied", "Names", ERROR_ACCESS_DENIED, "(5)"},
        {"HKLM\\Software\\Test", "Number", ERROR_INVALID_DATATYPE, "has type 4, expected 7"},
        {"nowhere", "Names", ERROR_INVALID_NAME, "\"nowhere\""},
    };
    for (const auto& [path, value, code, said] : cases) {
        try {
            WindowsRegistry::getMultiStringValue(path, value);
            ADD_FAILURE() << path;
        } catch (const zor::WindowsRegistryException& failure) {
            EXPECT_EQ(failure.getCode(), code) << failure.what();
            EXPECT_NE(std::string(failure.what()).find(said), std::string::npos) << failure.what();
        }
    }
}

TEST_F(Registry, GivesUpOnAValueWhoseSizeMakesNoSense) {
    const struct {
        Distortion distortion;
        unsigned nth;
        const char* text;
    } cases[] = {
        {Distortion::SizeTooLarge, 2, ""},  // more than there was room for
        {Distortion::SizeZero, 1, "text"},  // the reading itself asks for more room
        {Distortion::SizeZero, 2, ""},
    };
    for (const auto& one : cases) {
        distort("RegQueryValueExW", one.distortion, one.nth);
        EXPECT_EQ(reader.getStringValue(key, "Text"), one.text) << one.nth;
        clearFaults();
    }
    failCall("RegQueryValueExW", ERROR_MORE_DATA, 1, /*onwards=*/true);
    EXPECT_EQ(reader.getStringValue(key, "Text"), String());
    clearFaults();
    forgetCalls();
    failCall("RegQueryValueExW", ERROR_MORE_DATA, 2, /*onwards=*/true);
    EXPECT_EQ(reader.getStringValue(key, "Text"), String());
    EXPECT_EQ(calls("RegQueryValueExW"), 1u + zor::GrowingReadTries);
}

TEST(GrowingRead, FollowsAValueThatGrowsAndEndsWhereItMakesNoSense) {
    using zor::Uint32;
    zor::Buffer<unsigned char> bytes;
    const auto read = [&](Uint32 firstSize, auto&& call) {
        return zor::readGrowing(bytes, firstSize, /*moreRoomCode=*/234, /*failureCode=*/8, call);
    };
    // Needs three times what was announced, then writes less.
    EXPECT_EQ(read(2,
                   [](unsigned char* data, Uint32& size) -> Uint32 {
                       const bool fits = size >= 6;
                       size = fits ? 5 : 6;
                       if (fits) data[4] = 9;
                       return fits ? 0 : 234;
                   }),
              0u);
    ASSERT_EQ(bytes.size(), 5u);
    EXPECT_EQ(bytes[4], 9);

    int calls = 0;
    EXPECT_EQ(read(1, [&](unsigned char*, Uint32&) -> Uint32 { return ++calls, 234; }), 234u);
    EXPECT_EQ(calls, zor::GrowingReadTries);
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(read(1, [&](unsigned char*, Uint32& size) -> Uint32 { return size = 0xFFFFFFFF, 234; }), 8u);
    EXPECT_EQ(read(4, [&](unsigned char*, Uint32& size) -> Uint32 { return size = 5, 0; }), 8u);
    EXPECT_EQ(read(0xFFFFFFFF, [&](unsigned char*, Uint32&) -> Uint32 { return 0; }), 8u);
    EXPECT_EQ(read(4, [&](unsigned char*, Uint32&) -> Uint32 { return 5; }), 5u);
    EXPECT_FALSE(zor::tryResize(bytes, zor::LargestRead + 1));
}

TEST(MultiString, EndsAtTheFirstEmptyTextOrTheEndOfTheMemory) {
    const struct {
        simulation::Text memory;
        Strings texts;
    } cases[] = {
        {u"", {}},
        {simulation::Text(2, u'\0'), {}},
        {{u"a\0bc\0\0", 6}, {"a", "bc"}},
        {{u"a\0bc\0", 5}, {"a", "bc"}},
        {{u"a\0bc", 4}, {"a", "bc"}},
        {{u"a\0\0hidden\0\0", 11}, {"a"}},
        {{u"\0hidden\0\0", 9}, {}},
    };
    for (const auto& [memory, texts] : cases) {
        Array<String> split = usedArray();
        // Memory of exactly that size, at an odd address and with half a unit behind it.
        std::vector<unsigned char> bytes{0xFF};
        const simulation::Bytes units = bytesOf(memory);
        bytes.insert(bytes.end(), units.begin(), units.end());
        bytes.push_back('x');
        zor::splitMultiString(bytes.data() + 1, bytes.size() - 1, split);
        EXPECT_EQ(plain(split), texts);
        split = usedArray();
        zor::splitMultiString(reinterpret_cast<const zor::Char16*>(memory.data()),
                              static_cast<unsigned>(memory.size()), split);
        EXPECT_EQ(plain(split), texts);
        EXPECT_EQ(plain(zor::textFromBytes(bytes.data() + 1, bytes.size() - 1)),
                  simulation::toUtf8(memory.substr(0, memory.find(u'\0'))));
    }
    Array<String> split = usedArray();
    zor::splitMultiString(static_cast<const zor::Char16*>(nullptr), 5, split);
    EXPECT_TRUE(split.empty());
    EXPECT_TRUE(zor::textFromBytes(nullptr, 5).empty());
}

}  // namespace
