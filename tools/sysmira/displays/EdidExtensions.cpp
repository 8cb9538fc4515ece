#include <iterator>

#include "tools/sysmira/displays/EdidParts.h"

namespace sysmira {

namespace {

struct VideoFormat {
    unsigned width, height, refreshHz;
    bool interlaced = false;
};

// The formats of CTA-861 from number 1, and from 193, with their nominal rates (60 stands for 59.94 too).
constexpr unsigned firstLow = 1, firstHigh = 193;
constexpr VideoFormat lowFormats[] = {
    {640, 480, 60},         {720, 480, 60},          {720, 480, 60},         {1280, 720, 60},
    {1920, 1080, 60, true}, {1440, 480, 60, true},   {1440, 480, 60, true},  {1440, 240, 60},
    {1440, 240, 60},        {2880, 480, 60, true},   {2880, 480, 60, true},  {2880, 240, 60},
    {2880, 240, 60},        {1440, 480, 60},         {1440, 480, 60},        {1920, 1080, 60},
    {720, 576, 50},         {720, 576, 50},          {1280, 720, 50},        {1920, 1080, 50, true},
    {1440, 576, 50, true},  {1440, 576, 50, true},   {1440, 288, 50},        {1440, 288, 50},
    {2880, 576, 50, true},  {2880, 576, 50, true},   {2880, 288, 50},        {2880, 288, 50},
    {1440, 576, 50},        {1440, 576, 50},         {1920, 1080, 50},       {1920, 1080, 24},
    {1920, 1080, 25},       {1920, 1080, 30},        {2880, 480, 60},        {2880, 480, 60},
    {2880, 576, 50},        {2880, 576, 50},         {1920, 1080, 50, true}, {1920, 1080, 100, true},
    {1280, 720, 100},       {720, 576, 100},         {720, 576, 100},        {1440, 576, 100, true},
    {1440, 576, 100, true}, {1920, 1080, 120, true}, {1280, 720, 120},       {720, 480, 120},
    {720, 480, 120},        {1440, 480, 120, true},  {1440, 480, 120, true}, {720, 576, 200},
    {720, 576, 200},        {1440, 576, 200, true},  {1440, 576, 200, true}, {720, 480, 240},
    {720, 480, 240},        {1440, 480, 240, true},  {1440, 480, 240, true}, {1280, 720, 24},
    {1280, 720, 25},        {1280, 720, 30},         {1920, 1080, 120},      {1920, 1080, 100},
    {1280, 720, 24},        {1280, 720, 25},         {1280, 720, 30},        {1280, 720, 50},
    {1280, 720, 60},        {1280, 720, 100},        {1280, 720, 120},       {1920, 1080, 24},
    {1920, 1080, 25},       {1920, 1080, 30},        {1920, 1080, 50},       {1920, 1080, 60},
    {1920, 1080, 100},      {1920, 1080, 120},       {1680, 720, 24},        {1680, 720, 25},
    {1680, 720, 30},        {1680, 720, 50},         {1680, 720, 60},        {1680, 720, 100},
    {1680, 720, 120},       {2560, 1080, 24},        {2560, 1080, 25},       {2560, 1080, 30},
    {2560, 1080, 50},       {2560, 1080, 60},        {2560, 1080, 100},      {2560, 1080, 120},
    {3840, 2160, 24},       {3840, 2160, 25},        {3840, 2160, 30},       {3840, 2160, 50},
    {3840, 2160, 60},       {4096, 2160, 24},        {4096, 2160, 25},       {4096, 2160, 30},
    {4096, 2160, 50},       {4096, 2160, 60},        {3840, 2160, 24},       {3840, 2160, 25},
    {3840, 2160, 30},       {3840, 2160, 50},        {3840, 2160, 60},       {1280, 720, 48},
    {1280, 720, 48},        {1680, 720, 48},         {1920, 1080, 48},       {1920, 1080, 48},
    {2560, 1080, 48},       {3840, 2160, 48},        {4096, 2160, 48},       {3840, 2160, 48},
    {3840, 2160, 100},      {3840, 2160, 120},       {3840, 2160, 100},      {3840, 2160, 120},
    {5120, 2160, 24},       {5120, 2160, 25},        {5120, 2160, 30},       {5120, 2160, 48},
    {5120, 2160, 50},       {5120, 2160, 60},        {5120, 2160, 100},
};
constexpr VideoFormat highFormats[] = {
    {5120, 2160, 120}, {7680, 4320, 24},  {7680, 4320, 25},  {7680, 4320, 30},   {7680, 4320, 48},
    {7680, 4320, 50},  {7680, 4320, 60},  {7680, 4320, 100}, {7680, 4320, 120},  {7680, 4320, 24},
    {7680, 4320, 25},  {7680, 4320, 30},  {7680, 4320, 48},  {7680, 4320, 50},   {7680, 4320, 60},
    {7680, 4320, 100}, {7680, 4320, 120}, {10240, 4320, 24}, {10240, 4320, 25},  {10240, 4320, 30},
    {10240, 4320, 48}, {10240, 4320, 50}, {10240, 4320, 60}, {10240, 4320, 100}, {10240, 4320, 120},
    {4096, 2160, 100}, {4096, 2160, 120},
};

std::string extendedKindOf(unsigned tag) {
    switch (tag) {
        case 0:
            return "Video Capability Data Block";
        case 1:
            return "Vendor-Specific Video Data Block";
        case 2:
            return "VESA Video Display Device Data Block";
        case 3:
            return "VESA Video Timing Block Extension";
        case 4:
            return "Reserved for HDMI Video Data Block";
        case 5:
            return "Colorimetry Data Block";
        case 6:
            return "HDR Static Metadata Data Block";
        case 7:
            return "HDR Dynamic Metadata Data Block";
        case 8:
            return "Native Video Resolution Data Block";
        case 13:
            return "Video Format Preference Data Block";
        case 14:
            return "YCbCr 4:2:0 Video Data Block";
        case 15:
            return "YCbCr 4:2:0 Capability Map Data Block";
        case 17:
            return "Vendor-Specific Audio Data Block";
        case 18:
            return "HDMI Audio Data Block";
        case 19:
            return "Room Configuration Data Block";
        case 20:
            return "Speaker Location Data Block";
        case 32:
            return "InfoFrame Data Block";
        case 34:
            return "DisplayID Type VII Video Timing Data Block";
        case 35:
            return "DisplayID Type VIII Video Timing Data Block";
        case 42:
            return "DisplayID Type X Video Timing Data Block";
        case 120:
            return "HDMI Forum EDID Extension Override Data Block";
        case 121:
            return "HDMI Forum Sink Capability Data Block";
        default:
            return formatted("Unknown CTA-861 Data Block, extended tag %u", tag);
    }
}

// The names of the bits that are set, the least significant first.
template <std::size_t Count>
std::vector<std::string> namesOf(unsigned bits, const char* const (&names)[Count]) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < Count; ++i) {
        if ((bits >> i & 1) != 0) result.push_back(names[i]);
    }
    return result;
}

