#include "simulation/api/EventQuery.h"

#include <algorithm>
#include <utility>

namespace simulation {

namespace {

constexpr std::u16string_view Blanks = u" \t\r\n";

struct Entity {
    std::u16string_view name;
    char16_t unit;
};
constexpr Entity entities[] = {
    {u"&lt;", u'<'}, {u"&gt;", u'>'}, {u"&amp;", u'&'}, {u"&quot;", u'"'}, {u"&apos;", u'\''}};

// Nothing when an entity is unknown.
std::optional<Text> unescaped(std::u16string_view text) {
    Text result;
    for (size_t at = 0; at < text.size();) {
        if (text[at] != u'&') {
            result += text[at++];
            continue;
        }
        const auto* const entity =
            std::find_if(std::begin(entities), std::end(entities),
                         [&](const Entity& each) { return text.substr(at, each.name.size()) == each.name; });
        if (entity == std::end(entities)) return std::nullopt;
        result += entity->unit;
        at += entity->name.size();
    }
    return result;
}

class QueryListParser {
public:
    explicit QueryListParser(std::u16string_view text) : m_text(text) {}

    bool parse(std::vector<EventSelector>& selectors) {
        if (take(u"<?xml")) {
            const size_t end = m_text.find(u"?>");
            if (end == std::u16string_view::npos) return false;
            m_text.remove_prefix(end + 2);
        }
        if (!take(u"<QueryList") || !take(u">")) return false;
        do {
            if (!query(selectors)) return false;
        } while (!take(u"</QueryList"));
        return take(u">") && (skipBlanks(), m_text.empty());
    }

private:
    void skipBlanks() { m_text.remove_prefix(std::min(m_text.find_first_not_of(Blanks), m_text.size())); }
    bool take(std::u16string_view token) {
        skipBlanks();
        if (m_text.substr(0, token.size()) != token) return false;
        m_text.remove_prefix(token.size());
        return true;
    }

    // The attributes up to the end of the tag; of these, the path counts.
    bool attributes(Text& path) {
        while (!take(u">")) {
            skipBlanks();
            const size_t equals = m_text.find(u'=');
            if (equals == std::u16string_view::npos || equals + 1 >= m_text.size()) return false;
            const std::u16string_view name = m_text.substr(0, equals);
            const char16_t quote = m_text[equals + 1];
            const size_t end = m_text.find(quote, equals + 2);
            if ((quote != u'"' && quote != u'\'') || end == std::u16string_view::npos) return false;
            const auto value = unescaped(m_text.substr(equals + 2, end - equals - 2));
            if (!value || (name != u"Id" && name != u"Path")) return false;
            if (name == u"Path") path = *value;
            m_text.remove_prefix(end + 1);
        }
        return true;
    }

    bool query(std::vector<EventSelector>& selectors) {
        Text path;
        if (!take(u"<Query") || !attributes(path)) return false;
        bool selects = false;
        while (!take(u"</Query")) {
            const bool suppresses = take(u"<Suppress");
            if (!suppresses && !take(u"<Select")) return false;
            Text own = path;
            if (!attributes(own) || own.empty()) return false;
            const size_t end = m_text.find(u'<');
            const auto text = unescaped(m_text.substr(0, end));
            const auto filter = text ? EventXPath::parseQuery(*text) : std::nullopt;
            if (!filter || end == std::u16string_view::npos) return false;
            m_text.remove_prefix(end);
            if (!take(suppresses ? u"</Suppress" : u"</Select") || !take(u">")) return false;
            selectors.push_back({own, *filter, suppresses});
            selects = selects || !suppresses;
        }
        return selects && take(u">");
    }

    std::u16string_view m_text;
};

}  // namespace

bool isStructuredQuery(std::u16string_view text) {
    const size_t begin = text.find_first_not_of(Blanks);
    return begin != std::u16string_view::npos && text[begin] == u'<';
}

std::optional<std::vector<EventSelector>> parseEventQuery(const Text& channel, std::u16string_view text) {
    std::vector<EventSelector> selectors;
    if (isStructuredQuery(text)) {
        if (!QueryListParser(text).parse(selectors)) return std::nullopt;
        return selectors;
    }
    const auto filter = EventXPath::parseQuery(text);
    if (!filter) return std::nullopt;
    selectors.push_back({channel, *filter});
    return selectors;
}

bool isSelected(const std::vector<EventSelector>& selectors, const Text& channel, const EventElement& event,
                ULONGLONG now) {
    bool selected = false;
    for (const EventSelector& each : selectors) {
        if (!equalNoCase(each.channel, channel)) continue;
        if (!each.filter.selectsAll() && !each.filter.matches(event, now)) continue;
        if (each.suppresses) return false;
        selected = true;
    }
    return selected;
}

}  // namespace simulation
