#include "libSysmira/eventLogs/EventLogParser.h"

#include <cstring>
#include <functional>
#include <memory>

#include "support/RaisedException.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::EventLogParser;
using libSysmira::EventLogSearchParams;
using libSysmira::EventLogViewer;
using simulation::Bytes;
using simulation::ClassicRecord;

using Params = EventLogSearchParams;

// Does what a test says with each record that it is shown.
class Viewer : public EventLogViewer {
public:
    using Work = std::function<bool(EventLogParser&)>;

    explicit Viewer(Work work = nullptr) : m_work(std::move(work)) {}
    bool viewEvent(EventLogParser& parser, void* context) override {
        seen.push_back(parser.getEvent().RecordNumber);
        lastContext = context;
        return m_work == nullptr || m_work(parser);
    }

    std::vector<unsigned> seen;
    void* lastContext = nullptr;

private:
    Work m_work;
};

class EventLog : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        machine.environment[u"SystemRoot"] = u"C:\\Windows";
        machine.events.classic[u"Application"];
        system = &machine.events.classic[u"System"];
        forgetCalls();
    }

    static ClassicRecord record(const Text& source, DWORD id, WORD type = EVENTLOG_ERROR_TYPE,
                                std::vector<Text> strings = {}) {
        ClassicRecord record;
        record.source = source;
        record.id = id;
        record.type = type;
        record.generated = 1150898589;  // 2006-06-21 14:03:09
        record.strings = std::move(strings);
        return record;
    }

    // Puts a DLL with messages into the system folder.
    void addMessageFile(const Text& name, std::map<DWORD, Text> messages) {
        simulation::File& file = machine.files[u"C:\\Windows\\" + name];
        file.image = true;
        file.messages = std::move(messages);
    }
    void nameMessageFiles(const Text& source, const Text& files, DWORD type = REG_EXPAND_SZ) {
        machine.localMachine()
            .make(u"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\" + source)
            .values[u"EventMessageFile"] = RegistryValue::text(files, type);
    }

    // Goes through the rest of the open log.
    std::vector<unsigned> numbers() {
        std::vector<unsigned> result;
        while (parser.getNextEvent()) result.push_back(parser.getEvent().RecordNumber);
        return result;
    }

    Strings logTexts() const {
        Strings texts;
        for (const LogLine& line : log) {
            EXPECT_EQ(line.logger, "libSysmira.EventLogParser");
            EXPECT_EQ(line.priority, 3);
            texts.push_back(line.text);
        }
        return texts;
    }

    // The message of a record with these strings, in a log of its own.
    std::string messageOf(const Text& text, std::vector<Text> strings) {
        addMessageFile(u"fan.dll", {{7, text}});
        nameMessageFiles(u"fan", u"C:\\Windows\\fan.dll");
        system->clear();
        system->add(record(u"fan", 7, EVENTLOG_ERROR_TYPE, std::move(strings)));
        log.clear();
        EXPECT_TRUE(parser.openEventLog("System"));
        EXPECT_TRUE(parser.getNextEvent());
        return plain(parser.getEventMessage());
    }

    void TearDown() override {
        owned.reset();
        SimulatedPc::TearDown();
    }

    std::unique_ptr<EventLogParser> owned = std::make_unique<EventLogParser>();
    EventLogParser& parser = *owned;
    simulation::ClassicLog* system = nullptr;
};

// Iterating

TEST_F(EventLog, IsReadInSequenceWithTheWholeBufferAndClosedOnce) {
    for (DWORD id : {7, 8}) system->add(record(u"disk", id));
    {
        EventLogParser one;
        ASSERT_TRUE(one.openEventLog("System"));
        EXPECT_TRUE(one.getNextEvent());
        EXPECT_EQ(one.getEventCode(), 7);
        EXPECT_TRUE(one.getNextEvent());
        EXPECT_EQ(one.getEventCode(), 8);
        EXPECT_FALSE(one.getNextEvent());
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HANDLE_EOF));
    }
    EXPECT_EQ(callNames(), (Strings{"OpenEventLogW", "ReadEventLogW", "ReadEventLogW", "CloseEventLog"}));
    EXPECT_EQ(argumentsOf("OpenEventLogW"), Strings{"System"});
    EXPECT_EQ(argumentsOf("ReadEventLogW")[0], "5, 0, 0x10000");
    EXPECT_TRUE(log.empty());
}

