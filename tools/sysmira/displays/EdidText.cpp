#include "tools/sysmira/displays/EdidText.h"

#include <nlohmann/json.hpp>

#include "tools/sysmira/displays/EdidParts.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

namespace {

// At most two digits behind the point, and none that say nothing.
std::string number(double value) {
    std::string text = formatted("%.2f", value);
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text;
}

template <class Items, class ToText>
std::string joined(const Items& items, ToText&& toText) {
    std::string text;
    for (const auto& item : items) text += (text.empty() ? "" : ", ") + toText(item);
    return text;
}

std::string briefly(const EdidTiming& timing) {
    return formatted("%ux%u%s at ", timing.width, timing.height, timing.interlaced ? "i" : "") +
           number(timing.refreshHz) + " Hz";
}

std::string inFull(const EdidTiming& timing) {
    std::string text = briefly(timing);
    if (timing.pixelClockHz != 0)
        text += ", " + number(static_cast<double>(timing.pixelClockHz) / 1e6) + " MHz";
    if (timing.widthMm != 0 || timing.heightMm != 0)
        text += formatted(", %u mm x %u mm", timing.widthMm, timing.heightMm);
    return text;
}

std::string describe(const EdidVideoFormat& format) {
    const std::string mode = format.timing ? briefly(*format.timing) : "format";
    return mode + formatted(" (%u%s)", format.number, format.native ? ", native" : "");
}

std::string describe(const EdidAudioFormat& format) {
    std::string text =
        format.name + formatted(", %u channel%s", format.channels, format.channels == 1 ? "" : "s");
    if (!format.ratesKhz.empty()) {
        text += ", ";
        for (const double rate : format.ratesKhz) text += number(rate) + " ";
        text += "kHz";
    }
    if (!format.sampleBits.empty()) {
        text += ", ";
        for (const unsigned bits : format.sampleBits) text += std::to_string(bits) + " ";
        text += "bits";
    }
    if (format.maxBitRateKbps != 0) text += formatted(", up to %u kbit/s", format.maxBitRateKbps);
    return text;
}

class Lines {
public:
    explicit Lines(unsigned indent) : m_indent(indent, ' ') {}

    /// A line, unless there is nothing to say.
    void add(const char* label, const std::string& value) {
        if (!value.empty()) m_text += m_indent + padded(label, 17) + printable(value) + "\n";
    }
    void addInner(const std::string& value) { m_text += m_indent + "   " + printable(value) + "\n"; }

    const std::string& text() const { return m_text; }

private:
    std::string m_indent;
    std::string m_text;
};

std::string describeMaker(const Edid& edid) {
    if (edid.manufacturer.empty()) return {};
    std::string text = edid.manufacturer + formatted(", product %u (0x%04X)", edid.product, edid.product);
    if (edid.serialNumber != 0) text += formatted(", serial number %u", edid.serialNumber);
    return text;
}

std::string describeDate(const Edid& edid) {
    if (edid.year == 0) return {};
    if (edid.isModelYear) return formatted("model of %u", edid.year);
    return (edid.week != 0 ? formatted("week %u of ", edid.week) : "") + std::to_string(edid.year);
}

std::string describeInput(const Edid& edid) {
    if (edid.blocks.empty() || edid.version.empty()) return {};
    std::string text = edid.digital ? "digital" : "analog";
    if (!edid.inputInterface.empty()) text += ", " + edid.inputInterface;
    if (edid.bitsPerColor != 0) text += formatted(", %u bits per color", edid.bitsPerColor);
    return text;
}

std::string describeSize(const Edid& edid) {
    if (edid.widthCm != 0) return formatted("%u cm x %u cm", edid.widthCm, edid.heightCm);
    return edid.aspectRatio != 0 ? number(edid.aspectRatio) + " : 1" : "";
}

std::string describe(const EdidRange& range) {
    std::string text = formatted("%u to %u Hz vertical, %u to %u kHz horizontal", range.minVerticalHz,
                                 range.maxVerticalHz, range.minHorizontalKhz, range.maxHorizontalKhz);
    if (range.maxPixelClockMhz != 0) text += ", up to " + number(range.maxPixelClockMhz) + " MHz";
    return text;
}

void addDataBlock(const EdidDataBlock& block, Lines& lines) {
    std::string text;
    const auto append = [&](const std::string& part) {
        if (!part.empty()) text += (text.empty() ? "" : "; ") + part;
    };
    append(joined(block.details, [](const std::string& detail) { return detail; }));
    append(joined(block.videoFormats, [](const auto& format) { return describe(format); }));
    for (const EdidAudioFormat& format : block.audioFormats) append(describe(format));
    for (const EdidTiming& timing : block.timings) append(inFull(timing));
    if (text.empty()) text = formatted("%u bytes", block.size);
    lines.addInner(block.kind + ": " + text);
}

void addBlock(std::size_t index, const EdidBlock& block, Lines& lines) {
    std::string text = block.kind;
    if (!block.version.empty()) text += ", version " + block.version;
    for (const std::string& feature : block.features) text += ", " + feature;
    lines.add(("Block " + std::to_string(index)).c_str(), text);
    for (const EdidDataBlock& each : block.dataBlocks) addDataBlock(each, lines);
    for (const EdidTiming& timing : block.timings) lines.addInner("Detailed timing: " + inFull(timing));
}

Json toJson(const EdidTiming& timing) {
    Json json = {{"width", timing.width},
                 {"height", timing.height},
                 {"interlaced", timing.interlaced},
                 {"refreshHz", timing.refreshHz}};
    if (timing.pixelClockHz != 0) json["pixelClockHz"] = timing.pixelClockHz;
    if (timing.widthMm != 0 || timing.heightMm != 0) {
        json["widthMm"] = timing.widthMm;
        json["heightMm"] = timing.heightMm;
    }
    if (timing.preferred) json["preferred"] = true;
    return json;
}

Json toJson(const std::vector<EdidTiming>& timings) {
    Json list = Json::array();
    for (const EdidTiming& timing : timings) list.push_back(toJson(timing));
    return list;
}

Json toJson(const EdidDataBlock& block) {
    Json json = {{"kind", block.kind}, {"size", block.size}};
    if (!block.details.empty()) json["details"] = block.details;
    for (const EdidVideoFormat& format : block.videoFormats) {
        Json one = {{"number", format.number}, {"native", format.native}, {"timing", nullptr}};
        if (format.timing) one["timing"] = toJson(*format.timing);
        json["videoFormats"].push_back(std::move(one));
    }
    for (const EdidAudioFormat& format : block.audioFormats) {
        Json one = {{"name", format.name}, {"channels", format.channels}, {"ratesKhz", format.ratesKhz}};
        if (!format.sampleBits.empty()) one["sampleBits"] = format.sampleBits;
        if (format.maxBitRateKbps != 0) one["maxBitRateKbps"] = format.maxBitRateKbps;
        json["audioFormats"].push_back(std::move(one));
    }
    if (!block.timings.empty()) json["timings"] = toJson(block.timings);
    return json;
}

Json toJson(const EdidBlock& block) {
    Json json = {{"kind", block.kind}, {"tag", block.tag}, {"size", block.size}, {"checksum", nullptr}};
    if (block.isWhole()) {
        json["checksum"] = {{"found", block.checksum}, {"expected", block.expectedChecksum}};
    }
    if (!block.version.empty()) json["version"] = block.version;
    if (!block.features.empty()) json["features"] = block.features;
    for (const EdidDataBlock& each : block.dataBlocks) json["dataBlocks"].push_back(toJson(each));
    if (!block.timings.empty()) json["timings"] = toJson(block.timings);
    return json;
}

// Null where 0 says that it is not told.
template <class Number>
Json unlessZero(Number value) {
    return value != 0 ? Json(value) : Json(nullptr);
}

}  // namespace

