#include "simulation/machine/EventLogFile.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <iterator>

namespace simulation {

namespace {

struct EventTypeName {
    const char* name;
    DWORD type;
    bool isNumber;
    long long least;
    unsigned long long greatest;
};
constexpr EventTypeName Types[] = {
    {"Null", EvtVarTypeNull, false, 0, 0},
    {"String", EvtVarTypeString, false, 0, 0},
    {"AnsiString", EvtVarTypeAnsiString, false, 0, 0},
    {"SByte", EvtVarTypeSByte, true, -0x80, 0x7F},
    {"Byte", EvtVarTypeByte, true, 0, 0xFF},
    {"Int16", EvtVarTypeInt16, true, -0x8000, 0x7FFF},
    {"UInt16", EvtVarTypeUInt16, true, 0, 0xFFFF},
    {"Int32", EvtVarTypeInt32, true, -0x80000000ll, 0x7FFFFFFF},
    {"UInt32", EvtVarTypeUInt32, true, 0, 0xFFFFFFFF},
    {"Int64", EvtVarTypeInt64, true, -0x7FFFFFFFFFFFFFFFll - 1, 0x7FFFFFFFFFFFFFFF},
    {"UInt64", EvtVarTypeUInt64, true, 0, ~0ull},
    {"Single", EvtVarTypeSingle, false, 0, 0},
    {"Double", EvtVarTypeDouble, false, 0, 0},
    {"Boolean", EvtVarTypeBoolean, false, 0, 0},
    {"Binary", EvtVarTypeBinary, false, 0, 0},
    {"Guid", EvtVarTypeGuid, false, 0, 0},
    {"SizeT", EvtVarTypeSizeT, true, 0, ~0ull},
    {"FileTime", EvtVarTypeFileTime, false, 0, 0},
    {"SysTime", EvtVarTypeSysTime, false, 0, 0},
    {"Sid", EvtVarTypeSid, false, 0, 0},
    {"HexInt32", EvtVarTypeHexInt32, true, 0, 0xFFFFFFFF},
    {"HexInt64", EvtVarTypeHexInt64, true, 0, ~0ull},
    {"Xml", EvtVarTypeEvtXml, false, 0, 0},
};

const EventTypeName* typeOf(DWORD type) {
    return std::find_if(std::begin(Types), std::end(Types), [&](const EventTypeName& each) {
        return each.type == (type & EVT_VARIANT_TYPE_MASK);
    });
}

// Decimal or "0x…" of 64 bits, with a sign where it is decimal.
std::optional<long long> parseInteger(const std::string& text) {
    const bool hexadecimal = text.compare(0, 2, "0x") == 0;
    const bool negative = !text.empty() && text[0] == '-';
    const std::string digits = text.substr(hexadecimal ? 2 : negative ? 1 : 0);
    const char* const known = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    const size_t most = hexadecimal ? 16 : negative ? 18 : 19;
    if (digits.empty() || digits.size() > most || digits.find_first_not_of(known) != std::string::npos)
        return std::nullopt;
    const unsigned long long value = std::stoull(digits, nullptr, hexadecimal ? 16 : 10);
    return negative ? -static_cast<long long>(value) : static_cast<long long>(value);
}

// One occurrence of an event: its number, and a source of chance that is the same in every run.
class Occurrence {
public:
    Occurrence(unsigned long long number, unsigned long long seed)
        : m_number(number), m_state(seed * 0x9E3779B97F4A7C15ull + number) {}

    unsigned long long below(unsigned long long limit) { return limit == 0 ? 0 : next() % limit; }

    // "{n}" is the occurrence's number from 1, "{10-250}" a number of that range, "{one|two}" one of the
    // texts. Other braces stay.
    Text expand(const Text& text) {
        Text result;
        for (size_t at = 0; at < text.size();) {
            const size_t begin = text.find(u'{', at);
            const size_t end = begin == Text::npos ? Text::npos : text.find(u'}', begin);
            if (end == Text::npos) return result + text.substr(at);
            const auto replacement = replace(toUtf8(text.substr(begin + 1, end - begin - 1)));
            result += text.substr(at, begin - at);
            result += replacement ? fromUtf8(*replacement) : text.substr(begin, end + 1 - begin);
            at = end + 1;
        }
        return result;
    }

private:
    unsigned long long next() {
        m_state += 0x9E3779B97F4A7C15ull;
        unsigned long long mixed = (m_state ^ m_state >> 30) * 0xBF58476D1CE4E5B9ull;
        mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EBull;
        return mixed ^ mixed >> 31;
    }

