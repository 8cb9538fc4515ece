// The report as an HTML page.
#include <algorithm>
#include <cmath>

#include "support/SprintfFormat.h"
#include "tools/sysmira/report/PageParts.h"
#include "tools/sysmira/report/ReportLayout.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Sizes.h"

namespace sysmira {

namespace {

std::string escaped(const std::string& text) {
    std::string result;
    for (const char each : text) {
        switch (each) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += each;
        }
    }
    return result;
}

std::string escaped(const ReportText& text) {
    std::string result;
    for (const ReportSpan& span : text.spans()) {
        if (span.pointer.empty()) {
            result += escaped(span.text);
            continue;
        }
        const std::string place = " data-json=\"" + escaped(span.pointer) + "\"";
        result += span.value.empty() ? "<span" + place + ">" + escaped(span.text) + "</span>"
                                     : "<data value=\"" + escaped(span.value) + "\"" + place + ">" +
                                           escaped(span.text) + "</data>";
    }
    return result;
}

// Of a picture's coordinates.
std::string coordinate(double value) { return toUtf8(zor::SprintfFormat("%.2f", value)); }

std::string attribute(const char* name, double value) {
    return std::string(" ") + name + "=\"" + coordinate(value) + "\"";
}

const char* classOf(ReportMood mood) {
    switch (mood) {
        case ReportMood::Good:
            return "good";
        case ReportMood::Warning:
            return "warning";
        case ReportMood::Bad:
            return "bad";
        case ReportMood::Plain:
            break;
    }
    return "";
}

std::string rectangle(const std::string& style, double x, double y, double width, double height) {
    return "<rect class=\"" + style + "\"" + attribute("x", x) + attribute("y", y) +
           attribute("width", width) + attribute("height", height) + "/>";
}

// The picture is stretched to the width that there is; texts stand outside.
std::string picture(double width, double height, const std::string& description, const std::string& content) {
    return "<svg role=\"img\" preserveAspectRatio=\"none\" viewBox=\"0 0 " + coordinate(width) + " " +
           coordinate(height) + "\" aria-label=\"" + escaped(description) + "\">" + content + "</svg>";
}

// Disks -----------------------------------------------------------------------------------------------------

std::string styleOf(const MapRegion& region, const MapCell& cell) {
    if (!region.partition && region.volume.empty()) return "";
    if (!cell) return "unknown";
    return "use" + std::to_string(static_cast<int>(std::ceil(std::clamp(*cell, 0.0, 1.0) * 4)));
}

// Neighbours that look the same are one rectangle.
std::string cellsOf(const MapRegion& region, double begin, double width) {
    std::string text;
    const double step = width / static_cast<double>(region.cells.size());
    for (std::size_t first = 0; first < region.cells.size();) {
        const std::string style = styleOf(region, region.cells[first]);
        std::size_t end = first + 1;
        while (end < region.cells.size() && styleOf(region, region.cells[end]) == style) ++end;
        if (!style.empty()) {
            text += rectangle(style, begin + step * static_cast<double>(first), 0,
                              step * static_cast<double>(end - first), 10);
        }
        first = end;
    }
    return text;
}

// What stands above a region: nothing where no word has room.
std::string nameOf(const MapRegion& region, double width) {
    if (width < 30) return "";
    if (!region.volume.empty()) return escaped(region.volume);
    return region.partition ? escaped(region.type) : "no partition";
}

ReportTable regionTable(const ReportDisk& disk) {
    ReportTable table;
    table.columns = {{"Partition"}, {"Holds"}, {"Size", true}, {"In use", true}};
    for (std::size_t i = 0; i < disk.map.regions.size(); ++i) {
        const MapRegion& region = disk.map.regions[i];
        const std::string place = disk.pointer + "/regions/" + std::to_string(i);
        const bool isGap = !region.partition && region.volume.empty();
        ReportText holds = isGap ? "no partition" : region.volume.empty() ? region.type : region.volume;
        if (!region.fileSystem.empty()) holds += ", " + region.fileSystem;
        const auto numeric = [&](const char* key, const std::string& text, const std::string& value) {
            return ReportText(ReportSpan{text, place + "/" + key, value});
        };
        ReportText unknown = isGap ? "-" : "not known";
        if (!region.whyUnknown.empty()) {
            unknown += ": ";
            unknown += numeric("whyUseUnknown", region.whyUnknown, region.whyUnknown);
        }
        table.rows.push_back(
            {region.partition
                 ? numeric("partition", std::to_string(*region.partition), std::to_string(*region.partition))
                 : ReportText("-"),
             holds, numeric("length", shortSize(region.length), std::to_string(region.length)),
             region.used ? numeric("used", std::to_string(std::lround(*region.used * 100)) + " %",
                                   toUtf8(zor::SprintfFormat("%.17g", *region.used)))
                         : std::move(unknown)});
    }
    return table;
}

// Days ------------------------------------------------------------------------------------------------------

std::string dayBars(const ReportDays& days) {
    double greatest = 1;
    for (const ReportDays::Day& day : days.days)
        greatest = std::max(greatest, day.errorCount + day.warningCount + day.otherCount);
    std::string text;
    for (std::size_t i = 0; i < days.days.size(); ++i) {
        const ReportDays::Day& day = days.days[i];
        double top = 100;
        text += "<g><title>" + escaped(day.day.plain()) + ": errors " + day.errors.plain() + ", warnings " +
                day.warnings.plain() + ", others " + day.others.plain() + "</title>";
        const std::pair<const char*, double> parts[] = {
            {"errors", day.errorCount}, {"warnings", day.warningCount}, {"others", day.otherCount}};
        for (const auto& [style, count] : parts) {
            const double height = count / greatest * 100;
            top -= height;
            if (count > 0) text += rectangle(style, static_cast<double>(i) + 0.1, top, 0.8, height);
        }
        text += "</g>";
    }
    return text;
}

std::string describe(const ReportDays& days) {
    double errors = 0, warnings = 0, others = 0;
    for (const ReportDays::Day& day : days.days) {
        errors += day.errorCount;
        warnings += day.warningCount;
        others += day.otherCount;
    }
    return days.caption + ": " + coordinate(errors).substr(0, coordinate(errors).size() - 3) + " errors, " +
           coordinate(warnings).substr(0, coordinate(warnings).size() - 3) + " warnings, " +
           coordinate(others).substr(0, coordinate(others).size() - 3) + " others in " +
           std::to_string(days.days.size()) + " days; the table below has the numbers";
}

ReportTable dayTable(const ReportDays& days) {
    ReportTable table;
    table.columns = {{"Day"}, {"Errors", true}, {"Warnings", true}, {"Others", true}};
    for (const ReportDays::Day& day : days.days)
        table.rows.push_back({day.day, day.errors, day.warnings, day.others});
    return table;
}

// Series ----------------------------------------------------------------------------------------------------

// A line for each run of values without a gap.
std::string linesOf(const ReportSeries& series) {
    double least = 0, greatest = 0;
    bool any = false;
    for (const auto& value : series.values) {
        if (!value) continue;
        least = any ? std::min(least, *value) : *value;
        greatest = any ? std::max(greatest, *value) : *value;
        any = true;
    }
    const double range = greatest > least ? greatest - least : 1;
    std::string text, points;
    const auto end = [&] {
        if (!points.empty()) text += "<polyline points=\"" + points + "\"/>";
        points.clear();
    };
    for (std::size_t i = 0; i < series.values.size(); ++i) {
        if (!series.values[i]) {
            end();
            continue;
        }
        const double height = greatest > least ? 95 - (*series.values[i] - least) / range * 90 : 50;
        points += (points.empty() ? "" : " ") + coordinate(static_cast<double>(i)) + "," + coordinate(height);
    }
    end();
    return text;
}

// Blocks ----------------------------------------------------------------------------------------------------

class BlockPage {
public:
    std::string operator()(const ReportParagraph& block) const {
        const std::string style = classOf(block.mood);
        return "<p" + (style.empty() ? "" : " class=\"" + style + "\"") + ">" + escaped(block.text) +
               "</p>\n";
    }

