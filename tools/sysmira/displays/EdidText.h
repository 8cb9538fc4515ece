// An EDID in words, and as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/sysmira/displays/Edid.h"

namespace sysmira {

/// Several lines, each preceded by `indent` blanks; what the monitor says of itself is made printable.
std::string toText(const Edid& edid, unsigned indent);
/// Numbers are numbers in the units of their names; what is not told is null or missing.
nlohmann::ordered_json toJson(const Edid& edid);

}  // namespace sysmira
