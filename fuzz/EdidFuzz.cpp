// EDIDs of any bytes: every block is told, and what is printed of them cannot disturb a console or a
// document.
#include <cstdint>
#include <nlohmann/json.hpp>

#include "fuzz/Check.h"
#include "tools/sysmira/displays/Edid.h"
#include "tools/sysmira/displays/EdidText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const sysmira::Edid edid = sysmira::decodeEdid(data, size);
    FUZZ_CHECK(edid.blocks.size() == (size + 127) / 128);
    FUZZ_CHECK(size != 0 || !edid.problems.empty());
    for (const sysmira::EdidBlock& block : edid.blocks) {
        FUZZ_CHECK(block.isWhole() || (&block == &edid.blocks.back() && !edid.problems.empty()));
    }
    FUZZ_CHECK(edid.preferred() == nullptr || edid.preferred() == &edid.detailed.front());

    const std::string text = sysmira::toText(edid, 2);
    for (const char each : text) FUZZ_CHECK(each == '\n' || static_cast<unsigned char>(each) >= 0x20);
    // Throws when a text is no UTF-8.
    FUZZ_CHECK(nlohmann::ordered_json::parse(sysmira::toJson(edid).dump()).is_object());
    return 0;
}
