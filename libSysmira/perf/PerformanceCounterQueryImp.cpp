#include "libSysmira/perf/PerformanceCounterQueryImp.h"

namespace libSysmira {

PerformanceCounterQueryImp::PerformanceCounterQueryImp() {
    m_opened = PdhOpenQueryW(nullptr, /*dwUserData=*/0, &m_query) == ERROR_SUCCESS;
}

PerformanceCounterQueryImp::~PerformanceCounterQueryImp() {
    if (m_opened) PdhCloseQuery(m_query);
}

unsigned int PerformanceCounterQueryImp::addCounter(const PerformanceCounterPath& path) {
    if (!path.counterExists()) return notAdded;
    // Room first: a counter that was added cannot get lost.
    m_counters.append(nullptr);
    const unsigned int index = m_counters.size() - 1;
    const zor::Char16* const localized = path.getFullLocalizedCounterPath().getUCS2Buffer();
    if (PdhAddCounterW(m_query, localized, /*dwUserData=*/0, &m_counters[index]) != ERROR_SUCCESS) {
        m_counters.remove(index);
        return notAdded;
    }
    return index;
}

bool PerformanceCounterQueryImp::collect() const {
    return m_opened && PdhCollectQueryData(m_query) == ERROR_SUCCESS;
}

bool PerformanceCounterQueryImp::read(unsigned int index, DWORD format, PDH_FMT_COUNTERVALUE& value) const {
    return PdhGetFormattedCounterValue(m_counters[index], format, nullptr, &value) == ERROR_SUCCESS;
}

}  // namespace libSysmira
