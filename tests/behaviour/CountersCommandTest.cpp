// `sysmira counters`, run within this process on a machine file; and the counters of such a file.

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <sstream>
#include <thread>

#include "simulation/machine/MachineFile.h"
#include "tests/behaviour/CommandRun.h"
#include "tests/behaviour/CounterPc.h"
#include "tools/sysmira/text/Trend.h"

namespace {

using nlohmann::json;

const char* const workbench = R"json({
  "devices": [{"id": "HTREE\\ROOT\\0"}],
  "environment": {"WINDIR": "C:\\Windows"},
  "files": [{"path": "C:\\Windows\\System32\\pdh.dll", "image": true}],
  "counters": {
    "language": "007",
    "names": {
      "009": ["2", "System", "6", "% Processor Time", "24", "Threads", "238", "Processor", "674", "System Up Time",
              "900", "Gone"],
      "007": ["2", "System", "6", "Prozessorzeit (%)", "24", "Threads", "238", "Prozessor",
              "674", "Systembetriebszeit", "900", "Verschwunden"]},
    "objects": [
      {"object": "Processor", "instances": ["0", "_Total"], "counters": [
        {"counter": "% Processor Time", "rate": true, "shows": [1, 12.5, 25, 100],
         "instances": {"_Total": [7]}}]},
      {"object": 2, "counters": [
        {"counter": "System Up Time", "shows": {"samples": [9007199254740993], "perSecond": 1}},
        {"counter": "Threads", "shows": [2718, null, 2720]}]},
      {"object": "Gone", "counters": [{"counter": "Threads", "shows": null}]}]}
})json";

class CountersCommand : public CounterPc {
protected:
    void SetUp() override {
        CounterPc::SetUp();
        write(workbench);
    }

    void write(const std::string& text) const { m_file.write(text); }

    // As a new process would.
    Outcome run(Strings arguments) const {
        libSysmira::PerformanceNameTableReset::run();
        arguments.insert(arguments.begin(), {"--machine", m_file.path(), "counters"});
        return runCommand(arguments);
    }

private:
    TemporaryFile m_file{"counters.json"};
};

const std::string load0 = "Processor(0)\\% Processor Time";
const std::string upTime = "System\\System Up Time";
const std::string threads = "System\\Threads";

TEST_F(CountersCommand, ListsWhatThereIs) {
    EXPECT_EQ(run({}).out, "Processor\nSystem\nGone\n");
    EXPECT_EQ(json::parse(run({"--json"}).out)["objects"],
              json::parse(R"([{"name": "Processor", "localizedName": "Prozessor"},
                              {"name": "System", "localizedName": "System"},
                              {"name": "Gone", "localizedName": "Verschwunden"}])"));
    EXPECT_EQ(run({"processor"}).out,
              "processor\n  Counters:\n    % Processor Time\n  Instances:\n    0\n    _Total\n");
    EXPECT_EQ(run({"System"}).out, "System\n  Counters:\n    System Up Time\n    Threads\n");
    EXPECT_EQ(json::parse(run({"Processor", "--json"}).out),
              json::parse(R"json({"object": "Processor", "localizedName": "Prozessor",
                  "counters": [{"name": "% Processor Time", "localizedName": "Prozessorzeit (%)"}],
                  "instances": ["0", "_Total"]})json"));
}

TEST_F(CountersCommand, ReadsATableOfSamples) {
    const Outcome once = run({upTime, "\\System\\Threads"});
    EXPECT_EQ(once.status, 0) << once.err;
    EXPECT_EQ(once.out,
              " Seconds  System\\System Up Time  System\\Threads\n"
              "    0.00       9007199254740993            2718\n");
    EXPECT_EQ(simulation::sleptMilliseconds(), 0u) << "there is nothing to wait for";

    // A rate has nothing to show before its second sample: that one is the first line.
    const Outcome table = run({load0, threads, "--every", "0.05", "--samples", "3"});
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_EQ(table.out,
              " Seconds  Processor(0)\\% Processor Time  System\\Threads\n"
              "    0.00                          12.50               -\n"
              "    0.05                          25.00            2720\n"
              "    0.10                         100.00            2718\n");
    EXPECT_EQ(simulation::sleptMilliseconds(), 150u);
    EXPECT_EQ(table.err, "");
}

