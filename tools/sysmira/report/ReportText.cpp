// The report for a console.
#include <algorithm>
#include <sstream>

#include "tools/sysmira/report/ReportLayout.h"
#include "tools/sysmira/text/Fields.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/TreePicture.h"
#include "tools/sysmira/text/Trend.h"

namespace sysmira {

namespace {

std::string indented(const std::string& text, std::size_t indent) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);)
        result += (line.empty() ? "" : std::string(indent, ' ') + line) + "\n";
    return result;
}

const char* markOf(ReportMood mood) {
    return mood == ReportMood::Bad ? "! " : mood == ReportMood::Warning ? "~ " : "";
}

std::string rightAligned(const std::string& text, std::size_t width) {
    const std::size_t taken = displayWidth(text);
    return std::string(width > taken ? width - taken : 0, ' ') + text;
}

// Makes each block a few lines, without an indent of its own.
class BlockText {
public:
    std::string operator()(const ReportParagraph& block) const {
        return markOf(block.mood) + block.text.plain() + "\n";
    }

    std::string operator()(const ReportFacts& block) const {
        Fields fields;
        for (const auto& [label, value] : block.facts) fields.add(label, value.plain());
        return fields.toText(/*indent=*/0);
    }

    std::string operator()(const ReportTable& block) const {
        std::vector<std::size_t> widths;
        for (const ReportTable::Column& column : block.columns)
            widths.push_back(displayWidth(column.heading));
        for (const auto& row : block.rows) {
            for (std::size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], displayWidth(row[i].plain()));
        }
        const auto line = [&](auto&& cellAt) {
            std::string text;
            for (std::size_t i = 0; i < widths.size(); ++i) {
                text += (i == 0 ? "" : "  ") + (block.columns[i].isNumber ? rightAligned(cellAt(i), widths[i])
                                                                          : padded(cellAt(i), widths[i]));
            }
            text.erase(text.find_last_not_of(' ') + 1);
            return text + "\n";
        };
        std::string text = block.caption + "\n";
        text += line([&](std::size_t i) { return block.columns[i].heading; });
        for (const auto& row : block.rows) text += line([&](std::size_t i) { return row[i].plain(); });
        return text;
    }

    std::string operator()(const ReportTree& block) const {
        std::vector<TreeRow> rows;
        for (const ReportTree::Item& item : block.items) {
            const std::string marks = item.marks.empty() ? "" : " [" + item.marks + "]";
            rows.push_back({item.name.plain() + marks, item.id.plain(), item.parent});
        }
        return drawTree(rows);
    }

    std::string operator()(const ReportDisk& block) const { return toText(block.map); }

    std::string operator()(const ReportDesktop& block) const {
        std::string text;
        for (const std::string& line : drawDesktop(block.screens)) text += line + "\n";
        return text;
    }

    std::string operator()(const ReportDays& block) const {
        ReportTable table;
        table.caption = block.caption;
        table.columns = {{"Day"}, {"Errors", true}, {"Warnings", true}, {"Others", true}};
        for (const ReportDays::Day& day : block.days)
            table.rows.push_back({day.day, day.errors, day.warnings, day.others});
        return (*this)(table);
    }

    std::string operator()(const ReportSeries& block) const {
        return padded(block.name.plain(), 46) + " " + trendOf(block.values, block.values.size()) + "  " +
               block.last.plain() + " (" + block.least.plain() + " to " + block.greatest.plain() + ")\n";
    }

    std::string operator()(const ReportGroup& block) const {
        return block.title.plain() + "\n" + indented(toLines(block.blocks), 2);
    }

    std::string toLines(const std::vector<ReportBlock>& blocks) const {
        std::string text;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            // Series and what is folded on a page stand close together.
            const bool close = i != 0 && blocks[i].index() == blocks[i - 1].index() &&
                               (std::holds_alternative<ReportSeries>(blocks[i]) ||
                                std::holds_alternative<ReportParagraph>(blocks[i]));
            text += (i == 0 || close ? "" : "\n") + std::visit(*this, blocks[i]);
        }
        return text;
    }
};

std::string toText(const ReportPart& part) {
    const std::string heading = part.title + ": " + part.status + " (" + part.duration + ")";
    std::string text = "\n" + heading + "\n" + std::string(displayWidth(heading), '=') + "\n";
    for (const ReportText& reason : part.reasons) text += "~ " + reason.plain() + "\n";
    if (!part.blocks.empty()) text += "\n" + BlockText().toLines(part.blocks);
    return text;
}

}  // namespace

std::string toText(const ReportLayout& layout) {
    std::string text = layout.title + "\n" + indented(BlockText()(layout.about), 2);
    text += "\nWhat needs attention\n";
    for (const auto& [section, sentence] : layout.attention) text += "  ! " + sentence.plain() + "\n";
    if (layout.attention.empty()) text += "  Nothing that was read.\n";
    for (const ReportPart& part : layout.parts) text += toText(part);
    return text;
}

}  // namespace sysmira
