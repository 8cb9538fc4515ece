// Display devices: the outputs of the adapters, the monitors on them, and their modes.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

// A structure whose caller says how much of it there is: only fields that lie within are written.
template <class Structure, class Field>
void put(Structure* structure, size_t size, Field Structure::*field, const Field& value) {
    const auto* const begin = reinterpret_cast<const char*>(structure);
    const auto* const end = reinterpret_cast<const char*>(&(structure->*field) + 1);
    if (static_cast<size_t>(end - begin) <= size) structure->*field = value;
}

// A text that is too long for its field is cut, and ends with a NUL all the same.
template <class Structure, size_t Units>
void putText(const Call& call, Structure* structure, size_t size, WCHAR (Structure::*field)[Units],
             const Text& text) {
    const auto* const begin = reinterpret_cast<const char*>(structure);
    WCHAR* const units = structure->*field;
    if (static_cast<size_t>(reinterpret_cast<const char*>(units + Units) - begin) > size) return;
    const bool unterminated = call.distorted(Distortion::NoTerminator);
    const size_t length = std::min(text.size(), Units - 1);
    std::copy_n(wide(text), length, units);
    std::fill_n(units + length, Units - length, unterminated ? WCHAR{u'~'} : WCHAR{0});
}

const DisplayOutput* findOutput(const WCHAR* name) {
    const Text wanted = fromWide(name);
    for (const DisplayOutput& output : machine().displays) {
        if (equalNoCase(output.name, wanted)) return &output;
    }
    return nullptr;
}

const DisplayOutput* primaryOutput() {
    for (const DisplayOutput& output : machine().displays) {
        if ((output.flags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0) return &output;
    }
    return nullptr;
}

// Every output of an adapter has a key below "Video", also one that nothing was said of.
Text videoKey(DWORD index) {
    std::string number = std::to_string(index);
    number.insert(0, number.size() < 4 ? 4 - number.size() : 0, '0');
    return u"\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Video\\"
           u"{8C2A7C31-5B0E-11EE-9C4F-806E6F6E6963}\\" +
           fromUtf8(number);
}

void fill(const Call& call, DISPLAY_DEVICEW* device, const Text& name, const Text& description, DWORD flags,
          const Text& deviceId, const Text& deviceKey) {
    const size_t size = device->cb;
    putText(call, device, size, &DISPLAY_DEVICEW::DeviceName, name);
    putText(call, device, size, &DISPLAY_DEVICEW::DeviceString, description);
    put(device, size, &DISPLAY_DEVICEW::StateFlags, flags);
    putText(call, device, size, &DISPLAY_DEVICEW::DeviceID, deviceId);
    putText(call, device, size, &DISPLAY_DEVICEW::DeviceKey, deviceKey);
}

void fill(DEVMODEW* mode, const DisplayMode& from, bool placed) {
    const size_t size = mode->dmSize;
    DEVMODEW full = {};
    full.dmSpecVersion = full.dmDriverVersion = DM_SPECVERSION;
    full.dmFields = DM_BITSPERPEL | DM_PELSWIDTH | DM_PELSHEIGHT | DM_DISPLAYFLAGS | DM_DISPLAYFREQUENCY |
                    DM_DISPLAYORIENTATION;
    full.dmPelsWidth = from.width;
    full.dmPelsHeight = from.height;
    full.dmDisplayFrequency = from.frequency;
    full.dmBitsPerPel = from.bitsPerPixel;
    full.dmDisplayOrientation = from.orientation;
    if (placed) {
        full.dmFields |= DM_POSITION;
        full.dmPosition = {from.x, from.y};
    }
    full.dmSize = mode->dmSize;
    full.dmDriverExtra = mode->dmDriverExtra;
    std::memcpy(mode, &full, std::min(size, sizeof full));
}

}  // namespace

}  // namespace simulation

using namespace simulation;

// The last error says nothing of either function: only a fault of the test's sets it.

SIMULATED(BOOL, WINAPI, EnumDisplayDevicesW,
          (LPCWSTR outputName, DWORD index, PDISPLAY_DEVICEW device, DWORD flags)) {
    static const Function function{"EnumDisplayDevicesW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY},
                                   Distortion::NothingWritten | Distortion::NoTerminator};
    Call call(function, outputName, index, flags);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    if (device == nullptr || device->cb == 0) return call.returns<BOOL>(FALSE);
    if (outputName == nullptr || *outputName == 0) {
        if (index >= machine().displays.size()) return call.returns<BOOL>(FALSE);
        if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
        const DisplayOutput& output = machine().displays[index];
        // An adapter has no interface name to tell.
        const Text id = (flags & EDD_GET_DEVICE_INTERFACE_NAME) != 0 ? Text() : output.deviceId;
        const Text key = output.deviceKey.empty() ? videoKey(index) : output.deviceKey;
        fill(call, device, output.name, output.description, output.flags, id, key);
        return call.returns<BOOL>(TRUE);
    }
    const DisplayOutput* const output = findOutput(outputName);
    if (output == nullptr || index >= output->monitors.size()) return call.returns<BOOL>(FALSE);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    const DisplayMonitor& monitor = output->monitors[index];
    const Text name =
        !monitor.name.empty() ? monitor.name : output->name + u"\\Monitor" + fromUtf8(std::to_string(index));
    const bool byInterface = (flags & EDD_GET_DEVICE_INTERFACE_NAME) != 0;
    fill(call, device, name, monitor.description, monitor.flags,
         byInterface ? monitor.interfacePath : monitor.deviceId, monitor.deviceKey);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, EnumDisplaySettingsExW,
          (LPCWSTR outputName, DWORD number, LPDEVMODEW mode, DWORD flags)) {
    static const Function function{"EnumDisplaySettingsExW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, outputName, number, flags);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    // Everything up to the fields of displays must be there.
    if (mode == nullptr || mode->dmSize < offsetof(DEVMODEW, dmICMMethod)) return call.returns<BOOL>(FALSE);
    const DisplayOutput* const output = outputName == nullptr ? primaryOutput() : findOutput(outputName);
    if (output == nullptr) return call.returns<BOOL>(FALSE);
    const bool current = number == ENUM_CURRENT_SETTINGS || number == ENUM_REGISTRY_SETTINGS;
    if (!current && number >= output->modes.size()) return call.returns<BOOL>(FALSE);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    // The current mode of an output that is detached from the desktop is all zeros (Wine's test of
    // ChangeDisplaySettingsEx, run on Windows).
    constexpr DisplayMode none = {0, 0, 0, 0, 0, 0, DMDO_DEFAULT};
    fill(mode, current ? output->mode.value_or(none) : output->modes[number], current);
    return call.returns<BOOL>(TRUE);
}
