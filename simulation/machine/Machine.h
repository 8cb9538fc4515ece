// The simulated PC as plain data. A test fills it in a few lines, a machine file in JSON; the simulated
// Windows functions (simulation/api) answer from it and change nothing but what Windows would change.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "simulation/control/Text.h"
#include "simulation/machine/Counters.h"
#include "simulation/machine/Display.h"
#include "simulation/machine/EventLogs.h"
#include "simulation/machine/Shell.h"
#include "simulation/machine/Storage.h"
#include "simulation/machine/Wmi.h"
#include "support/WindowsApi.h"

namespace simulation {

using Bytes = std::vector<unsigned char>;

/// A typed value: of a registry key or of a device property. Text values keep exactly the bytes that Windows
/// would hand out, terminators included where there are any.
struct RegistryValue {
    DWORD type = REG_NONE;
    Bytes bytes;

    static RegistryValue text(const Text& text, DWORD type = REG_SZ);
    static RegistryValue texts(const std::vector<Text>& texts);
    static RegistryValue number(DWORD value);
    static RegistryValue binary(Bytes bytes);
};

struct RegistryKey {
    std::map<Text, RegistryValue, LessNoCase> values;
    std::map<Text, RegistryKey, LessNoCase> keys;
    bool denied = false;  ///< opening it fails with ERROR_ACCESS_DENIED

    /// The key at a path of names joined by backslashes, below this one; null when there is none.
    const RegistryKey* find(std::u16string_view path) const;
    /// The same, made where missing.
    RegistryKey& make(std::u16string_view path);
};

struct DeviceInterface {
    GUID interfaceClass = {};
    Text path;
};

/// A driver that a device's driver list offers. The installed one is the only one that a list restricted to
/// installed drivers holds.
struct Driver {
    Text provider;
    Text manufacturer;
    Text description;
    ULONGLONG date = 0;     ///< FILETIME ticks, UTC
    ULONGLONG version = 0;  ///< four 16-bit parts, most significant first
    Text infFile;
    Text section;
    ULONGLONG infDate = 0;
    Text hardwareId;
    std::vector<Text> files;  ///< the target paths that installing it would queue
    bool installed = true;
};

struct DeviceNode {
    Text instanceId;
    GUID classGuid = {};
    std::map<DWORD, RegistryValue> properties;  ///< by SPDRP_ number; CM_DRP_ numbers are one higher
    bool phantom = false;                       ///< known to the registry only: not in the tree, not present
    bool statusUnreadable = false;              ///< asking for its status fails
    DWORD status = 0;                           ///< DN_ bits
    DWORD problem = 0;                          ///< CM_PROB_ number, told when the status has DN_HAS_PROBLEM
    std::vector<Text> removalRelations;
    std::vector<Text> ejectionRelations;
    std::optional<std::vector<Text>> busRelations;  ///< as a rule the children; else these
    std::vector<DeviceInterface> interfaces;
    std::vector<Driver> drivers;
    bool driverListFails = false;  ///< no driver list can be built (ERROR_NO_COMPAT_DRIVERS)

    // The tree; kept by Machine::add.
    DEVINST handle = 0;
    DEVINST parent = 0;
    DEVINST firstChild = 0;
    DEVINST lastChild = 0;
    DEVINST nextSibling = 0;

    /// Sets or replaces a text property, e.g. text(SPDRP_FRIENDLYNAME, u"Disk").
    DeviceNode& text(DWORD property, const Text& value);
    DeviceNode& texts(DWORD property, const std::vector<Text>& values);
};

struct SetupClass {
    Text name;
    std::map<DWORD, RegistryValue> properties;  ///< by SPCRP_ number
};

struct File {
    DWORD attributes = FILE_ATTRIBUTE_NORMAL;
    std::optional<ULONGLONG> version;   ///< four 16-bit parts; none: no version resource
    std::optional<Bytes> versionBlock;  ///< instead of a well-formed resource: these bytes
    bool image = false;                 ///< a DLL that LoadLibraryW loads
    std::map<std::string, void*> symbols;
    std::optional<std::map<DWORD, Text>> messages;  ///< its message table, by message ID
};

class Machine {
public:
    Text name;
    std::map<GUID, SetupClass, LessGuid> setupClasses;
    std::map<Text, RegistryKey, LessNoCase> registry;  ///< by root: u"HKEY_LOCAL_MACHINE" …
    std::map<Text, File, LessNoCase> files;            ///< by full path
    std::map<Text, Text, LessNoCase> environment;
    Text systemDirectory = u"C:\\Windows\\system32";
    Text programPath = u"C:\\Program Files\\Sysmira\\sysmira.exe";  ///< of the process that asks
    Storage storage;
    CounterModel counters;
    WmiNamespaces wmi;  ///< by path: u"root\\cimv2"; look-up takes slashes either way
    std::vector<DisplayOutput> displays;
    /// An error of CM_Get_DevNode_* and of the tree's root: what a machine without a device tree answers.
    bool noDeviceTree = false;
    /// What the configuration manager answers when a property does not fit; some say CR_OUT_OF_MEMORY.
    CONFIGRET propertyDoesNotFit = CR_BUFFER_SMALL;
    EventLogs events;
    Shell shell;

    /// Adds a device below a parent and gives the node as kept; references stay valid. Parent 0: the first
    /// such device is the tree's root, later ones are its children. A phantom has no place in the tree, and
    /// what is added below one is a phantom too. The enumerator's name, the class GUID and (when the class is
    /// known) its name become properties unless they are given. Throws std::invalid_argument when the parent
    /// is no device or the ID, which is compared without case, stands already.
    DeviceNode& add(DeviceNode node, DEVINST parent = 0);
    DeviceNode* node(DEVINST handle);
    DeviceNode* node(std::u16string_view instanceId);
    std::deque<DeviceNode>& devices() { return m_devices; }
    /// All devices in the order of their instance IDs, part by part, as the registry keeps them.
    std::vector<DeviceNode*> devicesById();
    DEVINST root() const { return m_root; }

    RegistryKey& localMachine() { return registry[u"HKEY_LOCAL_MACHINE"]; }
    /// A device's hardware key ("Device Parameters") and software key (class GUID and number, from the
    /// SPDRP_DRIVER property), made where missing.
    RegistryKey& deviceKey(const DeviceNode& node);
    RegistryKey& driverKey(const DeviceNode& node);
    static Text deviceKeyPath(const DeviceNode& node);
    /// Empty when the device has no driver property.
    static Text driverKeyPath(const DeviceNode& node);

private:
    std::deque<DeviceNode> m_devices;
    std::unordered_map<Text, DEVINST> m_byId;  ///< by upper-case ID
    std::map<Text, DEVINST> m_inOrder;         ///< by upper-case ID whose backslashes sort first
    DEVINST m_root = 0;
};

/// The PC that the simulated functions answer for. Tests fill it after reset().
Machine& machine();

}  // namespace simulation
