#include "simulation/api/Wql.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <variant>

namespace simulation {

namespace {

// Deeper conditions than this are refused; each level costs the evaluator a stack frame.
constexpr unsigned DeepestNesting = 64;

// A long double holds every 64-bit integer exactly.
using Number = long double;
using Constant = std::variant<std::monostate, bool, Number, Text>;

enum class Relation { Equal, NotEqual, Less, Greater, LessOrEqual, GreaterOrEqual, Like, IsA };

struct Token {
    enum class Kind { Word, Quoted, Numeral, Sign, End, Mistake } kind = Kind::End;
    Text text;  // of a sign too
    Number number = 0;
};

bool isDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }
bool isWordUnit(char16_t unit) {
    return unit == u'_' || isDigit(unit) || (upper(unit) >= u'A' && upper(unit) <= u'Z') || unit >= 0x80;
}

std::optional<Number> parseNumber(std::u16string_view text) {
    const bool negative = !text.empty() && text[0] == u'-';
    if (!text.empty() && (negative || text[0] == u'+')) text.remove_prefix(1);
    if (text.empty() || text.size() > 64 || !(isDigit(text[0]) || text[0] == u'.')) return std::nullopt;
    std::string narrow;
    for (const char16_t unit : text) {
        if (unit >= 0x80) return std::nullopt;
        narrow += static_cast<char>(unit);
    }
    char* end = nullptr;
    const Number value = std::strtold(narrow.c_str(), &end);
    if (*end != '\0') return std::nullopt;
    return negative ? -value : value;
}

class Scanner {
public:
    explicit Scanner(std::u16string_view text) : m_text(text) {}

    Token next() {
        while (m_at < m_text.size() &&
               (m_text[m_at] == u' ' || (m_text[m_at] >= u'\t' && m_text[m_at] <= u'\r'))) {
            ++m_at;
        }
        if (m_at == m_text.size()) return {};
        const char16_t unit = m_text[m_at];
        if (unit == u'"' || unit == u'\'') return quoted();
        const bool sign = unit == u'-' || unit == u'+';
        const bool digitFollows = m_at + 1 < m_text.size() && isDigit(m_text[m_at + 1]);
        if (isDigit(unit) || ((sign || unit == u'.') && digitFollows)) return number();
        if (isWordUnit(unit)) return word();
        return this->sign();
    }

private:
    Token quoted() {
        const char16_t quote = m_text[m_at++];
        Token token{Token::Kind::Quoted, {}, 0};
        for (; m_at < m_text.size(); ++m_at) {
            if (m_text[m_at] == quote) {
                ++m_at;
                return token;
            }
            if (isEscape()) ++m_at;
            token.text += m_text[m_at];
        }
        return {Token::Kind::Mistake, {}, 0};
    }

    // A backslash escapes backslashes and quotes alone; before anything else it is itself.
    bool isEscape() const {
        if (m_text[m_at] != u'\\' || m_at + 1 == m_text.size()) return false;
        const char16_t next = m_text[m_at + 1];
        return next == u'\\' || next == u'"' || next == u'\'';
    }

    Token number() {
        const size_t begin = m_at++;
        while (m_at < m_text.size() &&
               (isWordUnit(m_text[m_at]) || m_text[m_at] == u'.' || isExponentSign())) {
            ++m_at;
        }
        const auto value = parseNumber(m_text.substr(begin, m_at - begin));
        return value ? Token{Token::Kind::Numeral, {}, *value} : Token{Token::Kind::Mistake, {}, 0};
    }
    bool isExponentSign() const {
        return (m_text[m_at] == u'-' || m_text[m_at] == u'+') && upper(m_text[m_at - 1]) == u'E';
    }

    Token word() {
        const size_t begin = m_at;
        while (m_at < m_text.size() && isWordUnit(m_text[m_at])) ++m_at;
        return {Token::Kind::Word, Text(m_text.substr(begin, m_at - begin)), 0};
    }

    Token sign() {
        for (const std::u16string_view two : {u"<>", u"!=", u"<=", u">="}) {
            if (m_text.substr(m_at, 2) == two) {
                m_at += 2;
                return {Token::Kind::Sign, Text(two), 0};
            }
        }
        return {Token::Kind::Sign, Text(1, m_text[m_at++]), 0};
    }