TEST_F(EventLog, GoesOnInTheNextBufferAndStartsAgainAtTheOldest) {
    const Text longText(3000, u'x');
    std::vector<unsigned> all;
    for (unsigned i = 1; i <= 50; ++i) {
        all.push_back(i);
        system->add(record(u"disk", i, EVENTLOG_ERROR_TYPE, {longText}));
    }
    ASSERT_TRUE(parser.openEventLog("System"));
    EXPECT_EQ(numbers(), all);
    EXPECT_EQ(parser.getEventCode(), 50) << "the last record stays current";
    EXPECT_FALSE(parser.getNextEvent());

    ASSERT_TRUE(parser.resetIteration());
    EXPECT_EQ(parser.getEventCode(), 50) << "until the next is taken";
    EXPECT_EQ(numbers(), all);

    // In the middle of a buffer as well.
    ASSERT_TRUE(parser.resetIteration());
    EXPECT_TRUE(parser.getNextEvent());
    ASSERT_TRUE(parser.resetIteration());
    EXPECT_EQ(numbers(), all);
}

TEST_F(EventLog, KeepsItsNameWhenAnotherCannotBeOpened) {
    system->add(record(u"disk", 7));
    EXPECT_FALSE(parser.getNextEvent()) << "nothing is open yet";
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    failCall("OpenEventLogW", ERROR_ACCESS_DENIED);
    EXPECT_FALSE(parser.openEventLog("Security"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(logTexts(), Strings{"108 Unable to open log \"Security\". Error:5"});
    EXPECT_FALSE(parser.getNextEvent());
    EXPECT_EQ(parser.getEventCode(), 7);
    clearFaults();
    forgetCalls();
    EXPECT_TRUE(parser.resetIteration());
    EXPECT_EQ(argumentsOf("OpenEventLogW"), Strings{"System"});
    EXPECT_EQ(numbers().size(), 1u);
}

TEST_F(EventLog, EndsSilentlyWhereWindowsDoes) {
    const auto fill = [&] {
        system->clear();
        for (int i = 0; i < 40; ++i) {
            system->add(record(u"disk", 1, EVENTLOG_ERROR_TYPE, {Text(2000, u'x')}));
        }
    };
    fill();
    system->add(record(u"disk", 1, EVENTLOG_ERROR_TYPE, {Text(20000, u'x'), Text(20000, u'x')}));
    system->add(record(u"disk", 2));
    ASSERT_TRUE(parser.openEventLog("System"));
    EXPECT_EQ(numbers().size(), 40u) << "the next record is longer than the buffer";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));

    fill();
    system->clearAfter = system->reads + 1;
    ASSERT_TRUE(parser.openEventLog("System"));
    const size_t before = numbers().size();
    EXPECT_GT(before, 0u);
    EXPECT_LT(before, 40u) << "cleared while it was read";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_EVENTLOG_FILE_CHANGED));

    fill();
    for (const Distortion distortion : {Distortion::NothingWritten, Distortion::SizeZero}) {
        ASSERT_TRUE(parser.openEventLog("System"));
        distort("ReadEventLogW", distortion);
        EXPECT_FALSE(parser.getNextEvent()) << "a success without bytes is the end";
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HANDLE_EOF));
        clearFaults();
    }
    ASSERT_TRUE(parser.openEventLog("System"));
    distort("ReadEventLogW", Distortion::SizeTooLarge);
    EXPECT_FALSE(parser.getNextEvent()) << "more bytes than there is room for";
    clearFaults();
    EXPECT_TRUE(log.empty());
}

// Records

