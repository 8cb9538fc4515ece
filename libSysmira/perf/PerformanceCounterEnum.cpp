#include "libSysmira/perf/PerformanceCounterEnum.h"

#include <utility>

#include "libSysmira/perf/PerformanceCounterPath.h"
#include "support/Buffer.h"
#include "support/GrowingRead.h"
#include "support/MultiString.h"
#include "support/WindowsApi.h"

namespace libSysmira {

namespace {

// Everything of this level and below it is listed.
constexpr DWORD detailLevel = 100;

// A list of names as Windows writes it.
class NameList {
public:
    /// False when the announced size is absurd or memory lacks.
    bool allocate(DWORD units) { return zor::tryResize(m_bytes, std::size_t{units} * sizeof(WCHAR)); }
    /// Null when nothing is allocated.
    LPWSTR data() { return m_bytes.empty() ? nullptr : reinterpret_cast<LPWSTR>(m_bytes.data()); }

    void split(zor::Array<zor::String>& names) const {
        zor::splitMultiString(m_bytes.data(), m_bytes.size(), names);
    }
    void translate(zor::Array<zor::String>& names) const {
        zor::Array<zor::String> localized;
        split(localized);
        names.reserve(localized.size());
        for (const zor::String& name : localized) {
            zor::String english;
            if (PerformanceCounterPath::getEnglishPerfName(name, english)) names.append(std::move(english));
        }
    }

private:
    zor::Buffer<unsigned char> m_bytes;
};

PDH_STATUS askObjects(LPWSTR list, DWORD& units, bool refresh) {
    return PdhEnumObjectsW(nullptr, nullptr, list, &units, detailLevel, refresh ? TRUE : FALSE);
}

bool needsRoom(PDH_STATUS status) { return static_cast<DWORD>(status) == PDH_MORE_DATA; }

}  // namespace

bool PerformanceCounterEnum::refreshObjects() {
    DWORD units = 0;
    return askObjects(nullptr, units, /*refresh=*/true) == ERROR_SUCCESS;
}

void PerformanceCounterEnum::enumObjects(zor::Array<zor::String>& objects, bool refresh) {
    objects.clear();
    DWORD units = 0;
    if (!needsRoom(askObjects(nullptr, units, refresh))) return;
    NameList list;
    if (!list.allocate(units)) return;
    if (askObjects(list.data(), units, /*refresh=*/false) == ERROR_SUCCESS) list.translate(objects);
}

void PerformanceCounterEnum::enumCounters(const zor::String& object, zor::Array<zor::String>& instances,
                                          zor::Array<zor::String>& counters) {
    instances.clear();
    counters.clear();
    zor::String localized;
    if (!PerformanceCounterPath::getLocalizedPerfName(object, localized)) return;
    DWORD counterUnits = 0;
    DWORD instanceUnits = 0;
    const auto ask = [&](LPWSTR counterList, LPWSTR instanceList) {
        return PdhEnumObjectItemsW(nullptr, nullptr, localized.getUCS2Buffer(), counterList, &counterUnits,
                                   instanceList, &instanceUnits, detailLevel, /*dwFlags=*/0);
    };
    if (!needsRoom(ask(nullptr, nullptr))) return;
    NameList counterList, instanceList;
    if (!counterList.allocate(counterUnits) || !instanceList.allocate(instanceUnits)) return;
    if (ask(counterList.data(), instanceList.data()) != ERROR_SUCCESS) return;
    counterList.translate(counters);
    instanceList.split(instances);
}

}  // namespace libSysmira