    std::u16string_view m_text;
    size_t m_at = 0;
};

}  // namespace

struct WqlCondition {
    enum class Kind { All, Any, Not, Comparison } kind = Kind::Comparison;
    std::vector<WqlCondition> parts;  // of All, Any and Not
    std::vector<Text> property;       // "TargetInstance", "Name"
    Relation relation = Relation::Equal;
    Constant constant;
};

namespace {

class Parser {
public:
    explicit Parser(std::u16string_view text) : m_scanner(text) { advance(); }

    std::optional<WqlQuery> parse() {
        WqlQuery query;
        if (!keyword(u"select") || !properties(query.properties) || !keyword(u"from") ||
            !word(query.className)) {
            return std::nullopt;
        }
        if (keyword(u"within")) {
            if (m_token.kind != Token::Kind::Numeral || m_token.number < 0 || m_token.number > 1e9L) {
                return std::nullopt;
            }
            query.within = static_cast<double>(m_token.number);
            advance();
        }
        if (keyword(u"where")) {
            WqlCondition condition;
            if (!any(condition, 0)) return std::nullopt;
            query.where = std::make_shared<const WqlCondition>(std::move(condition));
        }
        if (m_token.kind != Token::Kind::End) return std::nullopt;
        return query;
    }

private:
    void advance() { m_token = m_scanner.next(); }
    bool isKeyword(std::u16string_view text) const {
        return m_token.kind == Token::Kind::Word && equalNoCase(m_token.text, text);
    }
    bool keyword(std::u16string_view text) {
        if (!isKeyword(text)) return false;
        advance();
        return true;
    }
    bool sign(std::u16string_view text) {
        if (m_token.kind != Token::Kind::Sign || m_token.text != text) return false;
        advance();
        return true;
    }
    bool word(Text& text) {
        static constexpr std::u16string_view reserved[] = {u"select", u"from", u"where", u"and",
                                                           u"or",     u"not",  u"like",  u"is",
                                                           u"isa",    u"null", u"true",  u"false"};
        if (m_token.kind != Token::Kind::Word || isDigit(m_token.text[0])) return false;
        for (const auto each : reserved) {
            if (isKeyword(each)) return false;
        }
        text = m_token.text;
        advance();
        return true;
    }

    bool properties(std::vector<Text>& names) {
        if (sign(u"*")) return true;
        do {
            if (!word(names.emplace_back())) return false;
        } while (sign(u","));
        return true;
    }

    bool any(WqlCondition& condition, unsigned depth) {
        return joined(condition, WqlCondition::Kind::Any, u"or", depth, &Parser::all);
    }
    bool all(WqlCondition& condition, unsigned depth) {
        return joined(condition, WqlCondition::Kind::All, u"and", depth, &Parser::term);
    }
    bool joined(WqlCondition& condition, WqlCondition::Kind kind, std::u16string_view by, unsigned depth,
                bool (Parser::*part)(WqlCondition&, unsigned)) {
        if (!(this->*part)(condition, depth)) return false;
        if (!isKeyword(by)) return true;
        WqlCondition first = std::move(condition);
        condition = WqlCondition();
        condition.kind = kind;
        condition.parts.push_back(std::move(first));
        while (keyword(by)) {
            if (!(this->*part)(condition.parts.emplace_back(), depth)) return false;
        }
        return true;
    }

    bool term(WqlCondition& condition, unsigned depth) {
        if (depth == DeepestNesting) return false;
        if (keyword(u"not")) {
            condition.kind = WqlCondition::Kind::Not;
            return term(condition.parts.emplace_back(), depth + 1);
        }
        if (sign(u"(")) return any(condition, depth + 1) && sign(u")");
        return comparison(condition);
    }

