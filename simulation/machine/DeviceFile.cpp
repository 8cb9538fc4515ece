#include "simulation/machine/DeviceFile.h"

#include <algorithm>

#include "simulation/machine/StandardNames.h"

namespace simulation {

namespace {

struct Property {
    const char* name;
    DWORD number;
};

constexpr Property textProperties[] = {
    {"description", SPDRP_DEVICEDESC},
    {"friendlyName", SPDRP_FRIENDLYNAME},
    {"manufacturer", SPDRP_MFG},
    {"service", SPDRP_SERVICE},
    {"enumerator", SPDRP_ENUMERATOR_NAME},
    {"location", SPDRP_LOCATION_INFORMATION},
    {"physicalObject", SPDRP_PHYSICAL_DEVICE_OBJECT_NAME},
};
constexpr Property listProperties[] = {
    {"hardwareIds", SPDRP_HARDWAREID},
    {"compatibleIds", SPDRP_COMPATIBLEIDS},
    {"upperFilters", SPDRP_UPPERFILTERS},
    {"lowerFilters", SPDRP_LOWERFILTERS},
};

// Of MAX_DEVICE_ID_LEN units the last is for the terminator.
constexpr size_t LongestId = MAX_DEVICE_ID_LEN - 1;
constexpr char IdExpected[] =
    "an instance ID like \"PCI\\VEN_8086&DEV_1237\\3&267A616A&0&00\", below 200 letters";

// Three names that are not empty, joined by backslashes.
bool isInstanceId(const Text& text) {
    const size_t first = text.find(u'\\');
    const size_t second = first == Text::npos ? first : text.find(u'\\', first + 1);
    return second != Text::npos && first != 0 && second != first + 1 && second + 1 != text.size() &&
           text.find(u'\\', second + 1) == Text::npos && text.size() <= LongestId;
}

bool isFourDigits(std::u16string_view text) {
    return text.size() == 4 &&
           std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; });
}

// As Windows makes it of the instance ID.
Text interfacePath(const Text& instanceId, const GUID& interfaceClass) {
    Text id = instanceId;
    for (char16_t& unit : id) {
        if (unit == u'\\' || unit == u'/') unit = u'#';
        if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + 0x20);
    }
    return u"\\\\?\\" + id + u"#" + fromUtf8(toString(interfaceClass));
}

DeviceInterface readInterface(const JsonPlace& place, const Text& instanceId) {
    place.allowOnly({"class", "path"});
    DeviceInterface one;
    const JsonPlace classPlace = place.required("class", "an interface class");
    const std::string name = classPlace.utf8("an interface class");
    if (!findInterfaceClass(name, one.interfaceClass) && !parseGuid(name, one.interfaceClass)) {
        classPlace.fail("a GUID in braces or one of " + interfaceClassNames());
    }
    const auto path = place.member("path");
    one.path = path ? path->text() : interfacePath(instanceId, one.interfaceClass);
    return one;
}

Driver readDriver(const JsonPlace& place) {
    place.allowOnly({"provider", "manufacturer", "description", "version", "date", "inf", "section",
                     "infDate", "hardwareId", "files", "installed"});
    Driver driver;
    const struct {
        const char* name;
        Text& target;
    } texts[] = {
        {"provider", driver.provider},       {"manufacturer", driver.manufacturer},
        {"description", driver.description}, {"inf", driver.infFile},
        {"section", driver.section},         {"hardwareId", driver.hardwareId},
    };
    for (const auto& [name, target] : texts) {
        if (const auto member = place.member(name)) target = member->text();
    }
    if (const auto version = place.member("version")) driver.version = version->version();
    if (const auto date = place.member("date")) driver.date = date->date();
    if (const auto date = place.member("infDate")) driver.infDate = date->date();
    if (const auto files = place.member("files")) driver.files = files->texts();
    if (const auto installed = place.member("installed")) driver.installed = installed->truth();
    return driver;
}

class DeviceReader {
public:
    explicit DeviceReader(Machine& machine) : m_machine(machine) {}