TEST_F(EventLog, GettersReadTheCurrentRecord) {
    ClassicRecord fan = record(u"Fan", 0xC0040007, EVENTLOG_WARNING_TYPE, {u"CPU", u"", u"900 \u00B5/s"});
    fan.category = 3;
    fan.number = 4000000000u;
    fan.data = {1, 2, 3};
    system->add(fan);
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    EXPECT_EQ(parser.getEventCode(), 7);
    EXPECT_EQ(parser.getEventID(), 0xC0040007u);
    EXPECT_EQ(parser.getEventCategory(), 3);
    EXPECT_EQ(parser.getTimeGenerated(), 1150898589u);
    EXPECT_EQ(parser.getSource(), "Fan");
    EXPECT_EQ(parser.getEvent().RecordNumber, 4000000000u);
    zor::Array<zor::String> strings = usedArray();
    parser.getMessageStringArguments(strings);
    EXPECT_EQ(plain(strings), (Strings{"CPU", "", "900 \u00B5/s"}));
    EXPECT_EQ(plain(parser.toString(false, 2)),
              "  Event Type      : Warning\n"
              "  Event Time      : 2006-06-21 14:03:09\n"
              "  Event Code      : 7\n"
              "  Event Category  : 3\n"
              "  Event Source    : Fan\n"
              "  Event Record    : 4000000000\n");
    EXPECT_EQ(plain(parser.toString(true, 0)).substr(plain(parser.toString(false, 0)).size()),
              "Event Message   : \n");
}

TEST_F(EventLog, TypesHaveNames) {
    const std::pair<WORD, const char*> names[] = {{EVENTLOG_ERROR_TYPE, "Error"},
                                                  {EVENTLOG_WARNING_TYPE, "Warning"},
                                                  {EVENTLOG_INFORMATION_TYPE, "Information"},
                                                  {EVENTLOG_AUDIT_SUCCESS, "Success"},
                                                  {EVENTLOG_AUDIT_FAILURE, "Failure Audit"},
                                                  {EVENTLOG_SUCCESS, "UNKNOWN"},
                                                  {3, "UNKNOWN"},
                                                  {0x104, "UNKNOWN"}};
    for (const auto& [type, name] : names) system->add(record(u"disk", 1, type));
    ASSERT_TRUE(parser.openEventLog("System"));
    for (const auto& [type, name] : names) {
        ASSERT_TRUE(parser.getNextEvent());
        EXPECT_EQ(parser.getEventType(), name) << type;
    }
}

TEST_F(EventLog, WithoutARecordGettersAreMisuse) {
    zor::Array<zor::String> strings;
    const std::pair<const char*, std::function<void()>> getters[] = {
        {"code", [&] { parser.getEventCode(); }},
        {"category", [&] { parser.getEventCategory(); }},
        {"ID", [&] { parser.getEventID(); }},
        {"time", [&] { parser.getTimeGenerated(); }},
        {"source", [&] { parser.getSource(); }},
        {"type", [&] { parser.getEventType(); }},
        {"record", [&] { parser.getEvent(); }},
        {"strings", [&] { parser.getMessageStringArguments(strings); }},
        {"message", [&] { parser.getEventMessage(); }},
        {"report", [&] { parser.toString(false, 0); }}};
    system->add(record(u"disk", 7));
    ASSERT_TRUE(parser.openEventLog("System"));
    for (const auto& [name, get] : getters) {
        log.clear();
        EXPECT_THROW(get(), zor::RaisedException) << name;
        ASSERT_EQ(log.size(), 1u) << name;
        EXPECT_EQ(log[0].priority, 4);
        EXPECT_EQ(log[0].text.substr(log[0].text.find(' ') + 1),
                  "libSysmira/eventLogs/EventLogParser: assertion failed: m_pCurrentEvent");
    }
}

// Damage

// The packed bytes of a record with one of its 32-bit fields changed.
Bytes damaged(const ClassicRecord& record, size_t field, DWORD value) {
    Bytes bytes = record.packed();
    std::memcpy(bytes.data() + field, &value, sizeof value);
    return bytes;
}

