// One open query of the Performance Data Helper and its counters, shared by all that read from it.
#pragma once

#include "libSysmira/perf/PerformanceCounterPath.h"
#include "support/Array.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class PerformanceCounterQueryImp {
public:
    static constexpr unsigned int notAdded = 0xFFFFFFFF;

    /// Opens the query (PdhOpenQueryW); whether that went well is told by isOpened.
    PerformanceCounterQueryImp();
    /// PdhCloseQuery, which takes the counters along.
    ~PerformanceCounterQueryImp();
    PerformanceCounterQueryImp(const PerformanceCounterQueryImp&) = delete;
    PerformanceCounterQueryImp& operator=(const PerformanceCounterQueryImp&) = delete;

    bool isOpened() const { return m_opened; }
    /// The counter's index here, or notAdded (PdhValidatePathW, PdhAddCounterW).
    unsigned int addCounter(const PerformanceCounterPath& path);
    /// Samples all counters (PdhCollectQueryData).
    bool collect() const;
    /// Formats what was sampled last (PdhGetFormattedCounterValue); `format` is a PDH_FMT_ number. The
    /// value's own status is not looked at.
    bool read(unsigned int index, DWORD format, PDH_FMT_COUNTERVALUE& value) const;

private:
    bool m_opened = false;
    PDH_HQUERY m_query = nullptr;
    zor::Array<PDH_HCOUNTER> m_counters;
};

}  // namespace libSysmira