    bool comparison(WqlCondition& condition) {
        if (constant(condition.constant)) {
            // Turned round: 5 < Size is Size > 5.
            if (!relation(condition.relation) || condition.relation >= Relation::Like) return false;
            switch (condition.relation) {
                case Relation::Less:
                    condition.relation = Relation::Greater;
                    break;
                case Relation::Greater:
                    condition.relation = Relation::Less;
                    break;
                case Relation::LessOrEqual:
                    condition.relation = Relation::GreaterOrEqual;
                    break;
                case Relation::GreaterOrEqual:
                    condition.relation = Relation::LessOrEqual;
                    break;
                default:
                    break;
            }
            return property(condition.property) && isSensible(condition);
        }
        if (!property(condition.property)) return false;
        if (keyword(u"is")) {
            condition.relation = keyword(u"not") ? Relation::NotEqual : Relation::Equal;
            return keyword(u"null");
        }
        return relation(condition.relation) && constant(condition.constant) && isSensible(condition);
    }

    bool property(std::vector<Text>& path) {
        do {
            if (!word(path.emplace_back())) return false;
        } while (sign(u"."));
        return path.size() <= DeepestNesting;
    }

    bool relation(Relation& relation) {
        static constexpr std::pair<std::u16string_view, Relation> signs[] = {
            {u"=", Relation::Equal},          {u"<>", Relation::NotEqual}, {u"!=", Relation::NotEqual},
            {u"<", Relation::Less},           {u">", Relation::Greater},   {u"<=", Relation::LessOrEqual},
            {u">=", Relation::GreaterOrEqual}};
        for (const auto& [text, value] : signs) {
            relation = value;
            if (sign(text)) return true;
        }
        relation = Relation::Like;
        if (keyword(u"like")) return true;
        relation = Relation::IsA;
        return keyword(u"isa");
    }

    bool constant(Constant& value) {
        if (m_token.kind == Token::Kind::Quoted) {
            value = m_token.text;
        } else if (m_token.kind == Token::Kind::Numeral) {
            value = m_token.number;
        } else if (isKeyword(u"true") || isKeyword(u"false")) {
            value = isKeyword(u"true");
        } else if (isKeyword(u"null")) {
            value = std::monostate();
        } else {
            return false;
        }
        advance();
        return true;
    }

    // Null is only equal or not; patterns and classes are texts.
    static bool isSensible(const WqlCondition& condition) {
        if (condition.relation == Relation::Equal || condition.relation == Relation::NotEqual) return true;
        if (condition.relation == Relation::Like || condition.relation == Relation::IsA) {
            return std::holds_alternative<Text>(condition.constant);
        }
        return !std::holds_alternative<std::monostate>(condition.constant);
    }

