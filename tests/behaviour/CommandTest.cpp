// The command, run within this process on machine files and on the bundled PC.
#include <algorithm>

#include "tests/behaviour/CommandRun.h"
#include "tools/sysmira/text/PrintableText.h"

namespace {

using nlohmann::json;

Outcome run(const Strings& arguments) { return runCommand(arguments); }
json runJson(const Strings& arguments) { return runForJson(arguments); }

std::string text(const json& value) { return value.get<std::string>(); }

// The values that follow a label, one for each line that begins with it.
Strings valuesOf(const std::string& report, const std::string& label) {
    Strings values;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, label.size(), label) == 0) values.push_back(line.substr(label.size()));
    }
    return values;
}

Strings idsOf(const json& document) {
    Strings ids;
    for (const json& device : document["devices"]) ids.push_back(device["id"]);
    return ids;
}

class Command : public SimulatedPc {
protected:
    // The arguments that run the command on a machine file of this text.
    Strings on(const std::string& machineFile, Strings arguments) {
        m_file.write(machineFile);
        arguments.insert(arguments.begin(), {"--machine", m_file.path()});
        return arguments;
    }
    const std::string& file() const { return m_file.path(); }

private:
    TemporaryFile m_file{"command.json"};
};

const char* const smallPc = R"({
  "devices": [{"id": "HTREE\\ROOT\\0", "children": [
    {"id": "PCI\\VEN_1\\1", "description": "Bridge", "location": "PCI bus 2, device 0, function 1", "children": [
      {"id": "SCSI\\DISK\\1", "class": "DiskDrive", "description": "Disk drive", "friendlyName": "磁盘 Eins",
       "driver": "0001", "location": "7", "hardwareIds": ["SCSI\\DiskOne", "GenDisk"], "properties": {"15": 18},
       "removalRelations": ["STORAGE\\VOLUME\\1"], "interfaces": [{"class": "disk", "path": "\\\\?\\one"}],
       "driverPackage": {"provider": "Nordlicht", "manufacturer": "Nordlicht Speicher", "description": "Disk drive",
         "version": "10.0.3900.1", "date": "2006-06-21", "inf": "C:\\Windows\\INF\\disk.inf",
         "section": "disk_install", "infDate": "2019-04-17",
         "files": ["C:\\drivers\\disk.sys", "C:\\drivers\\gone.sys"]}}]},
    {"id": "SWD\\HIDDEN\\0", "description": "Software bus", "hidden": true, "children": [
      {"id": "SWD\\CHILD\\0", "description": "Below hidden", "problem": 22},
      {"id": "SWD\\CHILD\\1", "problem": 10}]},
    {"id": "USB\\GONE\\0", "description": "Gone", "problem": 24},
    {"id": "USB\\OLD\\0", "description": "Old", "phantom": true}]}],
  "files": [{"path": "C:\\drivers\\disk.sys", "version": "10.0.3900.7"}]
})";

TEST_F(Command, TreeDrawsShownDevicesBelowTheirNearestShownAncestor) {
    const Outcome shown = run(on(smallPc, {"tree"}));
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(shown.out,
              "This PC                     HTREE\\ROOT\\0\n"
              "├─ Bridge                   PCI\\VEN_1\\1\n"
              "│  └─ 磁盘 Eins             SCSI\\DISK\\1\n"
              "├─ Below hidden [disabled]  SWD\\CHILD\\0\n"
              "└─ (no name) [problem 10]   SWD\\CHILD\\1\n"
              "\n"
              "5 devices, 1 disabled, 1 with a problem\n"
              "  problem 10: the device cannot start\n"
              "  problem 22: the device is disabled\n");

    const Outcome all = run({"--machine", file(), "tree", "--hidden"});
    EXPECT_NE(all.out.find("└─ Software bus [hidden]       SWD\\HIDDEN\\0\n"
                           "   ├─ Below hidden [disabled]  SWD\\CHILD\\0\n"
                           "   └─ (no name) [problem 10]   SWD\\CHILD\\1\n"),
              std::string::npos)
        << all.out;

    const json child = runJson({"--machine", file(), "tree"})["devices"][3];
    EXPECT_EQ(child["id"], "SWD\\CHILD\\0");
    EXPECT_EQ(child["parent"], "HTREE\\ROOT\\0");
    EXPECT_EQ(child["depth"], 2);
    EXPECT_EQ(child["disabled"], true);
    EXPECT_EQ(child["problem"]["number"], 22);
}

