// `sysmira wmi`, run within this process on a machine file.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

#include "tests/behaviour/CommandRun.h"

namespace {

using nlohmann::json;

const char* const fanPc = R"({
  "name": "PC",
  "devices": [{"id": "HTREE\\ROOT\\0"}],
  "wmi": {"root\\cimv2": {
    "classes": [
      {"name": "Part", "properties": ["string Maker"]},
      {"name": "Fan", "properties": [
         "[key] string Id", "uint32 Rpm", "uint64 Turns", "sint64 Balance", "sint8 Trim", "real32 Load",
         "boolean On", "uint8 Raw[]", "string Names[]", "datetime Since", "object Motor", "string Note"],
       "methods": [
         {"name": "Measure", "in": ["uint32 Probe", {"declare": "uint8 Mask[]", "value": null}],
          "out": ["uint32 ReturnValue", "uint16 Rpm"], "returns": {"ReturnValue": 0, "Rpm": 900},
          "cases": [{"when": {"Probe": 4294967295}, "returns": {"ReturnValue": 0, "Rpm": 65535}}]},
         {"name": "Stop", "out": ["uint32 ReturnValue"], "returns": {"ReturnValue": 5}},
         {"name": "Beep"}]}],
    "instances": [
      {"class": "Fan", "values": {"Id": "CPU", "Rpm": 1200, "Turns": 18446744073709551615, "Balance": -9,
        "Trim": -1, "Load": 0.1, "On": true, "Raw": "00 5a ff", "Names": ["a, b", "\u001b[31m"],
        "Since": "20250102030405.000000+060", "Motor": {"class": "Part", "values": {"Maker": "Nordlicht"}}}},
      {"class": "Fan", "values": {"Id": "Case", "Rpm": 700},
       "methods": {"Stop": {"result": "0x80041004"}}}],
    "events": [{"at": 300, "created": {"class": "Fan", "values": {"Id": "Rear"}}},
               {"at": 700, "created": {"class": "Fan", "values": {"Id": "Top"}}}]}}
})";

class WmiCommand : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        m_file.write(fanPc);
    }

    Outcome run(const Strings& arguments) const { return runCommand(onFans(arguments)); }
    json runJson(const Strings& arguments) const { return runForJson(onFans(arguments)); }

private:
    Strings onFans(Strings arguments) const {
        arguments.insert(arguments.begin(), {"--machine", m_file.path(), "wmi"});
        return arguments;
    }

    TemporaryFile m_file{"wmi.json"};
};

