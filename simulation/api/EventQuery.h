// What EvtQuery is asked: an XPath filter of one channel, or a structured query.
//
//     <QueryList>
//       <Query Id="0" Path="System">
//         <Select>*[System[Level&lt;=2]]</Select>
//         <Select Path="Application">*</Select>
//         <Suppress>*[System[EventID=7]]</Suppress>
//       </Query>
//     </QueryList>
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "simulation/api/EventXPath.h"

namespace simulation {

/// Selects or suppresses events of a channel.
struct EventSelector {
    Text channel;
    EventXPath filter;
    bool suppresses = false;
};

/// Whether the text is meant as a structured query.
bool isStructuredQuery(std::u16string_view text);

/// Nothing when the text is no query. The path of a structured query is its own: `channel` is not used.
std::optional<std::vector<EventSelector>> parseEventQuery(const Text& channel, std::u16string_view text);

/// Whether the selectors of a channel take the event.
bool isSelected(const std::vector<EventSelector>& selectors, const Text& channel, const EventElement& event,
                ULONGLONG now);

}  // namespace simulation
