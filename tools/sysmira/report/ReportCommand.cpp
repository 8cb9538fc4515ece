#include "tools/sysmira/report/ReportCommand.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Progress.h"
#include "tools/sysmira/ResultFile.h"
#include "tools/sysmira/report/ReportLayout.h"
#include "tools/sysmira/report/ReportSections.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

const ReportSection& sectionOf(const std::string& name) {
    std::vector<std::string> names;
    std::string known;
    for (const ReportSection& section : reportSections()) {
        if (name == section.name) return section;
        names.push_back(section.name);
        known += (known.empty() ? "" : ", ") + names.back();
    }
    const std::string guess = nearest(name, names);
    throw CommandFailure(WrongUsage,
                         "there is no section \"" + name + "\"; " +
                             (guess.empty() ? "there are " + known : "did you mean \"" + guess + "\"?"));
}

// For the process that puts the report together.
void readPieces(const ReportSection& section, Output& output) {
    const Progress progress(output.errors(), std::string("reading: ") + section.title);
    SectionOutput pieces(output);
    section.read(pieces);
    pieces.finish();
}

void failIfSectionsFailed(const nlohmann::ordered_json& sections) {
    std::string failed;
    for (const auto& section : sections) {
        if (section["status"] == "failed")
            failed += (failed.empty() ? "" : ", ") + section["title"].get<std::string>();
    }
    if (!failed.empty()) throw CommandFailure(NotRead, "not read: " + failed);
}

}  // namespace

void runReport(const ReportRequest& request, Output& output) {
    if (!request.piecesOf.empty()) return readPieces(sectionOf(request.piecesOf), output);
    for (const std::string& name : request.sections) sectionOf(name);
    // Before minutes go into what could not be kept.
    std::optional<ResultFile> file;
    if (!request.htmlFile.empty()) file.emplace(request.htmlFile);

    const nlohmann::ordered_json report = readReport(request, output.errors());
    if (output.wantsJson()) output.printDocument(report);
    if (file) {
        file->write(toHtml(layOut(report)));
    } else if (!output.wantsJson()) {
        output.print(toText(layOut(report)));
    }
    failIfSectionsFailed(report["sections"]);
}

}  // namespace sysmira