EdidVideoFormat shortVideoDescriptor(unsigned byte) {
    // Only the first 64 formats have room for the bit that calls them native.
    const bool native = byte >= 129 && byte <= 192;
    EdidVideoFormat format = videoFormatOf(native ? byte & 0x7F : byte);
    format.native = native;
    return format;
}

std::vector<EdidVideoFormat> readVideoFormats(const EdidBytes& content) {
    std::vector<EdidVideoFormat> formats;
    for (std::size_t i = 0; i < content.size(); ++i) formats.push_back(shortVideoDescriptor(content[i]));
    return formats;
}

void readAudioFormat(const EdidBytes& bytes, EdidDataBlock& block) {
    constexpr const char* names[] = {"",
                                     "Linear PCM",
                                     "AC-3",
                                     "MPEG 1 (Layers 1 & 2)",
                                     "MPEG 1 Layer 3 (MP3)",
                                     "MPEG2 (multichannel)",
                                     "AAC LC",
                                     "DTS",
                                     "ATRAC",
                                     "One Bit Audio",
                                     "Enhanced AC-3 (DD+)",
                                     "DTS-HD",
                                     "MAT (MLP)",
                                     "DST",
                                     "WMA Pro",
                                     "Extended"};
    constexpr double rates[] = {32, 44.1, 48, 88.2, 96, 176.4, 192};
    constexpr unsigned sampleBits[] = {16, 20, 24};
    const unsigned code = bytes[0] >> 3 & 15;
    // What follows a reserved code has no meaning yet.
    if (code == 0) return block.details.push_back("a reserved audio format");
    EdidAudioFormat format;
    format.name = names[code];
    format.channels = (bytes[0] & 7) + 1;
    for (std::size_t i = 0; i < std::size(rates); ++i) {
        if ((bytes[1] >> i & 1) != 0) format.ratesKhz.push_back(rates[i]);
    }
    if (code == 1) {
        for (std::size_t i = 0; i < std::size(sampleBits); ++i) {
            if ((bytes[2] >> i & 1) != 0) format.sampleBits.push_back(sampleBits[i]);
        }
    } else if (code >= 2 && code <= 8) {
        format.maxBitRateKbps = bytes[2] * 8;
    }
    block.audioFormats.push_back(std::move(format));
}

