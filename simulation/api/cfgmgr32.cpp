// The device tree. Buffers of texts are counted in 16-bit units with the terminator, those of properties in
// bytes. On failure the node found, the size of a list and the list itself are empty; other out-parameters
// are unchanged, except that a size that was too small receives the required one.
#include <algorithm>
#include <cstring>
#include <utility>

#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

constexpr unsigned TextDistortions = Distortion::NothingWritten | Distortion::NoTerminator;
constexpr unsigned SizeDistortions =
    Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero;

// The three steps from a node to its neighbours, by the member that holds the neighbour.
CONFIGRET step(Call& call, DEVINST DeviceNode::*neighbour, PDEVINST result, DEVINST node, ULONG flags) {
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    const DeviceNode* device = machine().node(node);
    if (device == nullptr) return call.returns<CONFIGRET>(CR_INVALID_DEVNODE);
    if (result == nullptr) return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    if (flags != 0) return call.returns<CONFIGRET>(CR_INVALID_FLAG);
    if (device->*neighbour == 0 || machine().noDeviceTree) {
        return call.returns<CONFIGRET>(CR_NO_SUCH_DEVNODE);
    }
    if (!call.distorted(Distortion::NothingWritten)) *result = device->*neighbour;
    return call.returns<CONFIGRET>(CR_SUCCESS);
}

bool isGuid(const Text& text) {
    GUID guid;
    return parseGuid(toUtf8(text), guid);
}

bool hasText(const DeviceNode& node, DWORD property, const Text& text) {
    const auto found = node.properties.find(property);
    if (found == node.properties.end()) return false;
    const Bytes& bytes = found->second.bytes;
    Text value(bytes.size() / sizeof(char16_t), u'\0');
    if (!value.empty()) std::memcpy(value.data(), bytes.data(), value.size() * sizeof(char16_t));
    value.resize(std::min(value.find(u'\0'), value.size()));
    return equalNoCase(value, text);
}

// The devices of a list without relations. `filter` is an enumerator's name, perhaps with a device ID after
// a backslash, the name of a service or the GUID of a setup class.
bool isListed(const DeviceNode& node, ULONG kind, const Text& filter) {
    switch (kind) {
        case CM_GETIDLIST_FILTER_ENUMERATOR: {
            const std::u16string_view id = node.instanceId;
            return id.size() > filter.size() && id[filter.size()] == u'\\' &&
                   equalNoCase(id.substr(0, filter.size()), filter);
        }
        case CM_GETIDLIST_FILTER_SERVICE:
            return hasText(node, SPDRP_SERVICE, filter);
        case CM_GETIDLIST_FILTER_CLASS:
            return equalNoCase(fromUtf8(toString(node.classGuid)), filter);
        default:
            return true;
    }
}

void append(Text& list, const Text& id) {
    list += id;
    list += u'\0';
}

void appendRelations(Text& list, const DeviceNode& node, ULONG kind) {
    if (kind == CM_GETIDLIST_FILTER_REMOVALRELATIONS) {
        for (const Text& id : node.removalRelations) append(list, id);
    } else if (kind == CM_GETIDLIST_FILTER_EJECTRELATIONS) {
        for (const Text& id : node.ejectionRelations) append(list, id);
    } else if (kind == CM_GETIDLIST_FILTER_BUSRELATIONS && node.busRelations) {
        for (const Text& id : *node.busRelations) append(list, id);
    } else if (kind == CM_GETIDLIST_FILTER_BUSRELATIONS) {
        for (const DeviceNode* child = machine().node(node.firstChild); child != nullptr;
             child = machine().node(child->nextSibling)) {
            append(list, child->instanceId);
        }
    }  // devices of this PC have no power and no transport relations
}

