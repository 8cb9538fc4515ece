#include "libSysmira/enumeration/WindowsDisplay.h"

#include <algorithm>

#include "libSysmira/enumeration/DisplayMatching.h"
#include "libSysmira/utils/FieldText.h"
#include "libSysmira/wmi/Wmi.h"
#include "support/ClassLogger.h"
#include "support/HexDumpFormat.h"
#include "support/SprintfFormat.h"
#include "support/Stopwatch.h"
#include "support/TraceLogger.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.WindowsDisplays");

constexpr unsigned blockCount = 256;
const char* const rawBlockMethod = "WmiGetMonitorRawEEdidV1Block";

// Logs at its end how long it lived.
class FetchTime {
public:
    FetchTime() = default;
    ~FetchTime() {
        theLog.write(zor::Detail, 122, [&](zor::LoggerStream& line) {
            line << zor::SprintfFormat("Wmi-EDID fetch took: %1.6f seconds", m_stopwatch.getElapsed());
        });
    }
    FetchTime(const FetchTime&) = delete;
    FetchTime& operator=(const FetchTime&) = delete;

private:
    zor::Stopwatch m_stopwatch;
};

bool isOf(const WmiObject& monitor, const zor::String& deviceInstanceId) {
    zor::String text;
    if (monitor.getProperty("InstanceName", text)) return isInstanceOf(text, deviceInstanceId);
    // WMI has Active as a boolean, which is not read as text: this is for providers that differ.
    return !deviceInstanceId.empty() && monitor.getProperty("Active", text) && text == "TRUE";
}

// False when the enumeration ends before.
bool findMonitor(const WmiQueryResult& monitors, const zor::String& deviceInstanceId, WmiObject& monitor) {
    while (monitors.next(monitor, static_cast<DWORD>(WBEM_INFINITE))) {
        if (isOf(monitor, deviceInstanceId)) return true;
    }
    return false;
}

void append(const zor::Buffer<unsigned char>& block, zor::Buffer<unsigned char>& edid) {
    const std::size_t before = edid.size();
    edid.resize(before + block.size());
    std::copy_n(block.data(), block.size(), edid.data() + before);
}

bool hasContent(const zor::Buffer<unsigned char>& block) {
    return std::any_of(block.data(), block.data() + block.size(),
                       [](unsigned char byte) { return byte != 0; });
}

// The blocks up to the first that the monitor's driver refuses; empty ones are left out.
zor::Buffer<unsigned char> readBlocks(const WmiObject& monitor, const WmiObject& input) {
    zor::Buffer<unsigned char> edid;
    WmiObject output;
    for (unsigned number = 0; number < blockCount; ++number) {
        input.setProperty("BlockId", static_cast<unsigned char>(number));
        if (!monitor.execMethod(rawBlockMethod, input, output)) break;
        zor::Buffer<unsigned char> block;
        if (output.getProperty("BlockContent", block) && hasContent(block)) append(block, edid);
    }
    return edid;
}

}  // namespace

WindowsDisplay::WindowsDisplay(const WindowsDevice& device) : WindowsDevice(device) {}

WindowsDisplay::WindowsDisplay(const WindowsDevice& device, const DISPLAY_DEVICEW& port,
                               const DISPLAY_DEVICEW& monitor)
    : WindowsDevice(device), m_displayDevInfoSet(true), m_port(port), m_monitor(monitor) {}

WindowsDisplay::WindowsDisplay(const WindowsDisplay&) = default;
WindowsDisplay& WindowsDisplay::operator=(const WindowsDisplay&) = default;
WindowsDisplay::WindowsDisplay(WindowsDisplay&&) noexcept = default;
WindowsDisplay& WindowsDisplay::operator=(WindowsDisplay&&) noexcept = default;
WindowsDisplay::~WindowsDisplay() = default;

zor::String WindowsDisplay::portName() const {
    return m_displayDevInfoSet ? fieldText(m_port.DeviceName) : zor::String();
}

bool WindowsDisplay::getCurrentMode(CurrentMode& mode) const {
    DEVMODEW current;
    if (!getCurrentMode(current)) return false;
    mode.width = current.dmPelsWidth;
    mode.height = current.dmPelsHeight;
    mode.refreshRate = current.dmDisplayFrequency;
    mode.bitsPerPixel = current.dmBitsPerPel;
    return true;
}

