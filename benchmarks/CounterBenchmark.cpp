// What the library adds to the calls of the Performance Data Helper that it must make, and what finding
// counters by their English names costs. The simulated functions run with journal, faults and locks off.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "benchmarks/CounterReads.h"
#include "benchmarks/Ratio.h"
#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/behaviour/EnglishCounterNames.h"

namespace {

using benchmarks::BareCounters;
using benchmarks::CounterPaths;
using benchmarks::LibraryCounters;
using libSysmira::PerformanceCounterPath;
using simulation::Text;

constexpr benchmarks::PdhFunctions pdh = {&PdhOpenQueryW, &PdhCloseQuery, &PdhAddCounterW,
                                          &PdhCollectQueryData, &PdhGetFormattedCounterValue};

Text numbered(const char16_t* text, unsigned number) {
    return text + simulation::fromUtf8(std::to_string(number));
}

// One object with that many instances of one counter.
CounterPaths fillMachine(unsigned count) {
    simulation::reset();
    libSysmira::PerformanceNameTableReset::run();
    simulation::Machine& machine = simulation::machine();
    simulation::nameCounters(machine, u"009", {u"2", u"Disk", u"4", u"Bytes/sec"});
    simulation::CounterObject& disk = machine.counters.add({2});
    disk.hasInstances = true;
    disk.add({4}).shows.samples = {1000, 3000};
    CounterPaths paths;
    for (unsigned i = 0; i < count; ++i) {
        disk.instances.push_back(numbered(u"disk ", i));
        const Text& name = disk.instances.back();
        paths.emplace_back("Disk", zor::String(simulation::wide(name), static_cast<unsigned>(name.size())),
                           "Bytes/sec");
    }
    return paths;
}

void samplesOfManyCounters(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    const CounterPaths paths = fillMachine(count);
    LibraryCounters ours(paths);
    BareCounters peer(paths, pdh);
    simulation::control().clearJournal();
    const long long sum = ours.read();
    if (simulation::control().calls("PdhCollectQueryData") != 1 ||
        simulation::control().calls("PdhGetFormattedCounterValue") != count ||
        simulation::control().journal().size() != count + 1) {
        return state.SkipWithError("the library makes other calls than one collection and a read each");
    }
    if (ours.size() != count || sum != 1000ll * count || peer.read() != sum) {
        return state.SkipWithError("the library and the bare loop read different things");
    }
    simulation::control().watching = false;
    benchmarks::compare(
        state, {"one sample of counters, all read", "bare calls, one collection", /*aim=*/1.25},
        [&] { benchmark::DoNotOptimize(ours.read()); }, [&] { benchmark::DoNotOptimize(peer.read()); });
    simulation::control().watching = true;
    state.counters["counters_per_second"] = benchmark::Counter(
        static_cast<double>(count) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(samplesOfManyCounters)->Arg(1'000)->UseManualTime()->Unit(benchmark::kMillisecond);

// As many names as a Windows with some servers installed has; the names that are looked for stand all over.
constexpr unsigned tableNames = 5'000;

struct BareName {
    DWORD index;
    const zor::String* text;
};

void tenThousandPaths(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    simulation::reset();
    libSysmira::PerformanceNameTableReset::run();
    std::vector<Text> table;
    std::vector<zor::String> names;
    for (unsigned i = 0; i < tableNames; ++i) {
        table.push_back(numbered(u"", 2 * i + 2));
        table.push_back(numbered(i % 3 == 0 ? u"Requests rejected, number " : u"Counter ", i));
        names.emplace_back(simulation::wide(table.back()), static_cast<unsigned>(table.back().size()));
    }
    simulation::nameCounters(simulation::machine(), u"009", table);
    const auto nameFor = [&](unsigned i) { return i * 7919 % tableNames; };
    simulation::control().watching = false;
    unsigned found = 0;
    // The same calls by somebody who knows the indices.
    const auto bare = [&](const BareName& object, const BareName& counter) {
        WCHAR names16[2][150];
        WCHAR path[2048];
        PDH_COUNTER_PATH_ELEMENTS_W elements = {};
        elements.dwInstanceIndex = static_cast<DWORD>(-1);
        elements.szObjectName = const_cast<LPWSTR>(object.text->getUCS2Buffer());
        elements.szCounterName = const_cast<LPWSTR>(counter.text->getUCS2Buffer());
        DWORD size = std::size(path);
        PdhMakeCounterPathW(&elements, path, &size, 0);
        DWORD nameSize = std::size(names16[0]);
        PdhLookupPerfNameByIndexW(nullptr, object.index, names16[0], &nameSize);
        nameSize = std::size(names16[1]);
        PdhLookupPerfNameByIndexW(nullptr, counter.index, names16[1], &nameSize);
        elements.szObjectName = names16[0];
        elements.szCounterName = names16[1];
        size = std::size(path);
        benchmark::DoNotOptimize(PdhMakeCounterPathW(&elements, path, &size, 0));
    };
    benchmarks::compare(
        state, {"counter paths, names translated", "bare building of paths that are known", /*aim=*/0},
        [&] {
            found = 0;
            for (unsigned i = 0; i < count; ++i) {
                const PerformanceCounterPath path(names[nameFor(i)], zor::String(), names[nameFor(i + 1)]);
                found += path.getFullLocalizedCounterPath().empty() ? 0u : 1u;
            }
        },
        [&] {
            for (unsigned i = 0; i < count; ++i) {
                const unsigned one = nameFor(i), other = nameFor(i + 1);
                bare({2 * one + 2, &names[one]}, {2 * other + 2, &names[other]});
            }
        });
    simulation::control().watching = true;
    if (found != count) return state.SkipWithError("not all names were found");
    state.counters["paths_per_second"] = benchmark::Counter(
        static_cast<double>(count) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(tenThousandPaths)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
