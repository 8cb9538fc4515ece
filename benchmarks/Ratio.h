// Two ways to the same result, timed alternately in one run, with Google Benchmark. Counters: "ratio" (the
// median of the pairs), "low" and "high" (their quartiles), "aim", and "peer_us" (the second's median in
// microseconds).
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "benchmarks/Timing.h"

namespace benchmarks {

inline void report(benchmark::State& state, const Comparison& comparison, const Ratio& ratio) {
    state.SetLabel(std::string(comparison.what) + "|" + comparison.with);
    state.counters["ratio"] = ratio.middle;
    state.counters["low"] = ratio.low;
    state.counters["high"] = ratio.high;
    state.counters["aim"] = comparison.aim;
}

/// For benchmarks registered with UseManualTime(): each iteration runs both, in changing order.
template <class Ours, class Peer>
void compare(benchmark::State& state, const Comparison& comparison, Ours&& ours, Peer&& peer) {
    std::vector<double> oursSeconds, peerSeconds;
    bool oursFirst = true;
    for (auto _ : state) {
        if (oursFirst) oursSeconds.push_back(secondsOf(ours));
        peerSeconds.push_back(secondsOf(peer));
        if (!oursFirst) oursSeconds.push_back(secondsOf(ours));
        oursFirst = !oursFirst;
        state.SetIterationTime(oursSeconds.back());
    }
    report(state, comparison, Ratio(oursSeconds, peerSeconds));
    state.counters["peer_us"] = median(peerSeconds) * 1e6;
}

}  // namespace benchmarks
