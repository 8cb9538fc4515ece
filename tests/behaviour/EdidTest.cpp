// The reader of EDIDs on bytes that do not fit; EdidBytesTest.cpp changes every byte. That it agrees with an
// independent reader on those that do is shown by tests/checks/compareEdid.py.
#include "tools/sysmira/displays/Edid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "tests/behaviour/EdidSamples.h"
#include "tools/sysmira/displays/EdidText.h"

namespace {

using sysmira::Edid;
using Strings = std::vector<std::string>;

void setChecksum(EdidBytes& bytes, std::size_t block) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < 127; ++i) sum += bytes[block * 128 + i];
    bytes[block * 128 + 127] = static_cast<unsigned char>(0x100 - sum % 0x100);
}

TEST(EdidReader, NamesWhatDoesNotFitAndTellsTheRest) {
    struct Case {
        std::size_t at;
        unsigned char value;
        Strings problems;
    } const cases[] = {
        {0, 0, {}},
        {7, 1, {"block 0: the header is not that of an EDID"}},
        {126, 1, {"block 0: it announces 1 extension blocks, 2 follow"}},
        {126, 255, {"block 0: it announces 255 extension blocks, 2 follow"}},
        {128 + 2, 3, {"block 1: its timings begin at byte 3, outside of it"}},
        {128 + 2, 128, {"block 1: its timings begin at byte 128, outside of it"}},
        {128 + 2, 20, {"block 1: the data block at byte 19 has 3 bytes, room is for 0"}},
        {128 + 4, 0x5F, {"block 1: the data block at byte 4 has 31 bytes, room is for 29"}},
        {256 + 2, 122, {"block 2: the DisplayID section has 122 bytes, room is for 121"}},
        {256 + 7,
         255,
         {"block 2: the checksum of the DisplayID section is 0xce, it should be 0xf7",
          "block 2: the data block at byte 5 has 255 bytes, room is for 118"}},
    };
    for (const Case& each : cases) {
        EdidBytes bytes = sample("monitor-extensions");
        bytes[each.at] = each.value;
        setChecksum(bytes, each.at / 128);
        const Edid edid = decode(bytes);
        EXPECT_EQ(edid.problems, each.problems) << each.at;
        EXPECT_EQ(edid.name, "B27 Pro");
        ASSERT_EQ(edid.blocks.size(), 3u);
        EXPECT_FALSE(edid.blocks[1].dataBlocks.empty() && each.value != 3) << each.at;
        EXPECT_FALSE(edid.blocks[2].dataBlocks.empty());
    }

    const Edid damaged = decode(sample("damaged"));
    EXPECT_EQ(damaged.problems, (Strings{"block 0: the checksum is 0x46, it should be 0xa6",
                                         "block 1: the checksum is 0xe0, it should be 0xe1",
                                         "block 2: it has 100 of its 128 bytes",
                                         "block 0: it announces 3 extension blocks, 2 follow"}));
    ASSERT_EQ(damaged.blocks.size(), 3u);
    EXPECT_EQ(damaged.blocks[1].timings.size(), 1u);
}

TEST(EdidReader, TellsOfABlockThatIsCutShortWhatStandsBeforeItsEnd) {
    EdidBytes bytes = sample("monitor");
    EXPECT_EQ(decode({}).problems, Strings{"the EDID is empty"});
    bytes.resize(17);
    EXPECT_EQ(decode(bytes).manufacturer, "") << "the date lacks";
    bytes = sample("monitor");
    bytes.resize(90);
    const Edid edid = decode(bytes);
    EXPECT_EQ(edid.problems, Strings{"block 0: it has 90 of its 128 bytes"});
    EXPECT_EQ(edid.manufacturer, "KWN");
    EXPECT_EQ(edid.name, "KD-2410");
    EXPECT_EQ(edid.serialText, "") << "its descriptor is not whole";
    ASSERT_NE(edid.preferred(), nullptr);
    EXPECT_EQ(edid.preferred()->width, 1920u);
}

Strings kindsOf(const std::vector<sysmira::EdidDataBlock>& blocks) {
    Strings kinds;
    for (const sysmira::EdidDataBlock& block : blocks) kinds.push_back(block.kind);
    return kinds;
}

TEST(EdidReader, EndsATextAtItsFirstLineFeedOrNul) {
    EXPECT_EQ(decode(sample("text-ends-at-nul")).name, "KD-24");
    EXPECT_EQ(decode(sample("text-ends-at-newline")).serialText, "A1");
}

TEST(EdidReader, SkipsUnusedPlacesOfStandardTimings) {
    EXPECT_TRUE(decode(sample("standard-zeroes")).standard.empty());
    const Edid edid = decode(sample("standard-half-unused"));
    ASSERT_EQ(edid.standard.size(), 2u);
    EXPECT_EQ(edid.standard[0].width, 1920u);
    EXPECT_EQ(edid.standard[1].width, 1280u);
}

TEST(EdidReader, NamesAReservedAudioFormatAsSuch) {
    const Edid edid = decode(sample("audio-reserved"));
    ASSERT_EQ(edid.blocks.size(), 2u);
    ASSERT_FALSE(edid.blocks[1].dataBlocks.empty());
    const sysmira::EdidDataBlock& audio = edid.blocks[1].dataBlocks[0];
    ASSERT_EQ(audio.audioFormats.size(), 1u);
    EXPECT_EQ(audio.audioFormats[0].name, "Linear PCM");
    EXPECT_EQ(audio.details, Strings{"a reserved audio format"});
}

TEST(EdidReader, ReadsCtaDataBlocksInsideADisplayIdBlock) {
    const Edid edid = decode(sample("displayid-with-cta"));
    EXPECT_TRUE(edid.problems.empty());
    ASSERT_EQ(edid.blocks.size(), 2u);
    EXPECT_EQ(kindsOf(edid.blocks[1].dataBlocks),
              (Strings{"CTA-861 DisplayID Data Block", "Video Data Block", "Audio Data Block"}));
    EXPECT_EQ(edid.blocks[1].dataBlocks.at(1).videoFormats.size(), 3u);

    const Edid tooLong = decode(sample("displayid-cta-too-long"));
    EXPECT_EQ(tooLong.problems, Strings{"block 1: the data block at byte 8 has 7 bytes, room is for 3"});
    ASSERT_EQ(tooLong.blocks.size(), 2u);
    EXPECT_EQ(tooLong.blocks[1].dataBlocks.size(), 2u);
}

TEST(EdidReader, PutsDeviceTextsSafelyIntoLines) {
    EdidBytes bytes = sample("monitor");
    const char name[] = "\x1B[2J\xE4\0x";
    std::copy(std::begin(name), std::end(name) - 1, bytes.begin() + 77);
    const Edid edid = decode(bytes);
    const std::string text = sysmira::toText(edid, 0);
    EXPECT_NE(text.find("Name             \\x1B[2J\xC3\xA4\n"), std::string::npos) << text;
}

}  // namespace
