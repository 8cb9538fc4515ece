// Timing of two ways to the same result, and the ratio of many pairs with its spread.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace benchmarks {

/// What is measured, against what, and the ratio that it should not exceed; 0: none.
struct Comparison {
    const char* what;
    const char* with;
    double aim;
};

template <class Work>
double secondsOf(Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The value below which so great a part of the values lies.
inline double quantile(std::vector<double> values, double part) {
    if (values.empty()) return 0;
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

inline double median(const std::vector<double>& values) { return quantile(values, 0.5); }

/// Of pairs timed one after the other: the median of the pairs' ratios, and the quartiles around it.
struct Ratio {
    Ratio(const std::vector<double>& ours, const std::vector<double>& peer) {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < std::min(ours.size(), peer.size()); ++i)
            ratios.push_back(ours[i] / peer[i]);
        low = quantile(ratios, 0.25);
        middle = median(ratios);
        high = quantile(ratios, 0.75);
    }
    double low, middle, high;
};

/// The line that measure.py reads of the programs that run on Windows' own functions.
inline void print(const Comparison& comparison, const Ratio& ratio) {
    std::printf("{\"label\": \"%s|%s\", \"ratio\": %.4f, \"low\": %.4f, \"high\": %.4f, \"aim\": %.4f}\n",
                comparison.what, comparison.with, ratio.middle, ratio.low, ratio.high, comparison.aim);
}

}  // namespace benchmarks
