// The English names of counters, which the library keeps for the life of a process.
#pragma once

#include "libSysmira/perf/PerformanceCounterPath.h"

namespace libSysmira {

/// Makes the library forget what it has read, as a new process would have read nothing.
struct PerformanceNameTableReset {
    static void run() {
        PerformanceCounterPath::m_perfNameToIndexLookup.releaseStorage();
        PerformanceCounterPath::m_gotPerfNameToIndexLookupData = false;
    }
};

}  // namespace libSysmira