void readVendorBlock(const EdidBytes& content, EdidDataBlock& block) {
    const unsigned vendor = content.little(0, 3);
    const char* const name = vendor == 0x000C03 ? " (HDMI)" : vendor == 0xC45DD8 ? " (HDMI Forum)" : "";
    block.details.push_back(
        formatted("OUI %02X-%02X-%02X%s", vendor >> 16, vendor >> 8 & 0xFF, vendor & 0xFF, name));
    if (vendor == 0x000C03 && content.size() >= 5) {
        block.details.push_back(formatted("source physical address %u.%u.%u.%u", content[3] >> 4,
                                          content[3] & 15, content[4] >> 4, content[4] & 15));
    }
}

void readExtendedBlock(const EdidBytes& content, EdidDataBlock& block) {
    constexpr const char* colorimetry[] = {"xvYCC601", "xvYCC709",   "sYCC601",   "opYCC601",
                                           "opRGB",    "BT2020cYCC", "BT2020YCC", "BT2020RGB"};
    constexpr const char* transfer[] = {"Traditional gamma - SDR luminance range",
                                        "Traditional gamma - HDR luminance range", "SMPTE ST2084",
                                        "Hybrid Log-Gamma"};
    block.kind = extendedKindOf(content[0]);
    switch (content[0]) {
        case 1:
        case 17:
            readVendorBlock(content.part(1, 3), block);
            break;
        case 5:
            block.details = namesOf(content[1], colorimetry);
            break;
        case 6:
            block.details = namesOf(content[1], transfer);
            break;
        case 14:
            block.videoFormats = readVideoFormats(content.part(1, content.size()));
            break;
        default:
            break;
    }
}

EdidDataBlock readCtaDataBlock(unsigned tag, const EdidBytes& content) {
    constexpr const char* speakers[] = {
        "front left/right",          "low frequency effects", "front centre",
        "back left/right",           "back centre",           "front left/right of centre",
        "rear left/right of centre", "front left/right wide"};
    EdidDataBlock block;
    block.size = static_cast<unsigned>(content.size());
    switch (tag) {
        case 1:
            block.kind = "Audio Data Block";
            for (std::size_t i = 0; i + 2 < content.size(); i += 3)
                readAudioFormat(content.part(i, 3), block);
            break;
        case 2:
            block.kind = "Video Data Block";
            block.videoFormats = readVideoFormats(content);
            break;
        case 3:
            block.kind = "Vendor-Specific Data Block";
            readVendorBlock(content, block);
            break;
        case 4:
            block.kind = "Speaker Allocation Data Block";
            block.details = namesOf(content[0], speakers);
            break;
        case 5:
            block.kind = "VESA Display Transfer Characteristics Data Block";
            break;
        case 6:
            block.kind = "Video Format Data Block";
            break;
        case 7:
            readExtendedBlock(content, block);
            break;
        default:
            block.kind = formatted("Unknown CTA-861 Data Block, tag %u", tag);
            break;
    }
    return block;
}

