// The event logs of the simulated PC by themselves: what the event service, the classic log and message files
// answer.
#include <cstring>

#include "simulation/api/EventXPath.h"
#include "simulation/control/Clock.h"
#include "simulation/machine/MachineFile.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using simulation::ChannelEvent;
using simulation::ClassicLog;
using simulation::ClassicRecord;
using simulation::EventChannel;
using simulation::EventValue;
using simulation::EventXPath;
using simulation::fromUtf8;
using simulation::fromWide;
using simulation::Resource;
using simulation::toUtf8;
using simulation::wide;
using Numbers = std::vector<unsigned long long>;
using Text = simulation::Text;

// 2026-02-03 04:05:06 UTC.
constexpr ULONGLONG BaseTime = 134145651060000000ull;
constexpr ULONGLONG Minute = 600000000ull;

class EventService : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        machine.events.now = BaseTime + 10 * Minute;
        channel = &machine.events.channels[u"System"];
        ChannelEvent disk(u"disk", 7, BaseTime);
        disk.qualifiers = 0xC004;
        disk.level = 2;
        disk.keywords = 0x80000000000000;
        disk.with(u"", u"\\Device\\Harddisk1").with(u"", EventValue::number(EvtVarTypeUInt32, 51));
        channel->add(disk);
        ChannelEvent fan(u"Nordlicht-Fan", 1, BaseTime + 5 * Minute);
        fan.level = 1;
        fan.with(u"Name", u"CPU").with(u"Speed", EventValue::number(EvtVarTypeUInt32, 900));
        channel->add(fan);
        ChannelEvent memory(u"Memory", 1101, BaseTime + 9 * Minute);
        memory.withUserData(u"Results", u"CompletionType", u"Pass")
            .withUserData(u"Results", u"Offset", EventValue::number(EvtVarTypeInt16, -5));
        channel->add(memory);
    }

    static std::vector<EVT_HANDLE> all(const Text& filter, DWORD flags = EvtQueryChannelPath,
                                       const Text& path = u"System") {
        std::vector<EVT_HANDLE> events;
        const EVT_HANDLE query = EvtQuery(nullptr, wide(path), wide(filter), flags);
        EVT_HANDLE event = nullptr;
        DWORD count = 0;
        while (EvtNext(query, 1, &event, 1000, 0, &count) && count == 1) events.push_back(event);
        EvtClose(query);
        return events;
    }

    static std::vector<unsigned char> render(EVT_HANDLE event, DWORD kind, std::vector<LPCWSTR> paths = {}) {
        const EVT_HANDLE context = EvtCreateRenderContext(static_cast<DWORD>(paths.size()),
                                                          paths.empty() ? nullptr : paths.data(), kind);
        DWORD used = 0, count = 0;
        EXPECT_FALSE(EvtRender(context, event, EvtRenderEventValues, 0, nullptr, &used, &count));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        std::vector<unsigned char> bytes(used);
        EXPECT_TRUE(EvtRender(context, event, EvtRenderEventValues, used, bytes.data(), &used, &count));
        EXPECT_LE(count * sizeof(EVT_VARIANT), bytes.size());
        EvtClose(context);
        return bytes;
    }
    static EVT_VARIANT variant(const std::vector<unsigned char>& bytes, size_t index) {
        EVT_VARIANT result;
        std::memcpy(&result, &bytes[index * sizeof result], sizeof result);
        return result;
    }

    static Numbers recordsOf(const Text& filter) {
        Numbers numbers;
        for (const EVT_HANDLE event : all(filter)) {
            const auto bytes = render(event, EvtRenderContextSystem);
            numbers.push_back(variant(bytes, EvtSystemEventRecordId).UInt64Val);
            EvtClose(event);
        }
        return numbers;
    }

    EventChannel* channel = nullptr;
};

TEST_F(EventService, SelectsWhatTheFilterSays) {
    const struct {
        const char* filter;
        Numbers records;
    } cases[] = {
        {"*", {1, 2, 3}},
        {"Event[System/Level=1]", {2}},
        {"*[System/Provider/@Name='disk' and (System/EventID=7 or System/EventID=51)]", {1}},
        {"*[System[Provider[@Name='disk' or @Name='Memory'] and Level<=4]]", {1, 3}},
        {"*[System[(EventID=1 or EventID=7) and Level!=1]]", {1}},
        {"*[System[EventID>1 and EventID!=7]]", {3}},
        {"*[System[7=EventID]]", {1}},
        {"*[System[2<Level]]", {3}},
        {"*[System[EventID='7']]", {1}},
        {"*[System/EventID/@Qualifiers=49156]", {1}},
        {"*[System[band(Keywords, 0x80000000000000)]]", {1}},
        {"*[System[band(Keywords,36028797018963968) = 0]]", {2, 3}},
        {"*[System[TimeCreated[timediff(@SystemTime) <= 360000]]]", {2, 3}},
        {"*[System[TimeCreated[@SystemTime>='2026-02-03T04:10:06.000Z']]]", {2, 3}},
        {"*[System[TimeCreated[@SystemTime='2026-02-03T04:05:06']]]", {1}},
        {"*[EventData[Data='CPU']]", {2}},
        {"*[EventData[Data[@Name='Speed']=900]]", {2}},
        {"*[EventData/Data[@Name=\"Speed\"]>1000]", {}},
        {"*[EventData[Data[2]=51]]", {1}},
        {"*[EventData[Data[position()=1]='CPU']]", {2}},
        {"*[EventData/Data/text()='CPU']", {2}},
        {"*[EventData/Data/@Name]", {2}},
        {"*[EventData/Data/@*='Speed']", {2}},
        {"*[UserData/*/CompletionType='Pass']", {3}},
        {"*[UserData/Results/Offset<0]", {3}},
        {"*[System/provider/@Name='disk']", {}},  // names are told apart by case
        {"*[System/TimeCreated/@SystemTime='yesterday']", {}},
        {"*[System/Correlation/@ActivityID='x' or System/Level=1]", {2}},
    };
    for (const auto& each : cases) EXPECT_EQ(recordsOf(fromUtf8(each.filter)), each.records) << each.filter;
}