TEST_F(Command, TreeNamesDevicesWhateverTheLengthOfTheirNames) {
    // The functions of the tree are asked with room for 1,023 units.
    const std::string longName(1024, 'N');
    const std::string pc = R"({"devices": [{"id": "HTREE\\ROOT\\0", "children": [
        {"id": "ROOT\\FAN\\0000", "friendlyName": ")" +
                           longName + R"("},
        {"id": "ROOT\\FAN\\0001", "friendlyName": "  Fan  "}]}]})";
    const std::string text = runCommand(on(pc, {"tree"})).out;
    EXPECT_NE(text.find("├─ " + longName + "  ROOT"), std::string::npos) << text.substr(0, 300);
    EXPECT_NE(text.find("└─ Fan  "), std::string::npos) << text.substr(0, 300);
    EXPECT_EQ(runJson(on(pc, {"tree"}))["devices"][1]["name"], longName);
}

TEST_F(Command, ShortensWhatErrorsRepeat) {
    const std::string end = "THE_END";
    const Outcome outcome = runCommand({"device", std::string(100000, 'x') + "\xC3\xA4" + end});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_LT(outcome.err.size(), 2000u);
    EXPECT_NE(outcome.err.find(end), std::string::npos) << "the end of the sentence stays";
    EXPECT_NE(outcome.err.find(" characters left out"), std::string::npos) << outcome.err;
}

