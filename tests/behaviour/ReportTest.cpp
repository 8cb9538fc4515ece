// `sysmira report`, its sections read in processes of their own on a machine file.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <thread>

#include "tests/behaviour/CommandRun.h"
#include "tools/sysmira/report/Attention.h"

namespace {

using Json = nlohmann::ordered_json;

const char* const reportPc = R"({
  "devices": [{"id": "HTREE\\ROOT\\0", "children": [
    {"id": "ROOT\\FAN\\0000", "friendlyName": "Fan <b>&amp;</b> \"1\"\u202e", "problem": 10},
    {"id": "ROOT\\LAMP\\0000", "friendlyName": "Lamp", "problem": 22}]}],
  "eventLogs": {"logs": {
    "System": {"classic": true, "events": [
      {"time": "2024-02-27 23:59:59", "provider": "fan", "id": 1, "level": "error", "data": ["first"]},
      {"time": "2024-02-28 00:00:00", "provider": "fan", "id": 2, "level": "warning"},
      {"time": "2024-02-28 00:00:01", "provider": "fan", "id": 3, "level": "information"},
      {"time": "2024-03-01 12:00:00", "provider": "fan", "id": 4, "level": "error", "data": ["last"]}]},
    "Application": {"classic": true, "openError": 5, "events": []}}}
})";

class Report : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        m_file.write(reportPc);
    }

    Outcome run(Strings arguments) const {
        arguments.insert(arguments.begin(), {"--machine", m_file.path(), "report"});
        return runCommand(arguments);
    }
    Json runJson(Strings arguments, int status = 0) const {
        arguments.push_back("--json");
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        return Json::parse(outcome.out);
    }
    Json section(const std::string& name, int status = 0) const {
        const Json report = runJson({"--section", name}, status);
        EXPECT_EQ(report["sections"].size(), 1u);
        return report.at("sections").at(0);
    }
    static void hangIn(const std::string& function) {
        simulation::Fault fault;
        fault.function = function;
        fault.hangs = true;
        simulation::control().add(fault);
    }
    static void endProcessIn(const std::string& function) {
        simulation::Fault fault;
        fault.function = function;
        fault.endsProcess = true;
        simulation::control().add(fault);
    }

    void writeCounters() {
        m_file.write(R"({"devices": [{"id": "HTREE\\ROOT\\0"}],
        "environment": {"WINDIR": "C:\\Windows"},
        "files": [{"path": "C:\\Windows\\System32\\pdh.dll", "image": true}], "counters": {
        "language": "009", "names": {"009": ["2", "System", "248", "Processes"]},
        "objects": [{"object": "System", "counters": [{"counter": "Processes", "shows": [100, 104]}]}]}})");
    }

    TemporaryFile m_file{"report.json"};
    TemporaryFile m_page{"report.html"};
};

// The host's zone while it lives.
class InZone {
public:
    explicit InZone(const char* zone) {
        if (const char* const before = std::getenv("TZ")) m_before = before;
        set(zone);
    }
    ~InZone() { set(m_before ? m_before->c_str() : nullptr); }
    InZone(const InZone&) = delete;
    InZone& operator=(const InZone&) = delete;

private:
    static void set(const char* zone) {
        zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ");
        tzset();
    }
    std::optional<std::string> m_before;
};

TEST_F(Report, TellsEverySectionOnceAndWhatNeedsAttentionFirst) {
    const Json report = runJson({});
    EXPECT_EQ(report["format"], "sysmira-report");
    EXPECT_EQ(report["version"], 1);
    EXPECT_EQ(report["simulated"], true);
    Strings names;
    for (const Json& each : report["sections"]) names.push_back(each["name"]);
    EXPECT_EQ(names,
              (Strings{"system", "devices", "drives", "displays", "diagnostics", "events", "counters"}));
    // The lamp was switched off on purpose.
    ASSERT_EQ(report["attention"].size(), 1u);
    EXPECT_EQ(report["attention"][0]["section"], "devices");
    EXPECT_NE(report["attention"][0]["sentence"].get<std::string>().find("problem 10"), std::string::npos);

    const std::string text = run({}).out;
    EXPECT_LT(text.find("What needs attention"), text.find("System:"));
    EXPECT_LT(text.find("Devices with a problem"), text.find("HTREE\\ROOT\\0"));
}

