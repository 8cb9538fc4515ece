#include "libSysmira/eventLogs/VistaEventLogs.h"

#include <cstdlib>
#include <ctime>

#include "support/System.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::getLastEventQueryError;
using libSysmira::VistaEventLogs;
using simulation::ChannelEvent;
using simulation::EventValue;
using simulation::Resource;
using zor::ZORValue;

using Row = zor::Array<ZORValue>;
using Rows = zor::Array<Row>;
using Texts = zor::Array<zor::String>;

constexpr auto NewestFirst = VistaEventLogs::NewestFirst;
constexpr auto OldestFirst = VistaEventLogs::OldestFirst;

const char* const IdPath = "Event/System/EventID";
const char* const ProviderPath = "Event/System/Provider/@Name";

class EventChannel : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        channel = &machine.events.channels[u"System"];
        zor::LogFactory::setPriority(1);
        forgetCalls();
    }
    void TearDown() override {
        EXPECT_TRUE(simulation::ledger().empty()) << simulation::ledger().describe();
        SimulatedPc::TearDown();
    }

    ChannelEvent& add(const Text& provider, WORD id) { return channel->add(ChannelEvent(provider, id)); }

    // The values of an event's data, by paths of their names.
    Row valuesOf(const std::vector<std::pair<Text, EventValue>>& data) {
        ChannelEvent event(u"fan", 1);
        Texts paths;
        for (const auto& [name, value] : data) {
            event.with(name, value);
            paths.append(zorText(u"Event/EventData/Data[@Name='" + name + u"']"));
        }
        channel->events.clear();
        channel->add(std::move(event));
        log.clear();
        Rows rows;
        EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, paths, rows));
        EXPECT_EQ(rows.size(), 1u);
        return rows.empty() ? Row() : rows[0];
    }

    // An error as this system words it.
    static std::string reason(DWORD error) {
        return zor::System::getSystemErrorMsg(error).getUTF8String().c_str();
    }

    static Strings textsOf(const Row& row) {
        Strings texts;
        for (const ZORValue& value : row) texts.push_back(plain(value.toString()));
        return texts;
    }

    Strings logTexts() const {
        Strings texts;
        for (const LogLine& line : log) {
            EXPECT_EQ(line.logger, "Sysmira.VistaEventLogs");
            texts.push_back(std::to_string(line.priority) + ": " + line.text);
        }
        return texts;
    }

    simulation::EventChannel* channel = nullptr;
};

// Queries

TEST_F(EventChannel, IsAskedForOneEventAfterTheOtherInEitherDirection) {
    for (WORD id : {1, 2, 3}) add(u"fan", id);
    const struct {
        VistaEventLogs::SortOrder order;
        const char* flags;
        Strings ids;
    } directions[] = {{NewestFirst, "513", {"3", "2", "1"}},
                      {OldestFirst, "257", {"1", "2", "3"}},
                      {static_cast<VistaEventLogs::SortOrder>(7), "257", {"1", "2", "3"}}};
    for (const auto& [order, flags, ids] : directions) {
        forgetCalls();
        Rows rows;
        EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", order, {IdPath}, rows));
        EXPECT_EQ(argumentsOf("EvtQuery"), Strings{std::string("System, *, ") + flags});
        EXPECT_EQ(argumentsOf("EvtNext"), Strings(4, "1, 5000"));
        EXPECT_EQ(argumentsOf("EvtRender"), Strings(3, "0, 256"));
        EXPECT_EQ(calls("EvtClose"), 5u);
        Strings found;
        for (const Row& row : rows) found.push_back(plain(row[0].toString()));
        EXPECT_EQ(found, ids);
        EXPECT_EQ(getLastEventQueryError(), 0u);
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(EventChannel, AQueryThatWindowsRefusesFindsNothingAndSaysWhy) {
    const Texts paths{IdPath};
    Rows rows{Row()};
    Texts xml = usedArray(), messages = usedArray();
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*[non%use", NewestFirst, xml));
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(ERROR_EVT_INVALID_QUERY));
    EXPECT_TRUE(VistaEventLogs::queryLogs("Nowhere", "*", NewestFirst, paths, rows));
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(ERROR_EVT_CHANNEL_NOT_FOUND));
    EXPECT_TRUE(VistaEventLogs::queryLogs("Nowhere", "*", NewestFirst, paths, rows, messages));
    EXPECT_TRUE(xml.empty());
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(messages.size(), 2u);
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(logTexts()[0],
              "1: 53 Query \"*[non%use\" on channel \"System\" returned error - Error(15001) : " +
                  reason(ERROR_EVT_INVALID_QUERY));
    EXPECT_EQ(logTexts()[1].substr(0, 69),
              "1: 53 Query \"*\" on channel \"Nowhere\" returned error - Error(15007) : ");

    // Some systems give no query and no reason.
    SetLastError(0);
    distort("EvtQuery", Distortion::NullResult);
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, paths, rows));
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(ERROR_GEN_FAILURE));
    EXPECT_EQ(calls("EvtCreateRenderContext"), 0u) << "nor have they contexts";
}

