#include "tools/sysmira/report/SectionLayouts.h"

#include <algorithm>
#include <map>
#include <set>

#include "tools/sysmira/devices/Problems.h"
#include "tools/sysmira/report/ReportCells.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

using Blocks = std::vector<ReportBlock>;

ReportParagraph paragraph(ReportText text, ReportMood mood = ReportMood::Plain) {
    return {std::move(text), mood};
}

ReportGroup group(ReportText title, bool open = false) {
    ReportGroup made;
    made.title = std::move(title);
    made.open = open;
    return made;
}

// System ----------------------------------------------------------------------------------------------------

// The properties of the first object of a query.
JsonPath firstOf(const JsonPath& piece) { return piece["objects"][std::size_t(0)]["properties"]; }

ReportText property(const JsonPath& properties, const char* name) {
    return textCell(properties[name]["value"]);
}

// WMI's "20260529160108.500000+120" as a time of its zone.
ReportText wmiTime(const JsonPath& place) {
    const std::string text = place.toText();
    if (text.size() != 25 || !std::all_of(text.begin(), text.begin() + 14,
                                          [](unsigned char each) { return each >= '0' && each <= '9'; })) {
        return textCell(place);
    }
    return ReportSpan{text.substr(0, 4) + "-" + text.substr(4, 2) + "-" + text.substr(6, 2) + " " +
                          text.substr(8, 2) + ":" + text.substr(10, 2) + ":" + text.substr(12, 2),
                      place.pointer(), text};
}

ReportFacts systemFacts(const JsonPath& data) {
    ReportFacts facts;
    if (const JsonPath system = firstOf(data["operatingSystem"]); system.exists()) {
        facts.add("Windows", property(system, "Caption") + ", version " + property(system, "Version"));
        facts.add("Name", property(system, "CSName"));
        facts.add("Memory for Windows", numberCell(system["TotalVisibleMemorySize"]["value"]) + " KB");
        facts.add("Started", wmiTime(system["LastBootUpTime"]["value"]));
    }
    if (const JsonPath computer = firstOf(data["computer"]); computer.exists())
        facts.add("Computer", property(computer, "Manufacturer") + ", " + property(computer, "Model"));
    if (const JsonPath board = firstOf(data["mainboard"]); board.exists())
        facts.add("Mainboard", property(board, "Manufacturer") + ", " + property(board, "Product"));
    if (const JsonPath bios = firstOf(data["firmware"]); bios.exists())
        facts.add("Firmware", property(bios, "Manufacturer") + ", " + property(bios, "SMBIOSBIOSVersion"));
    for (const JsonPath& object : data["processors"]["objects"].items()) {
        const JsonPath processor = object["properties"];
        facts.add("Processor", property(processor, "Name") +
                                   ", cores: " + numberCell(processor["NumberOfCores"]["value"]));
    }
    for (const JsonPath& object : data["memory"]["objects"].items()) {
        const JsonPath module = object["properties"];
        facts.add("Memory module", sizeCell(module["Capacity"]["value"]) + ", " +
                                       property(module, "DeviceLocator") + ", " +
                                       property(module, "Manufacturer"));
    }
    return facts;
}

// All that an object says of itself.
ReportGroup allProperties(const char* title, const JsonPath& object) {
    ReportGroup all = group(ReportText(title) + ": all that WMI tells");
    ReportFacts facts;
    const JsonPath properties = object["properties"];
    if (properties.exists()) {
        for (const auto& [name, entry] : properties.value()->items()) {
            const JsonPath value = properties[name]["value"];
            if (!value.isNull()) facts.add(printable(name), anyCell(value));
        }
    }
    all.blocks.emplace_back(std::move(facts));
    return all;
}

