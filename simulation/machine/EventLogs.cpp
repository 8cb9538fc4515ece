#include "simulation/machine/EventLogs.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

template <class... Arguments>
Text format(const char* pattern, Arguments... arguments) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, arguments...);
    return fromUtf8(text);
}

Text hexadecimal(const Bytes& bytes) {
    Text text;
    for (const unsigned char byte : bytes) text += format("%02X", byte);
    return text;
}

Text guidText(const Bytes& bytes) {
    GUID guid = {};
    std::memcpy(&guid, bytes.data(), std::min(bytes.size(), sizeof guid));
    return upper(fromUtf8(toString(guid)));
}

template <class Value>
void append(Bytes& bytes, const Value& value) {
    const auto* const first = reinterpret_cast<const unsigned char*>(&value);
    bytes.insert(bytes.end(), first, first + sizeof value);
}

void appendText(Bytes& bytes, const Text& text) {
    const auto* const first = reinterpret_cast<const unsigned char*>(text.c_str());
    bytes.insert(bytes.end(), first, first + (text.size() + 1) * sizeof(char16_t));
}

DWORD place(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

void align(Bytes& bytes) { bytes.resize((bytes.size() + 3) / 4 * 4); }

// The type that a classic log shows for an event of a level.
WORD typeOf(const ChannelEvent& event) {
    constexpr ULONGLONG auditSuccess = 0x0020000000000000ull;
    constexpr ULONGLONG auditFailure = 0x0010000000000000ull;
    if ((event.keywords & auditSuccess) != 0) return EVENTLOG_AUDIT_SUCCESS;
    if ((event.keywords & auditFailure) != 0) return EVENTLOG_AUDIT_FAILURE;
    if (event.level == 1 || event.level == 2) return EVENTLOG_ERROR_TYPE;
    return event.level == 3 ? EVENTLOG_WARNING_TYPE : EVENTLOG_INFORMATION_TYPE;
}

void collectLeaves(const EventElement& element, std::vector<EventValue>& values) {
    if (element.children.empty()) values.push_back(element.value);
    for (const EventElement& child : element.children) collectLeaves(child, values);
}

EventElement leaf(const char16_t* name, EventValue value) { return {name, {}, std::move(value)}; }

}  // namespace

EventValue EventValue::number(DWORD type, long long value) {
    EventValue result;
    result.type = type;
    result.bits = static_cast<ULONGLONG>(value);
    return result;
}

EventValue EventValue::realNumber(DWORD type, double value) {
    EventValue result;
    result.type = type;
    result.real = value;
    return result;
}

EventValue EventValue::ansi(std::string_view value) {
    EventValue result;
    result.type = EvtVarTypeAnsiString;
    result.bytes.assign(value.begin(), value.end());
    return result;
}

EventValue EventValue::binary(Bytes value) {
    EventValue result;
    result.type = EvtVarTypeBinary;
    result.bytes = std::move(value);
    return result;
}

EventValue EventValue::guid(const GUID& value) {
    EventValue result;
    result.type = EvtVarTypeGuid;
    append(result.bytes, value);
    return result;
}

EventValue EventValue::fileTime(ULONGLONG ticks) {
    return number(EvtVarTypeFileTime, static_cast<long long>(ticks));
}

EventValue EventValue::systemTime(ULONGLONG ticks) {
    return number(EvtVarTypeSysTime, static_cast<long long>(ticks));
}

EventValue EventValue::sid(std::u16string_view value) {
    EventValue result;
    result.type = EvtVarTypeSid;
    const std::string text = toUtf8(value);
    if (text.compare(0, 4, "S-1-") != 0) return result;
    std::vector<unsigned long long> numbers;
    for (size_t at = 3; at < text.size();) {
        const size_t end = std::min(text.find('-', at + 1), text.size());
        const std::string digits = text.substr(at + 1, end - at - 1);
        if (digits.empty() || digits.size() > 10 || digits.find_first_not_of("0123456789") != Text::npos) {
            return result;
        }
        numbers.push_back(std::stoull(digits));
        at = end;
    }
    if (numbers.empty() || numbers.size() > 16) return result;
    // Revision, count of sub-authorities, the authority in six bytes from the most significant, the
    // sub-authorities in four bytes each from the least significant.
    result.bytes = {1, static_cast<unsigned char>(numbers.size() - 1)};
    for (int shift = 40; shift >= 0; shift -= 8) {
        result.bytes.push_back(static_cast<unsigned char>(numbers[0] >> shift));
    }
    for (size_t index = 1; index < numbers.size(); ++index) {
        append(result.bytes, static_cast<DWORD>(numbers[index]));
    }
    return result;
}

