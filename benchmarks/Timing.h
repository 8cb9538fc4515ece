// Timing of a piece of work, and the middle of several times.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace benchmarks {

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <class Work>
double secondsOf(Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace benchmarks
