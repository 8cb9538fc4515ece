#include "tools/sysmira/report/ReportLayout.h"

#include <nlohmann/json.hpp>

#include "support/SprintfFormat.h"
#include "tools/sysmira/report/JsonPath.h"
#include "tools/sysmira/report/ReportCells.h"
#include "tools/sysmira/report/SectionLayouts.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

struct StatusName {
    const char* status;
    const char* words;
    ReportMood mood;
};
constexpr StatusName statusNames[] = {{"complete", "complete", ReportMood::Good},
                                      {"partial", "partial", ReportMood::Warning},
                                      {"notSupported", "not supported here", ReportMood::Warning},
                                      {"denied", "denied", ReportMood::Bad},
                                      {"failed", "failed", ReportMood::Bad}};

std::string durationText(double milliseconds) {
    return toUtf8(milliseconds < 1000 ? zor::SprintfFormat("%.0f ms", milliseconds)
                                      : zor::SprintfFormat("%.1f s", milliseconds / 1000));
}

ReportPart layOutPart(const JsonPath& section) {
    ReportPart part;
    part.name = section["name"].toText();
    part.title = printable(section["title"].toText());
    for (const StatusName& known : statusNames) {
        if (section["status"].toText() != known.status) continue;
        part.status = known.words;
        part.mood = known.mood;
    }
    part.duration = durationText(section["milliseconds"].toNumber<double>());
    for (const JsonPath& reason : section["reasons"].items()) part.reasons.push_back(textCell(reason));
    part.blocks = layOutSection(part.name, section["data"]);
    return part;
}

std::string offsetText(int minutes) {
    if (minutes == 0) return "UTC";
    const int distance = minutes < 0 ? -minutes : minutes;
    const std::string rest = std::to_string(distance % 60);
    return std::string("UTC") + (minutes < 0 ? "-" : "+") + std::to_string(distance / 60) + ":" +
           (rest.size() < 2 ? "0" : "") + rest;
}

}  // namespace

ReportLayout layOut(const nlohmann::ordered_json& document) {
    const JsonPath report(document);
    ReportLayout layout;
    std::string name = printable(report["computer"].toText());
    for (const JsonPath& section : report["sections"].items()) {
        const JsonPath system = section["data"]["operatingSystem"]["objects"][std::size_t(0)]["properties"];
        const std::string known = printable(system["CSName"]["value"].toText());
        if (section["name"].toText() == "system" && !known.empty()) name = known;
    }
    layout.title = name.empty() ? "This PC" : name;
    layout.about.add("Made",
                     timeCell(report["time"]) + " " + offsetText(report["utcOffsetMinutes"].toNumber<int>()));
    layout.about.add("By", textCell(report["program"]));
    layout.about.add("Of", report["simulated"].isTrue() ? "a simulated PC" : "the PC that it ran on");
    for (const JsonPath& each : report["attention"].items())
        layout.attention.emplace_back(each["section"].toText(), textCell(each["sentence"]));
    for (const JsonPath& section : report["sections"].items()) layout.parts.push_back(layOutPart(section));
    return layout;
}

}  // namespace sysmira
