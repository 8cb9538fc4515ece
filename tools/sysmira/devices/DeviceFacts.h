// What several subcommands say of a device.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "libSysmira/enumeration/WindowsDevice.h"
#include "support/WindowsApi.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

/// The state of a node as the device manager shows it.
struct NodeState {
    bool hidden = false;
    bool disabled = false;
    std::optional<unsigned> problem;
};
NodeState readState(DEVINST node);

/// "hidden, disabled", "problem 28"; empty for a device that works and is shown.
std::string marksOf(const NodeState& state);
/// Adds "hidden", "disabled" and "problem" (null, or number and meaning).
void addState(nlohmann::ordered_json& object, const NodeState& state);

/// The values in a device's report, in their order there.
std::vector<ReportField> reportFields(const libSysmira::WindowsDevice& device);
/// What the report tells, with stable keys.
nlohmann::ordered_json toJson(const libSysmira::WindowsDevice& device);

}  // namespace sysmira
