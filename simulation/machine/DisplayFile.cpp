#include "simulation/machine/DisplayFile.h"

#include <algorithm>

namespace simulation {

namespace {

// A field of the structures that Windows fills, without its terminator.
constexpr size_t LongestName = 31;
constexpr unsigned LargestPlace = 1 << 20;

class DisplayReader {
public:
    explicit DisplayReader(Machine& machine) : m_machine(machine) {}

    void read(const JsonPlace& place) {
        place.allowOnly({"adapter", "name", "description", "deviceId", "deviceKey", "primary", "mirroring",
                         "attached", "mode", "modes", "monitors"});
        std::optional<DisplayMode> mode;
        if (const auto given = place.member("mode")) mode = readMode(*given);
        const DeviceNode* const adapter = readDevice(place, "adapter");
        DisplayOutput output = adapter != nullptr ? outputOf(*adapter, {}, mode) : outputOf({}, {}, mode);
        output.name = readName(place);
        readTexts(place, output);
        readFlags(place, output.flags);
        if (const auto modes = place.member("modes")) {
            output.modes.clear();
            modes->forEachElement("a list of modes",
                                  [&](const JsonPlace& each) { output.modes.push_back(readMode(each)); });
        }
        if (const auto monitors = place.member("monitors")) {
            monitors->forEachElement("a list of monitors", [&](const JsonPlace& each) {
                output.monitors.push_back(readMonitor(each));
            });
        }
        m_machine.displays.push_back(std::move(output));
    }

private:
    const DeviceNode* readDevice(const JsonPlace& place, const char* name) {
        const auto given = place.member(name);
        if (!given) return nullptr;
        const char* const expected = "the instance ID of a device in \"devices\"";
        const DeviceNode* const node = m_machine.node(given->text(expected));
        if (node == nullptr) given->fail(expected);
        return node;
    }

    // Numbered by their place unless they say otherwise; no two alike.
    Text readName(const JsonPlace& place) {
        const auto given = place.member("name");
        const Text name = given ? given->text()
                                : u"\\\\.\\DISPLAY" + fromUtf8(std::to_string(m_machine.displays.size() + 1));
        const bool known =
            std::any_of(m_machine.displays.begin(), m_machine.displays.end(),
                        [&](const DisplayOutput& output) { return equalNoCase(output.name, name); });
        const char* const expected = "a name of at most 31 units that no output above has";
        if (given && (known || name.empty() || name.size() > LongestName)) given->fail(expected);
        if (known) place.complain("found no \"name\", expected one, as an output above has the usual one");
        return name;
    }

    template <class Device>
    static void readTexts(const JsonPlace& place, Device& device) {
        if (const auto text = place.member("description")) device.description = text->text();
        if (const auto text = place.member("deviceId")) device.deviceId = text->text();
        if (const auto text = place.member("deviceKey")) device.deviceKey = text->text();
    }

    static void readFlags(const JsonPlace& place, DWORD& flags) {
        const auto set = [&](const char* name, DWORD bit) {
            const auto given = place.member(name);
            if (given) flags = given->truth() ? flags | bit : flags & ~bit;
        };
        set("attached", DISPLAY_DEVICE_ATTACHED_TO_DESKTOP);
        set("primary", DISPLAY_DEVICE_PRIMARY_DEVICE);
        set("mirroring", DISPLAY_DEVICE_MIRRORING_DRIVER);
    }

    static DisplayMode readMode(const JsonPlace& place) {
        place.allowOnly({"width", "height", "frequency", "bitsPerPixel", "x", "y", "turned"});
        DisplayMode mode;
        const auto pixels = [&](const char* name) {
            return static_cast<DWORD>(
                place.required(name, "pixels").number(1, LargestPlace, "a number of pixels"));
        };
        mode.width = pixels("width");
        mode.height = pixels("height");
        if (const auto hertz = place.member("frequency"))
            mode.frequency = static_cast<DWORD>(hertz->number(0, 10000, "hertz"));
        if (const auto bits = place.member("bitsPerPixel"))
            mode.bitsPerPixel = static_cast<DWORD>(bits->number(1, 64, "bits"));
        if (const auto x = place.member("x")) mode.x = readPlace(*x);
        if (const auto y = place.member("y")) mode.y = readPlace(*y);
        if (const auto turned = place.member("turned")) {
            const unsigned long long degrees = turned->number(0, 270, "0, 90, 180 or 270 degrees");
            if (degrees % 90 != 0) turned->fail("0, 90, 180 or 270 degrees");
            mode.orientation = static_cast<DWORD>(degrees / 90);
        }
        return mode;
    }

    // A place on the desktop may lie left of or above the primary output.
    static LONG readPlace(const JsonPlace& place) {
        const nlohmann::json& json = place.json();
        const long long value = json.is_number_integer() ? json.get<long long>() : LargestPlace + 1ll;
        if (value > LargestPlace || value < -static_cast<long long>(LargestPlace))
            place.fail("a place on the desktop in pixels");
        return static_cast<LONG>(value);
    }

    DisplayMonitor readMonitor(const JsonPlace& place) {
        place.allowOnly({"device", "name", "description", "deviceId", "deviceKey", "interface", "attached"});
        const DeviceNode* const node = readDevice(place, "device");
        DisplayMonitor monitor = node != nullptr ? monitorOf(*node) : DisplayMonitor();
        if (const auto name = place.member("name")) monitor.name = name->text();
        if (const auto path = place.member("interface")) monitor.interfacePath = path->text();
        readTexts(place, monitor);
        if (const auto attached = place.member("attached"); attached && !attached->truth()) monitor.flags = 0;
        return monitor;
    }

    Machine& m_machine;
};

}  // namespace

void readDisplays(const JsonPlace& displays, Machine& machine) {
    DisplayReader reader(machine);
    displays.forEachElement("a list of outputs", [&](const JsonPlace& place) { reader.read(place); });
}

}  // namespace simulation
