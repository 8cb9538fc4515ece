#include "libSysmira/enumeration/ConfigManager.h"

#include <algorithm>
#include <memory_resource>
#include <unordered_set>
#include <vector>

#include "libSysmira/enumeration/CircleDetector.h"
#include "support/AssertionFailure.h"
#include "support/Buffer.h"
#include "support/GrowingRead.h"
#include "support/MultiString.h"

namespace libSysmira {

namespace {

constexpr ULONG deviceIdUnits = 1024;
constexpr unsigned propertyBytes = 2048;

struct Status {
    ULONG bits = 0;
    ULONG problem = 0;

    bool hasProblem() const { return (bits & DN_HAS_PROBLEM) != 0; }
};

bool readStatus(DEVINST node, Status& status) {
    return CM_Get_DevNode_Status(&status.bits, &status.problem, node, 0) == CR_SUCCESS;
}

// A node whose status cannot be read counts as present.
bool isAbsent(DEVINST node) {
    Status status;
    return readStatus(node, status) && status.hasProblem() && status.problem == CM_PROB_DEVICE_NOT_THERE;
}

// A null ID asks for the root.
DEVINST locate(const zor::Char16* id) {
    DEVINST node = 0;
    return CM_Locate_DevNodeW(&node, const_cast<DEVINSTID_W>(id), CM_LOCATE_DEVNODE_NORMAL) == CR_SUCCESS
               ? node
               : 0;
}

// One step along the tree. A function may say success and give nothing, or the node it was asked about: both
// are the end. Longer circles are the business of the walks.
using Step = CONFIGRET(WINAPI*)(PDEVINST, DEVINST, ULONG);

DEVINST stepFrom(DEVINST node, Step step) {
    DEVINST next = 0;
    return step(&next, node, 0) == CR_SUCCESS && next != node ? next : 0;
}

DEVINST nextSibling(DEVINST node) { return stepFrom(node, CM_Get_Sibling); }

// `node` or the first present one of the siblings after it.
DEVINST firstPresent(DEVINST node) {
    CircleDetector circle(node);
    while (node != 0 && isAbsent(node)) {
        node = nextSibling(node);
        if (circle.closesAt(node)) return 0;
    }
    return node;
}

// The nodes that a walk has visited. A tree of a hundred thousand nodes takes a few large blocks of memory
// for them, not one block a node.
class SeenNodes {
public:
    /// False when the node was there before.
    bool add(DEVINST node) { return m_nodes.insert(node).second; }

private:
    std::pmr::monotonic_buffer_resource m_memory;
    std::pmr::unordered_set<DEVINST> m_nodes{&m_memory};
};

// Cuts a chain that was followed until its circle was noticed: each node stays once.
void keepEachOnce(zor::Array<DEVINST>& nodes) {
    SeenNodes seen;
    unsigned kept = 0;
    while (kept < nodes.size() && seen.add(nodes[kept])) ++kept;
    while (nodes.size() > kept) nodes.remove(nodes.size() - 1);
}

bool readDeviceId(DEVINST node, zor::Char16 (&id)[deviceIdUnits]) {
    return CM_Get_Device_IDW(node, id, deviceIdUnits, 0) == CR_SUCCESS;
}

}  // namespace

DEVINST ConfigManager::getRootNode() { return locate(nullptr); }

DEVINST ConfigManager::getParentNode(DEVINST node) { return stepFrom(node, CM_Get_Parent); }

DEVINST ConfigManager::getChildNode(DEVINST node) { return firstPresent(stepFrom(node, CM_Get_Child)); }

DEVINST ConfigManager::getSiblingNode(DEVINST node) { return firstPresent(nextSibling(node)); }

void ConfigManager::getChildren(DEVINST node, zor::Array<DEVINST>& children) {
    DEVINST current = getChildNode(node);
    children = zor::Array<DEVINST>(/*initialCapacity=*/8);
    CircleDetector circle(current);
    while (current != 0) {
        children.append(current);
        current = getSiblingNode(current);
        if (circle.closesAt(current)) {
            keepEachOnce(children);
            return;
        }
    }
}

DEVINST ConfigManager::findByDeviceInstanceId(const zor::String& id) { return locate(id.getUCS2Buffer()); }

void ConfigManager::forEach(NodeVisitor* callback, void* context, bool skipHidden) {
    ZOR_ASSERT(callback != nullptr);
    const DEVINST root = getRootNode();
    if (root != 0) forEachImp(callback, root, 0, context, skipHidden);
}

void ConfigManager::forEachImp(NodeVisitor* callback, DEVINST node, unsigned depth, void* context,
                               bool skipHidden) {
    std::vector<DEVINST> parents;
    SeenNodes seen;
    // A node that the walk has been at is the end of its chain.
    const auto unseen = [&](DEVINST next) { return next != 0 && seen.add(next) ? next : 0; };
    node = unseen(node);
    while (node != 0) {
        if (!isAbsent(node) && !(skipHidden && isHidden(node))) {
            callback(node, depth + static_cast<unsigned>(parents.size()), context);
        }
        if (const DEVINST child = unseen(getChildNode(node)); child != 0) {
            parents.push_back(node);
            node = child;
            continue;
        }
        node = unseen(getSiblingNode(node));
        while (node == 0 && !parents.empty()) {
            node = unseen(getSiblingNode(parents.back()));
            parents.pop_back();
        }
    }
}

bool ConfigManager::getDeviceInstanceId(DEVINST node, zor::String& id) {
    zor::Char16 buffer[deviceIdUnits] = {};
    if (!readDeviceId(node, buffer)) return false;
    id = zor::textFromBytes(reinterpret_cast<const unsigned char*>(buffer), sizeof buffer);
    return true;
}

bool ConfigManager::getParentDeviceInstanceId(DEVINST node, zor::String& id) {
    const DEVINST parent = getParentNode(node);
    return parent != 0 && getDeviceInstanceId(parent, id);
}

bool ConfigManager::getParentDeviceInstanceId(const zor::String& deviceInstanceId, zor::String& id) {
    const DEVINST node = findByDeviceInstanceId(deviceInstanceId);
    return node != 0 && getParentDeviceInstanceId(node, id);
}

bool ConfigManager::isHidden(DEVINST node) {
    Status status;
    return readStatus(node, status) && (status.bits & (DN_NO_SHOW_IN_DM | DN_MOVED)) != 0;
}

bool ConfigManager::isDisabled(DEVINST node) {
    Status status;
    if (!readStatus(node, status) || !status.hasProblem()) return false;
    return status.problem == CM_PROB_DISABLED || status.problem == CM_PROB_HARDWARE_DISABLED;
}

bool ConfigManager::hasDriverProblem(DEVINST node, unsigned int* problem) {
    Status status;
    if (!readStatus(node, status) || !status.hasProblem()) return false;
    if (problem != nullptr) *problem = status.problem;
    return true;
}

bool ConfigManager::scanForHardwareChanges() {
    DEVINST root = 0;
    if (CM_Locate_DevNodeW(&root, nullptr, CM_LOCATE_DEVNODE_NORMAL) != CR_SUCCESS) return false;
    return CM_Reenumerate_DevNode(root, CM_REENUMERATE_NORMAL) == CR_SUCCESS;
}

bool ConfigManager::getDescription(DEVINST node, zor::String& description) {
    return getStringNodeProperty(node, CM_DRP_DEVICEDESC, description);
}

bool ConfigManager::getFriendlyName(DEVINST node, zor::String& name) {
    return getStringNodeProperty(node, CM_DRP_FRIENDLYNAME, name);
}

bool ConfigManager::getServiceName(DEVINST node, zor::String& name) {
    return getStringNodeProperty(node, CM_DRP_SERVICE, name);
}

bool ConfigManager::getClass(DEVINST node, zor::String& name) {
    return getStringNodeProperty(node, CM_DRP_CLASS, name);
}

bool ConfigManager::getClassGuid(DEVINST node, zor::String& guid) {
    if (!getStringNodeProperty(node, CM_DRP_CLASSGUID, guid)) return false;
    guid.toUpper();
    return true;
}

bool ConfigManager::getDriverKey(DEVINST node, zor::String& key) {
    return getStringNodeProperty(node, CM_DRP_DRIVER, key);
}

bool ConfigManager::getLocation(DEVINST node, zor::String& location) {
    return getStringNodeProperty(node, CM_DRP_LOCATION_INFORMATION, location);
}

bool ConfigManager::getEnumerator(DEVINST node, zor::String& enumerator) {
    return getStringNodeProperty(node, CM_DRP_ENUMERATOR_NAME, enumerator);
}

bool ConfigManager::getHardwareIds(DEVINST node, zor::Array<zor::String>& ids) {
    return getMultiStringNodeProperty(node, CM_DRP_HARDWAREID, ids);
}

bool ConfigManager::getCompatibleIds(DEVINST node, zor::Array<zor::String>& ids) {
    return getMultiStringNodeProperty(node, CM_DRP_COMPATIBLEIDS, ids);
}

void ConfigManager::getDisplayName(DEVINST node, zor::String& name, const zor::String& fallback) {
    zor::String found;
    if (!getFriendlyName(node, found) || found.empty()) getDescription(node, found);
    name = found.empty() ? fallback : found;
}

bool ConfigManager::getRemovalRelations(DEVINST node, zor::Array<zor::String>& ids) {
    return getRelations(node, CM_GETIDLIST_FILTER_REMOVALRELATIONS, ids);
}

bool ConfigManager::getBusRelations(DEVINST node, zor::Array<zor::String>& ids) {
    return getRelations(node, CM_GETIDLIST_FILTER_BUSRELATIONS, ids);
}

bool ConfigManager::getEjectionRelations(DEVINST node, zor::Array<zor::String>& ids) {
    return getRelations(node, CM_GETIDLIST_FILTER_EJECTRELATIONS, ids);
}

// The bytes of one registry property: on the stack, or on the heap for the rare configuration manager that
// asks for more room by reporting that it is out of memory.
class ConfigManager::PropertyBytes {
public:
    bool read(DEVINST node, unsigned property) {
        m_length = propertyBytes;
        const CM_RETCODE result = getNodeProperty(node, property, m_stack, m_length);
        if (result == Success) {
            m_length = std::min(m_length, propertyBytes);
            return true;
        }
        // Only this code asks for a second call; "buffer small" (26) is a failure like any other.
        if (result != OutOfMemory || !zor::tryResize(m_heap, m_length)) return false;
        m_bytes = m_heap.data();
        const unsigned allocated = m_length;
        return getNodeProperty(node, property, m_heap.data(), m_length) == Success && m_length <= allocated;
    }