TEST_F(EventService, RefusesWhatIsNoFilter) {
    const char* const filters[] = {"*[nonsense",
                                   "*[",
                                   "*[]",
                                   "*]",
                                   "System/Level=1",
                                   "*[System/Level=]",
                                   "*[System/Level==1]",
                                   "*[System/Level=1 and]",
                                   "*[System/Level=1 xor Level=2]",
                                   "*['text']",
                                   "*[System/Level=Level]",
                                   "*[1=2]",
                                   "*[contains(System/Provider/@Name,'d')]",
                                   "//Event",
                                   "/Event",
                                   "*[System/@]",
                                   "*[./Level=1]",
                                   "*[System/EventID=99z]",
                                   "*[band(Keywords)]",
                                   "*[timediff(@SystemTime)]",
                                   "*[timediff(@T)='1']",
                                   "*[System/Level=-1]",
                                   "*[@Name/Level=1]",
                                   "*[System/Level=1] or *[System/Level=2]",
                                   "<QueryList><Query/></QueryList>",
                                   "",
                                   "*[System[not(Level=1)]]",
                                   "*[(System/Level=1]",
                                   "*[System/Level='1]",
                                   "Other[a=1]"};
    for (const char* const filter : filters) {
        EXPECT_EQ(EvtQuery(nullptr, wide(u"System"), wide(fromUtf8(filter)), EvtQueryChannelPath), nullptr)
            << filter;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_EVT_INVALID_QUERY}) << filter;
    }
    // More comparisons than the service takes, and nested more deeply than is sensible.
    Text many = u"*[System/Level=1";
    for (int count = 1; count < 20; ++count) many += u" or System/Level=1";
    EXPECT_TRUE(EventXPath::parseQuery(many + u"]"));
    EXPECT_FALSE(EventXPath::parseQuery(many + u" or System/Level=1]"));
    EXPECT_FALSE(EventXPath::parseQuery(u"*[" + Text(100000, u'(')));

    EXPECT_EQ(EvtQuery(nullptr, wide(u"Sytem"), nullptr, EvtQueryChannelPath), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_EVT_CHANNEL_NOT_FOUND});
    channel->queryError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(EvtQuery(nullptr, wide(u"System"), nullptr, EvtQueryChannelPath), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
}

TEST_F(EventService, StructuredQueriesNameTheirChannels) {
    ChannelEvent setup(u"Setup", 9, BaseTime + Minute);
    machine.events.channels[u"Setup"].add(setup);
    const struct {
        const char* query;
        std::vector<unsigned> ids;
    } rows[] = {
        {"<QueryList><Query Id='0' Path='System'><Select>*</Select></Query></QueryList>", {7, 1, 1101}},
        {"<QueryList><Query><Select Path=\"system\">*[System[Level &lt;= 2]]</Select></Query></QueryList>",
         {7, 1}},
        {"<QueryList>\n<Query Path='System'><Select>*</Select>"
         "<Suppress>*[System[EventID=1]]</Suppress></Query></QueryList>",
         {7, 1101}},
        {"<?xml version='1.0'?><QueryList><Query Path='System'><Select>*[System[EventID&gt;1]]</Select>"
         "<Select Path='Setup'>*</Select></Query></QueryList>",
         {7, 9, 1101}},
    };
    const auto idsOf = [&](const char* query, LPCWSTR path, DWORD direction) {
        std::vector<unsigned> ids;
        const Text text = fromUtf8(query);
        const EVT_HANDLE handle = EvtQuery(nullptr, path, wide(text), EvtQueryChannelPath | direction);
        EXPECT_NE(handle, nullptr) << query;
        EVT_HANDLE event = nullptr;
        DWORD count = 0;
        while (EvtNext(handle, 1, &event, 1000, 0, &count)) {
            ids.push_back(variant(render(event, EvtRenderContextSystem), EvtSystemEventID).UInt16Val);
            EvtClose(event);
        }
        EvtClose(handle);
        return ids;
    };
    for (const auto& row : rows) {
        EXPECT_EQ(idsOf(row.query, nullptr, EvtQueryForwardDirection), row.ids) << row.query;
        const std::vector<unsigned> reversed(row.ids.rbegin(), row.ids.rend());
        EXPECT_EQ(idsOf(row.query, wide(u"System"), EvtQueryReverseDirection), reversed) << row.query;
    }
    const struct {
        const char* query;
        DWORD error;
    } wrong[] = {
        {"<QueryList></QueryList>", ERROR_EVT_INVALID_QUERY},
        {"<QueryList><Query><Select>*</Select></Query></QueryList>", ERROR_EVT_INVALID_QUERY},
        {"<QueryList><Query Path='System'><Select>*", ERROR_EVT_INVALID_QUERY},
        {"<QueryList><Query Path='System'><Select>*[</Select></Query></QueryList>", ERROR_EVT_INVALID_QUERY},
        {"<QueryList><Query Path='System'><Suppress>*</Suppress></Query></QueryList>",
         ERROR_EVT_INVALID_QUERY},
        {"<QueryList><Query Path='Sytem'><Select>*</Select></Query></QueryList>",
         ERROR_EVT_CHANNEL_NOT_FOUND},
    };
    for (const auto& row : wrong) {
        EXPECT_EQ(EvtQuery(nullptr, nullptr, wide(fromUtf8(row.query)), EvtQueryChannelPath), nullptr);
        EXPECT_EQ(GetLastError(), row.error) << row.query;
    }
}