TEST_F(WmiCommand, ObjectsAreBlocksOfAlignedProperties) {
    const Outcome outcome = run({"root/cimv2", "select * from Fan"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.substr(0, outcome.out.find("\n\n") + 1),
              "Fan\n"
              "  Id:      CPU\n"
              "  Rpm:     1200\n"
              "  Turns:   18446744073709551615\n"
              "  Balance: -9\n"
              "  Trim:    -1\n"
              "  Load:    0.1\n"
              "  On:      true\n"
              "  Raw:     [0, 90, 255]\n"
              "  Names:   [a, b, \\x1B[31m]\n"
              "  Since:   20250102030405.000000+060\n"
              "  Motor:\n"
              "    Part\n"
              "      Maker: Nordlicht\n"
              "  Note:    null\n");
    EXPECT_EQ(run({"root/cimv2", "select Rpm from Fan where Id = 'Case'"}).out, "Fan\n  Rpm: 700\n");

    const Outcome none = run({"root/cimv2", "select * from Fan where Rpm = 1"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "sysmira: the query finds no objects.\n");
}

TEST_F(WmiCommand, TheDocumentKeepsTypes) {
    const json document = runJson({"root/cimv2", "select * from Fan"});
    EXPECT_EQ(document["namespace"], "root/cimv2");
    EXPECT_EQ(document["query"], "select * from Fan");
    ASSERT_EQ(document["objects"].size(), 2u);
    const json& fan = document["objects"][0];
    EXPECT_EQ(fan["class"], "Fan");
    EXPECT_EQ(fan["path"], "\\\\PC\\root\\cimv2:Fan.Id=\"CPU\"");
    const json expected = json::parse(R"({
      "Id": {"type": "string", "value": "CPU"}, "Rpm": {"type": "uint32", "value": 1200},
      "Turns": {"type": "uint64", "value": 18446744073709551615}, "Balance": {"type": "sint64", "value": -9},
      "Trim": {"type": "sint8", "value": -1}, "Load": {"type": "real32", "value": 0.1},
      "On": {"type": "boolean", "value": true}, "Raw": {"type": "uint8[]", "value": [0, 90, 255]},
      "Names": {"type": "string[]", "value": ["a, b", "\u001b[31m"]},
      "Since": {"type": "datetime", "value": "20250102030405.000000+060"},
      "Motor": {"type": "object", "value": {"class": "Part", "path": null,
        "properties": {"Maker": {"type": "string", "value": "Nordlicht"}}}},
      "Note": {"type": "string", "value": null}})");
    EXPECT_EQ(fan["properties"], expected) << fan["properties"].dump(2);
    EXPECT_EQ(runJson({"root/cimv2", "select * from Fan where Rpm = 1"})["objects"], json::array());
}

TEST_F(WmiCommand, NotificationsAreShownAsTheyCome) {
    const std::string query = "select * from __InstanceCreationEvent within 1 where TargetInstance isa 'Fan'";
    const Outcome text = run({"root/cimv2", query, "--events", "--timeout", "500"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_NE(text.out.find("Id:      Rear"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("Id:      Top"), std::string::npos) << text.out;
    EXPECT_EQ(text.err, "");

    simulation::reset();
    const Outcome lines = run({"root/cimv2", query, "--events", "--timeout", "350", "--json"});
    std::istringstream stream(lines.out);
    std::string line;
    ASSERT_TRUE(std::getline(stream, line));
    const json event = json::parse(line);
    EXPECT_EQ(event["properties"]["TargetInstance"]["value"]["properties"]["Id"]["value"], "Rear");
    EXPECT_FALSE(std::getline(stream, line)) << "400 ms without a notification are more than 350";
}

TEST_F(WmiCommand, CtrlCEndsTheWaitCleanly) {
    // Another thread presses Ctrl+C until the command is through.
    std::atomic<bool> ended{false};
    void (*const before)(int) = std::signal(SIGINT, [](int) {});
    std::thread user([&] {
        while (!ended) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            std::raise(SIGINT);
        }
    });
    const Outcome outcome =
        run({"root/cimv2", "select * from __InstanceDeletionEvent within 1 where TargetInstance isa 'Fan'",
             "--events"});
    ended = true;
    user.join();
    std::signal(SIGINT, before);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(WmiCommand, MethodsAreCalledOnEachObject) {
    EXPECT_EQ(
        run({"root/cimv2", "select * from Fan", "--call", "Measure", "Probe=0xFFFFFFFF", "Mask=[1, 255]"})
            .out,
        "\\\\PC\\root\\cimv2:Fan.Id=\"CPU\"\n"
        "  ReturnValue: 0\n"
        "  Rpm:         65535\n"
        "\n"
        "\\\\PC\\root\\cimv2:Fan.Id=\"Case\"\n"
        "  ReturnValue: 0\n"
        "  Rpm:         65535\n");
    const json document = runJson(
        {"root/cimv2", "select * from Fan where Id = 'CPU'", "--call", "Measure", "Probe=7", "Mask=null"});
    EXPECT_EQ(document["method"], "Measure");
    EXPECT_EQ(document["calls"][0]["returned"]["Rpm"], json::parse(R"({"type": "uint16", "value": 900})"));
    const Outcome silent = run({"root/cimv2", "select * from Fan where Id = 'CPU'", "--call", "Beep"});
    EXPECT_EQ(silent.status, 0);
    EXPECT_EQ(silent.out, "\\\\PC\\root\\cimv2:Fan.Id=\"CPU\"\n");

    // What was returned before the failure is not lost.
    const Outcome half = run({"root/cimv2", "select * from Fan", "--call", "Stop"});
    EXPECT_EQ(half.status, 1);
    EXPECT_EQ(half.out, "\\\\PC\\root\\cimv2:Fan.Id=\"CPU\"\n  ReturnValue: 5\n");
    EXPECT_EQ(half.err,
              "sysmira: the method \"Stop\" of \"\\\\PC\\root\\cimv2:Fan.Id=\"Case\"\" cannot be called: "
              "0x80041004 (WBEM_E_PROVIDER_FAILURE).\n");
}

TEST_F(WmiCommand, FailuresAreOneSentenceWithTheCodeAndItsName) {
    const struct {
        Strings arguments;
        int status;
        const char* sentence;
    } rows[] = {
        {{"root/nowhere", "select * from Fan"},
         1,
         "the namespace \"root/nowhere\" cannot be opened: 0x8004100E (WBEM_E_INVALID_NAMESPACE)."},
        {{"root/cimv2", "select * from Fan where"},
         1,
         "the objects of the query \"select * from Fan where\" cannot be read: 0x80041017 "
         "(WBEM_E_INVALID_QUERY)."},
        {{"root/cimv2", "select * from Nothing"},
         1,
         "the objects of the query \"select * from Nothing\" cannot be read: 0x80041010 "
         "(WBEM_E_INVALID_CLASS)."},
        {{"root/cimv2", "select * from Fan", "--events", "--timeout", "1"},
         1,
         "the notification query \"select * from Fan\" cannot be run: 0x80041059 (WBEM_E_NOT_EVENT_CLASS)."},
        {{"root/cimv2", "select * from Fan", "--call", "Start"},
         1,
         "the method \"Start\" of \"\\\\PC\\root\\cimv2:Fan.Id=\"CPU\"\" is not known: 0x80041002 "
         "(WBEM_E_NOT_FOUND)."},
        {{"root/cimv2", "select * from Fan", "--call", "Measure", "Probe=many"},
         1,
         "\"many\" is no value for the uint32 parameter \"Probe\" of the method \"Measure\": 0x80041005 "
         "(WBEM_E_TYPE_MISMATCH)."},
        {{"root/cimv2", "select * from Fan", "--call", "Measure", "Probe=4294967296"},
         1,
         "\"4294967296\" is no value for the uint32 parameter \"Probe\" of the method \"Measure\": "
         "0x8004102B "
         "(WBEM_E_VALUE_OUT_OF_RANGE)."},
        {{"root/cimv2", "select * from Fan", "--call", "Measure", "Mask=[1, 256]"},
         1,
         "\"[1, 256]\" is no value for the uint8[] parameter \"Mask\" of the method \"Measure\": 0x8004102B "
         "(WBEM_E_VALUE_OUT_OF_RANGE)."},
        {{"root/cimv2", "select * from Fan", "--call", "Measure", "Depth=1"},
         1,
         "the method \"Measure\" has no input parameter \"Depth\": 0x80041002 (WBEM_E_NOT_FOUND)."},
        {{"root/cimv2", "select * from Fan", "--call", "Stop", "Probe=1"},
         1,
         "the method \"Stop\" takes no input parameters: 0x8004102F (WBEM_E_INVALID_METHOD_PARAMETERS)."},
        {{"root/cimv2", "select Rpm from Fan", "--call", "Stop"},
         1,
         "the query gives objects without a path"},
        {{"root/cimv2"}, 2, "\"sysmira wmi\" needs a namespace and a query"},
        {{"root/cimv2", "select * from Fan", "Probe=1"}, 2, "unexpected argument \"Probe=1\""},
        {{"root/cimv2", "select * from Fan", "--call", "Measure", "Probe"}, 2, "\"Probe\" is no parameter"},
        {{"root/cimv2", "select * from Fan", "--timeout", "5"}, 2, "\"--timeout\" is for \"--events\""},
        {{"root/cimv2", "select * from Fan", "--timeout", "soon", "--events"}, 2, "soon"},
        {{"root/cimv2", "select * from Fan", "--timeout=-1", "--events"},
         2,
         "--timeout: found \"-1\", expected a number from 0 to 4294967295"},
        {{"root/cimv2", "select * from Fan", "--call", "Stop", "--events"}, 2, "exclude each other"},
    };
    for (const auto& row : rows) {
        for (const bool asJson : {false, true}) {
            Strings arguments = row.arguments;
            if (asJson) arguments.push_back("--json");
            const Outcome outcome = run(arguments);
            EXPECT_EQ(outcome.status, row.status) << row.sentence;
            EXPECT_EQ(outcome.out, "") << row.sentence;
            EXPECT_NE(outcome.err.find(row.sentence), std::string::npos) << outcome.err;
            EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        }
    }
}

TEST_F(WmiCommand, ObjectsOfWhichReadingFailsHalfwayAreNotShownByHalves) {
    failCall("IEnumWbemClassObject::Next", WBEM_E_TRANSPORT_FAILURE, 2);
    const Outcome outcome = run({"root/cimv2", "select * from Fan"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("0x80041015 (WBEM_E_TRANSPORT_FAILURE)"), std::string::npos) << outcome.err;
}

TEST_F(WmiCommand, DeceivingValuesAreNullsNotGarbage) {
    for (const Distortion distortion :
         {Distortion::WrongType, Distortion::EmptyValue, Distortion::NullContent, Distortion::TwoDimensions,
          Distortion::WideElements}) {
        simulation::control().clearFaults();
        distort("IWbemClassObject::Get", distortion, 1, true);
        EXPECT_EQ(run({"root/cimv2", "select * from Fan"}).status, 0) << static_cast<unsigned>(distortion);
    }
}

TEST_F(WmiCommand, AFailedAnalysisIsReportedWithWhatItsMethodReturned) {
    const TemporaryFile file("defrag.json");
    file.write(R"({
        "name": "PC",
        "devices": [{"id": "HTREE\\ROOT\\0"}],
        "volumes": [{"name": "\\\\?\\Volume{1}\\", "mountPoints": ["X:\\"]}],
        "wmi": {"root\\cimv2": {
            "classes": [{"name": "Win32_Volume",
                "properties": ["[key] string DeviceID", "string DriveLetter", "uint32 DriveType"],
                "methods": [{"name": "DefragAnalysis", "returns": {"ReturnValue": 3},
                    "out": ["boolean DefragRecommended", "object DefragAnalysis", "uint32 ReturnValue"]}]}],
            "instances": [{"class": "Win32_Volume",
                "values": {"DeviceID": "1", "DriveLetter": "X:", "DriveType": 3}}]}}})");
    const Outcome outcome = runCommand({"defrag", "X", "--machine", file.path()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        outcome.err,
        "sysmira: the analysis of X: failed: DefragAnalysis returned 3 (the volume is marked dirty).\n");
}

}  // namespace