    std::string operator()(const ReportFacts& block) const {
        std::string text = "<dl>\n";
        for (const auto& [label, value] : block.facts)
            text += "<dt>" + escaped(label) + "</dt><dd>" + escaped(value) + "</dd>\n";
        return text + "</dl>\n";
    }

    std::string operator()(const ReportTable& block) const {
        std::string text = "<div class=\"wide\"><table>";
        if (!block.caption.empty()) text += "<caption>" + escaped(block.caption) + "</caption>";
        text += "\n<thead><tr>";
        for (const ReportTable::Column& column : block.columns) {
            text += std::string("<th scope=\"col\"") + (column.isNumber ? " class=\"number\">" : ">") +
                    escaped(column.heading) + "</th>";
        }
        text += "</tr></thead>\n<tbody>\n";
        for (const auto& row : block.rows) {
            text += "<tr>";
            for (std::size_t i = 0; i < row.size(); ++i) {
                text += std::string("<td") + (block.columns[i].isNumber ? " class=\"number\">" : ">") +
                        escaped(row[i]) + "</td>";
            }
            text += "</tr>\n";
        }
        return text + "</tbody></table></div>\n";
    }

    std::string operator()(const ReportTree& block) const {
        std::vector<std::vector<std::size_t>> children(block.items.size());
        std::vector<std::size_t> roots;
        for (std::size_t i = 0; i < block.items.size(); ++i)
            (block.items[i].parent ? children[*block.items[i].parent] : roots).push_back(i);
        // A branch is open where a problem is below it.
        std::vector<bool> open(block.items.size());
        for (std::size_t i = block.items.size(); i-- > 0;) {
            const ReportTree::Item& item = block.items[i];
            if (!item.parent) continue;
            if (open[i] || item.mood == ReportMood::Bad) open[*item.parent] = true;
        }
        return treeItems(block, children, open, roots, /*depth=*/0);
    }

