#include "simulation/api/EventXPath.h"

#include <algorithm>
#include <cmath>

namespace simulation {

namespace {

enum class Operator { Equal, Unequal, Less, LessOrEqual, Greater, GreaterOrEqual };

// Microsoft, Consuming Events: an XPath query has at most 20 expressions.
constexpr size_t MostComparisons = 20;
constexpr unsigned DeepestNesting = 32;

}  // namespace

// A number keeps every 64-bit integer.
using XPathNumber = long double;

struct XPathExpression {
    enum class Kind { Or, And, Compare, Exists, Position, Band, TimeDiff, Literal, Number };
    Kind kind = Kind::Literal;
    // Or, And: all of them; Compare: left and right.
    std::vector<std::shared_ptr<const XPathExpression>> parts;
    Operator comparison = Operator::Equal;
    // Exists: the path itself; Band and TimeDiff: that of the first argument.
    std::vector<XPathStep> path;
    XPathNumber number = 0;  // Number, and the mask of Band
    Text literal;
};

namespace {

using Kind = XPathExpression::Kind;
using Expression = std::shared_ptr<const XPathExpression>;

std::optional<ULONGLONG> parseTicks(std::u16string_view text) {
    // "2026-02-03T04:05:06", with or without a fraction, with or without Z.
    constexpr std::u16string_view pattern = u"dddd-dd-ddTdd:dd:dd";
    if (text.size() < pattern.size()) return std::nullopt;
    unsigned parts[6] = {};
    size_t part = 0;
    for (size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] != u'd') {
            if (text[at] != pattern[at]) return std::nullopt;
            ++part;
        } else if (text[at] < u'0' || text[at] > u'9') {
            return std::nullopt;
        } else {
            parts[part] = parts[part] * 10 + (text[at] - u'0');
        }
    }
    std::u16string_view rest = text.substr(pattern.size());
    ULONGLONG fraction = 0;
    if (!rest.empty() && rest[0] == u'.') {
        ULONGLONG unit = 1000000;
        size_t at = 1;
        for (; at < rest.size() && rest[at] >= u'0' && rest[at] <= u'9'; ++at, unit /= 10) {
            fraction += (rest[at] - u'0') * unit;
        }
        rest = rest.substr(at);
    }
    if (!rest.empty() && rest != u"Z") return std::nullopt;
    SYSTEMTIME time = {};
    const auto [year, month, day, hour, minute, second] = parts;
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    const auto ticks = ticksOf(time);
    if (!ticks) return std::nullopt;
    return *ticks + fraction;
}

std::optional<XPathNumber> parseNumber(std::u16string_view text) {
    const bool hexadecimal = text.size() > 2 && text[0] == u'0' && (text[1] == u'x' || text[1] == u'X');
    if (hexadecimal) {
        if (text.size() > 18) return std::nullopt;
        ULONGLONG value = 0;
        for (const char16_t unit : text.substr(2)) {
            const char16_t letter = upper(unit);
            if (letter >= u'0' && letter <= u'9') {
                value = value * 16 + (letter - u'0');
            } else if (letter >= u'A' && letter <= u'F') {
                value = value * 16 + (letter - u'A' + 10);
            } else {
                return std::nullopt;
            }
        }
        return static_cast<XPathNumber>(value);
    }
    XPathNumber value = 0;
    XPathNumber unit = 0;  // of the digit behind a point
    bool digits = false;
    for (const char16_t each : text) {
        if (each == u'.' && unit == 0) {
            unit = 1;
        } else if (each < u'0' || each > u'9') {
            return std::nullopt;
        } else {
            digits = true;
            if (unit != 0) unit /= 10;
            value = unit == 0 ? value * 10 + (each - u'0') : value + unit * (each - u'0');
        }
    }
    if (!digits) return std::nullopt;
    return value;
}

class Parser {
public:
    explicit Parser(std::u16string_view text) : m_text(text) {}

