// The DLL's event logs on the system's own functions. Where the system has no events (Wine), the records of a
// classic log are put in its place: the DLL's import of ReadEventLogW is turned to a function of this
// program, and all the rest is real: registry, message file, formatting.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "libSysmira/eventLogs/EventLogParser.h"
#include "libSysmira/eventLogs/VistaEventLogs.h"
#include "libSysmira/vista/VistaDiagnosticEvents.h"
#include "support/LogFactory.h"
#include "support/RaisedException.h"
#include "tests/contract/MessageContractMachine.h"
#include "tests/windows/ImportTable.h"
#include "tests/windows/PlainText.h"

namespace {

using libSysmira::EventLogParser;
using libSysmira::EventLogSearchParams;
using libSysmira::VistaDiagnosticEvents;
using libSysmira::VistaEventLogs;
using zor::String;

using Strings = std::vector<std::string>;
using Texts = zor::Array<String>;
using Rows = zor::Array<zor::Array<zor::ZORValue>>;

std::vector<unsigned char> theRecords;

BOOL WINAPI readRecords(HANDLE, DWORD, DWORD, void* buffer, DWORD size, DWORD* read, DWORD*) {
    if (theRecords.empty() || theRecords.size() > size) {
        *read = size;  // of a failed reading it says nothing
        SetLastError(ERROR_HANDLE_EOF);
        return FALSE;
    }
    std::memcpy(buffer, theRecords.data(), theRecords.size());
    *read = static_cast<DWORD>(theRecords.size());
    theRecords.clear();
    return TRUE;
}

void append(std::vector<unsigned char>& bytes, const WCHAR* text) {
    const auto* const first = reinterpret_cast<const unsigned char*>(text);
    bytes.insert(bytes.end(), first, first + (lstrlenW(text) + 1) * sizeof(WCHAR));
}

void addRecord(const WCHAR* source, DWORD id, const std::vector<const WCHAR*>& strings) {
    std::vector<unsigned char> bytes(sizeof(EVENTLOGRECORD));
    append(bytes, source);
    append(bytes, L"PC");
    EVENTLOGRECORD record = {};
    record.Reserved = 0x654C664C;
    record.RecordNumber = 1;
    record.TimeGenerated = 1150898589;
    record.EventID = id;
    record.EventType = EVENTLOG_ERROR_TYPE;
    record.NumStrings = static_cast<WORD>(strings.size());
    record.StringOffset = static_cast<DWORD>(bytes.size());
    for (const WCHAR* text : strings) append(bytes, text);
    bytes.resize((bytes.size() + 3) / 4 * 4 + sizeof(DWORD));
    record.Length = static_cast<DWORD>(bytes.size());
    std::memcpy(bytes.data(), &record, sizeof record);
    std::memcpy(bytes.data() + bytes.size() - sizeof(DWORD), &record.Length, sizeof(DWORD));
    theRecords.insert(theRecords.end(), bytes.begin(), bytes.end());
}

class EventLogDll : public testing::Test {
protected:
    void SetUp() override {
        zor::LogFactory::setSink(
            [this](const String&, int, const String& text) { log.push_back(plain(text)); });
        theRecords.clear();
    }
    void TearDown() override {
        reading.reset();
        zor::LogFactory::setSink({});
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, sourceKey);
    }

    // From here on logs have the records of this program.
    void replaceReading() {
        reading = std::make_unique<ReplacedImport>(GetModuleHandleW(L"Sysmira.dll"), "ReadEventLogW",
                                                   reinterpret_cast<void*>(&readRecords));
        ASSERT_TRUE(reading->isThere());
    }
    static void nameMessageFiles(const String& files, DWORD type) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, sourceKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                  nullptr),
                  ERROR_SUCCESS);
        const auto* const bytes = reinterpret_cast<const BYTE*>(files.getUCS2Buffer());
        const auto size = static_cast<DWORD>((files.size() + 1) * sizeof(WCHAR));
        EXPECT_EQ(RegSetValueExW(key, L"EventMessageFile", 0, type, bytes, size), ERROR_SUCCESS);
        RegCloseKey(key);
    }
    // The message of a record as the one of its log.
    std::string messageOf(DWORD id, const std::vector<const WCHAR*>& strings) {
        theRecords.clear();
        log.clear();
        addRecord(L"SysmiraTest", id, strings);
        EXPECT_TRUE(parser->openEventLog("System"));
        EXPECT_TRUE(parser->getNextEvent());
        return plain(parser->getEventMessage());
    }

    static constexpr const WCHAR* sourceKey =
        L"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\SysmiraTest";
    std::unique_ptr<EventLogParser> parser = std::make_unique<EventLogParser>();
    Strings log;
    std::unique_ptr<ReplacedImport> reading;
};