    // Documents do not nest deep (parseJson): the recursion ends.
    void read(const JsonPlace& place, DEVINST parent) {
        place.allowOnly({"id",
                         "class",
                         "description",
                         "friendlyName",
                         "manufacturer",
                         "service",
                         "driver",
                         "location",
                         "enumerator",
                         "physicalObject",
                         "hardwareIds",
                         "compatibleIds",
                         "upperFilters",
                         "lowerFilters",
                         "properties",
                         "hidden",
                         "problem",
                         "status",
                         "statusUnreadable",
                         "phantom",
                         "removalRelations",
                         "ejectionRelations",
                         "busRelations",
                         "interfaces",
                         "driverPackage",
                         "drivers",
                         "driverListFails",
                         "parameters",
                         "driverValues",
                         "children"});
        DeviceNode node;
        readIdentity(place, node);
        readStatus(place, node);
        readProperties(place, node);
        readRelations(place, node);
        readInterfacesAndDrivers(place, node);
        if (!node.phantom && parent == 0 && m_machine.root() != 0) {
            place.complain("found a second device at the top, expected one root with all others below it");
        }
        const DeviceNode& placed = m_machine.add(std::move(node), parent);
        writeRegistry(place, placed);
        if (const auto children = place.member("children")) {
            children->forEachElement("a list of devices",
                                     [&](const JsonPlace& child) { read(child, placed.handle); });
        }
    }

private:
    void readIdentity(const JsonPlace& place, DeviceNode& node) {
        const JsonPlace idPlace = place.required("id", IdExpected);
        node.instanceId = idPlace.text(IdExpected);
        if (!isInstanceId(node.instanceId)) idPlace.fail(IdExpected);
        if (m_machine.node(node.instanceId) != nullptr)
            idPlace.fail("an instance ID that no device above has");
        if (const auto setupClass = place.member("class")) node.classGuid = readClass(*setupClass);
    }

    // The class's GUID; a standard class joins the machine's.
    GUID readClass(const JsonPlace& place) {
        const char* const expected =
            "a setup class: a standard name like \"DiskDrive\", one of \"setupClasses\", or a GUID in braces";
        const std::string text = place.utf8(expected);
        GUID guid = {};
        if (parseGuid(text, guid)) return guid;
        for (const auto& [known, setupClass] : m_machine.setupClasses) {
            if (equalNoCase(setupClass.name, fromUtf8(text))) return known;
        }
        std::string name;
        if (!findStandardClass(text, guid, name)) place.fail(expected);
        m_machine.setupClasses[guid].name = fromUtf8(name);
        return guid;
    }

    static void readStatus(const JsonPlace& place, DeviceNode& node) {
        node.status = DN_DRIVER_LOADED | DN_STARTED | DN_DISABLEABLE;
        if (const auto problem = place.member("problem")) {
            node.problem = static_cast<DWORD>(problem->number(1, NUM_CM_PROB_V9 - 1, "a problem number"));
            node.status = DN_HAS_PROBLEM | DN_DISABLEABLE;
        }
        if (const auto status = place.member("status")) {
            node.status = static_cast<DWORD>(status->number(0, 0xFFFFFFFF, "status bits"));
        }
        const auto isTrue = [&](const char* name) {
            const auto member = place.member(name);
            return member && member->truth();
        };
        if (isTrue("hidden")) node.status |= DN_NO_SHOW_IN_DM;
        node.statusUnreadable = isTrue("statusUnreadable");
        node.phantom = isTrue("phantom");
        node.driverListFails = isTrue("driverListFails");
    }

    static void readProperties(const JsonPlace& place, DeviceNode& node) {
        for (const Property& property : textProperties) {
            if (const auto member = place.member(property.name)) node.text(property.number, member->text());
        }
        for (const Property& property : listProperties) {
            if (const auto member = place.member(property.name)) node.texts(property.number, member->texts());
        }
        if (const auto driver = place.member("driver")) readDriverKey(*driver, node);
        if (const auto properties = place.member("properties")) {
            readNumberedValues(*properties, SPDRP_MAXIMUM_PROPERTY, node.properties);
        }
    }

    // "0003" stands below the device's own class.
    static void readDriverKey(const JsonPlace& place, DeviceNode& node) {
        const char* const expected =
            "four digits like \"0003\", or a class GUID in braces, \"\\\" and four digits";
        const Text text = place.text(expected);
        if (isFourDigits(text)) {
            if (sameGuid(node.classGuid, GUID{}))
                place.fail("a class GUID and number, as the device has no class");
            node.text(SPDRP_DRIVER, fromUtf8(toString(node.classGuid)) + u"\\" + text);
            return;
        }
        const size_t guidEnd = std::min(text.find(u'\\'), text.size());
        GUID guid = {};
        const bool whole = parseGuid(toUtf8(text.substr(0, guidEnd)), guid) && guidEnd != text.size() &&
                           isFourDigits(std::u16string_view(text).substr(guidEnd + 1));
        if (!whole) place.fail(expected);
        node.text(SPDRP_DRIVER, text);
    }

    static void readRelations(const JsonPlace& place, DeviceNode& node) {
        if (const auto ids = place.member("removalRelations")) node.removalRelations = ids->texts();
        if (const auto ids = place.member("ejectionRelations")) node.ejectionRelations = ids->texts();
        if (const auto ids = place.member("busRelations")) node.busRelations = ids->texts();
    }

