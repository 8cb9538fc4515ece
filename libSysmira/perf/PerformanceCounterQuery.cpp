#include "libSysmira/perf/PerformanceCounterQuery.h"

#include "libSysmira/perf/PerformanceCounterQueryImp.h"

namespace libSysmira {

PerformanceCounterQuery::PerformanceCounterQuery() : m_pImp(new PerformanceCounterQueryImp) {}
PerformanceCounterQuery::PerformanceCounterQuery(const PerformanceCounterQuery&) = default;
PerformanceCounterQuery& PerformanceCounterQuery::operator=(const PerformanceCounterQuery&) = default;
PerformanceCounterQuery::~PerformanceCounterQuery() = default;

PerformanceCounterQuery::Counter PerformanceCounterQuery::addCounter(const PerformanceCounterPath& path) {
    const unsigned int index = m_pImp->addCounter(path);
    if (index == PerformanceCounterQueryImp::notAdded) return Counter();
    const Counter counter(new PerformanceCounter(path, m_pImp, index));
    m_counters.append(counter);
    return counter;
}

bool PerformanceCounterQuery::updateCounters() { return m_pImp->collect(); }

PerformanceCounter& PerformanceCounterQuery::getCounter(unsigned int index) { return *m_counters[index]; }

const PerformanceCounter& PerformanceCounterQuery::getCounter(unsigned int index) const {
    return *m_counters[index];
}

}  // namespace libSysmira