TEST_F(EventLogDll, TheSystemsLogIsReadToItsEnd) {
    EXPECT_FALSE(parser->getNextEvent());
    ASSERT_TRUE(parser->openEventLog("System"));
    unsigned records = 0;
    while (records < 1000 && parser->getNextEvent()) {
        EXPECT_FALSE(parser->toString(/*withMessage=*/false, 0).empty());
        ++records;
    }
    if (records < 1000) {
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HANDLE_EOF));
    }
    EXPECT_TRUE(parser->resetIteration());
    EventLogParser other;
    EXPECT_THROW(other.getSource(), zor::RaisedException);
}

TEST_F(EventLogDll, ASystemWithoutChannelsGivesACleanAnswer) {
    Texts xml, messages;
    Rows rows;
    const Texts paths{"Event/System/EventID"};
    const String query = "*[System/EventID=54321]";
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", query, VistaEventLogs::NewestFirst, xml));
    EXPECT_TRUE(VistaEventLogs::queryLogs("System", query, VistaEventLogs::OldestFirst, paths, rows));
    EXPECT_TRUE(
        VistaEventLogs::queryLogs("System", query, VistaEventLogs::OldestFirst, paths, rows, messages));
    EXPECT_TRUE(xml.empty());
    EXPECT_TRUE(rows.empty());
    EXPECT_TRUE(messages.empty());
    EXPECT_FALSE(VistaEventLogs::queryLogs("System", "", VistaEventLogs::OldestFirst, paths, rows));
    VistaDiagnosticEvents& events = VistaDiagnosticEvents::instance();
    events.findMemoryDiagnosticEvents();
    events.findDiskDiagnosticEvents();
    if (libSysmira::getLastEventQueryError() != 0) {
        EXPECT_EQ(events.diskDiagnosticEventCount(), 0u);
    }
    EXPECT_THROW(events.memoryDiagnosticEvent(events.memoryDiagnosticEventCount()), zor::RaisedException);
}

TEST_F(EventLogDll, MessagesComeFromARealMessageFile) {
    replaceReading();
    const String file = contractMessageFile();
    nameMessageFiles("%SystemRoot%\\gone.dll;" + file, REG_EXPAND_SZ);
    EXPECT_EQ(messageOf(0xC0040007, {L"CPU \x00B5", L"900"}), "Fan CPU \xC2\xB5 stopped at 900 turns.");
    ASSERT_EQ(log.size(), 2u) << "one for each rendering";
    EXPECT_EQ(log[0].compare(0, 25, "333 Trouble loading DLL \""), 0) << log[0];
    EXPECT_NE(log[0].find("\\gone.dll\": 0x2"), std::string::npos) << log[0];

    nameMessageFiles(file, REG_SZ);
    EXPECT_EQ(messageOf(8, {L"one", L"two", L"three"}), "one is [two   ] 50% of\r\nthree");
    EXPECT_EQ(messageOf(9, {}), "Nothing is asked.");
    EXPECT_EQ(messageOf(10, {L"one", L"two", L"more"}), "two before one, and one again");
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(messageOf(10, {L"one"}), "") << "asks for more than there is";
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find("String[0] : \"one\""), std::string::npos);
    EXPECT_EQ(messageOf(99, {}), "");
    EXPECT_EQ(log, Strings{"323 Trouble formatting message. Source:\"SysmiraTest\", EventCode:99, "
                           "GetLastError():317"});
    messageOf(13, {L"a width that is an address", L"abc"});
    EXPECT_EQ(GetModuleHandleW(L"eventmessages.dll"), nullptr);
}

class Viewer : public libSysmira::EventLogViewer {
public:
    bool viewEvent(EventLogParser& shown, void* context) override {
        found.push_back(plain(shown.getSource()));
        return context != nullptr;
    }
    Strings found;
};

TEST_F(EventLogDll, ASearchCallsTheProgramsViewer) {
    replaceReading();
    const auto fill = [] {
        theRecords.clear();
        for (const WCHAR* source : {L"disk", L"fan", L"disk"}) addRecord(source, 0xC0040007, {});
    };
    fill();
    ASSERT_TRUE(parser->openEventLog("System"));
    EventLogSearchParams params;
    params.searchByCodeAndSource(7, "disk", this);
    Viewer all, first;
    EXPECT_TRUE(parser->search(all, params));
    EXPECT_EQ(all.found, (Strings{"disk", "disk"}));
    fill();
    params.context = nullptr;
    EXPECT_TRUE(parser->search(first, params));
    EXPECT_EQ(first.found, Strings{"disk"});
}

}  // namespace