TEST_F(Report, KeepsAwayFromOtherSectionsWhatEndsAProcess) {
    endProcessIn("SetupDiGetClassDevsW");
    const Json report = runJson({}, /*status=*/1);
    ASSERT_EQ(report["sections"].size(), 7u);
    EXPECT_EQ(report["sections"][1]["status"], "complete");
    EXPECT_EQ(report["sections"][2]["name"], "drives");
    EXPECT_EQ(report["sections"][2]["status"], "failed");
    EXPECT_EQ(report["sections"][2]["reasons"],
              Json({"the process that read it ended with signal 6 (Aborted)"}));
    EXPECT_NE(report["sections"][5]["data"]["System"], nullptr);
    const Outcome outcome = run({});
    EXPECT_NE(outcome.out.find("Drives and volumes: failed"), std::string::npos);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "sysmira: not read: Drives and volumes, Displays.\n");
    EXPECT_EQ(run({"--html", m_page.path()}).status, 1);
    EXPECT_NE(m_page.read().find("Drives and volumes"), std::string::npos);
}

TEST_F(Report, KeepsWhatASectionFoundBeforeItsProcessEnded) {
    failCall("CM_Locate_DevNodeW", CR_FAILURE, 1, /*onwards=*/true);
    const Json devices = section("devices");
    EXPECT_EQ(devices["status"], "partial");
    EXPECT_EQ(devices["data"]["list"]["devices"].size(), 3u);
    EXPECT_NE(devices["reasons"][0].get<std::string>().find("does not tell its root"), std::string::npos);

    simulation::control().clearFaults();
    endProcessIn("PdhEnumObjectsW");
    writeCounters();
    const Json counters = section("counters");
    EXPECT_EQ(counters["status"], "partial");
    EXPECT_EQ(counters["data"]["samples"][1]["counters"][0]["value"], 104);
    EXPECT_FALSE(counters["data"].contains("objects"));
    EXPECT_NE(counters["reasons"].back().get<std::string>().find("signal 6"), std::string::npos);
}

