// The device tree: the nodes that Windows has for this PC, their kinship, status and registry properties.
//
// All operations are static, keep nothing and may be called from any thread at any time; each sees the tree
// as Windows reports it at that moment. Nothing throws (beyond std::bad_alloc) and nothing is logged: a
// refusal by the configuration manager is 0, false, an empty text or an empty array. Absent nodes (problem
// 24, "device not there") are skipped by the walks, subtree included. A walk visits each node once and ends
// even where the tree leads back to a node that it has been at.
#pragma once

#include "libSysmira/Export.h"
#include "support/Array.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class SYSMIRA_API ConfigManager {
public:
    /// Called by forEach for each node. `depth` counts from 0 at the root; `context` is the caller's.
    using NodeVisitor = void(DEVINST node, unsigned depth, void* context);

    /// There is nothing to assign; these exist so that objects holding one can be assigned.
    ConfigManager& operator=(const ConfigManager&) { return *this; }
    ConfigManager& operator=(ConfigManager&&) { return *this; }

    // Navigation. A node is 0 when there is none.

    /// CM_Locate_DevNodeW without an ID.
    static DEVINST getRootNode();
    /// CM_Get_Parent; absent parents are not passed over.
    static DEVINST getParentNode(DEVINST node);
    /// The first present child (CM_Get_Child, CM_Get_Sibling).
    static DEVINST getChildNode(DEVINST node);
    /// The next present sibling (CM_Get_Sibling).
    static DEVINST getSiblingNode(DEVINST node);
    /// The present children, in the order of the sibling chain; what `children` held is gone.
    static void getChildren(DEVINST node, zor::Array<DEVINST>& children);
    /// CM_Locate_DevNodeW: configured nodes only. The empty ID is the root's, to Windows.
    static DEVINST findByDeviceInstanceId(const zor::String& id);
    /// Walks the whole tree, parents before children, children before the parent's next sibling. With
    /// `skipHidden`, hidden nodes are not reported; their children are walked all the same. The walk is a
    /// loop: its memory grows with the number of nodes, the thread's stack does not. A null callback is
    /// misuse: an assertion failure.
    static void forEach(NodeVisitor* callback, void* context, bool skipHidden);

    // Identity and status.

    /// CM_Get_Device_IDW; IDs of more than 1,024 units (terminator included) are not read. On failure the
    /// output keeps what it had.
    static bool getDeviceInstanceId(DEVINST node, zor::String& id);
    /// The ID of the parent; on failure the output keeps what it had.
    static bool getParentDeviceInstanceId(DEVINST node, zor::String& id);
    static bool getParentDeviceInstanceId(const zor::String& deviceInstanceId, zor::String& id);
    /// True when the device manager does not show the node (DN_NO_SHOW_IN_DM or DN_MOVED); false also when
    /// the status cannot be read.
    static bool isHidden(DEVINST node);
    /// Disabled by the user or by the hardware (problem 22 or 29).
    static bool isDisabled(DEVINST node);
    /// True for any problem, "disabled" included; its number (CM_PROB_…) goes to `*problem` unless that is
    /// null. When there is none, or the status cannot be read, `*problem` keeps what it had.
    static bool hasDriverProblem(DEVINST node, unsigned int* problem);
    /// Asks Windows to look for new hardware everywhere, and waits for it (CM_Reenumerate_DevNode of the
    /// root).
    static bool scanForHardwareChanges();

    // Registry properties (CM_Get_DevNode_Registry_PropertyW). The output is cleared first. Values of more
    // than 2,048 bytes are not read: Windows reports those with a code other than "out of memory", the one
    // code for which a second call is made.

    static bool getDescription(DEVINST node, zor::String& description);
    static bool getFriendlyName(DEVINST node, zor::String& name);
    static bool getServiceName(DEVINST node, zor::String& name);
    static bool getClass(DEVINST node, zor::String& name);
    /// With braces, in upper case.
    static bool getClassGuid(DEVINST node, zor::String& guid);
    /// The class GUID and the number of the node's software key below "Control\Class".
    static bool getDriverKey(DEVINST node, zor::String& key);
    static bool getLocation(DEVINST node, zor::String& location);
    static bool getEnumerator(DEVINST node, zor::String& enumerator);
    static bool getHardwareIds(DEVINST node, zor::Array<zor::String>& ids);
    static bool getCompatibleIds(DEVINST node, zor::Array<zor::String>& ids);
    /// The friendly name, else the description, else `fallback`. `name` and `fallback` may be one string.
    static void getDisplayName(DEVINST node, zor::String& name, const zor::String& fallback);

    // Relations: device instance IDs (CM_Get_Device_ID_List_SizeW, CM_Get_Device_ID_ListW). True when Windows
    // answered, be the list empty or not; the array is cleared first.

    static bool getRemovalRelations(DEVINST node, zor::Array<zor::String>& ids);
    static bool getBusRelations(DEVINST node, zor::Array<zor::String>& ids);
    static bool getEjectionRelations(DEVINST node, zor::Array<zor::String>& ids);

private:
    enum CM_RETCODE { Success = 0, Failure = 1, OutOfMemory = 2 };
    class PropertyBytes;

    static void forEachImp(NodeVisitor* callback, DEVINST node, unsigned depth, void* context,
                           bool skipHidden);
    static bool getStringNodeProperty(DEVINST node, unsigned property, zor::String& text);
    static bool getMultiStringNodeProperty(DEVINST node, unsigned property, zor::Array<zor::String>& texts);
    static CM_RETCODE getNodeProperty(DEVINST node, unsigned property, void* buffer, unsigned& length);
    static bool getRelations(DEVINST node, ULONG filter, zor::Array<zor::String>& ids);
};

}  // namespace libSysmira