TEST_F(EventChannel, AnEmptyQueryFindsNothing) {
    add(u"fan", 1);
    Rows rows{Row()};
    Texts xml, messages;
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "", NewestFirst, xml)) << "Windows is asked";
    EXPECT_TRUE(xml.empty());
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(ERROR_EVT_INVALID_QUERY));
    log.clear();
    forgetCalls();
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "", NewestFirst, {IdPath}, rows));
    EXPECT_TRUE(rows.empty());
    rows.append(Row());
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "", NewestFirst, {IdPath}, rows, messages));
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(callNames(), Strings{});
}

TEST_F(EventChannel, WhateverEndsTheEventsIsTheirEnd) {
    for (WORD id : {1, 2, 3}) add(u"fan", id);
    Rows rows;
    failCall("EvtNext", RPC_S_CALL_FAILED, 3);
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows));
    EXPECT_EQ(rows.size(), 2u);
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(RPC_S_CALL_FAILED));
    clearFaults();
    for (const Distortion distortion :
         {Distortion::NullResult, Distortion::NothingWritten, Distortion::SizeZero}) {
        distort("EvtNext", distortion, 2);
        EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows));
        EXPECT_EQ(rows.size(), 1u) << "a success without a handle";
        clearFaults();
    }
    channel->millisecondsPerEvent = 5000;
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows));
    EXPECT_EQ(rows.size(), 3u);
    channel->millisecondsPerEvent = 5001;
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows));
    EXPECT_EQ(rows.size(), 0u);
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(ERROR_TIMEOUT));
    EXPECT_TRUE(log.empty());
}

TEST_F(EventChannel, AnEventThatCannotBeClosedIsLoggedAndTheOthersAreClosed) {
    for (WORD id : {1, 2, 3}) add(u"fan", id);
    Texts xml;
    failCall("EvtClose", ERROR_INVALID_HANDLE, 2);
    SetLastError(1234);
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, xml));
    EXPECT_EQ(logTexts(), Strings{"3: 77 Failed to close eventlog: " + reason(ERROR_INVALID_HANDLE)});
    EXPECT_EQ(calls("EvtClose"), 4u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER)) << "closing keeps it";
}

// XML

TEST_F(EventChannel, XmlIsTheWholeEvent) {
    add(u"fan", 7).with(u"Speed", EventValue::number(EvtVarTypeUInt32, 900));
    add(u"disk", 8);
    Texts xml = usedArray();
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", OldestFirst, xml));
    ASSERT_EQ(xml.size(), 2u);
    EXPECT_EQ(plain(xml[0]).compare(0, 6, "<Event"), 0);
    EXPECT_NE(plain(xml[0]).find("<Data Name='Speed'>900</Data>"), std::string::npos) << plain(xml[0]);
    EXPECT_EQ(plain(xml[0]).substr(xml[0].size() - 8), "</Event>");
    const Strings sizes = argumentsOf("EvtRender");
    ASSERT_EQ(sizes.size(), 4u);
    EXPECT_EQ(sizes[0], "1, 0");
    EXPECT_EQ(sizes[1], "1, " + std::to_string((xml[0].size() + 1) * 2));

    distort("EvtRender", Distortion::NoTerminator, 2);
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*[System/EventID=8]", OldestFirst, xml));
    EXPECT_LE(xml[0].size(), 4000u) << "the text ends with its buffer";
}

