#include "simulation/machine/MachineFile.h"

#include "tests/behaviour/SimulatedPc.h"

namespace {

using simulation::readMachine;

std::string mistakeOf(const std::string& json) {
    try {
        readMachine(json, "pc.json");
        return "none";
    } catch (const simulation::MachineFileError& error) {
        return error.what();
    }
}

std::string repeated(const std::string& text, size_t times) {
    std::string result;
    for (size_t i = 0; i < times; ++i) result += text;
    return result;
}

TEST(MachineFile, TellsWhereAMistakeStandsWhatWasFoundAndWhatWasExpected) {
    const struct {
        std::string json, mistake;
    } cases[] = {
        {"{\"devices\": {}}", "devices: found an object, expected a list of devices"},
        {"[]", "found a list, expected an object"},
        {"{\"nme\": \"PC\"}", "found \"nme\", expected \"name\""},
        {"{\"printers\": []}",
         "found \"printers\", expected one of name, setupClasses, devices, registry, files, environment, "
         "noDeviceTree, wmi, disks, volumes, networkDrives, otherDrives, systemDirectory, "
         "programPath, displays, eventLogs, counters, shell"},
        {"{\"name\": 5}", "name: found 5, expected a text"},
        {"{\"name\": \"a\\u0000b\"}", "name: found \"a\\u0000b\", expected a text without NUL"},
        {"{\"name\": \"PC\", \"name\": \"PC2\"}", "name: found this member twice, expected it once"},
        {"{\"files\": [{\"path\": \"C:\\\\a\"}, {\"path\": \"C:\\\\A\"}]}",
         "files[1].path: found \"C:\\\\A\", expected a file that is not listed above"},
        {"{\"files\": [{\"path\": \"notepad.exe\"}]}",
         "files[0].path: found \"notepad.exe\", expected a full path like \"C:\\Windows\\notepad.exe\""},
        {"{\"files\": [{\"path\": \"C:\\\\a\", \"version\": \"1.2.3.65536\"}]}",
         "files[0].version: found \"1.2.3.65536\", expected a version like \"10.0.19041.1\", each part below "
         "65536"},
        {"{\"files\": [{\"path\": \"C:\\\\a\", \"versionBlock\": \"0 ff\"}]}",
         "files[0].versionBlock: found \"0 ff\", expected bytes in hexadecimal like \"00 5a ff\""},
        {"{\"registry\": {\"HKLM\\\\Software\": {}}}",
         "registry[\"HKLM\\Software\"]: found no root, expected a path that begins with one like "
         "HKEY_LOCAL_MACHINE"},
        {"{\"registry\": {\"HKEY_USERS\\\\a\": {\"b\": true}}}",
         "registry[\"HKEY_USERS\\a\"].b: found true, expected a text, a number of 32 bits, a list of texts "
         "or "
         "an object with a type"},
        {"{\"registry\": {\"HKEY_USERS\\\\a\": {\"b\": 4294967296}}}",
         "registry[\"HKEY_USERS\\a\"].b: found 4294967296, expected a number from 0 to 4294967295"},
        {"{\"registry\": {\"HKEY_USERS\\\\a\": {\"b\": {\"type\": \"REG_WORD\"}}}}",
         "registry[\"HKEY_USERS\\a\"].b.type: found \"REG_WORD\", expected a type like \"REG_BINARY\" or its "
         "number"},
        {"{\"registry\": {\"HKEY_USERS\\\\a\": {\"b\": {\"type\": 1, \"text\": \"\", \"hex\": \"\"}}}}",
         "registry[\"HKEY_USERS\\a\"].b: found several contents, expected one of text, texts, number, hex"},
        {"{\"setupClasses\": [{\"name\": \"Robot\", \"guid\": \"robot\"}]}",
         "setupClasses[0].guid: found \"robot\", expected a GUID in braces"},
        {"{\"devices\": [{\"class\": \"System\"}]}",
         "devices[0]: found no \"id\", expected an instance ID like "
         "\"PCI\\VEN_8086&DEV_1237\\3&267A616A&0&00\", "
         "below 200 letters"},
    };
    for (const auto& [json, mistake] : cases) EXPECT_EQ(mistakeOf(json), "pc.json: " + mistake) << json;
}

TEST(MachineFile, TellsWhatIsWrongWithADevice) {
    const struct {
        const char *members, *mistake;
    } cases[] = {
        {R"("problem": "abc")", R"(.problem: found "abc", expected a problem number)"},
        {R"("problem": 58)", ".problem: found 58, expected a problem number from 1 to 57"},
        {R"("hidden": "yes")", R"(.hidden: found "yes", expected true or false)"},
        {R"("clas": "System")", R"(: found "clas", expected "class")"},
        {R"("class": "Robot")",
         R"(.class: found "Robot", expected a setup class: a standard name like "DiskDrive", one of "setupClasses", or a GUID in braces)"},
        {R"("driver": "3", "class": "System")",
         R"(.driver: found "3", expected four digits like "0003", or a class GUID in braces, "\" and four digits)"},
        {R"("driver": "0003")",
         R"(.driver: found "0003", expected a class GUID and number, as the device has no class)"},
        {R"("driverValues": {})",
         R"(.driverValues: found values of a software key, expected a "driver" that names the key)"},
        {R"("properties": {"36": ""})", R"(.properties.36: found "36", expected a property number below 36)"},
        {R"("driverPackage": {"date": "2006-02-29"})",
         R"(.driverPackage.date: found "2006-02-29", expected a date like "2006-06-21" or "2006-06-21 14:03:09", from 1601 on)"},
        {R"("driverPackage": {}, "drivers": [])",
         R"(.drivers: found beside "driverPackage", expected one of the two)"},
        {R"("interfaces": [{"class": "disc"}])",
         R"(.interfaces[0].class: found "disc", expected a GUID in braces or one of battery, cdrom, comport, disk, display-adapter, floppy, hidden-volume, monitor, parallel, tape, usb-controller, usb-device, usb-hub, volume)"},
        {R"("children": [{"id": "A\\b\\1"}, {"id": "A\\B\\1"}])",
         R"(.children[1].id: found "A\\B\\1", expected an instance ID that no device above has)"},
        {R"("children": [{"id": "A\\b"}])",
         R"(.children[0].id: found "A\\b", expected an instance ID like "PCI\VEN_8086&DEV_1237\3&267A616A&0&00", below 200 letters)"},
        {R"("hardwareIds": ["a", 7])", ".hardwareIds[1]: found 7, expected a text"},
    };
    for (const auto& [members, mistake] : cases) {
        const std::string json = R"({"devices": [{"id": "HTREE\\ROOT\\0", )" + std::string(members) + "}]}";
        // The place is that of the device, or within it.
        EXPECT_EQ(mistakeOf(json), "pc.json: devices[0]" + std::string(mistake));
    }
    EXPECT_EQ(
        mistakeOf(R"({"devices": [{"id": "A\\b\\1"}, {"id": "A\\b\\2"}]})"),
        "pc.json: devices[1]: found a second device at the top, expected one root with all others below it");
}

TEST(MachineFile, TellsLineAndColumnWhereTheTextIsNoJson) {
    const struct {
        std::string json, start;
    } cases[] = {
        {"", "pc.json: line 1, column 1: syntax error"},
        {"{\n  \"name\": \"PC\",\n  }", "pc.json: line 3, column 3: syntax error"},
        {"{\"name\": \"\xFF\"}", "pc.json: line 1, column 11: syntax error"},
        {"{\"devices\": [{\"status\": 1e999}]}", "pc.json: devices[0].status: number overflow"},
        {repeated("[", 100000), "pc.json: [0][0]"},
        {"{\"registry\": {\"HKEY_USERS" + repeated("\\\\a", 100000) + "\": {}}}",
         "pc.json: registry[\"HKEY_USERS"},
    };
    for (const auto& [json, start] : cases) {
        const std::string mistake = mistakeOf(json);
        EXPECT_EQ(mistake.substr(0, start.size()), start) << mistake.substr(0, 200);
    }
}

constexpr char goodFile[] = R"({
  "name": "WERKBANK",
  "setupClasses": [{"name": "Robot", "guid": "{11111111-2222-3333-4444-555555555555}"}],
  "environment": {"SystemRoot": "C:\\Windows"},
  "files": [
    {"path": "C:\\Windows\\system32\\robot.dll", "version": "1.2.3.4", "image": true},
    {"path": "C:\\Windows\\system32\\broken.dll", "versionBlock": "10 00 34"}
  ],
  "registry": {"HKEY_LOCAL_MACHINE\\SOFTWARE\\Werkbank": {
    "": "default", "Path": {"type": "REG_EXPAND_SZ", "text": "%SystemRoot%\\x"}, "Count": 7,
    "Big": {"type": "REG_QWORD", "number": 18446744073709551615}, "Odd": {"type": 77, "hex": "00 ff0a"}
  }},
  "devices": [{"id": "HTREE\\ROOT\\0", "children": [
    {"id": "PCI\\VEN_1B36&DEV_0001\\3&11583659&0&A0", "class": "robot", "driver": "0003",
     "description": "Roboter", "hardwareIds": ["PCI\\VEN_1B36", "PCI\\CC_0C03"], "hidden": true,
     "interfaces": [{"class": "usb-controller"}, {"class": "disk", "path": "\\\\?\\arm"}],
     "properties": {"14": "\\Device\\0000004e", "16": {"type": "REG_DWORD", "number": 132}},
     "driverPackage": {"provider": "Werk", "version": "10.0.19041.1", "date": "2006-06-21 01:02:03",
                       "inf": "C:\\Windows\\INF\\robot.inf", "files": ["C:\\Windows\\robot.sys"]},
     "parameters": {"Arms": 2}, "driverValues": {"Legs": 0},
     "children": [{"id": "USB\\ROOT_HUB\\4&1", "problem": 28},
                  {"id": "USB\\GONE\\4&2", "phantom": true, "children": [{"id": "USB\\PART\\5&1"}]}]}
  ]}]
})";

