// What the library adds to the COM calls that it must make: rows of a query with five properties each,
// against a bare loop of the same calls. The simulated functions run with journal, faults and locks off.

#include <benchmark/benchmark.h>

#include <vector>

#include "benchmarks/Ratio.h"
#include "benchmarks/WmiRows.h"
#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace {

using benchmarks::BareRows;
using benchmarks::LibraryRows;
using simulation::WmiKey;

void fillMachine(unsigned count) {
    simulation::reset();
    simulation::machine().name = u"PC";
    simulation::WmiNamespaceModel& cim = simulation::machine().wmi[u"root\\cimv2"];
    cim.add(simulation::WmiClass{u"Bench_Volume",
                                 u"",
                                 {{u"Id", CIM_UINT32, {}, WmiKey},
                                  {u"Name", CIM_STRING},
                                  {u"Capacity", CIM_UINT64},
                                  {u"Automount", CIM_BOOLEAN},
                                  {u"Load", CIM_REAL64}},
                                 {}});
    for (unsigned i = 0; i < count; ++i) {
        cim.add(simulation::WmiInstance{u"Bench_Volume",
                                        {{u"Id", i},
                                         {u"Name", u"\\\\?\\Volume{9b2a8b60-0000-0000-0000-100000000000}\\"},
                                         {u"Capacity", 1000204886016ull},
                                         {u"Automount", true},
                                         {u"Load", 4.25}}});
    }
}

const benchmarks::RowsQuery Volumes{L"select * from Bench_Volume",
                                    {{{L"Id", CIM_UINT32},
                                      {L"Name", CIM_STRING},
                                      {L"Capacity", CIM_UINT64},
                                      {L"Automount", CIM_BOOLEAN},
                                      {L"Load", CIM_REAL64}}}};

// How often WMI is called, by method. References are counted more often by a library that hands objects on.
template <class Rows>
std::vector<unsigned> callsOf() {
    simulation::control().clearJournal();
    Rows(Volumes).read();
    std::vector<unsigned> counts;
    for (const char* method :
         {"IWbemLocator::ConnectServer", "IWbemServices::ExecQuery", "IEnumWbemClassObject::Next",
          "IWbemClassObject::Get", "IWbemClassObject::QueryInterface"}) {
        counts.push_back(simulation::control().calls(method));
    }
    return counts;
}

void rowsOfFiveProperties(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    fillMachine(count);
    if (callsOf<LibraryRows>() != callsOf<BareRows>()) {
        return state.SkipWithError("the library and the bare loop make different calls");
    }
    if (BareRows(Volumes).read().rows != count || LibraryRows(Volumes).read() != BareRows(Volumes).read()) {
        return state.SkipWithError("the library and the bare loop read different things");
    }
    simulation::reset();
    fillMachine(count);
    simulation::control().watching = false;
    {
        LibraryRows ours(Volumes);
        BareRows peer(Volumes);
        benchmarks::compare(
            state, {"WMI rows of five properties", "bare COM loop, same calls", /*aim=*/1.50},
            [&] { benchmark::DoNotOptimize(ours.read()); }, [&] { benchmark::DoNotOptimize(peer.read()); });
    }
    simulation::control().watching = true;
    state.counters["rows_per_second"] = benchmark::Counter(
        static_cast<double>(count) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(rowsOfFiveProperties)->Arg(1'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