TEST_F(EventChannel, AnEventWithoutXmlEndsTheList) {
    for (WORD id : {1, 2}) add(u"fan", id);
    const auto list = [] {
        Texts xml;
        EXPECT_FALSE(VistaEventLogs::queryLogs("System", "*", NewestFirst, xml));
        clearFaults();
        return xml.size();
    };
    failCall("EvtRender", ERROR_EVT_INVALID_EVENT_DATA, 3);
    EXPECT_EQ(list(), 1u) << "its size is not told";
    failCall("EvtRender", ERROR_EVT_INVALID_EVENT_DATA, 4);
    EXPECT_EQ(list(), 1u) << "it is not rendered";
    failCall("EvtRender", ERROR_INSUFFICIENT_BUFFER, 2);
    EXPECT_EQ(list(), 0u) << "it has grown meanwhile";
    distort("EvtRender", Distortion::SizeTooLarge, 1);
    EXPECT_LE(list(), 2u);
    distort("EvtRender", Distortion::SizeZero, 1);
    EXPECT_EQ(list(), 0u);
}

// Values

TEST_F(EventChannel, ValuesKeepTheirTypes) {
    // 2006-06-21 14:03:09.250
    constexpr ULONGLONG ticks = 127953721892500000ull;
    const Row row = valuesOf({{u"text", u"\u00B5"},
                              {u"ansi", EventValue::ansi("9 \xB5")},
                              {u"i16", EventValue::number(EvtVarTypeInt16, -2)},
                              {u"u16", EventValue::number(EvtVarTypeUInt16, 65535)},
                              {u"i32", EventValue::number(EvtVarTypeInt32, -3)},
                              {u"u32", EventValue::number(EvtVarTypeUInt32, 4000000000u)},
                              {u"i64", EventValue::number(EvtVarTypeInt64, -4)},
                              {u"u64", EventValue::number(EvtVarTypeUInt64, -1)},
                              {u"no", EventValue::boolean(false)},
                              {u"yes", EventValue::boolean(true)},
                              {u"hex32", EventValue::number(EvtVarTypeHexInt32, 0xC0DE)},
                              {u"hex64", EventValue::number(EvtVarTypeHexInt64, 0xABCDEF0123ll)},
                              {u"file", EventValue::fileTime(ticks)},
                              {u"system", EventValue::systemTime(ticks)}});
    ASSERT_EQ(row.size(), 14u);
    const ZORValue expected[] = {zorText(u"\u00B5"),
                                 zorText(u"9 \u00B5"),
                                 static_cast<short>(-2),
                                 static_cast<unsigned short>(65535),
                                 -3,
                                 4000000000u,
                                 -4ll,
                                 ~0ull,
                                 true,  // the other way round
                                 false,
                                 zor::String("0xC0DE"),
                                 zor::String("0xABCDEF0123")};
    for (unsigned i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(row[i], expected[i]) << i << ": " << plain(row[i].toString());
        EXPECT_STREQ(row[i].getTypeName(), expected[i].getTypeName()) << i;
    }
    for (unsigned i = 12; i < 14; ++i) {
        zor::DateTime time;
        row[i].get(time);
        EXPECT_EQ(time.getMicroseconds(), 250000u);
        EXPECT_EQ(time.getSecond(), 9);
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(EventChannel, OtherTypesAreNullAndNamedInTheLog) {
    const Row row = valuesOf({{u"null", EventValue()},
                              {u"sbyte", EventValue::number(EvtVarTypeSByte, 1)},
                              {u"byte", EventValue::number(EvtVarTypeByte, 1)},
                              {u"single", EventValue::realNumber(EvtVarTypeSingle, 1)},
                              {u"double", EventValue::realNumber(EvtVarTypeDouble, 1)},
                              {u"binary", EventValue::binary({1, 2})},
                              {u"guid", EventValue::guid(GUID_DEVCLASS_NET)},
                              {u"size", EventValue::number(EvtVarTypeSizeT, 1)},
                              {u"sid", EventValue::sid(u"S-1-5-18")},
                              {u"texts", EventValue::array(EvtVarTypeString, {u"a", u"b"})}});
    ASSERT_EQ(row.size(), 10u);
    Strings lines;
    for (const char* type : {"0", "3", "4", "11", "12", "14", "15", "16", "19", "129"}) {
        lines.push_back(std::string("1: 199 Unsupported event variant type (w/ code ") + type + ") returned");
    }
    EXPECT_EQ(logTexts(), lines);
    for (const ZORValue& value : row) EXPECT_TRUE(value.isNull());
}

TEST_F(EventChannel, WhatCannotBeConvertedIsNull) {
    distort("EvtRender", Distortion::NullContent, 1, true);
    for (const ZORValue& value : valuesOf({{u"text", u"a"},
                                           {u"ansi", EventValue::ansi("a")},
                                           {u"time", EventValue::systemTime(127953721892500000ull)}})) {
        EXPECT_TRUE(value.isNull()) << "a null pointer";
    }
    clearFaults();
    EXPECT_TRUE(log.empty());

    failCall("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_TRUE(valuesOf({{u"ansi", EventValue::ansi("abc")}})[0].isNull());
    clearFaults();
    ASSERT_EQ(log.size(), 1u);
    const std::string line = logTexts()[0];
    EXPECT_EQ(line.compare(0, 37, "1: 156 Failed to convert ANSI string:"), 0) << line;
    EXPECT_NE(line.find("61 62 63 00"), std::string::npos) << line;

    failCall("FileTimeToSystemTime", ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(valuesOf({{u"time", EventValue::fileTime(127953721892500000ull)}})[0].isNull());
    clearFaults();
    failCall("SystemTimeToTzSpecificLocalTime", ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(valuesOf({{u"time", EventValue::systemTime(127953721892500000ull)}})[0].isNull());
    clearFaults();
    EXPECT_TRUE(valuesOf({{u"time", EventValue::fileTime(~0ull)}})[0].isNull());
}

#ifdef TARGET_HOST
// Where the zone can be chosen: local time with the offset that holds today, whatever the event's season.
TEST_F(EventChannel, TimesAreLocal) {
    setenv("TZ", "Test-2:30", 1);
    tzset();
    const Row row = valuesOf({{u"time", EventValue::fileTime(127953721892500000ull)}});
    unsetenv("TZ");
    tzset();
    zor::DateTime time;
    row[0].get(time);
    EXPECT_EQ(time, zor::DateTime(2006, 6, 21, 16, 33, 9, 250000, '+', 150));
}
#endif

TEST_F(EventChannel, LongRowsTakeASecondRendering) {
    std::vector<std::pair<Text, EventValue>> data;
    Strings expected;
    for (int i = 0; i < 40; ++i) {
        data.emplace_back(simulation::fromUtf8("name" + std::to_string(i)),
                          simulation::fromUtf8("value " + std::to_string(i)));
        expected.push_back("value " + std::to_string(i));
    }
    EXPECT_EQ(textsOf(valuesOf(data)), expected);
    const Strings sizes = argumentsOf("EvtRender");
    ASSERT_EQ(sizes.size(), 2u);
    EXPECT_EQ(sizes[0], "0, 256");
    EXPECT_NE(sizes[1], "0, 256");

    // 16 values just fit.
    forgetCalls();
    data.assign(16, {u"number", EventValue::number(EvtVarTypeUInt32, 5)});
    EXPECT_EQ(textsOf(valuesOf(data)), Strings(16, "5"));
    EXPECT_EQ(calls("EvtRender"), 1u);

    // More values announced than were written, or a text that has no end.
    distort("EvtRender", Distortion::SizeTooLarge);
    EXPECT_LE(valuesOf({{u"text", u"a"}}).size(), 16u);
    clearFaults();
    distort("EvtRender", Distortion::NoTerminator);
    EXPECT_LE(valuesOf({{u"text", u"a"}})[0].toString().size(), 256u);
    clearFaults();
    distort("EvtRender", Distortion::SizeTooLarge, 1, true);
    data.assign(40, {u"text", u"a"});
    valuesOf(data);
}

TEST_F(EventChannel, AnEventThatCannotBeRenderedHasAnEmptyRow) {
    for (WORD id : {1, 2, 3}) add(u"fan", id);
    Rows rows;
    failCall("EvtRender", ERROR_EVT_INVALID_EVENT_DATA, 2);
    EXPECT_TRUE(
        VistaEventLogs::queryLogs("System", "*", OldestFirst, {IdPath, "Event/System/Nothing"}, rows));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(textsOf(rows[0]), (Strings{"1", ""}));
    EXPECT_EQ(rows[1].size(), 0u);
    EXPECT_EQ(textsOf(rows[2]), (Strings{"3", ""}));
    EXPECT_EQ(getLastEventQueryError(), 0u);
}

TEST_F(EventChannel, PathsThatWindowsRefusesAreAFailure) {
    add(u"fan", 1);
    Rows rows{Row()};
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {"not[a path"}, rows));
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(logTexts(), Strings{"1: 413 Unable to create render context - Error(15001) : " +
                                  reason(ERROR_EVT_INVALID_QUERY)});
    EXPECT_EQ(getLastEventQueryError(), static_cast<DWORD>(ERROR_EVT_INVALID_QUERY));
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "*", NewestFirst, Texts(), rows)) << "no paths at all";

    Texts messages;
    log.clear();
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {"not[a path"}, rows, messages));
    failCall("EvtCreateRenderContext", ERROR_NOT_ENOUGH_MEMORY, 2);
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows, messages));
    EXPECT_TRUE(messages.empty());
    EXPECT_EQ(logTexts(), (Strings{"1: 448 Unable to create system render context - Error(15001) : " +
                                       reason(ERROR_EVT_INVALID_QUERY),
                                   "1: 455 Unable to create user data render context - Error(8) : " +
                                       reason(ERROR_NOT_ENOUGH_MEMORY)}));
}

