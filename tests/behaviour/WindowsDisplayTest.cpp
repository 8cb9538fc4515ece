#include "libSysmira/enumeration/WindowsDisplay.h"

#include "simulation/api/ComApartments.h"
#include "support/Exception.h"
#include "support/HexDumpFormat.h"
#include "tests/behaviour/DisplayPc.h"

namespace {

using libSysmira::WindowsDevice;
using libSysmira::WindowsDisplay;
using Buffer = zor::Buffer<unsigned char>;

constexpr auto Any = WindowsDisplay::EDIDSourceAny;
constexpr auto Registry = WindowsDisplay::EDIDSourceRegistry;
constexpr auto FromWmi = WindowsDisplay::EDIDSourceWmi;

const char* const MonitorId = "DISPLAY\\ABC0001\\5&1&UID1";
const char16_t* const WmiName = u"DISPLAY\\abc0001\\5&1&UID1_0";

// One monitor on one output.
class Display : public DisplayPc {
protected:
    void SetUp() override {
        DisplayPc::SetUp();
        node = &addMonitor(u"ABC0001\\5&1&UID1");
        addOutput({simulation::monitorOf(*node)});
        forgetCalls();
    }

    static DISPLAY_DEVICEW deviceOf(const WCHAR* output) {
        DISPLAY_DEVICEW device = {};
        device.cb = sizeof device;
        EXPECT_TRUE(EnumDisplayDevicesW(output, 0, &device, 0));
        return device;
    }
    WindowsDisplay display() const {
        const DISPLAY_DEVICEW port = deviceOf(nullptr);
        return {WindowsDevice(MonitorId), port, deviceOf(port.DeviceName)};
    }

    struct Edid {
        bool success;
        Bytes bytes;
    };
    // Into a buffer that held one byte.
    Edid edidOf(const WindowsDisplay& from, WindowsDisplay::EDIDSource source) {
        Buffer edid(1);
        const bool success = from.getEDID(edid, source);
        return {success, {edid.data(), edid.data() + edid.size()}};
    }
    Edid edid(WindowsDisplay::EDIDSource source) { return edidOf(display(), source); }

