// Many performance counters that are sampled with one call.
//
//     libSysmira::PerformanceCounterQuery query;
//     query.addCounter({"Processor", "_Total", "% Processor Time"});
//     query.addCounter({"Memory", "", "Available Bytes"});
//     query.updateCounters();  // and again after a while: rates compare two samples
//     double load = 0;
//     if (query.updateCounters() && query.getCounter(0).getCounterValue(load)) …
//
// The query, its copies and the counters that it handed out share one open query, closed when the last of
// them goes, in whatever order they do. All of them stay on one thread.
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/perf/PerformanceCounter.h"
#include "support/Array.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"

namespace libSysmira {

class SYSMIRA_API PerformanceCounterQuery {
public:
    using Counter = zor::SharedResource<zor::PointerStorage<PerformanceCounter, 0, 3>, 0>;

    /// Opens the query (PdhOpenQueryW). When that fails, nothing can be added or sampled.
    PerformanceCounterQuery();
    /// A copy has the counters that were added so far; those added later, to either, are its own.
    PerformanceCounterQuery(const PerformanceCounterQuery&);
    PerformanceCounterQuery& operator=(const PerformanceCounterQuery&);
    ~PerformanceCounterQuery();

    /// The counter as it was added, the last of the list; an empty holder, and an unchanged list, when the
    /// system does not have it.
    Counter addCounter(const PerformanceCounterPath& path);
    /// Samples all counters at one moment (one PdhCollectQueryData).
    bool updateCounters();

    unsigned int counters() const { return m_counters.size(); }
    /// An index beyond the end is misuse.
    PerformanceCounter& getCounter(unsigned int index);
    const PerformanceCounter& getCounter(unsigned int index) const;

private:
    PerformanceCounter::Imp m_pImp;
    zor::Array<Counter> m_counters;
};

}  // namespace libSysmira