Blocks layOutSystem(const JsonPath& data) {
    Blocks blocks;
    if (ReportFacts facts = systemFacts(data); !facts.facts.empty()) blocks.emplace_back(std::move(facts));
    constexpr std::pair<const char*, const char*> pieces[] = {
        {"operatingSystem", "Windows"}, {"computer", "Computer"},    {"mainboard", "Mainboard"},
        {"firmware", "Firmware"},       {"processors", "Processor"}, {"memory", "Memory module"}};
    for (const auto& [piece, title] : pieces) {
        for (const JsonPath& object : data[piece]["objects"].items())
            blocks.emplace_back(allProperties(title, object));
    }
    return blocks;
}

// Devices ---------------------------------------------------------------------------------------------------

ReportText deviceName(const JsonPath& device) {
    for (const char* key : {"name", "friendlyName", "description"}) {
        zor::String name = zor::String::fromUTF8(device[key].toText());
        if (!name.trim().empty())
            return ReportSpan{printable(name), device[key].pointer(), device[key].toText()};
    }
    return device["parent"].isNull() && device["depth"].exists() ? "This PC" : "(no name)";
}

// Disabled ones last: somebody wanted them so.
ReportTable problemTable(const std::vector<JsonPath>& devices) {
    ReportTable table;
    table.caption = "Devices with a problem";
    table.columns = {{"Device"}, {"Problem", true}, {"Meaning"}, {"Device ID"}};
    for (const bool disabled : {false, true}) {
        for (const JsonPath& device : devices) {
            const JsonPath problem = device["problem"];
            if (problem.isNull() || device["disabled"].isTrue() != disabled) continue;
            table.rows.push_back({deviceName(device), plainCell(problem["number"]),
                                  textCell(problem["meaning"]), textCell(device["id"])});
        }
    }
    return table;
}

ReportTree::Item treeItem(const JsonPath& device) {
    ReportTree::Item item;
    item.name = deviceName(device);
    item.id = textCell(device["id"]);
    if (device["hidden"].isTrue()) item.marks = "hidden";
    std::string trouble;
    if (device["disabled"].isTrue()) {
        trouble = "disabled";
        item.mood = ReportMood::Warning;
    } else if (!device["problem"].isNull()) {
        trouble = "problem " + std::to_string(device["problem"]["number"].toNumber<unsigned>());
        item.mood = ReportMood::Bad;
    }
    item.marks += (item.marks.empty() || trouble.empty() ? "" : ", ") + trouble;
    return item;
}

ReportTree deviceTree(const std::vector<JsonPath>& devices) {
    ReportTree tree;
    std::map<std::string, std::size_t> indices;
    for (const JsonPath& device : devices) {
        ReportTree::Item item = treeItem(device);
        if (const auto parent = indices.find(device["parent"].toText()); parent != indices.end())
            item.parent = parent->second;
        indices.emplace(device["id"].toText(), tree.items.size());
        tree.items.push_back(std::move(item));
    }
    return tree;
}

ReportText countsOf(const std::vector<JsonPath>& devices) {
    std::size_t hidden = 0, disabled = 0, troubled = 0;
    for (const JsonPath& device : devices) {
        hidden += device["hidden"].isTrue() ? 1 : 0;
        disabled += device["disabled"].isTrue() ? 1 : 0;
        troubled += !device["problem"].isNull() && !device["disabled"].isTrue() ? 1 : 0;
    }
    return std::to_string(devices.size()) + " devices: " + std::to_string(hidden) + " hidden, " +
           std::to_string(disabled) + " disabled, " + std::to_string(troubled) + " with problems";
}

Blocks layOutDevices(const JsonPath& data) {
    Blocks blocks;
    const bool hasTree = data["tree"].exists();
    const std::vector<JsonPath> devices = data[hasTree ? "tree" : "list"]["devices"].items();
    if (!hasTree && !data["list"].exists()) return blocks;
    blocks.emplace_back(paragraph(countsOf(devices)));
    if (ReportTable problems = problemTable(devices); problems.rows.empty()) {
        blocks.emplace_back(paragraph("No device has a problem.", ReportMood::Good));
    } else {
        blocks.emplace_back(std::move(problems));
    }
    blocks.emplace_back(deviceTree(devices));
    return blocks;
}

