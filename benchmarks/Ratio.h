// Two ways to the same result, timed alternately in one run: the counter "ratio" is the median time of the
// first by that of the second, "peer_us" the second's median in microseconds.
#pragma once

#include <benchmark/benchmark.h>

#include <vector>

#include "benchmarks/Timing.h"

namespace benchmarks {

/// For benchmarks registered with UseManualTime(): each iteration runs both, in changing order.
template <class Ours, class Peer>
void compare(benchmark::State& state, Ours&& ours, Peer&& peer) {
    std::vector<double> oursSeconds, peerSeconds;
    bool oursFirst = true;
    for (auto _ : state) {
        if (oursFirst) oursSeconds.push_back(secondsOf(ours));
        peerSeconds.push_back(secondsOf(peer));
        if (!oursFirst) oursSeconds.push_back(secondsOf(ours));
        oursFirst = !oursFirst;
        state.SetIterationTime(oursSeconds.back());
    }
    state.counters["ratio"] = median(oursSeconds) / median(peerSeconds);
    state.counters["peer_us"] = median(peerSeconds) * 1e6;
}

}  // namespace benchmarks
