// The event logs of the simulated PC as plain data: channels with their events, classic logs with their
// records, publishers with their messages.
//
//     EventChannel& system = machine().events.channels[u"System"];
//     ChannelEvent event(u"Nordlicht-Fan", 7, ticks);
//     event.with(u"Speed", EventValue::number(EvtVarTypeUInt32, 900));   // <EventData><Data Name="Speed">
//     system.add(std::move(event));
//     machine().events.publishers[u"Nordlicht-Fan"].messages[7] = u"The fan turns at %1 per minute.";
//
//     ClassicLog& log = machine().events.classic[u"System"];
//     log.add({.source = u"disk", .id = 0xC0040007, .type = EVENTLOG_ERROR_TYPE, .strings =
//     {u"\\Device\\0"}});
//
// On Windows both ways of reading show the same events. Here they are two lists, which EventLogs::add fills
// at once.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

/// One value of an event, in the type that it is rendered as.
struct EventValue {
    DWORD type = EvtVarTypeNull;  ///< EVT_VARIANT_TYPE, with EVT_VARIANT_TYPE_ARRAY for an array
    ULONGLONG bits = 0;           ///< integers (negative ones in two's complement), booleans, FILETIME ticks
    double real = 0;              ///< Single, Double
    Text text = {};               ///< String, XML
    std::vector<unsigned char> bytes = {};  ///< AnsiString, Binary, Sid, Guid
    std::vector<EventValue> items = {};     ///< of an array
    bool nullPointer = false;               ///< rendered with a null pointer where text, bytes or time belong

    EventValue() = default;
    EventValue(const char16_t* value) : EventValue(Text(value)) {}
    EventValue(Text value) : type(EvtVarTypeString), text(std::move(value)) {}
    /// Integers of any width, Boolean, HexInt32, HexInt64, SizeT.
    static EventValue number(DWORD type, long long value);
    static EventValue boolean(bool value) { return number(EvtVarTypeBoolean, value ? 1 : 0); }
    static EventValue realNumber(DWORD type, double value);
    static EventValue ansi(std::string_view value);
    static EventValue binary(std::vector<unsigned char> value);
    static EventValue guid(const GUID& value);
    /// FILETIME ticks, UTC.
    static EventValue fileTime(ULONGLONG ticks);
    static EventValue systemTime(ULONGLONG ticks);
    /// Of "S-1-5-18"; a text that is no SID gives a value of no bytes.
    static EventValue sid(std::u16string_view value);
    /// All of one type.
    static EventValue array(DWORD elementType, std::vector<EventValue> items);

    bool isArray() const { return (type & EVT_VARIANT_TYPE_ARRAY) != 0; }
    DWORD elementType() const { return type & EVT_VARIANT_TYPE_MASK; }
    /// As XML shows it, without escapes; an array's items joined by commas.
    Text toText() const;
};

/// "S-1-5-18" of a SID's bytes; empty when they are none.
Text sidText(const std::vector<unsigned char>& bytes);
/// "2026-02-03T04:05:06.0000000Z" of FILETIME ticks, with this many digits of the second's fraction.
Text timeText(ULONGLONG ticks, unsigned digits = 7);
/// FILETIME ticks as a date and time, and back; nothing when it is no date from 1601 to 30827.
SYSTEMTIME systemTimeOf(ULONGLONG ticks);
std::optional<ULONGLONG> ticksOf(const SYSTEMTIME& time);

struct EventElement {
    Text name;
    std::vector<std::pair<Text, EventValue>> attributes = {};
    EventValue value = {};  ///< of an element without children
    std::vector<EventElement> children = {};
};

/// FILETIME ticks of seconds since 1970, and back.
constexpr ULONGLONG ticksOfUnixTime(ULONGLONG seconds) { return seconds * 10000000 + 116444736000000000ull; }
constexpr DWORD unixTimeOfTicks(ULONGLONG ticks) {
    return static_cast<DWORD>((ticks - 116444736000000000ull) / 10000000);
}

