// The text of a machine file as a JSON document, for JsonPlace to read.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace simulation {

/// Throws MachineFileError with line and column where the text is no JSON, and with the place where a member
/// stands twice in one object, a number is too large for JSON's readers, or things nest deeper than in any
/// PC.
nlohmann::json parseJson(std::string_view text, const std::string& source);

}  // namespace simulation
