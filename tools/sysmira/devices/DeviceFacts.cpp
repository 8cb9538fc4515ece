#include "tools/sysmira/devices/DeviceFacts.h"

#include <nlohmann/json.hpp>

#include "libSysmira/enumeration/ConfigManager.h"
#include "tools/sysmira/devices/Problems.h"

namespace sysmira {

using libSysmira::ConfigManager;

NodeState readState(DEVINST node) {
    NodeState state;
    if (node == 0) return state;
    state.hidden = ConfigManager::isHidden(node);
    state.disabled = ConfigManager::isDisabled(node);
    unsigned problem = 0;
    if (ConfigManager::hasDriverProblem(node, &problem)) state.problem = problem;
    return state;
}

std::string marksOf(const NodeState& state) {
    std::string marks = state.hidden ? "hidden" : "";
    const std::string trouble = state.disabled  ? "disabled"
                                : state.problem ? "problem " + std::to_string(*state.problem)
                                                : "";
    if (!marks.empty() && !trouble.empty()) marks += ", ";
    return marks + trouble;
}

void addState(nlohmann::ordered_json& object, const NodeState& state) {
    object["hidden"] = state.hidden;
    object["disabled"] = state.disabled;
    object["problem"] = nullptr;
    if (state.problem)
        object["problem"] = {{"number", *state.problem}, {"meaning", problemMeaning(*state.problem)}};
}

std::vector<ReportField> reportFields(const libSysmira::WindowsDevice& device) {
    return {{"Friendly Name    : ", device.getFriendlyName()},
            {"Description      : ", device.getDescription()},
            {"Enumerator       : ", device.getEnumerator()},
            {"DeviceInstanceID : ", device.getDeviceInstanceId()},
            {"OS Locator       : ", device.getOsLocator()}};
}

nlohmann::ordered_json toJson(const libSysmira::WindowsDevice& device) {
    nlohmann::ordered_json object;
    object["id"] = toUtf8(device.getDeviceInstanceId());
    object["friendlyName"] = toUtf8(device.getFriendlyName());
    object["description"] = toUtf8(device.getDescription());
    object["enumerator"] = toUtf8(device.getEnumerator());
    object["osLocator"] = toUtf8(device.getOsLocator());
    object["type"] = libSysmira::getName(device.getType());
    object["interface"] = libSysmira::getName(device.getInterfaceType());
    object["classGuid"] = toUtf8(device.getClassGuidString());
    return object;
}

}  // namespace sysmira
