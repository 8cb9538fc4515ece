#include "libSysmira/enumeration/WindowsDisplays.h"

#include "support/RaisedException.h"
#include "tests/behaviour/DisplayPc.h"

namespace {

using libSysmira::WindowsDisplay;
using libSysmira::WindowsDisplays;

constexpr unsigned None = 0xFFFFFFFF;

class Displays : public DisplayPc {
protected:
    void SetUp() override {
        DisplayPc::SetUp();
        first = &addMonitor(u"AAA\\1", u"0001");
        second = &addMonitor(u"BBB\\1", u"0002");
    }

    // "monitor's device name = record's ID"
    static Strings contents(const WindowsDisplays& displays) {
        Strings result;
        for (unsigned i = 0; i < displays.size(); ++i) {
            result.push_back(plain(zor::String(displays[i].displayInfo().DeviceName)) + " = " +
                             plain(displays[i].getDeviceInstanceId()));
        }
        return result;
    }

    static DisplayMonitor monitorWithId(const Text& deviceId, const Text& deviceKey = u"") {
        DisplayMonitor monitor;
        monitor.deviceId = deviceId;
        monitor.deviceKey = deviceKey;
        return monitor;
    }
    static Text keyOf(const Text& driverKey) {
        return u"\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Class\\" + driverKey;
    }

    DeviceNode* first = nullptr;
    DeviceNode* second = nullptr;
};

const char16_t* const secondDriver = u"{4D36E96E-E325-11CE-BFC1-08002BE10318}\\0002";

TEST_F(Displays, HoldsTheMonitorsOfOutputsOnTheDesktop) {
    addOutput({simulation::monitorOf(*second), simulation::monitorOf(*first)});
    addOutput({simulation::monitorOf(*first)}).flags = 0;
    addOutput({simulation::monitorOf(*first)}).flags |= DISPLAY_DEVICE_MIRRORING_DRIVER;
    addOutput({});
    addOutput({simulation::monitorOf(*first)}).flags |= DISPLAY_DEVICE_PRIMARY_DEVICE;
    forgetCalls();
    const WindowsDisplays displays;
    EXPECT_EQ(contents(displays), (Strings{"\\\\.\\DISPLAY1\\Monitor0 = DISPLAY\\BBB\\1",
                                           "\\\\.\\DISPLAY1\\Monitor1 = DISPLAY\\AAA\\1",
                                           "\\\\.\\DISPLAY5\\Monitor0 = DISPLAY\\AAA\\1"}));
    EXPECT_EQ(displays[2].portName(), "\\\\.\\DISPLAY5");
    EXPECT_EQ(displays[2].getInterfaceType(), libSysmira::WinInt_None);
    EXPECT_EQ(
        argumentsOf("EnumDisplayDevicesW"),
        (Strings{"null, 0, 0", "\\\\.\\DISPLAY1, 0, 0", "\\\\.\\DISPLAY1, 1, 0", "\\\\.\\DISPLAY1, 2, 0",
                 "null, 1, 0", "null, 2, 0", "null, 3, 0", "\\\\.\\DISPLAY4, 0, 0", "null, 4, 0",
                 "\\\\.\\DISPLAY5, 0, 0", "\\\\.\\DISPLAY5, 1, 0", "null, 5, 0"}));
    EXPECT_EQ(calls("CoInitializeEx"), 0u);
    EXPECT_EQ(displayLog(1), Strings());
    EXPECT_THROW(displays[3], zor::RaisedException);
}

TEST_F(Displays, MatchesARecordByItsPathOnce) {
    // Two monitors report one device ID; the second has a key besides.
    addOutput({monitorWithId(u"\\\\?\\display#aaa\\1"),
               monitorWithId(u"\\\\?\\DISPLAY#AAA\\1", keyOf(secondDriver)),
               monitorWithId(u"\\\\?\\DISPLAY#BBB\\1")});
    const WindowsDisplays displays;
    EXPECT_EQ(contents(displays), (Strings{"\\\\.\\DISPLAY1\\Monitor0 = DISPLAY\\AAA\\1",
                                           "\\\\.\\DISPLAY1\\Monitor1 = DISPLAY\\BBB\\1",
                                           "\\\\.\\DISPLAY1\\Monitor2 = DISPLAY\\BBB\\1"}))
        << "a match by key leaves the path for another";
}

TEST_F(Displays, MatchesByADriverKeyThatStandsAnywhereInTheDeviceKey) {
    addOutput({monitorWithId(u"", Text(u"x") + secondDriver + u"y")});
    EXPECT_EQ(WindowsDisplays().size(), 1u);
    addOutput({monitorWithId(u"", u"{4D36E96E-E325-11CE-BFC1-08002BE10318}\\000")});
    EXPECT_EQ(WindowsDisplays().size(), 1u) << "half a key";
    second->text(SPDRP_DRIVER, u"");
    EXPECT_EQ(WindowsDisplays().size(), 0u) << "an empty key stands in every other";
    second->properties[SPDRP_DRIVER] = RegistryValue::text(secondDriver, REG_EXPAND_SZ);
    EXPECT_EQ(WindowsDisplays().size(), 1u);
    second->properties[SPDRP_DRIVER].type = REG_BINARY;
    EXPECT_EQ(WindowsDisplays().size(), 0u);
}

TEST_F(Displays, LogsMonitorsWithoutARecordAndLeavesThemOut) {
    addOutput(
        {monitorWithId(u"MONITOR\\XYZ"), simulation::monitorOf(*first), monitorWithId(u"MONITOR\\UVW")});
    addWmiMonitor(u"DISPLAY\\AAA\\1_0", {block(1)});
    const WindowsDisplays displays;
    EXPECT_EQ(displays.size(), 1u);
    const Strings lines = displayLog(1);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0],
              "301 Unmatched monitor from EnumXXX:\n"
              "Display Name       : UNSET\n"
              "DeviceInstanceID   : \n"
              "OS Locator         : \n"
              "\nPort Info:\n"
              "   Name            : \\\\.\\DISPLAY1\n"
              "   Device String   : Test adapter\n"
              "   Device ID       : PCI\\VEN_1\n"
              "   Device Key      : "
              "\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Video\\{8C2A7C31-5B0E-11EE-9C4F-"
              "806E6F6E6963}\\0000\n"
              "\nMonitor Info:\n"
              "   Name            : \\\\.\\DISPLAY1\\Monitor0\n"
              "   Device String   : \n"
              "   Device ID       : MONITOR\\XYZ\n"
              "   Device Key      : \n");
    EXPECT_EQ(displayLog(4), lines);

    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    log.clear();
    EXPECT_EQ(WindowsDisplays().size(), 1u) << "also where COM cannot be entered";
    EXPECT_EQ(displayLog(4), lines);
    CoUninitialize();
}

