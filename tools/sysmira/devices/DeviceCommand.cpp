#include "tools/sysmira/devices/DeviceCommand.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/DriverPackage.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/devices/DeviceFacts.h"
#include "tools/sysmira/devices/Problems.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using libSysmira::ConfigManager;
using libSysmira::DriverPackage;
using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;
using nlohmann::ordered_json;

namespace {

// ---- Reading ----

enum class PropertyKind { Text, Texts, Number };
struct Property {
    DWORD number;
    PropertyKind kind;
    const char* key;    ///< in JSON
    const char* label;  ///< in text
};
constexpr Property properties[] = {
    {SPDRP_DEVICEDESC, PropertyKind::Text, "deviceDescription", "Device description"},
    {SPDRP_FRIENDLYNAME, PropertyKind::Text, "friendlyName", "Friendly name"},
    {SPDRP_MFG, PropertyKind::Text, "manufacturer", "Manufacturer"},
    {SPDRP_CLASS, PropertyKind::Text, "class", "Class"},
    {SPDRP_CLASSGUID, PropertyKind::Text, "classGuid", "Class GUID"},
    {SPDRP_SERVICE, PropertyKind::Text, "service", "Service"},
    {SPDRP_DRIVER, PropertyKind::Text, "driverKey", "Driver key"},
    {SPDRP_ENUMERATOR_NAME, PropertyKind::Text, "enumerator", "Enumerator"},
    {SPDRP_LOCATION_INFORMATION, PropertyKind::Text, "location", "Location"},
    {SPDRP_LOCATION_PATHS, PropertyKind::Texts, "locationPaths", "Location paths"},
    {SPDRP_PHYSICAL_DEVICE_OBJECT_NAME, PropertyKind::Text, "physicalDeviceObject", "Physical device object"},
    {SPDRP_BUSNUMBER, PropertyKind::Number, "busNumber", "Bus number"},
    {SPDRP_LEGACYBUSTYPE, PropertyKind::Number, "legacyBusType", "Legacy bus type"},
    {SPDRP_ADDRESS, PropertyKind::Number, "address", "Address"},
    {SPDRP_UI_NUMBER, PropertyKind::Number, "slotNumber", "Slot number"},
    {SPDRP_UI_NUMBER_DESC_FORMAT, PropertyKind::Text, "slotNumberFormat", "Slot number format"},
    {SPDRP_HARDWAREID, PropertyKind::Texts, "hardwareIds", "Hardware IDs"},
    {SPDRP_COMPATIBLEIDS, PropertyKind::Texts, "compatibleIds", "Compatible IDs"},
    {SPDRP_UPPERFILTERS, PropertyKind::Texts, "upperFilters", "Upper filters"},
    {SPDRP_LOWERFILTERS, PropertyKind::Texts, "lowerFilters", "Lower filters"},
    {SPDRP_CAPABILITIES, PropertyKind::Number, "capabilities", "Capabilities"},
    {SPDRP_CONFIGFLAGS, PropertyKind::Number, "configFlags", "Configuration flags"},
    {SPDRP_CHARACTERISTICS, PropertyKind::Number, "characteristics", "Characteristics"},
    {SPDRP_DEVTYPE, PropertyKind::Number, "deviceType", "Device type"},
    {SPDRP_EXCLUSIVE, PropertyKind::Number, "exclusive", "Exclusive"},
    {SPDRP_SECURITY_SDS, PropertyKind::Text, "security", "Security"},
    {SPDRP_REMOVAL_POLICY, PropertyKind::Number, "removalPolicy", "Removal policy"},
    {SPDRP_REMOVAL_POLICY_HW_DEFAULT, PropertyKind::Number, "removalPolicyDefault", "Removal policy default"},
    {SPDRP_REMOVAL_POLICY_OVERRIDE, PropertyKind::Number, "removalPolicyOverride", "Removal policy override"},
    {SPDRP_INSTALL_STATE, PropertyKind::Number, "installState", "Install state"},
    {CM_DRP_BASE_CONTAINERID - 1, PropertyKind::Text, "containerId", "Container ID"},
};

ordered_json textsToJson(const zor::Array<zor::String>& texts) {
    ordered_json array = ordered_json::array();
    for (const zor::String& text : texts) array.push_back(toUtf8(text));
    return array;
}

// Null when the device has no such property.
ordered_json readProperty(const WindowsDevice& device, const Property& property) {
    zor::String text;
    zor::Array<zor::String> texts;
    DWORD number = 0;
    switch (property.kind) {
        case PropertyKind::Text:
            if (device.getStringRegistryProperty(property.number, text, libSysmira::RegProp_Device))
                return toUtf8(text);
            break;
        case PropertyKind::Texts:
            if (device.getMultiStringRegistryProperty(property.number, texts, libSysmira::RegProp_Device)) {
                return textsToJson(texts);
            }
            break;
        case PropertyKind::Number:
            if (device.getDWORDRegistryProperty(property.number, number, libSysmira::RegProp_Device))
                return number;
            break;
    }
    return nullptr;
}

// A record made from an ID has no path; the enumerations of interfaces know it.
void findLocator(WindowsDevice& device) {
    constexpr unsigned everyKind = libSysmira::WinInt_ComPort * 2 - 1;
    WindowsDeviceSet set(libSysmira::WinDev_Any, everyKind);
    set.appendComPorts();
    set.appendParallelPorts();
    for (const WindowsDevice& known : set) {
        if (known.getDeviceInstanceId().compareNoCase(device.getDeviceInstanceId()) == 0) {
            device.setOsLocator(known.getOsLocator(), known.getInterfaceType());
        }
    }
}

[[noreturn]] void failUnknown(const std::string& id) {
    std::vector<std::string> known;
    WindowsDeviceSet set(nullptr, nullptr, WindowsDeviceSet::KeepHidden);
    for (const WindowsDevice& device : set) known.push_back(toUtf8(device.getDeviceInstanceId()));
    if (std::find(known.begin(), known.end(), id) != known.end()) {
        throw CommandFailure(NotRead, "Windows lists the device \"" + id + "\" but does not open it");
    }
    const std::string guess = nearest(id, known);
    throw CommandFailure(NotRead, "no device has the ID \"" + id + "\"; " +
                                      (guess.empty() ? "\"sysmira devices\" lists the IDs"
                                                     : "did you mean \"" + guess + "\"?"));
}

WindowsDevice findDevice(const std::string& id) {
    const zor::String given = zor::String::fromUTF8(id);
    WindowsDevice device(given);
    if (!device.isValid()) failUnknown(id);
    // In the letters that Windows has for it.
    zor::String own;
    const DEVINST node = ConfigManager::findByDeviceInstanceId(given);
    if (node != 0 && ConfigManager::getDeviceInstanceId(node, own) && !(own == given)) {
        if (WindowsDevice same(own); same.isValid()) device = std::move(same);
    }
    findLocator(device);
    return device;
}

// Whether the device is there; unknown where the tree cannot be read.
enum class Presence { Present, NotPresent, Unknown };
Presence findPresence(DEVINST node) {
    if (node != 0) return Presence::Present;
    return ConfigManager::getRootNode() != 0 ? Presence::NotPresent : Presence::Unknown;
}

struct Facts {
    explicit Facts(const WindowsDevice& asked)
        : device(asked), node(ConfigManager::findByDeviceInstanceId(asked.getDeviceInstanceId())) {
        presence = findPresence(node);
        state = readState(node);
        device.getDeviceId(deviceId);
        parent = device.getParentDeviceInstanceId();
        device.getLocation(location);
        hasPciAddress = device.getPciAddressFromLocation(bus, slot, function);
        hasNumber = device.getUint32Location(number);
        device.getRelations(libSysmira::Relations_Removal, removal);
        device.getRelations(libSysmira::Relations_Bus, children);
        device.getRelations(libSysmira::Relations_Ejection, ejection);
        if (device.getDriverPackage()->isValid()) device.getDriverPackage()->getDriverFiles();
    }

