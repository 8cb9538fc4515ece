#include "tools/sysmira/displays/DisplaysCommand.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "libSysmira/enumeration/WindowsDisplays.h"
#include "support/Exception.h"
#include "support/HexDumpFormat.h"
#include "support/RaisedException.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/ResultFile.h"
#include "tools/sysmira/displays/DesktopPicture.h"
#include "tools/sysmira/displays/Edid.h"
#include "tools/sysmira/displays/EdidText.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::WindowsDisplay;
using libSysmira::WindowsDisplays;

namespace {

constexpr unsigned indentWidth = 3;

struct DisplayFacts {
    const WindowsDisplay* display = nullptr;
    std::optional<DEVMODEW> mode;
    zor::Buffer<unsigned char> edid;
    const char* edidSource = nullptr;  ///< null: there is none
    std::string failure;               ///< of asking WMI
};

zor::String textOf(const WCHAR* field, unsigned units) {
    unsigned length = 0;
    while (length < units && field[length] != 0) ++length;
    return {field, length};
}

// "DISPLAY1" of "\\.\DISPLAY1".
std::string shortPortName(const WindowsDisplay& display) {
    const std::string name = toUtf8(display.portName());
    return name.compare(0, 4, "\\\\.\\") == 0 ? name.substr(4) : name;
}

// By the library's choice of source; where WMI cannot be used at all, from the registry.
void readEdid(DisplayFacts& facts) {
    zor::Buffer<unsigned char> inRegistry;
    const bool isInRegistry = facts.display->getEDID(inRegistry, WindowsDisplay::EDIDSourceRegistry);
    bool found = false;
    try {
        found = facts.display->getEDID(facts.edid, WindowsDisplay::EDIDSourceAny);
    } catch (const zor::Exception& exception) {
        facts.failure = exception.what();
    } catch (const zor::RaisedException&) {
        facts.failure = "WMI gave nothing where it said that it would";
    }
    if (!facts.failure.empty()) {
        found = isInRegistry;
        facts.edid = inRegistry;
    }
    if (found) facts.edidSource = isInRegistry && facts.edid == inRegistry ? "registry" : "WMI";
}

DisplayFacts readFacts(const WindowsDisplay& display) {
    DisplayFacts facts;
    facts.display = &display;
    DEVMODEW mode;
    // Some systems succeed without telling one.
    if (display.getCurrentMode(mode) && mode.dmPelsWidth != 0 && mode.dmPelsHeight != 0) facts.mode = mode;
    readEdid(facts);
    return facts;
}

unsigned findDisplay(const WindowsDisplays& displays, const std::string& name) {
    const zor::String text = zor::String::fromUTF8(name);
    unsigned index = displays.findByPortLocator(text);
    if (index == zor::NotFound) index = displays.findByPortLocator("\\\\.\\" + text);
    if (index == zor::NotFound) index = displays.findyByDisplayName(text);
    if (index == zor::NotFound && !text.empty()) index = displays.findyByDisplaypath(text);
    for (unsigned i = 0; index == zor::NotFound && i < displays.size(); ++i) {
        if (displays[i].getDeviceInstanceId().compareNoCase(text) == 0) index = i;
    }
    if (index == zor::NotFound)
        throw CommandFailure(NotRead, "there is no display \"" + name + "\" on the desktop");
    return index;
}

std::vector<DisplayFacts> readFacts(const WindowsDisplays& displays, const std::string& name) {
    std::vector<DisplayFacts> facts;
    if (!name.empty()) {
        facts.push_back(readFacts(displays[findDisplay(displays, name)]));
        return facts;
    }
    for (unsigned i = 0; i < displays.size(); ++i) facts.push_back(readFacts(displays[i]));
    return facts;
}

bool isPrimary(const DisplayFacts& facts) {
    return (facts.display->portInfo().StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0;
}

unsigned degreesTurned(const DEVMODEW& mode) { return mode.dmDisplayOrientation % 4 * 90; }

// The report with its values made printable.
std::string reportOf(const WindowsDisplay& display) {
    zor::String name;
    display.getDisplayName(name, "UNSET");
    std::vector<ReportField> fields = {{"Display Name       : ", name},
                                       {"DeviceInstanceID   : ", display.getDeviceInstanceId()},
                                       {"OS Locator         : ", display.getOsLocator()}};
    for (const DISPLAY_DEVICEW* const device : {&display.portInfo(), &display.displayInfo()}) {
        fields.push_back({"Name            : ", textOf(device->DeviceName, 32)});
        fields.push_back({"Device String   : ", textOf(device->DeviceString, 128)});
        fields.push_back({"Device ID       : ", textOf(device->DeviceID, 128)});
        fields.push_back({"Device Key      : ", textOf(device->DeviceKey, 128)});
    }
    return printableReport(display.toString(/*flags=*/0, /*indentLevel=*/0, indentWidth), fields);
}

std::string describeMode(const DisplayFacts& facts) {
    if (!facts.mode) return "not known";
    const DEVMODEW& mode = *facts.mode;
    std::string text = std::to_string(mode.dmPelsWidth) + " x " + std::to_string(mode.dmPelsHeight);
    // 0 and 1 stand for whatever the hardware does.
    if (mode.dmDisplayFrequency > 1) text += ", " + std::to_string(mode.dmDisplayFrequency) + " Hz";
    text += ", " + std::to_string(mode.dmBitsPerPel) + " bits per pixel, at " +
            std::to_string(mode.dmPosition.x) + ", " + std::to_string(mode.dmPosition.y);
    if (degreesTurned(mode) != 0) text += ", turned by " + std::to_string(degreesTurned(mode)) + " degrees";
    if (isPrimary(facts)) text += ", primary";
    return text;
}

std::string toText(const DisplayFacts& facts, bool withEdid) {
    std::string text = reportOf(*facts.display);
    text += "\nCurrent Mode       : " + describeMode(facts) + "\n";
    text += "EDID               : ";
    if (facts.edidSource == nullptr) return text + "none\n";
    text += std::to_string(facts.edid.size()) + " bytes from " +
            (std::string_view(facts.edidSource) == "WMI" ? "WMI" : "the registry") + "\n";
    if (!withEdid) return text;
    text += toUtf8(zor::HexDumpFormat(facts.edid, indentWidth).toString());
    return text + toText(decodeEdid(facts.edid.data(), facts.edid.size()), indentWidth);
}

Json toJson(const DISPLAY_DEVICEW& device) {
    return {{"name", toUtf8(textOf(device.DeviceName, 32))},
            {"description", toUtf8(textOf(device.DeviceString, 128))},
            {"deviceId", toUtf8(textOf(device.DeviceID, 128))},
            {"deviceKey", toUtf8(textOf(device.DeviceKey, 128))}};
}

Json toJson(const DEVMODEW& mode) {
    return {{"width", mode.dmPelsWidth},
            {"height", mode.dmPelsHeight},
            {"refreshHz", mode.dmDisplayFrequency},
            {"bitsPerPixel", mode.dmBitsPerPel},
            {"x", mode.dmPosition.x},
            {"y", mode.dmPosition.y},
            {"turnedDegrees", degreesTurned(mode)}};
}

std::string toHex(const zor::Buffer<unsigned char>& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

Json toJson(const DisplayFacts& facts, bool withEdid) {
    zor::String name;
    facts.display->getDisplayName(name, "");
    Json json;
    json["name"] = toUtf8(name);
    json["id"] = toUtf8(facts.display->getDeviceInstanceId());
    json["locator"] = toUtf8(facts.display->getOsLocator());
    json["port"] = toJson(facts.display->portInfo());
    json["monitor"] = toJson(facts.display->displayInfo());
    json["primary"] = isPrimary(facts);
    json["mode"] = nullptr;
    if (facts.mode) json["mode"] = toJson(*facts.mode);
    json["edid"] = nullptr;
    if (facts.edidSource != nullptr) {
        json["edid"] = {{"source", facts.edidSource}, {"size", facts.edid.size()}};
        if (withEdid) {
            json["edid"]["bytes"] = toHex(facts.edid);
            json["edid"]["contents"] = toJson(decodeEdid(facts.edid.data(), facts.edid.size()));
        }
    }
    return json;
}

std::vector<std::string> pictureOf(const std::vector<DisplayFacts>& all) {
    std::vector<DesktopScreen> screens;
    for (const DisplayFacts& facts : all) {
        if (!facts.mode) continue;
        const DEVMODEW& mode = *facts.mode;
        DesktopScreen screen;
        screen.x = mode.dmPosition.x;
        screen.y = mode.dmPosition.y;
        screen.width = mode.dmPelsWidth;
        screen.height = mode.dmPelsHeight;
        screen.name = shortPortName(*facts.display);
        screen.remarks = {std::to_string(mode.dmPelsWidth) + " x " + std::to_string(mode.dmPelsHeight)};
        if (isPrimary(facts)) screen.remarks.push_back("primary");
        screens.push_back(std::move(screen));
    }
    return drawDesktop(screens);
}

void writeEdidFile(const std::vector<DisplayFacts>& all, const std::string& file) {
    if (all.size() != 1) {
        throw CommandFailure(WrongUsage,
                             "\"--edid-file\" takes one display, there are " + std::to_string(all.size()) +
                                 "; name one, as in: sysmira displays DISPLAY1 --edid-file monitor.bin");
    }
    const zor::Buffer<unsigned char>& edid = all.front().edid;
    if (all.front().edidSource == nullptr) return;  // said at the end
    ResultFile(file).write({reinterpret_cast<const char*>(edid.data()), edid.size()});
}

void print(const std::vector<DisplayFacts>& all, const DisplaysRequest& request, Output& output) {
    if (output.wantsJson()) {
        Json displays = Json::array();
        for (const DisplayFacts& facts : all) displays.push_back(toJson(facts, request.edid));
        Json document = {{"displays", std::move(displays)}};
        if (request.picture) document["picture"] = pictureOf(all);
        return output.printDocument(document);
    }
    if (request.picture) {
        std::string text;
        for (const std::string& line : pictureOf(all)) text += line + "\n";
        // With --edid the details follow.
        if (!request.edid) return output.print(text);
        output.print(text + "\n");
    }
    std::string text;
    for (std::size_t i = 0; i < all.size(); ++i) {
        text += "--------------- Display[" + std::to_string(i) + "] ---------------\n" +
                toText(all[i], request.edid) + "\n";
    }
    output.print(text);
}

}  // namespace

void runDisplays(const DisplaysRequest& request, Output& output) {
    const WindowsDisplays displays;
    const std::vector<DisplayFacts> all = readFacts(displays, request.name);
    if (!request.edidFile.empty()) writeEdidFile(all, request.edidFile);
    if (all.empty() && !output.wantsJson()) return output.remark("no monitor is attached to the desktop");
    print(all, request, output);

    std::string without;
    for (const DisplayFacts& facts : all) {
        if (!facts.failure.empty()) {
            output.remark("WMI cannot be asked for the EDID of " + shortPortName(*facts.display) + ": " +
                          facts.failure);
        }
        if (facts.edidSource == nullptr)
            without += (without.empty() ? "" : ", ") + shortPortName(*facts.display);
    }
    if (!without.empty() && (request.edid || !request.edidFile.empty()))
        throw CommandFailure(NotRead, "no EDID can be read of " + without);
}

}  // namespace sysmira