TEST_F(EventService, GivesEventsInTheDirectionAskedForAndInTime) {
    channel->millisecondsPerEvent = 300;
    const EVT_HANDLE query =
        EvtQuery(nullptr, wide(u"system"), wide(u"*"), EvtQueryChannelPath | EvtQueryReverseDirection);
    EVT_HANDLE events[4] = {};
    DWORD count = 0;
    // Two arrive in time, the third by the next call; then comes the end.
    ASSERT_TRUE(EvtNext(query, 4, events, 700, 0, &count));
    EXPECT_EQ(count, 2u);
    EXPECT_FALSE(EvtNext(query, 2, events + 2, 100, 0, &count));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_TIMEOUT});
    ASSERT_TRUE(EvtNext(query, 2, events + 2, INFINITE, 0, &count));
    EXPECT_EQ(count, 1u);
    EXPECT_FALSE(EvtNext(query, 1, events + 3, 0, 0, &count));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(simulation::sleptMilliseconds(), 700u + 100u + 300u);
    EXPECT_EQ(variant(render(events[0], EvtRenderContextSystem), EvtSystemEventID).UInt16Val, 1101);
    for (int index = 0; index < 3; ++index) EXPECT_TRUE(EvtClose(events[index]));
    channel->millisecondsPerEvent = 0;

    // Seeking counts the events that the query selects.
    ASSERT_TRUE(EvtSeek(query, 0, nullptr, 0, EvtSeekRelativeToLast));
    ASSERT_TRUE(EvtNext(query, 4, events, 0, 0, &count));
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(variant(render(events[0], EvtRenderContextSystem), EvtSystemEventID).UInt16Val, 7);
    EvtClose(events[0]);
    EXPECT_TRUE(EvtSeek(query, -2, nullptr, 0, EvtSeekRelativeToCurrent | EvtSeekStrict));
    EXPECT_FALSE(EvtSeek(query, 3, nullptr, 0, EvtSeekRelativeToFirst | EvtSeekStrict));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_FOUND});
    EXPECT_TRUE(EvtSeek(query, -5000, nullptr, 0, EvtSeekRelativeToFirst));
    ASSERT_TRUE(EvtNext(query, 4, events, 0, 0, &count));
    EXPECT_EQ(count, 3u);
    for (DWORD index = 0; index < count; ++index) EvtClose(events[index]);
    EXPECT_TRUE(EvtClose(query));
}

TEST_F(EventService, RendersXmlAsTheServiceDoes) {
    channel->events.clear();
    ChannelEvent event(u"A&B", 7, BaseTime + 1234567);
    event.qualifiers = 0xC004;
    event.user = u"S-1-5-18";
    event.channel = u"System";
    event.computer = u"PC";
    event.with(u"It's", u"a < b\r\n")
        .with(u"", EventValue::array(EvtVarTypeUInt16, {EventValue::number(EvtVarTypeUInt16, 1),
                                                        EventValue::number(EvtVarTypeUInt16, 2)}));
    channel->add(event);
    const auto events = all(u"*");
    WCHAR buffer[2048];
    DWORD used = 0, count = 7;
    EXPECT_FALSE(EvtRender(nullptr, events[0], EvtRenderEventXml, 100, buffer, &used, &count));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    const DWORD needed = used;
    ASSERT_TRUE(EvtRender(nullptr, events[0], EvtRenderEventXml, needed, buffer, &used, &count));
    EXPECT_EQ(count, 0u);
    const std::string xml = toUtf8(fromWide(buffer));
    EXPECT_EQ(needed, (xml.size() + 1) * 2);
    EXPECT_EQ(xml,
              "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System>"
              "<Provider Name='A&amp;B'/><EventID Qualifiers='49156'>7</EventID><Version>0</Version>"
              "<Level>4</Level><Task>0</Task><Opcode>0</Opcode><Keywords>0x8000000000000000</Keywords>"
              "<TimeCreated SystemTime='2026-02-03T04:05:06.1234567Z'/><EventRecordID>1</EventRecordID>"
              "<Correlation/><Execution ProcessID='4' ThreadID='8'/><Channel>System</Channel>"
              "<Computer>PC</Computer><Security UserID='S-1-5-18'/></System><EventData>"
              "<Data Name='It&apos;s'>a &lt; b\r\n</Data><Data>1</Data><Data>2</Data></EventData></Event>");
    EvtClose(events[0]);
}

