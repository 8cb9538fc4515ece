// What has been going on in a classic event log lately.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace sysmira {

/// How many events there were on each of the log's last days, and its latest errors with their messages,
/// newest first:
/// {"log", "records", "first", "last", "days": [{"day", "errors", "warnings", "others"}], "errors",
/// "latestErrors": […]}.
///
/// The days are those of UTC, without a gap, up to that of the newest record. Throws CommandFailure when the
/// log cannot be opened or read to its end.
nlohmann::ordered_json summarizeLog(const std::string& log);

}  // namespace sysmira
