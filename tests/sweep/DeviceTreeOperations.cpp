#include "libSysmira/enumeration/ConfigManager.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::ConfigManager;

DEVINST nodeOf(const char* id) { return simulation::machine().node(simulation::fromUtf8(id))->handle; }
DEVINST disk() { return nodeOf(diskId); }
DEVINST bus() { return nodeOf("PCI\\VEN_1234&DEV_0001\\3&1&0"); }

Result node(DEVINST found) { return {found != 0, std::to_string(found)}; }

template <bool (*Read)(DEVINST, zor::String&)>
Result text() {
    zor::String value(before);
    const bool success = Read(disk(), value);
    return {success, plain(value)};
}

template <bool (*Read)(DEVINST, zor::Array<zor::String>&)>
Result texts() {
    zor::Array<zor::String> values;
    values.append(before);
    const bool success = Read(disk(), values);
    return {success, plain(values)};
}

Result visitAll() {
    std::string visited;
    ConfigManager::forEach(
        [](DEVINST visitedNode, unsigned, void* context) {
            zor::String id;
            ConfigManager::getDeviceInstanceId(visitedNode, id);
            *static_cast<std::string*>(context) += plain(id) + "\n";
        },
        &visited, /*skipHidden=*/true);
    return {true, visited};
}

Result children() {
    zor::Array<DEVINST> found;
    ConfigManager::getChildren(bus(), found);
    std::string ids;
    for (const DEVINST child : found)
        ids += simulation::toUtf8(simulation::machine().node(child)->instanceId) + "\n";
    return {true, ids};
}

// A failing call ends a walk early or lets a device in whose status cannot be read.
Check anyNode() {
    return [](const Result& result, const Result&, Failure failure) -> std::string {
        if (failure == Failure::Deception || result.output == "0") return {};
        const auto handle = static_cast<DEVINST>(std::stoul(result.output));
        return simulation::machine().node(handle) != nullptr ? "" : "no such node: " + result.output;
    };
}

// Deceived walks may see the same texts twice, but they end.
Check someIds() {
    return [devices = someOfTheDevices()](const Result& result, const Result& clean,
                                          Failure failure) -> std::string {
        return result.output.find("\n\n") == std::string::npos ? devices(result, clean, failure) : "";
    };
}

}  // namespace

std::vector<Operation> deviceTreeOperations() {
    return {
        {"TreeRoot", smallPc, [] { return node(ConfigManager::getRootNode()); }, anyNode()},
        {"TreeParent", smallPc, [] { return node(ConfigManager::getParentNode(disk())); }, anyNode()},
        {"TreeChild", smallPc, [] { return node(ConfigManager::getChildNode(bus())); }, anyNode()},
        {"TreeSibling", smallPc,
         [] { return node(ConfigManager::getSiblingNode(nodeOf("STORAGE\\VOLUME\\1"))); }, anyNode()},
        {"TreeFind", smallPc, [] { return node(ConfigManager::findByDeviceInstanceId(diskId)); }, anyNode()},
        {"TreeChildren", smallPc, children, someOfTheDevices()},
        {"TreeForEach", smallPc, visitAll, someIds()},
        {"TreeInstanceId", smallPc, text<ConfigManager::getDeviceInstanceId>, keptOnFailure(before)},
        {"TreeParentInstanceId", smallPc, text<ConfigManager::getParentDeviceInstanceId>,
         keptOnFailure(before)},
        {"TreeParentInstanceIdById", smallPc,
         [] {
             zor::String value(before);
             const bool success = ConfigManager::getParentDeviceInstanceId(zor::String(diskId), value);
             return Result{success, plain(value)};
         },
         keptOnFailure(before)},
        {"TreeIsHidden", smallPc,
         [] {
             return Result{true, std::to_string(ConfigManager::isHidden(nodeOf("STORAGE\\VOLUME\\1")))};
         },
         anyOf({"0"})},
        {"TreeIsDisabled", smallPc,
         [] {
             return Result{true, std::to_string(ConfigManager::isDisabled(nodeOf("USBSTOR\\DISK\\STICK")))};
         },
         anyOf({"0"})},
        {"TreeHasDriverProblem", smallPc,
         [] {
             unsigned problem = 4711;
             const bool success = ConfigManager::hasDriverProblem(nodeOf("USBSTOR\\DISK\\STICK"), &problem);
             return Result{success, std::to_string(problem)};
         },
         keptOnFailure("4711")},
        {"TreeScan", smallPc,
         [] {
             return Result{ConfigManager::scanForHardwareChanges(), ""};
         },
         anyOf({""})},
        {"TreeDescription", smallPc, text<ConfigManager::getDescription>, clearedOnFailure()},
        {"TreeFriendlyName", smallPc, text<ConfigManager::getFriendlyName>, clearedOnFailure()},
        {"TreeServiceName", smallPc, text<ConfigManager::getServiceName>, clearedOnFailure()},
        {"TreeClass", smallPc, text<ConfigManager::getClass>, clearedOnFailure()},
        {"TreeClassGuid", smallPc, text<ConfigManager::getClassGuid>, clearedOnFailure()},
        {"TreeDriverKey", smallPc, text<ConfigManager::getDriverKey>, clearedOnFailure()},
        {"TreeLocation", smallPc, text<ConfigManager::getLocation>, clearedOnFailure()},
        {"TreeEnumerator", smallPc, text<ConfigManager::getEnumerator>, clearedOnFailure()},
        {"TreeHardwareIds", smallPc, texts<ConfigManager::getHardwareIds>, clearedOnFailure()},
        {"TreeCompatibleIds", smallPc, texts<ConfigManager::getCompatibleIds>, clearedOnFailure()},
        {"TreeDisplayName", smallPc,
         [] {
             zor::String value;
             ConfigManager::getDisplayName(disk(), value, "fallback");
             return Result{true, plain(value)};
         },
         anyOf({"Disk drive", "fallback"})},
        {"TreeRemovalRelations", smallPc, texts<ConfigManager::getRemovalRelations>, clearedOnFailure()},
        {"TreeBusRelations", smallPc, texts<ConfigManager::getBusRelations>, clearedOnFailure()},
        {"TreeEjectionRelations", smallPc, texts<ConfigManager::getEjectionRelations>, clearedOnFailure()},
    };
}

}  // namespace sweep