    bool parse(std::vector<XPathStep>& steps) {
        return path(steps, 0) && (skipBlanks(), m_at == m_text.size());
    }

private:
    static bool isBlank(char16_t unit) {
        return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
    }
    static bool beginsName(char16_t unit) {
        return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || unit == u'_' ||
               unit >= 0x80;
    }
    static bool continuesName(char16_t unit) {
        return beginsName(unit) || (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'.';
    }

    void skipBlanks() {
        while (m_at < m_text.size() && isBlank(m_text[m_at])) ++m_at;
    }
    char16_t peek() {
        skipBlanks();
        return m_at < m_text.size() ? m_text[m_at] : u'\0';
    }
    bool take(std::u16string_view token) {
        skipBlanks();
        if (m_text.substr(m_at, token.size()) != token) return false;
        m_at += token.size();
        return true;
    }
    // "and" and "or" as words of their own.
    bool takeWord(std::u16string_view word) {
        const size_t before = m_at;
        if (take(word) && (m_at == m_text.size() || !continuesName(m_text[m_at]))) return true;
        m_at = before;
        return false;
    }
    Text takeName() {
        skipBlanks();
        const size_t begin = m_at;
        if (m_at < m_text.size() && beginsName(m_text[m_at])) {
            while (m_at < m_text.size() && continuesName(m_text[m_at])) ++m_at;
        }
        return Text(m_text.substr(begin, m_at - begin));
    }
    bool takeFunction(std::u16string_view name) {
        const size_t before = m_at;
        if (takeWord(name) && take(u"(")) return true;
        m_at = before;
        return false;
    }

    bool path(std::vector<XPathStep>& steps, unsigned depth) {
        do {
            XPathStep next;
            if (take(u"@")) next.kind = XPathStep::Kind::Attribute;
            if (next.kind == XPathStep::Kind::Element && takeFunction(u"text")) {
                if (!take(u")")) return false;
                next.kind = XPathStep::Kind::Itself;
            } else if (!take(u"*")) {
                next.name = takeName();
                if (next.name.empty()) return false;
            }
            while (take(u"[")) {
                const Expression predicate = either(depth + 1);
                if (predicate == nullptr || !take(u"]") || !isPredicate(*predicate)) return false;
                next.predicates.push_back(predicate);
            }
            const bool last = next.kind != XPathStep::Kind::Element;
            steps.push_back(std::move(next));
            if (last) return peek() != u'/';
        } while (take(u"/"));
        return true;
    }

    // A number is a position; a text says nothing.
    static bool isPredicate(const XPathExpression& expression) {
        return expression.kind != Kind::Literal && expression.kind != Kind::TimeDiff;
    }

    Expression either(unsigned depth) { return joined(Kind::Or, u"or", depth); }

    Expression joined(Kind kind, std::u16string_view word, unsigned depth) {
        if (depth > DeepestNesting) return nullptr;
        auto all = std::make_shared<XPathExpression>();
        all->kind = kind;
        do {
            const Expression part = kind == Kind::Or ? joined(Kind::And, u"and", depth) : compared(depth);
            if (part == nullptr) return nullptr;
            all->parts.push_back(part);
        } while (takeWord(word));
        if (all->parts.size() == 1) return all->parts[0];
        const bool sensible = std::all_of(all->parts.begin(), all->parts.end(), [](const Expression& each) {
            return isPredicate(*each) && each->kind != Kind::Number;
        });
        return sensible ? all : nullptr;
    }

    std::optional<Operator> takeOperator() {
        if (take(u"!=")) return Operator::Unequal;
        if (take(u"<=")) return Operator::LessOrEqual;
        if (take(u">=")) return Operator::GreaterOrEqual;
        if (take(u"=")) return Operator::Equal;
        if (take(u"<")) return Operator::Less;
        if (take(u">")) return Operator::Greater;
        return std::nullopt;
    }

    static bool isLiteral(const XPathExpression& expression) {
        return expression.kind == Kind::Literal || expression.kind == Kind::Number;
    }
    static bool isComparable(const XPathExpression& expression) {
        return expression.kind == Kind::Exists || expression.kind == Kind::Position ||
               expression.kind == Kind::Band || expression.kind == Kind::TimeDiff;
    }

    Expression compared(unsigned depth) {
        Expression left = operand(depth);
        if (left == nullptr) return nullptr;
        auto comparison = takeOperator();
        if (!comparison) return left;
        Expression right = operand(depth);
        if (right == nullptr || ++m_comparisons > MostComparisons) return nullptr;
        if (isLiteral(*left)) {
            std::swap(left, right);
            comparison = mirrored(*comparison);
        }
        if (!isComparable(*left) || !isLiteral(*right)) return nullptr;
        // Texts stand beside paths alone.
        if (left->kind != Kind::Exists && right->kind != Kind::Number) return nullptr;
        auto expression = std::make_shared<XPathExpression>();
        expression->kind = Kind::Compare;
        expression->comparison = *comparison;
        expression->parts = {left, right};
        return expression;
    }

    static Operator mirrored(Operator comparison) {
        switch (comparison) {
            case Operator::Less:
                return Operator::Greater;
            case Operator::LessOrEqual:
                return Operator::GreaterOrEqual;
            case Operator::Greater:
                return Operator::Less;
            case Operator::GreaterOrEqual:
                return Operator::LessOrEqual;
            default:
                return comparison;
        }
    }

    Expression operand(unsigned depth) {
        auto expression = std::make_shared<XPathExpression>();
        if (take(u"(")) {
            const Expression inner = either(depth + 1);
            return inner != nullptr && take(u")") ? inner : nullptr;
        }
        if (takeFunction(u"position")) {
            expression->kind = Kind::Position;
            return take(u")") ? expression : nullptr;
        }
        if (takeFunction(u"band")) {
            expression->kind = Kind::Band;
            if (!path(expression->path, depth + 1) || !take(u",")) return nullptr;
            const auto mask = takeNumber();
            if (!mask || *mask > static_cast<XPathNumber>(~0ull) || !take(u")")) return nullptr;
            expression->number = *mask;
            return expression;
        }
        if (takeFunction(u"timediff")) {
            expression->kind = Kind::TimeDiff;
            return path(expression->path, depth + 1) && take(u")") ? expression : nullptr;
        }
        const char16_t first = peek();
        if (first == u'\'' || first == u'"') {
            const size_t end = m_text.find(first, m_at + 1);
            if (end == std::u16string_view::npos) return nullptr;
            expression->kind = Kind::Literal;
            expression->literal = Text(m_text.substr(m_at + 1, end - m_at - 1));
            m_at = end + 1;
            return expression;
        }
        if (const auto number = takeNumber()) {
            expression->kind = Kind::Number;
            expression->number = *number;
            return expression;
        }
        expression->kind = Kind::Exists;
        return path(expression->path, depth + 1) ? expression : nullptr;
    }

    std::optional<XPathNumber> takeNumber() {
        const char16_t first = peek();
        if (first < u'0' || first > u'9') return std::nullopt;
        size_t end = m_at;
        while (end < m_text.size() && continuesName(m_text[end])) ++end;
        const auto number = parseNumber(m_text.substr(m_at, end - m_at));
        if (number) m_at = end;
        return number;
    }

    std::u16string_view m_text;
    size_t m_at = 0;
    size_t m_comparisons = 0;
};

// An element or an attribute's value.
struct Node {
    const EventElement* element = nullptr;
    const EventValue* value = nullptr;
    size_t position = 1;  // among those that the step found
};

std::optional<XPathNumber> numberOf(const EventValue& value) {
    switch (value.type) {
        case EvtVarTypeSByte:
            return static_cast<INT8>(value.bits);
        case EvtVarTypeInt16:
            return static_cast<INT16>(value.bits);
        case EvtVarTypeInt32:
            return static_cast<INT32>(value.bits);
        case EvtVarTypeInt64:
            return static_cast<INT64>(value.bits);
        case EvtVarTypeByte:
        case EvtVarTypeUInt16:
        case EvtVarTypeUInt32:
        case EvtVarTypeUInt64:
        case EvtVarTypeSizeT:
        case EvtVarTypeHexInt32:
        case EvtVarTypeHexInt64:
            return static_cast<XPathNumber>(value.bits);
        case EvtVarTypeSingle:
        case EvtVarTypeDouble:
            return value.real;
        case EvtVarTypeString:
            return parseNumber(value.text);
        default:
            return std::nullopt;
    }
}

template <class Value>
bool holds(const Value& left, Operator comparison, const Value& right) {
    switch (comparison) {
        case Operator::Equal:
            return left == right;
        case Operator::Unequal:
            return left != right;
        case Operator::Less:
            return left < right;
        case Operator::LessOrEqual:
            return left <= right;
        case Operator::Greater:
            return left > right;
        case Operator::GreaterOrEqual:
            return left >= right;
    }
    return false;
}

bool isTime(const EventValue& value) {
    return value.type == EvtVarTypeFileTime || value.type == EvtVarTypeSysTime;
}

// The literal is read in the value's type; one that cannot be so read compares with nothing.
bool compares(const EventValue& value, Operator comparison, const XPathExpression& literal) {
    if (value.isArray()) {
        return std::any_of(value.items.begin(), value.items.end(),
                           [&](const EventValue& item) { return compares(item, comparison, literal); });
    }
    if (literal.kind == Kind::Number) {
        const auto number = numberOf(value);
        return number && holds(*number, comparison, literal.number);
    }
    if (isTime(value)) {
        const auto ticks = parseTicks(literal.literal);
        return ticks && holds(value.bits, comparison, *ticks);
    }
    const bool ordered = comparison != Operator::Equal && comparison != Operator::Unequal;
    if (value.type == EvtVarTypeNull) return false;
    if (value.type != EvtVarTypeString && numberOf(value)) {
        const auto number = parseNumber(literal.literal);
        if (number) return holds(*numberOf(value), comparison, *number);
    }
    if (ordered) return false;
    const bool equal = value.type == EvtVarTypeGuid ? equalNoCase(value.toText(), literal.literal)
                                                    : value.toText() == literal.literal;
    return equal == (comparison == Operator::Equal);
}

class Evaluation {
public:
    explicit Evaluation(ULONGLONG now) : m_now(now) {}

