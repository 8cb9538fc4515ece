#include "tools/sysmira/displays/Edid.h"

#include <algorithm>
#include <numeric>

#include "tools/sysmira/displays/EdidParts.h"

namespace sysmira {

namespace {

constexpr std::size_t descriptorBytes = 18;

struct Mode {
    unsigned width, height, refreshHz;
    bool interlaced = false;
};

// From the most significant bit of byte 35 on.
constexpr Mode establishedModes[] = {
    {720, 400, 70},   {720, 400, 88},        {640, 480, 60},  {640, 480, 67},  {640, 480, 72},
    {640, 480, 75},   {800, 600, 56},        {800, 600, 60},  {800, 600, 72},  {800, 600, 75},
    {832, 624, 75},   {1024, 768, 87, true}, {1024, 768, 60}, {1024, 768, 70}, {1024, 768, 75},
    {1280, 1024, 75}, {1152, 870, 75},
};
// From the most significant bit of byte 6 of their descriptor on. Some stand there twice: with reduced
// blanking, and without.
constexpr Mode moreEstablishedModes[] = {
    {640, 350, 85},   {640, 400, 85},   {720, 400, 85},   {640, 480, 85},   {848, 480, 60},
    {800, 600, 85},   {1024, 768, 85},  {1152, 864, 75},  {1280, 768, 60},  {1280, 768, 60},
    {1280, 768, 75},  {1280, 768, 85},  {1280, 960, 60},  {1280, 960, 85},  {1280, 1024, 60},
    {1280, 1024, 85}, {1360, 768, 60},  {1440, 900, 60},  {1440, 900, 60},  {1440, 900, 75},
    {1440, 900, 85},  {1400, 1050, 60}, {1400, 1050, 60}, {1400, 1050, 75}, {1400, 1050, 85},
    {1680, 1050, 60}, {1680, 1050, 60}, {1680, 1050, 75}, {1680, 1050, 85}, {1600, 1200, 60},
    {1600, 1200, 65}, {1600, 1200, 70}, {1600, 1200, 75}, {1600, 1200, 85}, {1792, 1344, 60},
    {1792, 1344, 75}, {1856, 1392, 60}, {1856, 1392, 75}, {1920, 1200, 60}, {1920, 1200, 60},
    {1920, 1200, 75}, {1920, 1200, 85}, {1920, 1440, 60}, {1920, 1440, 75},
};

template <std::size_t Count>
void addModes(const EdidBytes& bits, const Mode (&modes)[Count], std::vector<EdidTiming>& timings) {
    for (std::size_t i = 0; i < Count; ++i) {
        if ((bits[i / 8] & 0x80u >> i % 8) == 0) continue;
        timings.push_back(
            nominalTiming(modes[i].width, modes[i].height, modes[i].refreshHz, modes[i].interlaced));
    }
}

// Up to its first line feed or NUL, without the blanks that fill it up. Bytes beyond ASCII are taken for
// Latin-1.
std::string readText(const EdidBytes& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size() && bytes[i] != 0x0A && bytes[i] != 0; ++i) {
        const unsigned byte = bytes[i];
        if (byte >= 0x80) text += static_cast<char>(0xC0 | byte >> 6);
        text += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

class Decoder {
public:
    explicit Decoder(const EdidBytes& bytes) : m_bytes(bytes) {}

    Edid decode() {
        readBlocks();
        const EdidBytes base = m_bytes.part(0, edidBlockBytes);
        if (base.size() == 0) return std::move(m_edid);
        constexpr unsigned char header[] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
        for (std::size_t i = 0; i < std::min(sizeof header, base.size()); ++i) {
            if (base[i] == header[i]) continue;
            addProblem(0, "the header is not that of an EDID");
            break;
        }
        // A block that is cut short tells what stands before its end.
        if (base.size() >= 18) readIdentity(base);
        if (base.size() >= 20) m_edid.version = formatted("%u.%u", base[18], base[19]);
        if (base.size() >= 25) readBasics(base);
        if (base.size() >= 38) addModes(base.part(35, 3), establishedModes, m_edid.established);
        if (base.size() >= 54) readStandardTimings(base.part(38, 16));
        for (std::size_t at = 54; at + descriptorBytes <= std::min<std::size_t>(base.size(), 126);
             at += descriptorBytes) {
            readDescriptor(base.part(at, descriptorBytes));
        }
        // Since 1.3 the first detailed timing is the preferred one; before, a bit says so.
        if (!m_edid.detailed.empty())
            m_edid.detailed[0].preferred = minorVersion() >= 3 || (base[24] & 2) != 0;
        checkCount(base);
        return std::move(m_edid);
    }

private:
    void addProblem(std::size_t block, const std::string& what) {
        m_edid.problems.push_back(placeOf(block) + what);
    }
    static std::string placeOf(std::size_t block) { return "block " + std::to_string(block) + ": "; }
    unsigned minorVersion() const { return m_bytes[18] == 1 ? m_bytes[19] : 0; }

    void readBlocks() {
        if (m_bytes.size() == 0) m_edid.problems.push_back("the EDID is empty");
        for (std::size_t at = 0, index = 0; at < m_bytes.size(); at += edidBlockBytes, ++index) {
            const EdidBytes bytes = m_bytes.part(at, edidBlockBytes);
            EdidBlock block;
            block.size = bytes.size();
            block.tag = index == 0 ? 0 : bytes[0];
            block.kind = index == 0 ? "Base EDID" : kindOf(block.tag);
            if (block.isWhole()) {
                checkSum(index, bytes, block);
                readExtension(index, bytes, block);
            } else {
                addProblem(index, formatted("it has %zu of its %zu bytes", bytes.size(), edidBlockBytes));
            }
            m_edid.blocks.push_back(std::move(block));
        }
    }

    void checkSum(std::size_t index, const EdidBytes& bytes, EdidBlock& block) {
        unsigned sum = 0;
        for (std::size_t i = 0; i + 1 < edidBlockBytes; ++i) sum += bytes[i];
        block.checksum = bytes[edidBlockBytes - 1];
        block.expectedChecksum = (0x100 - sum % 0x100) % 0x100;
        if (block.checksum == block.expectedChecksum) return;
        addProblem(index, formatted("the checksum is 0x%02x, it should be 0x%02x", block.checksum,
                                    block.expectedChecksum));
    }

    void readExtension(std::size_t index, const EdidBytes& bytes, EdidBlock& block) {
        if (index == 0) return;
        if (block.tag == 0x02) readCtaBlock(bytes, placeOf(index), block, m_edid.problems);
        if (block.tag == 0x70) readDisplayIdBlock(bytes, placeOf(index), block, m_edid.problems);
    }

    static std::string kindOf(unsigned tag) {
        switch (tag) {
            case 0x02:
                return "CTA-861 Extension Block";
            case 0x10:
                return "Video Timing Extension Block";
            case 0x20:
                return "EDID 2.0 Extension Block";
            case 0x40:
                return "Display Information Extension Block";
            case 0x50:
                return "Localized String Extension Block";
            case 0x60:
                return "Microdisplay Interface Extension Block";
            case 0x70:
                return "DisplayID Extension Block";
            case 0xF0:
                return "Block Map Extension Block";
            case 0xFF:
                return "Manufacturer-Specific Extension Block";
            default:
                return formatted("Unknown EDID Extension Block 0x%02x", tag);
        }
    }

    void readIdentity(const EdidBytes& base) {
        const unsigned letters = base[8] << 8 | base[9];
        for (const unsigned shift : {10u, 5u, 0u}) {
            const unsigned letter = letters >> shift & 31;
            m_edid.manufacturer += letter >= 1 && letter <= 26 ? static_cast<char>('A' + letter - 1) : '?';
        }
        m_edid.product = base.little(10, 2);
        m_edid.serialNumber = base.little(12, 4);
        m_edid.isModelYear = base[16] == 0xFF;
        if (base[16] <= 54) m_edid.week = base[16];
        m_edid.year = 1990 + base[17];
    }

    void readBasics(const EdidBytes& base) {
        m_edid.digital = (base[20] & 0x80) != 0;
        if (m_edid.digital && minorVersion() >= 4) {
            constexpr const char* interfaces[] = {"", "DVI", "HDMI-a", "HDMI-b", "MDDI", "DisplayPort"};
            constexpr unsigned bits[] = {0, 6, 8, 10, 12, 14, 16, 0};
            if ((base[20] & 15) < std::size(interfaces)) m_edid.inputInterface = interfaces[base[20] & 15];
            m_edid.bitsPerColor = bits[base[20] >> 4 & 7];
        }
        if (base[21] != 0 && base[22] != 0) {
            m_edid.widthCm = base[21];
            m_edid.heightCm = base[22];
        } else if (minorVersion() >= 4 && base[21] != 0) {
            m_edid.aspectRatio = (base[21] + 99) / 100.0;
        } else if (minorVersion() >= 4 && base[22] != 0) {
            m_edid.aspectRatio = 100.0 / (base[22] + 99);
        }
        if (base[23] != 0xFF) m_edid.gamma = (base[23] + 100) / 100.0;
    }

    void readStandardTimings(const EdidBytes& bytes) {
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            // 01 01 marks an unused place. Monitors also mark it with 00 or 01 and any second byte; a width
            // of 0 is reserved, and none is 256.
            if (bytes[i] <= 1) continue;
            const unsigned width = (bytes[i] + 31) * 8;
            constexpr unsigned across[] = {16, 4, 5, 16}, down[] = {10, 3, 4, 9};
            const unsigned aspect = bytes[i + 1] >> 6;
            // Before 1.3 the first was a square.
            const bool square = aspect == 0 && minorVersion() < 3;
            const unsigned height = square ? width : width * down[aspect] / across[aspect];
            m_edid.standard.push_back(nominalTiming(width, height, (bytes[i + 1] & 63) + 60));
        }
    }

    void readDescriptor(const EdidBytes& bytes) {
        if (bytes.little(0, 2) != 0) {
            m_edid.detailed.push_back(readDetailedTiming(bytes));
            return;
        }
        const EdidBytes content = bytes.part(5, 13);
        switch (bytes[3]) {
            case 0xFC:
                m_edid.name += readText(content);
                break;
            case 0xFF:
                m_edid.serialText += readText(content);
                break;
            case 0xFE:
                m_edid.texts.push_back(readText(content));
                break;
            case 0xFD:
                readRange(bytes);
                break;
            case 0xFA:
                readStandardTimings(content.part(0, 12));
                break;
            case 0xF8:
                readCodedTimings(content.part(1, 12));
                break;
            case 0xF7:
                addModes(content.part(1, 6), moreEstablishedModes, m_edid.established);
                break;
            case 0xFB:
                m_edid.otherDescriptors.push_back("Color Point Data");
                break;
            case 0xF9:
                m_edid.otherDescriptors.push_back("Display Color Management Data");
                break;
            case 0x10:
                break;  // a dummy
            default:
                // Many an old EDID has zeroes in its unused places.
                if (bytes[3] == 0 && bytes.little(4, 4) == 0) break;
                m_edid.otherDescriptors.push_back(formatted("0x%02x", bytes[3]));
                break;
        }
    }

    void readRange(const EdidBytes& bytes) {
        const unsigned offsets = minorVersion() >= 4 ? bytes[4] : 0;
        const auto limit = [&](std::size_t at, unsigned bit) {
            return bytes[at] + ((offsets & bit) != 0 ? 255 : 0);
        };
        EdidRange range;
        range.minVerticalHz = limit(5, (offsets & 3) == 3 ? 1 : 0);
        range.maxVerticalHz = limit(6, 2);
        range.minHorizontalKhz = limit(7, (offsets & 12) == 12 ? 4 : 0);
        range.maxHorizontalKhz = limit(8, 8);
        range.maxPixelClockMhz = bytes[9] == 0xFF ? 0 : bytes[9] * 10;
        // With coordinated timings the clock is told more closely.
        if (bytes[10] == 4 && range.maxPixelClockMhz != 0) range.maxPixelClockMhz -= (bytes[12] >> 2) * 0.25;
        m_edid.range = range;
    }

    void readCodedTimings(const EdidBytes& bytes) {
        constexpr unsigned across[] = {4, 16, 16, 15}, down[] = {3, 9, 10, 9};
        // The last one is 60 Hz with reduced blanking.
        constexpr unsigned rates[] = {50, 60, 75, 85, 60};
        for (std::size_t i = 0; i + 2 < bytes.size(); i += 3) {
            if (bytes.little(i, 3) == 0) continue;
            const unsigned aspect = bytes[i + 1] >> 2 & 3;
            const unsigned height = ((bytes[i] | (bytes[i + 1] & 0xF0) << 4) + 1) * 2;
            const unsigned width = height * across[aspect] / down[aspect] / 8 * 8;
            for (unsigned rate = 0; rate < std::size(rates); ++rate) {
                if ((bytes[i + 2] & 0x10u >> rate) == 0) continue;
                m_edid.standard.push_back(nominalTiming(width, height, rates[rate]));
            }
        }
    }

    void checkCount(const EdidBytes& base) {
        if (base.size() < edidBlockBytes) return;
        m_edid.announcedExtensions = base[126];
        const std::size_t present = m_edid.blocks.size() - 1;
        if (present == m_edid.announcedExtensions) return;
        addProblem(0, formatted("it announces %u extension blocks, %zu follow", m_edid.announcedExtensions,
                                present));
    }

    EdidBytes m_bytes;
    Edid m_edid;
};

}  // namespace

bool EdidBlock::isWhole() const { return size == edidBlockBytes; }

const EdidTiming* Edid::preferred() const { return detailed.empty() ? nullptr : &detailed.front(); }

EdidTiming nominalTiming(unsigned width, unsigned height, unsigned refreshHz, bool interlaced) {
    EdidTiming timing;
    timing.width = width;
    timing.height = height;
    timing.refreshHz = refreshHz;
    timing.interlaced = interlaced;
    return timing;
}

EdidTiming readDetailedTiming(const EdidBytes& bytes) {
    const unsigned blankAcross = bytes[3] | (bytes[4] & 15) << 8;
    const unsigned lines = bytes[5] | (bytes[7] & 0xF0) << 4;
    const unsigned blankLines = bytes[6] | (bytes[7] & 15) << 8;
    EdidTiming timing;
    timing.pixelClockHz = bytes.little(0, 2) * 10000ull;
    timing.width = bytes[2] | (bytes[4] & 0xF0) << 4;
    timing.interlaced = (bytes[17] & 0x80) != 0;
    // Interlaced, the lines are those of a field, and each field has half a line more.
    timing.height = timing.interlaced ? lines * 2 : lines;
    timing.widthMm = bytes[12] | (bytes[14] & 0xF0) << 4;
    timing.heightMm = bytes[13] | (bytes[14] & 15) << 8;
    const double pixels =
        (timing.width + blankAcross) * (lines + blankLines + (timing.interlaced ? 0.5 : 0.0));
    if (pixels > 0) timing.refreshHz = static_cast<double>(timing.pixelClockHz) / pixels;
    return timing;
}

Edid decodeEdid(const unsigned char* bytes, std::size_t size) { return Decoder({bytes, size}).decode(); }

}  // namespace sysmira
