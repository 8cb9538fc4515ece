#include "simulation/api/WqlAssociations.h"

#include <algorithm>

namespace simulation {

namespace {

// Takes words, signs and the path in braces from the front of a query.
class ClauseReader {
public:
    explicit ClauseReader(std::u16string_view text) : m_text(text) { skipBlanks(); }

    bool atEnd() const { return m_text.empty(); }
    Text word() {
        const auto isPart = [](char16_t unit) {
            return unit == u'_' || (unit >= u'0' && unit <= u'9') ||
                   (upper(unit) >= u'A' && upper(unit) <= u'Z');
        };
        const auto end = std::find_if_not(m_text.begin(), m_text.end(), isPart);
        return take(static_cast<std::size_t>(end - m_text.begin()));
    }
    bool keyword(std::u16string_view text) { return equalNoCase(word(), text); }
    bool sign(char16_t unit) {
        if (m_text.empty() || m_text[0] != unit) return false;
        take(1);
        return true;
    }
    // Braces within a quoted key belong to the path.
    bool path(Text& path) {
        if (!sign(u'{')) return false;
        char16_t quote = 0;
        for (std::size_t i = 0; i < m_text.size(); ++i) {
            const char16_t unit = m_text[i];
            if (quote != 0) {
                if (unit == u'\\') ++i;
                if (unit == quote) quote = 0;
            } else if (unit == u'"' || unit == u'\'') {
                quote = unit;
            } else if (unit == u'}') {
                path = take(i);
                return sign(u'}') && !path.empty();
            }
        }
        return false;
    }

private:
    Text take(std::size_t count) {
        Text taken(m_text.substr(0, count));
        m_text.remove_prefix(count);
        skipBlanks();
        return taken;
    }
    void skipBlanks() {
        const std::size_t first = m_text.find_first_not_of(u" \t\r\n");
        m_text.remove_prefix(std::min(first, m_text.size()));
    }

    std::u16string_view m_text;
};

bool readClause(ClauseReader& reader, AssociationQuery& query) {
    const Text name = reader.word();
    if (equalNoCase(name, u"KeysOnly")) return true;
    Text* value = nullptr;
    if (equalNoCase(name, u"ResultClass")) value = &query.resultClass;
    if (equalNoCase(name, u"Role")) value = &query.role;
    if (query.associators && equalNoCase(name, u"AssocClass")) value = &query.associationClass;
    if (query.associators && equalNoCase(name, u"ResultRole")) value = &query.resultRole;
    if (value == nullptr || !value->empty() || !reader.sign(u'=')) return false;
    *value = reader.word();
    return !value->empty();
}

struct Reference {
    Text role;
    const WmiInstance* target;
};

std::vector<Reference> referencesOf(const WmiNamespaceModel& model, const WmiInstance& association) {
    std::vector<Reference> found;
    for (const auto& property : dataOfInstance({}, model, association).properties) {
        if (property.type != CIM_REFERENCE || property.value.null || property.value.items.empty()) continue;
        const auto path = parseWmiPath(property.value.items[0].text);
        const WmiInstance* const target = path && !path->isClass ? findInstance(model, *path) : nullptr;
        if (target != nullptr) found.push_back({property.name, target});
    }
    return found;
}

bool fitsName(const Text& wanted, const Text& name) { return wanted.empty() || equalNoCase(wanted, name); }
bool fitsClass(const WmiNamespaceModel& model, const Text& wanted, const WmiInstance& instance) {
    return wanted.empty() || model.isA(instance.className, wanted);
}

}  // namespace

std::vector<const WmiInstance*> AssociationQuery::run(const WmiNamespaceModel& model,
                                                      const WmiInstance& start) const {
    std::vector<const WmiInstance*> results;
    const auto add = [&](const WmiInstance& result) {
        if (fitsClass(model, resultClass, result) &&
            std::find(results.begin(), results.end(), &result) == results.end())
            results.push_back(&result);
    };
    for (const WmiInstance& association : model.instances) {
        if (!fitsClass(model, associationClass, association)) continue;
        const std::vector<Reference> references = referencesOf(model, association);
        const auto begins = [&](const Reference& each) {
            return each.target == &start && fitsName(role, each.role);
        };
        if (std::none_of(references.begin(), references.end(), begins)) continue;
        if (!associators) add(association);
        for (const Reference& each : references) {
            if (associators && each.target != &start && fitsName(resultRole, each.role)) add(*each.target);
        }
    }
    return results;
}

std::optional<AssociationQuery> parseAssociationQuery(std::u16string_view text) {
    ClauseReader reader(text);
    AssociationQuery query;
    const Text kind = reader.word();
    query.associators = equalNoCase(kind, u"associators");
    if (!query.associators && !equalNoCase(kind, u"references")) return std::nullopt;
    if (!reader.keyword(u"of") || !reader.path(query.path)) return std::nullopt;
    if (reader.atEnd()) return query;
    if (!reader.keyword(u"where") || reader.atEnd()) return std::nullopt;
    while (!reader.atEnd()) {
        if (!readClause(reader, query)) return std::nullopt;
    }
    return query;
}

}  // namespace simulation
