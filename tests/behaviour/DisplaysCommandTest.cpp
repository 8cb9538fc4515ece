// `sysmira displays`, run within this process.
#include <memory>

#include "tests/behaviour/CommandRun.h"
#include "tools/sysmira/displays/DesktopPicture.h"
#include "tools/sysmira/text/PrintableText.h"

namespace {

using nlohmann::json;
using sysmira::drawDesktop;

class DisplaysCommand : public SimulatedPc {
protected:
    static Outcome run(Strings arguments) {
        arguments.insert(arguments.begin(), "displays");
        return runCommand(arguments);
    }
    static json runJson(Strings arguments) {
        arguments.insert(arguments.begin(), "displays");
        return runForJson(arguments);
    }

    const std::string& file(const std::string& name) {
        m_files.push_back(std::make_unique<TemporaryFile>(name));
        return m_files.back()->path();
    }
    const std::string& machineFile(const std::string& text) {
        const std::string& name = file("displays.json");
        m_files.back()->write(text);
        return name;
    }

private:
    std::vector<std::unique_ptr<TemporaryFile>> m_files;
};

// Two monitors: the second has no EDID and a name that would clear the screen.
const char* const twoMonitors = R"({"devices": [{"id": "HTREE\\ROOT\\0", "children": [
    {"id": "DISPLAY\\AAA\\1", "class": "Monitor", "driver": "0001", "friendlyName": "First",
     "interfaces": [{"class": "monitor", "path": "\\\\?\\first"}],
     "parameters": {"EDID": {"type": "REG_BINARY", "hex": "00 ff"}}},
    {"id": "DISPLAY\\BBB\\1", "class": "Monitor", "driver": "0002", "friendlyName": "\u001b[2J"}]}],
  "displays": [
    {"primary": true, "mode": {"width": 800, "height": 600, "frequency": 1},
     "monitors": [{"device": "DISPLAY\\AAA\\1"}]},
    {"mode": {"width": 600, "height": 800, "frequency": 75, "bitsPerPixel": 16, "x": -600, "y": -100, "turned": 270},
     "monitors": [{"device": "DISPLAY\\BBB\\1"}]}]})";

TEST_F(DisplaysCommand, PrintsReportModeAndSourceOfEachEdid) {
    const Outcome outcome = run({"--machine", machineFile(twoMonitors)});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const std::string& out = outcome.out;
    EXPECT_EQ(out.substr(0, 42), "--------------- Display[0] ---------------");
    for (const char* const line :
         {"\nDisplay Name       : First\n", "\nPort Info:\n   Name            : \\\\.\\DISPLAY1\n",
          "\nCurrent Mode       : 800 x 600, 32 bits per pixel, at 0, 0, primary\n",
          "\nEDID               : 2 bytes from the registry\n", "\nDisplay Name       : \\x1B[2J\n",
          "\nCurrent Mode       : 600 x 800, 75 Hz, 16 bits per pixel, at -600, -100, turned by 270 "
          "degrees\n",
          "\nEDID               : none\n"}) {
        EXPECT_NE(out.find(line), std::string::npos) << line << "\nin\n" << out;
    }
}

TEST_F(DisplaysCommand, ExplainsTheEdidsOfTheBundledPc) {
    const json displays = runJson({"--edid"})["displays"];
    ASSERT_EQ(displays.size(), 3u);
    EXPECT_EQ(displays[0]["edid"]["source"], "WMI");
    EXPECT_EQ(displays[0]["edid"]["size"], 384);
    const json contents = displays[0]["edid"]["contents"];
    EXPECT_EQ(contents["manufacturer"], "BGF");
    EXPECT_EQ(contents["blocks"][1]["kind"], "CTA-861 Extension Block");
    EXPECT_EQ(contents["blocks"][2]["kind"], "DisplayID Extension Block");
    for (const json& display : displays) EXPECT_EQ(display["edid"]["contents"]["problems"], json::array());
    EXPECT_EQ(displays[1]["mode"]["turnedDegrees"], 90);
    EXPECT_EQ(displays[2]["port"]["name"], "\\\\.\\DISPLAY4");
    EXPECT_EQ(displays[2]["edid"]["source"], "registry");
    EXPECT_EQ(displays[2]["edid"]["bytes"].get<std::string>().size(), 256u);
    EXPECT_FALSE(runJson({})["displays"][0]["edid"].contains("bytes"));

    const Outcome text = run({"display4", "--edid", "--log", "1"});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("   00000000: 00 ff ff ff"), std::string::npos);
    EXPECT_NE(text.out.find("   Name             KD-2410\n"), std::string::npos) << text.out;
    EXPECT_EQ(text.err.find("Wmi-EDID"), std::string::npos) << "128 bytes are all there is";
    EXPECT_NE(run({"--log", "1"}).err.find("122 Wmi-EDID fetch took: "), std::string::npos);
}

