// The DLL's monitors on the system that it runs on: at least one, as Wine has even without a screen.
#include <gtest/gtest.h>

#include <string>

#include "libSysmira/enumeration/WindowsDisplays.h"
#include "support/RaisedException.h"
#include "tests/contract/ContractMachine.h"
#include "tests/windows/PlainText.h"

namespace {

using libSysmira::WindowsDisplay;
using libSysmira::WindowsDisplays;

TEST(Displays, HaveAPortAndAMode) {
    const WindowsDisplays displays;
    ASSERT_GT(displays.size(), 0u);
    for (unsigned i = 0; i < displays.size(); ++i) {
        const WindowsDisplay& display = displays[i];
        EXPECT_TRUE(display.isDisplayDevInfoSet());
        EXPECT_EQ(displays.findByPortLocator(display.portName()), i);
        EXPECT_EQ(displays.findyByDisplayName(display.displayInfo().DeviceName), i);
        EXPECT_EQ(plain(display.getDeviceInstanceId()).substr(0, 8), "DISPLAY\\");
        WindowsDisplay::CurrentMode mode;
        DEVMODEW whole;
        ASSERT_TRUE(display.getCurrentMode(mode));
        ASSERT_TRUE(display.getCurrentMode(whole));
        EXPECT_GT(mode.width, 0u);
        EXPECT_GT(mode.height, 0u);
        EXPECT_EQ(mode.width, whole.dmPelsWidth);
        EXPECT_NE(
            plain(display.toString(0, 0, 3)).find("\nMonitor Info:\n   Name            : \\\\.\\DISPLAY"),
            std::string::npos);
    }
    EXPECT_THROW(displays[displays.size()], zor::RaisedException);
}

TEST(Displays, GiveTheEdidThatTheRegistryHas) {
    // Once the system has its monitors, it leaves their keys alone.
    ASSERT_GT(WindowsDisplays().size(), 0u);
    ASSERT_EQ(importBesideProgram("monitor-edid.reg"), "");
    const WindowsDisplays displays;
    const WindowsDisplay* found = nullptr;
    for (unsigned i = 0; i < displays.size(); ++i) {
        if (displays[i].getDeviceInstanceId().compareNoCase("DISPLAY\\Default_Monitor\\0000&0000") == 0)
            found = &displays[i];
    }
    if (found == nullptr) GTEST_SKIP() << "the file is for Wine's monitor";
    for (const auto source : {WindowsDisplay::EDIDSourceAny, WindowsDisplay::EDIDSourceRegistry}) {
        zor::Buffer<unsigned char> edid;
        ASSERT_TRUE(found->getEDID(edid, source));
        ASSERT_EQ(edid.size(), 128u);
        EXPECT_EQ(edid[0], 0x00);
        EXPECT_EQ(edid[8], 0x04);
        EXPECT_EQ(edid[127], 0xA2);
    }
    zor::Buffer<unsigned char> edid;
    EXPECT_FALSE(found->getEDID(edid, WindowsDisplay::EDIDSourceWmi)) << "its WMI has no monitors";
    EXPECT_NE(plain(found->toString(1, 0, 3)).find("\nEDID Data:\n   00000000: 00 ff ff ff ff ff ff 00"),
              std::string::npos);
}

}  // namespace