    const WindowsDevice& device;
    DEVINST node;
    Presence presence;
    NodeState state;
    zor::String deviceId, parent, location;
    bool hasPciAddress = false;
    unsigned char bus = 0, slot = 0, function = 0;
    bool hasNumber = false;
    unsigned int number = 0;
    zor::Array<zor::String> removal, children, ejection;
};

// ---- Text ----

constexpr std::size_t labelWidth = 16;

std::string line(const std::string& label, const std::string& value) {
    return padded(label, labelWidth) + " : " + value + "\n";
}

std::string stateText(const Facts& facts) {
    if (facts.presence == Presence::NotPresent) return "not present; Windows knows it from earlier";
    if (facts.presence == Presence::Unknown) return "unknown: the device tree cannot be read";
    if (!facts.state.problem) return "no problem";
    return "problem " + std::to_string(*facts.state.problem) + ": " + problemMeaning(*facts.state.problem);
}

std::string factsText(const Facts& facts) {
    std::string text = line("State", stateText(facts));
    if (facts.presence == Presence::Present) {
        text += line("Hidden", facts.state.hidden ? "yes" : "no");
        text += line("Disabled", facts.state.disabled ? "yes" : "no");
    }
    text += line("Device ID", printable(facts.deviceId));
    if (!facts.parent.empty()) text += line("Parent", printable(facts.parent));
    if (!facts.location.empty()) text += line("Location", printable(facts.location));
    if (facts.hasPciAddress) {
        text += line("PCI Address", "bus " + std::to_string(facts.bus) + ", device " +
                                        std::to_string(facts.slot) + ", function " +
                                        std::to_string(facts.function));
    }
    if (facts.hasNumber) text += line("Location Number", std::to_string(facts.number));
    return text;
}

std::string hexadecimal(unsigned long long number) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "0x%llX", number);
    return buffer;
}

std::string valueText(const ordered_json& value) {
    if (value.is_string()) return printable(value.get_ref<const std::string&>());
    const auto number = value.get<unsigned long long>();
    return std::to_string(number) + (number > 9 ? " (" + hexadecimal(number) + ")" : "");
}

