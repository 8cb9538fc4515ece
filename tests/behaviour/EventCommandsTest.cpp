// `sysmira events`, `channel` and `diagnostics`, run within this process on a machine file.
#include "tests/behaviour/CommandRun.h"

namespace {

using nlohmann::json;

const char* const logPc = R"({
  "devices": [{"id": "HTREE\\ROOT\\0"}],
  "files": [{"path": "C:\\fan.dll", "messages": {"0xC0040007": "Fan %1 stopped.%n%nReplace it."}}],
  "registry": {
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\fan": {
      "EventMessageFile": "C:\\fan.dll"}},
  "eventLogs": {
    "publishers": {"Fan-Watch": {"messages": {"1": "Fan %1 turns at %2."}}},
    "logs": {
      "System": {"classic": true, "events": [
        {"time": "2006-06-21 14:03:09", "provider": "fan", "id": "0xC0040007", "level": "error", "task": 3,
         "data": ["CPU\u001b[31m"]},
        {"time": "2006-06-21 14:03:10", "provider": "disk", "id": 7, "level": "warning", "task": 3},
        {"time": "2006-06-21 14:03:11", "provider": "fan", "id": "0xC0040007", "level": "error", "data": ["Case"]}]},
      "Application": {"classic": true, "events": []},
      "Fan-Watch/Operational": {"events": [
        {"time": "2006-06-21 14:03:09", "provider": "Fan-Watch", "id": 1,
         "data": [{"name": "Name", "value": "CPU"}, {"name": "Speed", "type": "UInt32", "value": 900},
                  {"name": "Alarm", "value": true}, {"name": "Load", "type": "Double", "value": 0.5}]},
        {"time": "2006-06-21 14:03:10", "provider": "Gone", "id": 2}]},
      "Security": {"queryError": 5, "classic": true, "openError": 5}}}
})";

class EventCommands : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        write(logPc);
    }

    void write(const std::string& text) const { m_file.write(text); }

    Outcome run(Strings arguments) const {
        arguments.insert(arguments.begin(), {"--machine", m_file.path()});
        return runCommand(arguments);
    }
    json runJson(Strings arguments) const {
        arguments.insert(arguments.begin(), {"--machine", m_file.path()});
        return runForJson(arguments);
    }
    void expectFailure(const Strings& arguments, int status, const std::string& sentence) const {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, status) << arguments.back();
        EXPECT_EQ(outcome.err, "sysmira: " + sentence + (sentence.back() == '?' ? "\n" : ".\n"));
        EXPECT_EQ(outcome.out, "");
    }

private:
    TemporaryFile m_file{"events.json"};
};

TEST_F(EventCommands, RecordsThatFitAreReports) {
    const Outcome outcome = run({"events", "System", "--source", "fan", "--messages"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "Event Type      : Error\n"
              "Event Time      : 2006-06-21 14:03:09 UTC+00:00\n"
              "Event Code      : 7\n"
              "Event Category  : 3\n"
              "Event Source    : fan\n"
              "Event Record    : 1\n"
              "Event Message   : Fan CPU\\x1B[31m stopped.\n"
              "\n"
              "                  Replace it.\n"
              "\n"
              "Event Type      : Error\n"
              "Event Time      : 2006-06-21 14:03:11 UTC+00:00\n"
              "Event Code      : 7\n"
              "Event Category  : 0\n"
              "Event Source    : fan\n"
              "Event Record    : 3\n"
              "Event Message   : Fan Case stopped.\n"
              "\n"
              "                  Replace it.\n");

    const auto records = [&](Strings options) {
        options.insert(options.begin(), {"events", "System"});
        std::vector<unsigned> found;
        const json document = runJson(options);
        for (const json& event : document["events"]) found.push_back(event["record"]);
        return found;
    };
    using Records = std::vector<unsigned>;
    EXPECT_EQ(records({}), (Records{1, 2, 3}));
    EXPECT_EQ(records({"--type", "warning"}), Records{2});
    EXPECT_EQ(records({"--code", "7", "--limit", "2"}), (Records{1, 2}));
    EXPECT_EQ(records({"--category", "3"}), (Records{1, 2}));
    EXPECT_EQ(records({"--code", "7", "--category", "0"}), Records{3});
    EXPECT_EQ(run({"events", "System", "--source", "none"}).err, "sysmira: the log has no such records.\n");
}

TEST_F(EventCommands, RecordsAreJson) {
    const json document = runJson({"events", "System", "--messages"});
    EXPECT_EQ(document["log"], "System");
    EXPECT_EQ(document["events"][0], json::parse(R"({
      "record": 1, "time": "2006-06-21T14:03:09Z", "type": "Error", "typeCode": 1, "code": 7,
      "eventId": 3221487623, "category": 3, "source": "fan", "strings": ["CPU\u001b[31m"],
      "message": "Fan CPU\u001b[31m stopped.\n\nReplace it."})"));
    EXPECT_EQ(document["events"][1]["message"], nullptr);
    EXPECT_FALSE(runJson({"events", "System"})["events"][0].contains("message"));
}

TEST_F(EventCommands, ALogThatIsNotReadableSaysSo) {
    expectFailure({"events", "Security"}, 1, "the log \"Security\" cannot be opened: Access is denied (5)");
    // Windows would open the Application log.
    expectFailure({"events", "Sytem"}, 1, "there is no log \"Sytem\"; did you mean \"System\"?");
    expectFailure({"events", "Sytem", "--json"}, 1, "there is no log \"Sytem\"; did you mean \"System\"?");
    expectFailure({"events", "Nowhere"}, 1,
                  "there is no log \"Nowhere\"; there are Application, Security, System");
    expectFailure({"events", "Fan-Watch/Operational"}, 1,
                  "there is no log \"Fan-Watch/Operational\"; \"sysmira channel\" reads channels");
    expectFailure({"events"}, 2, "\"sysmira events\" needs the name of a log, as in: sysmira events System");
    expectFailure({"events", "System", "--type", "bad"}, 2,
                  "there is no type \"bad\" of events; there are Error, Warning, Information, Success, "
                  "Failure Audit");
    EXPECT_EQ(run({"events", "System", "--code", "65536"}).status, 2);
    EXPECT_EQ(run({"events", "System", "--limit", "0"}).status, 2);

    std::string text = logPc;
    text.replace(text.find("\"classic\": true"), 15, "\"classic\": true, \"rawRecords\": [\"01 02\"]");
    write(text);
    const Outcome damaged = run({"events", "System"});
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.out.find("Event Record    : 3"), std::string::npos) << "what can be read is printed";
    EXPECT_EQ(
        damaged.err,
        "sysmira: the log \"System\" cannot be read to its end: The event log file is corrupted (1500).\n");
}