    std::string operator()(const ReportDisk& block) const {
        std::string content, edges, names;
        double begin = 0, cells = 0;
        for (const MapRegion& region : block.map.regions) cells += static_cast<double>(region.cells.size());
        for (const MapRegion& region : block.map.regions) {
            const double width = static_cast<double>(region.cells.size()) / cells * 1000;
            content += cellsOf(region, begin, width);
            begin += width;
            names +=
                "<span style=\"width:" + coordinate(width / 10) + "%\">" + nameOf(region, width) + "</span>";
            edges += "<line class=\"edge\" y1=\"0\" y2=\"10\"" + attribute("x1", begin) +
                     attribute("x2", begin) + "/>";
        }
        std::string text =
            "<figure class=\"disk\"><div class=\"names\" aria-hidden=\"true\">" + names + "</div>" +
            picture(1000, 10, "Map of " + block.name + "; the table below tells its partitions",
                    content + edges) +
            "<div class=\"key\">";
        for (const auto& [style, meaning] :
             {std::pair("use0", "free"), std::pair("use1", "up to 25 % in use"),
              std::pair("use2", "up to 50 %"), std::pair("use3", "up to 75 %"), std::pair("use4", "more"),
              std::pair("unknown", "not known")}) {
            text += std::string("<span><svg aria-hidden=\"true\" viewBox=\"0 0 1 1\">") +
                    rectangle(style, 0, 0, 1, 1) + "</svg>" + meaning + "</span>";
        }
        return text + "</div>" + (*this)(regionTable(block)) + "</figure>\n";
    }

    std::string operator()(const ReportDesktop& block) const {
        double left = 0, top = 0, right = 0, bottom = 0;
        bool any = false;
        for (const DesktopScreen& screen : block.screens) {
            const auto x = static_cast<double>(screen.x), y = static_cast<double>(screen.y);
            const auto width = static_cast<double>(screen.width), height = static_cast<double>(screen.height);
            left = any ? std::min(left, x) : x;
            top = any ? std::min(top, y) : y;
            right = any ? std::max(right, x + width) : x + width;
            bottom = any ? std::max(bottom, y + height) : y + height;
            any = true;
        }
        if (right <= left || bottom <= top) return "";
        std::string text =
            "<figure><figcaption>The desktop, to scale</figcaption><div class=\"desktop\" "
            "style=\"aspect-ratio:" +
            coordinate(right - left) + "/" + coordinate(bottom - top) + "\">\n";
        const auto percent = [](double part, double whole) { return coordinate(part / whole * 100) + "%"; };
        for (const DesktopScreen& screen : block.screens) {
            text += "<div class=\"screen\" style=\"left:" +
                    percent(static_cast<double>(screen.x) - left, right - left) +
                    ";top:" + percent(static_cast<double>(screen.y) - top, bottom - top) +
                    ";width:" + percent(static_cast<double>(screen.width), right - left) +
                    ";height:" + percent(static_cast<double>(screen.height), bottom - top) + "\"><strong>" +
                    escaped(screen.name) + "</strong>";
            for (const std::string& remark : screen.remarks) text += "<span>" + escaped(remark) + "</span>";
            text += "</div>\n";
        }
        return text + "</div></figure>\n";
    }

    std::string operator()(const ReportDays& block) const {
        std::string text =
            "<figure class=\"days\"><figcaption>" + escaped(block.caption) + "</figcaption>" +
            picture(static_cast<double>(block.days.size()), 100, describe(block), dayBars(block)) +
            "<div class=\"ends\"><span>" + escaped(block.days.front().day.plain()) + "</span><span>" +
            escaped(block.days.back().day.plain()) + "</span></div><div class=\"key\">";
        for (const char* style : {"errors", "warnings", "others"}) {
            text += std::string("<span><svg aria-hidden=\"true\" viewBox=\"0 0 1 1\">") +
                    rectangle(style, 0, 0, 1, 1) + "</svg>" + style + "</span>";
        }
        return text + "</div><details><summary>The numbers</summary>" + (*this)(dayTable(block)) +
               "</details></figure>\n";
    }

