#include "tools/sysmira/events/EventsCommand.h"

#include <memory>
#include <nlohmann/json.hpp>

#include "libSysmira/eventLogs/EventLogParser.h"
#include "support/System.h"
#include "support/WindowsRegistryReader.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Progress.h"
#include "tools/sysmira/events/EventText.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::EventLogParser;
using libSysmira::EventLogSearchParams;

namespace {

struct EventTypeName {
    const char* name;
    unsigned short type;
};
constexpr EventTypeName eventTypes[] = {{"Error", EVENTLOG_ERROR_TYPE},
                                        {"Warning", EVENTLOG_WARNING_TYPE},
                                        {"Information", EVENTLOG_INFORMATION_TYPE},
                                        {"Success", EVENTLOG_AUDIT_SUCCESS},
                                        {"Failure Audit", EVENTLOG_AUDIT_FAILURE}};

unsigned short eventType(const std::string& name) {
    std::string known;
    for (const EventTypeName& entry : eventTypes) {
        if (zor::String(entry.name).compareNoCase(zor::String::fromUTF8(name)) == 0) return entry.type;
        known += (known.empty() ? "" : ", ") + std::string(entry.name);
    }
    throw CommandFailure(WrongUsage, "there is no type \"" + name + "\" of events; there are " + known);
}

EventLogSearchParams paramsOf(const EventsRequest& request) {
    EventLogSearchParams params;
    if (request.code) {
        params.searchFlags |= EventLogSearchParams::SearchByCode;
        params.eventCode = static_cast<unsigned short>(*request.code);
    } else if (request.category) {
        params.searchFlags |= EventLogSearchParams::SearchByCategory;
        params.eventCode = static_cast<unsigned short>(*request.category);
    }
    if (request.source) {
        params.searchFlags |= EventLogSearchParams::SearchBySource;
        params.source = zor::String::fromUTF8(*request.source);
    }
    if (!request.type.empty()) {
        params.searchFlags |= EventLogSearchParams::SearchByType;
        params.eventType = eventType(request.type);
    }
    return params;
}

// The library's report has UTC, unmarked.
void replaceTime(std::string& report, unsigned generated) {
    const std::string label = "Event Time      : ";
    const std::size_t begin = report.find(label);
    if (begin == std::string::npos) return;
    const std::size_t time = begin + label.size();
    report.replace(time, report.find('\n', time) - time, localTimeText(localTime(generated)));
}

std::string toText(EventLogParser& parser, bool withMessage) {
    std::string text = printableReport(parser.toString(/*withMessage=*/false, /*indent=*/0),
                                       {{"Event Source    : ", parser.getSource()}});
    replaceTime(text, parser.getTimeGenerated());
    if (withMessage) {
        const std::string label = "Event Message   : ";
        const std::string message = messageText(parser.getEventMessage());
        text += label + printableLines(message, label.size()) + "\n";
    }
    return text;
}

class Viewer : public libSysmira::EventLogViewer {
public:
    Viewer(const EventsRequest& request, Output& output, Progress& progress)
        : m_request(request), m_output(output), m_progress(progress) {}

    bool viewEvent(EventLogParser& parser, void*) override {
        // The search has one number for code and category.
        if (m_request.code && m_request.category && parser.getEventCategory() != *m_request.category)
            return true;
        if (m_output.wantsJson()) {
            m_events.push_back(eventToJson(parser, m_request.messages));
        } else {
            const std::string text = toText(parser, m_request.messages);
            m_progress.aside([&] { m_output.print((m_found == 0 ? "" : "\n") + text); });
        }
        m_progress.count();
        ++m_found;
        m_stopped = m_request.limit && m_found >= *m_request.limit;
        return !m_stopped;
    }

    unsigned long long found() const { return m_found; }
    // Whether the search ended because there were enough.
    bool stopped() const { return m_stopped; }
    const Json& events() const { return m_events; }

private:
    const EventsRequest& m_request;
    Output& m_output;
    Progress& m_progress;
    unsigned long long m_found = 0;
    bool m_stopped = false;
    Json m_events = Json::array();
};

void checkUsage(const EventsRequest& request) {
    if (request.log.empty()) {
        throw CommandFailure(WrongUsage,
                             "\"sysmira events\" needs the name of a log, as in: sysmira events System");
    }
}

// The classic logs that Windows and its parts register.
constexpr const char* knownLogs[] = {
    "Application", "HardwareEvents", "Internet Explorer", "Key Management Service", "OAlerts",
    "Security",    "System",         "Windows PowerShell"};

std::string hintFor(const std::string& log, const std::vector<std::string>& present) {
    if (log.find('/') != std::string::npos) return "\"sysmira channel\" reads channels";
    const std::string closest = nearest(log, present);
    if (!closest.empty()) return "did you mean \"" + closest + "\"?";
    std::string names;
    for (const std::string& each : present) names += (names.empty() ? "" : ", ") + each;
    return "there are " + names;
}

// Microsoft, OpenEventLog: a name that is not registered opens the Application log, whose records are not
// what was asked for.
void checkRegistered(const zor::String& log) {
    const zor::String logs = "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Eventlog";
    const zor::WindowsRegistryReader reader;
    if (!reader.keyExists(logs) || reader.keyExists(logs + "\\" + log)) return;
    std::vector<std::string> present;
    for (const char* const each : knownLogs) {
        if (reader.keyExists(logs + "\\" + each)) present.push_back(each);
    }
    const std::string name = toUtf8(log);
    throw CommandFailure(NotRead, "there is no log \"" + name + "\"; " + hintFor(name, present));
}

}  // namespace

void runEvents(const EventsRequest& request, Output& output) {
    checkUsage(request);
    EventLogSearchParams params = paramsOf(request);
    const auto parser = std::make_unique<EventLogParser>();
    const zor::String log = zor::String::fromUTF8(request.log);
    if (!parser->openEventLog(log)) {
        const DWORD error = zor::System::getSystemError();
        throw CommandFailure(NotRead,
                             "the log \"" + request.log + "\" cannot be opened: " + describeError(error),
                             causeOfError(error));
    }
    checkRegistered(log);

    DWORD error = ERROR_HANDLE_EOF;
    Progress progress(output.errors(), "reading the log \"" + request.log + "\"", "records found");
    Viewer viewer(request, output, progress);
    parser->search(viewer, params);
    if (!viewer.stopped()) error = zor::System::getSystemError();

    if (output.wantsJson()) output.printDocument({{"log", request.log}, {"events", viewer.events()}});
    if (error != ERROR_HANDLE_EOF) {
        throw CommandFailure(
            NotRead, "the log \"" + request.log + "\" cannot be read to its end: " + describeError(error),
            causeOfError(error));
    }
    if (!output.wantsJson() && viewer.found() == 0) output.remark("the log has no such records");
}

}  // namespace sysmira