    std::optional<std::string> replace(const std::string& inside) {
        if (inside == "n") return std::to_string(m_number + 1);
        const size_t alternatives = static_cast<size_t>(std::count(inside.begin(), inside.end(), '|'));
        if (alternatives != 0) {
            size_t chosen = below(alternatives + 1);
            size_t begin = 0;
            while (chosen-- != 0) begin = inside.find('|', begin) + 1;
            return inside.substr(begin, inside.find('|', begin) - begin);
        }
        const size_t dash = inside.find('-');
        if (dash == std::string::npos || dash == 0) return std::nullopt;
        const auto least = parseInteger(inside.substr(0, dash));
        const auto greatest = parseInteger(inside.substr(dash + 1));
        if (!least || !greatest || *least < 0 || *greatest < *least) return std::nullopt;
        return std::to_string(
            *least + static_cast<long long>(below(static_cast<unsigned long long>(*greatest - *least) + 1)));
    }

    unsigned long long m_number;
    unsigned long long m_state;
};

// Numbers written as texts keep them until they are expanded.
void settle(EventValue& value, Occurrence& occurrence) {
    for (EventValue& item : value.items) settle(item, occurrence);
    if (value.text.empty()) return;
    value.text = occurrence.expand(value.text);
    if (!typeOf(value.elementType())->isNumber) return;
    value.bits = static_cast<ULONGLONG>(parseInteger(toUtf8(value.text)).value_or(0));
    value.text.clear();
}

void settle(EventElement& element, Occurrence& occurrence) {
    settle(element.value, occurrence);
    for (EventElement& child : element.children) settle(child, occurrence);
}

class EventLogReader {
public:
    explicit EventLogReader(EventLogs& logs) : m_logs(logs) {}

    void read(const JsonPlace& place) {
        place.allowOnly({"computer", "logs", "now", "publishers"});
        if (const auto computer = place.member("computer")) m_logs.computer = computer->text();
        if (const auto now = place.member("now")) m_logs.now = now->date();
        if (const auto publishers = place.member("publishers")) {
            publishers->forEachMember("an object of publishers",
                                      [&](const std::string& name, const JsonPlace& each) {
                                          each.allowOnly({"messages"});
                                          EventPublisher& publisher = m_logs.publishers[fromUtf8(name)];
                                          if (const auto messages = each.member("messages"))
                                              publisher.messages = readMessages(*messages);
                                      });
        }
        if (const auto logs = place.member("logs")) {
            logs->forEachMember("an object of logs", [&](const std::string& name, const JsonPlace& each) {
                if (m_logs.channels.count(fromUtf8(name)) != 0)
                    each.complain("found a second description of the log, expected one");
                readLog(fromUtf8(name), each);
            });
        }
    }

private:
    // As many as the PC keeps in all: a short file must not fill the memory.
    static constexpr size_t MostEvents = 200000;

    void readLog(const Text& name, const JsonPlace& place) {
        place.allowOnly({"classic", "clearAfter", "events", "firstRecord", "millisecondsPerEvent",
                         "openError", "queryError", "rawRecords"});
        const auto classicPlace = place.member("classic");
        const bool classic = classicPlace && classicPlace->truth();
        EventChannel& channel = m_logs.channels[name];
        if (const auto error = place.member("queryError"))
            channel.queryError = static_cast<DWORD>(error->number(1, 0xFFFFFFFF, "an error code"));
        if (const auto time = place.member("millisecondsPerEvent"))
            channel.millisecondsPerEvent = time->number(0, 0x7FFFFFFF, "simulated milliseconds");
        std::vector<ChannelEvent> events;
        if (const auto list = place.member("events")) {
            list->forEachElement("a list of events",
                                 [&](const JsonPlace& each) { readEvents(each, events); });
        }
        std::vector<ChannelEvent*> ordered;
        for (ChannelEvent& event : events) ordered.push_back(&event);
        std::stable_sort(
            ordered.begin(), ordered.end(),
            [](const ChannelEvent* one, const ChannelEvent* other) { return one->time < other->time; });
        const auto first = place.member("firstRecord");
        if (first && !ordered.empty())
            ordered[0]->record = first->number(1, 0x7FFFFFFF, "the number of a record");
        for (ChannelEvent* const event : ordered) {
            event->channel = name;
            if (event->computer.empty()) event->computer = m_logs.computer;
            if (classic) {
                m_logs.add(name, std::move(*event));
            } else {
                channel.add(std::move(*event));
            }
        }
        if (classic) readClassic(place, m_logs.classic[name]);
        for (const char* const member : {"openError", "clearAfter", "rawRecords"}) {
            const auto given = place.member(member);
            if (given && !classic) given->complain("found this of a log that is not classic");
        }
    }