bool WindowsDisplay::getCurrentMode(DEVMODEW& mode) const {
    if (!m_displayDevInfoSet) return false;
    mode = {};
    mode.dmSize = sizeof mode;
    return EnumDisplaySettingsExW(portName().getUCS2Buffer(), ENUM_CURRENT_SETTINGS, &mode, /*dwFlags=*/0);
}

bool WindowsDisplay::getEDID_windowsRegistry(zor::Buffer<unsigned char>& edid) const {
    const zor::TraceLogger trace(theLog, "getEDID_windowsRegistry()", __FILE__, __LINE__);
    DWORD type = REG_NONE;
    return getRegistryValue(RegKey_Device, "EDID", type, edid) && type == REG_BINARY;
}

bool WindowsDisplay::getEDID_wmi(zor::Buffer<unsigned char>& edid) const {
    const zor::TraceLogger trace(theLog, "getEDID_wmi()", __FILE__, __LINE__);
    const FetchTime fetchTime;
    WmiNamespace wmi;
    if (!wmi.connect("root/wmi")) return false;
    WmiQueryResult monitors;
    if (!wmi.query("select * from WmiMonitorDescriptorMethods", monitors)) return false;
    WmiObject monitor;
    if (!findMonitor(monitors, getDeviceInstanceId(), monitor)) return false;
    WmiObject input;
    if (!monitor.getMethodInputParams(rawBlockMethod, input)) return false;
    edid = readBlocks(monitor, input);
    return !edid.empty();
}

bool WindowsDisplay::getEDID(zor::Buffer<unsigned char>& edid, EDIDSource source) const {
    if (source == EDIDSourceRegistry) return getEDID_windowsRegistry(edid);
    if (source == EDIDSourceWmi) return getEDID_wmi(edid);

    zor::Buffer<unsigned char> fromRegistry;
    if (!getEDID_windowsRegistry(fromRegistry)) return getEDID_wmi(edid);
    if (announcesExtensions(fromRegistry.data(), fromRegistry.size())) {
        zor::Buffer<unsigned char> fromWmi;
        if (getEDID_wmi(fromWmi)) {
            edid = std::move(fromWmi);
            return true;
        }
        theLog.write(zor::Warning, 97, [&](zor::LoggerStream& line) {
            line << "Extension block detected in EDID but we could not retrieve EDID from WMI for EDID:\n"
                 << zor::HexDumpFormat(fromRegistry).toString();
        });
    }
    edid = std::move(fromRegistry);
    return true;
}

zor::String WindowsDisplay::toString(unsigned flags, unsigned indentLevel, unsigned indentWidth) const {
    const zor::String indent = zor::String::repeat(u' ', indentLevel * indentWidth);
    const zor::String inner = indent + zor::String::repeat(u' ', indentWidth);
    zor::String report;
    report.reserveCapacity(200);
    const auto line = [&](const zor::String& prefix, const char* label, const zor::String& value) {
        report += prefix;
        report += label;
        report += value;
        report += "\n";
    };
    const auto section = [&](const char* heading, const DISPLAY_DEVICEW& device) {
        // The blanks stand before the empty line.
        report += indent;
        report += heading;
        line(inner, "Name            : ", fieldText(device.DeviceName));
        line(inner, "Device String   : ", fieldText(device.DeviceString));
        line(inner, "Device ID       : ", fieldText(device.DeviceID));
        line(inner, "Device Key      : ", fieldText(device.DeviceKey));
    };

    zor::String name;
    getDisplayName(name, "UNSET");
    line(indent, "Display Name       : ", name);
    line(indent, "DeviceInstanceID   : ", getDeviceInstanceId());
    line(indent, "OS Locator         : ", getOsLocator());
    if (m_displayDevInfoSet) {
        section("\nPort Info:\n", m_port);
        section("\nMonitor Info:\n", m_monitor);
    }
    zor::Buffer<unsigned char> edid;
    if ((flags & 1) != 0 && getEDID(edid, EDIDSourceAny)) {
        report += indent;
        report += "\nEDID Data:\n";
        report += zor::HexDumpFormat(edid, (indentLevel + 1) * indentWidth).toString();
    }
    return report;
}

}  // namespace libSysmira