    DeviceNode* node = nullptr;
};

const simulation::Bytes untouched = {0};

TEST_F(Display, OfARecordAloneHasNoPortAndNoMode) {
    const WindowsDisplay alone{WindowsDevice(MonitorId)};
    EXPECT_FALSE(alone.isDisplayDevInfoSet());
    EXPECT_EQ(alone.portName(), "");
    EXPECT_EQ(alone.portInfo().cb, 0u);
    WindowsDisplay::CurrentMode mode = {1, 2, 3, 4};
    DEVMODEW whole;
    whole.dmPelsWidth = 7;
    EXPECT_FALSE(alone.getCurrentMode(mode));
    EXPECT_FALSE(alone.getCurrentMode(whole));
    EXPECT_EQ(mode.width, 1u);
    EXPECT_EQ(whole.dmPelsWidth, 7u);
    EXPECT_EQ(calls("EnumDisplaySettingsExW"), 0u);
    EXPECT_EQ(plain(alone.toString(0, 1, 4)),
              "    Display Name       : Monitor ABC0001\\5&1&UID1\n"
              "    DeviceInstanceID   : DISPLAY\\ABC0001\\5&1&UID1\n"
              "    OS Locator         : \n");
}

TEST_F(Display, TellsItsPortsCurrentMode) {
    WindowsDisplay::CurrentMode mode;
    ASSERT_TRUE(display().getCurrentMode(mode));
    EXPECT_EQ(mode.width, 1920u);
    EXPECT_EQ(mode.height, 1080u);
    EXPECT_EQ(mode.refreshRate, 75u);
    EXPECT_EQ(mode.bitsPerPixel, 24u);
    EXPECT_EQ(argumentsOf("EnumDisplaySettingsExW"), Strings{"\\\\.\\DISPLAY1, 0xFFFFFFFF, 0"});
    DEVMODEW whole;
    machine.displays[0].mode->x = -1920;
    ASSERT_TRUE(display().getCurrentMode(whole));
    EXPECT_EQ(whole.dmPosition.x, -1920);
    EXPECT_EQ(whole.dmSize, 220u);

    failCall("EnumDisplaySettingsExW", ERROR_INVALID_PARAMETER, 1, true);
    EXPECT_FALSE(display().getCurrentMode(mode));
    EXPECT_EQ(mode.width, 1920u) << "kept";
    EXPECT_FALSE(display().getCurrentMode(whole));
    EXPECT_EQ(whole.dmPelsWidth, 0u) << "zeroed";
    clearFaults();
    machine.displays[0].mode.reset();
    EXPECT_TRUE(display().getCurrentMode(mode)) << "of a port that is detached from the desktop";
    EXPECT_EQ(mode.width + mode.height + mode.refreshRate + mode.bitsPerPixel, 0u);
}

TEST_F(Display, ReadsTheRegistrysEdidWhateverItsSize) {
    for (const size_t size : {0u, 1u, 127u, 128u, 256u, 5000u}) {
        const Bytes bytes(size, 0x11);
        setRegistryEdid(*node, bytes);
        const Edid read = edid(Registry);
        EXPECT_TRUE(read.success) << size;
        EXPECT_EQ(read.bytes, bytes);
    }
    machine.deviceKey(*node).values[u"EDID"] = RegistryValue::number(0x04030201);
    Edid read = edid(Registry);
    EXPECT_FALSE(read.success) << "a value of another type";
    EXPECT_EQ(read.bytes, (Bytes{1, 2, 3, 4})) << "is there all the same";
    machine.deviceKey(*node).values.clear();
    read = edid(Registry);
    EXPECT_FALSE(read.success);
    EXPECT_EQ(read.bytes, Bytes());
    EXPECT_EQ(calls("CoInitializeEx"), 0u);
}

TEST_F(Display, CollectsWmisBlocksUpToTheFirstRefusal) {
    addWmiMonitor(u"DISPLAY\\OTHER\\1_0", {block(9)});
    addWmiMonitor(WmiName, {block(1, 2), Bytes(128, 0), {}, Bytes{7, 7, 7}});
    const Edid read = edid(FromWmi);
    EXPECT_TRUE(read.success);
    EXPECT_EQ(read.bytes, joined({block(1, 2), Bytes{7, 7, 7}})) << "empty and zero blocks are left out";
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 5u);
}

TEST_F(Display, AsksForNoMoreThanAllBlockNumbers) {
    std::vector<Bytes> blocks;
    for (unsigned i = 0; i < 256; ++i) blocks.push_back({static_cast<unsigned char>(i), 1});
    addWmiMonitor(WmiName, blocks);
    const Edid read = edid(FromWmi);
    EXPECT_TRUE(read.success);
    ASSERT_EQ(read.bytes.size(), 512u);
    EXPECT_EQ(read.bytes[510], 255);
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 256u);
}

TEST_F(Display, WithoutBlocksOfItsOwnHasNoEdidInWmi) {
    addWmiMonitor(u"X" + Text(WmiName), {block(1)});
    addWmiMonitor(u"DISPLAY\\ABC0001\\5&1", {block(1)});
    Edid read = edid(FromWmi);
    EXPECT_FALSE(read.success);
    EXPECT_EQ(read.bytes, untouched) << "no instance of this device";

    addWmiMonitor(WmiName, {Bytes(128, 0)});
    read = edid(FromWmi);
    EXPECT_FALSE(read.success);
    EXPECT_EQ(read.bytes, Bytes()) << "collected: nothing";

    const WindowsDisplay nobody{WindowsDevice()};
    EXPECT_FALSE(edidOf(nobody, FromWmi).success) << "every name begins with an empty one";
    EXPECT_FALSE(edidOf(nobody, Any).success);
}