// The list that a filter asks for: each ID with its terminator, and one more at the end.
std::pair<CONFIGRET, Text> deviceIdList(PCWSTR filter, ULONG flags) {
    constexpr ULONG Relations = CM_GETIDLIST_FILTER_EJECTRELATIONS | CM_GETIDLIST_FILTER_REMOVALRELATIONS |
                                CM_GETIDLIST_FILTER_POWERRELATIONS | CM_GETIDLIST_FILTER_BUSRELATIONS |
                                CM_GETIDLIST_FILTER_TRANSPORTRELATIONS;
    constexpr ULONG Kinds =
        Relations | CM_GETIDLIST_FILTER_ENUMERATOR | CM_GETIDLIST_FILTER_SERVICE | CM_GETIDLIST_FILTER_CLASS;
    const ULONG kind = flags & Kinds;
    if ((flags & ~static_cast<ULONG>(CM_GETIDLIST_FILTER_BITS)) != 0 || (kind & (kind - 1)) != 0) {
        return {CR_INVALID_FLAG, {}};
    }
    if (kind != 0 && filter == nullptr) return {CR_INVALID_POINTER, {}};
    const Text text = kind == 0 ? Text() : fromWide(filter);
    // A class is named by its GUID (Microsoft, CM_Get_Device_ID_ListW).
    if (kind == CM_GETIDLIST_FILTER_CLASS && !isGuid(text)) return {CR_INVALID_DATA, {}};

    Text list;
    if ((kind & Relations) != 0) {
        const DeviceNode* node = machine().node(text);
        if (node == nullptr || node->phantom) return {CR_NO_SUCH_DEVNODE, {}};
        appendRelations(list, *node, kind);
    } else {
        for (const DeviceNode* node : machine().devicesById()) {
            if ((flags & CM_GETIDLIST_FILTER_PRESENT) != 0 && node->phantom) continue;
            if (isListed(*node, kind, text)) append(list, node->instanceId);
        }
    }
    list += u'\0';
    return {CR_SUCCESS, std::move(list)};
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(CONFIGRET, WINAPI, CM_Locate_DevNodeW, (PDEVINST result, DEVINSTID_W id, ULONG flags)) {
    static const Function function{"CM_Locate_DevNodeW",
                                   Fails::WithCode,
                                   {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVICE_ID, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, id, flags);
    // Without success there is no node.
    if (result != nullptr && !call.distorted(Distortion::NothingWritten)) *result = 0;
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    if (result == nullptr) return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    if ((flags & ~static_cast<ULONG>(CM_LOCATE_DEVNODE_BITS)) != 0) {
        return call.returns<CONFIGRET>(CR_INVALID_FLAG);
    }
    if (machine().noDeviceTree) return call.returns<CONFIGRET>(CR_FAILURE);
    // No ID, or an empty one, is the root's.
    const Text text = fromWide(id);
    const DeviceNode* node = text.empty() ? machine().node(machine().root()) : machine().node(text);
    if (node == nullptr) {
        const bool formed =
            text.empty() || (text.size() <= MAX_DEVICE_ID_LEN && text.find(u'\\') != Text::npos);
        return call.returns<CONFIGRET>(formed ? CR_NO_SUCH_DEVNODE : CR_INVALID_DEVICE_ID);
    }
    if (node->phantom && (flags & CM_LOCATE_DEVNODE_PHANTOM) == 0) {
        return call.returns<CONFIGRET>(CR_NO_SUCH_DEVNODE);
    }
    if (!call.distorted(Distortion::NothingWritten)) *result = node->handle;
    return call.returns<CONFIGRET>(CR_SUCCESS);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_Parent, (PDEVINST result, DEVINST node, ULONG flags)) {
    static const Function function{"CM_Get_Parent",
                                   Fails::WithCode,
                                   {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVNODE, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, node);
    return step(call, &DeviceNode::parent, result, node, flags);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_Child, (PDEVINST result, DEVINST node, ULONG flags)) {
    static const Function function{"CM_Get_Child",
                                   Fails::WithCode,
                                   {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVNODE, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, node);
    return step(call, &DeviceNode::firstChild, result, node, flags);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_Sibling, (PDEVINST result, DEVINST node, ULONG flags)) {
    static const Function function{"CM_Get_Sibling",
                                   Fails::WithCode,
                                   {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVNODE, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   0u | Distortion::NothingWritten};
    Call call(function, node);
    return step(call, &DeviceNode::nextSibling, result, node, flags);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_DevNode_Status,
          (PULONG status, PULONG problem, DEVINST node, ULONG flags)) {
    static const Function function{"CM_Get_DevNode_Status",
                                   Fails::WithCode,
                                   {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVNODE, CR_FAILURE, CR_ACCESS_DENIED},
                                   0u | Distortion::NothingWritten};
    Call call(function, node);
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    const DeviceNode* device = machine().node(node);
    if (device == nullptr) return call.returns<CONFIGRET>(CR_INVALID_DEVNODE);
    if (status == nullptr || problem == nullptr) return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    if (flags != 0) return call.returns<CONFIGRET>(CR_INVALID_FLAG);
    if (device->statusUnreadable || machine().noDeviceTree) return call.returns<CONFIGRET>(CR_FAILURE);
    if (device->phantom) return call.returns<CONFIGRET>(CR_NO_SUCH_DEVNODE);
    if (!call.distorted(Distortion::NothingWritten)) {
        *status = device->status;
        // Without DN_HAS_PROBLEM the number says nothing (Microsoft, CM_Get_DevNode_Status).
        *problem = device->problem;
    }
    return call.returns<CONFIGRET>(CR_SUCCESS);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_Device_IDW, (DEVINST node, PWCHAR buffer, ULONG units, ULONG flags)) {
    static const Function function{"CM_Get_Device_IDW",
                                   Fails::WithCode,
                                   {CR_INVALID_DEVNODE, CR_BUFFER_SMALL, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   TextDistortions};
    Call call(function, node, units);
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    const DeviceNode* device = machine().node(node);
    if (device == nullptr) return call.returns<CONFIGRET>(CR_INVALID_DEVNODE);
    if (buffer == nullptr) return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    if (flags != 0) return call.returns<CONFIGRET>(CR_INVALID_FLAG);
    const Text& id = device->instanceId;
    const bool copied = copyOut(call, id.c_str(), (id.size() + 1) * sizeof(WCHAR), buffer,
                                size_t{units} * sizeof(WCHAR), nullptr);
    return call.returns<CONFIGRET>(copied ? CR_SUCCESS : CR_BUFFER_SMALL);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_Device_ID_List_SizeW, (PULONG units, PCWSTR filter, ULONG flags)) {
    static const Function function{"CM_Get_Device_ID_List_SizeW",
                                   Fails::WithCode,
                                   {CR_NO_SUCH_DEVNODE, CR_INVALID_DEVICE_ID, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   SizeDistortions};
    Call call(function, filter, flags);
    if (units != nullptr && !call.distorted(Distortion::NothingWritten)) *units = 0;
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    if (units == nullptr) return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    const auto [result, list] = deviceIdList(filter, flags);
    if (result == CR_SUCCESS) copyOut(call, nullptr, list.size(), nullptr, 0, units);
    return call.returns(result);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_Device_ID_ListW,
          (PCWSTR filter, PWCHAR buffer, ULONG units, ULONG flags)) {
    static const Function function{"CM_Get_Device_ID_ListW",
                                   Fails::WithCode,
                                   {CR_BUFFER_SMALL, CR_NO_SUCH_DEVNODE, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   TextDistortions};
    Call call(function, filter, units, flags);
    // A list that is not given is an empty text.
    if (buffer != nullptr && units != 0 && !call.distorted(Distortion::NothingWritten)) *buffer = 0;
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    if (buffer == nullptr || units == 0) return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    const auto [result, list] = deviceIdList(filter, flags);
    if (result != CR_SUCCESS) return call.returns(result);
    const bool copied = copyOut(call, list.data(), list.size() * sizeof(WCHAR), buffer,
                                size_t{units} * sizeof(WCHAR), nullptr);
    return call.returns<CONFIGRET>(copied ? CR_SUCCESS : CR_BUFFER_SMALL);
}

SIMULATED(CONFIGRET, WINAPI, CM_Get_DevNode_Registry_PropertyW,
          (DEVINST node, ULONG property, PULONG type, PVOID buffer, PULONG length, ULONG flags)) {
    static const Function function{
        "CM_Get_DevNode_Registry_PropertyW",
        Fails::WithCode,
        {CR_NO_SUCH_VALUE, CR_OUT_OF_MEMORY, CR_BUFFER_SMALL, CR_INVALID_DEVNODE, CR_REGISTRY_ERROR},
        TextDistortions | SizeDistortions | Distortion::OddSize};
    Call call(function, node, property, length == nullptr ? 0 : *length);
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    const DeviceNode* device = machine().node(node);
    if (device == nullptr) return call.returns<CONFIGRET>(CR_INVALID_DEVNODE);
    if (length == nullptr || (buffer == nullptr && *length != 0)) {
        return call.returns<CONFIGRET>(CR_INVALID_POINTER);
    }
    if (flags != 0) return call.returns<CONFIGRET>(CR_INVALID_FLAG);
    // The numbers are one higher than those of SetupDiGetDeviceRegistryPropertyW.
    if (property < CM_DRP_MIN || property > SPDRP_MAXIMUM_PROPERTY) {
        return call.returns<CONFIGRET>(CR_INVALID_PROPERTY);
    }
    if (machine().noDeviceTree) return call.returns<CONFIGRET>(CR_FAILURE);
    const auto found = device->properties.find(property - 1);
    if (found == device->properties.end()) return call.returns<CONFIGRET>(CR_NO_SUCH_VALUE);
    const RegistryValue& value = found->second;
    if (type != nullptr && !call.distorted(Distortion::NothingWritten)) *type = value.type;
    const bool copied = copyOut(call, value.bytes.data(), value.bytes.size(), buffer, *length, length);
    return call.returns<CONFIGRET>(copied ? CR_SUCCESS : machine().propertyDoesNotFit);
}

SIMULATED(CONFIGRET, WINAPI, CM_Reenumerate_DevNode, (DEVINST node, ULONG flags)) {
    static const Function function{"CM_Reenumerate_DevNode",
                                   Fails::WithCode,
                                   {CR_INVALID_DEVNODE, CR_ACCESS_DENIED, CR_FAILURE, CR_OUT_OF_MEMORY},
                                   0};
    Call call(function, node, flags);
    if (const auto fault = call.fault<CONFIGRET>()) return *fault;
    const DeviceNode* device = machine().node(node);
    if (device == nullptr || device->phantom) return call.returns<CONFIGRET>(CR_INVALID_DEVNODE);
    if ((flags & ~static_cast<ULONG>(CM_REENUMERATE_BITS)) != 0) {
        return call.returns<CONFIGRET>(CR_INVALID_FLAG);
    }
    // A machine's devices are what the test has made them; there is nothing new to find.
    return call.returns<CONFIGRET>(CR_SUCCESS);
}