TEST_F(EventLog, ARecordOfWrongLengthEndsTheIteration) {
    const ClassicRecord good = record(u"disk", 7);
    const auto length = static_cast<DWORD>(good.packed().size());
    for (const DWORD wrong : std::initializer_list<DWORD>{0, 1, 55, 57, length + 2, length + 4, 0x10000,
                                                          0x7FFFFFFF, 0xFFFFFFFF}) {
        system->clear();
        system->addRaw(good.packed());
        system->addRaw(damaged(good, offsetof(EVENTLOGRECORD, Length), wrong));
        ASSERT_TRUE(parser.openEventLog("System"));
        EXPECT_TRUE(parser.getNextEvent()) << wrong;
        EXPECT_FALSE(parser.getNextEvent()) << wrong;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_EVENTLOG_FILE_CORRUPT)) << wrong;
        EXPECT_EQ(parser.getSource(), "disk") << "the record before stays current";
        EXPECT_FALSE(parser.getNextEvent()) << "and the log has an end";
    }
    // Fewer bytes than a record begins with; and the shortest record there can be.
    system->clear();
    system->addRaw(Bytes(55, 1));
    ASSERT_TRUE(parser.openEventLog("System"));
    EXPECT_FALSE(parser.getNextEvent());
    Bytes shortest(sizeof(EVENTLOGRECORD), 0);
    shortest[0] = sizeof(EVENTLOGRECORD);
    system->clear();
    system->addRaw(shortest);
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    EXPECT_EQ(parser.getSource(), "");
}

TEST_F(EventLog, NothingBehindARecordIsRead) {
    const ClassicRecord good = record(u"disk", 7, EVENTLOG_ERROR_TYPE, {u"one", u"two"});
    Bytes unterminated = good.packed();
    std::fill(unterminated.begin() + sizeof(EVENTLOGRECORD), unterminated.end(), 'A');
    const std::pair<Bytes, Strings> cases[] = {
        {damaged(good, offsetof(EVENTLOGRECORD, StringOffset), 0xFFFFFFFF), {}},
        {damaged(good, offsetof(EVENTLOGRECORD, StringOffset), 0xFFFFFFFE), {}},
        {damaged(good, offsetof(EVENTLOGRECORD, StringOffset), static_cast<DWORD>(good.packed().size())), {}},
        {damaged(good, offsetof(EVENTLOGRECORD, StringOffset), sizeof(EVENTLOGRECORD) + 1), {}},
        {unterminated, {}}};
    for (const auto& [bytes, strings] : cases) {
        system->clear();
        system->addRaw(bytes);
        system->addRaw(record(u"neighbour", 8).packed());
        ASSERT_TRUE(parser.openEventLog("System"));
        ASSERT_TRUE(parser.getNextEvent());
        zor::Array<zor::String> found;
        parser.getMessageStringArguments(found);
        EXPECT_EQ(plain(found), strings);
        EXPECT_LE(parser.getSource().size(), (bytes.size() - sizeof(EVENTLOGRECORD)) / 2);
        EXPECT_TRUE(parser.getNextEvent());
    }
    // More strings than there are: those that are there, and what can be read of the rest of the record.
    system->clear();
    Bytes tooMany = good.packed();
    tooMany[offsetof(EVENTLOGRECORD, NumStrings)] = 0xFF;
    tooMany[offsetof(EVENTLOGRECORD, NumStrings) + 1] = 0xFF;
    system->addRaw(tooMany);
    system->addRaw(record(u"neighbour", 8).packed());
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    zor::Array<zor::String> found;
    parser.getMessageStringArguments(found);
    ASSERT_GE(found.size(), 2u);
    EXPECT_EQ(found[1], "two");
    EXPECT_LT(found.size(), 10u);
    EXPECT_EQ(messageOf(u"none", {}), "none");
}