    // Calls visit(node) for each node that the path leads to until it says true.
    template <class Visit>
    bool any(const Node& from, const std::vector<XPathStep>& steps, size_t index, const Visit& visit) const {
        if (index == steps.size()) return visit(from);
        const XPathStep& step = steps[index];
        size_t position = 0;
        const auto follow = [&](Node node) {
            node.position = ++position;
            const bool kept =
                std::all_of(step.predicates.begin(), step.predicates.end(),
                            [&](const Expression& predicate) { return isTrue(*predicate, node); });
            return kept && any(node, steps, index + 1, visit);
        };
        if (step.kind == XPathStep::Kind::Itself) return follow(from);
        if (from.element == nullptr) return false;
        if (step.kind == XPathStep::Kind::Attribute) {
            for (const auto& [name, value] : from.element->attributes) {
                if ((step.name.empty() || name == step.name) && follow({nullptr, &value})) return true;
            }
            return false;
        }
        for (const EventElement& child : from.element->children) {
            const bool fits = step.name.empty() || child.name == step.name;
            if (fits && follow({&child, &child.value})) return true;
        }
        return false;
    }

private:
    bool isTrue(const XPathExpression& expression, const Node& node) const {
        const auto holdsHere = [&](const Expression& each) { return isTrue(*each, node); };
        switch (expression.kind) {
            case Kind::Or:
                return std::any_of(expression.parts.begin(), expression.parts.end(), holdsHere);
            case Kind::And:
                return std::all_of(expression.parts.begin(), expression.parts.end(), holdsHere);
            case Kind::Exists:
                return any(node, expression.path, 0, [](const Node&) { return true; });
            case Kind::Number:
                return static_cast<XPathNumber>(node.position) == expression.number;
            case Kind::Band:
                return compareNumber(expression, node, Operator::Unequal, 0);
            case Kind::Position:
                return true;
            case Kind::Compare:
                return compareSides(*expression.parts[0], node, expression.comparison, *expression.parts[1]);
            default:
                return false;
        }
    }