    std::string operator()(const ReportSeries& block) const {
        return "<figure class=\"series\"><figcaption>" + escaped(block.name) + "</figcaption>" +
               picture(std::max(1.0, static_cast<double>(block.values.size()) - 1), 100,
                       "How " + block.name.plain() + " went", linesOf(block)) +
               "<div class=\"soft\">last " + escaped(block.last) + ", from " + escaped(block.least) + " to " +
               escaped(block.greatest) + "</div></figure>\n";
    }

    std::string operator()(const ReportGroup& block) const {
        return std::string("<details class=\"group\"") + (block.open ? " open>" : ">") + "<summary>" +
               escaped(block.title) + "</summary><div class=\"inside\">\n" + all(block.blocks) +
               "</div></details>\n";
    }

    std::string all(const std::vector<ReportBlock>& blocks) const {
        std::string text;
        bool inCharts = false;
        for (const ReportBlock& block : blocks) {
            const bool isChart = std::holds_alternative<ReportSeries>(block);
            if (isChart && !inCharts) text += "<div class=\"charts\">\n";
            if (!isChart && inCharts) text += "</div>\n";
            inCharts = isChart;
            text += std::visit(*this, block);
        }
        return text + (inCharts ? "</div>\n" : "");
    }

private:
    static std::string itemOf(const ReportTree::Item& item) {
        std::string text = "<span class=\"item\">" + escaped(item.name) + "</span>";
        if (!item.marks.empty()) {
            text += std::string(" <span class=\"mark ") + classOf(item.mood) + "\">" + escaped(item.marks) +
                    "</span>";
        }
        return text + " <small>" + escaped(item.id) + "</small>";
    }

    std::string treeItems(const ReportTree& tree, const std::vector<std::vector<std::size_t>>& children,
                          const std::vector<bool>& open, const std::vector<std::size_t>& items,
                          unsigned depth) const {
        constexpr unsigned openLevels = 1;
        std::string text = depth == 0 ? "<ul class=\"tree\">\n" : "<ul>\n";
        for (const std::size_t i : items) {
            if (children[i].empty()) {
                text += "<li class=\"leaf\">" + itemOf(tree.items[i]) + "</li>\n";
                continue;
            }
            text += std::string("<li><details") + (depth < openLevels || open[i] ? " open>" : ">") +
                    "<summary>" + itemOf(tree.items[i]) + "</summary>\n" +
                    treeItems(tree, children, open, children[i], depth + 1) + "</details></li>\n";
        }
        return text + "</ul>\n";
    }
};

std::string toHtml(const ReportPart& part) {
    std::string text = "<section id=\"" + escaped(part.name) + "\" aria-labelledby=\"" + escaped(part.name) +
                       "-title\">\n<div class=\"head\"><h2 id=\"" + escaped(part.name) + "-title\">" +
                       escaped(part.title) + "</h2><span class=\"status " + classOf(part.mood) + "\">" +
                       escaped(part.status) + "</span><small>" + escaped(part.duration) + "</small></div>\n";
    for (const ReportText& reason : part.reasons)
        text += "<p class=\"warning\">" + escaped(reason) + "</p>\n";
    return text + BlockPage().all(part.blocks) + "</section>\n";
}

}  // namespace

std::string toHtml(const ReportLayout& layout) {
    const std::string title = escaped("Report: " + layout.title);
    std::string text =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>" +
        title + "</title>\n<style>\n" + std::string(pageStyle()) +
        "</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#content\">To the content</a>\n<header>\n<h1>" +
        title + "</h1>\n" + BlockPage()(layout.about) + "<nav aria-label=\"Sections\"><ul>\n";
    for (const ReportPart& part : layout.parts)
        text += "<li><a href=\"#" + escaped(part.name) + "\">" + escaped(part.title) + "</a></li>\n";
    text +=
        "</ul></nav>\n<button type=\"button\" id=\"unfold\">Unfold all</button>\n"
        "<button type=\"button\" id=\"fold\">Fold all</button>\n</header>\n<main id=\"content\" "
        "tabindex=\"-1\">\n"
        "<section aria-labelledby=\"attention-title\">\n<h2 id=\"attention-title\">What needs "
        "attention</h2>\n";
    if (layout.attention.empty()) text += "<p class=\"good\">Nothing that was read.</p>\n";
    if (!layout.attention.empty()) text += "<ul class=\"attention\">\n";
    for (const auto& [section, sentence] : layout.attention) {
        text += "<li class=\"bad\">" + escaped(sentence) + " <a href=\"#" + escaped(section) + "\">" +
                escaped(section) + "</a></li>\n";
    }
    if (!layout.attention.empty()) text += "</ul>\n";
    text += "</section>\n";
    for (const ReportPart& part : layout.parts) text += toHtml(part);
    return text + "</main>\n<script>\n" + std::string(pageScript()) + "</script>\n</body>\n</html>\n";
}

}  // namespace sysmira
