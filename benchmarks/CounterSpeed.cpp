// What the DLL adds to the calls of the Performance Data Helper that it must make, on the system's own: many
// counters of the up time, against a bare loop of the same calls. Prints the ratio with its spread.
#include <cstdio>
#include <vector>

#include "benchmarks/CounterReads.h"
#include "benchmarks/Timing.h"
#include "tests/windows/CounterSystem.h"

namespace {

template <class Function>
void find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"pdh.dll"), name)));
}

}  // namespace

int main() {
    using namespace benchmarks;
    constexpr unsigned Rounds = 4001;
    constexpr unsigned Counters = 1000;
    if (!loadCounterNames()) {
        std::fprintf(stderr, "counter-names\\pdh.dll is not there.\n");
        return 1;
    }
    PdhFunctions pdh = {};
    find(pdh.openQuery, "PdhOpenQueryW");
    find(pdh.closeQuery, "PdhCloseQuery");
    find(pdh.addCounter, "PdhAddCounterW");
    find(pdh.collectQueryData, "PdhCollectQueryData");
    find(pdh.getFormattedCounterValue, "PdhGetFormattedCounterValue");

    const CounterPaths paths(Counters, {"System", "", "System Up Time"});
    LibraryCounters ours(paths);
    BareCounters peer(paths, pdh);
    std::vector<double> oursSeconds, peerSeconds;
    for (unsigned round = 0; round < Rounds; ++round) {
        // Time goes on between the two.
        long long read = 0, before = 0, after = 0;
        before = peer.read();
        if (round % 2 == 0) oursSeconds.push_back(secondsOf([&] { read = ours.read(); }));
        peerSeconds.push_back(secondsOf([&] { after = peer.read(); }));
        if (round % 2 != 0) oursSeconds.push_back(secondsOf([&] { read = ours.read(); }));
        if (round % 2 != 0) after = peer.read();
        if (ours.size() != Counters || before <= 0 || read < before || after < read) {
            std::fprintf(stderr, "The library and the bare loop read different things.\n");
            return 1;
        }
    }
    print({"one sample of 1,000 counters, on the system's functions", "bare calls, one collection",
           /*aim=*/1.10},
          Ratio(oursSeconds, peerSeconds));
}