TEST_F(Display, LooksAtActiveWhenWmisInstanceHasNoName) {
    using namespace simulation;
    WmiNamespaceModel& wmi = machine.wmi[u"root\\wmi"];
    addWmiMonitor(WmiName, {block(1)});
    WmiClass& descriptors = wmi.classes.at(u"WmiMonitorDescriptorMethods");
    descriptors.properties = {{u"Key", CIM_STRING, u"1", WmiKey}, {u"Active", CIM_BOOLEAN, true}};
    wmi.instances[0].values.clear();
    EXPECT_FALSE(edid(FromWmi).success) << "a boolean is no text";
    descriptors.properties[1] = {u"Active", CIM_STRING, u"True"};
    EXPECT_FALSE(edid(FromWmi).success);
    descriptors.properties[1].initial = u"TRUE";
    EXPECT_TRUE(edid(FromWmi).success);
    EXPECT_FALSE(edidOf(WindowsDisplay(WindowsDevice()), FromWmi).success);
}

TEST_F(Display, LogsHowLongWmiTookWhateverCameOfIt) {
    zor::LogFactory::setPriority(1);
    const auto tookTime = [&] {
        Strings lines = displayLog(1);
        log.clear();
        EXPECT_EQ(lines.size(), 3u);
        EXPECT_TRUE(lines.size() == 3 && lines[0].ends_with(" > getEDID_wmi()") &&
                    lines[2].ends_with(" < getEDID_wmi()"));
        return lines.size() == 3 && lines[1].starts_with("122 Wmi-EDID fetch took: 0.") &&
               lines[1].ends_with(" seconds");
    };
    EXPECT_FALSE(edid(FromWmi).success) << "no such namespace";
    EXPECT_TRUE(tookTime());
    addWmiMonitor(WmiName, {block(1)});
    EXPECT_TRUE(edid(FromWmi).success);
    EXPECT_TRUE(tookTime());
    for (const char* const function : {"IWbemLocator::ConnectServer", "IWbemServices::ExecQuery",
                                       "IEnumWbemClassObject::Next", "IWbemClassObject::GetMethod"}) {
        failCall(function, static_cast<HRESULT>(WBEM_E_FAILED));
        const Edid read = edid(FromWmi);
        EXPECT_FALSE(read.success) << function;
        EXPECT_EQ(read.bytes, untouched) << function;
        EXPECT_TRUE(tookTime()) << function;
        clearFaults();
    }
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_THROW(edid(FromWmi), zor::Exception) << "this thread is in a single-threaded apartment";
    CoUninitialize();
    EXPECT_TRUE(tookTime());
}

TEST_F(Display, PutsTheRegistryBeforeWmiUnlessThereAreExtensions) {
    addWmiMonitor(WmiName, {block(2, 1), block(3)});
    const Bytes whole = joined({block(2, 1), block(3)});
    struct Case {
        Bytes registry;
        Bytes expected;
        bool asksWmi;
    } const cases[] = {
        {block(1, 0), block(1, 0), false},
        {block(1, 1), whole, true},
        {Bytes(127, 0xFF), Bytes(127, 0xFF), false},
        {Bytes(), Bytes(), false},
        {joined({block(1, 1), block(4)}), whole, true},
    };
    for (const Case& each : cases) {
        setRegistryEdid(*node, each.registry);
        forgetCalls();
        const Edid read = edid(Any);
        EXPECT_TRUE(read.success);
        EXPECT_EQ(read.bytes, each.expected);
        EXPECT_EQ(calls("CoCreateInstance"), each.asksWmi ? 1u : 0u);
        EXPECT_EQ(edid(static_cast<WindowsDisplay::EDIDSource>(7)).bytes, each.expected);
    }
    machine.deviceKey(*node).values.clear();
    EXPECT_EQ(edid(Any).bytes, whole);
}

