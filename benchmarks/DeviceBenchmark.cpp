// What the library adds to the Windows calls that it must make: enumerations and tree walks against bare
// loops of the same calls. The simulated functions run with journal, faults and locks off.

#include <benchmark/benchmark.h>

#include "benchmarks/Ratio.h"
#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace {

using simulation::DeviceNode;
using simulation::Text;

Text numbered(const char16_t* prefix, unsigned number) {
    Text text = prefix;
    for (const char digit : std::to_string(number)) text += static_cast<char16_t>(digit);
    return text;
}

DeviceNode device(unsigned number) {
    DeviceNode node;
    node.instanceId = numbered(u"USB\\VID_1234&PID_5678\\SERIAL", number);
    node.classGuid = GUID_DEVCLASS_USB;
    node.status = DN_DRIVER_LOADED | DN_STARTED;
    node.text(SPDRP_FRIENDLYNAME, numbered(u"Measuring device ", number));
    node.text(SPDRP_DEVICEDESC, u"A device on the universal serial bus");
    node.text(SPDRP_ENUMERATOR_NAME, u"USB");
    return node;
}

enum class Shape { Flat, Wide, Chain };

// A root and `count` devices: all below the root; as a tree of ten children each; or one below the other.
void fillMachine(unsigned count, Shape shape) {
    simulation::reset();
    simulation::control().watching = false;
    simulation::Machine& machine = simulation::machine();
    DeviceNode root;
    root.instanceId = u"HTREE\\ROOT\\0";
    root.status = DN_DRIVER_LOADED | DN_STARTED;
    const DEVINST rootHandle = machine.add(std::move(root)).handle;
    std::vector<DEVINST> handles{rootHandle};
    for (unsigned i = 0; i < count; ++i) {
        const DEVINST parent = shape == Shape::Flat    ? rootHandle
                               : shape == Shape::Chain ? handles.back()
                                                       : handles[i / 10];
        handles.push_back(machine.add(device(i), parent).handle);
    }
}

// The calls that filling a set takes, with nothing around them but what they write.
unsigned bareEnumeration() {
    unsigned found = 0;
    const HDEVINFO list = SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(list, index, &data); ++index) {
        WCHAR id[1024];
        DWORD required = 0;
        SetupDiGetDeviceInstanceIdW(list, &data, id, 1024, &required);
        for (const DWORD property : {SPDRP_FRIENDLYNAME, SPDRP_DEVICEDESC, SPDRP_ENUMERATOR_NAME}) {
            BYTE value[1024];
            DWORD type = 0;
            if (!SetupDiGetDeviceRegistryPropertyW(list, &data, property, &type, nullptr, 0, &required) &&
                GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
                SetupDiGetDeviceRegistryPropertyW(list, &data, property, &type, value, required, &required);
            }
        }
        DEVINST node = 0;
        ULONG status = 0, problem = 0;
        CM_Locate_DevNodeW(&node, id, 0);
        CM_Get_DevNode_Status(&status, &problem, node, 0);
        if ((status & DN_NO_SHOW_IN_DM) == 0) ++found;
    }
    SetupDiDestroyDeviceInfoList(list);
    return found;
}

void enumerateIntoSet(benchmark::State& state) {
    fillMachine(static_cast<unsigned>(state.range(0)), Shape::Flat);
    benchmarks::compare(
        state, {"devices into a set", "bare loop of the same calls", /*aim=*/1.15},
        [] { benchmark::DoNotOptimize(libSysmira::WindowsDeviceSet(0, 0).size()); },
        [] { benchmark::DoNotOptimize(bareEnumeration()); });
}
BENCHMARK(enumerateIntoSet)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMillisecond);

// How the time grows with ten times the devices: the counter "ratio" for the set, "bare" for the bare calls,
// which are no constant time each either (more devices than caches hold).
void enumerateTenTimesTheDevices(benchmark::State& state) {
    const auto fill = [] { benchmark::DoNotOptimize(libSysmira::WindowsDeviceSet(0, 0).size()); };
    const auto bare = [] { benchmark::DoNotOptimize(bareEnumeration()); };
    std::vector<double> set[2], calls[2];
    for (auto _ : state) {
        for (const int many : {0, 1}) {
            fillMachine(many != 0 ? 10'000 : 1'000, Shape::Flat);
            for (int i = 0; i < 5; ++i) {
                set[many].push_back(benchmarks::secondsOf(fill));
                calls[many].push_back(benchmarks::secondsOf(bare));
            }
        }
        state.SetIterationTime(set[1].back());
    }
    benchmarks::report(
        state,
        {"ten times the devices, against a tenth of them", "growth of the bare loop beside it", /*aim=*/10.5},
        benchmarks::Ratio(set[1], set[0]));
    state.counters["bare"] = benchmarks::Ratio(calls[1], calls[0]).middle;
}
BENCHMARK(enumerateTenTimesTheDevices)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);

bool barelyPresent(DEVINST node) {
    ULONG status = 0, problem = 0;
    return CM_Get_DevNode_Status(&status, &problem, node, 0) != CR_SUCCESS ||
           (status & DN_HAS_PROBLEM) == 0 || problem != CM_PROB_DEVICE_NOT_THERE;
}

// The calls of a walk: for each node its status, its child with status, its sibling with status.
unsigned bareWalk() {
    unsigned visited = 0;
    std::vector<DEVINST> parents;
    DEVINST node = 0;
    CM_Locate_DevNodeW(&node, nullptr, 0);
    while (node != 0) {
        if (barelyPresent(node)) ++visited;
        DEVINST next = 0;
        if (CM_Get_Child(&next, node, 0) == CR_SUCCESS && barelyPresent(next)) {
            parents.push_back(node);
            node = next;
            continue;
        }
        while (CM_Get_Sibling(&next, node, 0) != CR_SUCCESS || !barelyPresent(next)) {
            if (parents.empty()) return visited;
            node = parents.back();
            parents.pop_back();
        }
        node = next;
    }
    return visited;
}

void walkTree(benchmark::State& state, Shape shape) {
    fillMachine(10'000, shape);
    benchmarks::compare(
        state, {"walking a tree of 10,000 nodes", "bare loop of the same calls", /*aim=*/1.20},
        [] {
            unsigned visited = 0;
            libSysmira::ConfigManager::forEach(
                [](DEVINST, unsigned, void* context) { ++*static_cast<unsigned*>(context); }, &visited,
                false);
            benchmark::DoNotOptimize(visited);
        },
        [] { benchmark::DoNotOptimize(bareWalk()); });
}
BENCHMARK_CAPTURE(walkTree, tenChildrenEach, Shape::Wide)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(walkTree, oneBelowTheOther, Shape::Chain)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