TEST_F(Report, SaysWhyASectionIsNotThere) {
    const Json events = section("events");
    EXPECT_EQ(events["status"], "partial");
    EXPECT_EQ(events["reasons"][0], "the log \"Application\" cannot be opened: Access is denied (5)");
    failCall("OpenEventLogW", ERROR_ACCESS_DENIED, 1, /*onwards=*/true);
    EXPECT_EQ(section("events")["status"], "denied");
    simulation::control().clearFaults();
    failCall("OpenEventLogW", RPC_S_SERVER_UNAVAILABLE, 1);
    EXPECT_EQ(section("events", /*status=*/1)["status"], "failed") << "one log is denied, the other is not";
    simulation::control().clearFaults();
    const Json system = section("system");
    EXPECT_EQ(system["status"], "notSupported");  // a PC without WMI classes
    EXPECT_EQ(system["reasons"].size(), 1u) << "one for all: " << system["reasons"];
    const Outcome outcome = run({"--section", "system"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("System: not supported here ("), std::string::npos);
}

TEST_F(Report, OfTheBundledPcAgreesWithItself) {
    const InZone utc("UTC");
    const Json report = runForJson<Json>({"report", "--section", "system", "--section", "events"});
    const Json& system = report["sections"][0]["data"]["operatingSystem"]["objects"][0]["properties"];
    // The clock of the PC, of WMI (local time of its zone) and of the newest events.
    EXPECT_EQ(report["time"].get<std::string>().substr(0, 16), "2026-05-31T08:00");
    EXPECT_EQ(system["LocalDateTime"]["value"].get<std::string>().substr(0, 12), "202605311000");
    for (const Json& log : report["sections"][1]["data"])
        EXPECT_LT(log["last"].get<std::string>(), report["time"].get<std::string>());

    const Json drive = runForJson<Json>({"drives", "0"})["drives"][0];
    const Json wmi = runForJson<Json>(
        {"wmi", "root/cimv2", "select * from Win32_DiskDrive where Index = 0"})["objects"][0]["properties"];
    EXPECT_EQ(drive["revision"], wmi["FirmwareRevision"]["value"]);
    EXPECT_EQ(drive["serialNumber"], wmi["SerialNumber"]["value"]);
}

TEST_F(Report, ShowsWhatIsNotKnownAsNullAndNamesWithoutPadding) {
    const Json section = runForJson<Json>({"report", "--section", "drives"})["sections"][0];
    EXPECT_EQ(section["status"], "complete")
        << "of drives without a medium there is no map: " << section["reasons"];
    const Json& data = section["data"];
    std::map<unsigned, Json> drives;
    for (const Json& each : data["drives"]["drives"]) drives[each["index"]] = each;
    EXPECT_EQ(drives[0]["model"], "Nordlicht NX-250");
    EXPECT_EQ(drives[1]["vendor"], nullptr);
    EXPECT_EQ(drives[1]["serialNumber"], "TVK9A20417");
    EXPECT_EQ(drives[2]["product"], "RAID-5 Array");
    for (const char* member : {"capacity", "sectorSize", "sectorCount"})
        EXPECT_EQ(drives[7][member], nullptr) << member;  // a card reader without a card
    unsigned unknown = 0;
    for (const Json& volume : data["volumes"]["volumes"]) {
        EXPECT_NE(volume["totalBytes"], 0);
        EXPECT_NE(volume["fileSystem"], "");
        if (volume["totalBytes"] != nullptr) continue;
        ++unknown;
        for (const char* member : {"usedBytes", "freeBytes", "bytesPerSector", "sectorsPerCluster"})
            EXPECT_EQ(volume[member], nullptr) << member;
    }
    EXPECT_EQ(unknown, 3u);
    const Json& regions = data["map of drive 2"]["map"]["regions"];
    ASSERT_FALSE(regions.empty());
    EXPECT_EQ(regions[0]["type"], nullptr);
    EXPECT_EQ(regions[0]["volume"], nullptr);
    EXPECT_EQ(regions[0]["fileSystem"], nullptr);

    const std::string text = runCommand({"report", "--section", "drives"}).out;
    for (const char* absurd : {" 0 of 0 ", " 0 bytes\n", "- of -", "- sectors of"})
        EXPECT_EQ(text.find(absurd), std::string::npos) << absurd;
    EXPECT_NE(text.find("Drive 2: Feldberg RAID-5 Array\n"), std::string::npos);
}

TEST_F(Report, IsOfThePcByItsNameWhateverIsRead) {
    EXPECT_EQ(runCommand({"report", "--section", "events"}).out.substr(0, 12), "WERKBANK-PC\n");
    EXPECT_EQ(runForJson<Json>({"report", "--section", "events"})["computer"], "WERKBANK-PC");
    EXPECT_EQ(run({"--section", "events"}).out.substr(0, 8), "This PC\n");
    EXPECT_EQ(runJson({"--section", "events"})["computer"], nullptr);
}

TEST_F(Report, ReadsTheMachineFileOnce) {
    // As of a pipe: what was read is gone.
    const std::string fifo = m_page.path();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(fifo) << reportPc; });
    const Outcome outcome = runCommand(
        {"--machine", fifo, "report", "--timeout", "5", "--section", "devices", "--section", "events"});
    writer.join();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("Devices: complete"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("Events: partial"), std::string::npos);
}

TEST_F(Report, EndsASectionWhoseTimeIsUp) {
    hangIn("PdhEnumObjectsW");
    writeCounters();
    const Json counters = runJson({"--section", "counters", "--timeout", "1"})["sections"][0];
    EXPECT_EQ(counters["status"], "partial");
    EXPECT_GT(counters["data"]["samples"].size(), 1u);
    EXPECT_EQ(counters["reasons"], Json({"the process that read it was not done after 1 s and was ended"}));
}