TEST_F(EventService, RendersEveryTypeOfValueIntoTheCallersBuffer) {
    channel->events.clear();
    const GUID guid = GUID_DEVCLASS_DISKDRIVE;
    ChannelEvent event(u"Types", 1, BaseTime);
    event.with(u"t", u"text").with(u"a", EventValue::ansi("ansi"));
    event.with(u"n", EventValue::number(EvtVarTypeInt16, -2));
    event.with(u"f", EventValue::realNumber(EvtVarTypeSingle, 0.5));
    event.with(u"d", EventValue::realNumber(EvtVarTypeDouble, -0.25));
    event.with(u"b", EventValue::binary({1, 2, 3})).with(u"g", EventValue::guid(guid));
    event.with(u"s", EventValue::systemTime(BaseTime)).with(u"i", EventValue::sid(u"S-1-5-32-544"));
    event.with(u"l", EventValue::array(EvtVarTypeString, {u"one", u"two"}));
    event.with(u"0", {});
    channel->add(event);
    const auto events = all(u"*");
    ASSERT_EQ(events.size(), 1u);
    const auto bytes = render(events[0], EvtRenderContextUser);
    const auto* const end = bytes.data() + bytes.size();
    ASSERT_GE(bytes.size(), 11 * sizeof(EVT_VARIANT));
    const auto inside = [&](const void* pointer, size_t size) {
        // What is pointed at lay in the buffer that was given, which is this one.
        const auto* const at = static_cast<const unsigned char*>(pointer);
        return at >= bytes.data() + 11 * sizeof(EVT_VARIANT) && at + size <= end;
    };
    EXPECT_TRUE(inside(variant(bytes, 0).StringVal, 10));
    EXPECT_EQ(toUtf8(fromWide(variant(bytes, 0).StringVal)), "text");
    EXPECT_STREQ(variant(bytes, 1).AnsiStringVal, "ansi");
    EXPECT_EQ(variant(bytes, 2).Int16Val, -2);
    EXPECT_EQ(variant(bytes, 2).Int64Val, 0xFFFE);
    EXPECT_EQ(variant(bytes, 3).SingleVal, 0.5f);
    EXPECT_EQ(variant(bytes, 4).DoubleVal, -0.25);
    EXPECT_EQ(variant(bytes, 5).Count, 3u);
    EXPECT_EQ(variant(bytes, 5).BinaryVal[2], 3);
    EXPECT_TRUE(IsEqualGUID(*variant(bytes, 6).GuidVal, guid));
    EXPECT_EQ(variant(bytes, 7).SysTimeVal->wYear, 2026);
    EXPECT_EQ(variant(bytes, 7).SysTimeVal->wDayOfWeek, 2);  // a Tuesday
    EXPECT_TRUE(inside(variant(bytes, 8).SidVal, 16));
    EXPECT_EQ(variant(bytes, 9).Type, DWORD{EvtVarTypeString | EVT_VARIANT_TYPE_ARRAY});
    EXPECT_EQ(variant(bytes, 9).Count, 2u);
    EXPECT_EQ(toUtf8(fromWide(variant(bytes, 9).StringArr[1])), "two");
    EXPECT_EQ(variant(bytes, 10).Type, DWORD{EvtVarTypeNull});

    // Paths that lead to nothing are null; one that is none makes no context.
    const auto values =
        render(events[0], EvtRenderContextValues,
               {wide(u"Event/System/Provider/@Name"), wide(u"Event/EventData/Data[@Name='n']"),
                wide(u"Event/EventData/Data[@Name='x']"), wide(u"Event/System/Level")});
    EXPECT_EQ(toUtf8(fromWide(variant(values, 0).StringVal)), "Types");
    EXPECT_EQ(variant(values, 1).Type, DWORD{EvtVarTypeInt16});
    EXPECT_EQ(variant(values, 2).Type, DWORD{EvtVarTypeNull});
    EXPECT_EQ(variant(values, 3).ByteVal, 4);
    const Text ill = u"Event/System[";
    LPCWSTR wrong[] = {wide(ill)};
    EXPECT_EQ(EvtCreateRenderContext(1, wrong, EvtRenderContextValues), nullptr);
    EXPECT_EQ(EvtCreateRenderContext(0, nullptr, EvtRenderContextValues), nullptr);
    EvtClose(events[0]);
}