TEST_F(Display, TakesItsEdidFromWmiWhereTheKeyIsDenied) {
    addWmiMonitor(WmiName, {block(2)});
    setRegistryEdid(*node, block(1));
    machine.deviceKey(*node).denied = true;
    EXPECT_FALSE(edid(Registry).success);
    EXPECT_EQ(edid(Any).bytes, block(2));
}

TEST_F(Display, KeepsItsPortWhenAssigned) {
    WindowsDisplay copy{libSysmira::WindowsDevice()};
    copy = display();
    EXPECT_EQ(copy.portName(), "\\\\.\\DISPLAY1");
    EXPECT_EQ(copy.getDeviceInstanceId(), display().getDeviceInstanceId());
    copy = WindowsDisplay{libSysmira::WindowsDevice()};
    EXPECT_FALSE(copy.isDisplayDevInfoSet());
    EXPECT_EQ(copy.portName(), "");
}

TEST_F(Display, SaysWhenWmiHasNotTheAnnouncedExtensions) {
    const Bytes registry = block(0x41, 3);
    setRegistryEdid(*node, registry);
    const Edid read = edid(Any);
    EXPECT_TRUE(read.success);
    EXPECT_EQ(read.bytes, registry);
    const Strings lines = displayLog(3);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0],
              "97 Extension block detected in EDID but we could not retrieve EDID from WMI for EDID:\n" +
                  plain(zor::HexDumpFormat(registry.data(), registry.size()).toString()));
}

TEST_F(Display, ReportsPortMonitorAndEdid) {
    setRegistryEdid(*node, Bytes(17, 0x42));
    node->text(SPDRP_FRIENDLYNAME, u"");
    EXPECT_EQ(plain(display().toString(1, 1, 2)),
              "  Display Name       : Monitor ABC0001\\5&1&UID1\n"
              "  DeviceInstanceID   : DISPLAY\\ABC0001\\5&1&UID1\n"
              "  OS Locator         : \n"
              "  \nPort Info:\n"
              "    Name            : \\\\.\\DISPLAY1\n"
              "    Device String   : Test adapter\n"
              "    Device ID       : PCI\\VEN_1\n"
              "    Device Key      : "
              "\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Video\\{8C2A7C31-5B0E-11EE-9C4F-"
              "806E6F6E6963}\\0000\n"
              "  \nMonitor Info:\n"
              "    Name            : \\\\.\\DISPLAY1\\Monitor0\n"
              "    Device String   : Monitor ABC0001\\5&1&UID1\n"
              "    Device ID       : MONITOR\\ABC0001\\{4d36e96e-e325-11ce-bfc1-08002be10318}\\0001\n"
              "    Device Key      : \\Registry\\Machine\\System\\CurrentControlSet\\Control\\Class\\"
              "{4d36e96e-e325-11ce-bfc1-08002be10318}\\0001\n"
              "  \nEDID Data:\n" +
                  plain(zor::HexDumpFormat(Bytes(17, 0x42).data(), 17, 16, 0, 4).toString()));
    EXPECT_EQ(plain(display().toString(~1u, 0, 9)).find("EDID"), std::string::npos);
    machine.deviceKey(*node).values.clear();
    EXPECT_EQ(plain(display().toString(1, 0, 9)).find("EDID"), std::string::npos) << "there is none";
    EXPECT_EQ(plain(WindowsDisplay(WindowsDevice()).toString(0, 0, 0)).substr(0, 27),
              "Display Name       : UNSET\n");
}

TEST_F(Display, ReadsFieldsWithoutTerminatorToTheirEnd) {
    distort("EnumDisplayDevicesW", Distortion::NoTerminator, 1, /*onwards=*/true);
    const DISPLAY_DEVICEW port = deviceOf(nullptr);
    clearFaults();
    EXPECT_EQ(plain(WindowsDisplay(WindowsDevice(), port, port).portName()),
              "\\\\.\\DISPLAY1" + std::string(20, '~'));
}

}  // namespace