TEST_F(Command, TreeWithoutARootIsASentence) {
    const Outcome outcome = run(on(R"({"devices": []})", {"tree"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "sysmira: the device tree cannot be read: Windows does not tell its root.\n");
}

TEST_F(Command, DeviceTellsAllThatIsKnown) {
    const Outcome outcome = run(on(smallPc, {"device", "scsi\\disk\\1"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const auto value = [&](const char* label) {
        const Strings found = valuesOf(outcome.out, label);
        return found.size() == 1 ? found[0] : "(" + std::to_string(found.size()) + " lines)";
    };
    EXPECT_EQ(value("DeviceInstanceID : "), "SCSI\\DISK\\1") << "in Windows' letters";
    EXPECT_EQ(value("OS Locator       : "), "\\\\?\\one");
    EXPECT_EQ(value("Interface        : "), "WinInt_Disk");
    EXPECT_EQ(value("State            : "), "no problem");
    EXPECT_EQ(value("Device ID        : "), "SCSI\\DISK");
    EXPECT_EQ(value("Parent           : "), "PCI\\VEN_1\\1");
    EXPECT_EQ(value("Location Number  : "), "7");
    EXPECT_EQ(value("  Removal  : "), "STORAGE\\VOLUME\\1");
    EXPECT_EQ(value("  Hardware IDs             : "), "SCSI\\DiskOne");
    EXPECT_EQ(value("                             "), "GenDisk");
    EXPECT_EQ(value("  Capabilities             : "), "18 (0x12)");
    const std::size_t driver = outcome.out.find("\nDriver:\n");
    ASSERT_NE(driver, std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.substr(driver),
              "\nDriver:\n"
              "  Provider           : Nordlicht\n"
              "  Version            : 10.0.3900.1\n"
              "  Date               : 2006-06-21\n"
              "  Device Description : Disk drive\n"
              "INF:\n"
              "  File Name    : C:\\Windows\\INF\\disk.inf\n"
              "  Section Name : disk_install\n"
              "  Date         : 2019-04-17\n"
              "Driver Files     :\n"
              "     C:\\drivers\\disk.sys - 10.0.3900.7\n"
              "     C:\\drivers\\gone.sys\n");

    const json disk = runJson({"--machine", file(), "device", "SCSI\\DISK\\1"});
    EXPECT_EQ(disk["friendlyName"], "磁盘 Eins");
    EXPECT_EQ(disk["locationNumber"], 7);
    EXPECT_EQ(disk["pciAddress"], nullptr);
    EXPECT_EQ(disk["registryProperties"]["capabilities"], 18);
    EXPECT_EQ(disk["relations"]["removal"], json({"STORAGE\\VOLUME\\1"}));
    EXPECT_EQ(disk["driver"]["inf"]["date"], "2019-04-17");
    EXPECT_EQ(disk["driver"]["files"][0]["version"], "10.0.3900.7");
    EXPECT_EQ(disk["driver"]["files"][1]["version"], nullptr);

    const json bridge = runJson({"--machine", file(), "device", "PCI\\VEN_1\\1"});
    EXPECT_EQ(bridge["pciAddress"], json({{"bus", 2}, {"device", 0}, {"function", 1}}));
    EXPECT_EQ(bridge["relations"]["bus"], json({"SCSI\\DISK\\1"}));
    EXPECT_EQ(bridge["driver"], nullptr);
}

TEST_F(Command, DeviceTellsWhyADeviceDoesNotWork) {
    on(smallPc, {});
    const std::pair<const char*, const char*> states[] = {
        {"SWD\\CHILD\\0", "problem 22: the device is disabled"},
        {"SWD\\CHILD\\1", "problem 10: the device cannot start"},
        {"USB\\OLD\\0", "not present; Windows knows it from earlier"},
    };
    for (const auto& [id, state] : states) {
        const Outcome outcome = run({"--machine", file(), "device", id});
        EXPECT_EQ(valuesOf(outcome.out, "State            : "), Strings{state}) << id;
    }
    EXPECT_EQ(runJson({"--machine", file(), "device", "USB\\OLD\\0"})["present"], false);
    EXPECT_EQ(runJson({"--machine", file(), "device", "USB\\GONE\\0"})["problem"]["number"], 24);
}

TEST_F(Command, AnUnknownDeviceIsNamedWithTheNearestOne) {
    const std::pair<const char*, const char*> sentences[] = {
        {"SCSI\\DISK\\2", R"(sysmira: no device has the ID "SCSI\DISK\2"; did you mean "SCSI\DISK\1"?)"},
        {"SWD\\HIDDEN\\1", R"(sysmira: no device has the ID "SWD\HIDDEN\1"; did you mean "SWD\HIDDEN\0"?)"},
        {"nothing like it",
         R"(sysmira: no device has the ID "nothing like it"; "sysmira devices" lists the IDs.)"},
        {"", R"(sysmira: no device has the ID ""; "sysmira devices" lists the IDs.)"},
        {"a\x1B[2J\nb", R"(sysmira: no device has the ID "a\x1B[2J\nb"; "sysmira devices" lists the IDs.)"},
    };
    for (const auto& [id, sentence] : sentences) {
        const Outcome outcome = run(on(smallPc, {"device", id}));
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, sentence + std::string("\n"));
    }
}

TEST_F(Command, WrongUsageIsOneSentenceThatNamesItAndWhatIsRight) {
    const std::pair<Strings, const char*> mistakes[] = {
        {{"devcies"}, R"(unknown subcommand "devcies"; did you mean "devices"?)"},
        {{"frobnicate"}, R"(unknown subcommand "frobnicate"; "sysmira --help" tells what there is.)"},
        {{"devices", "--disk"}, R"(unknown option "--disk"; did you mean "--disks"?)"},
        {{"tree", "--jsn"}, R"(unknown option "--jsn"; did you mean "--json"?)"},
        {{"tree", "--\x1B]0;"}, R"(unknown option "--\x1B]0;"; "sysmira tree --help" tells what there is.)"},
        {{"devices", "tree"}, R"(unexpected argument "tree"; "sysmira devices --help" tells what there is.)"},
        {{"device", "A", "B"}, R"(unexpected argument "B"; "sysmira device --help" tells what there is.)"},
        {{"device"}, R"("sysmira device" needs the ID of a device; "sysmira devices" lists them.)"},
        {{"--log", "9"}, R"(--log: found "9", expected 1, 2, 3 or 4.)"},
        {{"--log"}, R"(option "--log" needs a value: PRIORITY.)"},
        {{"devices", "--enumerator"}, R"(option "--enumerator" needs a value: NAME.)"},
        {{"devices", "--enumerator", ""},
         R"(--enumerator: found nothing, expected the name of an enumerator.)"},
        {{"devices", "--disks=no"}, R"(option "--disks" takes no value.)"},
    };
    for (const auto& [arguments, sentence] : mistakes) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 2) << sentence;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, std::string("sysmira: ") + sentence + "\n");
    }
}

TEST_F(Command, AMachineFileThatCannotBeUsedIsASentence) {
    const Outcome missing = run({"--machine", "/nowhere/pc.json"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err,
              "sysmira: the machine file \"/nowhere/pc.json\" cannot be read: No such file or directory.\n");

    const Outcome mistaken = run(on(R"({"devices": [{"id": "PCI\\A\\0", "problem": "abc"}]})", {"tree"}));
    EXPECT_EQ(mistaken.status, 1);
    EXPECT_EQ(mistaken.out, "");
    EXPECT_EQ(mistaken.err.find("sysmira: " + file() + ": devices[0].problem: found \"abc\""), 0u)
        << mistaken.err;
    EXPECT_EQ(mistaken.err.find('\n'), mistaken.err.size() - 1);
}

// Escape sequences, line ends that forge lines of the report, and marks that turn the direction of writing.
TEST_F(Command, DeviceTextsNeitherDriveTheTerminalNorForgeLines) {
    const char* const hostile = R"({"devices": [{"id": "HTREE\\ROOT\\0", "children": [{"id": "PCI\\A\\0",
        "friendlyName": "x\u001b[31m\nDeviceInstanceID : forged\u202e", "description": "\r\u009b\t\u0007",
        "hardwareIds": ["a\nb"],
        "driverPackage": {"provider": "p\n  Version            : 6", "version": "1.0.0.0", "inf": "a.inf",
          "section": "s\u001b", "files": ["C:\\one\n     C:\\two"]}}]}]})";
    on(hostile, {});
    const auto isClean = [](const std::string& output) {
        for (const char c : output) {
            if (c != '\n' && static_cast<unsigned char>(c) < 0x20) return false;
        }
        return output.find("\u202e") == std::string::npos && output.find("\u009b") == std::string::npos;
    };
    for (const Strings& arguments : {Strings{"tree"}, Strings{"devices"}, Strings{"device", "PCI\\A\\0"}}) {
        Strings all = arguments;
        all.insert(all.begin(), {"--machine", file()});
        const Outcome outcome = run(all);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(isClean(outcome.out)) << outcome.out;
        EXPECT_NE(outcome.out.find(R"(x\x1B[31m\nDeviceInstanceID : forged\u202E)"), std::string::npos)
            << outcome.out;
    }
    const std::string devices = run({"--machine", file(), "devices"}).out;
    EXPECT_EQ(valuesOf(devices, "DeviceInstanceID : "), (Strings{"HTREE\\ROOT\\0", "PCI\\A\\0"}));
    EXPECT_EQ(valuesOf(devices, "Description      : "), (Strings{"", R"(\r\x9B\t\x07)"}));
    const std::string device = run({"--machine", file(), "device", "PCI\\A\\0"}).out;
    EXPECT_EQ(valuesOf(device, "  Version            : "), Strings{"1.0.0.0"});
    EXPECT_EQ(valuesOf(device, "     C:"), Strings{R"(\one\n     C:\two)"});

    EXPECT_EQ(runJson({"--machine", file(), "device", "PCI\\A\\0"})["friendlyName"],
              "x\x1B[31m\nDeviceInstanceID : forged\u202e");
}