// Drives ----------------------------------------------------------------------------------------------------

DriveMap driveMapOf(const JsonPath& map) {
    DriveMap made;
    made.length = map["length"].toNumber<unsigned long long>();
    made.partitionsTold = map["partitionsTold"].isTrue();
    for (const JsonPath& region : map["regions"].items()) {
        MapRegion one;
        if (region["partition"].isNumber()) one.partition = region["partition"].toNumber<unsigned>();
        one.type = printable(region["type"].toText());
        one.volume = printable(region["volume"].toText());
        one.fileSystem = printable(region["fileSystem"].toText());
        one.offset = region["offset"].toNumber<unsigned long long>();
        one.length = region["length"].toNumber<unsigned long long>();
        one.whyUnknown = printable(region["whyUseUnknown"].toText());
        if (region["used"].isNumber()) one.used = region["used"].toNumber<double>();
        for (const JsonPath& cell : region["cells"].items())
            one.cells.push_back(cell.isNumber() ? MapCell(cell.toNumber<double>()) : std::nullopt);
        made.regions.push_back(std::move(one));
    }
    return made;
}

ReportFacts driveFacts(const JsonPath& drive) {
    ReportFacts facts;
    facts.add("Windows' name", textCell(drive["windowsName"]));
    facts.add("Vendor", textCell(drive["vendor"]));
    facts.add("Product", textCell(drive["product"]));
    facts.add("Revision", textCell(drive["revision"]));
    facts.add("Serial number", textCell(drive["serialNumber"]));
    facts.add("Bus", textCell(drive["bus"]));
    facts.add("Device type", textCell(drive["deviceType"]));
    facts.add("Media", textCell(drive["media"]));
    facts.add("Capacity", sizeCell(drive["capacity"], /*full=*/true));
    facts.add("Sectors", drive["sectorCount"].isNull() ? "-"
                                                       : numberCell(drive["sectorCount"]) + " of " +
                                                             numberCell(drive["sectorSize"]) + " bytes");
    if (const JsonPath address = drive["scsiAddress"]; !address.isNull()) {
        facts.add("SCSI address", "port " + numberCell(address["port"]) + ", path " +
                                      numberCell(address["path"]) + ", target " +
                                      numberCell(address["target"]) + ", LUN " + numberCell(address["lun"]));
    }
    facts.add("Read-only", yesNoCell(drive["readOnly"]));
    facts.add("Offline", yesNoCell(drive["offline"]));
    facts.add("Roles", listCell(drive["roles"]));
    if (!drive["partsOf"].items().empty()) facts.add("Holds a part of", listCell(drive["partsOf"]));
    facts.add("Device ID", textCell(drive["deviceId"]));
    facts.add("OS locator", textCell(drive["osLocator"]));
    return facts;
}

ReportText volumeName(const JsonPath& volume) {
    const bool hasLabel = !volume["label"].toText().empty();
    if (volume["letter"].isNull())
        return (hasLabel ? textCell(volume["label"]) : ReportText("(no name)")) + " (no letter)";
    ReportText name = textCell(volume["letter"]) + ":";
    if (hasLabel) name += " " + textCell(volume["label"]);
    return name;
}

ReportTable volumeTable(const JsonPath& volumes) {
    ReportTable table;
    table.caption = "Volumes";
    table.columns = {{"Volume"}, {"File system"}, {"Capacity", true}, {"Used", true}, {"Free", true}};
    std::set<std::string> known;
    for (const JsonPath& volume : volumes.items()) {
        ReportText name = volumeName(volume);
        // A hidden volume with a name has two entries, of which the second goes by the path of its device.
        const std::string ownName = volume["volumeName"].toText();
        if (!ownName.empty() && !known.insert(ownName).second) name += ", the same by its device";
        table.rows.push_back(
            {std::move(name), textCell(volume["fileSystem"]), sizeCell(volume["totalBytes"], /*full=*/false),
             sizeCell(volume["usedBytes"], /*full=*/false), sizeCell(volume["freeBytes"], /*full=*/false)});
    }
    return table;
}

