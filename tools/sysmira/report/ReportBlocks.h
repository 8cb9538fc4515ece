// What stands in the report, without saying how it looks: text and page are made of the same blocks.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tools/sysmira/displays/DesktopPicture.h"
#include "tools/sysmira/storage/DriveMap.h"

namespace sysmira {

/// A stretch of a text, and where in the report's document it comes from.
struct ReportSpan {
    std::string text;     ///< printable
    std::string pointer;  ///< JSON Pointer; empty: the text is the report's own
    std::string value;    ///< of a number: as the document has it
};

class ReportText {
public:
    ReportText() = default;
    ReportText(const char* text) : ReportText(std::string(text)) {}
    ReportText(std::string text) { m_spans.push_back({std::move(text), "", ""}); }
    ReportText(ReportSpan span) { m_spans.push_back(std::move(span)); }

    ReportText& operator+=(const ReportText& more) {
        m_spans.insert(m_spans.end(), more.m_spans.begin(), more.m_spans.end());
        return *this;
    }
    friend ReportText operator+(ReportText one, const ReportText& other) { return one += other; }

    const std::vector<ReportSpan>& spans() const { return m_spans; }
    std::string plain() const {
        std::string text;
        for (const ReportSpan& span : m_spans) text += span.text;
        return text;
    }
    bool empty() const { return plain().empty(); }

private:
    std::vector<ReportSpan> m_spans;
};

enum class ReportMood { Plain, Good, Warning, Bad };

struct ReportParagraph {
    ReportText text;  ///< its lines parted by "\n"
    ReportMood mood = ReportMood::Plain;
};

struct ReportFacts {
    std::vector<std::pair<std::string, ReportText>> facts;
    void add(std::string label, ReportText value) { facts.emplace_back(std::move(label), std::move(value)); }
};

struct ReportTable {
    struct Column {
        std::string heading;
        bool isNumber = false;
    };
    std::string caption;
    std::vector<Column> columns;
    std::vector<std::vector<ReportText>> rows;
};

struct ReportTree {
    struct Item {
        ReportText name;
        ReportText id;
        std::string marks;  ///< "hidden", "problem 28"; may be empty
        ReportMood mood = ReportMood::Plain;
        std::optional<std::size_t> parent;  ///< its index, less than the item's own
    };
    std::vector<Item> items;
};

struct ReportDisk {
    std::string name;
    DriveMap map;
    std::string pointer;  ///< of the map
};

struct ReportDesktop {
    std::vector<DesktopScreen> screens;
};

/// A column a day.
struct ReportDays {
    struct Day {
        ReportText day, errors, warnings, others;
        double errorCount = 0, warningCount = 0, otherCount = 0;
    };
    std::string caption;
    std::vector<Day> days;
};

/// How a number went.
struct ReportSeries {
    ReportText name;
    ReportText last, least, greatest;
    std::vector<std::optional<double>> values;
};

struct ReportGroup;
using ReportBlock = std::variant<ReportParagraph, ReportFacts, ReportTable, ReportTree, ReportDisk,
                                 ReportDesktop, ReportDays, ReportSeries, ReportGroup>;

/// Blocks under a heading, which may be folded.
struct ReportGroup {
    ReportText title;
    bool open = false;  ///< at the beginning
    std::vector<ReportBlock> blocks;
};

struct ReportPart {
    std::string name, title;
    std::string status;  ///< in words: "complete", "not supported here"
    ReportMood mood = ReportMood::Plain;
    std::string duration;  ///< "12 ms"
    std::vector<ReportText> reasons;
    std::vector<ReportBlock> blocks;
};

struct ReportLayout {
    std::string title;
    ReportFacts about;
    std::vector<std::pair<std::string, ReportText>> attention;  ///< the section's name, and what about it
    std::vector<ReportPart> parts;
};

}  // namespace sysmira
