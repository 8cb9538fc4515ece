#include "tools/sysmira/report/ReportDocument.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "support/DateTime.h"
#include "support/System.h"
#include "tools/sysmira/OwnProcess.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/events/EventText.h"
#include "tools/sysmira/report/Attention.h"
#include "tools/sysmira/report/ReportSections.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Told.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

namespace {

constexpr int formatVersion = 1;

// What the process of one section has handed over so far.
class Findings {
public:
    void take(std::string_view bytes) {
        m_begun += bytes;
        std::size_t begin = 0;
        for (std::size_t end; (end = m_begun.find('\n', begin)) != std::string::npos; begin = end + 1)
            takeLine(std::string_view(m_begun).substr(begin, end - begin));
        m_begun.erase(0, begin);
    }

    void addTrouble(const std::string& sentence) {
        m_reasons.push_back(sentence);
        m_allDenied = m_allNotSupported = false;
    }

    bool isDone() const { return m_done; }
    std::size_t foreignLines() const { return m_foreignLines; }

    const char* status() const {
        if (m_reasons.empty()) return "complete";
        if (!m_data.empty()) return "partial";
        return m_allNotSupported ? "notSupported" : m_allDenied ? "denied" : "failed";
    }
    const Json& data() const { return m_data; }
    const std::vector<std::string>& reasons() const { return m_reasons; }

private:
    void takeLine(std::string_view line) {
        const Json entry = Json::parse(line, nullptr, /*allow_exceptions=*/false);
        if (!entry.is_object()) {
            ++m_foreignLines;  // of a debugger, say, or with a line of the report in it
        } else if (entry.contains("piece")) {
            m_data[entry["piece"].get<std::string>()] = entry["value"];
        } else if (entry.contains("item")) {
            m_data[entry["item"].get<std::string>()].push_back(entry["value"]);
        } else if (entry.contains("trouble")) {
            // One reason may keep several pieces away.
            const std::string reason = entry["trouble"].get<std::string>();
            if (std::find(m_reasons.begin(), m_reasons.end(), reason) == m_reasons.end())
                m_reasons.push_back(reason);
            m_allDenied = m_allDenied && entry["cause"] == "denied";
            m_allNotSupported = m_allNotSupported && entry["cause"] == "notSupported";
        } else {
            m_done = entry.contains("done");
        }
    }

    std::string m_begun;  // a line that is not there wholly
    Json m_data = Json::object();
    std::vector<std::string> m_reasons;
    bool m_allDenied = true, m_allNotSupported = true;
    std::size_t m_foreignLines = 0;
    bool m_done = false;
};

Json readSection(const ReportSection& section, const ReportRequest& request, std::ostream& err) {
    std::vector<std::string> arguments = request.passedOn;
    arguments.insert(arguments.end(), {"report", "--pieces-of", section.name});
    Findings findings;
    const auto start = std::chrono::steady_clock::now();
    const ProcessEnd end = runInOwnProcess(arguments, request.timeoutSeconds * 1000, err,
                                           [&](std::string_view bytes) { findings.take(bytes); });
    const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - start;
    if (!end.trouble.empty()) {
        findings.addTrouble("the process that read it " + end.trouble);
    } else if (!findings.isDone()) {
        findings.addTrouble("the process that read it ended early with status " + std::to_string(end.status));
    }
    if (findings.foreignLines() != 0) {
        findings.addTrouble("the process that read it also wrote " + std::to_string(findings.foreignLines()) +
                            " lines that are not the report's");
    }
    return {{"name", section.name},
            {"title", section.title},
            {"status", findings.status()},
            {"reasons", findings.reasons()},
            {"milliseconds", std::round(passed.count() * 10) / 10},
            {"data", findings.data()}};
}

}  // namespace

Json readReport(const ReportRequest& request, std::ostream& err) {
    const zor::DateTime now = zor::DateTime::getCurrentDateTime();
    Json report = {{"format", "sysmira-report"},
                   {"version", formatVersion},
                   {"program", "sysmira " SYSMIRA_VERSION},
                   {"computer", told(toUtf8(zor::System::getEnvironmentVariable("COMPUTERNAME")))},
                   {"time", timeToJson(now)},
                   {"utcOffsetMinutes", (now.getUtcSign() == '-' ? -1 : 1) * int{now.getUtcOffset()}},
                   {"simulated", canChooseMachine()},
                   {"attention", Json::array()},
                   {"sections", Json::array()}};
    for (const ReportSection& section : reportSections()) {
        const auto& wanted = request.sections;
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), section.name) != wanted.end())
            report["sections"].push_back(readSection(section, request, err));
    }
    report["attention"] = findAttention(report["sections"]);
    return report;
}

}  // namespace sysmira