// The data blocks from byte `begin` of an extension up to byte `end`.
void readCtaDataBlocks(const EdidBytes& bytes, std::size_t begin, std::size_t end, const std::string& place,
                       EdidBlock& block, std::vector<std::string>& problems) {
    for (std::size_t at = begin; at < end;) {
        const std::size_t length = bytes[at] & 31;
        // Zeroes are padding.
        if (bytes[at] == 0) {
            ++at;
            continue;
        }
        if (at + 1 + length > end) {
            problems.push_back(place + formatted("the data block at byte %zu has %zu bytes, room is for %zu",
                                                 at, length, end - at - 1));
        }
        block.dataBlocks.push_back(readCtaDataBlock(bytes[at] >> 5, bytes.part(0, end).part(at + 1, length)));
        at += 1 + length;
    }
}

std::string displayIdKindOf(unsigned tag) {
    constexpr const char* first[] = {"Product Identification",
                                     "Display Parameters",
                                     "Color Characteristics",
                                     "Video Timing Modes Type 1 - Detailed Timings",
                                     "Video Timing Modes Type 2 - Detailed Timings",
                                     "Video Timing Modes Type 3 - Short Timings",
                                     "Video Timing Modes Type 4 - DMT Timings",
                                     "Supported Timing Modes Type 1 - VESA DMT Timings",
                                     "Supported Timing Modes Type 2 - CTA-861 Timings",
                                     "Video Timing Range",
                                     "Product Serial Number",
                                     "GP ASCII String",
                                     "Display Device Data",
                                     "Interface Power Sequencing",
                                     "Transfer Characteristics",
                                     "Display Interface",
                                     "Stereo Display Interface",
                                     "Video Timing Modes Type 5 - Short Timings",
                                     "Tiled Display Topology",
                                     "Video Timing Modes Type 6 - Detailed Timings"};
    constexpr const char* second[] = {"Product Identification",
                                      "Display Parameters",
                                      "Video Timing Modes Type 7 - Detailed Timings",
                                      "Video Timing Modes Type 8 - Enumerated Timing Codes",
                                      "Video Timing Modes Type 9 - Formula-based Timings",
                                      "Dynamic Video Timing Range Limits",
                                      "Display Interface Features",
                                      "Stereo Display Interface",
                                      "Tiled Display Topology",
                                      "ContainerID",
                                      "Video Timing Modes Type 10 - Formula-based Timings",
                                      "Adaptive Sync"};
    const auto named = [](const char* name) { return std::string(name) + " Data Block"; };
    if (tag < std::size(first)) return named(first[tag]);
    if (tag >= 0x20 && tag - 0x20 < std::size(second)) return named(second[tag - 0x20]);
    if (tag == 0x7E || tag == 0x7F) return named("Vendor-Specific");
    if (tag == 0x81) return named("CTA-861 DisplayID");
    return formatted("Unknown DisplayID Data Block 0x%02x", tag);
}

// Types 1 and 7 differ in the unit of the clock alone.
EdidTiming readDisplayIdTiming(const EdidBytes& bytes, unsigned clockUnitHz) {
    const unsigned across = bytes.little(4, 2) + 1, blankAcross = bytes.little(6, 2) + 1;
    const unsigned lines = bytes.little(12, 2) + 1, blankLines = bytes.little(14, 2) + 1;
    EdidTiming timing;
    timing.pixelClockHz = (bytes.little(0, 3) + 1ull) * clockUnitHz;
    timing.preferred = (bytes[3] & 0x80) != 0;
    timing.interlaced = (bytes[3] & 0x10) != 0;
    timing.width = across;
    timing.height = lines;
    // The lines are those of the picture, which takes two fields when interlaced.
    const double pixels = static_cast<double>(across + blankAcross) * (lines + blankLines);
    timing.refreshHz = static_cast<double>(timing.pixelClockHz) / pixels * (timing.interlaced ? 2 : 1);
    return timing;
}

EdidDataBlock readDisplayIdDataBlock(unsigned tag, const EdidBytes& content) {
    constexpr std::size_t timingBytes = 20;
    EdidDataBlock block;
    block.kind = displayIdKindOf(tag);
    block.size = static_cast<unsigned>(content.size());
    // Here the identifier's most significant byte comes first, other than in CTA-861.
    if ((tag == 0x20 || tag == 0x7E || tag == 0x7F) && content.size() >= 3)
        block.details.push_back(formatted("OUI %02X-%02X-%02X", content[0], content[1], content[2]));
    if (tag == 0x03 || tag == 0x22) {
        for (std::size_t at = 0; at + timingBytes <= content.size(); at += timingBytes) {
            block.timings.push_back(
                readDisplayIdTiming(content.part(at, timingBytes), tag == 0x03 ? 10000 : 1000));
        }
    }
    return block;
}

}  // namespace