ReportGroup driveGroup(const JsonPath& drive, const JsonPath& data) {
    const std::string index = plainCell(drive["index"]).plain();
    ReportText title = "Drive " + plainCell(drive["index"]) + ":";
    for (const char* key : {"vendor", "product"}) {
        if (!drive[key].toText().empty()) title += " " + textCell(drive[key]);
    }
    ReportGroup one = group(title, /*open=*/true);
    if (drive["opened"].value() != nullptr && *drive["opened"].value() == false)
        one.blocks.emplace_back(paragraph("It cannot be opened.", ReportMood::Bad));
    if (const JsonPath map = data["map of drive " + index]["map"]; map.exists())
        one.blocks.emplace_back(ReportDisk{title.plain(), driveMapOf(map), map.pointer()});
    if (!drive["volumes"].items().empty()) one.blocks.emplace_back(volumeTable(drive["volumes"]));
    ReportGroup all = group("Details of drive " + index);
    all.blocks.emplace_back(driveFacts(drive));
    one.blocks.emplace_back(std::move(all));
    return one;
}

ReportGroup volumeGroup(const JsonPath& volume) {
    ReportFacts facts;
    facts.add("File system", textCell(volume["fileSystem"]));
    facts.add("Serial number", textCell(volume["serialNumber"]));
    facts.add("Capacity", sizeCell(volume["totalBytes"], /*full=*/true));
    facts.add("Used", sizeCell(volume["usedBytes"], /*full=*/true));
    facts.add("Free", sizeCell(volume["freeBytes"], /*full=*/true));
    facts.add("Cluster", volume["bytesPerSector"].isNull()
                             ? "-"
                             : numberCell(volume["sectorsPerCluster"]) + " sectors of " +
                                   numberCell(volume["bytesPerSector"]) + " bytes");
    facts.add("Type", textCell(volume["type"]));
    facts.add("Flags", listCell(volume["flags"]));
    facts.add("Encrypted", volume["encrypted"].isNull()
                               ? "not known: " + textCell(volume["whyEncryptionUnknown"])
                               : yesNoCell(volume["encrypted"]));
    for (const JsonPath& extent : volume["extents"].items()) {
        facts.add("Lies on", "disk " + plainCell(extent["disk"]) + ": " + numberCell(extent["length"]) +
                                 " bytes from " + numberCell(extent["offset"]));
    }
    facts.add("Volume name", textCell(volume["volumeName"]));
    facts.add("OS locator", textCell(volume["osLocator"]));
    ReportGroup one = group("Volume " + volumeName(volume));
    one.blocks.emplace_back(std::move(facts));
    return one;
}

Blocks layOutDrives(const JsonPath& data) {
    Blocks blocks;
    const JsonPath drives = data["drives"]["drives"];
    if (drives.exists() && drives.items().empty()) blocks.emplace_back(paragraph("Windows lists no drives."));
    for (const JsonPath& drive : drives.items()) blocks.emplace_back(driveGroup(drive, data));
    if (!data["volumes"].exists()) return blocks;
    ReportGroup all = group("All volumes", /*open=*/true);
    if (data["volumes"]["volumes"].items().empty())
        all.blocks.emplace_back(paragraph("Windows lists no volumes."));
    for (const JsonPath& volume : data["volumes"]["volumes"].items())
        all.blocks.emplace_back(volumeGroup(volume));
    blocks.emplace_back(std::move(all));
    return blocks;
}

// Displays --------------------------------------------------------------------------------------------------

ReportText shortPort(const JsonPath& display) {
    ReportText port = textCell(display["port"]["name"]);
    const std::string text = port.plain();
    return text.compare(0, 4, "\\\\.\\") == 0 ? ReportText(text.substr(4)) : port;
}

