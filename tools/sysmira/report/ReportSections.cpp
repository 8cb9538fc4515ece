#include "tools/sysmira/report/ReportSections.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "support/RaisedException.h"
#include "tools/sysmira/counters/CountersCommand.h"
#include "tools/sysmira/devices/DevicesCommand.h"
#include "tools/sysmira/devices/TreeCommand.h"
#include "tools/sysmira/displays/DisplaysCommand.h"
#include "tools/sysmira/events/DiagnosticsCommand.h"
#include "tools/sysmira/report/EventSummary.h"
#include "tools/sysmira/storage/DrivesCommand.h"
#include "tools/sysmira/storage/VolumesCommand.h"
#include "tools/sysmira/wmi/WmiCommand.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

namespace {

// Hands each line on when the stream is flushed behind it.
class WholeLines : public std::stringbuf {
public:
    explicit WholeLines(std::function<void(const std::string&)> take) : m_take(std::move(take)) {}

protected:
    int sync() override {
        std::string text = str();
        std::size_t begin = 0;
        for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
            m_take(text.substr(begin, end - begin));
        str("");
        sputn(text.data() + begin, static_cast<std::streamsize>(text.size() - begin));
        return 0;
    }

private:
    std::function<void(const std::string&)> m_take;
};

const char* nameOf(FailureCause cause) {
    switch (cause) {
        case FailureCause::Denied:
            return "denied";
        case FailureCause::NotSupported:
            return "notSupported";
        case FailureCause::Other:
            break;
    }
    return "other";
}

void readSystem(SectionOutput& output) {
    const struct {
        const char* piece;
        const char* query;
    } queries[] = {
        {"operatingSystem", "select * from Win32_OperatingSystem"},
        {"computer", "select * from Win32_ComputerSystem"},
        {"mainboard", "select * from Win32_BaseBoard"},
        {"firmware", "select * from Win32_BIOS"},
        {"processors", "select * from Win32_Processor"},
        {"memory", "select * from Win32_PhysicalMemory"},
    };
    for (const auto& [piece, query] : queries) {
        WmiRequest request;
        request.namespacePath = "root/cimv2";
        request.query = query;
        output.addResult(piece, [&](Output& result) { runWmi(request, result); });
    }
}

void readDevices(SectionOutput& output) {
    const Json tree = output.addResult("tree", [](Output& result) { runTree(/*withHidden=*/true, result); });
    // Systems without a tree may list devices all the same.
    if (tree.is_null()) output.addResult("list", [](Output& result) { runDevices({}, result); });
}

void readDrives(SectionOutput& output) {
    const Json drives = output.addResult("drives", [](Output& result) { runDrives({}, result); });
    output.addResult("volumes", [](Output& result) { runVolumes(result); });
    if (drives.is_null()) return;
    std::string closed;
    for (const Json& drive : drives["drives"]) {
        const std::string index = std::to_string(drive["index"].get<std::size_t>());
        if (drive["opened"] == false) {
            closed += (closed.empty() ? "" : ", ") + index;
            continue;
        }
        if (drive["capacity"].is_null()) continue;  // no medium
        DrivesRequest request;
        request.drive = index;
        request.map = true;
        output.addResult("map of drive " + index, [&](Output& result) { runDrives(request, result); });
    }
    if (!closed.empty()) {
        output.tellTrouble("drive " + closed + " cannot be opened; Windows lets administrators alone do so",
                           FailureCause::Denied);
    }
}

void readDisplays(SectionOutput& output) {
    DisplaysRequest request;
    request.edid = true;
    request.picture = true;
    output.addResult("displays", [&](Output& result) { runDisplays(request, result); });
}

void readDiagnostics(SectionOutput& output) { output.addResult("results", &runDiagnostics); }

void readEvents(SectionOutput& output) {
    for (const char* log : {"System", "Application"})
        output.attempt([&] { output.add(log, summarizeLog(log)); });
}

void readCounters(SectionOutput& output) {
    CountersRequest request;
    request.names = {"Processor(_Total)\\% Processor Time",
                     "System\\Processor Queue Length",
                     "System\\Processes",
                     "System\\Threads",
                     "System\\System Up Time",
                     "Memory\\Available Bytes",
                     "Memory\\Committed Bytes",
                     "Memory\\Pages/sec",
                     "PhysicalDisk(_Total)\\% Disk Time",
                     "PhysicalDisk(_Total)\\Disk Read Bytes/sec",
                     "PhysicalDisk(_Total)\\Disk Write Bytes/sec",
                     "PhysicalDisk(_Total)\\Current Disk Queue Length"};
    request.samples = 16;
    request.everySeconds = 0.15;
    // Explaining them lists all objects, which may end the process: the samples come first.
    request.reportsUnknownFirst = false;
    output.addLines("samples", [&](Output& result) { runCounters(request, result); });
    output.addResult("objects", [](Output& result) { runCounters({}, result); });
}

}  // namespace

void SectionOutput::add(const std::string& piece, const Json& value) {
    m_output.printLine({{"piece", piece}, {"value", value}});
}

void SectionOutput::tellTrouble(const std::string& sentence, FailureCause cause) {
    m_output.printLine({{"trouble", sentence}, {"cause", nameOf(cause)}});
}

void SectionOutput::finish() { m_output.printLine({{"done", true}}); }

Json SectionOutput::addResult(const std::string& piece, const std::function<void(Output&)>& subcommand) {
    std::ostringstream out;
    run(out, subcommand);
    Json document = Json::parse(out.str(), nullptr, /*allow_exceptions=*/false);
    if (document.is_discarded()) return nullptr;
    add(piece, document);
    return document;
}

void SectionOutput::addLines(const std::string& piece, const std::function<void(Output&)>& subcommand) {
    WholeLines lines([&](const std::string& line) {
        m_output.printLine(
            {{"item", piece}, {"value", Json::parse(line, nullptr, /*allow_exceptions=*/false)}});
    });
    std::ostream out(&lines);
    run(out, subcommand);
}

void SectionOutput::run(std::ostream& out, const std::function<void(Output&)>& subcommand) {
    std::ostringstream err;
    Output output(out, err, /*json=*/true);
    attempt([&] { subcommand(output); });
    for (const std::string& sentence : readSentences(err.str())) tellTrouble(sentence);
}

void SectionOutput::attempt(const std::function<void()>& step) {
    try {
        step();
    } catch (const CommandFailure& failure) {
        tellTrouble(failure.what(), failure.getCause());
    } catch (const zor::RaisedException&) {
        tellTrouble("Windows gave nothing where it said that it would");
    } catch (const std::bad_alloc&) {
        tellTrouble("there is not enough memory");
    } catch (const std::exception& failure) {
        tellTrouble(failure.what());
    }
}

const std::vector<ReportSection>& reportSections() {
    static const std::vector<ReportSection> sections = {
        {"system", "System", &readSystem},
        {"devices", "Devices", &readDevices},
        {"drives", "Drives and volumes", &readDrives},
        {"displays", "Displays", &readDisplays},
        {"diagnostics", "Diagnostics", &readDiagnostics},
        {"events", "Events", &readEvents},
        {"counters", "Performance counters", &readCounters},
    };
    return sections;
}

}  // namespace sysmira