// The buffer may be read over while the last record of it is still current.
TEST_F(EventLog, TheCurrentRecordEndsWithTheBuffer) {
    constexpr size_t BufferSize = 0x10000;
    const Bytes last = record(u"disk", 7).packed();
    Bytes filler(BufferSize - last.size(), 0);
    const auto length = static_cast<DWORD>(filler.size());
    std::memcpy(filler.data(), &length, sizeof length);
    Bytes next(BufferSize, 'A');
    const DWORD none = 0, all = BufferSize;
    std::memcpy(next.data(), &none, sizeof none);
    std::memcpy(next.data() + filler.size(), &all, sizeof all);
    system->addRaw(filler);
    system->addRaw(last);
    system->addRaw(next);
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    ASSERT_TRUE(parser.getNextEvent());
    EXPECT_EQ(parser.getSource(), "disk");
    EXPECT_FALSE(parser.getNextEvent());
    EXPECT_LE(parser.getSource().size(), (last.size() - sizeof(EVENTLOGRECORD)) / 2);
    zor::Array<zor::String> strings;
    parser.getMessageStringArguments(strings);
    EXPECT_EQ(strings.size(), 0u);
}

// Searching

TEST_F(EventLog, ASearchShowsTheRecordsThatFitAllItsCriteria) {
    ClassicRecord third = record(u"disk", 0xC0040009, EVENTLOG_WARNING_TYPE);
    third.category = 7;
    system->add(record(u"disk", 0x80040007, EVENTLOG_ERROR_TYPE));
    system->add(record(u"disk2", 7, EVENTLOG_ERROR_TYPE));
    system->add(third);
    system->add(record(u"DISK", 9, EVENTLOG_ERROR_TYPE));
    const struct {
        unsigned flags;
        unsigned short code;
        const char* source;
        unsigned short type;
        std::vector<unsigned> found;
    } searches[] = {{0, 99, "none", 99, {1, 2, 3, 4}},
                    {Params::SearchByCode, 7, "", 0, {1, 2}},
                    {Params::SearchByCategory, 7, "", 0, {3}},
                    {Params::SearchByCode | Params::SearchByCategory, 7, "", 0, {}},
                    {Params::SearchBySource, 0, "disk", 0, {1, 3}},
                    {Params::SearchBySource, 0, "", 0, {}},
                    {Params::SearchByType, 0, "", EVENTLOG_ERROR_TYPE, {1, 2, 4}},
                    {0xF, 9, "disk", EVENTLOG_WARNING_TYPE, {}},
                    {Params::SearchByCode | Params::SearchBySource | Params::SearchByType,
                     9,
                     "disk",
                     EVENTLOG_WARNING_TYPE,
                     {3}},
                    {0xFFFFFFF0, 9, "disk", 9, {1, 2, 3, 4}}};
    ASSERT_TRUE(parser.openEventLog("System"));
    for (const auto& search : searches) {
        Params params;
        params.searchFlags = search.flags;
        params.eventCode = search.code;
        params.source = search.source;
        params.eventType = search.type;
        params.context = &params;
        Viewer viewer;
        EXPECT_EQ(parser.search(viewer, params), !search.found.empty()) << search.flags;
        EXPECT_EQ(viewer.seen, search.found) << search.flags;
        if (!search.found.empty()) {
            EXPECT_EQ(viewer.lastContext, &params);
        }
    }

    Params params;
    params.searchFlags = Params::SearchByType;
    params.eventType = 4;
    params.searchByCodeAndSource(9, "disk", this);
    EXPECT_EQ(params.searchFlags, 5u);
    EXPECT_EQ(params.eventType, 4);
    Viewer viewer;
    EXPECT_TRUE(parser.search(viewer, params));
    EXPECT_EQ(viewer.seen, std::vector<unsigned>{3});
    EXPECT_EQ(viewer.lastContext, this);
}

TEST_F(EventLog, TheViewerEndsTheSearch) {
    for (DWORD id : {1, 2, 3}) system->add(record(u"disk", id));
    Params params;
    Viewer stopping([](EventLogParser&) { return false; });
    EXPECT_FALSE(parser.search(stopping, params)) << "no log was opened";
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    EXPECT_TRUE(parser.search(stopping, params));
    EXPECT_EQ(stopping.seen, std::vector<unsigned>{1}) << "each search starts at the oldest record";
    EXPECT_EQ(numbers(), (std::vector<unsigned>{2, 3})) << "and leaves the parser where it ended";
    system->clear();
    EXPECT_FALSE(parser.search(stopping, params)) << "an empty log";
}