TEST_F(EventCommands, ChannelsShowValuesXmlAndMessages) {
    EXPECT_EQ(run({"channel", "Fan-Watch/Operational", "--messages"}).out,
              "Record:   2\n"
              "Time:     2006-06-21 14:03:10 UTC+00:00\n"
              "Provider: Gone\n"
              "Event ID: 2\n"
              "Computer: PC\n"
              "Message:  \n"
              "\n"
              "Record:   1\n"
              "Time:     2006-06-21 14:03:09 UTC+00:00\n"
              "Provider: Fan-Watch\n"
              "Event ID: 1\n"
              "Computer: PC\n"
              "Data[0]:  CPU\n"
              "Data[1]:  900\n"
              "Data[2]:  true\n"
              "Data[3]:  -\n"
              "Message:  Fan CPU turns at 900.\n");

    const std::string alarm = "Event/EventData/Data[@Name='Alarm']",
                      load = "Event/EventData/Data[@Name='Load']";
    const json document = runJson({"channel", "Fan-Watch/Operational", "*[System/EventID=1]", "--messages",
                                   "--value", alarm, "--value", load, "--oldest-first"});
    EXPECT_EQ(document["query"], "*[System/EventID=1]");
    EXPECT_EQ(document["events"], json::array({{{"values", {{alarm, true}, {load, nullptr}}},
                                                {"provider", "Fan-Watch"},
                                                {"data", {"CPU", 900, true, nullptr}},
                                                {"message", "Fan CPU turns at 900."}}}));
    EXPECT_EQ(runJson({"channel", "Fan-Watch/Operational", "--value", "Event/System/TimeCreated/@SystemTime",
                       "--oldest-first"})["events"][0]["values"]["Event/System/TimeCreated/@SystemTime"],
              "2006-06-21T14:03:09Z");

    const json xml = runJson({"channel", "Fan-Watch/Operational", "--xml", "--messages"})["events"];
    ASSERT_EQ(xml.size(), 2u);
    EXPECT_NE(xml[1]["xml"].get<std::string>().find("<EventID>1</EventID>"), std::string::npos);
    EXPECT_EQ(xml[1]["message"], "Fan CPU turns at 900.");
    EXPECT_EQ(xml[0]["message"], nullptr);
    EXPECT_EQ(run({"channel", "Fan-Watch/Operational", "--xml"}).out.compare(0, 6, "<Event"), 0);
}

TEST_F(EventCommands, AChannelThatIsNotReadableSaysSo) {
    expectFailure({"channel", "System", "*[nonsense"}, 1,
                  "the query \"*[nonsense\" on the channel \"System\" cannot be run: "
                  "The specified query is invalid (15001)");
    expectFailure({"channel", "Security"}, 1, "the channel \"Security\" cannot be run: Access is denied (5)");
    expectFailure({"channel", "System", "--value", "Nope/x"}, 1,
                  "Windows refuses \"Nope/x\"; \"--value\" takes a path like Event/System/EventID");
    expectFailure({"channel", "System", "--value", "Nope/x", "--value", "Event/System/EventID", "--messages"},
                  1,
                  "Windows refuses one of \"Nope/x\", \"Event/System/EventID\"; \"--value\" takes a path "
                  "like Event/System/EventID");
    expectFailure({"channel", "System", "*[nonsense", "--value", "Event/System/EventID"}, 1,
                  "the query \"*[nonsense\" on the channel \"System\" cannot be run: "
                  "The specified query is invalid (15001)");
    EXPECT_EQ(run({"channel"}).status, 2);
    EXPECT_EQ(run({"channel", "System", "--xml", "--value", "Event"}).status, 2);
    EXPECT_EQ(run({"channel", "Application"}).err, "sysmira: the query finds no events.\n");

    failCall("EvtNext", RPC_S_CALL_FAILED, 2);
    const Outcome cut = run({"channel", "Fan-Watch/Operational"});
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.out.compare(0, 10, "Record:   "), 0) << cut.out;
    EXPECT_NE(cut.err.find("ended before all events were read"), std::string::npos);
}

