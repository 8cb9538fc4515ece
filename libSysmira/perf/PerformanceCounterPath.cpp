#include "libSysmira/perf/PerformanceCounterPath.h"

#include <algorithm>

#include "libSysmira/perf/PerformanceNameTable.h"
#include "support/Buffer.h"
#include "support/ClassLogger.h"
#include "support/GrowingRead.h"
#include "support/MultiString.h"
#include "support/WindowsApi.h"
#include "support/WindowsRegistry.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("PerformanceCounterPath");

constexpr DWORD pathUnits = 2048;
constexpr DWORD nameUnits = 150;

// Null where there is no text; the function does not write to it.
LPWSTR textOrNull(const zor::String& text) {
    return text.empty() ? nullptr : const_cast<LPWSTR>(text.getUCS2Buffer());
}

zor::String textOf(const zor::Char16* units, DWORD count) {
    return zor::textFromBytes(reinterpret_cast<const unsigned char*>(units),
                              std::size_t{count} * sizeof *units);
}

// The name of an index in the system's language.
bool readLocalizedName(DWORD index, zor::String& name) {
    zor::Char16 first[nameUnits] = {};
    DWORD size = nameUnits;
    auto status = static_cast<DWORD>(PdhLookupPerfNameByIndexW(nullptr, index, first, &size));
    if (status == ERROR_SUCCESS) {
        name = textOf(first, nameUnits);
        return true;
    }
    if (status != PDH_MORE_DATA) return false;
    // What is said of a buffer that was too small may be less than there was room for.
    size = std::max(size, nameUnits);
    const DWORD allocated = size;
    zor::Buffer<unsigned char> bytes;
    if (!zor::tryResize(bytes, std::size_t{allocated} * sizeof(zor::Char16))) return false;
    auto* const units = reinterpret_cast<zor::Char16*>(bytes.data());
    status = static_cast<DWORD>(PdhLookupPerfNameByIndexW(nullptr, index, units, &size));
    if (status != ERROR_SUCCESS) return false;
    name = textOf(units, allocated);
    return true;
}

}  // namespace

zor::Array<zor::String> PerformanceCounterPath::m_perfNameToIndexLookup;
bool PerformanceCounterPath::m_gotPerfNameToIndexLookupData = false;

PerformanceCounterPath::PerformanceCounterPath() = default;
PerformanceCounterPath::PerformanceCounterPath(const PerformanceCounterPath&) = default;
PerformanceCounterPath::PerformanceCounterPath(PerformanceCounterPath&&) noexcept = default;
PerformanceCounterPath& PerformanceCounterPath::operator=(const PerformanceCounterPath&) = default;
PerformanceCounterPath& PerformanceCounterPath::operator=(PerformanceCounterPath&&) noexcept = default;
PerformanceCounterPath::~PerformanceCounterPath() = default;

PerformanceCounterPath::PerformanceCounterPath(const zor::String& object, const zor::String& instance,
                                               const zor::String& counter) {
    getFullPathString(object, instance, counter, m_fullPath);
    zor::String localizedObject, localizedCounter;
    if (getLocalizedPerfName(object, localizedObject) && getLocalizedPerfName(counter, localizedCounter)) {
        getFullPathString(localizedObject, instance, localizedCounter, m_fullLocalizedPath);
    }
}

bool PerformanceCounterPath::counterExists() const {
    return !m_fullLocalizedPath.empty() &&
           PdhValidatePathW(m_fullLocalizedPath.getUCS2Buffer()) == ERROR_SUCCESS;
}

bool PerformanceCounterPath::getLocalizedPerfName(const zor::String& englishName,
                                                  zor::String& localizedName) {
    unsigned int index = 0;
    if (!getPerfNameIndex(englishName, index)) return false;
    if (readLocalizedName(index, localizedName)) return true;
    theLog.write(zor::Error, 167, [&](zor::LoggerStream& line) {
        line << "Failed to get localized perf name for \"" << englishName << "\"";
    });
    return false;
}

bool PerformanceCounterPath::getEnglishPerfName(const zor::String& localizedName, zor::String& englishName) {
    DWORD index = 0;
    if (PdhLookupPerfIndexByNameW(nullptr, localizedName.getUCS2Buffer(), &index) != ERROR_SUCCESS) {
        return false;
    }
    return getPerfNameFromIndex(index, englishName);
}

bool PerformanceCounterPath::getPerfNameToIndexLookupData() {
    if (m_gotPerfNameToIndexLookupData) return true;
    // English, whatever the system speaks.
    const zor::String key(
        "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Perflib\\009");
    const zor::String value("Counter");
    try {
        if (zor::WindowsRegistry::keyExists(key) &&
            zor::WindowsRegistry::multiStringValueExists(key, value)) {
            m_perfNameToIndexLookup =
                zor::WindowsRegistry::getMultiStringValue(key, value, /*expandReferences=*/false);
            m_gotPerfNameToIndexLookupData = true;
        }
    } catch (const zor::WindowsRegistryException& exception) {
        theLog.write(zor::Error, 101, [&](zor::LoggerStream& line) {
            line << "Error while getting perf name indices : " << exception.getMessage();
        });
    }
    return m_gotPerfNameToIndexLookupData;
}

bool PerformanceCounterPath::getPerfNameIndex(const zor::String& name, unsigned int& index) {
    return getPerfNameToIndexLookupData() && findPerfNameIndex(m_perfNameToIndexLookup, name, index);
}

bool PerformanceCounterPath::getPerfNameFromIndex(unsigned int index, zor::String& name) {
    return getPerfNameToIndexLookupData() && findPerfName(m_perfNameToIndexLookup, index, name);
}

bool PerformanceCounterPath::getFullPathString(const zor::String& object, const zor::String& instance,
                                               const zor::String& counter, zor::String& path) {
    PDH_COUNTER_PATH_ELEMENTS_W elements = {};
    elements.szObjectName = textOrNull(object);
    elements.szInstanceName = textOrNull(instance);
    elements.dwInstanceIndex = static_cast<DWORD>(-1);  // not one of several of the same name
    elements.szCounterName = textOrNull(counter);
    zor::Char16 buffer[pathUnits] = {};
    DWORD size = pathUnits;
    if (PdhMakeCounterPathW(&elements, buffer, &size, 0) != ERROR_SUCCESS) return false;
    path = textOf(buffer, pathUnits);
    return true;
}

}  // namespace libSysmira