    bool compareSides(const XPathExpression& left, const Node& node, Operator comparison,
                      const XPathExpression& literal) const {
        if (left.kind != Kind::Exists) return compareNumber(left, node, comparison, literal.number);
        return any(node, left.path, 0, [&](const Node& found) {
            return found.value != nullptr && compares(*found.value, comparison, literal);
        });
    }

    bool compareNumber(const XPathExpression& left, const Node& node, Operator comparison,
                       XPathNumber number) const {
        if (left.kind == Kind::Position)
            return holds(static_cast<XPathNumber>(node.position), comparison, number);
        return any(node, left.path, 0, [&](const Node& found) {
            if (found.value == nullptr) return false;
            if (left.kind == Kind::Band) {
                const auto value = numberOf(*found.value);
                if (!value || *value < 0 || *value > static_cast<XPathNumber>(~0ull)) return false;
                const ULONGLONG bits = static_cast<ULONGLONG>(*value) & static_cast<ULONGLONG>(left.number);
                return holds(static_cast<XPathNumber>(bits), comparison, number);
            }
            if (!isTime(*found.value)) return false;
            // Milliseconds that have gone by since.
            const auto age =
                (static_cast<XPathNumber>(m_now) - static_cast<XPathNumber>(found.value->bits)) / 10000;
            return holds(age, comparison, number);
        });
    }