TEST_F(DisplaysCommand, TakesOneDisplayByAnyOfItsNames) {
    const std::string machineName = machineFile(twoMonitors);
    for (const char* const name :
         {"DISPLAY1", "\\\\.\\display1", "\\\\.\\Display1\\Monitor0", "\\\\?\\FIRST", "display\\aaa\\1"}) {
        const json displays = runJson({"--machine", machineName, name})["displays"];
        ASSERT_EQ(displays.size(), 1u) << name;
        EXPECT_EQ(displays[0]["name"], "First") << name;
    }
    const Outcome none = run({"--machine", machineName, "DISPLAY7"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "sysmira: there is no display \"DISPLAY7\" on the desktop.\n");
    EXPECT_EQ(none.out, "");
}

TEST_F(DisplaysCommand, WritesTheEdidByteForByte) {
    const std::string machineName = machineFile(twoMonitors), edid = file("edid.bin");
    EXPECT_EQ(run({"--machine", machineName, "DISPLAY1", "--edid-file", edid}).status, 0);
    std::ifstream stream(edid, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), std::string("\x00\xFF", 2));

    EXPECT_EQ(run({"--machine", machineName, "--edid-file", edid}).status, 2) << "of which?";
    EXPECT_EQ(run({"--machine", machineName, "DISPLAY1", "--edid-file", "/no/such/folder/x"}).err,
              "sysmira: the file \"/no/such/folder/x\" cannot be written: No such file or directory.\n");
    const Outcome without = run({"--machine", machineName, "--edid"});
    EXPECT_EQ(without.status, 1);
    EXPECT_EQ(without.err, "sysmira: no EDID can be read of DISPLAY2.\n");
    EXPECT_NE(without.out.find("   Problem          block 0: it has 2 of its 128 bytes\n"), std::string::npos)
        << without.out;
}

TEST_F(DisplaysCommand, ShowsTheRegistrysEdidWhereWmiCannotBeUsed) {
    failCall("CoCreateInstance", REGDB_E_CLASSNOTREG, 1, /*onwards=*/true);
    const Outcome outcome = run({"--edid"});
    EXPECT_EQ(outcome.status, 1) << "the second monitor has its EDID in WMI alone";
    EXPECT_NE(outcome.out.find("EDID               : 128 bytes from the registry\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("it announces 2 extension blocks, 0 follow\n"), std::string::npos);
    EXPECT_EQ(outcome.err,
              "sysmira: WMI cannot be asked for the EDID of DISPLAY1: CoCreateInstance failed.\n"
              "sysmira: WMI cannot be asked for the EDID of DISPLAY2: CoCreateInstance failed.\n"
              "sysmira: no EDID can be read of DISPLAY2.\n");
}

TEST_F(DisplaysCommand, DrawsTheDesktopToScale) {
    const std::string machineName = machineFile(twoMonitors);
    const Outcome outcome = run({"--machine", machineName, "--picture"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              R"(┌───────────────────────────────┐
│                               │
│                               │
│                               │┌─────────────────────────────────────────┐
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               ││                DISPLAY1                 │
│           DISPLAY2            ││                800 x 600                │
│           600 x 800           ││                 primary                 │
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               ││                                         │
│                               │└─────────────────────────────────────────┘
│                               │
│                               │
└───────────────────────────────┘
)");
    EXPECT_EQ(runJson({"--machine", machineName, "--picture"})["picture"].size(), 22u);

    distort("EnumDisplaySettingsExW", Distortion::NothingWritten, 1, /*onwards=*/true);
    EXPECT_EQ(runJson({"--machine", machineName, "--picture"})["picture"], json::array());
    EXPECT_NE(run({"--machine", machineName}).out.find("Current Mode       : not known\n"),
              std::string::npos);
    clearFaults();

    const std::string nothing = machineFile(R"({"devices": [{"id": "HTREE\\ROOT\\0"}]})");
    EXPECT_EQ(run({"--machine", nothing, "--picture"}).err,
              "sysmira: no monitor is attached to the desktop.\n");
    EXPECT_EQ(runJson({"--machine", nothing, "--picture"}),
              json::parse(R"({"displays": [], "picture": []})"));
}

TEST(DesktopPicture, DrawsScreensOfAnySizeAndPlace) {
    EXPECT_EQ(drawDesktop({}), Strings());
    EXPECT_EQ(drawDesktop({{0, 0, 0, 600, "none", {}}}), Strings());
    const Strings both = drawDesktop({{0, 0, 100, 100, "A", {"same"}}, {0, 0, 100, 100, "B", {"same"}}});
    ASSERT_EQ(both.size(), 24u);
    EXPECT_NE(both[11].find("A + B"), std::string::npos);
    EXPECT_NE(both[12].find("same"), std::string::npos);
    // What has no room ends with a sign of that.
    const Strings narrow = drawDesktop({{0, 0, 3000, 100, "left", {}}, {3000, 0, 200, 100, "DISPLAY12", {}}});
    ASSERT_GT(narrow.size(), 1u);
    EXPECT_NE(narrow[1].find("│DI…│"), std::string::npos) << narrow[1];
    // As far apart as Windows can place them, and too small for a name.
    const Strings apart = drawDesktop({{-0x80000000ll, -0x80000000ll, 0xFFFFFFFFll, 0xFFFFFFFFll, "wide", {}},
                                       {0x7FFFFFFFll, 0x7FFFFFFFll, 1, 1, "Ä", {"x"}}});
    EXPECT_GE(apart.size(), 24u);
    EXPECT_LE(apart.size(), 28u);
}

TEST(DesktopPicture, KeepsItsColumnsWithCharactersOfAnyWidth) {
    // Two columns each, and an accent without one; the second box begins in the midst of the first name.
    const Strings picture = drawDesktop(
        {{0, 0, 100, 100, "液晶ディスプレイe\u0301", {"液晶ディスプレイ液晶ディスプレイ液晶ディスプレイ"}},
         {50, 0, 100, 100, "B", {}}});
    for (const std::string& line : picture) EXPECT_EQ(sysmira::displayWidth(line), 72u) << line;
    std::string all;
    for (const std::string& line : picture) all += line + "\n";
    EXPECT_NE(all.find("液晶デ"), std::string::npos) << all;
    EXPECT_EQ(all.find("プレイe\u0301"), std::string::npos) << all;
    const Strings alone = drawDesktop({{0, 0, 100, 100, "液晶e\u0301", {}}});
    ASSERT_EQ(alone.size(), 24u);
    EXPECT_NE(alone[11].find("液晶e\u0301"), std::string::npos);
}

}  // namespace
