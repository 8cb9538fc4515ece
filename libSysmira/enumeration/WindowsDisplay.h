// A monitor: its device record, and what the graphics stack says of it and of the adapter output ("port")
// that it hangs on. Answers the current mode and the monitor's EDID.
//
// WindowsDisplays makes the monitors of this PC. A display is used by one thread at a time, as its record.
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "support/Buffer.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class SYSMIRA_API WindowsDisplay : public WindowsDevice {
public:
    struct CurrentMode {
        zor::Uint32 width = 0;         ///< pixels
        zor::Uint32 height = 0;        ///< pixels
        zor::Uint32 refreshRate = 0;   ///< hertz; 0 and 1 stand for the hardware's own
        zor::Uint32 bitsPerPixel = 0;  ///< colour depth
    };

    /// Where an EDID is taken from. Any other value behaves as EDIDSourceAny.
    enum EDIDSource : int {
        EDIDSourceAny = 0,       ///< the registry; WMI when that has none or announces extension blocks
        EDIDSourceRegistry = 1,  ///< the value "EDID" of the device's hardware key
        EDIDSourceWmi = 2,       ///< the raw blocks of WmiMonitorDescriptorMethods in root/wmi
    };

    /// A record alone: no port, no mode.
    explicit WindowsDisplay(const WindowsDevice& device);
    /// With what EnumDisplayDevicesW gave for the adapter output and for the monitor on it.
    WindowsDisplay(const WindowsDevice& device, const DISPLAY_DEVICEW& port, const DISPLAY_DEVICEW& monitor);
    WindowsDisplay(const WindowsDisplay&);
    WindowsDisplay& operator=(const WindowsDisplay&);
    WindowsDisplay(WindowsDisplay&&) noexcept;
    WindowsDisplay& operator=(WindowsDisplay&&) noexcept;
    ~WindowsDisplay();

    /// Whether portInfo and displayInfo hold anything; both are all zero when not.
    bool isDisplayDevInfoSet() const { return m_displayDevInfoSet; }
    const DISPLAY_DEVICEW& portInfo() const { return m_port; }
    const DISPLAY_DEVICEW& displayInfo() const { return m_monitor; }
    /// The port's device name ("\\.\DISPLAY1"); empty when there is none.
    zor::String portName() const;

    /// The port's current mode (EnumDisplaySettingsExW), all zeros for a port that is detached from the
    /// desktop. On failure `mode` keeps what it had.
    bool getCurrentMode(CurrentMode& mode) const;
    /// The same in whole. `mode` is zeroed first, unless the display has no port.
    bool getCurrentMode(DEVMODEW& mode) const;

    /// The EDID's bytes, as they are: any number of them, none included when the registry's value is empty.
    ///
    /// The registry's source leaves in `edid` a value that is not binary and fails, and clears it when there
    /// is none. WMI's leaves `edid` alone until the blocks are collected; it enters COM's multithreaded
    /// apartment for its time, and what the WMI client throws (see Wmi.h) passes through: zor::Exception when
    /// the thread is in another apartment. Asking WMI is slow, one method call for each block of 128 bytes;
    /// how long it took is a line of priority 1. An instance of WMI's without a name counts
    /// as this monitor's when its Active is the text "TRUE" (Windows has a boolean there, which does not
    /// count). Blocks of zeros are skipped, and those behind them move up.
    bool getEDID(zor::Buffer<unsigned char>& edid, EDIDSource source) const;

    /// Several lines, each preceded by `indentLevel` steps of `indentWidth` blanks. Bit 0 of `flags` adds the
    /// EDID as a hex dump when there is one (from any source; throws what getEDID throws).
    zor::String toString(unsigned flags, unsigned indentLevel, unsigned indentWidth) const;

private:
    bool getEDID_windowsRegistry(zor::Buffer<unsigned char>& edid) const;
    bool getEDID_wmi(zor::Buffer<unsigned char>& edid) const;

    bool m_displayDevInfoSet = false;
    DISPLAY_DEVICEW m_port = {};
    DISPLAY_DEVICEW m_monitor = {};
};

}  // namespace libSysmira
