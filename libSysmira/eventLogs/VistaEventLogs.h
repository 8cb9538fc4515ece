// Queries on the channels of the Windows Event Log service.
//
// Any thread may call these at any time; calls share nothing but the logger "Sysmira.VistaEventLogs". Times
// become local time with the offset from UTC that holds now, not the one of the event's date. Everything that
// Windows hands out is closed when a call returns.
#pragma once

#include "libSysmira/Export.h"
#include "support/Array.h"
#include "support/String.h"
#include "support/WindowsApi.h"
#include "support/ZORValue.h"

namespace libSysmira {

/// Whether the last queryLogs on this thread has seen all events of its query: 0, or Windows' code of what
/// kept it from them (EvtQuery, EvtNext, EvtCreateRenderContext); ERROR_GEN_FAILURE where Windows failed
/// without a code. Events that could not be rendered do not count.
SYSMIRA_API DWORD getLastEventQueryError() noexcept;

class SYSMIRA_API VistaEventLogs {
public:
    enum SortOrder : unsigned int {
        NewestFirst = 0,
        OldestFirst = 1,  ///< and every other value but 0
    };

    // The object has no state.
    VistaEventLogs& operator=(const VistaEventLogs&) { return *this; }
    VistaEventLogs& operator=(VistaEventLogs&&) { return *this; }

    // A query that Windows refuses (EvtQuery) writes a line of priority 1 and finds no events, which is a
    // success. `channel` is a channel's path ("System"), `query` an XPath filter ("*[System/Level=1]").
    // Events are asked for one by one, 5 seconds each; whatever ends that ends the events.

    /// Each event as XML text (EvtRender). False when an event cannot be rendered or has no text; those
    /// before it stay in `xmlEvents`.
    static bool queryLogs(const zor::String& channel, const zor::String& query, SortOrder order,
                          zor::Array<zor::String>& xmlEvents);

    /// A row for each event, with a value for each path ("Event/System/TimeCreated/@SystemTime"). An event
    /// that cannot be rendered has an empty row. False, with `values` empty, for an empty query and for paths
    /// that Windows refuses (EvtCreateRenderContext).
    ///
    /// Texts, 16- to 64-bit numbers, booleans and times keep their types; hexadecimal numbers become texts
    /// ("0x1F"). A boolean reads the other way round: true when the event's is false. Everything else is
    /// null, with a line of priority 1.
    static bool queryLogs(const zor::String& channel, const zor::String& query, SortOrder order,
                          const zor::Array<zor::String>& valuePaths,
                          zor::Array<zor::Array<zor::ZORValue>>& values);

    /// The same with the name of the event's provider and all of its user data appended to each row, and its
    /// message (EvtFormatMessage) appended to `messages`, which is not cleared: rows and new messages go in
    /// pairs. A message ends with the NUL that Windows counts; it is empty, as is the user data, when the
    /// provider does not tell its messages (EvtOpenPublisherMetadata).
    static bool queryLogs(const zor::String& channel, const zor::String& query, SortOrder order,
                          const zor::Array<zor::String>& valuePaths,
                          zor::Array<zor::Array<zor::ZORValue>>& values, zor::Array<zor::String>& messages);
};

}  // namespace libSysmira