// Messages

TEST_F(EventChannel, RowsWithMessagesEndInProviderAndUserData) {
    machine.events.publishers[u"fan"].messages = {{7, u"Fan %1 turns at %2."}, {8, u"Fan stopped."}};
    add(u"fan", 7).with(u"Name", u"CPU").with(u"Speed", EventValue::number(EvtVarTypeUInt32, 900));
    add(u"fan", 8);
    Rows rows{Row()};
    Texts messages = usedArray();
    ASSERT_TRUE(VistaEventLogs::queryLogs("System", "*", OldestFirst, {IdPath}, rows, messages));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(textsOf(rows[0]), (Strings{"7", "fan", "CPU", "900"}));
    EXPECT_EQ(textsOf(rows[1]), (Strings{"8", "fan"}));
    ASSERT_EQ(messages.size(), 4u) << "what was there stays";
    EXPECT_EQ(messages[0], "before");
    EXPECT_EQ(messages[2], zor::String(L"Fan CPU turns at 900.\0", 22)) << "with its terminator";
    EXPECT_EQ(messages[3].size(), 13u);
    EXPECT_EQ(argumentsOf("EvtCreateRenderContext"), (Strings{"2, 0", "2, 2"})) << "counted without paths";
    EXPECT_EQ(argumentsOf("EvtFormatMessage"), (Strings{"1, 0", "1, 22", "1, 0", "1, 13"}));
    EXPECT_EQ(calls("EvtOpenPublisherMetadata"), 1u);
    EXPECT_TRUE(log.empty());

    ASSERT_TRUE(VistaEventLogs::queryLogs("System", "*", OldestFirst, Texts(), rows, messages));
    EXPECT_EQ(textsOf(rows[1]), Strings{"fan"});
}

