#include "libSysmira/vista/VistaDiagnosticEvents.h"

#include "libSysmira/eventLogs/VistaEventLogs.h"
#include "support/ClassLogger.h"
#include "support/TraceLogger.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("Sysmira.VistaDiagnosticEvents");

void readUnlessNull(const zor::ZORValue& source, unsigned int& value) {
    if (!source.isNull()) source.get(value);
}

template <class Event>
void createEvents(zor::Array<Event>& events) {
    const zor::TraceLogger trace(theLog, "createEvents", __FILE__, __LINE__);
    events.clear();
    const QueryParameters& parameters = Event::queryParameters();
    zor::Array<zor::Array<zor::ZORValue>> rows;
    VistaEventLogs::queryLogs(parameters.channel, parameters.query, VistaEventLogs::NewestFirst,
                              parameters.valuePaths, rows);
    for (const zor::Array<zor::ZORValue>& row : rows) {
        if (row.size() != parameters.valuePaths.size()) continue;
        try {
            events.append(Event(row));
        } catch (const zor::TypeMismatch& exception) {
            theLog.write(zor::Error, 50, [&](zor::LoggerStream& line) {
                line << "Unexpected type returned from event : " << exception.getMessage();
            });
        }
    }
}

}  // namespace

MemoryDiagnosticEvent::MemoryDiagnosticEvent(const zor::Array<zor::ZORValue>& row) {
    row[0].get(m_dateTime);
    zor::String completion;
    row[1].get(completion);
    m_passed = completion.compareNoCase("pass") == 0;
    // row[2], the memory's size, says nothing about the test.
    readUnlessNull(row[3], m_testDuration);
    readUnlessNull(row[4], m_numberPagesTested);
    readUnlessNull(row[5], m_numberPagesUntested);
    readUnlessNull(row[6], m_numberBadPages);
}

QueryParameters& MemoryDiagnosticEvent::queryParameters() {
    static QueryParameters& parameters = *new QueryParameters{
        "System",
        "*[System/Provider/@Name='Microsoft-Windows-MemoryDiagnostics-Results' and "
        "(System/EventID=1101 or System/EventID=1102)]",
        {"Event/System/TimeCreated/@SystemTime", "Event/UserData/Results/CompletionType",
         "Event/UserData/Results/MemorySize", "Event/UserData/Results/TestDuration",
         "Event/UserData/Results/NumPagesTested", "Event/UserData/Results/NumPagesUnTested",
         "Event/UserData/Results/NumBadPages"}};
    return parameters;
}

DiskDiagnosticEvent::DiskDiagnosticEvent(const zor::Array<zor::ZORValue>& row) {
    row[0].get(m_dateTime);
    row[1].get(m_diskFriendlyName);
    row[2].get(m_diskHardwareId);
    if (!row[3].isNull()) row[3].get(m_diskVolumeNames);
}

QueryParameters& DiskDiagnosticEvent::queryParameters() {
    const zor::TraceLogger trace(theLog, "queryParameters", __FILE__, __LINE__);
    static QueryParameters& parameters = *new QueryParameters{
        "System",
        "*[System/Provider/@Name='Microsoft-Windows-DiskDiagnostic' and System/EventID=1 and System/Level=1]",
        {"Event/System/TimeCreated/@SystemTime", "Event/EventData/Data[@Name='DiskFriendlyName']",
         "Event/EventData/Data[@Name='HardwareID']", "Event/EventData/Data[@Name='VolumeNames']"}};
    return parameters;
}

VistaDiagnosticEvents& VistaDiagnosticEvents::instance() {
    static VistaDiagnosticEvents& theInstance = *new VistaDiagnosticEvents;
    return theInstance;
}

void VistaDiagnosticEvents::findMemoryDiagnosticEvents() { createEvents(m_memoryEvents); }

void VistaDiagnosticEvents::findDiskDiagnosticEvents() {
    const zor::TraceLogger trace(theLog, "findDiskDiagnosticEvents", __FILE__, __LINE__);
    createEvents(m_diskEvents);
}

}  // namespace libSysmira