    static void readInterfacesAndDrivers(const JsonPlace& place, DeviceNode& node) {
        if (const auto interfaces = place.member("interfaces")) {
            interfaces->forEachElement("a list of interfaces", [&](const JsonPlace& one) {
                node.interfaces.push_back(readInterface(one, node.instanceId));
            });
        }
        if (const auto driver = place.member("driverPackage")) node.drivers.push_back(readDriver(*driver));
        if (const auto drivers = place.member("drivers")) {
            if (!node.drivers.empty())
                drivers->complain("found beside \"driverPackage\", expected one of the two");
            drivers->forEachElement("a list of drivers",
                                    [&](const JsonPlace& one) { node.drivers.push_back(readDriver(one)); });
        }
    }

    // What Windows keeps in the registry of a device, and the values that the file gives besides.
    void writeRegistry(const JsonPlace& place, const DeviceNode& node) {
        constexpr struct {
            const char16_t* name;
            DWORD property;
        } values[] = {
            {u"DeviceDesc", SPDRP_DEVICEDESC},
            {u"HardwareID", SPDRP_HARDWAREID},
            {u"CompatibleIDs", SPDRP_COMPATIBLEIDS},
            {u"Service", SPDRP_SERVICE},
            {u"ClassGUID", SPDRP_CLASSGUID},
            {u"Driver", SPDRP_DRIVER},
            {u"Mfg", SPDRP_MFG},
            {u"FriendlyName", SPDRP_FRIENDLYNAME},
            {u"LocationInformation", SPDRP_LOCATION_INFORMATION},
            {u"UpperFilters", SPDRP_UPPERFILTERS},
            {u"LowerFilters", SPDRP_LOWERFILTERS},
        };
        RegistryKey& enumKey =
            m_machine.localMachine().make(u"SYSTEM\\CurrentControlSet\\Enum\\" + node.instanceId);
        for (const auto& [name, property] : values) {
            const auto found = node.properties.find(property);
            if (found != node.properties.end()) enumKey.values[name] = found->second;
        }
        RegistryKey& parameters = m_machine.deviceKey(node);
        if (const auto given = place.member("parameters")) readKeyValues(*given, parameters);

        const auto given = place.member("driverValues");
        if (Machine::driverKeyPath(node).empty()) {
            if (given)
                given->complain("found values of a software key, expected a \"driver\" that names the key");
            return;
        }
        RegistryKey& driverKey = m_machine.driverKey(node);
        writeDriver(node, driverKey);
        if (given) readKeyValues(*given, driverKey);
    }

    static void writeDriver(const DeviceNode& node, RegistryKey& key) {
        const auto installed = std::find_if(node.drivers.begin(), node.drivers.end(),
                                            [](const Driver& driver) { return driver.installed; });
        if (installed == node.drivers.end()) return;
        const auto put = [&](const char16_t* name, const Text& text) {
            if (!text.empty()) key.values[name] = RegistryValue::text(text);
        };
        put(u"DriverDesc", installed->description);
        put(u"ProviderName", installed->provider);
        put(u"InfSection", installed->section);
        put(u"MatchingDeviceId", installed->hardwareId);
        // The INF's name without its folder.
        put(u"InfPath", installed->infFile.substr(installed->infFile.rfind(u'\\') + 1));
        std::string version;
        for (int shift = 48; shift >= 0; shift -= 16) {
            version += (version.empty() ? "" : ".") + std::to_string(installed->version >> shift & 0xFFFF);
        }
        put(u"DriverVersion", fromUtf8(version));
    }

    Machine& m_machine;
};

}  // namespace

void readDevices(const JsonPlace& devices, Machine& machine) {
    DeviceReader reader(machine);
    devices.forEachElement("a list of devices",
                           [&](const JsonPlace& place) { reader.read(place, /*parent=*/0); });
}

void readNumberedValues(const JsonPlace& place, unsigned end, std::map<DWORD, RegistryValue>& values) {
    place.forEachMember("an object of values by property number", [&](const std::string& name,
                                                                      const JsonPlace& value) {
        const Text digits = Text(name.size() < 4 ? 4 - name.size() : 0, u'0') + fromUtf8(name);
        const unsigned number = isFourDigits(digits) && !name.empty() ? std::stoul(name) : end;
        if (number >= end) {
            value.complain("found \"" + name + "\", expected a property number below " + std::to_string(end));
        }
        values[number] = value.registryValue();
    });
}

void readKeyValues(const JsonPlace& place, RegistryKey& key) {
    place.forEachMember("an object of values", [&](const std::string& name, const JsonPlace& value) {
        key.values[fromUtf8(name)] = value.registryValue();
    });
}

}  // namespace simulation