    static void readClassic(const JsonPlace& place, ClassicLog& log) {
        if (const auto error = place.member("openError"))
            log.openError = static_cast<DWORD>(error->number(1, 0xFFFFFFFF, "an error code"));
        if (const auto reads = place.member("clearAfter"))
            log.clearAfter = static_cast<unsigned>(reads->number(1, 0x7FFFFFFF, "a number of reads"));
        if (const auto records = place.member("rawRecords")) {
            records->forEachElement("a list of records in hexadecimal",
                                    [&](const JsonPlace& each) { log.addRaw(each.hex()); });
        }
    }

    void readEvents(const JsonPlace& place, std::vector<ChannelEvent>& events) {
        place.allowOnly({"activity", "computer", "data", "guid", "id", "keywords", "level", "opcode",
                         "process", "provider", "repeat", "task", "thread", "time", "user", "userData",
                         "version"});
        const ChannelEvent described = readEvent(place);
        const auto repeat = place.member("repeat");
        unsigned long long count = 1;
        ULONGLONG span = 0;
        if (repeat) {
            repeat->allowOnly({"count", "until"});
            const JsonPlace until = repeat->required("until", "the time of the last");
            if (until.date() < described.time) until.fail("a time that is not before the event's");
            span = until.date() - described.time;
            count = repeat->required("count", "how often it occurs").number(1, MostEvents, "a count");
        }
        m_events += count;
        if (m_events > MostEvents)
            place.complain("found more events, expected at most " + std::to_string(MostEvents));
        const unsigned long long seed = ++m_seed;
        for (unsigned long long number = 0; number < count; ++number) {
            ChannelEvent event = described;
            Occurrence occurrence(number, seed);
            // Evenly spread, each somewhere in its part of the time, at full seconds.
            const ULONGLONG part = span / count;
            event.time += part * number + occurrence.below(part / 10000000) * 10000000;
            settle(event.content, occurrence);
            events.push_back(std::move(event));
        }
    }

    static DWORD smallNumber(const JsonPlace& place, DWORD greatest, const char* what) {
        return static_cast<DWORD>(place.number(0, greatest, what));
    }

    static ULONGLONG bits(const JsonPlace& place, ULONGLONG greatest, const std::string& expected) {
        if (!place.isString()) return place.number(0, greatest, expected);
        const auto value = parseInteger(place.utf8());
        if (!value || *value < 0 || static_cast<ULONGLONG>(*value) > greatest) {
            // The upper half of 64 bits is negative as long long.
            const bool wide = value && greatest == ~0ull && place.utf8().compare(0, 2, "0x") == 0;
            if (!wide) place.fail(expected);
        }
        return static_cast<ULONGLONG>(*value);
    }

    static GUID guid(const JsonPlace& place) {
        GUID value = {};
        if (!parseGuid(place.utf8("a GUID in braces"), value)) place.fail("a GUID in braces");
        return value;
    }

