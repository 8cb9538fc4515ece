#include "libSysmira/perf/PerformanceCounter.h"

#include "libSysmira/perf/PerformanceCounterQueryImp.h"
#include "support/FileSystem.h"
#include "support/System.h"

namespace libSysmira {

bool PerformanceCounter::apiAvailable() {
    const zor::String windows = zor::System::getEnvironmentVariable("WINDIR");
    // Without the variable it would be looked for in the current folder.
    if (windows.empty()) return false;
    const zor::String system = zor::FileSystem::getAbsolutePath("system32", windows, /*normalise=*/true);
    return zor::FileSystem::exists(zor::FileSystem::getAbsolutePath("Pdh.dll", system, /*normalise=*/true));
}

PerformanceCounter::PerformanceCounter(const PerformanceCounterPath& path) : m_path(path) { createImp(); }

PerformanceCounter::PerformanceCounter(const zor::String& object, const zor::String& instance,
                                       const zor::String& counter)
    : m_path(object, instance, counter) {
    createImp();
}

PerformanceCounter::PerformanceCounter(const PerformanceCounterPath& path, const Imp& imp, unsigned int index)
    : m_path(path), m_pImp(imp), m_index(index), m_standalone(false) {}

PerformanceCounter::PerformanceCounter(const PerformanceCounter&) = default;
PerformanceCounter& PerformanceCounter::operator=(const PerformanceCounter&) = default;
PerformanceCounter::~PerformanceCounter() = default;

bool PerformanceCounter::counterExists() const { return m_path.counterExists(); }

bool PerformanceCounter::getCounterValue(long long& value) const {
    return read(PDH_FMT_LARGE, &PDH_FMT_COUNTERVALUE::largeValue, value);
}

bool PerformanceCounter::getCounterValue(double& value) const {
    return read(PDH_FMT_DOUBLE, &PDH_FMT_COUNTERVALUE::doubleValue, value);
}

bool PerformanceCounter::getCounterValue(int& value) const {
    return read(PDH_FMT_LONG, &PDH_FMT_COUNTERVALUE::longValue, value);
}

template <class Value, class Formatted>
bool PerformanceCounter::read(unsigned int format, Formatted member, Value& value) const {
    if (!refreshed()) return false;
    PDH_FMT_COUNTERVALUE formatted = {};
    if (!m_pImp->read(m_index, format, formatted)) return false;
    value = formatted.*member;
    return true;
}

void PerformanceCounter::createImp() const {
    if (!m_path.counterExists()) return;
    const Imp imp(new PerformanceCounterQueryImp);
    // It may have gone since.
    const unsigned int index = imp->addCounter(m_path);
    if (index == PerformanceCounterQueryImp::notAdded) return;
    m_pImp = imp;
    m_index = index;
}

bool PerformanceCounter::valid() const {
    if (!m_pImp.isValid()) createImp();
    return m_pImp.isValid();
}

bool PerformanceCounter::refreshed() const {
    if (!valid()) return false;
    return !m_standalone || m_pImp->collect();
}

}  // namespace libSysmira