    Scanner m_scanner;
    Token m_token;
};

bool isTextType(CIMTYPE type) { return type == CIM_STRING || type == CIM_DATETIME || type == CIM_REFERENCE; }
bool isRealType(CIMTYPE type) { return type == CIM_REAL32 || type == CIM_REAL64; }
bool isSignedType(CIMTYPE type) {
    return type == CIM_SINT8 || type == CIM_SINT16 || type == CIM_SINT32 || type == CIM_SINT64;
}

Number numberOf(CIMTYPE type, const WmiItem& item) {
    if (isRealType(type)) return item.real;
    if (isSignedType(type)) return static_cast<long long>(item.number);
    return item.number;
}

// The constant as a number, the way WMI compares numbers with it: texts that are numbers count.
std::optional<Number> numberOf(const Constant& constant) {
    if (const auto* number = std::get_if<Number>(&constant)) return *number;
    if (const auto* truth = std::get_if<bool>(&constant)) return *truth ? 1 : 0;
    if (const auto* text = std::get_if<Text>(&constant)) return parseNumber(*text);
    return std::nullopt;
}

std::optional<bool> truthOf(const Constant& constant) {
    if (const auto* text = std::get_if<Text>(&constant)) {
        if (equalNoCase(*text, u"true")) return true;
        if (equalNoCase(*text, u"false")) return false;
    }
    const auto number = numberOf(constant);
    return number ? std::optional(*number != 0) : std::nullopt;
}

Text textOf(const Constant& constant) {
    if (const auto* text = std::get_if<Text>(&constant)) return *text;
    if (const auto* truth = std::get_if<bool>(&constant)) return *truth ? u"TRUE" : u"FALSE";
    const Number number = std::get<Number>(constant);
    WmiItem item;
    item.number = static_cast<ULONGLONG>(std::clamp<Number>(number, 0, 18446744073709551615.0L));
    item.real = static_cast<double>(number);
    return plainText(number == static_cast<Number>(item.number) ? CIM_UINT64 : CIM_REAL64, item);
}

template <class Value>
bool holds(Relation relation, const Value& one, const Value& other) {
    switch (relation) {
        case Relation::Equal:
            return !(one < other) && !(other < one);
        case Relation::NotEqual:
            return one < other || other < one;
        case Relation::Less:
            return one < other;
        case Relation::Greater:
            return other < one;
        case Relation::LessOrEqual:
            return !(other < one);
        case Relation::GreaterOrEqual:
            return !(one < other);
        default:
            return false;
    }
}

struct Found {
    CIMTYPE type = CIM_EMPTY;
    WmiValue value;
};

// A property, perhaps of an object inside.
std::optional<Found> findProperty(const WmiNamespaceModel& model, const WmiObjectData& object,
                                  const std::vector<Text>& path) {
    if (path.size() == 1 && equalNoCase(path[0], u"__CLASS")) return Found{CIM_STRING, object.className};
    if (path.size() == 1 && equalNoCase(path[0], u"__this")) return Found{CIM_OBJECT, instanceOf(object)};
    const auto* const first = object.find(path[0]);
    if (first == nullptr) return std::nullopt;
    Found found{first->type, first->value};
    for (size_t i = 1; i < path.size(); ++i) {
        if (found.type != CIM_OBJECT || found.value.null || found.value.items[0].object == nullptr) {
            return std::nullopt;
        }
        const WmiObjectData inner = dataOfInstance({}, model, *found.value.items[0].object);
        const auto* const next = inner.find(path[i]);
        if (next == nullptr) return std::nullopt;
        found = {next->type, next->value};
    }
    return found;
}

bool compare(const WmiNamespaceModel& model, const WqlCondition& condition, const Found& found) {
    const Constant& constant = condition.constant;
    const bool null = found.value.null || found.value.items.empty();
    if (std::holds_alternative<std::monostate>(constant))
        return null == (condition.relation == Relation::Equal);
    if (null) return false;  // equal to nothing, unequal to nothing
    const WmiItem& item = found.value.items[0];
    if (condition.relation == Relation::IsA) {
        return item.object != nullptr && model.isA(item.object->className, std::get<Text>(constant));
    }
    if (condition.relation == Relation::Like) return matchesWqlPattern(item.text, std::get<Text>(constant));
    if (found.type == CIM_BOOLEAN) {
        const auto truth = truthOf(constant);
        return truth && holds(condition.relation, item.number != 0, *truth);
    }
    if (isTextType(found.type)) return holds(condition.relation, upper(item.text), upper(textOf(constant)));
    const auto number = numberOf(constant);
    return number && holds(condition.relation, numberOf(found.type, item), *number);
}

bool matches(const WmiNamespaceModel& model, const WmiObjectData& object, const WqlCondition& condition) {
    const auto holdsFor = [&](const WqlCondition& part) { return matches(model, object, part); };
    switch (condition.kind) {
        case WqlCondition::Kind::All:
            return std::all_of(condition.parts.begin(), condition.parts.end(), holdsFor);
        case WqlCondition::Kind::Any:
            return std::any_of(condition.parts.begin(), condition.parts.end(), holdsFor);
        case WqlCondition::Kind::Not:
            return !holdsFor(condition.parts[0]);
        case WqlCondition::Kind::Comparison:
            break;
    }
    const auto found = findProperty(model, object, condition.property);
    return found && compare(model, condition, *found);
}

// Whether a value of this type can be compared so.
bool isComparable(CIMTYPE type, const WqlCondition& condition) {
    if (std::holds_alternative<std::monostate>(condition.constant)) return true;
    if (condition.relation == Relation::IsA) return type == CIM_OBJECT;
    if (condition.relation == Relation::Like) return isTextType(type);
    if ((type & CIM_FLAG_ARRAY) != 0 || type == CIM_OBJECT) return false;
    if (isTextType(type)) return true;
    if (type == CIM_BOOLEAN) return truthOf(condition.constant).has_value();
    return numberOf(condition.constant).has_value();
}

bool isSystemName(std::u16string_view name) { return name.substr(0, 2) == u"__"; }

const WmiProperty* findIn(const std::vector<WmiProperty>& properties, std::u16string_view name) {
    for (const WmiProperty& property : properties) {
        if (equalNoCase(property.name, name)) return &property;
    }
    return nullptr;
}

bool fits(const std::vector<WmiProperty>& properties, const WqlCondition& condition) {
    if (condition.kind != WqlCondition::Kind::Comparison) {
        return std::all_of(condition.parts.begin(), condition.parts.end(),
                           [&](const WqlCondition& part) { return fits(properties, part); });
    }
    const Text& name = condition.property[0];
    if (equalNoCase(name, u"__CLASS"))
        return condition.property.size() == 1 && isComparable(CIM_STRING, condition);
    if (equalNoCase(name, u"__this"))
        return condition.property.size() == 1 && isComparable(CIM_OBJECT, condition);
    const WmiProperty* const property = findIn(properties, name);
    if (property == nullptr) return false;
    if (condition.property.size() > 1) return property->type == CIM_OBJECT;
    return isComparable(property->type, condition);
}

}  // namespace