ReportText timingText(const JsonPath& timing) {
    ReportText text = plainCell(timing["width"]) + " x " + plainCell(timing["height"]) +
                      (timing["interlaced"].isTrue() ? " interlaced" : "") + " at " +
                      numberCell(timing["refreshHz"]) + " Hz";
    if (timing["pixelClockHz"].toNumber<double>() > 0)
        text += ", " + numberCell(timing["pixelClockHz"]) + " pixels a second";
    if (timing["widthMm"].toNumber<unsigned>() != 0)
        text += ", " + plainCell(timing["widthMm"]) + " mm x " + plainCell(timing["heightMm"]) + " mm";
    return text;
}

ReportText timingsText(const JsonPath& timings) {
    ReportText text;
    for (const JsonPath& timing : timings.items()) text += (text.empty() ? "" : "; ") + timingText(timing);
    return text.empty() ? "-" : text;
}

void addEdidFacts(const JsonPath& edid, ReportFacts& facts) {
    facts.add("Maker and product", textCell(edid["manufacturer"]) + " " + plainCell(edid["product"]));
    facts.add("Monitor's name", textCell(edid["name"]));
    ReportText serial = textCell(edid["serialText"]);
    if (!edid["serialNumber"].isNull()) serial += " (" + plainCell(edid["serialNumber"]) + ")";
    facts.add("Serial number", serial);
    facts.add(edid["isModelYear"].isTrue() ? "Model of" : "Made in", plainCell(edid["year"]));
    facts.add("Size", plainCell(edid["widthCm"]) + " cm x " + plainCell(edid["heightCm"]) + " cm");
    facts.add("Input", (edid["digital"].isTrue() ? "digital, " : "analog, ") + textCell(edid["interface"]));
    facts.add("Bits per color", numberCell(edid["bitsPerColor"]));
    facts.add("Gamma", numberCell(edid["gamma"]));
    if (const JsonPath range = edid["range"]; !range.isNull()) {
        facts.add("Range", numberCell(range["minVerticalHz"]) + " to " + numberCell(range["maxVerticalHz"]) +
                               " Hz, " + numberCell(range["minHorizontalKhz"]) + " to " +
                               numberCell(range["maxHorizontalKhz"]) + " kHz");
    }
    facts.add("Detailed timings", timingsText(edid["detailedTimings"]));
    facts.add("Standard timings", timingsText(edid["standardTimings"]));
    facts.add("Established timings", timingsText(edid["establishedTimings"]));
    facts.add("EDID version", textCell(edid["version"]));
    for (const JsonPath& block : edid["blocks"].items()) facts.add("Block", textCell(block["kind"]));
    for (const JsonPath& problem : edid["problems"].items()) facts.add("Problem", textCell(problem));
}

ReportGroup displayGroup(const JsonPath& display) {
    ReportFacts facts;
    facts.add("Monitor", textCell(display["name"]));
    facts.add("Connected to",
              textCell(display["port"]["name"]) + ", " + textCell(display["port"]["description"]));
    if (const JsonPath mode = display["mode"]; mode.isNull()) {
        facts.add("Mode", "not known");
    } else {
        ReportText text = plainCell(mode["width"]) + " x " + plainCell(mode["height"]);
        // 0 and 1 stand for whatever the hardware does.
        if (mode["refreshHz"].toNumber<unsigned>() > 1) text += ", " + numberCell(mode["refreshHz"]) + " Hz";
        facts.add("Mode", text + ", " + numberCell(mode["bitsPerPixel"]) + " bits per pixel");
        facts.add("Place", "at " + plainCell(mode["x"]) + ", " + plainCell(mode["y"]) + ", turned by " +
                               numberCell(mode["turnedDegrees"]) + " degrees");
    }
    facts.add("Primary", yesNoCell(display["primary"]));
    if (const JsonPath edid = display["edid"]; edid.isNull()) {
        facts.add("EDID", "none");
    } else {
        facts.add("EDID", numberCell(edid["size"]) + " bytes from " +
                              (edid["source"].toText() == "WMI" ? "WMI" : "the registry"));
        addEdidFacts(edid["contents"], facts);
    }
    facts.add("Device ID", textCell(display["id"]));
    facts.add("OS locator", textCell(display["locator"]));
    ReportGroup one = group(shortPort(display) + ": " + textCell(display["name"]));
    one.blocks.emplace_back(std::move(facts));
    return one;
}