TEST_F(EventLog, TheViewerMayUseTheParser) {
    for (DWORD id : {1, 2, 3, 4}) system->add(record(u"disk", id));
    ASSERT_TRUE(parser.openEventLog("System"));
    Params all, third;
    third.searchFlags = Params::SearchByCode;
    third.eventCode = 3;
    Viewer advancing([](EventLogParser& used) { return used.getNextEvent(); });
    EXPECT_TRUE(parser.search(advancing, all));
    EXPECT_EQ(advancing.seen, (std::vector<unsigned>{1, 3}));

    Viewer inner([](EventLogParser&) { return false; });
    Viewer searching(
        [&](EventLogParser& used) { return !used.search(inner, third) || inner.seen.size() < 2; });
    EXPECT_TRUE(parser.search(searching, all));
    EXPECT_EQ(searching.seen, (std::vector<unsigned>{1, 4})) << "it goes on behind the inner search's record";
    EXPECT_EQ(inner.seen, (std::vector<unsigned>{3, 3}));
}

// Messages

TEST_F(EventLog, AMessageIsFormattedFromTheSourcesFileAndNothingStaysLoaded) {
    addMessageFile(u"fan.dll", {{0xC0040007, u"\r\n Fan %1 turns at %2 per minute.\r\n"}});
    nameMessageFiles(u"fan", u"%SystemRoot%\\fan.dll");
    system->add(record(u"fan", 0xC0040007, EVENTLOG_ERROR_TYPE, {u"CPU", u"900"}));
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    forgetCalls();
    EXPECT_EQ(parser.getEventMessage(), "Fan CPU turns at 900 per minute.");
    Strings rendering;
    for (const std::string& name : callNames()) {
        if (name.compare(0, 3, "Reg") != 0 && name.compare(0, 6, "Expand") != 0) rendering.push_back(name);
    }
    const Strings once = {"LoadLibraryExW", "FormatMessageW", "LocalFree", "FreeLibrary"};
    Strings twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(rendering, twice) << "without and with inserts";
    EXPECT_EQ(argumentsOf("LoadLibraryExW")[0], "C:\\Windows\\fan.dll, 2");
    // Flags, message, language and least size.
    EXPECT_EQ(argumentsOf("FormatMessageW"), (Strings{"2816, 0xC0040007, 0, 1", "10496, 0xC0040007, 0, 1"}));
    EXPECT_EQ(plain(parser.toString(true, 1)).substr(plain(parser.toString(false, 1)).size()),
              " Event Message   : Fan CPU turns at 900 per minute.\n");
    EXPECT_TRUE(log.empty());
}

TEST_F(EventLog, MessageFilesAreTriedInOrder) {
    addMessageFile(u"other.dll", {{8, u"eight"}});
    addMessageFile(u"fan.dll", {{7, u"seven"}});
    addMessageFile(u"late.dll", {{7, u"late"}});
    machine.files[u"C:\\Windows\\text.dll"];
    nameMessageFiles(u"fan",
                     u";C:\\gone.dll;C:\\Windows\\text.dll;;%SystemRoot%\\other.dll;"
                     u"%SystemRoot%\\fan.dll;%SystemRoot%\\late.dll");
    system->add(record(u"fan", 7));
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    EXPECT_EQ(parser.getEventMessage(), "seven");
    const Strings once = {"333 Trouble loading DLL \"C:\\gone.dll\": 0x2",
                          "333 Trouble loading DLL \"C:\\Windows\\text.dll\": 0xc1",
                          "323 Trouble formatting message. Source:\"fan\", EventCode:7, GetLastError():317"};
    Strings twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(logTexts(), twice);
}