bool WqlQuery::fits(const WmiNamespaceModel& model, const WmiClass& wmiClass) const {
    const std::vector<WmiProperty> known = model.allProperties(wmiClass);
    for (const Text& name : properties) {
        if (!isSystemName(name) && findIn(known, name) == nullptr) return false;
    }
    return where == nullptr || simulation::fits(known, *where);
}

bool WqlQuery::matches(const WmiNamespaceModel& model, const WmiObjectData& object) const {
    return where == nullptr || simulation::matches(model, object, *where);
}

WmiObjectData WqlQuery::project(WmiObjectData object, bool locatable) const {
    if (properties.empty()) return object;
    std::vector<WmiObjectData::Property> kept;
    bool addressable = locatable;
    const auto isWanted = [&](const Text& name) {
        return std::any_of(properties.begin(), properties.end(),
                           [&](const Text& each) { return equalNoCase(each, name); });
    };
    for (const Text& name : properties) addressable |= isSystemName(name);
    for (auto& property : object.properties) {
        if (isWanted(property.name)) kept.push_back(std::move(property));
    }
    object.properties = std::move(kept);
    // A part of an object has no path unless the caller asks for it (Microsoft, WBEM_FLAG_ENSURE_LOCATABLE),
    // and no superclasses.
    if (!addressable) object.path.reset();
    object.ancestors.clear();
    return object;
}

std::optional<WqlQuery> parseWql(std::u16string_view text) { return Parser(text).parse(); }

namespace {

struct PatternStep {
    bool matches = false;
    size_t length = 1;  // of the pattern
};

// One step of a pattern other than %: a character, _ or a set. A set that is not closed is its bracket.
PatternStep step(std::u16string_view pattern, char16_t unit) {
    const char16_t wanted = upper(unit);
    if (pattern[0] == u'_') return {true, 1};
    const size_t close = pattern[0] == u'[' ? pattern.find(u']', 1) : Text::npos;
    if (close == Text::npos) return {upper(pattern[0]) == wanted, 1};
    const bool inverted = pattern[1] == u'^';
    bool found = false;
    for (size_t i = inverted ? 2 : 1; i < close; ++i) {
        const bool range = i + 2 < close && pattern[i + 1] == u'-';
        const char16_t last = range ? pattern[i + 2] : pattern[i];
        found |= wanted >= upper(pattern[i]) && wanted <= upper(last);
        if (range) i += 2;
    }
    return {found != inverted, close + 1};
}

}  // namespace

bool matchesWqlPattern(std::u16string_view text, std::u16string_view pattern) {
    // Where to go on after a mismatch: behind the last %, one character further on in the text.
    size_t at = 0, place = 0;
    size_t retryAt = Text::npos, retryPlace = 0;
    while (at < text.size() || place < pattern.size()) {
        if (place < pattern.size() && pattern[place] == u'%') {
            retryPlace = ++place;
            retryAt = at;
            continue;
        }
        if (place < pattern.size() && at < text.size()) {
            const PatternStep found = step(pattern.substr(place), text[at]);
            if (found.matches) {
                ++at;
                place += found.length;
                continue;
            }
        }
        if (retryAt == Text::npos || retryAt == text.size()) return false;
        at = ++retryAt;
        place = retryPlace;
    }
    return true;
}

}  // namespace simulation