TEST_F(EventService, FormatsMessagesOfPublishersAndOfClassicSources) {
    machine.events.publishers[u"Nordlicht-Fan"].messages[1] = u"Fan %1 at %2!u!%% of %7.%n%0 tail";
    machine.environment[u"SystemRoot"] = u"C:\\Windows";
    machine.files[u"C:\\Windows\\io.dll"].messages = {{0xC0040007, u"%1 is bad.%n"}};
    machine.localMachine()
        .make(u"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\disk")
        .values[u"EventMessageFile"] =
        RegistryValue::text(u"C:\\none.dll;%SystemRoot%\\io.dll", REG_EXPAND_SZ);
    const auto events = all(u"*");
    ASSERT_EQ(events.size(), 3u);
    const auto format = [](LPCWSTR publisher, EVT_HANDLE event, DWORD what = EvtFormatMessageEvent) {
        const EVT_HANDLE metadata = EvtOpenPublisherMetadata(nullptr, publisher, nullptr, 0, 0);
        if (metadata == nullptr) return std::to_string(GetLastError());
        DWORD used = 0;
        WCHAR text[100] = {};
        std::string result;
        if (EvtFormatMessage(metadata, event, 0, 0, nullptr, what, 0, nullptr, &used)) result = "?";
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            result += std::to_string(GetLastError());
        } else {
            const bool whole = EvtFormatMessage(metadata, event, 0, 0, nullptr, what, used, text, &used) != 0;
            result += toUtf8(fromWide(text)) + (whole ? "" : " " + std::to_string(GetLastError()));
            EXPECT_EQ(used, fromWide(text).size() + 1);
        }
        EvtClose(metadata);
        return result;
    };
    EXPECT_EQ(format(wide(u"disk"), events[0]), "\\Device\\Harddisk1 is bad.\r\n");
    EXPECT_EQ(format(wide(u"Nordlicht-Fan"), events[1]), "Fan CPU at 900% of %7.\r\n 15029");
    EXPECT_EQ(format(wide(u"Nordlicht-Fan"), events[1], EvtFormatMessageLevel), "Critical");
    EXPECT_EQ(format(wide(u"Nordlicht-Fan"), events[2]), "15027");
    EXPECT_EQ(format(wide(u"Memory"), events[2]), "15002");
    for (const EVT_HANDLE event : events) EvtClose(event);
}