EventValue EventValue::array(DWORD elementType, std::vector<EventValue> items) {
    EventValue result;
    result.type = elementType | EVT_VARIANT_TYPE_ARRAY;
    result.items = std::move(items);
    return result;
}

Text EventValue::toText() const {
    if (isArray()) {
        Text joined;
        for (const EventValue& item : items) joined += (joined.empty() ? u"" : u",") + item.toText();
        return joined;
    }
    switch (type) {
        case EvtVarTypeString:
        case EvtVarTypeEvtXml:
            return text;
        case EvtVarTypeAnsiString:
            return {bytes.begin(), bytes.end()};
        case EvtVarTypeSByte:
            return format("%d", static_cast<INT8>(bits));
        case EvtVarTypeInt16:
            return format("%d", static_cast<INT16>(bits));
        case EvtVarTypeInt32:
            return format("%d", static_cast<INT32>(bits));
        case EvtVarTypeInt64:
            return format("%lld", static_cast<long long>(bits));
        case EvtVarTypeByte:
            return format("%u", static_cast<UINT8>(bits));
        case EvtVarTypeUInt16:
            return format("%u", static_cast<UINT16>(bits));
        case EvtVarTypeUInt32:
            return format("%u", static_cast<UINT32>(bits));
        case EvtVarTypeUInt64:
            return format("%llu", static_cast<unsigned long long>(bits));
        case EvtVarTypeSingle:
            return format("%.7g", real);
        case EvtVarTypeDouble:
            return format("%.15g", real);
        case EvtVarTypeBoolean:
            return bits != 0 ? u"true" : u"false";
        case EvtVarTypeBinary:
            return hexadecimal(bytes);
        case EvtVarTypeGuid:
            return guidText(bytes);
        case EvtVarTypeFileTime:
            return timeText(bits, 7);
        case EvtVarTypeSysTime:
            return timeText(bits, 3);
        case EvtVarTypeSid:
            return sidText(bytes);
        case EvtVarTypeHexInt32:
            return format("0x%x", static_cast<unsigned>(bits));
        case EvtVarTypeSizeT:
        case EvtVarTypeHexInt64:
            return format("0x%llx", static_cast<unsigned long long>(bits));
        default:
            return {};
    }
}

Text sidText(const Bytes& bytes) {
    if (bytes.size() < 8 || bytes[0] != 1 || bytes.size() != 8 + 4 * size_t{bytes[1]}) return {};
    unsigned long long authority = 0;
    for (size_t index = 2; index < 8; ++index) authority = authority << 8 | bytes[index];
    Text text = format("S-1-%llu", authority);
    for (size_t at = 8; at < bytes.size(); at += 4) {
        DWORD part = 0;
        std::memcpy(&part, &bytes[at], sizeof part);
        text += format("-%u", unsigned{part});
    }
    return text;
}

// The civil calendar from days, counted in eras of 400 years that begin on the first of March.
SYSTEMTIME systemTimeOf(ULONGLONG ticks) {
    constexpr ULONGLONG ticksPerDay = 864000000000ull;
    const ULONGLONG day = ticks / ticksPerDay;
    const ULONGLONG rest = ticks % ticksPerDay / 10000;
    const ULONGLONG shifted = day + 584694;  // 1 January 1601 is this many days after 1 March 0000
    const ULONGLONG era = shifted / 146097;
    const ULONGLONG dayOfEra = shifted % 146097;
    const ULONGLONG yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const ULONGLONG dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const ULONGLONG month = (5 * dayOfYear + 2) / 153;
    SYSTEMTIME time = {};
    time.wDay = static_cast<WORD>(dayOfYear - (153 * month + 2) / 5 + 1);
    time.wMonth = static_cast<WORD>(month < 10 ? month + 3 : month - 9);
    time.wYear = static_cast<WORD>(yearOfEra + era * 400 + (time.wMonth <= 2 ? 1 : 0));
    time.wDayOfWeek = static_cast<WORD>((day + 1) % 7);  // that day was a Monday
    time.wHour = static_cast<WORD>(rest / 3600000);
    time.wMinute = static_cast<WORD>(rest / 60000 % 60);
    time.wSecond = static_cast<WORD>(rest / 1000 % 60);
    time.wMilliseconds = static_cast<WORD>(rest % 1000);
    return time;
}

