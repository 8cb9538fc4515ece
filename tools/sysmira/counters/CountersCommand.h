// `sysmira counters`: performance counters by English names.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct CountersRequest {
    /// None: list the objects; one object; or counters, "OBJECT(INSTANCE)\COUNTER".
    std::vector<std::string> names;
    std::optional<double> everySeconds;  ///< between samples; none: a second
    std::optional<unsigned> samples;     ///< none: one, or with everySeconds until Ctrl+C
    /// Whether counters that do not exist are explained before the sampling rather than after it.
    bool reportsUnknownFirst = true;
};

/// Lists of names as text or as one JSON document; samples as a table that grows by a line each, or as one
/// JSON object a line.
///
/// Throws CommandFailure. Of several counters, those that exist are read though others do not.
void runCounters(const CountersRequest& request, Output& output);

}  // namespace sysmira