    ChannelEvent readEvent(const JsonPlace& place) {
        ChannelEvent event;
        event.time = place.required("time", "when the event occurred").date();
        if (event.time < ticksOfUnixTime(0)) place.required("time", "").fail("a time from 1970 on");
        event.provider = place.required("provider", "the provider's name").text();
        const ULONGLONG id = bits(place.required("id", "the event's ID"), 0xFFFFFFFF,
                                  "an event ID, or a message ID like \"0xC0040007\"");
        event.id = static_cast<WORD>(id);
        if (id > 0xFFFF) {
            // A classic source.
            event.qualifiers = static_cast<WORD>(id >> 16);
            event.keywords = 0x80000000000000ull;
        }
        if (const auto level = place.member("level")) readLevel(*level, event);
        if (const auto value = place.member("keywords"))
            event.keywords = bits(*value, ~0ull, "keywords like \"0x8000000000000000\"");
        if (const auto value = place.member("guid")) event.providerGuid = guid(*value);
        if (const auto value = place.member("activity")) event.activity = guid(*value);
        if (const auto value = place.member("version"))
            event.version = static_cast<BYTE>(smallNumber(*value, 0xFF, "a version"));
        if (const auto value = place.member("task"))
            event.task = static_cast<WORD>(smallNumber(*value, 0xFFFF, "a task"));
        if (const auto value = place.member("opcode"))
            event.opcode = static_cast<BYTE>(smallNumber(*value, 0xFF, "an opcode"));
        if (const auto value = place.member("process"))
            event.process = smallNumber(*value, 0xFFFFFFFF, "a process ID");
        if (const auto value = place.member("thread"))
            event.thread = smallNumber(*value, 0xFFFFFFFF, "a thread ID");
        if (const auto value = place.member("computer")) event.computer = value->text();
        if (const auto value = place.member("user")) {
            event.user = value->text();
            if (EventValue::sid(event.user).bytes.empty()) value->fail("a SID like \"S-1-5-18\"");
        }
        const auto data = place.member("data");
        const auto userData = place.member("userData");
        if (data && userData) place.complain("found \"data\" and \"userData\", expected one of them");
        if (data) {
            event.content.name = u"EventData";
            data->forEachElement("a list of values", [&](const JsonPlace& each) {
                Text name;
                EventValue value = readItem(each, name);
                event.with(name, std::move(value));
            });
        }
        if (userData) readUserData(*userData, event);
        return event;
    }

    static void readLevel(const JsonPlace& place, ChannelEvent& event) {
        constexpr const char* names[] = {"", "critical", "error", "warning", "information", "verbose"};
        const std::string expected =
            "critical, error, warning, information, verbose, audit success, audit failure or a number";
        if (!place.isString()) {
            event.level = static_cast<BYTE>(place.number(0, 0xFF, expected));
            return;
        }
        const std::string name = place.utf8(expected);
        const auto* const found = std::find(std::begin(names) + 1, std::end(names), name);
        if (found != std::end(names)) {
            event.level = static_cast<BYTE>(found - std::begin(names));
        } else if (name == "audit success" || name == "audit failure") {
            event.level = 0;
            event.keywords = name == "audit success" ? 0x8020000000000000ull : 0x8010000000000000ull;
        } else {
            place.fail(expected);
        }
    }

    void readUserData(const JsonPlace& place, ChannelEvent& event) {
        place.allowOnly({"group", "values"});
        const Text group = readName(place.required("group", "the name of the element that holds the values"));
        event.content.name = u"UserData";
        event.content.children.push_back({group});
        place.required("values", "a list of named values")
            .forEachElement("a list of named values", [&](const JsonPlace& each) {
                Text name;
                EventValue value = readItem(each, name);
                if (name.empty()) each.fail("a value with a name");
                readName(each.required("name", "the element's name"));
                event.withUserData(group, name, std::move(value));
            });
    }

    // As XML takes it.
    static Text readName(const JsonPlace& place) {
        const std::string name = place.utf8("a name");
        const bool valid = !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) == 0 &&
                           std::all_of(name.begin(), name.end(), [](unsigned char each) {
                               return std::isalnum(each) || each == '_' || each >= 0x80;
                           });
        if (!valid) place.fail("a name of letters, digits and _");
        return fromUtf8(name);
    }

    // A value, or an object with its name, type and value.
    EventValue readItem(const JsonPlace& place, Text& name) {
        if (!place.isObject()) return readPlain(place);
        place.allowOnly({"name", "type", "value"});
        if (const auto given = place.member("name")) name = given->text();
        const auto typePlace = place.member("type");
        const auto valuePlace = place.member("value");
        if (!typePlace) return valuePlace ? readPlain(*valuePlace) : EventValue();
        const std::string expected = "a type like \"UInt32\" or \"String[]\"";
        std::string typeName = typePlace->utf8(expected);
        const bool isArray = typeName.size() > 2 && typeName.compare(typeName.size() - 2, 2, "[]") == 0;
        if (isArray) typeName.resize(typeName.size() - 2);
        const auto* const type =
            std::find_if(std::begin(Types), std::end(Types),
                         [&](const EventTypeName& each) { return typeName == each.name; });
        if (type == std::end(Types) || (isArray && type->type == EvtVarTypeNull)) typePlace->fail(expected);
        if (type->type == EvtVarTypeNull) return {};
        const JsonPlace value = place.required("value", "a value of the type");
        if (!isArray) return readScalar(value, *type);
        std::vector<EventValue> items;
        value.forEachElement("a list of values",
                             [&](const JsonPlace& each) { items.push_back(readScalar(each, *type)); });
        return EventValue::array(type->type, std::move(items));
    }

