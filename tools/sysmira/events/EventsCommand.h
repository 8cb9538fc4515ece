// `sysmira events`: the records of a classic event log.
#pragma once

#include <optional>
#include <string>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct EventsRequest {
    std::string log;               ///< "System"
    std::optional<unsigned> code;  ///< the low 16 bits of the event's ID
    std::optional<unsigned> category;
    std::optional<std::string> source;  ///< letter case counts
    std::string type;                   ///< "Error", in any letter case; empty: all
    std::optional<unsigned> limit;      ///< of records to print
    bool messages = false;
};

/// The records that fit, oldest first: as text one after the other as they are found, or as one JSON
/// document.
///
/// Throws CommandFailure; when a log ends early, after what could be read of it is printed.
void runEvents(const EventsRequest& request, Output& output);

}  // namespace sysmira
