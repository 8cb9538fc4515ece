// Every cut and every changed byte of every sample EDID. A program of its own, since it takes as long as all
// other cases of behaviour together.
#include "tests/behaviour/EdidSamples.h"

namespace {

using sysmira::Edid;

// What holds whatever the bytes are.
void expectOrder(const EdidBytes& bytes, const Edid& edid) {
    ASSERT_EQ(edid.blocks.size(), (bytes.size() + 127) / 128);
    for (const sysmira::EdidBlock& block : edid.blocks) {
        for (const sysmira::EdidDataBlock& each : block.dataBlocks) ASSERT_FALSE(each.kind.empty());
        ASSERT_LE(block.dataBlocks.size(), 127u);
    }
}

TEST(EdidReader, StandsEveryCutAndEveryChangedByteOfEverySample) {
    unsigned samples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(edidSamples())) {
        ++samples;
        const EdidBytes whole = sample(entry.path().filename());
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const EdidBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            const Edid edid = decode(cut);
            expectOrder(cut, edid);
            ASSERT_FALSE(edid.problems.empty()) << entry.path() << " of " << size << " bytes";
        }
        EdidBytes changed = whole;
        for (std::size_t at = 0; at < whole.size(); ++at) {
            for (unsigned step = 1; step < 0x100; ++step) {
                changed[at] = static_cast<unsigned char>(whole[at] + step);
                const Edid edid = decode(changed);
                expectOrder(changed, edid);
                // The block's sum differs, if nothing else does; of a block that is cut short there is none.
                ASSERT_FALSE(edid.problems.empty()) << entry.path() << ", byte " << at;
            }
            changed[at] = whole[at];
        }
    }
    EXPECT_EQ(samples, 18u);
}

}  // namespace
