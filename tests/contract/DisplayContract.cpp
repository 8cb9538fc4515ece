// What display functions must do wherever the library runs: checked on the simulation and, the very same, on
// the functions of a real system. Nothing of the library is asked here.
//
// Left out, because the independent implementation that this runs on differs from what is documented: a
// structure of modes whose size is not set (taken as it is there) and the last error behind the last mode.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "support/WindowsApi.h"
#include "tests/contract/ContractText.h"
#include "tests/contract/DisplayContractMachine.h"

namespace {

Text folded(const WCHAR* text) {
    Text result;
    for (; *text != 0; ++text) {
        const bool small = *text >= u'a' && *text <= u'z';
        result += static_cast<char16_t>(small ? *text - 0x20 : *text);
    }
    return result;
}
bool beginsWith(const Text& text, const Text& front) { return text.compare(0, front.size(), front) == 0; }
bool endsWith(const Text& text, const Text& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool readDevice(const WCHAR* output, DWORD index, DISPLAY_DEVICEW& device, DWORD flags = 0) {
    std::memset(&device, 0xEE, sizeof device);
    device.cb = sizeof device;
    SetLastError(Marker);
    return EnumDisplayDevicesW(output, index, &device, flags);
}

bool readMode(const WCHAR* output, DWORD number, DEVMODEW& mode) {
    std::memset(&mode, 0xEE, sizeof mode);
    mode.dmSize = sizeof mode;
    mode.dmDriverExtra = 0;
    return EnumDisplaySettingsExW(output, number, &mode, 0);
}

class DisplayContract : public testing::Test {
protected:
    void SetUp() override {
        m_expected = prepareDisplayContractMachine();
        DISPLAY_DEVICEW device;
        for (DWORD i = 0; readDevice(nullptr, i, device); ++i) {
            if ((device.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) != 0) outputs.push_back(device);
        }
        // The first call of a program may set it on its way.
        SetLastError(Marker);
        EXPECT_FALSE(readDevice(nullptr, 1000, device));
        EXPECT_EQ(GetLastError(), Marker) << "the end is no error";
        ASSERT_GE(outputs.size(), m_expected);
    }

    std::vector<DISPLAY_DEVICEW> outputs;

private:
    unsigned m_expected = 0;
};

TEST_F(DisplayContract, OutputsHaveNamesAndOneIsThePrimary) {
    unsigned primary = 0;
    for (const DISPLAY_DEVICEW& output : outputs) {
        EXPECT_TRUE(beginsWith(folded(output.DeviceName), u"\\\\.\\DISPLAY"));
        EXPECT_TRUE(beginsWith(folded(output.DeviceID), u"PCI\\VEN_"));
        EXPECT_TRUE(beginsWith(folded(output.DeviceKey), u"\\REGISTRY\\MACHINE\\SYSTEM\\"));
        EXPECT_NE(output.DeviceString[0], 0);
        EXPECT_EQ(output.cb, sizeof output);
        if ((output.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0) ++primary;
    }
    EXPECT_EQ(primary, 1u);
    DISPLAY_DEVICEW device;
    ASSERT_TRUE(readDevice(nullptr, 0, device, EDD_GET_DEVICE_INTERFACE_NAME));
    EXPECT_EQ(device.DeviceID[0], 0) << "an adapter has no interface name";
    EXPECT_FALSE(EnumDisplayDevicesW(nullptr, 0, nullptr, 0));
}

TEST_F(DisplayContract, MonitorsAreToldByHardwareOrInterface) {
    for (const DISPLAY_DEVICEW& output : outputs) {
        DISPLAY_DEVICEW monitor, byInterface, again;
        ASSERT_TRUE(readDevice(output.DeviceName, 0, monitor));
        EXPECT_EQ(folded(monitor.DeviceName), folded(output.DeviceName) + u"\\MONITOR0");
        EXPECT_EQ(monitor.StateFlags & (DISPLAY_DEVICE_ACTIVE | DISPLAY_DEVICE_ATTACHED),
                  static_cast<DWORD>(DISPLAY_DEVICE_ACTIVE | DISPLAY_DEVICE_ATTACHED));
        const Text id = folded(monitor.DeviceID), key = folded(monitor.DeviceKey);
        EXPECT_TRUE(beginsWith(id, u"MONITOR\\"));
        const size_t driverKey = id.find(u"\\{");
        ASSERT_NE(driverKey, Text::npos) << "the driver key stands behind the hardware ID";
        EXPECT_TRUE(endsWith(key, u"\\CONTROL\\CLASS" + id.substr(driverKey)));

        ASSERT_TRUE(readDevice(output.DeviceName, 0, byInterface, EDD_GET_DEVICE_INTERFACE_NAME));
        EXPECT_TRUE(beginsWith(folded(byInterface.DeviceID), u"\\\\?\\DISPLAY#"));
        EXPECT_TRUE(endsWith(folded(byInterface.DeviceID), u"#{E6F07B5F-EE97-4A90-B076-33F57BF4EAA7}"));
        EXPECT_EQ(folded(byInterface.DeviceKey), key);

        Text lower = folded(output.DeviceName);
        lower[4] = u'd';
        ASSERT_TRUE(readDevice(wide(lower), 0, again)) << "whatever the letter case";
        EXPECT_EQ(folded(again.DeviceID), id);
        EXPECT_FALSE(readDevice(output.DeviceName, 100, again));
        EXPECT_FALSE(readDevice(monitor.DeviceName, 0, again)) << "nothing hangs on a monitor";
    }
    DISPLAY_DEVICEW device;
    EXPECT_FALSE(readDevice(wide(u"\\\\.\\DISPLAY999"), 0, device));
    EXPECT_FALSE(readDevice(wide(u"DISPLAY"), 0, device));
}

TEST_F(DisplayContract, FieldsBeyondTheSizeGivenAreLeftAlone) {
    const struct {
        DWORD size;
        bool name, description, flags, id, key;
    } cases[] = {{4, false, false, false, false, false}, {67, false, false, false, false, false},
                 {68, true, false, false, false, false}, {324, true, true, false, false, false},
                 {328, true, true, true, false, false},  {584, true, true, true, true, false},
                 {839, true, true, true, true, false},   {840, true, true, true, true, true}};
    for (const auto& each : cases) {
        DISPLAY_DEVICEW device;
        std::memset(&device, 0xEE, sizeof device);
        device.cb = each.size;
        EXPECT_TRUE(EnumDisplayDevicesW(nullptr, 0, &device, 0)) << each.size;
        EXPECT_EQ(device.DeviceName[0] != 0xEEEE, each.name) << each.size;
        EXPECT_EQ(device.DeviceString[0] != 0xEEEE, each.description) << each.size;
        EXPECT_EQ(device.StateFlags != 0xEEEEEEEE, each.flags) << each.size;
        EXPECT_EQ(device.DeviceID[0] != 0xEEEE, each.id) << each.size;
        EXPECT_EQ(device.DeviceKey[0] != 0xEEEE, each.key) << each.size;
        EXPECT_EQ(device.cb, each.size);
    }
    DISPLAY_DEVICEW device = {};
    EXPECT_FALSE(EnumDisplayDevicesW(nullptr, 0, &device, 0)) << "no size";
}

TEST_F(DisplayContract, CurrentModesHaveAPlaceOnTheDesktop) {
    std::vector<POINTL> places;
    for (const DISPLAY_DEVICEW& output : outputs) {
        DEVMODEW mode, other;
        ASSERT_TRUE(readMode(output.DeviceName, static_cast<DWORD>(ENUM_CURRENT_SETTINGS), mode));
        constexpr DWORD fields =
            DM_POSITION | DM_PELSWIDTH | DM_PELSHEIGHT | DM_BITSPERPEL | DM_DISPLAYFREQUENCY;
        EXPECT_EQ(mode.dmFields & fields, fields);
        EXPECT_GT(mode.dmPelsWidth, 0u);
        EXPECT_LT(mode.dmPelsWidth, 100000u);
        EXPECT_GT(mode.dmPelsHeight, 0u);
        EXPECT_LT(mode.dmPelsHeight, 100000u);
        EXPECT_GT(mode.dmBitsPerPel, 0u);
        EXPECT_LE(mode.dmBitsPerPel, 64u);
        for (const POINTL& place : places)
            EXPECT_FALSE(place.x == mode.dmPosition.x && place.y == mode.dmPosition.y);
        places.push_back({mode.dmPosition.x, mode.dmPosition.y});
        if ((output.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0) {
            EXPECT_TRUE(mode.dmPosition.x == 0 && mode.dmPosition.y == 0);
            ASSERT_TRUE(readMode(nullptr, static_cast<DWORD>(ENUM_CURRENT_SETTINGS), other));
            EXPECT_EQ(other.dmPelsWidth, mode.dmPelsWidth);
        }
        ASSERT_TRUE(readMode(output.DeviceName, 0, other));
        EXPECT_EQ(other.dmFields & DM_POSITION, 0u) << "what it can show has no place";
        EXPECT_FALSE(readMode(output.DeviceName, 1000000, other));
    }
    DEVMODEW mode;
    EXPECT_FALSE(readMode(wide(u"\\\\.\\DISPLAY999"), static_cast<DWORD>(ENUM_CURRENT_SETTINGS), mode));
    EXPECT_EQ(mode.dmPelsWidth, 0xEEEEEEEE) << "untouched";
}

}  // namespace
