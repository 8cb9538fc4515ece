// Times and messages of events, as text and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "libSysmira/eventLogs/EventLogParser.h"
#include "support/DateTime.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace sysmira {

/// "2026-02-03T04:05:06", with ".789000" behind it when there are microseconds; null when empty.
nlohmann::ordered_json timeToJson(const zor::DateTime& time);

/// A moment, in seconds since 1970, as local time with the offset from UTC of that moment.
zor::DateTime localTime(unsigned seconds);
/// A local time of the library, which carries today's offset, with the offset of its own season.
zor::DateTime withOwnOffset(const zor::DateTime& time);
/// "2026-02-03 04:05:06 UTC+01:00"; nothing when empty.
std::string localTimeText(const zor::DateTime& time);
/// "2026-02-03T04:05:06+01:00", or with "Z" where local time is UTC; null when empty.
nlohmann::ordered_json localTimeToJson(const zor::DateTime& time);

/// A record of a classic log; the time is UTC, told by its "Z".
nlohmann::ordered_json eventToJson(libSysmira::EventLogParser& parser, bool withMessage);

/// A message without the line ends and terminators behind it, its lines parted by "\n".
std::string messageText(const zor::String& message);

/// The lines of a text, made printable; from the second on, each is indented.
std::string printableLines(const std::string& text, std::size_t indent);

/// "Access is denied (5)": what Windows says about a code.
std::string describeError(DWORD error);

}  // namespace sysmira
