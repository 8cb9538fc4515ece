#include "tools/sysmira/counters/CountersCommand.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "libSysmira/perf/PerformanceCounterEnum.h"
#include "libSysmira/perf/PerformanceCounterQuery.h"
#include "support/SprintfFormat.h"
#include "support/System.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Interruption.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/counters/CounterNames.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Trend.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::PerformanceCounter;
using libSysmira::PerformanceCounterEnum;
using libSysmira::PerformanceCounterPath;
using libSysmira::PerformanceCounterQuery;

namespace {

constexpr double shortestWaitSeconds = 0.01;
constexpr double longestWaitSeconds = 86400;
constexpr unsigned sliceMs = 200;  // Ctrl+C is seen between two
constexpr std::size_t trendWidth = 8;

bool isCounterName(const std::string& name) { return name.find('\\') != std::string::npos; }

void checkUsage(const CountersRequest& request) {
    for (const std::string& name : request.names) {
        const bool fits = request.names.size() == 1 && !isCounterName(name)
                              ? !name.empty()
                              : parseCounterName(name).has_value();
        if (!fits) {
            throw CommandFailure(WrongUsage, "found \"" + name +
                                                 "\", expected OBJECT(INSTANCE)\\COUNTER, as in: sysmira "
                                                 "counters 'Processor(_Total)\\% Processor Time'");
        }
    }
    const bool lists = request.names.empty() || !isCounterName(request.names.front());
    if (lists && (request.everySeconds || request.samples)) {
        throw CommandFailure(WrongUsage, "\"--every\" and \"--samples\" are for reading counters");
    }
    const double every = request.everySeconds.value_or(1);
    if (!(every >= shortestWaitSeconds && every <= longestWaitSeconds)) {
        throw CommandFailure(WrongUsage, "\"--every\" takes from 0.01 to 86400 seconds");
    }
    if (request.samples == 0u) throw CommandFailure(WrongUsage, "\"--samples\" takes a number from 1 on");
}

// Null where the system has no name of its own for it.
Json localName(const zor::String& name) {
    zor::String localized;
    if (!PerformanceCounterPath::getLocalizedPerfName(name, localized)) return nullptr;
    return toUtf8(localized);
}

Json namesToJson(const zor::Array<zor::String>& names) {
    Json list = Json::array();
    for (const zor::String& name : names) {
        list.push_back({{"name", toUtf8(name)}, {"localizedName", localName(name)}});
    }
    return list;
}

void listObjects(Output& output) {
    zor::Array<zor::String> objects;
    PerformanceCounterEnum::enumObjects(objects, /*refresh=*/true);
    if (output.wantsJson()) return output.printDocument({{"objects", namesToJson(objects)}});
    if (objects.empty()) return output.remark("there are no performance objects with English names");
    std::string text;
    for (const zor::String& object : objects) text += printable(object) + "\n";
    output.print(text);
}

std::string indented(const char* heading, const zor::Array<zor::String>& names) {
    if (names.empty()) return {};
    std::string text = std::string("  ") + heading + ":\n";
    for (const zor::String& name : names) text += "    " + printable(name) + "\n";
    return text;
}

void listObject(const std::string& name, Output& output) {
    const zor::String object = zor::String::fromUTF8(name);
    zor::Array<zor::String> instances, counters;
    PerformanceCounterEnum::enumCounters(object, instances, counters);
    if (instances.empty() && counters.empty()) throw CommandFailure(NotRead, explainMissingObject(name));
    if (!output.wantsJson()) {
        return output.print(printable(name) + "\n" + indented("Counters", counters) +
                            indented("Instances", instances));
    }
    Json instanceNames = Json::array();
    for (const zor::String& instance : instances) instanceNames.push_back(toUtf8(instance));
    output.printDocument({{"object", name},
                          {"localizedName", localName(object)},
                          {"counters", namesToJson(counters)},
                          {"instances", std::move(instanceNames)}});
}

// A value with what it is best shown as.
struct Reading {
    bool whole = true;
    long long number = 0;
    double real = 0;

    double approximately() const { return whole ? static_cast<double>(number) : real; }
    std::string toText(bool withFraction) const {
        return toUtf8(withFraction ? zor::SprintfFormat("%.2f", approximately())
                                   : zor::SprintfFormat("%d", number));
    }
    Json toJson() const { return whole ? Json(number) : Json(real); }
};

// As a whole number it has all its digits, as a real one its fraction.
std::optional<Reading> read(const PerformanceCounter& counter) {
    Reading reading;
    if (!counter.getCounterValue(reading.number)) return std::nullopt;
    const bool fractional = counter.getCounterValue(reading.real) && std::isfinite(reading.real) &&
                            reading.real != std::floor(reading.real) &&
                            std::abs(reading.real - static_cast<double>(reading.number)) <= 1;
    reading.whole = !fractional;
    return reading;
}

// The counters that are read together, and the table of what they show.
class Table {
public:
    // Names that do not exist are left out.
    Table(const std::vector<std::string>& names, Output& output) : m_output(output) {
        for (const std::string& each : names) {
            const CounterName name = *parseCounterName(each);
            const PerformanceCounterPath path = name.toPath();
            if (m_query.addCounter(path).isValid()) {
                m_columns.push_back({name.toText(), path, {}, {}});
            } else {
                m_unknown.push_back(name);
            }
        }
    }

    bool empty() const { return m_columns.empty(); }

    // False while a counter that compares two samples has but one.
    bool sample() {
        m_query.updateCounters();
        bool all = true;
        for (unsigned i = 0; i < m_columns.size(); ++i) {
            Column& column = m_columns[i];
            column.last = read(m_query.getCounter(i));
            all = all && column.last.has_value();
        }
        return all;
    }