TEST_F(EventService, AccountsForEveryHandle) {
    const EVT_HANDLE query = EvtQuery(nullptr, wide(u"System"), nullptr, EvtQueryChannelPath);
    EVT_HANDLE event = nullptr;
    DWORD count = 0;
    ASSERT_TRUE(EvtNext(query, 1, &event, 0, 0, &count));
    EXPECT_EQ(simulation::ledger().count(Resource::EventQuery), 1u);
    EXPECT_EQ(simulation::ledger().count(Resource::Event), 1u);
    EXPECT_TRUE(EvtClose(query));
    EXPECT_FALSE(EvtClose(nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    failCall("EvtClose", RPC_S_CALL_FAILED);
    EXPECT_FALSE(EvtClose(event));
    EXPECT_TRUE(simulation::ledger().empty());

    std::string violations;
    simulation::ledger().setViolationHandler([&](const std::string& text) { violations += text + "\n"; });
    EXPECT_FALSE(EvtClose(event));
    EXPECT_FALSE(EvtNext(query, 1, &event, 0, 0, &count));
    EXPECT_EQ(violations,
              "EvtClose was given a closed event of EvtNext\n"
              "EvtNext was given a closed event query of EvtQuery\n");
}

class ClassicEvents : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        log = &machine.events.classic[u"System"];
        for (DWORD id = 1; id <= 5; ++id) log->add(record(id));
        handle = OpenEventLogW(nullptr, wide(u"SYSTEM"));
    }
    void TearDown() override {
        EXPECT_TRUE(CloseEventLog(handle));
        SimulatedPc::TearDown();
    }

    static ClassicRecord record(DWORD id) {
        ClassicRecord result;
        result.source = u"disk";
        result.id = id;
        result.strings = {u"one", u""};
        result.data = {0xDA, 0x7A, 0x01};
        result.sid = {1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
        return result;
    }

    // The IDs of the records read, or the error.
    std::string read(DWORD flags, DWORD offset = 0, DWORD size = 65536) {
        std::vector<unsigned char> buffer(size);
        DWORD bytes = 77;
        needed = 77;
        if (!ReadEventLogW(handle, flags, offset, buffer.data(), size, &bytes, &needed)) {
            // Nothing is written before the arguments are taken.
            EXPECT_EQ(bytes, GetLastError() == ERROR_INVALID_PARAMETER && offset == 0 ? 77u : 0u);
            return "error " + std::to_string(GetLastError());
        }
        std::string ids;
        for (size_t at = 0; at < bytes;) {
            EVENTLOGRECORD header;
            std::memcpy(&header, &buffer[at], sizeof header);
            ids += std::to_string(header.EventID) + " ";
            at += header.Length;
        }
        return ids;
    }

    static constexpr DWORD Forwards = EVENTLOG_SEQUENTIAL_READ | EVENTLOG_FORWARDS_READ;
    static constexpr DWORD Backwards = EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ;
    ClassicLog* log = nullptr;
    HANDLE handle = nullptr;
    DWORD needed = 0;
};

TEST_F(ClassicEvents, LayRecordsOutAsWindowsDoes) {
    const auto bytes = record(0xC0040007).packed();
    EVENTLOGRECORD header;
    std::memcpy(&header, bytes.data(), sizeof header);
    EXPECT_EQ(header.Length, bytes.size());
    EXPECT_EQ(header.Length % 4, 0u);
    EXPECT_EQ(header.Reserved, 0x654C664Cu);
    EXPECT_EQ(header.NumStrings, 2u);
    // Source and computer follow the header; the SID begins at a multiple of four.
    const auto textAt = [&](size_t at) {
        Text text;
        for (char16_t unit = 0;; at += 2, text += unit) {
            std::memcpy(&unit, &bytes.at(at), 2);
            if (unit == 0) return toUtf8(text);
        }
    };
    EXPECT_EQ(textAt(56), "disk");
    EXPECT_EQ(textAt(66), "PC");
    EXPECT_EQ(header.UserSidOffset, 72u);
    EXPECT_EQ(header.UserSidLength, 12u);
    EXPECT_EQ(header.StringOffset, 84u);
    EXPECT_EQ(textAt(84), "one");
    EXPECT_EQ(header.DataOffset, 84u + 8 + 2);
    EXPECT_EQ(header.DataLength, 3u);
    EXPECT_EQ(bytes[header.DataOffset], 0xDA);
    EXPECT_EQ(0, std::memcmp(&bytes[bytes.size() - 4], &header.Length, 4));
}

TEST_F(ClassicEvents, ReadWholeRecordsInEitherDirection) {
    const DWORD one = static_cast<DWORD>(record(1).packed().size());
    EXPECT_EQ(read(Forwards, 0, 2 * one + 1), "1 2 ");
    EXPECT_EQ(read(Forwards, 0, one - 1), "error 122");
    EXPECT_EQ(needed, one);
    EXPECT_EQ(read(Forwards, 0, one), "3 ");
    EXPECT_EQ(read(Forwards), "4 5 ");
    EXPECT_EQ(read(Forwards), "error 38");
    EXPECT_EQ(read(EVENTLOG_SEEK_READ | EVENTLOG_FORWARDS_READ, 4), "4 5 ");
    EXPECT_EQ(read(EVENTLOG_SEEK_READ | EVENTLOG_BACKWARDS_READ, 2), "2 1 ");
    EXPECT_EQ(read(EVENTLOG_SEEK_READ | EVENTLOG_BACKWARDS_READ, 6), "error 87");
    CloseEventLog(handle);
    handle = OpenEventLogW(nullptr, wide(u"System"));
    EXPECT_EQ(read(Backwards, 0, 3 * one), "5 4 3 ");
    EXPECT_EQ(read(Backwards), "2 1 ");
    EXPECT_EQ(read(Backwards), "error 38");
    for (const DWORD flags : {0u, 1u, 4u, 3u | 4u, 1u | 12u}) EXPECT_EQ(read(flags), "error 87") << flags;
    EXPECT_EQ(read(Forwards, 0, 0x80000), "error 87");
    DWORD number = 0;
    EXPECT_TRUE(GetNumberOfEventLogRecords(handle, &number));
    EXPECT_EQ(number, 5u);
    EXPECT_TRUE(GetOldestEventLogRecord(handle, &number));
    EXPECT_EQ(number, 1u);
}

TEST_F(ClassicEvents, ClearedLogsAreReadNoFurther) {
    log->clearAfter = 1;
    EXPECT_EQ(read(Forwards, 0, 300), "1 2 ");
    EXPECT_EQ(read(Forwards), "error 1503");
    EXPECT_EQ(read(Forwards), "error 1503");
    log->add(record(9));
    CloseEventLog(handle);
    // A log that nobody registered is the Application log.
    EXPECT_EQ(OpenEventLogW(nullptr, wide(u"Nobody's")), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    machine.events.classic[u"Application"].add(record(21));
    handle = OpenEventLogW(nullptr, wide(u"Nobody's"));
    EXPECT_EQ(read(Forwards), "21 ");
    CloseEventLog(handle);
    handle = OpenEventLogW(nullptr, wide(u"System"));
    EXPECT_EQ(read(Forwards), "9 ");
}

class MessageFiles : public SimulatedPc {
protected:
    static constexpr DWORD Array = FORMAT_MESSAGE_ARGUMENT_ARRAY;
    static constexpr DWORD Pass = FORMAT_MESSAGE_IGNORE_INSERTS;

    // The text, or the error.
    static std::string format(const Text& message, DWORD flags, ULONG_PTR* arguments) {
        LPWSTR text = nullptr;
        const DWORD units =
            FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING | flags, wide(message),
                           0, 0, reinterpret_cast<LPWSTR>(&text), 1, reinterpret_cast<va_list*>(arguments));
        if (units == 0) return "error " + std::to_string(GetLastError());
        const std::string result = toUtf8(fromWide(text, units));
        EXPECT_EQ(LocalFree(text), nullptr);
        return result;
    }
};

// These hold for the system's own function as well, which a Windows program asks here.
TEST_F(MessageFiles, FollowTheSystemsInsertSyntax) {
    const auto address = [](const void* text) { return reinterpret_cast<ULONG_PTR>(text); };
    ULONG_PTR arguments[] = {address(u"one"), address(u"two"), 42, 6, address(u"six"), address("ansi"), 0};
    const struct {
        const char* message;
        const char* with;
        const char* without;
    } cases[] = {
        {"a %1 b %2", "a one b two", "a %1 b %2"},
        {"a%nb%rc%td", "a\r\nb\rc\td", "a\r\nb\rc\td"},
        {"%%5%% %. %! % x%a", "%5% . !  xa", "%%5%% %. %! % x%a"},
        {"x%0y", "x", "x"},
        {"tail%", "error 87", "error 87"},
        {"%1!s!|%1!5s!|%1!-5s!|%1!.2s!", "one|  one|one  |on", "%1!s!|%1!5s!|%1!-5s!|%1!.2s!"},
        {"%3!u! %3!x! %3!08X! %3!d! %3!I64u! %3!c!", "42 2a 0000002A 42 42 *",
         "%3!u! %3!x! %3!08X! %3!d! %3!I64u! %3!c!"},
        {"%4!*s!|%6!hs!|%6!S!", "   six|ansi|ansi", "%4!*s!|%6!hs!|%6!S!"},
        {"%7|%7!s!", "(null)|(null)", "%7|%7!s!"},
        {"%1!u", "error 87", "%1!u"},
        {"one\ntwo\r\n", "one\r\ntwo\r\n", "one\r\ntwo\r\n"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(format(fromUtf8(each.message), Array, arguments), each.with) << each.message;
        EXPECT_EQ(format(fromUtf8(each.message), Pass, nullptr), each.without) << each.message;
    }
}

TEST_F(MessageFiles, TellWhatTheyLack) {
    const Text path = u"C:\\Windows\\System32\\io.dll";
    machine.files[path].image = true;
    const HMODULE module = LoadLibraryExW(wide(path), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    WCHAR buffer[8];
    const auto ask = [&](DWORD id, DWORD units) {
        ULONG_PTR arguments[99] = {reinterpret_cast<ULONG_PTR>(u"12345")};
        const DWORD result = FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | Array, module, id, 0, buffer, units,
                                            reinterpret_cast<va_list*>(arguments));
        return result != 0 ? static_cast<int>(result) : -static_cast<int>(GetLastError());
    };
    EXPECT_EQ(ask(7, 8), -ERROR_RESOURCE_TYPE_NOT_FOUND);
    machine.files[path].messages = {{7, u"<%1>"}};
    EXPECT_EQ(ask(8, 8), -ERROR_MR_MID_NOT_FOUND);
    EXPECT_EQ(ask(7, 7), -ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(ask(7, 8), 7);
    EXPECT_EQ(toUtf8(fromWide(buffer)), "<12345>");
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE, module, 7, 0, buffer, 8, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_TRUE(FreeLibrary(module));
}

class EventLogFile : public SimulatedPc {
protected:
    static std::string mistake(const std::string& json) {
        try {
            simulation::readMachine(json, "pc.json");
        } catch (const simulation::MachineFileError& error) {
            return error.what();
        }
        return "none";
    }
    static std::string event(const std::string& members) {
        return R"({"eventLogs": {"logs": {"System": {"events": [{"time": "2026-01-01", "provider": "p", "id": 1)" +
               (members.empty() ? "" : ", " + members) + "}]}}}}";
    }
};

TEST_F(EventLogFile, FillsChannelAndClassicLogAlike) {
    machine = simulation::readMachine(R"({
      "files": [{"path": "C:\\io.dll", "messages": {"0xC0040007": "bad %1", "9": "nine"}}],
      "eventLogs": {"computer": "BENCH", "logs": {"System": {"classic": true, "firstRecord": 100, "events": [
        {"time": "2026-01-03", "provider": "late", "id": 3, "data": [{"name": "N", "type": "Int16", "value": "{5-9}"}],
         "repeat": {"count": 20, "until": "2026-01-23"}},
        {"time": "2026-01-02", "provider": "disk", "id": "0xC0040007", "level": "error", "task": 4,
         "user": "S-1-5-18", "data": ["{one|two}", {"type": "Binary", "value": "0a"}]}]}}}})",
                                      "pc.json");
    ASSERT_EQ(machine.files[u"C:\\io.dll"].messages->count(0xC0040007), 1u);
    const auto& events = machine.events.channels[u"System"].events;
    const ClassicLog& records = machine.events.classic[u"System"];
    ASSERT_EQ(events.size(), 21u);
    EXPECT_EQ(records.count(), 21u);
    EXPECT_EQ(records.oldestNumber(), 100u);
    EXPECT_EQ(events[0].provider, u"disk");
    EXPECT_EQ(events[0].record, 100u);
    EXPECT_EQ(events[0].qualifiers, 0xC004);
    ASSERT_FALSE(events[0].content.children.empty());
    const Text text = events[0].content.children[0].value.text;
    EXPECT_TRUE(text == u"one" || text == u"two");
    EVENTLOGRECORD header;
    std::memcpy(&header, records.bytes(), sizeof header);
    EXPECT_EQ(header.EventID, 0xC0040007u);
    EXPECT_EQ(header.EventType, EVENTLOG_ERROR_TYPE);
    EXPECT_EQ(header.EventCategory, 4);
    EXPECT_EQ(header.NumStrings, 1);
    EXPECT_EQ(header.DataLength, 1u);
    EXPECT_EQ(header.UserSidLength, 12u);
    EXPECT_EQ(header.TimeGenerated, 1767312000u);
    // Repeated events are spread over their time, in order, and the same in every run.
    for (size_t index = 1; index < events.size(); ++index) {
        EXPECT_GE(events[index].time, events[index - 1].time);
        const auto number = static_cast<INT16>(events[index].content.children[0].value.bits);
        EXPECT_TRUE(number >= 5 && number <= 9) << number;
    }
    EXPECT_LT(events.back().time, BaseTime);
}

TEST_F(EventLogFile, TellsMistakesByTheirPlace) {
    const std::string at = "pc.json: eventLogs.logs.System.events[0]";
    const struct {
        const char* members;
        std::string sentence;
    } cases[] = {
        {R"("level": "bad")", at + R"(.level: found "bad", expected critical, error, warning, information, )"
                                   R"(verbose, audit success, audit failure or a number)"},
        {R"("data": [{"type": "UInt33", "value": 1}])",
         at + R"(.data[0].type: found "UInt33", expected a type like "UInt32" or "String[]")"},
        {R"("data": [{"type": "Byte", "value": 256}])",
         at + ".data[0].value: found 256, expected a Byte number"},
        {R"("data": [{"type": "UInt32", "value": "{a|b}"}])",
         at + R"(.data[0].value: found "{a|b}", expected a UInt32 number)"},
        {R"("user": "me")", at + R"(.user: found "me", expected a SID like "S-1-5-18")"},
        {R"("data": [], "userData": {"group": "G", "values": []})",
         at + R"(: found "data" and "userData", expected one of them)"},
        {R"("userData": {"group": "a b", "values": []})",
         at + R"(.userData.group: found "a b", expected a name of letters, digits and _)"},
        {R"("repeat": {"count": 3, "until": "2025-01-01"})",
         at + R"(.repeat.until: found "2025-01-01", expected a time that is not before the event's)"},
        {R"("repeat": {"count": 300000, "until": "2027-01-01"})",
         at + ".repeat.count: found 300000, expected a count from 1 to 200000"},
    };
    for (const auto& each : cases) EXPECT_EQ(mistake(event(each.members)), each.sentence);
    EXPECT_EQ(mistake(event("")), "none");
    EXPECT_EQ(mistake(R"({"files": [{"path": "C:\\a.dll", "messages": {"x": "y"}}]})"),
              R"(pc.json: files[0].messages.x: found no message ID, expected one like "7" or "0xC0040007")");
    EXPECT_EQ(mistake(R"({"eventLogs": {"logs": {"A": {"openError": 5}}}})"),
              "pc.json: eventLogs.logs.A.openError: found this of a log that is not classic");
}

TEST_F(EventLogFile, TheBundledPcHasThreeYearsOfThem) {
    machine = simulation::readMachine(simulation::bundledMachine(), "bundled");
    const auto& system = machine.events.channels[u"System"].events;
    const auto& application = machine.events.channels[u"Application"].events;
    ASSERT_FALSE(system.empty());
    EXPECT_GT(system.size() + application.size(), 5000u);
    EXPECT_EQ(machine.events.classic[u"System"].count(), system.size());
    EXPECT_GT(system.back().time - system.front().time, 1000 * 1440 * Minute);
    std::map<Text, unsigned> sources;
    for (const auto* const events : {&system, &application}) {
        for (const ChannelEvent& event : *events) ++sources[event.provider];
    }
    EXPECT_GE(sources.size(), 12u);
    unsigned without = 0;
    for (const auto& [source, count] : sources) {
        const EVT_HANDLE metadata = EvtOpenPublisherMetadata(nullptr, wide(source), nullptr, 0, 0);
        if (metadata == nullptr) ++without;
        EvtClose(metadata);
    }
    EXPECT_EQ(without, 3u);  // two name no file, one a file that is gone
}

}  // namespace
