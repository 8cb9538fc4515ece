// What the library adds to the COM calls that it must make: rows of a query with five properties each,
// against a bare loop of the same calls. The simulated functions run with journal, faults and locks off.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "benchmarks/Ratio.h"
#include "libSysmira/wmi/Wmi.h"
#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace {

using libSysmira::WmiNamespace;
using libSysmira::WmiObject;
using libSysmira::WmiQueryResult;
using simulation::WmiKey;

constexpr auto Infinite = static_cast<DWORD>(WBEM_INFINITE);
constexpr CLSID administrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};

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
                                         {u"Load", 0.25}}});
    }
}

// What the rows say, so that both sides can be seen to read the same.
struct Sum {
    unsigned rows = 0;
    unsigned long long total = 0;
};

Sum throughTheLibrary() {
    Sum sum;
    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject row;
    if (!wmi.connect("root\\cimv2") || !wmi.query("select * from Bench_Volume", result)) return sum;
    const zor::String idName = "Id", nameName = "Name", capacityName = "Capacity",
                      automountName = "Automount", loadName = "Load";
    unsigned int id = 0;
    zor::String name;
    unsigned long long capacity = 0;
    bool automount = false;
    double load = 0;
    while (result.next(row, Infinite)) {
        if (row.getProperty(idName, id) && row.getProperty(nameName, name) &&
            row.getProperty(capacityName, capacity) && row.getProperty(automountName, automount) &&
            row.getProperty(loadName, load)) {
            ++sum.rows;
            sum.total += id + name.size() + capacity + (automount ? 1 : 0) + static_cast<unsigned>(load * 4);
        }
    }
    return sum;
}

unsigned long long digitsOf(BSTR text) {
    unsigned long long value = 0;
    for (; *text != 0; ++text) value = value * 10 + static_cast<unsigned>(*text - '0');
    return value;
}

// Reads a property and hands its VARIANT to `use`.
template <class Use>
void bareProperty(IWbemClassObject* row, const WCHAR* name, Use&& use) {
    VARIANT value;
    CIMTYPE type = CIM_EMPTY;
    VariantInit(&value);
    if (row->Get(name, 0, &value, &type, nullptr) == S_OK) use(value);
    VariantClear(&value);
}

void bareRow(IWbemClassObject* row, Sum& sum) {
    bareProperty(row, L"Id", [&](const VARIANT& value) { sum.total += value.ulVal; });
    bareProperty(row, L"Name", [&](const VARIANT& value) {
        const std::basic_string<WCHAR, zor::CodeUnitTraits> name(value.bstrVal, SysStringLen(value.bstrVal));
        sum.total += name.size();
    });
    bareProperty(row, L"Capacity", [&](const VARIANT& value) { sum.total += digitsOf(value.bstrVal); });
    bareProperty(row, L"Automount", [&](const VARIANT& value) { sum.total += value.boolVal != 0 ? 1 : 0; });
    bareProperty(row, L"Load",
                 [&](const VARIANT& value) { sum.total += static_cast<unsigned>(value.dblVal * 4); });
    ++sum.rows;
}

Sum bare() {
    Sum sum;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT, RPC_C_IMP_LEVEL_IMPERSONATE,
                         nullptr, EOAC_NONE, nullptr);
    IWbemLocator* locator = nullptr;
    CoCreateInstance(administrativeLocator, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                     IID_IWbemLocator, reinterpret_cast<void**>(&locator));
    const BSTR path = SysAllocString(L"root\\cimv2"), language = SysAllocString(L"WQL"),
               query = SysAllocString(L"select * from Bench_Volume");
    IWbemServices* services = nullptr;
    locator->ConnectServer(path, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services);
    IEnumWbemClassObject* rows = nullptr;
    services->ExecQuery(language, query, WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &rows);
    IWbemClassObject* row = nullptr;
    ULONG returned = 0;
    while (rows->Next(static_cast<LONG>(Infinite), 1, &row, &returned) == S_OK && returned == 1) {
        bareRow(row, sum);
        row->Release();
    }
    rows->Release();
    services->Release();
    for (const BSTR text : {path, language, query}) SysFreeString(text);
    locator->Release();
    CoUninitialize();
    return sum;
}

// How often WMI is called, by method. References are counted more often by a library that hands objects on.
std::vector<unsigned> callsOf(Sum (*work)()) {
    simulation::control().clearJournal();
    work();
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
    if (callsOf(throughTheLibrary) != callsOf(bare)) {
        return state.SkipWithError("the library and the bare loop make different calls");
    }
    const Sum ours = throughTheLibrary(), peer = bare();
    if (ours.rows != count || ours.rows != peer.rows || ours.total != peer.total) {
        return state.SkipWithError("the library and the bare loop read different things");
    }
    simulation::reset();
    fillMachine(count);
    simulation::control().watching = false;
    benchmarks::compare(
        state, [] { benchmark::DoNotOptimize(throughTheLibrary()); },
        [] { benchmark::DoNotOptimize(bare()); });
    simulation::control().watching = true;
    state.counters["rows_per_second"] = benchmark::Counter(
        static_cast<double>(count) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(rowsOfFiveProperties)->Arg(1'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
