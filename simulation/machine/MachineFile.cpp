#include "simulation/machine/MachineFile.h"

#include <algorithm>

#include "simulation/machine/CounterFile.h"
#include "simulation/machine/DeviceFile.h"
#include "simulation/machine/DisplayFile.h"
#include "simulation/machine/EventLogFile.h"
#include "simulation/machine/JsonText.h"
#include "simulation/machine/ShellFile.h"
#include "simulation/machine/StorageFile.h"
#include "simulation/machine/WmiFile.h"

namespace simulation {

namespace {

// As deep as Windows lets keys stand.
constexpr std::ptrdiff_t DeepestKey = 512;

void readClass(const JsonPlace& place, Machine& machine) {
    place.allowOnly({"name", "guid", "properties"});
    const JsonPlace guidPlace = place.required("guid", "the GUID of the class");
    GUID guid = {};
    if (!parseGuid(guidPlace.utf8("a GUID in braces"), guid)) guidPlace.fail("a GUID in braces");
    const JsonPlace namePlace = place.required("name", "the name of the class");
    const Text name = namePlace.text();
    for (const auto& [known, setupClass] : machine.setupClasses) {
        if (sameGuid(known, guid)) guidPlace.fail("a GUID that no class above has");
        if (equalNoCase(setupClass.name, name)) namePlace.fail("a name that no class above has");
    }
    SetupClass& setupClass = machine.setupClasses[guid];
    setupClass.name = name;
    if (const auto properties = place.member("properties")) {
        readNumberedValues(*properties, SPCRP_MAXIMUM_PROPERTY, setupClass.properties);
    }
}

void readKey(const std::string& path, const JsonPlace& place, Machine& machine) {
    constexpr const char* roots[] = {"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_CLASSES_ROOT",
                                     "HKEY_USERS", "HKEY_CURRENT_CONFIG"};
    const size_t rootEnd = std::min(path.find('\\'), path.size());
    const std::string root = path.substr(0, rootEnd);
    if (std::find(std::begin(roots), std::end(roots), root) == std::end(roots)) {
        place.complain("found no root, expected a path that begins with one like HKEY_LOCAL_MACHINE");
    }
    if (std::count(path.begin(), path.end(), '\\') > DeepestKey) {
        place.complain("found a deeper path, expected at most " + std::to_string(DeepestKey) + " keys");
    }
    readKeyValues(place, machine.registry[fromUtf8(root)].make(fromUtf8(path.substr(rootEnd))));
}

void readFile(const JsonPlace& place, Machine& machine) {
    place.allowOnly({"path", "version", "image", "messages", "versionBlock"});
    File file;
    if (const auto version = place.member("version")) file.version = version->version();
    if (const auto block = place.member("versionBlock")) file.versionBlock = block->hex();
    if (const auto messages = place.member("messages")) {
        file.messages = readMessages(*messages);
        file.image = true;  // tables stand in images
    }
    if (const auto image = place.member("image")) file.image = image->truth();
    const JsonPlace pathPlace = place.required("path", "the file's full path");
    const Text path = pathPlace.text("a full path like \"C:\\Windows\\notepad.exe\"");
    if (path.find(u'\\') == Text::npos) pathPlace.fail("a full path like \"C:\\Windows\\notepad.exe\"");
    if (!machine.files.emplace(path, std::move(file)).second)
        pathPlace.fail("a file that is not listed above");
}

Machine read(const JsonPlace& file) {
    file.allowOnly({"name", "setupClasses", "devices", "registry", "files", "environment", "noDeviceTree",
                    "wmi", "disks", "volumes", "networkDrives", "otherDrives", "systemDirectory",
                    "programPath", "displays", "eventLogs", "counters", "shell"});
    Machine machine;
    if (const auto name = file.member("name")) machine.name = name->text();
    if (const auto truth = file.member("noDeviceTree")) machine.noDeviceTree = truth->truth();
    if (const auto classes = file.member("setupClasses")) {
        classes->forEachElement("a list of setup classes",
                                [&](const JsonPlace& place) { readClass(place, machine); });
    }
    if (const auto registry = file.member("registry")) {
        registry->forEachMember("an object of keys", [&](const std::string& path, const JsonPlace& place) {
            readKey(path, place, machine);
        });
    }
    if (const auto files = file.member("files")) {
        files->forEachElement("a list of files", [&](const JsonPlace& place) { readFile(place, machine); });
    }
    if (const auto variables = file.member("environment")) {
        variables->forEachMember("an object of variables",
                                 [&](const std::string& name, const JsonPlace& value) {
                                     machine.environment[fromUtf8(name)] = value.text();
                                 });
    }
    if (const auto path = file.member("systemDirectory")) machine.systemDirectory = path->text();
    if (const auto path = file.member("programPath")) machine.programPath = path->text();
    if (const auto letters = file.member("networkDrives"))
        machine.storage.networkLetters = readLetters(*letters);
    if (const auto letters = file.member("otherDrives")) machine.storage.otherLetters = readLetters(*letters);
    if (const auto counters = file.member("counters")) readCounters(*counters, machine);
    if (const auto wmi = file.member("wmi")) readWmi(*wmi, machine.wmi);
    if (const auto logs = file.member("eventLogs")) {
        readEventLogs(*logs, machine.events);
        // Windows has a key for each classic log.
        for (const auto& [name, log] : machine.events.classic)
            machine.localMachine().make(u"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\" + name);
    }
    if (const auto shell = file.member("shell")) readShell(*shell, machine);
    // Devices find classes and registry in place.
    if (const auto devices = file.member("devices")) readDevices(*devices, machine);
    // Disks and volumes have the interfaces of devices.
    if (const auto disks = file.member("disks")) readDisks(*disks, machine);
    if (const auto volumes = file.member("volumes")) readVolumes(*volumes, machine);
    if (const auto displays = file.member("displays")) readDisplays(*displays, machine);
    return machine;
}

}  // namespace

Machine readMachine(std::string_view text, const std::string& source) {
    const nlohmann::json document = parseJson(text, source);
    return read(JsonPlace(document, source, ""));
}

}  // namespace simulation