TEST_F(Command, LogLinesGoToStderrWhileItRuns) {
    const Outcome outcome = run(on(smallPc, {"device", "SCSI\\DISK\\1", "--log", "1"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("libSysmira.DriverPackage: 155 _getDriverFiles - elapsed seconds: "),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(zor::LogFactory::getPriority(), 3);
    EXPECT_EQ(run({"--machine", file(), "device", "SCSI\\DISK\\1"}).err, "");
}

TEST_F(Command, AResultThatCannotBeWrittenIsAFailure) {
    std::ostringstream out, err;
    out.setstate(std::ios::badbit);
    EXPECT_EQ(sysmira::runSysmira({"devices"}, out, err), 1);
    EXPECT_EQ(err.str(), "sysmira: the result could not be written.\n");
}

TEST_F(Command, ListsTheBundledPcTheSameWayInTextAndJson) {
    const std::pair<Strings, std::size_t> selections[] = {
        {{"--disks"}, 14},
        {{"--usb-disks"}, 3},
        {{"--opticals"}, 1},
        {{"--floppies"}, 2},
        {{"--tapes"}, 1},
        {{"--volumes"}, 15},
        {{"--controllers"}, 9},
        {{"--batteries"}, 2},
        {{"--displays"}, 3},
        {{"--com-ports"}, 3},
        {{"--display-adapters"}, 2},
        {{"--parallel-ports"}, 1},
        {{"--storage"}, 18},
        {{"--all"}, 122},
        {{"--enumerator", "usbstor"}, 4},
        {{"--tapes", "--floppies", "--tapes"}, 3},
    };
    for (const auto& [options, count] : selections) {
        Strings arguments = options;
        arguments.insert(arguments.begin(), "devices");
        EXPECT_EQ(idsOf(runJson(arguments)).size(), count) << options[0];
    }
    for (const char* option : {"--all", "--floppies"}) {
        const Outcome outcome = run({"devices", option});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(valuesOf(outcome.out, "DeviceInstanceID : "), idsOf(runJson({"devices", option})));
    }
    EXPECT_EQ(run({}).out, run({"devices", "--all"}).out);
    EXPECT_EQ(run({"--json", "tree"}).out, run({"tree", "--json"}).out);
    const Outcome none = run({"devices", "--enumerator", "PCMCIA"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "sysmira: there are no such devices.\n");
}

TEST_F(Command, KeepsTheOrderOfTheSelections) {
    const Strings tapesFirst =
        idsOf(runJson({"devices", "--enumerator=FDC", "--tapes", "--enumerator", "1394"}));
    ASSERT_EQ(tapesFirst.size(), 3u);
    EXPECT_EQ(tapesFirst[0].substr(0, 4), "FDC\\");
    EXPECT_EQ(tapesFirst[1].substr(0, 15), "SCSI\\Sequential");
    EXPECT_EQ(tapesFirst[2].substr(0, 5), "1394\\");
}

// Relations name devices that exist, and every shown device can be asked for by its ID.
TEST_F(Command, TheBundledPcIsWhole) {
    const json tree = runJson({"tree", "--hidden"})["devices"];
    EXPECT_GE(tree.size(), 100u);
    std::size_t hidden = 0, disabled = 0, problems = 0, foreignNames = 0, removalRelations = 0, drivers = 0;
    for (const json& device : tree) {
        hidden += device["hidden"] == true ? 1 : 0;
        disabled += device["disabled"] == true ? 1 : 0;
        problems += device["problem"] != nullptr ? 1 : 0;
        const std::string name = text(device["name"]);
        foreignNames += sysmira::printable(name) == name && name.size() > sysmira::displayWidth(name) ? 1 : 0;
    }
    EXPECT_GE(hidden, 10u);
    EXPECT_GE(disabled, 1u);
    EXPECT_GE(problems, 5u);
    EXPECT_GE(foreignNames, 8u);

    const Strings ids = idsOf({{"devices", tree}});
    for (const std::string& id : idsOf(runJson({"devices", "--storage"}))) {
        const json disk = runJson({"device", id});
        for (const json& related : disk["relations"]["removal"]) {
            EXPECT_NE(std::find(ids.begin(), ids.end(), text(related)), ids.end()) << related;
            ++removalRelations;
        }
        EXPECT_NE(disk["driver"], nullptr) << id;
        for (const json& driverFile : disk["driver"]["files"]) {
            EXPECT_NE(driverFile["version"], nullptr) << driverFile;
            ++drivers;
        }
    }
    EXPECT_GE(removalRelations, 9u);
    EXPECT_GT(drivers, 10u);
}

}  // namespace