    EventValue readPlain(const JsonPlace& place) {
        const nlohmann::json& json = place.json();
        if (json.is_null()) return {};
        if (json.is_boolean()) return EventValue::boolean(place.truth());
        if (json.is_number_unsigned() && json.get<unsigned long long>() <= 0xFFFFFFFF)
            return readScalar(place, *typeOf(EvtVarTypeUInt32));
        if (json.is_number_unsigned()) return readScalar(place, *typeOf(EvtVarTypeUInt64));
        if (json.is_number_integer()) return readScalar(place, *typeOf(EvtVarTypeInt64));
        if (json.is_number()) return readScalar(place, *typeOf(EvtVarTypeDouble));
        return place.text("a text, a number, true, false, null or an object with a type");
    }

    EventValue readScalar(const JsonPlace& place, const EventTypeName& type) {
        EventValue value;
        value.type = type.type;
        if (type.isNumber) {
            readNumber(place, type, value);
            return value;
        }
        switch (type.type) {
            case EvtVarTypeAnsiString:
                return EventValue::ansi(readAnsi(place));
            case EvtVarTypeSingle:
            case EvtVarTypeDouble: {
                const bool fits =
                    place.json().is_number() && (type.type == EvtVarTypeDouble ||
                                                 std::abs(place.json().get<double>()) <= double{FLT_MAX});
                if (!fits) place.fail("a number");
                value.real = place.json().get<double>();
                return value;
            }
            case EvtVarTypeBoolean:
                return EventValue::boolean(place.truth());
            case EvtVarTypeBinary:
                return EventValue::binary(place.hex());
            case EvtVarTypeGuid:
                return EventValue::guid(guid(place));
            case EvtVarTypeFileTime:
                return EventValue::fileTime(place.date());
            case EvtVarTypeSysTime:
                return EventValue::systemTime(place.date());
            case EvtVarTypeSid:
                value = EventValue::sid(place.text());
                if (value.bytes.empty()) place.fail("a SID like \"S-1-5-18\"");
                return value;
            default:
                value.text = place.text();
                return value;
        }
    }

    // A text of Latin letters, one byte for each.
    static std::string readAnsi(const JsonPlace& place) {
        std::string bytes;
        for (const char16_t unit : place.text()) {
            if (unit > 0xFF) place.fail("a text of Latin letters");
            bytes += static_cast<char>(unit);
        }
        return bytes;
    }

    static void readNumber(const JsonPlace& place, const EventTypeName& type, EventValue& value) {
        const nlohmann::json& json = place.json();
        const std::string expected = std::string("a ") + type.name + " number";
        if (place.isString()) {
            // Hexadecimal, or to be expanded.
            value.text = place.text(expected);
            Occurrence first(0, 0);
            const auto number = parseInteger(toUtf8(first.expand(value.text)));
            if (!number) place.fail(expected);
            return;
        }
        if (json.is_number_unsigned()) {
            if (json.get<unsigned long long>() > type.greatest) place.fail(expected);
            value.bits = json.get<unsigned long long>();
            return;
        }
        if (!json.is_number_integer() || json.get<long long>() < type.least) place.fail(expected);
        value.bits = static_cast<ULONGLONG>(json.get<long long>());
    }

    EventLogs& m_logs;
    unsigned long long m_events = 0;
    unsigned long long m_seed = 0;
};

}  // namespace

std::map<DWORD, Text> readMessages(const JsonPlace& place) {
    std::map<DWORD, Text> messages;
    place.forEachMember("an object of messages", [&](const std::string& id, const JsonPlace& each) {
        const auto number = parseInteger(id);
        if (!number || *number < 0 || *number > 0xFFFFFFFFll)
            each.complain("found no message ID, expected one like \"7\" or \"0xC0040007\"");
        messages[static_cast<DWORD>(*number)] = each.text();
    });
    return messages;
}

void readEventLogs(const JsonPlace& place, EventLogs& logs) { EventLogReader(logs).read(place); }

}  // namespace simulation
