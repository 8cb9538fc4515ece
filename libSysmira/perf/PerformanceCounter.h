// The value of one performance counter: on its own, or as a member of a PerformanceCounterQuery that samples
// many at once.
//
//     libSysmira::PerformanceCounter upTime("System", "", "System Up Time");
//     long long seconds = 0;
//     if (upTime.getCounterValue(seconds)) …
//
// Copies share the counter's query, and the last of them closes it. The count is kept without a lock: a
// query, its counters and all their copies stay on one thread. Nothing is logged but by the paths; failures
// are false.
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/perf/PerformanceCounterPath.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"
#include "support/String.h"

namespace libSysmira {

class PerformanceCounterQueryImp;

class SYSMIRA_API PerformanceCounter {
public:
    /// Whether this Windows has the Performance Data Helper: a file Pdh.dll in the folder system32 of
    /// %WINDIR%. Loads nothing; to be asked before anything else of performance counters is.
    static bool apiAvailable();

    // Counters on their own, each with a query of its own. One that the system does not have (yet) has none,
    // and each read tries anew.

    explicit PerformanceCounter(const PerformanceCounterPath& path);
    /// From English names.
    PerformanceCounter(const zor::String& object, const zor::String& instance, const zor::String& counter);
    PerformanceCounter(const PerformanceCounter&);
    PerformanceCounter& operator=(const PerformanceCounter&);
    ~PerformanceCounter();

    const PerformanceCounterPath& getCounterPath() const { return m_path; }
    bool counterExists() const;

    // Reads the value (PdhGetFormattedCounterValue) as a whole number of 64 bits, as a real one, or as a
    // whole one of 32 bits. False, with `value` as it was, when there is none.
    //
    // A counter on its own is sampled by each read, once. Rates compare two samples: their first read fails,
    // and later ones tell of the time since the read before. A member of a query is not sampled here, but by
    // PerformanceCounterQuery::updateCounters; before the first one that succeeds, Windows reports 0 for a
    // counter that is no rate.
    //
    // The status that Windows stores beside the value (PDH_FMT_COUNTERVALUE::CStatus) is not examined: a read
    // succeeds when PdhGetFormattedCounterValue does.

    bool getCounterValue(long long& value) const;
    bool getCounterValue(double& value) const;
    bool getCounterValue(int& value) const;

private:
    friend class PerformanceCounterQuery;
    using Imp = zor::SharedResource<zor::PointerStorage<PerformanceCounterQueryImp, 0, 3>, 0>;

    PerformanceCounter(const PerformanceCounterPath& path, const Imp& imp, unsigned int index);

    void createImp() const;
    bool valid() const;
    bool refreshed() const;
    template <class Value, class Formatted>
    bool read(unsigned int format, Formatted member, Value& value) const;

    PerformanceCounterPath m_path;
    mutable Imp m_pImp;
    mutable unsigned int m_index = 0;
    bool m_standalone = true;
};

}  // namespace libSysmira
