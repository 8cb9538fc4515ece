// Reads a classic Windows event log, oldest record first.
//
//     libSysmira::EventLogParser parser;
//     if (parser.openEventLog("System")) {
//         while (parser.getNextEvent()) … parser.toString(/*withMessage=*/true, /*indent=*/0) …
//     }
//
// One thread at a time uses a parser. The object is large (it holds the 64 KiB that one reading takes), so
// that reading allocates nothing; it belongs on the heap or among a program's statics rather than on a small
// stack.
//
// What a log holds is not trusted: a record is taken only when its length makes sense, and no getter reads
// beyond it. Records of a damaged log that cannot be taken end the iteration. Failures of opening and of
// rendering messages write lines of priority 3 on the logger "libSysmira.EventLogParser".
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/eventLogs/EventLogSearchParams.h"
#include "support/Array.h"
#include "support/Buffer.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class EventLogParser;
class EventRecord;

/// Gets the records that a search finds.
class SYSMIRA_API EventLogViewer {
public:
    /// The parser stands on the record. False ends the search. The viewer may use the parser as it likes:
    /// when it has moved the parser or searched with it, the search goes on behind the record where it was
    /// left.
    virtual bool viewEvent(EventLogParser& parser, void* context) = 0;
    virtual ~EventLogViewer();
};

class SYSMIRA_API EventLogParser {
public:
    EventLogParser();
    EventLogParser(const EventLogParser&) = delete;
    EventLogParser& operator=(const EventLogParser&) = delete;
    ~EventLogParser();

    /// Opens a log of this machine (OpenEventLogW) and closes the one that was open; the parser stands before
    /// the oldest record. Windows opens the Application log for a name that it does not know. After a failure
    /// no log is open, and the parser keeps the earlier name. The current record stays readable until
    /// getNextEvent.
    bool openEventLog(const zor::String& logName);
    /// Opens the log that was opened last again.
    bool resetIteration();
    /// Goes to the next record (ReadEventLogW). False at the end, on a failure to read, at a record that
    /// cannot be taken and at one that is larger than 64 KiB; the getters then still have the record before.
    /// GetLastError tells which: ERROR_HANDLE_EOF at the end, ERROR_EVENTLOG_FILE_CORRUPT at a damaged
    /// record, otherwise what Windows answered.
    bool getNextEvent();
    /// Opens the log again and hands every record that fits the criteria to the viewer. Whether any did;
    /// false, too, when the log cannot be opened.
    bool search(EventLogViewer& viewer, EventLogSearchParams& params);

    // Of the current record. Without one they are misuse, an assertion failure (zor::RaisedException).

    unsigned short getEventCode() const;  ///< the low 16 bits of getEventID
    unsigned short getEventCategory() const;
    unsigned int getEventID() const;
    unsigned int getTimeGenerated() const;  ///< seconds since 1970-01-01 UTC
    zor::String getSource() const;
    /// "Error", "Warning", "Information", "Success" (of an audit), "Failure Audit"; "UNKNOWN" for others, 0
    /// included.
    zor::String getEventType() const;
    /// The record itself, until the parser moves on.
    const EVENTLOGRECORD& getEvent() const;
    /// The insertion strings in order; strings that do not end inside the record are not there.
    void getMessageStringArguments(zor::Array<zor::String>& out) const;

    /// The record's message (FormatMessageW), from the message files that the registry names for its source;
    /// empty when there is none, or when it asks for more insertion strings than the record has. The files
    /// are separated by semicolons in a value of type REG_EXPAND_SZ; a REG_SZ value is one file name,
    /// semicolons included.
    zor::String getEventMessage();
    /// Six lines, and the message as a seventh; the time is UTC.
    zor::String toString(bool withMessage, unsigned int indent);

private:
    void close();
    bool getNextRecord();
    bool getEventMessageImp(zor::String& out, bool withInserts) const;
    bool getEventMessageFiles(zor::Array<zor::String>& files) const;
    bool getMessageStringArguments(zor::Buffer<unsigned long long>& args) const;

    // What is not exported.
    EventRecord current() const;
    bool fits(const EventLogSearchParams& params) const;

    static constexpr DWORD BufferSize = 0x10000;

    zor::String m_logName;
    HANDLE m_logHandle = nullptr;
    unsigned char* m_pEventRecord = nullptr;
    const EVENTLOGRECORD* m_pCurrentEvent = nullptr;
    alignas(8) unsigned char m_buffer[BufferSize] = {};
    DWORD m_bytesLeft = 0;
    DWORD m_bytesNeeded = 0;
};

}  // namespace libSysmira