TEST_F(Report, CountsEventsByDayAndShowsTheLatestErrorsFirst) {
    const Json system = section("events")["data"]["System"];
    EXPECT_EQ(system["records"], 4);
    EXPECT_EQ(system["errors"], 2);
    EXPECT_EQ(system["first"], "2024-02-27T23:59:59Z");
    const Json expected = Json::parse(R"([
        {"day": "2024-02-27", "errors": 1, "warnings": 0, "others": 0},
        {"day": "2024-02-28", "errors": 0, "warnings": 1, "others": 1},
        {"day": "2024-02-29", "errors": 0, "warnings": 0, "others": 0},
        {"day": "2024-03-01", "errors": 1, "warnings": 0, "others": 0}])");
    EXPECT_EQ(system["days"], expected);
    ASSERT_EQ(system["latestErrors"].size(), 2u);
    EXPECT_EQ(system["latestErrors"][0]["strings"], Json({"last"}));
    EXPECT_EQ(system["latestErrors"][1]["strings"], Json({"first"}));
}

TEST_F(Report, ShowsTheLastOfManyErrorsHoweverMuchTheySay) {
    Json events = Json::array();
    for (int i = 1; i <= 25; ++i) {
        events.push_back({{"time", "2024-02-27 12:00:" + std::to_string(10 + i)},
                          {"provider", "fan"},
                          {"id", i},
                          {"level", "error"},
                          {"data", {std::string(8000, 'x')}}});
    }
    const Json logs = {{"System", {{"classic", true}, {"events", events}}},
                       {"Application", {{"classic", true}, {"events", Json::array()}}}};
    m_file.write(Json({{"devices", Json::array()}, {"eventLogs", {{"logs", logs}}}}).dump());
    const Json all = section("events");
    EXPECT_EQ(all["status"], "complete");
    const Json system = all["data"]["System"];
    EXPECT_EQ(system["errors"], 25);
    ASSERT_EQ(system["latestErrors"].size(), 20u);
    EXPECT_EQ(system["latestErrors"].front()["code"], 25);
    EXPECT_EQ(system["latestErrors"].back()["code"], 6);
}

TEST_F(Report, PointsOutWhatNeedsAttention) {
    const Json sections = Json::parse(R"([
        {"name": "devices", "data": {"list": {"devices": [
            {"id": "A\\1", "name": "", "description": "Clock", "problem": {"number": 10, "meaning": "m"}},
            {"id": "A\\2", "problem": {"number": 22, "meaning": "m"}, "disabled": true},
            {"id": "A\\3", "problem": null}]}}},
        {"name": "drives", "data": {"volumes": {"volumes": [
            {"letter": "C", "type": "fixed", "totalBytes": 1000, "freeBytes": 50},
            {"letter": "D", "type": "fixed", "totalBytes": 1000, "freeBytes": 51},
            {"letter": "E", "type": "CD-ROM", "totalBytes": 1000, "freeBytes": 0},
            {"letter": "F", "type": "fixed", "totalBytes": 0, "freeBytes": 0},
            {"letter": null, "label": "Data", "type": "fixed", "totalBytes": 4096, "freeBytes": 0}]}}},
        {"name": "diagnostics", "data": {"results": {
            "diskFailures": [{"time": "2024-02-27T10:00:00", "disk": "Disk"}],
            "memoryTests": [{"time": "2024-02-27T10:00:00", "passed": true, "badPages": 0},
                            {"time": "2024-02-28T10:00:00", "passed": false, "badPages": 3}]}}}])");
    Strings sentences;
    for (const Json& each : sysmira::findAttention(sections))
        sentences.push_back(each["section"].get<std::string>() + ": " + each["sentence"].get<std::string>());
    EXPECT_EQ(sentences, (Strings{"devices: Clock has problem 10: m",
                                  "drives: the volume C: is nearly full: 50 B are free",
                                  "drives: the volume Data is nearly full: 0 B are free",
                                  "diagnostics: Windows expected on 2024-02-27 that the disk Disk will fail",
                                  "diagnostics: the memory test of 2024-02-28 found 3 bad pages"}));
}