std::optional<ULONGLONG> ticksOf(const SYSTEMTIME& time) {
    const bool valid = time.wYear >= 1601 && time.wYear <= 30827 && time.wMonth >= 1 && time.wMonth <= 12 &&
                       time.wDay >= 1 && time.wHour <= 23 && time.wMinute <= 59 && time.wSecond <= 59 &&
                       time.wMilliseconds <= 999;
    if (!valid) return std::nullopt;
    const ULONGLONG year = time.wMonth <= 2 ? time.wYear - 1u : time.wYear;
    const ULONGLONG month = time.wMonth <= 2 ? time.wMonth + 9u : time.wMonth - 3u;
    const ULONGLONG day =
        year * 365 + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + time.wDay - 1 - 584694;
    const ULONGLONG seconds = ((day * 24 + time.wHour) * 60 + time.wMinute) * 60 + time.wSecond;
    const ULONGLONG ticks = seconds * 10000000 + time.wMilliseconds * 10000ull;
    // A day that the month does not have comes back as one of the next.
    if (systemTimeOf(ticks).wDay != time.wDay) return std::nullopt;
    return ticks;
}

Text timeText(ULONGLONG ticks, unsigned digits) {
    const SYSTEMTIME time = systemTimeOf(ticks);
    const std::string fraction = toUtf8(format("%07u", static_cast<unsigned>(ticks % 10000000)));
    return format("%04u-%02u-%02uT%02u:%02u:%02u.%.*sZ", time.wYear, time.wMonth, time.wDay, time.wHour,
                  time.wMinute, time.wSecond, static_cast<int>(std::min(digits, 7u)), fraction.c_str());
}

ChannelEvent& ChannelEvent::with(const Text& name, EventValue value) {
    content.name = u"EventData";
    EventElement data{u"Data", {}, std::move(value)};
    if (!name.empty()) data.attributes.emplace_back(u"Name", name);
    content.children.push_back(std::move(data));
    return *this;
}

ChannelEvent& ChannelEvent::withUserData(const Text& group, const Text& name, EventValue value) {
    content.name = u"UserData";
    const auto known = std::find_if(content.children.begin(), content.children.end(),
                                    [&](const EventElement& each) { return each.name == group; });
    EventElement& parent =
        known != content.children.end() ? *known : content.children.emplace_back(EventElement{group});
    parent.children.push_back({name, {}, std::move(value)});
    return *this;
}

std::vector<EventValue> ChannelEvent::userValues() const {
    std::vector<EventValue> values;
    for (const EventElement& child : content.children) collectLeaves(child, values);
    return values;
}

EventElement ChannelEvent::tree() const {
    EventElement root{
        u"Event", {{u"xmlns", u"http://schemas.microsoft.com/win/2004/08/events/event"}}, {}, {}};
    EventElement system{u"System"};
    EventElement providerElement{u"Provider", {{u"Name", provider}}};
    if (providerGuid) providerElement.attributes.emplace_back(u"Guid", EventValue::guid(*providerGuid));
    EventElement idElement = leaf(u"EventID", EventValue::number(EvtVarTypeUInt16, id));
    if (qualifiers) {
        idElement.attributes.emplace_back(u"Qualifiers", EventValue::number(EvtVarTypeUInt16, *qualifiers));
    }
    EventElement created{u"TimeCreated", {{u"SystemTime", EventValue::fileTime(time)}}};
    EventElement correlation{u"Correlation"};
    if (activity) correlation.attributes.emplace_back(u"ActivityID", EventValue::guid(*activity));
    if (relatedActivity) {
        correlation.attributes.emplace_back(u"RelatedActivityID", EventValue::guid(*relatedActivity));
    }
    EventElement execution{u"Execution",
                           {{u"ProcessID", EventValue::number(EvtVarTypeUInt32, process)},
                            {u"ThreadID", EventValue::number(EvtVarTypeUInt32, thread)}}};
    EventElement security{u"Security"};
    if (!user.empty()) security.attributes.emplace_back(u"UserID", EventValue::sid(user));
    const auto keywordBits = static_cast<long long>(keywords);
    system.children = {
        std::move(providerElement),
        std::move(idElement),
        leaf(u"Version", EventValue::number(EvtVarTypeByte, version)),
        leaf(u"Level", EventValue::number(EvtVarTypeByte, level)),
        leaf(u"Task", EventValue::number(EvtVarTypeUInt16, task)),
        leaf(u"Opcode", EventValue::number(EvtVarTypeByte, opcode)),
        leaf(u"Keywords", EventValue::number(EvtVarTypeHexInt64, keywordBits)),
        std::move(created),
        leaf(u"EventRecordID", EventValue::number(EvtVarTypeUInt64, static_cast<long long>(record))),
        std::move(correlation),
        std::move(execution),
        leaf(u"Channel", channel),
        leaf(u"Computer", computer),
        std::move(security)};
    root.children.push_back(std::move(system));
    if (!content.name.empty()) root.children.push_back(content);
    return root;
}

