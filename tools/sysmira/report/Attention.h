// What a technician should look at first.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace sysmira {

/// Of the report's sections: devices with problems, failures that Windows predicts, memory tests that found
/// something, volumes that are nearly full, EDIDs that contradict themselves: [{"section", "sentence"}].
nlohmann::ordered_json findAttention(const nlohmann::ordered_json& sections);

}  // namespace sysmira
