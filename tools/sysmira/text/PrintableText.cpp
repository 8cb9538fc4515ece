#include "tools/sysmira/text/PrintableText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace sysmira {

namespace {

constexpr char32_t replacement = 0xFFFD;

// Takes the next code point off the front; an ill-formed byte counts as U+FFFD.
char32_t takeCodePoint(std::string_view& text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    char32_t point = length == 1 ? lead : lead & (0x7Fu >> length);
    bool wellFormed = length != 0 && length <= text.size();
    for (std::size_t i = 1; wellFormed && i < length; ++i) {
        wellFormed = (byte(i) & 0xC0) == 0x80;
        point = point << 6 | (byte(i) & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    wellFormed =
        wellFormed && point >= smallest[length] && point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
    text.remove_prefix(wellFormed ? length : 1);
    return wellFormed ? point : replacement;
}

void appendEscape(std::string& text, const char* format, unsigned value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, format, value);
    text += buffer;
}

struct Range {
    char32_t first, last;
};

bool isIn(const Range* begin, const Range* end, char32_t point) {
    const Range* const found = std::upper_bound(
        begin, end, point, [](char32_t value, const Range& range) { return value < range.first; });
    return found != begin && point <= std::prev(found)->last;
}

// Marks that stand on the letter before them, and characters without width.
constexpr Range zeroWidth[] = {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},  {0x0610, 0x061A},
                               {0x064B, 0x065F}, {0x0670, 0x0670}, {0x06D6, 0x06DC},  {0x06DF, 0x06E4},
                               {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},  {0x200B, 0x200F},
                               {0x2060, 0x2064}, {0x20D0, 0x20F0}, {0x3099, 0x309A},  {0xFE00, 0xFE0F},
                               {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};
// East Asian wide and fullwidth characters, and pictographs.
constexpr Range wide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},  {0x3400, 0x4DBF},
                          {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97F},  {0xAC00, 0xD7A3},
                          {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6},
                          {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

std::size_t columns(char32_t point) {
    if (isIn(std::begin(zeroWidth), std::end(zeroWidth), point)) return 0;
    return isIn(std::begin(wide), std::end(wide), point) ? 2 : 1;
}

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

// How many single-letter changes turn one text into the other; bounded by the caller's lengths.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    for (std::size_t j = 0; j <= other.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= one.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t changed = diagonal + (lower(one[i - 1]) != lower(other[j - 1]) ? 1 : 0);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row.back();
}

}  // namespace

std::string toUtf8(const zor::String& text) {
    const zor::CString bytes = text.getUTF8String();
    return {bytes.c_str(), bytes.size()};
}

std::string printable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::string_view before = text;
        const char32_t point = takeCodePoint(text);
        const bool turnsDirection =
            (point >= 0x202A && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
        if (point == '\n') {
            result += "\\n";
        } else if (point == '\r') {
            result += "\\r";
        } else if (point == '\t') {
            result += "\\t";
        } else if (point < 0x20 || (point >= 0x7F && point < 0xA0)) {
            appendEscape(result, "\\x%02X", static_cast<unsigned>(point));
        } else if (turnsDirection || point == 0x2028 || point == 0x2029) {
            appendEscape(result, "\\u%04X", static_cast<unsigned>(point));
        } else if (point == replacement) {
            result += "\uFFFD";
        } else {
            result += before.substr(0, before.size() - text.size());
        }
    }
    return result;
}

std::string printable(const zor::String& text) { return printable(toUtf8(text)); }

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) width += columns(takeCodePoint(text));
    return width;
}

std::string padded(std::string text, std::size_t width) {
    const std::size_t taken = displayWidth(text);
    if (taken < width) text.append(width - taken, ' ');
    return text;
}

std::string printableReport(const zor::String& report, const std::vector<ReportField>& fields) {
    const std::string text = toUtf8(report);
    std::string result;
    std::size_t done = 0;
    // Everything between values is the library's own: lines, which stay lines.
    const auto appendLines = [&](std::size_t end) {
        while (done < end) {
            const std::size_t lineEnd = std::min(text.find('\n', done), end);
            result += printable(std::string_view(text).substr(done, lineEnd - done));
            if (lineEnd < end) result += '\n';
            done = std::min(lineEnd + 1, end);
        }
    };
    for (const auto& [label, value] : fields) {
        const std::size_t found = text.find(label, done);
        if (found == std::string::npos) break;
        const std::string raw = toUtf8(value);
        appendLines(found + label.size());
        if (text.compare(done, raw.size(), raw) != 0) break;
        result += printable(raw);
        done += raw.size();
    }
    appendLines(text.size());
    return result;
}

std::string nearest(std::string_view text, const std::vector<std::string>& candidates) {
    constexpr std::size_t longest = 300;
    if (text.empty() || text.size() > longest) return {};
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(2, text.size() / 4) + 1;
    for (const std::string& candidate : candidates) {
        if (candidate.size() > longest) continue;
        const std::size_t changes = distance(text, candidate);
        if (changes >= bestDistance) continue;
        bestDistance = changes;
        best = candidate;
    }
    return best;
}

}  // namespace sysmira