    const unsigned char* data() const { return m_bytes; }
    unsigned length() const { return m_length; }

private:
    alignas(zor::Char16) unsigned char m_stack[propertyBytes] = {};
    zor::Buffer<unsigned char> m_heap;
    const unsigned char* m_bytes = m_stack;
    unsigned m_length = 0;
};

bool ConfigManager::getStringNodeProperty(DEVINST node, unsigned property, zor::String& text) {
    text.clear();
    switch (property) {
        case CM_DRP_DEVICEDESC:
        case CM_DRP_HARDWAREID:  // its first entry
        case CM_DRP_SERVICE:
        case CM_DRP_CLASS:
        case CM_DRP_CLASSGUID:
        case CM_DRP_DRIVER:
        case CM_DRP_MFG:
        case CM_DRP_FRIENDLYNAME:
        case CM_DRP_LOCATION_INFORMATION:
        case CM_DRP_PHYSICAL_DEVICE_OBJECT_NAME:
        case CM_DRP_ENUMERATOR_NAME:
            break;
        default:
            return false;
    }
    PropertyBytes bytes;
    if (!bytes.read(node, property)) return false;
    text = zor::textFromBytes(bytes.data(), bytes.length());
    return true;
}

bool ConfigManager::getMultiStringNodeProperty(DEVINST node, unsigned property,
                                               zor::Array<zor::String>& texts) {
    switch (property) {
        case CM_DRP_HARDWAREID:
        case CM_DRP_COMPATIBLEIDS:
        case CM_DRP_UPPERFILTERS:
        case CM_DRP_LOWERFILTERS:
            break;
        default:
            return false;
    }
    texts.clear();
    PropertyBytes bytes;
    if (!bytes.read(node, property)) return false;
    zor::splitMultiString(bytes.data(), bytes.length(), texts);
    return !texts.empty();
}

ConfigManager::CM_RETCODE ConfigManager::getNodeProperty(DEVINST node, unsigned property, void* buffer,
                                                         unsigned& length) {
    ULONG bytes = length;
    const CONFIGRET result = CM_Get_DevNode_Registry_PropertyW(node, property, nullptr, buffer, &bytes, 0);
    length = bytes;
    if (result == CR_SUCCESS) return Success;
    return result == CR_OUT_OF_MEMORY ? OutOfMemory : Failure;
}

bool ConfigManager::getRelations(DEVINST node, ULONG filter, zor::Array<zor::String>& ids) {
    ids.clear();
    zor::Char16 id[deviceIdUnits] = {};
    if (!readDeviceId(node, id)) return false;
    id[deviceIdUnits - 1] = 0;
    ULONG units = 0;
    if (CM_Get_Device_ID_List_SizeW(&units, id, filter) != CR_SUCCESS) return false;
    // The list may have grown since; Windows says so by failing, and that is a failed read.
    zor::Buffer<unsigned char> bytes;
    if (!zor::tryResize(bytes, std::size_t{units} * sizeof(zor::Char16))) return false;
    if (CM_Get_Device_ID_ListW(id, reinterpret_cast<zor::Char16*>(bytes.data()), units, filter) !=
        CR_SUCCESS) {
        return false;
    }
    zor::splitMultiString(bytes.data(), bytes.size(), ids);
    return true;
}

}  // namespace libSysmira