TEST_F(EventLog, APlainMessageFileIsOneName) {
    addMessageFile(u"fan.dll", {{7, u"seven"}});
    system->add(record(u"fan", 7));
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    EXPECT_EQ(parser.getEventMessage(), "") << "no key";
    nameMessageFiles(u"fan", u"C:\\Windows\\fan.dll", REG_BINARY);
    EXPECT_EQ(parser.getEventMessage(), "") << "neither of both types";
    EXPECT_TRUE(log.empty());
    nameMessageFiles(u"fan", u"C:\\Windows\\fan.dll", REG_SZ);
    EXPECT_EQ(parser.getEventMessage(), "seven");
    EXPECT_TRUE(log.empty());
    nameMessageFiles(u"fan", u"C:\\Windows\\fan.dll;C:\\Windows\\fan.dll", REG_SZ);
    EXPECT_EQ(parser.getEventMessage(), "");
    EXPECT_EQ(logTexts(),
              Strings{"333 Trouble loading DLL \"C:\\Windows\\fan.dll;C:\\Windows\\fan.dll\": 0x2"});
}

TEST_F(EventLog, AMessageThatAsksForMoreStringsThanThereAreIsNotRendered) {
    EXPECT_EQ(messageOf(u"Fan %1 of %3.", {u"CPU", u"two"}), "");
    EXPECT_EQ(logTexts(),
              Strings{"279 \nError with the following event:\n"
                      "    Event Type      : Error\n"
                      "    Event Time      : 2006-06-21 14:03:09\n"
                      "    Event Code      : 7\n"
                      "    Event Category  : 0\n"
                      "    Event Source    : fan\n"
                      "    Event Record    : 1\n"
                      "\n    ** Event is missing strings required to render the following string:\n"
                      "    \"Fan %1 of %3.\"\n"
                      "\n    The following strings were found:\n"
                      "    String[0] : \"CPU\"\n"
                      "    String[1] : \"two\"\n"});
    EXPECT_EQ(messageOf(u"Fan %1.", {}), "");
    EXPECT_EQ(log.size(), 1u);
    EXPECT_EQ(messageOf(u"Fan %3.", {u"1", u"2", u"3"}), "Fan 3.");
    EXPECT_EQ(messageOf(u"50%% of%n%1", {u"CPU"}), "50% of\r\nCPU");
    EXPECT_EQ(messageOf(u"50%%", {}), "50%");
    const std::vector<Text> twelve(12, u"CPU");
    EXPECT_EQ(messageOf(u"%1234", twelve), "CPU34") << "an insert has one or two digits";
    EXPECT_TRUE(log.empty());
}

// A width given as "*" consumes arguments of its own, and damage may have taken strings away: what the
// formatter finds there are texts all the same.
TEST_F(EventLog, TheFormatterNeverLacksArguments) {
    messageOf(u"%1!*.*s! %2!*s!", {u"CPU", u"two"});
    EXPECT_EQ(messageOf(u"%1 %2", {u"CPU", u"two", u"three"}), "CPU two");

    addMessageFile(u"fan.dll", {{7, u"<%1> <%2> <%40>"}});
    Bytes bytes = record(u"fan", 7, EVENTLOG_ERROR_TYPE, {u"CPU"}).packed();
    bytes[offsetof(EVENTLOGRECORD, NumStrings)] = 40;
    std::fill(bytes.end() - 4, bytes.end(), 'A');
    system->clear();
    system->addRaw(bytes);
    ASSERT_TRUE(parser.openEventLog("System"));
    ASSERT_TRUE(parser.getNextEvent());
    const std::string text = plain(parser.getEventMessage());
    EXPECT_EQ(text.compare(0, 6, "<CPU> "), 0) << text;
    EXPECT_EQ(text.substr(text.size() - 3), " <>") << text;
}

TEST_F(EventLog, ARenderingThatFailsTheSecondTimeGivesNoMessage) {
    failCall("FormatMessageW", ERROR_NOT_ENOUGH_MEMORY, 2);
    EXPECT_EQ(messageOf(u"Fan %1.", {u"CPU"}), "");
    EXPECT_EQ(logTexts(),
              Strings{"323 Trouble formatting message. Source:\"fan\", EventCode:7, GetLastError():8"});
    clearFaults();
    distort("FormatMessageW", Distortion::NullResult);
    EXPECT_EQ(messageOf(u"Fan %1.", {u"CPU"}), "") << "a success without a text";
}

}  // namespace
