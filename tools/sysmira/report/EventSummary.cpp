#include "tools/sysmira/report/EventSummary.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "libSysmira/eventLogs/EventLogParser.h"
#include "support/System.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/events/EventText.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::EventLogParser;

namespace {

constexpr std::uint64_t secondsOfDay = 86400;
constexpr std::uint64_t shownDays = 31;
constexpr std::uint64_t shownErrors = 20;

struct Counts {
    std::uint64_t errors = 0, warnings = 0, others = 0;
};

struct LogTotals {
    std::uint64_t records = 0;
    std::uint64_t errors = 0;
    std::uint64_t first = 0, last = 0;         // times of the oldest and the newest record
    std::map<std::uint64_t, Counts> countsOf;  // by days since 1970
};

[[noreturn]] void fail(const std::string& log, const std::string& what, DWORD error) {
    throw CommandFailure(NotRead, "the log \"" + log + "\" cannot be " + what + ": " + describeError(error),
                         causeOfError(error));
}

void count(const EventLogParser& parser, LogTotals& totals) {
    const std::uint64_t time = parser.getTimeGenerated();
    totals.first = totals.records == 0 ? time : std::min(totals.first, time);
    totals.last = std::max(totals.last, time);
    ++totals.records;
    Counts& counts = totals.countsOf[time / secondsOfDay];
    switch (parser.getEvent().EventType) {
        case EVENTLOG_ERROR_TYPE:
            ++counts.errors;
            ++totals.errors;
            break;
        case EVENTLOG_WARNING_TYPE:
            ++counts.warnings;
            break;
        default:
            ++counts.others;
    }
}

// Messages are looked up for those that are shown alone, which are the last ones.
Json latestErrors(EventLogParser& parser, std::uint64_t errors) {
    Json latest = Json::array();
    if (!parser.resetIteration()) return latest;
    for (std::uint64_t seen = 0; seen < errors && parser.getNextEvent();) {
        if (parser.getEvent().EventType != EVENTLOG_ERROR_TYPE) continue;
        if (errors - seen++ <= shownErrors) latest.push_back(eventToJson(parser, /*withMessage=*/true));
    }
    std::reverse(latest.begin(), latest.end());
    return latest;
}

std::string timeText(std::uint64_t time) {
    return timeToJson(zor::DateTime::fromUnixTimeStamp(time)).get<std::string>() + "Z";
}

Json daysOf(const LogTotals& totals) {
    Json days = Json::array();
    if (totals.records == 0) return days;
    const std::uint64_t last = totals.last / secondsOfDay, first = totals.first / secondsOfDay;
    for (std::uint64_t day = std::max(first, last - std::min(last, shownDays - 1)); day <= last; ++day) {
        const auto found = totals.countsOf.find(day);
        const Counts counts = found == totals.countsOf.end() ? Counts() : found->second;
        const zor::DateTime start = zor::DateTime::fromUnixTimeStamp(day * secondsOfDay);
        days.push_back({{"day", toUtf8(start.dateStampString())},
                        {"errors", counts.errors},
                        {"warnings", counts.warnings},
                        {"others", counts.others}});
    }
    return days;
}

}  // namespace

Json summarizeLog(const std::string& log) {
    const auto parser = std::make_unique<EventLogParser>();
    if (!parser->openEventLog(zor::String::fromUTF8(log))) fail(log, "opened", zor::System::getSystemError());
    LogTotals totals;
    while (parser->getNextEvent()) count(*parser, totals);
    if (const DWORD error = zor::System::getSystemError(); error != ERROR_HANDLE_EOF)
        fail(log, "read to its end", error);
    Json summary = {{"log", log}, {"records", totals.records}, {"first", nullptr}, {"last", nullptr}};
    if (totals.records != 0) {
        summary["first"] = timeText(totals.first);
        summary["last"] = timeText(totals.last);
    }
    summary["days"] = daysOf(totals);
    summary["errors"] = totals.errors;
    summary["latestErrors"] = latestErrors(*parser, totals.errors);
    return summary;
}

}  // namespace sysmira