TEST_F(EventChannel, AProviderWithoutMetadataIsAskedOnce) {
    machine.events.publishers[u"fan"].messages = {{7, u"Fan."}};
    for (const Text provider : {u"gone", u"fan", u"gone"}) add(provider, 7).with(u"Name", u"CPU");
    Rows rows;
    Texts messages;
    ASSERT_TRUE(VistaEventLogs::queryLogs("System", "*", OldestFirst, {IdPath}, rows, messages));
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_TRUE(messages[0].empty());
    EXPECT_FALSE(messages[1].empty());
    EXPECT_TRUE(messages[2].empty());
    EXPECT_EQ(textsOf(rows[0]), (Strings{"7", "gone"})) << "nor are there user data";
    EXPECT_EQ(textsOf(rows[1]), (Strings{"7", "fan", "CPU"}));
    EXPECT_EQ(logTexts(),
              (Strings{"3: 492 Unable to open provider metadata for \"gone\" - Error(15002): " +
                           reason(ERROR_EVT_PUBLISHER_METADATA_NOT_FOUND),
                       "1: 503 Cached provider metadata for \"gone\" had a prior error, skipping",
                       "1: 503 Cached provider metadata for \"gone\" had a prior error, skipping"}));
    EXPECT_EQ(calls("EvtOpenPublisherMetadata"), 2u);
}

