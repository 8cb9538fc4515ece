#include "libSysmira/eventLogs/EventLogSearchParams.h"

namespace libSysmira {

EventLogSearchParams::EventLogSearchParams() = default;
EventLogSearchParams::EventLogSearchParams(const EventLogSearchParams&) = default;
EventLogSearchParams::EventLogSearchParams(EventLogSearchParams&&) noexcept = default;
EventLogSearchParams& EventLogSearchParams::operator=(const EventLogSearchParams&) = default;
EventLogSearchParams& EventLogSearchParams::operator=(EventLogSearchParams&&) noexcept = default;
EventLogSearchParams::~EventLogSearchParams() = default;

void EventLogSearchParams::searchByCodeAndSource(unsigned short code, const zor::String& sourceName,
                                                 void* contextForViewer) {
    source = sourceName;
    searchFlags = SearchByCode | SearchBySource;
    eventCode = code;
    context = contextForViewer;
}

}  // namespace libSysmira