TEST_F(CountersCommand, EachSampleIsALineOfJson) {
    std::istringstream lines(
        run({load0, threads, upTime, "--every", "0.05", "--samples", "2", "--json"}).out);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(json::parse(line), json::parse(R"json({"seconds": 0.0, "counters": [
        {"counter": "Processor(0)\\% Processor Time", "localizedPath": "\\Prozessor(0)\\Prozessorzeit (%)",
         "value": 12.5},
        {"counter": "System\\Threads", "localizedPath": "\\System\\Threads", "value": null},
        {"counter": "System\\System Up Time", "localizedPath": "\\System\\Systembetriebszeit",
         "value": 9007199254740993}]})json"));
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(json::parse(line)["counters"][1]["value"], 2720);
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(CountersCommand, NamesWhatDoesNotExistAndTheNearestThatDoes) {
    const struct {
        Strings names;
        const char* sentence;
    } rows[] = {
        {{"Procesor"}, "there is no performance object \"Procesor\"; did you mean \"Processor\"?\n"},
        {{"Procesor(_Total)\\% Processor Time"},
         "there is no performance object \"Procesor\"; did you mean \"Processor\"?\n"},
        {{"Weather\\Rain"},
         "there is no performance object \"Weather\"; \"sysmira counters\" lists what there is.\n"},
        {{"Processor(_Total)\\% Procesor Time"},
         "the performance object \"Processor\" has no counter \"% Procesor Time\"; did you mean \"% "
         "Processor "
         "Time\"?\n"},
        {{"Processor(_Totl)\\% Processor Time"},
         "the performance object \"Processor\" has no instance \"_Totl\"; did you mean \"_Total\"?\n"},
        {{"Processor\\% Processor Time"},
         "the performance object \"Processor\" has instances; did you mean \"Processor(_Total)\\% Processor "
         "Time\"?\n"},
        {{"System(0)\\Threads"},
         "the performance object \"System\" has no instance \"0\"; \"sysmira counters 'System'\" lists what "
         "there is.\n"},
        {{"Gone\\Threads", "--every", "0.01", "--samples", "1"},
         "the counter \"Gone\\Threads\" has no value.\n"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = run(row.names);
        EXPECT_EQ(outcome.status, 1) << row.sentence;
        EXPECT_EQ(outcome.err, "sysmira: " + std::string(row.sentence));
    }
    const Outcome part = run({"System\\Thread", threads});
    EXPECT_EQ(part.status, 1);
    EXPECT_EQ(part.out, " Seconds  System\\Threads\n    0.00            2718\n") << "what there is, is read";
    EXPECT_EQ(part.err,
              "sysmira: the performance object \"System\" has no counter \"Thread\"; did you mean "
              "\"Threads\"?\n"
              "sysmira: not every counter that was asked for exists.\n");
}

TEST_F(CountersCommand, RefusesWrongUsage) {
    for (const Strings& arguments : std::vector<Strings>{{"System", "Processor"},
                                                         {"System\\"},
                                                         {"\\\\"},
                                                         {"Processor()\\% Processor Time"},
                                                         {""},
                                                         {threads, "--every", "0"},
                                                         {threads, "--every", "nan"},
                                                         {threads, "--every", "1e9"},
                                                         {threads, "--samples", "0"},
                                                         {"--every", "1"},
                                                         {"System", "--samples", "2"}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments[0];
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.find("sysmira: "), 0u);
    }
    write(R"({"environment": {"WINDIR": "C:\\Windows"}})");
    const Outcome without = run({});
    EXPECT_EQ(without.status, 1);
    EXPECT_NE(without.err.find("pdh.dll"), std::string::npos) << without.err;
    write(
        R"({"environment": {"WINDIR": "C:\\Windows"}, "files": [{"path": "C:\\Windows\\system32\\pdh.dll"}]})");
    EXPECT_EQ(run({}).err, "sysmira: there are no performance objects with English names.\n");
    EXPECT_EQ(run({}).status, 0);
}

TEST_F(CountersCommand, CtrlCEndsTheTableCleanly) {
    std::atomic<bool> ended{false};
    void (*const before)(int) = std::signal(SIGINT, [](int) {});
    std::thread user([&] {
        while (!ended) {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            std::raise(SIGINT);
        }
    });
    const Outcome outcome = run({threads, "--every", "0.01"});
    ended = true;
    user.join();
    std::signal(SIGINT, before);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CountersCommand, ATrendIsDrawnInEightHeights) {
    using sysmira::trendOf;
    EXPECT_EQ(trendOf({}, 2), "  ");
    EXPECT_EQ(trendOf({5, 5}, 3), "▁▁ ");
    EXPECT_EQ(trendOf({0, 1, 2, 3, 4, 5, 6, 7}, 8), "▁▂▃▄▅▆▇█");
    EXPECT_EQ(trendOf({1000, -7, std::nullopt, 0}, 3), "▁ █") << "the last three";
    EXPECT_EQ(trendOf({-1.7e308, 1.7e308, std::nan(""), HUGE_VAL}, 4), "▁█  ");
}

TEST_F(CountersCommand, MistakesInTheFileAreTold) {
    const struct {
        const char* counters;
        const char* sentence;
    } rows[] = {
        {R"({"language": "007"})",
         "counters.language: found \"007\", expected a language that \"names\" has"},
        {R"({"objects": [{}]})", "counters.objects[0]: found no \"object\""},
        {R"({"objects": [{"object": "System"}]})", "expected a name of the table \"009\""},
        {R"({"objects": [{"object": 1}, {"object": 1}]})", "expected an object that does not stand above"},
        {R"({"objects": [{"object": 1, "instancesGrowBy": 0.5}]})", "expected a number of instances"},
        {R"({"objects": [{"object": 1, "counters": [{"counter": 2, "shows": "x"}]}]})",
         "counters.objects[0].counters[0].shows: found \"x\", expected a number, or null"},
        {R"({"objects": [{"object": 1, "counters": [{"counter": 2, "shows": 9223372036854775808}]}]})",
         "expected a number of at most 63 bits"},
        {R"({"objects": [{"object": 1, "counters": [{"counter": 2}, {"counter": 2}]}]})",
         "expected a counter that does not stand above"},
        {R"({"objects": [{"object": 1, "counters": [{"counter": 2, "instances": {"a": 1}}]}]})",
         "found no such instance of the object"},
    };
    for (const auto& row : rows) {
        try {
            simulation::readMachine(std::string("{\"counters\": ") + row.counters + "}", "pc.json");
            ADD_FAILURE() << row.counters;
        } catch (const simulation::MachineFileError& error) {
            EXPECT_NE(std::string(error.what()).find(row.sentence), std::string::npos) << error.what();
        }
    }
}

}  // namespace