struct ChannelEvent {
    Text provider;
    std::optional<GUID> providerGuid;
    WORD id = 0;
    std::optional<WORD> qualifiers;  ///< of classic sources: the upper half of the message ID
    BYTE version = 0;
    BYTE level = 4;  ///< 1 critical, 2 error, 3 warning, 4 information
    WORD task = 0;
    BYTE opcode = 0;
    ULONGLONG keywords = 0x8000000000000000ull;
    ULONGLONG time = 0;    ///< FILETIME ticks, UTC
    ULONGLONG record = 0;  ///< 0: add() gives the next one of the channel
    std::optional<GUID> activity;
    std::optional<GUID> relatedActivity;
    DWORD process = 4;
    DWORD thread = 8;
    Text channel;          ///< empty: add() gives the channel's
    Text computer;         ///< empty: the PC's, EventLogs::computer
    Text user;             ///< a SID such as u"S-1-5-18"; empty: none
    EventElement content;  ///< EventData or UserData with what stands in it; without a name: none

    ChannelEvent() = default;
    ChannelEvent(Text ofProvider, WORD withId, ULONGLONG atTime = 0)
        : provider(std::move(ofProvider)), id(withId), time(atTime) {}
    /// Adds <Data Name="…"> to the event's EventData; without a name <Data>.
    ChannelEvent& with(const Text& name, EventValue value);
    /// Adds a leaf to <UserData><`group`>.
    ChannelEvent& withUserData(const Text& group, const Text& name, EventValue value);
    /// The values of its data, in order: what the user context renders.
    std::vector<EventValue> userValues() const;
    /// <Event> with System and content.
    EventElement tree() const;
};

struct EventChannel {
    std::deque<ChannelEvent> events;  ///< oldest first
    DWORD queryError = 0;             ///< EvtQuery fails with it (ERROR_ACCESS_DENIED, ERROR_EVT_CHANNEL_…)
    ULONGLONG millisecondsPerEvent = 0;  ///< simulated time until each event of a query arrives

    ChannelEvent& add(ChannelEvent event);
};

/// A provider with metadata; one that has none is no publisher. A classic source counts as one too when the
/// registry names message files for it that the PC has.
struct EventPublisher {
    std::map<DWORD, Text> messages;  ///< by event ID; inserts %1 … are the values of the event's data
};

/// One record of a classic log.
struct ClassicRecord {
    Text source = {};
    DWORD id = 0;         ///< the whole message ID, severity and facility included
    DWORD generated = 0;  ///< seconds since 1970, UTC
    WORD type = EVENTLOG_INFORMATION_TYPE;
    WORD category = 0;
    std::vector<Text> strings = {};
    std::vector<unsigned char> data = {};
    std::vector<unsigned char> sid = {};
    Text computer = u"PC";
    DWORD number = 0;   ///< 0: the next one of the log
    DWORD written = 0;  ///< 0: when it was generated

    /// As ReadEventLogW lays it out: the header, source, computer, SID on a multiple of four, strings, data,
    /// zeros up to a multiple of four, the length again.
    std::vector<unsigned char> packed() const;
};

/// A classic log: its records, packed, oldest first.
class ClassicLog {
public:
    /// Returns the record's number.
    DWORD add(const ClassicRecord& record);
    /// Bytes that are handed out as a record however damaged they are.
    void addRaw(const std::vector<unsigned char>& bytes);
    /// Takes all records away, as the event viewer's "Clear log" does: handles opened before it read no more
    /// (ERROR_EVENTLOG_FILE_CHANGED).
    void clear();
    void reserve(size_t records, size_t bytes);

    size_t count() const { return m_ends.size(); }
    DWORD oldestNumber() const { return m_oldest; }
    /// Where the bytes of a record begin; count() gives the end of the last.
    size_t begin(size_t index) const { return index == 0 ? 0 : m_ends[index - 1]; }
    const unsigned char* bytes() const { return m_bytes.data(); }
    unsigned clearings() const { return m_clearings; }

    DWORD openError = 0;      ///< OpenEventLogW fails with it
    unsigned clearAfter = 0;  ///< the log is cleared after this many reads; 0: never
    unsigned reads = 0;       ///< successful reads since the log stands

private:
    std::vector<unsigned char> m_bytes;
    std::vector<size_t> m_ends;
    DWORD m_oldest = 0;
    DWORD m_next = 1;
    unsigned m_clearings = 0;
};

struct EventLogs {
    std::map<Text, EventChannel, LessNoCase> channels;
    std::map<Text, EventPublisher, LessNoCase> publishers;
    std::map<Text, ClassicLog, LessNoCase> classic;
    Text computer = u"PC";
    ULONGLONG now = 0;  ///< the PC's clock in FILETIME ticks; 0: the system's

    /// Adds an event to a channel and the record that it is to the classic functions to the log of that name.
    void add(const Text& log, ChannelEvent event);
};

}  // namespace simulation