    void printSample(double seconds) {
        for (Column& column : m_columns) {
            column.shown.push_back(column.last ? std::optional(column.last->approximately()) : std::nullopt);
            if (column.shown.size() > trendWidth) column.shown.erase(column.shown.begin());
            column.everShown = column.everShown || column.last.has_value();
            column.fractional = column.fractional || (column.last && !column.last->whole);
        }
        if (m_output.wantsJson()) return m_output.printLine(toJson(seconds));
        if (!m_headed) m_output.print(heading());
        m_headed = true;
        m_output.print(line(seconds));
    }

    // Before the sampling, which may take long. Fails when no counter is left.
    void reportUnknown() {
        const std::vector<std::string> unknown = explanations();
        if (empty()) return fail(unknown);
        for (const std::string& sentence : unknown) m_output.remark(sentence);
        m_unknownReported = true;
    }

    // Fails when something could not be read.
    void finish() {
        std::vector<std::string> missing;
        if (!m_unknownReported) missing = explanations();
        for (const Column& column : m_columns) {
            if (!column.everShown) missing.push_back("the counter \"" + column.name + "\" has no value");
        }
        if (m_unknownReported && !m_unknown.empty())
            missing.push_back("not every counter that was asked for exists");
        fail(missing);
    }

private:
    std::vector<std::string> explanations() const {
        std::vector<std::string> sentences;
        for (const CounterName& name : m_unknown) sentences.push_back(explainMissingCounter(name));
        return sentences;
    }

    void fail(const std::vector<std::string>& missing) {
        if (missing.empty()) return;
        for (std::size_t i = 0; i + 1 < missing.size(); ++i) m_output.remark(missing[i]);
        throw CommandFailure(NotRead, missing.back());
    }

    struct Column {
        std::string name;
        PerformanceCounterPath path;
        std::optional<Reading> last;
        std::vector<std::optional<double>> shown;
        bool everShown = false;
        bool fractional = false;  // some number so far was, so all are shown so
    };

    static constexpr std::size_t secondsWidth = 8;
    static constexpr std::size_t leastWidth = 12;

    static std::string rightAligned(const std::string& text, std::size_t width) {
        const std::size_t taken = displayWidth(text);
        return std::string(width > taken ? width - taken : 0, ' ') + text;
    }
    std::size_t widthOf(const Column& column) const {
        return std::max(displayWidth(printable(column.name)), leastWidth);
    }
    std::string cell(const Column& column, const std::string& value, const std::string& trend) const {
        std::string text = "  " + rightAligned(value, widthOf(column));
        if (m_output.onTerminal()) text += " " + trend;
        return text;
    }
    static std::string toLine(std::string text) {
        text.erase(text.find_last_not_of(' ') + 1);
        return text + "\n";
    }

    std::string heading() const {
        std::string text = rightAligned("Seconds", secondsWidth);
        for (const Column& column : m_columns) {
            text += cell(column, printable(column.name), std::string(trendWidth, ' '));
        }
        return toLine(text);
    }
    std::string line(double seconds) const {
        std::string text = rightAligned(toUtf8(zor::SprintfFormat("%.2f", seconds)), secondsWidth);
        for (const Column& column : m_columns) {
            text += cell(column, column.last ? column.last->toText(column.fractional) : "-",
                         trendOf(column.shown, trendWidth));
        }
        return toLine(text);
    }
    Json toJson(double seconds) const {
        Json counters = Json::array();
        for (const Column& column : m_columns) {
            counters.push_back({{"counter", column.name},
                                {"localizedPath", toUtf8(column.path.getFullLocalizedCounterPath())},
                                {"value", column.last ? column.last->toJson() : Json(nullptr)}});
        }
        return {{"seconds", seconds}, {"counters", std::move(counters)}};
    }

    Output& m_output;
    PerformanceCounterQuery m_query;
    std::vector<Column> m_columns;
    std::vector<CounterName> m_unknown;
    bool m_unknownReported = false;
    bool m_headed = false;
};

// Ends early at Ctrl+C.
void wait(double seconds) {
    auto left = static_cast<unsigned>(std::lround(seconds * 1000));
    while (left != 0 && !InterruptionNoted::happened()) {
        const unsigned slice = std::min(left, sliceMs);
        zor::System::mssleep(slice);
        keepPace(slice);
        left -= slice;
    }
}

void readCounters(const CountersRequest& request, Output& output) {
    const InterruptionNoted interruption;
    Table table(request.names, output);
    if (request.reportsUnknownFirst || table.empty()) table.reportUnknown();
    const double every = request.everySeconds.value_or(1);
    const bool endless = request.everySeconds && !request.samples;
    const unsigned count = request.samples.value_or(1);
    // Without this, rates would have nothing to show in the first line.
    if (!table.sample()) {
        wait(every);
        table.sample();
    }
    for (unsigned done = 0; !InterruptionNoted::happened();) {
        table.printSample(every * done);
        if (++done == count && !endless) break;
        wait(every);
        if (!InterruptionNoted::happened()) table.sample();
    }
    table.finish();
}

}  // namespace

void runCounters(const CountersRequest& request, Output& output) {
    checkUsage(request);
    if (!PerformanceCounter::apiAvailable()) {
        throw CommandFailure(NotRead, "this Windows has no performance counters: it has no system32\\pdh.dll",
                             FailureCause::NotSupported);
    }
    if (request.names.empty()) return listObjects(output);
    if (!isCounterName(request.names.front())) return listObject(request.names.front(), output);
    readCounters(request, output);
}

}  // namespace sysmira
