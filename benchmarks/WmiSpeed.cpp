// What the DLL adds to the COM calls that it must make, on the system's own WMI: the services of this system,
// five properties each, against a bare loop of the same calls. Prints the ratio with its spread.
#include <cstdio>
#include <vector>

#include "benchmarks/Timing.h"
#include "benchmarks/WmiRows.h"

int main() {
    using namespace benchmarks;
    constexpr unsigned Rounds = 4001;
    const RowsQuery services{L"select * from Win32_Service",
                             {{{L"AcceptPause", CIM_BOOLEAN},
                               {L"DisplayName", CIM_STRING},
                               {L"Name", CIM_STRING},
                               {L"ProcessId", CIM_UINT32},
                               {L"State", CIM_STRING}}}};
    LibraryRows ours(services);
    BareRows peer(services);
    const Sum expected = peer.read();
    std::vector<double> oursSeconds, peerSeconds;
    for (unsigned round = 0; round < Rounds; ++round) {
        Sum read, peerRead;
        if (round % 2 == 0) oursSeconds.push_back(secondsOf([&] { read = ours.read(); }));
        peerSeconds.push_back(secondsOf([&] { peerRead = peer.read(); }));
        if (round % 2 != 0) oursSeconds.push_back(secondsOf([&] { read = ours.read(); }));
        if (expected.rows == 0 || read != expected || peerRead != expected) {
            std::fprintf(stderr, "The library and the bare loop read different things.\n");
            return 1;
        }
    }
    print(
        {"WMI rows of five properties, on the system's functions", "bare COM loop, same calls", /*aim=*/1.05},
        Ratio(oursSeconds, peerSeconds));
}