    ULONGLONG m_now;
};

std::optional<std::vector<XPathStep>> parseSteps(std::u16string_view text) {
    std::vector<XPathStep> steps;
    if (!Parser(text).parse(steps)) return std::nullopt;
    // The first step is the event itself.
    const XPathStep& first = steps.front();
    if (first.kind != XPathStep::Kind::Element || !(first.name.empty() || first.name == u"Event"))
        return std::nullopt;
    return steps;
}

// The step "Event" of a path looks among the children of what stands above the event.
template <class Visit>
bool visitAll(const EventElement& event, const std::vector<XPathStep>& steps, ULONGLONG now,
              const Visit& visit) {
    const Evaluation evaluation(now);
    std::vector<XPathStep> own(1);
    own[0].predicates = steps[0].predicates;
    own[0].kind = XPathStep::Kind::Itself;
    return evaluation.any({&event, &event.value}, own, 0,
                          [&](const Node& node) { return evaluation.any(node, steps, 1, visit); });
}

}  // namespace

std::optional<EventXPath> EventXPath::parseQuery(std::u16string_view text) {
    auto steps = parseSteps(text);
    if (!steps) return std::nullopt;
    EventXPath query;
    query.m_steps = std::move(*steps);
    return query;
}

std::optional<EventXPath> EventXPath::parsePath(std::u16string_view text) {
    auto steps = parseSteps(text);
    if (!steps || steps->size() < 2) return std::nullopt;
    EventXPath path;
    path.m_steps = std::move(*steps);
    return path;
}

bool EventXPath::selectsAll() const { return m_steps.size() == 1 && m_steps[0].predicates.empty(); }

bool EventXPath::matches(const EventElement& event, ULONGLONG now) const {
    return visitAll(event, m_steps, now, [](const Node&) { return true; });
}

const EventValue* EventXPath::find(const EventElement& event, ULONGLONG now) const {
    const EventValue* found = nullptr;
    visitAll(event, m_steps, now, [&](const Node& node) {
        found = node.value;
        return true;
    });
    return found;
}

}  // namespace simulation
