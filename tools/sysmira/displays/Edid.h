// What an EDID says, in plain values. Pure: bytes in, values out; whatever the bytes are, nothing is read
// beyond them and nothing fails. What does not fit is named, and the rest is told all the same.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace sysmira {

struct EdidTiming {
    unsigned width = 0;   ///< pixels
    unsigned height = 0;  ///< lines of the whole picture
    bool interlaced = false;
    double refreshHz = 0;                 ///< fields a second when interlaced
    unsigned long long pixelClockHz = 0;  ///< 0: not told
    unsigned widthMm = 0, heightMm = 0;   ///< of the picture; 0: not told
    bool preferred = false;               ///< as its block says it
};

struct EdidRange {
    unsigned minVerticalHz = 0, maxVerticalHz = 0;
    unsigned minHorizontalKhz = 0, maxHorizontalKhz = 0;
    double maxPixelClockMhz = 0;  ///< 0: not told
};

/// A video format of CTA-861 by its number (VIC).
struct EdidVideoFormat {
    unsigned number = 0;
    bool native = false;
    std::optional<EdidTiming> timing;  ///< with the nominal rate; none for numbers that are not assigned
};

struct EdidAudioFormat {
    std::string name;
    unsigned channels = 0;
    std::vector<double> ratesKhz;
    std::vector<unsigned> sampleBits;  ///< of linear PCM
    unsigned maxBitRateKbps = 0;       ///< of the compressed formats that tell it
};

/// A data block of a CTA-861 or DisplayID extension.
struct EdidDataBlock {
    std::string kind;   ///< as the standard names it
    unsigned size = 0;  ///< bytes of its content
    std::vector<std::string> details;
    std::vector<EdidVideoFormat> videoFormats;
    std::vector<EdidAudioFormat> audioFormats;
    std::vector<EdidTiming> timings;
};

struct EdidBlock {
    unsigned tag = 0;                   ///< its first byte; 0 of the first block
    std::string kind;                   ///< "Base EDID", "CTA-861 Extension Block" …
    std::size_t size = 0;               ///< 128, or less when bytes lack
    unsigned checksum = 0;              ///< as it stands there
    unsigned expectedChecksum = 0;      ///< as it should stand there; meaningful for whole blocks
    std::string version;                ///< of the extension, "3" or "1.2"; may be empty
    std::vector<std::string> features;  ///< of a CTA-861 extension
    std::vector<EdidDataBlock> dataBlocks;
    std::vector<EdidTiming> timings;

    bool isWhole() const;
};

struct Edid {
    std::string version;       ///< "1.4"
    std::string manufacturer;  ///< three letters
    unsigned product = 0;
    unsigned serialNumber = 0;
    unsigned week = 0;  ///< of manufacture; 0: not told
    unsigned year = 0;  ///< of manufacture, or the model's; 0: not told
    bool isModelYear = false;
    bool digital = false;
    std::string inputInterface;          ///< of a digital input, "DisplayPort"; may be empty
    unsigned bitsPerColor = 0;           ///< 0: not told
    unsigned widthCm = 0, heightCm = 0;  ///< of the screen; 0: not told, a projector
    double aspectRatio = 0;              ///< told in place of the size; 0: not told
    double gamma = 0;                    ///< 0: not told
    std::string name, serialText;
    std::vector<std::string> texts;  ///< others
    std::optional<EdidRange> range;
    std::vector<EdidTiming> established, standard, detailed;
    std::vector<std::string> otherDescriptors;  ///< kinds of descriptors that are not told in detail
    unsigned announcedExtensions = 0;
    std::vector<EdidBlock> blocks;
    std::vector<std::string> problems;  ///< one sentence each, without the full stop

    /// The timing that the monitor is best driven with: its first detailed one. Null when there is none.
    const EdidTiming* preferred() const;
};

Edid decodeEdid(const unsigned char* bytes, std::size_t size);

}  // namespace sysmira
