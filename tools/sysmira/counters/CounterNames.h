// The names that a user gives to performance counters, and what is said of those that do not exist.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "libSysmira/perf/PerformanceCounterPath.h"

namespace sysmira {

/// "OBJECT(INSTANCE)\COUNTER" in parts, all English but the instance.
struct CounterName {
    std::string object;
    std::string instance;  ///< empty: none
    std::string counter;

    libSysmira::PerformanceCounterPath toPath() const;
    /// As it is written.
    std::string toText() const;
};

/// A backslash in front is read over. Nothing when it is no such name.
std::optional<CounterName> parseCounterName(std::string_view text);

/// Why there is no such object, with the nearest one that there is.
std::string explainMissingObject(const std::string& object);
/// Why there is no such counter: its object, its counter or its instance, with the nearest one that there is.
std::string explainMissingCounter(const CounterName& name);

}  // namespace sysmira
