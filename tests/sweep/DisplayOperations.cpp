#include "libSysmira/enumeration/WindowsDisplays.h"
#include "simulation/control/Call.h"
#include "support/Exception.h"
#include "support/RaisedException.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::WindowsDevice;
using libSysmira::WindowsDisplay;
using libSysmira::WindowsDisplays;
using simulation::Bytes;
using simulation::DeviceNode;
using simulation::Text;

const char* const FirstId = "DISPLAY\\AAA\\1";
const char16_t* const MonitorClass = u"{4d36e96e-e325-11ce-bfc1-08002be10318}\\";

Bytes edid(unsigned char extensions) {
    Bytes bytes(128, 'E');
    bytes[126] = extensions;
    return bytes;
}

DeviceNode monitor(const Text& id, const Text& driverNumber) {
    DeviceNode node;
    node.instanceId = id;
    node.classGuid = GUID_DEVCLASS_MONITOR;
    node.status = DN_DRIVER_LOADED | DN_STARTED;
    node.text(SPDRP_DEVICEDESC, u"Monitor").text(SPDRP_DRIVER, MonitorClass + driverNumber);
    node.texts(SPDRP_HARDWAREID, {u"MONITOR\\AAA"});
    node.interfaces.push_back({GUID_DEVINTERFACE_MONITOR, u"path of " + id});
    return node;
}

// A monitor that is matched by its path, one by its driver key, and one that has no record.
void displayPc(simulation::Machine& machine) {
    machine.name = u"PC";
    DeviceNode top;
    top.instanceId = u"HTREE\\ROOT\\0";
    const DEVINST root = machine.add(std::move(top)).handle;
    const DeviceNode& first = machine.add(monitor(u"DISPLAY\\AAA\\1", u"0001"), root);
    const DeviceNode& second = machine.add(monitor(u"DISPLAY\\AAA\\2", u"0002"), root);
    machine.deviceKey(first).values[u"EDID"] = simulation::RegistryValue::binary(edid(0));
    machine.deviceKey(second);

    simulation::DisplayOutput output;
    output.name = u"\\\\.\\DISPLAY1";
    output.description = u"Adapter";
    output.mode = {640, 480, 60, 32, 0, 0, DMDO_DEFAULT};
    output.monitors = {simulation::monitorOf(first), simulation::monitorOf(second), {}};
    output.monitors[0].deviceId = u"PATH OF DISPLAY\\AAA\\1";
    output.monitors[2].description = u"Stranger";
    machine.displays = {output};
    simulation::addRawEdid(machine.wmi[u"root\\wmi"], u"DISPLAY\\AAA\\1_0", {{'W', 'M'}, {0}, {'I'}});
}

// The same; the registry announces that there are more blocks.
void pcWithExtensions(simulation::Machine& machine) {
    displayPc(machine);
    machine.deviceKey(*machine.node(u"DISPLAY\\AAA\\1")).values[u"EDID"] =
        simulation::RegistryValue::binary(edid(1));
}

// A set that is refused something is smaller; what the log says of strangers is not looked at.
Result set() {
    const WindowsDisplays displays;
    std::string ids;
    for (unsigned i = 0; i < displays.size(); ++i) ids += plain(displays[i].getDeviceInstanceId()) + "\n";
    return {true, ids};
}

// The first monitor as a set gives it.
WindowsDisplay first() {
    DISPLAY_DEVICEW port = {}, device = {};
    port.cb = device.cb = sizeof port;
    simulation::control().watching = false;
    EnumDisplayDevicesW(nullptr, 0, &port, 0);
    EnumDisplayDevicesW(port.DeviceName, 0, &device, 0);
    simulation::control().watching = true;
    return {WindowsDevice(FirstId), port, device};
}

Result mode() {
    WindowsDisplay::CurrentMode mode = {1, 2, 3, 4};
    const bool success = first().getCurrentMode(mode);
    return {success, std::to_string(mode.width) + " " + std::to_string(mode.height) + " " +
                         std::to_string(mode.refreshRate) + " " + std::to_string(mode.bitsPerPixel)};
}

template <WindowsDisplay::EDIDSource Source>
Result readEdid() {
    zor::Buffer<unsigned char> bytes(1);
    bytes[0] = 'b';
    const bool success = first().getEDID(bytes, Source);
    return {success, plain(bytes)};
}

Result report() {
    const zor::String text = first().toString(/*flags=*/1, 0, 2);
    return {true, plain(text)};
}

// What the WMI client throws. From the failure on, COM gets the codes of other functions, which mean success
// to it.
bool throwsAsWmiDoes(const std::exception& exception, Failure failure) {
    return failure != Failure::Allocation &&
           (dynamic_cast<const zor::RaisedException*>(&exception) != nullptr ||
            dynamic_cast<const zor::Exception*>(&exception) != nullptr);
}

// WMI gives the blocks up to the first that fails. One that cannot be read is left out; where a number cannot
// be put, the block before comes again.
Check anyOfTheBlocks(const std::vector<std::string>& others) {
    return [check = anyOf(others)](const Result& result, const Result& clean, Failure failure) {
        std::string left = result.output;
        for (const std::string block : {"WM", "I"}) {
            for (size_t at; (at = left.find(block)) != std::string::npos;) left.erase(at, block.size());
        }
        return left.empty() ? left : check(result, clean, failure);
    };
}

// The lines of the report; other bytes of the EDID, or none.
Check reportMayLose() {
    return [lines = linesMayLose({"UNSET"})](const Result& result, const Result& clean, Failure failure) {
        Result withoutDump = result;
        if (const size_t dump = result.output.find("\nEDID Data:\n"); dump != std::string::npos)
            withoutDump.output.resize(dump);
        return lines(withoutDump, clean, failure);
    };
}

}  // namespace

std::vector<Operation> displayOperations() {
    const Bytes whole = edid(1);
    const std::string inRegistry(whole.begin(), whole.end());
    return {
        {"DisplaySet", displayPc, set, someOfTheDevices()},
        {"DisplayMode", displayPc, mode, keptOnFailure("1 2 3 4")},
        {"DisplayEdidRegistry", displayPc, readEdid<WindowsDisplay::EDIDSourceRegistry>, anyOf({""})},
        {"DisplayEdidWmi", displayPc, readEdid<WindowsDisplay::EDIDSourceWmi>, anyOfTheBlocks({"b"}),
         throwsAsWmiDoes},
        {"DisplayEdidAny", pcWithExtensions, readEdid<WindowsDisplay::EDIDSourceAny>,
         anyOfTheBlocks({"b", inRegistry}), throwsAsWmiDoes},
        {"DisplayReport", displayPc, report, reportMayLose(), throwsAsWmiDoes},
    };
}

}  // namespace sweep
