#include "tools/sysmira/devices/TreeCommand.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "libSysmira/enumeration/ConfigManager.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/devices/DeviceFacts.h"
#include "tools/sysmira/devices/Problems.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/TreePicture.h"

namespace sysmira {

using libSysmira::ConfigManager;

namespace {

struct DeviceRow {
    DEVINST node = 0;
    unsigned depth = 0;
    zor::String id;
    zor::String name;
    NodeState state;
    std::optional<std::size_t> parent;  ///< the nearest ancestor that is shown, as index
};

std::vector<DeviceRow> readRows(bool withHidden) {
    std::vector<DeviceRow> rows;
    const auto visit = [](DEVINST node, unsigned depth, void* context) {
        DeviceRow row;
        row.node = node;
        row.depth = depth;
        static_cast<std::vector<DeviceRow>*>(context)->push_back(std::move(row));
    };
    ConfigManager::forEach(visit, &rows, !withHidden);
    for (DeviceRow& row : rows) {
        ConfigManager::getDeviceInstanceId(row.node, row.id);
        ConfigManager::getDisplayName(row.node, row.name, zor::String::EMPTY());
        // The tree's functions skip names of more than 1,023 units, a device's own do not.
        if (row.name.empty() && row.depth != 0)
            libSysmira::WindowsDevice(row.id).getDisplayName(row.name, zor::String::EMPTY());
        row.state = readState(row.node);
    }
    return rows;
}

// Devices below a hidden one go to its nearest shown ancestor.
void findParents(std::vector<DeviceRow>& rows) {
    std::unordered_map<DEVINST, std::size_t> indices;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        DEVINST above = rows[i].node;
        for (unsigned step = 0; step < rows[i].depth && !rows[i].parent; ++step) {
            above = ConfigManager::getParentNode(above);
            if (const auto found = indices.find(above); found != indices.end())
                rows[i].parent = found->second;
        }
        indices.emplace(rows[i].node, i);
    }
}

std::string counted(std::size_t count, const char* one, const char* many) {
    return std::to_string(count) + (count == 1 ? one : many);
}

// How many devices of what state, and what their problem numbers mean.
std::string summary(const std::vector<DeviceRow>& rows) {
    std::size_t hidden = 0, disabled = 0, troubled = 0;
    std::map<unsigned, std::size_t> problems;
    for (const DeviceRow& row : rows) {
        if (row.state.hidden) ++hidden;
        if (row.state.disabled) ++disabled;
        if (row.state.problem && !row.state.disabled) ++troubled;
        if (row.state.problem) ++problems[*row.state.problem];
    }
    std::string text = "\n" + counted(rows.size(), " device", " devices");
    if (hidden != 0) text += ", " + std::to_string(hidden) + " hidden";
    if (disabled != 0) text += ", " + std::to_string(disabled) + " disabled";
    if (troubled != 0) text += ", " + counted(troubled, " with a problem", " with problems");
    text += "\n";
    for (const auto& [number, count] : problems) {
        const std::string digits = std::to_string(number);
        text += "  problem " + std::string(digits.size() < 2 ? 1 : 0, ' ') + digits + ": " +
                problemMeaning(number) + "\n";
    }
    return text;
}

std::string toText(const std::vector<DeviceRow>& rows) {
    std::vector<TreeRow> lines;
    for (const DeviceRow& row : rows) {
        zor::String shown = row.name;
        std::string name = printable(shown.trim());
        if (name.empty()) name = row.depth == 0 ? "This PC" : "(no name)";
        if (const std::string marks = marksOf(row.state); !marks.empty()) name += " [" + marks + "]";
        lines.push_back({std::move(name), printable(row.id), row.parent});
    }
    return drawTree(lines) + summary(rows);
}

nlohmann::ordered_json toDocument(const std::vector<DeviceRow>& rows) {
    nlohmann::ordered_json devices = nlohmann::ordered_json::array();
    for (const DeviceRow& row : rows) {
        nlohmann::ordered_json device;
        device["id"] = toUtf8(row.id);
        device["name"] = toUtf8(row.name);
        device["depth"] = row.depth;
        device["parent"] = nullptr;
        if (row.parent) device["parent"] = toUtf8(rows[*row.parent].id);
        addState(device, row.state);
        devices.push_back(std::move(device));
    }
    return {{"devices", std::move(devices)}};
}

}  // namespace

void runTree(bool withHidden, Output& output) {
    if (ConfigManager::getRootNode() == 0) {
        throw CommandFailure(NotRead, "the device tree cannot be read: Windows does not tell its root",
                             FailureCause::NotSupported);
    }
    std::vector<DeviceRow> rows = readRows(withHidden);
    findParents(rows);
    if (output.wantsJson()) return output.printDocument(toDocument(rows));
    output.print(toText(rows));
}

}  // namespace sysmira
