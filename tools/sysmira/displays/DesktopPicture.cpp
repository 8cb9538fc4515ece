#include "tools/sysmira/displays/DesktopPicture.h"

#include <algorithm>
#include <cmath>

#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

constexpr double widestPicture = 76, highestPicture = 24;
constexpr long long narrowestBox = 4, lowestBox = 3;

// Each cell is a character as UTF-8, with those that combine with it. One that takes two columns is followed
// by an empty cell.
class Canvas {
public:
    void set(long long column, long long row, const std::string& character) {
        if (m_rows.size() <= static_cast<std::size_t>(row)) m_rows.resize(static_cast<std::size_t>(row) + 1);
        auto& cells = m_rows[static_cast<std::size_t>(row)];
        if (cells.size() <= static_cast<std::size_t>(column))
            cells.resize(static_cast<std::size_t>(column) + 1, " ");
        const auto at = cells.begin() + column;
        // Of a wide character that loses a half the other one goes too.
        if (at->empty()) *std::prev(at) = " ";
        if (std::next(at) != cells.end() && std::next(at)->empty()) *std::next(at) = " ";
        *at = character;
    }

    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const auto& cells : m_rows) {
            std::string line;
            for (const std::string& cell : cells) line += cell;
            line.erase(line.find_last_not_of(' ') + 1);
            result.push_back(std::move(line));
        }
        return result;
    }

private:
    std::vector<std::vector<std::string>> m_rows;
};

// The cells of a printable text, as many as there are columns.
std::vector<std::string> cellsThatFit(const std::string& text, std::size_t columns) {
    std::vector<std::string> cells;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = begin + 1;
        while (end < text.size() && (text[end] & 0xC0) == 0x80) ++end;
        const std::string character = text.substr(begin, end - begin);
        const std::size_t width = displayWidth(character);
        if (cells.size() + width > columns) break;
        if (width != 0) {
            cells.push_back(character);
            cells.resize(cells.size() + width - 1);
        } else if (!cells.empty()) {
            // It stands with the character before it, which is one cell back if that one is wide.
            (cells.back().empty() ? *std::prev(cells.end(), 2) : cells.back()) += character;
        }
        begin = end;
    }
    return cells;
}

// A text without room for all of it ends with an ellipsis.
std::vector<std::string> cellsOf(const std::string& text, std::size_t columns) {
    if (columns == 0 || displayWidth(text) <= columns) return cellsThatFit(text, columns);
    std::vector<std::string> cells = cellsThatFit(text, columns - 1);
    cells.push_back("…");
    return cells;
}

struct Box {
    long long left, top, right, bottom;  // the last two are outside

    void draw(Canvas& canvas, const std::vector<std::string>& texts) const {
        for (long long row = top; row < bottom; ++row) {
            for (long long column = left; column < right; ++column)
                canvas.set(column, row, characterAt(column, row));
        }
        const long long wide = right - left - 2, high = bottom - top - 2;
        const long long count = std::min<long long>(high, static_cast<long long>(texts.size()));
        for (long long i = 0; i < count; ++i) {
            const std::vector<std::string> cells =
                cellsOf(texts[static_cast<std::size_t>(i)], static_cast<std::size_t>(wide));
            const long long start = left + 1 + (wide - static_cast<long long>(cells.size())) / 2;
            for (std::size_t at = 0; at < cells.size(); ++at)
                canvas.set(start + static_cast<long long>(at), top + 1 + (high - count) / 2 + i, cells[at]);
        }
    }

private:
    const char* characterAt(long long column, long long row) const {
        const bool first = column == left, last = column == right - 1;
        if (row == top) return first ? "┌" : last ? "┐" : "─";
        if (row == bottom - 1) return first ? "└" : last ? "┘" : "─";
        return first || last ? "│" : " ";
    }
};

bool isSamePart(const DesktopScreen& one, const DesktopScreen& other) {
    return one.x == other.x && one.y == other.y && one.width == other.width && one.height == other.height;
}

// Screens that show the same part as one, with all their names.
std::vector<DesktopScreen> united(const std::vector<DesktopScreen>& screens) {
    std::vector<DesktopScreen> parts;
    for (const DesktopScreen& screen : screens) {
        if (screen.width <= 0 || screen.height <= 0) continue;
        const auto known = std::find_if(parts.begin(), parts.end(),
                                        [&](const DesktopScreen& part) { return isSamePart(part, screen); });
        if (known == parts.end()) {
            parts.push_back(screen);
            continue;
        }
        known->name += " + " + screen.name;
        for (const std::string& remark : screen.remarks) {
            if (std::find(known->remarks.begin(), known->remarks.end(), remark) == known->remarks.end())
                known->remarks.push_back(remark);
        }
    }
    return parts;
}

}  // namespace

std::vector<std::string> drawDesktop(const std::vector<DesktopScreen>& screens) {
    const std::vector<DesktopScreen> parts = united(screens);
    if (parts.empty()) return {};
    long long left = parts[0].x, top = parts[0].y, right = left, bottom = top;
    for (const DesktopScreen& part : parts) {
        left = std::min(left, part.x);
        top = std::min(top, part.y);
        right = std::max(right, part.x + part.width);
        bottom = std::max(bottom, part.y + part.height);
    }
    const double columnsPerPixel = std::min(widestPicture / static_cast<double>(right - left),
                                            2 * highestPicture / static_cast<double>(bottom - top));
    const auto column = [&](long long x) {
        return std::llround(static_cast<double>(x - left) * columnsPerPixel);
    };
    const auto row = [&](long long y) {
        return std::llround(static_cast<double>(y - top) * columnsPerPixel / 2);
    };
    Canvas canvas;
    for (const DesktopScreen& part : parts) {
        const Box box = {column(part.x), row(part.y),
                         std::max(column(part.x + part.width), column(part.x) + narrowestBox),
                         std::max(row(part.y + part.height), row(part.y) + lowestBox)};
        std::vector<std::string> texts = {part.name};
        texts.insert(texts.end(), part.remarks.begin(), part.remarks.end());
        box.draw(canvas, texts);
    }
    return canvas.lines();
}

}  // namespace sysmira
