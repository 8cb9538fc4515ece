// What Windows' own memory test and disk diagnostics have left in the System channel.
//
//     auto& events = libSysmira::VistaDiagnosticEvents::instance();
//     events.findMemoryDiagnosticEvents();
//     for (unsigned int i = 0; i < events.memoryDiagnosticEventCount(); ++i) …
//
// Threads: instance() may be called from any thread; everything else here by one thread at a time, the
// queryParameters() too. Lines go to the logger "Sysmira.VistaDiagnosticEvents".
#pragma once

#include "libSysmira/Export.h"
#include "support/Array.h"
#include "support/DateTime.h"
#include "support/String.h"
#include "support/ZORValue.h"

namespace libSysmira {

/// What VistaEventLogs::queryLogs is asked for one kind of events.
struct QueryParameters {
    zor::String channel;
    zor::String query;
    zor::Array<zor::String> valuePaths;
};

/// When an event was written: local time.
class SYSMIRA_API EventDateTime {
public:
    explicit EventDateTime(const zor::DateTime& dateTime) : m_dateTime(dateTime) {}

    unsigned int year() const { return m_dateTime.getYear(); }
    unsigned int month() const { return m_dateTime.getMonth(); }
    unsigned int day() const { return m_dateTime.getDay(); }
    unsigned int hour() const { return m_dateTime.getHour(); }
    unsigned int minute() const { return m_dateTime.getMinute(); }
    unsigned int second() const { return m_dateTime.getSecond(); }
    const zor::DateTime& zorDateTime() const { return m_dateTime; }

private:
    zor::DateTime m_dateTime;
};

/// The result of one run of the memory test.
class SYSMIRA_API MemoryDiagnosticEvent {
public:
    /// From a row with a value for each of the value paths. Throws zor::TypeMismatch when a value is of
    /// another type than Windows writes; a row that is too short is misuse.
    explicit MemoryDiagnosticEvent(const zor::Array<zor::ZORValue>& row);

    /// Kept for the life of the process, and used by every search: the caller may change it.
    static QueryParameters& queryParameters();

    EventDateTime dateTime() const { return EventDateTime(m_dateTime); }
    /// Whether the completion type is "pass", in any letter case.
    bool passed() const { return m_passed; }
    // As Windows wrote them; 0 when it did not.
    unsigned int testDuration() const { return m_testDuration; }
    unsigned int numberPagesTested() const { return m_numberPagesTested; }
    unsigned int numberPagesUntested() const { return m_numberPagesUntested; }
    unsigned int numberBadPages() const { return m_numberBadPages; }

private:
    zor::DateTime m_dateTime;
    bool m_passed = false;
    unsigned int m_testDuration = 0;
    unsigned int m_numberPagesTested = 0;
    unsigned int m_numberPagesUntested = 0;
    unsigned int m_numberBadPages = 0;
};

/// A prediction that a disk will fail.
class SYSMIRA_API DiskDiagnosticEvent {
public:
    /// As of MemoryDiagnosticEvent; the volume names alone may be null.
    explicit DiskDiagnosticEvent(const zor::Array<zor::ZORValue>& row);

    static QueryParameters& queryParameters();

    EventDateTime dateTime() const { return EventDateTime(m_dateTime); }
    /// Always false: only failures are recorded.
    bool passed() const { return m_passed; }
    const zor::String& diskFriendlyName() const { return m_diskFriendlyName; }
    const zor::String& diskHardwareId() const { return m_diskHardwareId; }
    const zor::String& diskVolumeNames() const { return m_diskVolumeNames; }

private:
    zor::DateTime m_dateTime;
    bool m_passed = false;
    zor::String m_diskFriendlyName;
    zor::String m_diskHardwareId;
    zor::String m_diskVolumeNames;
};

/// The events of both kinds, newest first, as the last search of each found them.
class SYSMIRA_API VistaDiagnosticEvents {
public:
    /// The one there is, alive until the process is gone. It has searched for nothing yet.
    static VistaDiagnosticEvents& instance();
    VistaDiagnosticEvents(const VistaDiagnosticEvents&) = delete;
    VistaDiagnosticEvents& operator=(const VistaDiagnosticEvents&) = delete;

    // Each forgets what it found before. Events that are not as Windows writes them are left out; one with a
    // value of another type writes a line of priority 4. A query that fails finds none.

    void findMemoryDiagnosticEvents();
    void findDiskDiagnosticEvents();

    unsigned int memoryDiagnosticEventCount() const { return m_memoryEvents.size(); }
    unsigned int diskDiagnosticEventCount() const { return m_diskEvents.size(); }
    /// An index beyond the count is misuse.
    const MemoryDiagnosticEvent& memoryDiagnosticEvent(unsigned int index) const {
        return m_memoryEvents[index];
    }
    const DiskDiagnosticEvent& diskDiagnosticEvent(unsigned int index) const { return m_diskEvents[index]; }

private:
    VistaDiagnosticEvents() = default;

    zor::Array<MemoryDiagnosticEvent> m_memoryEvents;
    zor::Array<DiskDiagnosticEvent> m_diskEvents;
};

}  // namespace libSysmira
