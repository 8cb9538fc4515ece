// What EventLogParser::search looks for.
#pragma once

#include "libSysmira/Export.h"
#include "support/String.h"
#include "support/Types.h"

namespace libSysmira {

/// Criteria for records; those whose flags are set must all hold. Without flags every record fits.
struct SYSMIRA_API EventLogSearchParams {
    enum SearchFlag : zor::Uint32 {
        SearchByCode = 0x1,      ///< eventCode is the low 16 bits of the record's EventID
        SearchByCategory = 0x2,  ///< eventCode is its EventCategory: the same field, there is no other
        SearchBySource = 0x4,    ///< source is its source name, letter case included
        SearchByType = 0x8,      ///< eventType is its EventType
    };

    EventLogSearchParams();
    EventLogSearchParams(const EventLogSearchParams&);
    EventLogSearchParams(EventLogSearchParams&&) noexcept;
    EventLogSearchParams& operator=(const EventLogSearchParams&);
    EventLogSearchParams& operator=(EventLogSearchParams&&) noexcept;
    ~EventLogSearchParams();

    /// Looks for just these two; eventType stays as it was.
    void searchByCodeAndSource(unsigned short code, const zor::String& source, void* context);

    zor::Uint32 searchFlags = 0;
    unsigned short eventCode = 0;
    zor::String source;
    unsigned short eventType = 0;
    void* context = nullptr;  ///< handed to the viewer as it is
};

}  // namespace libSysmira
