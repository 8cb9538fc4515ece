#include <algorithm>
#include <optional>
#include <sstream>

#include "libSysmira/perf/PerformanceCounterEnum.h"
#include "libSysmira/perf/PerformanceCounterQuery.h"
#include "tests/behaviour/EnglishCounterNames.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::PerformanceCounter;
using libSysmira::PerformanceCounterEnum;
using libSysmira::PerformanceCounterPath;
using libSysmira::PerformanceCounterQuery;

// An object with instances and one without; a name of more than 150 units, one that English lacks and one
// that German lacks.
void counterPc(simulation::Machine& machine) {
    simulation::nameCounters(machine, u"009",
                             {u"2", u"System", u"6", u"% Processor Time", u"24", u"Threads", u"30", u"Limit",
                              u"238", u"Processor", u"900", u"Spindles", u"901"});
    simulation::nameCounters(machine, u"007",
                             {u"2", u"System", u"6", u"Prozessorzeit (%)", u"24", u"Threads", u"30",
                              simulation::Text(400, u'G'), u"238", u"Prozessor", u"950", u"Regler"});
    machine.counters.language = u"007";
    simulation::CounterObject& processor = machine.counters.add({238});
    processor.hasInstances = true;
    processor.instances = {u"0", u"_Total"};
    processor.add({6, /*rate=*/true}).shows.samples = {12.5};
    simulation::CounterObject& system = machine.counters.add({2});
    system.add({24}).shows.samples = {2718};
    system.add({30}).shows.samples = {4000000000ll};
    system.add({900});
    machine.counters.add({950});
    machine.environment[u"WINDIR"] = u"C:\\Windows";
    machine.files[u"C:\\Windows\\system32\\pdh.dll"].image = true;
}

// As in a new process, so that reading the English names is part of each operation.
template <Result (*operation)()>
Result afresh() {
    libSysmira::PerformanceNameTableReset::run();
    return operation();
}

// Each line is the undisturbed one or missing; none is new. `substitute` may stand in place of any.
Check someOfTheLines(const std::string& substitute = "") {
    return [substitute](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (failure == Failure::Deception) return {};
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);) {
            if (line == substitute || ("\n" + clean.output).find("\n" + line + "\n") != std::string::npos) {
                continue;
            }
            return "unexpected line \"" + line + "\"";
        }
        return {};
    };
}

PerformanceCounterPath threads() { return {"System", "", "Threads"}; }
PerformanceCounterPath load() { return {"Processor", "_Total", "% Processor Time"}; }

Result available() { return {true, PerformanceCounter::apiAvailable() ? "1" : "0"}; }

Result paths() {
    const PerformanceCounterPath path = load();
    return {true, plain(path.getFullCounterPath()) + "\n" + plain(path.getFullLocalizedCounterPath()) +
                      (path.counterExists() ? "\nexists\n" : "\n")};
}

Result localizedName() {
    zor::String name = before;
    const bool success = PerformanceCounterPath::getLocalizedPerfName("Limit", name);
    return {success, plain(name)};
}

Result englishName() {
    zor::String name = before;
    const bool success = PerformanceCounterPath::getEnglishPerfName("Prozessor", name);
    return {success, plain(name)};
}

template <class T>
Result value() {
    T read = -7;
    const bool success = PerformanceCounter(threads()).getCounterValue(read);
    return {success, std::to_string(read)};
}

Result rate() {
    const PerformanceCounter counter("Processor", "0", "% Processor Time");
    double read = -7;
    counter.getCounterValue(read);
    const bool success = counter.getCounterValue(read);
    return {success, std::to_string(read)};
}

// The query goes first, then one copy, and the last closes.
Result anyOrder() {
    PerformanceCounterQuery::Counter counter;
    std::optional<PerformanceCounterQuery> copy;
    {
        PerformanceCounterQuery query;
        counter = query.addCounter(threads());
        copy = query;
        copy->addCounter(load());
    }
    // Without a collection Windows gives 0.
    const bool updated = copy->updateCounters();
    std::optional<PerformanceCounter> member;
    if (counter.isValid()) member = *counter;
    copy.reset();
    counter.release();
    long long value = 0;
    const bool read = updated && member && member->getCounterValue(value);
    return {true, (read ? std::to_string(value) : "none") + "\n"};
}

Result refresh() { return {true, PerformanceCounterEnum::refreshObjects() ? "1" : "0"}; }

Result objects() {
    zor::Array<zor::String> names = {before};
    PerformanceCounterEnum::enumObjects(names, /*refresh=*/true);
    return {true, plain(names)};
}

template <const char* object>
Result items() {
    zor::Array<zor::String> instances = {before}, counters = {before};
    PerformanceCounterEnum::enumCounters(object, instances, counters);
    return {true, plain(instances) + plain(counters)};
}
constexpr char processorObject[] = "Processor";
constexpr char systemObject[] = "System";

}  // namespace

std::vector<Operation> counterOperations() {
    return {
        {"CounterApiAvailable", counterPc, available, anyOf({"0"})},
        {"CounterPaths", counterPc, afresh<paths>, someOfTheLines()},
        {"CounterLocalizedName", counterPc, afresh<localizedName>, keptOnFailure(before)},
        {"CounterEnglishName", counterPc, afresh<englishName>, keptOnFailure(before)},
        {"CounterLarge", counterPc, afresh<value<long long>>, keptOnFailure("-7")},
        {"CounterDouble", counterPc, afresh<value<double>>, keptOnFailure(std::to_string(-7.0))},
        {"CounterLong", counterPc, afresh<value<int>>, keptOnFailure("-7")},
        {"CounterRate", counterPc, afresh<rate>, keptOnFailure(std::to_string(-7.0))},
        {"CounterQuery", counterPc, afresh<anyOrder>, someOfTheLines("none")},
        {"CounterRefresh", counterPc, refresh, anyOf({"0"})},
        {"CounterObjects", counterPc, afresh<objects>, someOfTheLines()},
        {"CounterItems", counterPc, afresh<items<processorObject>>, someOfTheLines()},
        {"CounterItemsWithoutInstances", counterPc, afresh<items<systemObject>>, someOfTheLines()},
    };
}

}  // namespace sweep
