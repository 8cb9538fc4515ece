// Device information lists: what stands behind an HDEVINFO, and the checks that every function on one begins
// with. For simulation/api/setupapi*.cpp.
#pragma once

#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "simulation/control/Call.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

/// The drivers on offer as they were when the list was built.
struct DriverList {
    DWORD serial = 0;  ///< tells the drivers of one list from those of another
    std::vector<Driver> drivers;
};

/// Installation state of one device in one list, or of the list itself. It goes with the list.
struct InstallState {
    SP_DEVINSTALL_PARAMS_W params = {};
    std::map<DWORD, DriverList> driverLists;  ///< those built, by SPDIT_ type
    DWORD selectedType = SPDIT_NODRIVER;
    size_t selected = 0;  ///< position in that type's list; nothing while the type is SPDIT_NODRIVER

    InstallState() { params.cbSize = sizeof params; }
};

/// A number that no other list has: of devices or of drivers.
DWORD nextListSerial();

struct DeviceInfoList {
    struct Element {
        DEVINST node = 0;
        size_t firstInterface = 0;  ///< its interfaces stand together
        size_t interfaceCount = 0;
        std::unique_ptr<InstallState> install;  ///< made when first asked for
    };
    struct Interface {
        size_t element = 0;
        size_t index = 0;  ///< in the node's interfaces
    };

    DWORD serial = nextListSerial();  ///< tells the elements of one list from those of another
    std::optional<GUID> setupClass;   ///< when given, only devices of it can be opened into the list
    std::vector<Element> elements;
    std::vector<Interface> interfaces;  ///< of the classes that the list was made for
    std::map<GUID, std::vector<size_t>, LessGuid> interfacesByClass;
    InstallState install;

    Element& add(const DeviceNode& node);
    /// Adds an interface of the last element.
    void addInterface(const DeviceNode& node, size_t index);
    /// Null when the device is not in the list.
    Element* find(DEVINST node);

    void fill(SP_DEVINFO_DATA& data, const Element& element) const;
    void fill(SP_DEVICE_INTERFACE_DATA& data, size_t interfaceNumber) const;
    /// The element that a caller's structure names; null when it names none of this list or has a wrong size.
    Element* element(const SP_DEVINFO_DATA* data);
    const Interface* interfaceOf(const SP_DEVICE_INTERFACE_DATA* data) const;
    const DeviceInterface* deviceInterface(const Interface& one) const;

private:
    std::unordered_map<DEVINST, size_t> m_byNode;
};

HandleTable<DeviceInfoList>& deviceInfoLists();

/// Whether install parameters of a device or of a list name this file queue as the caller's own.
bool isNamedByInstallParams(HSPFILEQ queue);

/// The list, and the element of it that a call is about.
struct ListArguments {
    DeviceInfoList* list = nullptr;
    DeviceInfoList::Element* element = nullptr;
    DeviceNode* node = nullptr;
    DWORD error = ERROR_SUCCESS;

    /// `needsElement`: a null `data` is an error, not the list as a whole.
    ListArguments(const Call& call, HDEVINFO handle, const SP_DEVINFO_DATA* data, bool needsElement);

    /// Of the element or, without one, of the list.
    InstallState& install() const;
};

/// A device that Windows could not start has its interfaces switched off; so has one that is not there.
inline bool interfacesActive(const DeviceNode& node) {
    return !node.phantom && ((node.status & DN_STARTED) != 0 || (node.status & DN_HAS_PROBLEM) == 0);
}

/// For the journal: the device that a structure names, 0 without one.
inline DEVINST deviceOf(const SP_DEVINFO_DATA* data) { return data == nullptr ? 0 : data->DevInst; }

/// Copies a text with its terminator; `units` and `*reported` are 16-bit units. Otherwise as copyOut.
bool copyTextOut(const Call& call, const Text& text, WCHAR* buffer, size_t units, DWORD* reported);

/// Copies a text into a structure's field of fixed size: cut where it does not fit, always terminated (unless
/// the call's terminator is distorted away).
void copyField(const Call& call, const Text& text, WCHAR* field, size_t units);

/// What a structure's Reserved member holds: the list's serial and a position in the list.
inline ULONG_PTR reservedValue(DWORD serial, size_t position) {
    return static_cast<ULONG_PTR>(serial) << 32 | static_cast<ULONG_PTR>(position + 1);
}
/// The position, when the value is of that list and below `size`.
std::optional<size_t> positionOf(ULONG_PTR reserved, DWORD serial, size_t size);

}  // namespace simulation