TEST_F(Displays, AreThoseShownWhetherOfTheClassOrOfTheInterface) {
    addOutput({simulation::monitorOf(*first), simulation::monitorOf(*second)});
    makeHidden(*first);
    second->classGuid = GUID{};
    EXPECT_EQ(contents(WindowsDisplays()), Strings{"\\\\.\\DISPLAY1\\Monitor1 = DISPLAY\\BBB\\1"});
}

TEST_F(Displays, AreFoundWithoutRegardToLetterCase) {
    machine.node(u"DISPLAY\\BBB\\1")->interfaces.clear();
    addOutput({simulation::monitorOf(*first), simulation::monitorOf(*second)});
    addOutput({simulation::monitorOf(*first)});
    const WindowsDisplays displays;
    ASSERT_EQ(displays.size(), 3u);
    EXPECT_EQ(displays.findByPortLocator("\\\\.\\display2"), 2u);
    EXPECT_EQ(displays.findByPortLocator("\\\\.\\display"), None);
    EXPECT_EQ(displays.findByPortLocator(""), None);
    EXPECT_EQ(displays.findyByDisplaypath("\\\\?\\display#aaa\\1"), 0u);
    EXPECT_EQ(displays.findyByDisplaypath(""), 1u) << "the record without a path";
    zor::LogFactory::setPriority(1);
    log.clear();
    EXPECT_EQ(displays.findyByDisplayName("\\\\.\\display2\\MONITOR0"), 2u);
    EXPECT_EQ(displayLog(1), Strings{"345 \\\\?\\DISPLAY#AAA\\1"});
    EXPECT_EQ(displays.findyByDisplayName("\\\\.\\DISPLAY2"), None);
    EXPECT_EQ(displayLog(1).size(), 1u);
}

TEST_F(Displays, AreNoneWhereWindowsRefuses) {
    const WindowsDisplays none;
    EXPECT_EQ(none.size(), 0u);
    EXPECT_EQ(none.findByPortLocator(""), None);
    EXPECT_EQ(none.findyByDisplaypath(""), None);
    EXPECT_EQ(none.findyByDisplayName(""), None);

    addOutput({simulation::monitorOf(*first)});
    failCall("SetupDiGetClassDevsW", ERROR_ACCESS_DENIED, 1, /*onwards=*/true);
    EXPECT_EQ(WindowsDisplays().size(), 0u) << "no records";
    clearFaults();
    distort("EnumDisplayDevicesW", Distortion::NothingWritten, 1, /*onwards=*/true);
    EXPECT_EQ(WindowsDisplays().size(), 0u) << "outputs without anything to them, for ever";
    clearFaults();
    distort("EnumDisplayDevicesW", Distortion::NoTerminator, 1, /*onwards=*/true);
    EXPECT_EQ(WindowsDisplays().size(), 0u) << "an output whose name nobody knows";
}

}  // namespace