ReportDesktop desktopOf(const std::vector<JsonPath>& displays) {
    ReportDesktop desktop;
    for (const JsonPath& display : displays) {
        const JsonPath mode = display["mode"];
        if (mode.isNull()) continue;
        DesktopScreen screen;
        screen.x = mode["x"].toNumber<long long>();
        screen.y = mode["y"].toNumber<long long>();
        screen.width = mode["width"].toNumber<long long>();
        screen.height = mode["height"].toNumber<long long>();
        screen.name = shortPort(display).plain();
        screen.remarks.push_back(textCell(display["name"]).plain());
        screen.remarks.push_back(plainCell(mode["width"]).plain() + " x " +
                                 plainCell(mode["height"]).plain());
        const JsonPath edid = display["edid"]["contents"];
        if (edid["widthCm"].isNumber() && edid["heightCm"].isNumber()) {
            screen.remarks.push_back(plainCell(edid["widthCm"]).plain() + " x " +
                                     plainCell(edid["heightCm"]).plain() + " cm");
        }
        if (display["primary"].isTrue()) screen.remarks.push_back("primary");
        desktop.screens.push_back(std::move(screen));
    }
    return desktop;
}

Blocks layOutDisplays(const JsonPath& data) {
    Blocks blocks;
    if (!data["displays"].exists()) return blocks;
    const std::vector<JsonPath> displays = data["displays"]["displays"].items();
    if (displays.empty()) blocks.emplace_back(paragraph("No monitor is attached to the desktop."));
    if (ReportDesktop desktop = desktopOf(displays); !desktop.screens.empty())
        blocks.emplace_back(std::move(desktop));
    for (const JsonPath& display : displays) blocks.emplace_back(displayGroup(display));
    return blocks;
}

// Diagnostics -----------------------------------------------------------------------------------------------

Blocks layOutDiagnostics(const JsonPath& data) {
    Blocks blocks;
    const JsonPath results = data["results"];
    if (!results.exists()) return blocks;
    ReportTable failures;
    failures.caption = "Disks that are about to fail";
    failures.columns = {{"Time"}, {"Disk"}, {"Volumes"}, {"Hardware ID"}};
    for (const JsonPath& each : results["diskFailures"].items()) {
        failures.rows.push_back({timeCell(each["time"]), textCell(each["disk"]), textCell(each["volumes"]),
                                 textCell(each["hardwareId"])});
    }
    if (failures.rows.empty()) {
        blocks.emplace_back(paragraph("No failure of a disk was predicted."));
    } else {
        blocks.emplace_back(std::move(failures));
    }
    ReportTable tests;
    tests.caption = "Memory tests";
    tests.columns = {{"Time"},           {"Passed"},   {"Duration", true}, {"Pages tested", true},
                     {"Untested", true}, {"Bad", true}};
    for (const JsonPath& each : results["memoryTests"].items()) {
        tests.rows.push_back({timeCell(each["time"]), yesNoCell(each["passed"]),
                              numberCell(each["testDuration"]), numberCell(each["pagesTested"]),
                              numberCell(each["pagesUntested"]), numberCell(each["badPages"])});
    }
    if (tests.rows.empty()) {
        blocks.emplace_back(paragraph("No memory test has left a result."));
    } else {
        blocks.emplace_back(std::move(tests));
    }
    return blocks;
}

// Events ----------------------------------------------------------------------------------------------------

ReportGroup errorGroup(const JsonPath& event) {
    ReportGroup one = group(timeCell(event["time"]) + "  " + textCell(event["source"]) + ", code " +
                            plainCell(event["code"]));
    if (!event["message"].isNull()) {
        one.blocks.emplace_back(paragraph(linesCell(event["message"])));
    } else {
        one.blocks.emplace_back(
            paragraph("Windows has no message for it; its texts: " + listCell(event["strings"])));
    }
    return one;
}

