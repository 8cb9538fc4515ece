// The display devices of the simulated PC as plain data: the outputs of its adapters, what hangs on them, and
// what WMI tells of a monitor.
#pragma once

#include <optional>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

struct DeviceNode;
struct WmiNamespaceModel;

struct DisplayMode {
    DWORD width = 0;
    DWORD height = 0;
    DWORD frequency = 60;
    DWORD bitsPerPixel = 32;
    LONG x = 0;  ///< of the output's upper left corner on the desktop
    LONG y = 0;
    DWORD orientation = DMDO_DEFAULT;  ///< width and height are those of the turned picture
};

struct DisplayMonitor {
    Text name;           ///< empty: the output's name, "\Monitor" and the place
    Text description;    ///< DeviceString
    Text deviceId;       ///< "MONITOR\ABC1234\{class}\0001"
    Text interfacePath;  ///< what stands in place of the device ID when that is asked for
    Text deviceKey;
    DWORD flags = DISPLAY_DEVICE_ACTIVE | DISPLAY_DEVICE_ATTACHED;
};

struct DisplayOutput {
    Text name;         ///< "\\.\DISPLAY1"
    Text description;  ///< DeviceString
    Text deviceId;
    Text deviceKey;
    DWORD flags = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
    std::optional<DisplayMode> mode;  ///< the current one
    std::vector<DisplayMode> modes;   ///< those that it can show
    std::vector<DisplayMonitor> monitors;
};

/// The display device that Windows makes of a monitor's record: its hardware ID and driver key as device ID,
/// its monitor interface, the path of its software key.
DisplayMonitor monitorOf(const DeviceNode& node);
/// The output of an adapter, described by the adapter's record. Attached to the desktop when it has a mode.
DisplayOutput outputOf(const DeviceNode& adapter, const Text& name, std::optional<DisplayMode> mode);

/// What WMI tells of a monitor: an instance of WmiMonitorDescriptorMethods whose method gives these raw
/// blocks and fails for every later one. The class is added when it is missing.
void addRawEdid(WmiNamespaceModel& wmi, const Text& instanceName,
                const std::vector<std::vector<unsigned char>>& blocks);

}  // namespace simulation