ChannelEvent& EventChannel::add(ChannelEvent event) {
    if (event.record == 0) event.record = events.empty() ? 1 : events.back().record + 1;
    events.push_back(std::move(event));
    return events.back();
}

Bytes ClassicRecord::packed() const {
    EVENTLOGRECORD header = {};
    constexpr DWORD signature = 0x654C664C;  // "LfLe"
    header.Reserved = signature;
    header.RecordNumber = number;
    header.TimeGenerated = generated;
    header.TimeWritten = written != 0 ? written : generated;
    header.EventID = id;
    header.EventType = type;
    header.NumStrings = static_cast<WORD>(strings.size());
    header.EventCategory = category;
    Bytes bytes(sizeof header);
    appendText(bytes, source);
    appendText(bytes, computer);
    align(bytes);
    header.UserSidLength = static_cast<DWORD>(sid.size());
    header.UserSidOffset = place(bytes);
    bytes.insert(bytes.end(), sid.begin(), sid.end());
    header.StringOffset = place(bytes);
    for (const Text& each : strings) appendText(bytes, each);
    header.DataLength = static_cast<DWORD>(data.size());
    header.DataOffset = place(bytes);
    bytes.insert(bytes.end(), data.begin(), data.end());
    align(bytes);
    header.Length = place(bytes) + DWORD{sizeof(DWORD)};
    append(bytes, header.Length);
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

DWORD ClassicLog::add(const ClassicRecord& record) {
    ClassicRecord numbered = record;
    if (numbered.number == 0) numbered.number = m_next;
    m_next = numbered.number;
    addRaw(numbered.packed());
    return numbered.number;
}

void ClassicLog::addRaw(const Bytes& bytes) {
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    m_ends.push_back(m_bytes.size());
    // Records of one log are numbered without gaps.
    m_oldest = m_next + 1 - static_cast<DWORD>(m_ends.size());
    ++m_next;
}

void ClassicLog::clear() {
    m_bytes.clear();
    m_ends.clear();
    m_oldest = 0;
    m_next = 1;
    ++m_clearings;
}

void ClassicLog::reserve(size_t records, size_t bytes) {
    m_ends.reserve(records);
    m_bytes.reserve(bytes);
}

void EventLogs::add(const Text& log, ChannelEvent event) {
    if (event.channel.empty()) event.channel = log;
    if (event.computer.empty()) event.computer = computer;
    ClassicRecord record;
    record.source = event.provider;
    record.id = DWORD{event.qualifiers.value_or(0)} << 16 | event.id;
    record.generated = unixTimeOfTicks(event.time);
    record.type = typeOf(event);
    record.category = event.task;
    record.computer = event.computer;
    if (!event.user.empty()) record.sid = EventValue::sid(event.user).bytes;
    for (const EventValue& value : event.userValues()) {
        if (value.type == EvtVarTypeBinary) {
            record.data = value.bytes;
        } else {
            record.strings.push_back(value.toText());
        }
    }
    ClassicLog& classicLog = classic[log];
    EventChannel& channel = channels[log];
    // The service numbers both alike.
    record.number = static_cast<DWORD>(channel.add(std::move(event)).record);
    classicLog.add(record);
}

}  // namespace simulation
