#include "tools/sysmira/devices/DevicesCommand.h"

#include <nlohmann/json.hpp>

#include "libSysmira/enumeration/ConfigManager.h"
#include "tools/sysmira/devices/DeviceFacts.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;

namespace {

void appendAll(WindowsDeviceSet& set) { set.appendDevices(libSysmira::WinDev_Any, libSysmira::WinInt_None); }

std::string toText(const WindowsDeviceSet& set) {
    std::vector<ReportField> fields;
    for (const WindowsDevice& device : set) {
        for (ReportField& field : reportFields(device)) fields.push_back(std::move(field));
    }
    return printableReport(set.toString(0), fields);
}

nlohmann::ordered_json toDocument(const WindowsDeviceSet& set) {
    nlohmann::ordered_json devices = nlohmann::ordered_json::array();
    for (const WindowsDevice& device : set) {
        nlohmann::ordered_json object = toJson(device);
        addState(object,
                 readState(libSysmira::ConfigManager::findByDeviceInstanceId(device.getDeviceInstanceId())));
        devices.push_back(std::move(object));
    }
    return {{"devices", std::move(devices)}};
}

}  // namespace

const std::vector<DeviceKind>& deviceKinds() {
    static const std::vector<DeviceKind> kinds = {
        {"--disks", "Disks", [](auto& set) { set.appendDisks(); }},
        {"--usb-disks", "Disks on USB", [](auto& set) { set.appendUsbDisks(); }},
        {"--opticals", "Optical drives", [](auto& set) { set.appendOpticals(); }},
        {"--floppies", "Floppy drives", [](auto& set) { set.appendFloppies(); }},
        {"--tapes", "Tape drives", [](auto& set) { set.appendTapeDrives(); }},
        {"--storage", "Disks, optical, tape and floppy drives",
         [](auto& set) { set.appendAllStorageDevices(); }},
        {"--volumes", "Volumes, hidden ones too", [](auto& set) { set.appendVolumes(); }},
        {"--controllers", "Controllers of hard disks and floppy drives",
         [](auto& set) {
             set.appendHardDiskControllers();
             set.appendFloppyDiskControllers();
         }},
        {"--batteries", "Batteries", [](auto& set) { set.appendBatteries(); }},
        {"--displays", "Monitors", [](auto& set) { set.appendDisplays(); }},
        {"--display-adapters", "Display adapters", [](auto& set) { set.appendDisplayAdapters(); }},
        {"--com-ports", "Serial ports, hidden ones too", [](auto& set) { set.appendComPorts(); }},
        {"--parallel-ports", "Parallel ports, hidden ones too", [](auto& set) { set.appendParallelPorts(); }},
        {"--all", "Every device that is present and not hidden", appendAll},
    };
    return kinds;
}

DeviceSelection byEnumerator(const std::string& name) {
    return [enumerator = zor::String::fromUTF8(name)](WindowsDeviceSet& set) {
        set.appendDevicesByEnumerator(enumerator, nullptr, nullptr);
    };
}

void runDevices(const std::vector<DeviceSelection>& selections, Output& output) {
    WindowsDeviceSet set;
    for (const DeviceSelection& append : selections) append(set);
    if (selections.empty()) appendAll(set);
    if (output.wantsJson()) return output.printDocument(toDocument(set));
    if (set.empty()) return output.remark("there are no such devices");
    output.print(toText(set));
}

}  // namespace sysmira