TEST_F(EventChannel, AMessageThatCannotBeFormattedIsEmpty) {
    machine.events.publishers[u"fan"].messages = {{7, u"Fan."}, {9, u"Fan %3."}};
    const auto message = [&](WORD id) {
        channel->events.clear();
        add(u"fan", id).with(u"Name", u"CPU");
        log.clear();
        Rows rows;
        Texts messages;
        EXPECT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows, messages));
        EXPECT_EQ(rows[0].size(), 3u) << "the user data are there all the same";
        return messages[0];
    };
    EXPECT_TRUE(message(8).empty());
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(logTexts()[0].substr(0, 35), "3: 360 EvtFormatMessage failed with");
    // Partly formatted: the second answer is taken whatever its code.
    EXPECT_EQ(message(9).subString(0, 6), zor::String("Fan %3"));
    failCall("EvtFormatMessage", ERROR_EVT_MESSAGE_NOT_FOUND, 2);
    EXPECT_EQ(message(7), zor::String(L"\0\0\0\0\0", 5)) << "as long as announced";
    EXPECT_TRUE(log.empty());
    clearFaults();
    distort("EvtFormatMessage", Distortion::SizeTooLarge);
    message(7);
    clearFaults();
    distort("EvtFormatMessage", Distortion::SizeZero);
    EXPECT_TRUE(message(7).empty());
}

TEST_F(EventChannel, AnEventWithoutSystemValuesHasNoMessage) {
    machine.events.publishers[u"fan"].messages = {{7, u"Fan."}};
    for (int i = 0; i < 2; ++i) add(u"fan", 7);
    Rows rows;
    Texts messages;
    failCall("EvtRender", ERROR_EVT_INVALID_EVENT_DATA, 1);
    ASSERT_TRUE(VistaEventLogs::queryLogs("System", "*", NewestFirst, {IdPath}, rows, messages));
    ASSERT_EQ(rows.size(), 2u);
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(rows[0].size(), 0u);
    EXPECT_TRUE(messages[0].empty());
    EXPECT_EQ(textsOf(rows[1]), (Strings{"7", "fan"}));
    EXPECT_FALSE(messages[1].empty());
}

}  // namespace
