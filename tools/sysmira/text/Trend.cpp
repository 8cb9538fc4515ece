#include "tools/sysmira/text/Trend.h"

#include <algorithm>
#include <cmath>

namespace sysmira {

std::string trendOf(const std::vector<std::optional<double>>& values, std::size_t width) {
    static const char* const bars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr double steps = std::size(bars) - 1;
    const std::size_t shown = std::min(values.size(), width);
    const auto begin = values.end() - static_cast<std::ptrdiff_t>(shown);
    std::optional<double> least, greatest;
    for (auto each = begin; each != values.end(); ++each) {
        if (!*each || !std::isfinite(**each)) continue;
        least = std::min(least.value_or(**each), **each);
        greatest = std::max(greatest.value_or(**each), **each);
    }
    std::string trend;
    for (auto each = begin; each != values.end(); ++each) {
        if (!*each || !std::isfinite(**each)) {
            trend += ' ';
            continue;
        }
        // Halves first: the span of two numbers may be more than a number can hold.
        const double span = *greatest / 2 - *least / 2;
        const double height = span > 0 ? (**each / 2 - *least / 2) / span * steps : 0;
        trend += bars[static_cast<std::size_t>(std::lround(std::clamp(height, 0.0, steps)))];
    }
    return trend + std::string(width - shown, ' ');
}

}  // namespace sysmira