TEST_F(EventCommands, DiagnosticsAreListedOrSaidToBeMissing) {
    const Outcome none = run({"diagnostics"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "No memory test has left a result.\n\nNo failure of a disk was predicted.\n");
    EXPECT_EQ(runJson({"diagnostics"}), json::parse(R"({"memoryTests": [], "diskFailures": []})"));

    std::string text = logPc;
    text.replace(text.find("\"events\": ["), 11, R"("events": [
        {"time": "2006-06-21 14:03:07", "provider": "Microsoft-Windows-DiskDiagnostic", "id": 1, "level": "critical",
         "data": [{"name": "DiskFriendlyName", "value": "Nordlicht"}, {"name": "HardwareID", "value": "NORD"}]},
        {"time": "2006-06-21 14:03:08", "provider": "Microsoft-Windows-MemoryDiagnostics-Results", "id": 1102,
         "userData": {"group": "Results", "values": [{"name": "CompletionType", "value": "Fail"},
           {"name": "TestDuration", "type": "UInt32", "value": 310}, {"name": "NumBadPages", "type": "UInt32", "value": 3}]}},)");
    write(text);
    EXPECT_EQ(run({"diagnostics"}).out,
              "Memory tests\n"
              "  2006-06-21 14:03:08 UTC+00:00  FAILED\n"
              "    Duration:        310\n"
              "    Pages tested:    0\n"
              "    Pages untested:  0\n"
              "    Bad pages:       3\n"
              "\n"
              "Disks that are about to fail\n"
              "  2006-06-21 14:03:07 UTC+00:00  Nordlicht\n"
              "    Hardware ID: NORD\n"
              "    Volumes:     not told\n");
    const json document = runJson({"diagnostics"});
    EXPECT_EQ(document["memoryTests"][0]["badPages"], 3);
    EXPECT_EQ(document["diskFailures"][0]["disk"], "Nordlicht");

    failCall("EvtQuery", ERROR_ACCESS_DENIED, 1);
    const Outcome half = run({"diagnostics"});
    EXPECT_EQ(half.status, 1);
    EXPECT_EQ(half.out.compare(0, 5, "Disks"), 0) << "the other half is printed";
    EXPECT_EQ(half.err,
              "sysmira: the results that Windows keeps in the channel \"System\" cannot be read: "
              "Access is denied (5).\n");
}

// Where the zone can be chosen: one with summer time, in June and in December.
#ifdef TARGET_HOST
TEST_F(EventCommands, AnEventHasOneTime) {
    std::string text = logPc;
    text.replace(text.find("\"events\": ["), 11, R"("events": [
        {"time": "2006-06-21 12:00:00", "provider": "fan", "id": 1},
        {"time": "2006-12-21 12:00:00", "provider": "Microsoft-Windows-DiskDiagnostic", "id": 1, "level": "critical",
         "data": [{"name": "DiskFriendlyName", "value": "Disk"}, {"name": "HardwareID", "value": "ID"}]},)");
    write(text);
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    const std::string path = "Event/System/TimeCreated/@SystemTime";
    const std::string events = run({"events", "System"}).out;
    const std::string channel = run({"channel", "System", "--oldest-first"}).out;
    const std::string diagnostics = run({"diagnostics"}).out;
    const json eventList = runJson({"events", "System"})["events"];
    const json channelList = runJson({"channel", "System", "--value", path, "--oldest-first"})["events"];
    const json failure = runJson({"diagnostics"})["diskFailures"][0];
    unsetenv("TZ");
    tzset();
    const std::string summer = "2006-06-21 14:00:00 UTC+02:00", winter = "2006-12-21 13:00:00 UTC+01:00";
    for (const std::string& each : {summer, winter}) {
        EXPECT_NE(events.find(each), std::string::npos) << events;
        EXPECT_NE(channel.find(each), std::string::npos) << channel;
    }
    EXPECT_NE(diagnostics.find(winter), std::string::npos) << diagnostics;
    ASSERT_EQ(eventList.size(), 5u);
    ASSERT_EQ(channelList.size(), 5u);
    EXPECT_EQ(eventList[0]["time"], "2006-06-21T12:00:00Z");
    EXPECT_EQ(channelList[0]["values"][path], "2006-06-21T14:00:00+02:00");
    EXPECT_EQ(eventList[4]["time"], "2006-12-21T12:00:00Z");
    EXPECT_EQ(channelList[4]["values"][path], "2006-12-21T13:00:00+01:00");
    EXPECT_EQ(failure["time"], "2006-12-21T13:00:00+01:00");
}
#endif

}  // namespace
