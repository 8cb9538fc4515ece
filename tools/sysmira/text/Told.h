// JSON of what Windows may leave out.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace sysmira {

/// Null where the text is empty.
inline nlohmann::ordered_json told(const std::string& text) {
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}
/// Null where 0 stands for what is not known.
inline nlohmann::ordered_json told(unsigned long long number) {
    return number == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(number);
}

}  // namespace sysmira
