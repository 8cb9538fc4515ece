// A simulated PC with adapters and monitors, and the EDIDs that they tell.
#pragma once

#include <initializer_list>

#include "tests/behaviour/SimulatedPc.h"

class DisplayPc : public SimulatedPc {
protected:
    using Bytes = simulation::Bytes;
    using DisplayMonitor = simulation::DisplayMonitor;
    using DisplayOutput = simulation::DisplayOutput;

    void SetUp() override {
        SimulatedPc::SetUp();
        machine.name = u"PC";
    }

    /// A monitor's record "DISPLAY\<part>" with a path, and the driver's number.
    DeviceNode& addMonitor(const Text& part, const Text& driverNumber = u"0001") {
        DeviceNode& node = add(u"DISPLAY\\" + part, root, GUID_DEVCLASS_MONITOR);
        node.text(SPDRP_DEVICEDESC, u"Monitor " + part);
        node.texts(SPDRP_HARDWAREID, {u"MONITOR\\" + part.substr(0, part.find(u'\\'))});
        node.text(SPDRP_DRIVER, u"{4d36e96e-e325-11ce-bfc1-08002be10318}\\" + driverNumber);
        withInterface(node, GUID_DEVINTERFACE_MONITOR, u"\\\\?\\DISPLAY#" + part);
        machine.deviceKey(node);
        return node;
    }

    /// The next output, attached to the desktop, with these monitors on it.
    DisplayOutput& addOutput(std::initializer_list<DisplayMonitor> monitors) {
        DisplayOutput output;
        output.name = u"\\\\.\\DISPLAY" + simulation::fromUtf8(std::to_string(machine.displays.size() + 1));
        output.description = u"Test adapter";
        output.deviceId = u"PCI\\VEN_1";
        output.mode = {1920, 1080, 75, 24, 0, 0, DMDO_DEFAULT};
        output.monitors = monitors;
        machine.displays.push_back(output);
        return machine.displays.back();
    }

    void setRegistryEdid(const DeviceNode& node, const Bytes& edid) {
        machine.deviceKey(node).values[u"EDID"] = RegistryValue::binary(edid);
    }

    /// WMI's monitor with these raw blocks.
    void addWmiMonitor(const Text& instanceName, const std::vector<Bytes>& blocks) {
        simulation::addRawEdid(machine.wmi[u"root\\wmi"], instanceName, blocks);
    }

    /// A block of 128 bytes: `first`, then that value over and over, the extension count in its place.
    static Bytes block(unsigned char fill, unsigned char extensions = 0) {
        Bytes bytes(128, fill);
        bytes[126] = extensions;
        return bytes;
    }
    static Bytes joined(std::initializer_list<Bytes> blocks) {
        Bytes all;
        for (const Bytes& each : blocks) all.insert(all.end(), each.begin(), each.end());
        return all;
    }

    /// The log lines of the displays of one priority and above.
    Strings displayLog(int priority) const {
        Strings lines;
        for (const LogLine& line : log) {
            if (line.logger == "libSysmira.WindowsDisplays" && line.priority >= priority)
                lines.push_back(line.text);
        }
        return lines;
    }
};