ReportGroup logGroup(const JsonPath& log) {
    ReportGroup one = group("Log " + textCell(log["log"]), /*open=*/true);
    ReportFacts facts;
    facts.add("Records", numberCell(log["records"]));
    facts.add("Oldest", timeCell(log["first"]));
    facts.add("Newest", timeCell(log["last"]));
    facts.add("Errors among them", numberCell(log["errors"]));
    one.blocks.emplace_back(std::move(facts));
    ReportDays days;
    days.caption = "Events by day (UTC)";
    for (const JsonPath& each : log["days"].items()) {
        days.days.push_back({textCell(each["day"]), numberCell(each["errors"]), numberCell(each["warnings"]),
                             numberCell(each["others"]), each["errors"].toNumber<double>(),
                             each["warnings"].toNumber<double>(), each["others"].toNumber<double>()});
    }
    if (!days.days.empty()) one.blocks.emplace_back(std::move(days));
    const std::vector<JsonPath> errors = log["latestErrors"].items();
    one.blocks.emplace_back(paragraph(errors.empty()
                                          ? "There are no errors."
                                          : "The latest " + std::to_string(errors.size()) + " errors:"));
    for (const JsonPath& event : errors) one.blocks.emplace_back(errorGroup(event));
    return one;
}

Blocks layOutEvents(const JsonPath& data) {
    Blocks blocks;
    for (const char* log : {"System", "Application"}) {
        if (data[log].exists()) blocks.emplace_back(logGroup(data[log]));
    }
    return blocks;
}

// Counters --------------------------------------------------------------------------------------------------

Blocks layOutCounters(const JsonPath& data) {
    Blocks blocks;
    const std::vector<JsonPath> samples = data["samples"].items();
    const std::size_t count = samples.empty() ? 0 : samples.front()["counters"].items().size();
    for (std::size_t i = 0; i < count; ++i) {
        ReportSeries series;
        series.name = textCell(samples.front()["counters"][i]["counter"]);
        series.last = series.least = series.greatest = "-";
        double least = 0, greatest = 0;
        for (const JsonPath& sample : samples) {
            const JsonPath value = sample["counters"][i]["value"];
            series.values.push_back(value.isNumber() ? std::optional(value.toNumber<double>())
                                                     : std::nullopt);
            if (!value.isNumber()) continue;
            const bool isFirst = series.last.plain() == "-";
            series.last = numberCell(value);
            if (isFirst || *series.values.back() < least) series.least = numberCell(value);
            if (isFirst || *series.values.back() > greatest) series.greatest = numberCell(value);
            least = isFirst ? *series.values.back() : std::min(least, *series.values.back());
            greatest = isFirst ? *series.values.back() : std::max(greatest, *series.values.back());
        }
        blocks.emplace_back(std::move(series));
    }
    if (const JsonPath objects = data["objects"]["objects"]; objects.exists()) {
        ReportGroup all = group("Objects that have counters: " + std::to_string(objects.items().size()));
        ReportText names;
        for (const JsonPath& object : objects.items())
            names += (names.empty() ? "" : "\n") + textCell(object["name"]);
        all.blocks.emplace_back(paragraph(names));
        blocks.emplace_back(std::move(all));
    }
    return blocks;
}

}  // namespace

std::vector<ReportBlock> layOutSection(const std::string& name, const JsonPath& data) {
    constexpr std::pair<const char*, Blocks (*)(const JsonPath&)> layouts[] = {
        {"system", &layOutSystem},     {"devices", &layOutDevices},         {"drives", &layOutDrives},
        {"displays", &layOutDisplays}, {"diagnostics", &layOutDiagnostics}, {"events", &layOutEvents},
        {"counters", &layOutCounters}};
    for (const auto& [known, layout] : layouts) {
        if (name == known) return layout(data);
    }
    return {};
}

}  // namespace sysmira