std::string toText(const Edid& edid, unsigned indent) {
    Lines lines(indent);
    lines.add("Maker", describeMaker(edid));
    lines.add("Name", edid.name);
    lines.add("Serial text", edid.serialText);
    for (const std::string& text : edid.texts) lines.add("Text", text);
    lines.add("Made", describeDate(edid));
    lines.add("EDID version", edid.version);
    lines.add("Input", describeInput(edid));
    lines.add("Size", describeSize(edid));
    if (edid.gamma != 0) lines.add("Gamma", number(edid.gamma));
    if (edid.range) lines.add("Ranges", describe(*edid.range));
    if (const EdidTiming* const timing = edid.preferred())
        lines.add(timing->preferred ? "Preferred timing" : "Detailed timing", inFull(*timing));
    for (std::size_t i = 1; i < edid.detailed.size(); ++i)
        lines.add("Detailed timing", inFull(edid.detailed[i]));
    lines.add("Established", joined(edid.established, briefly));
    lines.add("Standard", joined(edid.standard, briefly));
    lines.add("Descriptors", joined(edid.otherDescriptors, [](const std::string& kind) { return kind; }));
    for (std::size_t i = 1; i < edid.blocks.size(); ++i) addBlock(i, edid.blocks[i], lines);
    for (const std::string& problem : edid.problems) lines.add("Problem", problem);
    return lines.text();
}

Json toJson(const Edid& edid) {
    Json json;
    json["version"] = edid.version;
    json["manufacturer"] = edid.manufacturer;
    json["product"] = edid.product;
    json["serialNumber"] = unlessZero(edid.serialNumber);
    json["name"] = edid.name;
    json["serialText"] = edid.serialText;
    json["texts"] = edid.texts;
    json["week"] = unlessZero(edid.week);
    json["year"] = unlessZero(edid.year);
    json["isModelYear"] = edid.isModelYear;
    json["digital"] = edid.digital;
    json["interface"] = edid.inputInterface.empty() ? Json(nullptr) : Json(edid.inputInterface);
    json["bitsPerColor"] = unlessZero(edid.bitsPerColor);
    json["widthCm"] = unlessZero(edid.widthCm);
    json["heightCm"] = unlessZero(edid.heightCm);
    json["aspectRatio"] = unlessZero(edid.aspectRatio);
    json["gamma"] = unlessZero(edid.gamma);
    json["range"] = nullptr;
    if (edid.range) {
        json["range"] = {{"minVerticalHz", edid.range->minVerticalHz},
                         {"maxVerticalHz", edid.range->maxVerticalHz},
                         {"minHorizontalKhz", edid.range->minHorizontalKhz},
                         {"maxHorizontalKhz", edid.range->maxHorizontalKhz},
                         {"maxPixelClockMhz", unlessZero(edid.range->maxPixelClockMhz)}};
    }
    json["detailedTimings"] = toJson(edid.detailed);
    json["establishedTimings"] = toJson(edid.established);
    json["standardTimings"] = toJson(edid.standard);
    json["otherDescriptors"] = edid.otherDescriptors;
    json["announcedExtensions"] = edid.announcedExtensions;
    json["blocks"] = Json::array();
    for (const EdidBlock& block : edid.blocks) json["blocks"].push_back(toJson(block));
    json["problems"] = edid.problems;
    return json;
}

}  // namespace sysmira
