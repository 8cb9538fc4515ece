// The event service's subset of XPath: filters of queries and paths of values.
//
//     *[System[Provider/@Name='disk' and (EventID=7 or EventID=51)]]
//     *[System[Level<=3 and band(Keywords, 0x80) and TimeCreated[timediff(@SystemTime) <= 86400000]]]
//     *[EventData[Data[@Name='DiskFriendlyName']='Nordlicht']]
//     Event/EventData/Data[@Name='HardwareID']
//
// Child and attribute steps, * and @*, text(), predicates (also positions), or, and, parentheses,
// = != < <= > >=, texts, numbers, band, timediff and position. One side of a comparison is a literal, a
// filter has at most 20 comparisons. Anything else is no query: Microsoft's list of functions (position,
// band, timediff) has no not().
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "simulation/machine/EventLogs.h"

namespace simulation {

struct XPathExpression;

struct XPathStep {
    enum class Kind { Element, Attribute, Itself } kind = Kind::Element;
    Text name;  ///< empty: any
    std::vector<std::shared_ptr<const XPathExpression>> predicates;
};

class EventXPath {
public:
    /// Nothing when the text is no query; an empty text is none.
    static std::optional<EventXPath> parseQuery(std::u16string_view text);
    /// A path to one value, as render contexts take it.
    static std::optional<EventXPath> parsePath(std::u16string_view text);

    /// Whether it selects every event without looking at it.
    bool selectsAll() const;
    /// `now` is what timediff counts from, in FILETIME ticks.
    bool matches(const EventElement& event, ULONGLONG now) const;
    /// The first value that the path leads to; null when there is none.
    const EventValue* find(const EventElement& event, ULONGLONG now) const;

private:
    std::vector<XPathStep> m_steps;
};

}  // namespace simulation