class LoadedMachine : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        machine = readMachine(goodFile, "pc.json");
    }

    static DWORD numberAt(const WCHAR* path, const WCHAR* name) {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key), ERROR_SUCCESS);
        DWORD value = 0, type = 0, size = sizeof value;
        EXPECT_EQ(RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
        return value;
    }
};

TEST_F(LoadedMachine, IsWhatTheFileSays) {
    DEVINST node = 0, child = 0;
    ASSERT_EQ(CM_Locate_DevNodeW(&node, const_cast<WCHAR*>(L"PCI\\VEN_1B36&DEV_0001\\3&11583659&0&A0"), 0),
              CR_SUCCESS);
    ULONG status = 0, problem = 0;
    ASSERT_EQ(CM_Get_DevNode_Status(&status, &problem, node, 0), CR_SUCCESS);
    EXPECT_NE(status & DN_NO_SHOW_IN_DM, 0u);
    EXPECT_NE(status & DN_STARTED, 0u);
    ASSERT_EQ(CM_Get_Child(&child, node, 0), CR_SUCCESS);
    ASSERT_EQ(CM_Get_DevNode_Status(&status, &problem, child, 0), CR_SUCCESS);
    EXPECT_EQ(problem, 28u);
    EXPECT_EQ(status & (DN_HAS_PROBLEM | DN_STARTED), static_cast<ULONG>(DN_HAS_PROBLEM));
    EXPECT_EQ(CM_Get_Sibling(&child, child, 0), CR_NO_SUCH_DEVNODE) << "phantoms stand in no tree";
    EXPECT_TRUE(machine.node(u"USB\\PART\\5&1")->phantom);

    const simulation::DeviceNode& robot = *machine.node(node);
    ASSERT_EQ(robot.interfaces.size(), 2u);
    EXPECT_EQ(robot.interfaces[0].path,
              u"\\\\?\\pci#ven_1b36&dev_0001#3&11583659&0&a0#{3abf6f2d-71c4-462a-8a92-1e6861e6af27}");
    EXPECT_EQ(robot.interfaces[1].path, u"\\\\?\\arm");
    EXPECT_EQ(robot.properties.at(SPDRP_CLASS).bytes, RegistryValue::text(u"Robot").bytes);
    EXPECT_EQ(robot.properties.at(SPDRP_ENUMERATOR_NAME).bytes, RegistryValue::text(u"PCI").bytes);
    EXPECT_EQ(robot.properties.at(SPDRP_UI_NUMBER).bytes, RegistryValue::number(132).bytes);
    EXPECT_EQ(robot.drivers.at(0).date, 127953253230000000ull);
    EXPECT_EQ(robot.drivers.at(0).version, 0x000A00004A610001ull);
}