TEST_F(Report, ShowsMarkupInNamesAsText) {
    EXPECT_EQ(run({"--html", m_page.path()}).out, "");
    const std::string text = m_page.read();
    EXPECT_EQ(text.find("<b>"), std::string::npos);
    EXPECT_NE(text.find("Fan &lt;b&gt;&amp;amp;&lt;/b&gt; &quot;1&quot;\\u202E"), std::string::npos);
    EXPECT_EQ(text.find("http"), std::string::npos) << "it needs nothing from elsewhere";
}

// The names of what stands in a folder.
Strings namesIn(const std::filesystem::path& folder) {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    return names;
}

class ReportFile : public Report {
protected:
    void SetUp() override {
        Report::SetUp();
        std::filesystem::create_directory(m_folder);
        std::ofstream(m_folder / "page.html") << "the old page";
    }
    void TearDown() override {
        std::filesystem::remove_all(m_folder);
        Report::TearDown();
    }
    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(m_folder / "page.html").rdbuf();
        return text.str();
    }
    // In a process of its own; gives its status as waitpid does.
    template <class During>
    int writeElsewhere(const Strings& sections, During&& during) const {
        const pid_t child = fork();
        if (child == 0) {
            setpgid(0, 0);  // a group of processes that gets Ctrl+C together, as on a terminal
            std::ostringstream out, err;
            Strings arguments = {"report", "--html", (m_folder / "page.html").string()};
            for (const std::string& each : sections) arguments.insert(arguments.end(), {"--section", each});
            _exit(sysmira::runSysmira(arguments, out, err));
        }
        during(child);
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }

    const std::filesystem::path m_folder =
        testing::TempDir() + "sysmira-" + std::to_string(getpid()) + "-pages";
};

TEST_F(ReportFile, KeepsTheOldPageUntilTheNewOneIsWhole) {
    hangIn("PdhEnumObjectsW");
    const int status = writeElsewhere({"counters"}, [&](pid_t child) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        kill(-child, SIGINT);
    });
    simulation::control().clearFaults();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(content(), "the old page");
    EXPECT_EQ(namesIn(m_folder), Strings{"page.html"});

    std::filesystem::create_symlink("page.html", m_folder / "link.html");
    EXPECT_EQ(run({"--section", "events", "--html", (m_folder / "link.html").string()}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "link.html"));
    EXPECT_EQ(content().substr(0, 15), "<!DOCTYPE html>");
    EXPECT_EQ(namesIn(m_folder).size(), 2u);
}

TEST_F(ReportFile, KeepsTheOldPageWhenTheNewOneCannotBeWritten) {
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small = {4096, before.rlim_max};
    const auto signalBefore = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const Outcome outcome = run({"--section", "events", "--html", (m_folder / "page.html").string()});
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, signalBefore);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("page.html\" cannot be written: File too large."), std::string::npos)
        << outcome.err;
    EXPECT_EQ(content(), "the old page");
    EXPECT_EQ(namesIn(m_folder), Strings{"page.html"});

    EXPECT_EQ(run({"--section", "events", "--html", "/dev/full"}).err,
              "sysmira: the file \"/dev/full\" cannot be written: No space left on device.\n");
}

TEST_F(Report, RefusesWhatItCannotDo) {
    Outcome outcome = run({"--section", "drive"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "sysmira: there is no section \"drive\"; did you mean \"drives\"?\n");
    outcome = run({"--html", "/no/such/folder/report.html"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        outcome.err,
        "sysmira: the file \"/no/such/folder/report.html\" cannot be written: No such file or directory.\n");
    EXPECT_EQ(run({"--timeout", "0"}).status, 2);
}

}  // namespace
