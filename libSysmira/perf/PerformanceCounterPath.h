// The name of one performance counter, in English and in the language of the system.
//
//     libSysmira::PerformanceCounterPath load("Processor", "_Total", "% Processor Time");
//     load.getFullCounterPath();           // \Processor(_Total)\% Processor Time
//     load.getFullLocalizedCounterPath();  // \Prozessor(_Total)\Prozessorzeit (%)
//
// Names are translated through indices: the registry lists the English names with theirs (Perflib\009), and
// the Performance Data Helper (pdh.dll) knows the system's own names. pdh.dll is loaded by the first
// operation that needs it; PerformanceCounter::apiAvailable tells beforehand whether it is there, and where
// it is not, every operation fails as it does for an unknown name.
//
// The English names are read once and kept as long as the process lives, without a lock: make the first use
// on one thread. After it, any thread may construct and ask paths of its own.
#pragma once

#include "libSysmira/Export.h"
#include "support/Array.h"
#include "support/String.h"

namespace libSysmira {

class SYSMIRA_API PerformanceCounterPath {
public:
    /// The path of no counter: both texts are empty.
    PerformanceCounterPath();
    /// From English names; an empty instance is for objects that have none. Names of instances are the same
    /// in every language. The English path is empty when object or counter is, or when it takes more than
    /// 2047 code units; the localized one also when a name cannot be translated.
    PerformanceCounterPath(const zor::String& object, const zor::String& instance,
                           const zor::String& counter);
    PerformanceCounterPath(const PerformanceCounterPath&);
    PerformanceCounterPath(PerformanceCounterPath&&) noexcept;
    PerformanceCounterPath& operator=(const PerformanceCounterPath&);
    PerformanceCounterPath& operator=(PerformanceCounterPath&&) noexcept;
    ~PerformanceCounterPath();

    const zor::String& getFullCounterPath() const { return m_fullPath; }
    /// What the Performance Data Helper understands.
    const zor::String& getFullLocalizedCounterPath() const { return m_fullLocalizedPath; }

    /// Whether the system has this counter now (PdhValidatePathW).
    bool counterExists() const;

    /// Translates the name of an object or counter into the system's language (PdhLookupPerfNameByIndexW).
    /// Case does not matter; of a name that stands twice, the first counts. False, with `localizedName` as it
    /// was, when there is no such English name (no line) or when Windows has none for its index (a line of
    /// priority 4 on the logger "PerformanceCounterPath").
    static bool getLocalizedPerfName(const zor::String& englishName, zor::String& localizedName);
    /// The way back (PdhLookupPerfIndexByNameW). False, with `englishName` as it was, when either step fails.
    static bool getEnglishPerfName(const zor::String& localizedName, zor::String& englishName);

private:
    // Tests begin with a table that nobody has read.
    friend struct PerformanceNameTableReset;

    static bool getPerfNameToIndexLookupData();
    static bool getPerfNameIndex(const zor::String& name, unsigned int& index);
    static bool getPerfNameFromIndex(unsigned int index, zor::String& name);
    static bool getFullPathString(const zor::String& object, const zor::String& instance,
                                  const zor::String& counter, zor::String& path);

    static zor::Array<zor::String> m_perfNameToIndexLookup;
    static bool m_gotPerfNameToIndexLookupData;

    zor::String m_fullPath;
    zor::String m_fullLocalizedPath;
};

}  // namespace libSysmira