EdidVideoFormat videoFormatOf(unsigned number) {
    EdidVideoFormat format;
    format.number = number;
    const VideoFormat* found = nullptr;
    if (number >= firstLow && number - firstLow < std::size(lowFormats))
        found = &lowFormats[number - firstLow];
    if (number >= firstHigh && number - firstHigh < std::size(highFormats))
        found = &highFormats[number - firstHigh];
    if (found != nullptr)
        format.timing = nominalTiming(found->width, found->height, found->refreshHz, found->interlaced);
    return format;
}

void readCtaBlock(const EdidBytes& bytes, const std::string& place, EdidBlock& block,
                  std::vector<std::string>& problems) {
    constexpr std::size_t firstDataBlock = 4, checksumAt = edidBlockBytes - 1, timingBytes = 18;
    constexpr const char* features[] = {"YCbCr 4:2:2", "YCbCr 4:4:4", "basic audio", "underscan"};
    block.version = std::to_string(bytes[1]);
    if (bytes[1] >= 2) block.features = namesOf(bytes[3] >> 4, features);
    // Where the timings begin; before them stand the data blocks. 0: there is neither.
    std::size_t timings = bytes[2];
    if (timings == 0) return;
    if (timings < firstDataBlock || timings > checksumAt) {
        problems.push_back(place + formatted("its timings begin at byte %zu, outside of it", timings));
        timings = checksumAt;
    }
    // Revisions before the third have no data blocks.
    if (bytes[1] >= 3) readCtaDataBlocks(bytes, firstDataBlock, timings, place, block, problems);
    for (std::size_t at = timings; at + timingBytes <= checksumAt && bytes.little(at, 2) != 0;
         at += timingBytes)
        block.timings.push_back(readDetailedTiming(bytes.part(at, timingBytes)));
}

void readDisplayIdBlock(const EdidBytes& bytes, const std::string& place, EdidBlock& block,
                        std::vector<std::string>& problems) {
    constexpr std::size_t section = 1, sectionHeader = 4, largestContent = 121, blockHeader = 3;
    constexpr unsigned ctaTag = 0x81;  // its content are data blocks of CTA-861
    block.version = formatted("%u.%u", bytes[section] >> 4, bytes[section] & 15);
    std::size_t length = bytes[section + 1];
    if (length > largestContent) {
        problems.push_back(place + formatted("the DisplayID section has %zu bytes, room is for %zu", length,
                                             largestContent));
        length = largestContent;
    } else {
        unsigned sum = 0;
        for (std::size_t i = section; i <= section + sectionHeader + length; ++i) sum += bytes[i];
        const unsigned found = bytes[section + sectionHeader + length];
        if (sum % 0x100 != 0) {
            problems.push_back(place +
                               formatted("the checksum of the DisplayID section is 0x%02x, it should be "
                                         "0x%02x",
                                         found, (found - sum) & 0xFFu));
        }
    }
    const EdidBytes content = bytes.part(section + sectionHeader, length);
    for (std::size_t at = 0; at + blockHeader <= content.size();) {
        const unsigned tag = content[at];
        const std::size_t size = content[at + 2];
        // Zeroes fill the section up.
        if (tag == 0 && size == 0) break;
        if (at + blockHeader + size > content.size()) {
            problems.push_back(place + formatted("the data block at byte %zu has %zu bytes, room is for %zu",
                                                 section + sectionHeader + at, size,
                                                 content.size() - at - blockHeader));
        }
        const EdidBytes inner = content.part(at + blockHeader, size);
        block.dataBlocks.push_back(readDisplayIdDataBlock(tag, inner));
        const std::size_t begin = section + sectionHeader + at + blockHeader;
        if (tag == ctaTag) readCtaDataBlocks(bytes, begin, begin + inner.size(), place, block, problems);
        at += blockHeader + size;
    }
}

}  // namespace sysmira