TEST_F(LoadedMachine, HasARegistryThatAgreesWithItsDevices) {
    EXPECT_EQ(
        numberAt(
            L"SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_1B36&DEV_0001\\3&11583659&0&A0\\Device Parameters",
            L"Arms"),
        2u);
    const simulation::RegistryKey* const driver = machine.localMachine().find(
        u"SYSTEM\\CurrentControlSet\\Control\\Class\\{11111111-2222-3333-4444-555555555555}\\0003");
    ASSERT_NE(driver, nullptr);
    EXPECT_EQ(driver->values.at(u"Legs").bytes, RegistryValue::number(0).bytes);
    EXPECT_EQ(driver->values.at(u"DriverVersion").bytes, RegistryValue::text(u"10.0.19041.1").bytes);
    EXPECT_EQ(driver->values.at(u"InfPath").bytes, RegistryValue::text(u"robot.inf").bytes);
    const auto& values =
        machine.localMachine()
            .find(u"SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_1B36&DEV_0001\\3&11583659&0&A0")
            ->values;
    EXPECT_EQ(values.at(u"HardwareID").bytes,
              RegistryValue::texts({u"PCI\\VEN_1B36", u"PCI\\CC_0C03"}).bytes);
    EXPECT_EQ(values.at(u"ClassGUID").bytes,
              RegistryValue::text(u"{11111111-2222-3333-4444-555555555555}").bytes);

    const auto& given = machine.localMachine().find(u"software\\werkbank")->values;
    EXPECT_EQ(given.at(u"").bytes, RegistryValue::text(u"default").bytes);
    EXPECT_EQ(given.at(u"path").type, static_cast<DWORD>(REG_EXPAND_SZ));
    EXPECT_EQ(given.at(u"Big").bytes, simulation::Bytes(8, 0xFF));
    EXPECT_EQ(given.at(u"Odd").type, 77u);
    EXPECT_EQ(given.at(u"Odd").bytes, (simulation::Bytes{0x00, 0xFF, 0x0A}));
    EXPECT_EQ(numberAt(L"Software\\Werkbank", L"Count"), 7u);
}

