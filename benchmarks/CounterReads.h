// Two ways to sample and read many performance counters: through the library, and with the bare calls that it
// makes. Both add up what they read, so that it can be seen to be the same.
#pragma once

#include <vector>

#include "libSysmira/perf/PerformanceCounterQuery.h"
#include "support/WindowsApi.h"

namespace benchmarks {

/// The functions of a pdh.dll.
struct PdhFunctions {
    decltype(&PdhOpenQueryW) openQuery;
    decltype(&PdhCloseQuery) closeQuery;
    decltype(&PdhAddCounterW) addCounter;
    decltype(&PdhCollectQueryData) collectQueryData;
    decltype(&PdhGetFormattedCounterValue) getFormattedCounterValue;
};

using CounterPaths = std::vector<libSysmira::PerformanceCounterPath>;

class LibraryCounters {
public:
    explicit LibraryCounters(const CounterPaths& paths) {
        for (const libSysmira::PerformanceCounterPath& path : paths) m_query.addCounter(path);
    }
    unsigned size() const { return m_query.counters(); }
    /// Takes one sample of all and reads each.
    long long read() {
        long long sum = 0;
        if (!m_query.updateCounters()) return -1;
        for (unsigned i = 0; i < m_query.counters(); ++i) {
            long long value = 0;
            if (m_query.getCounter(i).getCounterValue(value)) sum += value;
        }
        return sum;
    }

private:
    libSysmira::PerformanceCounterQuery m_query;
};

class BareCounters {
public:
    BareCounters(const CounterPaths& paths, const PdhFunctions& functions) : m_pdh(functions) {
        m_pdh.openQuery(nullptr, 0, &m_query);
        for (const libSysmira::PerformanceCounterPath& path : paths) {
            PDH_HCOUNTER counter = nullptr;
            m_pdh.addCounter(m_query, path.getFullLocalizedCounterPath().getUCS2Buffer(), 0, &counter);
            m_counters.push_back(counter);
        }
    }
    ~BareCounters() { m_pdh.closeQuery(m_query); }
    BareCounters(const BareCounters&) = delete;
    BareCounters& operator=(const BareCounters&) = delete;

    long long read() {
        long long sum = 0;
        if (m_pdh.collectQueryData(m_query) != ERROR_SUCCESS) return -1;
        for (const PDH_HCOUNTER counter : m_counters) {
            PDH_FMT_COUNTERVALUE value = {};
            if (m_pdh.getFormattedCounterValue(counter, PDH_FMT_LARGE, nullptr, &value) == ERROR_SUCCESS) {
                sum += value.largeValue;
            }
        }
        return sum;
    }

private:
    const PdhFunctions m_pdh;
    PDH_HQUERY m_query = nullptr;
    std::vector<PDH_HCOUNTER> m_counters;
};

}  // namespace benchmarks
