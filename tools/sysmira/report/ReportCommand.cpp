#include "tools/sysmira/report/ReportCommand.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Progress.h"
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

std::ofstream openFile(const std::string& name) {
    std::ofstream file(std::filesystem::path(std::u8string(name.begin(), name.end())), std::ios::binary);
    if (!file) throw CommandFailure(NotRead, "the file \"" + name + "\" cannot be written");
    return file;
}

}  // namespace

void runReport(const ReportRequest& request, Output& output) {
    if (!request.piecesOf.empty()) return readPieces(sectionOf(request.piecesOf), output);
    for (const std::string& name : request.sections) sectionOf(name);
    // Before minutes go into what could not be kept.
    std::ofstream file;
    if (!request.htmlFile.empty()) file = openFile(request.htmlFile);

    const nlohmann::ordered_json report = readReport(request, output.errors());
    if (output.wantsJson()) output.printDocument(report);
    if (request.htmlFile.empty()) {
        if (!output.wantsJson()) output.print(toText(layOut(report)));
        return;
    }
    file << toHtml(layOut(report)) << std::flush;
    file.close();
    if (!file) throw CommandFailure(NotRead, "the file \"" + request.htmlFile + "\" cannot be written");
}

}  // namespace sysmira