TEST_F(LoadedMachine, HasFilesWithVersions) {
    const auto read = [](const WCHAR* path, simulation::Bytes& block) {
        DWORD unused = 1;
        block.resize(GetFileVersionInfoSizeW(path, &unused));
        EXPECT_EQ(unused, 0u);
        return !block.empty() && GetFileVersionInfoW(path, 0, static_cast<DWORD>(block.size()), block.data());
    };
    void* value = nullptr;
    UINT length = 0;
    simulation::Bytes block;
    ASSERT_TRUE(read(L"C:\\Windows\\system32\\robot.dll", block));
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &value, &length));
    ASSERT_EQ(length, sizeof(VS_FIXEDFILEINFO));
    EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(value)->dwFileVersionMS, 0x00010002u);
    EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(value)->dwFileVersionLS, 0x00030004u);
    // Three bytes of a resource: nothing is read behind them.
    ASSERT_TRUE(read(L"C:\\Windows\\system32\\broken.dll", block));
    EXPECT_FALSE(VerQueryValueW(block.data(), L"\\", &value, &length));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
    EXPECT_FALSE(read(L"C:\\Windows\\system32\\none.dll", block));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(MachineFile, TellsMistakesInDisplays) {
    const struct {
        const char* members;
        const char* mistake;
    } cases[] = {
        {R"("adapter": "PCI\\NONE\\1")",
         R"([0].adapter: found "PCI\\NONE\\1", expected the instance ID of a device in "devices")"},
        {R"("mode": {"width": 1})", R"([0].mode: found no "height", expected pixels)"},
        {R"("mode": {"width": 0, "height": 1})",
         "[0].mode.width: found 0, expected a number of pixels from 1 to 1048576"},
        {R"("mode": {"width": 1, "height": 1, "x": -1048577})",
         "[0].mode.x: found -1048577, expected a place on the desktop in pixels"},
        {R"("mode": {"width": 1, "height": 1, "turned": 45})",
         "[0].mode.turned: found 45, expected 0, 90, 180 or 270 degrees"},
        {R"("name": "0123456789abcdef0123456789abcdef")",
         R"([0].name: found "0123456789abcdef0123456789abcdef", expected a name of at most 31 units that no output above has)"},
        {R"("monitors": [{"edid": "00"}])",
         R"([0].monitors[0]: found "edid", expected one of device, name, description, deviceId, deviceKey, interface, attached)"},
        {R"("name": "\\\\.\\display2"}, {"primary": true)",
         R"([1]: found no "name", expected one, as an output above has the usual one)"},
    };
    for (const auto& [members, mistake] : cases) {
        const std::string json =
            R"({"devices": [{"id": "HTREE\\ROOT\\0"}], "displays": [{)" + std::string(members) + "}]}";
        EXPECT_EQ(mistakeOf(json), "pc.json: displays" + std::string(mistake));
    }
}

TEST(BundledMachine, IsAGoodFileWithATree) {
    const simulation::Machine bundled = readMachine(simulation::bundledMachine(), "bundled.json");
    EXPECT_NE(bundled.root(), 0u);
    EXPECT_FALSE(bundled.files.empty());
    EXPECT_EQ(bundled.displays.size(), 5u);
}

}  // namespace
