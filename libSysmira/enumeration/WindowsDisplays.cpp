#include "libSysmira/enumeration/WindowsDisplays.h"

#include <utility>

#include "libSysmira/enumeration/DisplayMatching.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/utils/FieldText.h"
#include "support/ClassLogger.h"
#include "support/Map.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.WindowsDisplays");

// No flag of the enumeration: hidden monitors are left out, those known by their interface alone are not.
constexpr unsigned enumerationFlags = 512;

// Success that leaves nothing would go on for ever.
bool isBlank(const DISPLAY_DEVICEW& device) {
    return device.DeviceName[0] == 0 && device.DeviceString[0] == 0 && device.StateFlags == 0 &&
           device.DeviceID[0] == 0 && device.DeviceKey[0] == 0;
}

// Calls visit(device) for each display device: the adapters' outputs, or the monitors of one.
template <class Visit>
void forEachDisplayDevice(const WCHAR* output, Visit&& visit) {
    for (DWORD index = 0;; ++index) {
        DISPLAY_DEVICEW device = {};
        device.cb = sizeof device;
        // Without EDD_GET_DEVICE_INTERFACE_NAME: the device ID is the hardware's.
        if (!EnumDisplayDevicesW(output, index, &device, /*dwFlags=*/0) || isBlank(device)) return;
        visit(device);
    }
}

bool isOnDesktop(const DISPLAY_DEVICEW& output) {
    return (output.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) != 0 &&
           (output.StateFlags & DISPLAY_DEVICE_MIRRORING_DRIVER) == 0;
}

// The records of monitors, and which of them a display device is.
class Records {
public:
    Records() {
        m_devices.appendDevices(&GUID_DEVCLASS_MONITOR, &GUID_DEVINTERFACE_MONITOR, enumerationFlags,
                                WinInt_None);
        for (unsigned i = 0; i < m_devices.size(); ++i) {
            zor::String locator = m_devices[i].getOsLocator();
            if (!locator.empty()) m_byLocator.insert(locator.toLower(), i);
        }
    }

    /// Null when it is none of them. By its locator a record is found once.
    const WindowsDevice* take(const DISPLAY_DEVICEW& monitor) {
        zor::String deviceId = fieldText(monitor.DeviceID);
        deviceId.toLower();
        if (const unsigned* const found = m_byLocator.lookup(deviceId)) {
            const unsigned index = *found;
            m_byLocator.remove(deviceId);
            return &m_devices[index];
        }
        return findByDriverKey(fieldText(monitor.DeviceKey));
    }

private:
    const WindowsDevice* findByDriverKey(const zor::String& deviceKey) const {
        if (deviceKey.empty()) return nullptr;
        for (const WindowsDevice& device : m_devices) {
            zor::String driverKey;
            if (device.getDriverKey(driverKey) && occursInDeviceKey(driverKey, deviceKey)) return &device;
        }
        return nullptr;
    }

    WindowsDeviceSet m_devices;
    zor::Map<zor::String, unsigned> m_byLocator;
};

// With the EDID if that can be told at all.
zor::String describe(const WindowsDisplay& display) {
    constexpr unsigned withEdid = 1, indentWidth = 3;
    try {
        return display.toString(withEdid, /*indentLevel=*/0, indentWidth);
    } catch (...) {
        return display.toString(/*flags=*/0, /*indentLevel=*/0, indentWidth);
    }
}

}  // namespace

WindowsDisplays::WindowsDisplays() noexcept {
    try {
        enumerate();
    } catch (...) {
        // What was found so far stays.
    }
}

WindowsDisplays::~WindowsDisplays() = default;

void WindowsDisplays::enumerate() {
    Records records;
    zor::Array<WindowsDisplay> unmatched(8);
    forEachDisplayDevice(nullptr, [&](const DISPLAY_DEVICEW& output) {
        if (!isOnDesktop(output)) return;
        forEachDisplayDevice(
            fieldText(output.DeviceName).getUCS2Buffer(), [&](const DISPLAY_DEVICEW& monitor) {
                if (const WindowsDevice* const record = records.take(monitor)) {
                    m_displays.append(std::make_unique<WindowsDisplay>(*record, output, monitor));
                } else {
                    unmatched.append(WindowsDisplay(WindowsDevice(), output, monitor));
                }
            });
    });
    for (const WindowsDisplay& display : unmatched) {
        theLog.write(zor::Error, 301, [&](zor::LoggerStream& line) {
            line << "Unmatched monitor from EnumXXX:\n" << describe(display);
        });
    }
}

template <class Text>
unsigned WindowsDisplays::find(const zor::String& wanted, Text&& textOf) const {
    for (unsigned i = 0; i < size(); ++i) {
        const WindowsDisplay& display = *m_displays[i];
        if (display.isDisplayDevInfoSet() && textOf(display).compareNoCase(wanted) == 0) return i;
    }
    return zor::NotFound;
}

unsigned WindowsDisplays::findByPortLocator(const zor::String& portName) const {
    return find(portName, [](const WindowsDisplay& display) { return display.portName(); });
}

unsigned WindowsDisplays::findyByDisplaypath(const zor::String& path) const {
    return find(path, [](const WindowsDisplay& display) { return display.getOsLocator(); });
}

unsigned WindowsDisplays::findyByDisplayName(const zor::String& name) const {
    const unsigned index =
        find(name, [](const WindowsDisplay& display) { return fieldText(display.displayInfo().DeviceName); });
    if (index != zor::NotFound) {
        theLog.write(zor::Detail, 345,
                     [&](zor::LoggerStream& line) { line << m_displays[index]->getOsLocator(); });
    }
    return index;
}

}  // namespace libSysmira