std::string propertiesText(const WindowsDevice& device) {
    constexpr std::size_t width = 24;
    std::string text;
    for (const Property& property : properties) {
        const ordered_json value = readProperty(device, property);
        if (value.is_null()) continue;
        std::string start = "  " + padded(property.label, width) + " : ";
        for (const ordered_json& part : value.is_array() ? value : ordered_json::array({value})) {
            text += start + valueText(part) + "\n";
            start.assign(start.size(), ' ');
        }
    }
    return text.empty() ? text : "\nRegistry Properties:\n" + text;
}

std::string relationText(const char* label, const zor::Array<zor::String>& ids) {
    std::string text;
    std::string start = "  " + padded(label, 8) + " : ";
    for (const zor::String& id : ids) {
        text += start + printable(id) + "\n";
        start.assign(start.size(), ' ');
    }
    return text;
}

std::string relationsText(const Facts& facts) {
    const std::string text = relationText("Removal", facts.removal) + relationText("Bus", facts.children) +
                             relationText("Ejection", facts.ejection);
    return text.empty() ? text : "\nRelations:\n" + text;
}

std::string driverText(DriverPackage& package) {
    if (!package.isValid()) return "\n" + line("Driver", "none found");
    constexpr unsigned step = 2;
    std::vector<ReportField> fields = {{"Provider           : ", package.getDriverProvider()},
                                       {"Device Description : ", package.getDriverDeviceDescription()},
                                       {"File Name    : ", package.getInfFileName()},
                                       {"Section Name : ", package.getInfSectionName()}};
    const std::string beforeFile = "\n" + std::string(step + 3, ' ');
    for (const zor::WindowsFile& file : package.getDriverFiles())
        fields.emplace_back(beforeFile, file.getFileName());
    return "\n" + printableReport(package.toString(0, step), fields);
}

std::string toText(const Facts& facts) {
    const WindowsDevice& device = facts.device;
    return printableReport(device.toString(0), reportFields(device)) + "\n" + factsText(facts) +
           relationsText(facts) + propertiesText(device) + driverText(*device.getDriverPackage());
}

// ---- JSON ----

ordered_json textOrNull(const zor::String& text) {
    return text.empty() ? ordered_json(nullptr) : ordered_json(toUtf8(text));
}

ordered_json driverDocument(DriverPackage& package) {
    if (!package.isValid()) return nullptr;
    ordered_json driver;
    driver["provider"] = toUtf8(package.getDriverProvider());
    driver["manufacturer"] = toUtf8(package.getDeviceManufacturerName());
    driver["description"] = toUtf8(package.getDriverDeviceDescription());
    driver["version"] = toUtf8(package.getDriverVersion());
    driver["date"] = toUtf8(package.getDriverDate().dateStampString());
    driver["inf"] = nullptr;
    if (!package.getInfFileName().empty()) {
        driver["inf"] = {{"file", toUtf8(package.getInfFileName())},
                         {"section", toUtf8(package.getInfSectionName())},
                         {"date", toUtf8(package.getInfDate().dateStampString())}};
    }
    driver["files"] = ordered_json::array();
    for (const zor::WindowsFile& file : package.getDriverFiles()) {
        zor::String version;
        file.getFileVersion(version);
        driver["files"].push_back({{"path", toUtf8(file.getFileName())}, {"version", textOrNull(version)}});
    }
    return driver;
}

ordered_json toDocument(const Facts& facts) {
    const WindowsDevice& device = facts.device;
    ordered_json document = toJson(device);
    document["present"] = nullptr;
    if (facts.presence != Presence::Unknown) document["present"] = facts.presence == Presence::Present;
    addState(document, facts.state);
    document["deviceId"] = textOrNull(facts.deviceId);
    document["parent"] = textOrNull(facts.parent);
    document["location"] = textOrNull(facts.location);
    document["pciAddress"] = nullptr;
    if (facts.hasPciAddress) {
        document["pciAddress"] = {{"bus", facts.bus}, {"device", facts.slot}, {"function", facts.function}};
    }
    document["locationNumber"] = nullptr;
    if (facts.hasNumber) document["locationNumber"] = facts.number;
    document["relations"] = {{"removal", textsToJson(facts.removal)},
                             {"bus", textsToJson(facts.children)},
                             {"ejection", textsToJson(facts.ejection)}};
    document["registryProperties"] = ordered_json::object();
    for (const Property& property : properties) {
        ordered_json value = readProperty(device, property);
        if (!value.is_null()) document["registryProperties"][property.key] = std::move(value);
    }
    document["driver"] = driverDocument(*device.getDriverPackage());
    return document;
}

}  // namespace

void runDevice(const std::string& deviceInstanceId, Output& output) {
    const WindowsDevice device = findDevice(deviceInstanceId);
    const Facts facts(device);
    if (output.wantsJson()) return output.printDocument(toDocument(facts));
    output.print(toText(facts));
}

}  // namespace sysmira
