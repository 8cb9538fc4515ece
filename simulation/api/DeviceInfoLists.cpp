#include "simulation/api/DeviceInfoLists.h"

#include <algorithm>
#include <cstring>

namespace simulation {

std::optional<size_t> positionOf(ULONG_PTR reserved, DWORD serial, size_t size) {
    const size_t position = static_cast<size_t>(reserved & 0xFFFFFFFFu) - 1;
    if (reserved >> 32 != serial || position >= size) return std::nullopt;
    return position;
}

DWORD nextListSerial() {
    static DWORD lastSerial = 0;
    return ++lastSerial;
}

HandleTable<DeviceInfoList>& deviceInfoLists() {
    static HandleTable<DeviceInfoList> theLists(Resource::DeviceInfoList);
    static const AtReset atReset([] { theLists.clear(); });
    return theLists;
}

bool isNamedByInstallParams(HSPFILEQ queue) {
    const auto names = [&](const InstallState& install) {
        return (install.params.Flags & DI_NOVCP) != 0 && install.params.FileQueue == queue;
    };
    return deviceInfoLists().anyOf([&](const DeviceInfoList& list) {
        return names(list.install) ||
               std::any_of(list.elements.begin(), list.elements.end(),
                           [&](const auto& one) { return one.install != nullptr && names(*one.install); });
    });
}

DeviceInfoList::Element& DeviceInfoList::add(const DeviceNode& node) {
    m_byNode.emplace(node.handle, elements.size());
    elements.push_back({node.handle, interfaces.size(), 0, nullptr});
    return elements.back();
}

void DeviceInfoList::addInterface(const DeviceNode& node, size_t index) {
    interfacesByClass[node.interfaces[index].interfaceClass].push_back(interfaces.size());
    interfaces.push_back({elements.size() - 1, index});
    ++elements.back().interfaceCount;
}

DeviceInfoList::Element* DeviceInfoList::find(DEVINST node) {
    const auto found = m_byNode.find(node);
    return found == m_byNode.end() ? nullptr : &elements[found->second];
}

void DeviceInfoList::fill(SP_DEVINFO_DATA& data, const Element& element) const {
    const DeviceNode* node = machine().node(element.node);
    data.ClassGuid = node == nullptr ? GUID{} : node->classGuid;
    data.DevInst = element.node;
    data.Reserved = reservedValue(serial, static_cast<size_t>(&element - elements.data()));
}

void DeviceInfoList::fill(SP_DEVICE_INTERFACE_DATA& data, size_t interfaceNumber) const {
    const Interface& one = interfaces[interfaceNumber];
    const DeviceInterface* found = deviceInterface(one);
    if (found == nullptr) return;
    data.InterfaceClassGuid = found->interfaceClass;
    data.Flags = interfacesActive(*machine().node(elements[one.element].node)) ? SPINT_ACTIVE : 0;
    data.Reserved = reservedValue(serial, interfaceNumber);
}

DeviceInfoList::Element* DeviceInfoList::element(const SP_DEVINFO_DATA* data) {
    if (data == nullptr || data->cbSize != sizeof *data) return nullptr;
    const auto position = positionOf(data->Reserved, serial, elements.size());
    return position && elements[*position].node == data->DevInst ? &elements[*position] : nullptr;
}

const DeviceInfoList::Interface* DeviceInfoList::interfaceOf(const SP_DEVICE_INTERFACE_DATA* data) const {
    if (data == nullptr || data->cbSize != sizeof *data) return nullptr;
    const auto position = positionOf(data->Reserved, serial, interfaces.size());
    return position ? &interfaces[*position] : nullptr;
}

const DeviceInterface* DeviceInfoList::deviceInterface(const Interface& one) const {
    const DeviceNode* node = machine().node(elements[one.element].node);
    return node == nullptr || one.index >= node->interfaces.size() ? nullptr : &node->interfaces[one.index];
}

ListArguments::ListArguments(const Call& call, HDEVINFO handle, const SP_DEVINFO_DATA* data,
                             bool needsElement) {
    list = deviceInfoLists().find(handle, call.name());
    if (list == nullptr) {
        error = ERROR_INVALID_HANDLE;
        return;
    }
    if (data == nullptr && !needsElement) return;
    // A structure of wrong size or of another list is a wrong parameter; error 1784 is kept for what is
    // filled.
    element = list->element(data);
    if (element == nullptr) {
        error = ERROR_INVALID_PARAMETER;
        return;
    }
    node = machine().node(element->node);
    if (node == nullptr) error = static_cast<DWORD>(ERROR_NO_SUCH_DEVINST);
}

InstallState& ListArguments::install() const {
    if (element == nullptr) return list->install;
    if (element->install == nullptr) element->install = std::make_unique<InstallState>();
    return *element->install;
}

bool copyTextOut(const Call& call, const Text& text, WCHAR* buffer, size_t units, DWORD* reported) {
    DWORD bytes = 0;
    const bool copied =
        copyOut(call, text.c_str(), (text.size() + 1) * sizeof(WCHAR), buffer, units * sizeof(WCHAR), &bytes);
    if (reported != nullptr && !call.distorted(Distortion::NothingWritten)) *reported = bytes / sizeof(WCHAR);
    return copied;
}

void copyField(const Call& call, const Text& text, WCHAR* field, size_t units) {
    const size_t length = std::min(text.size(), units - 1);
    std::memcpy(field, text.c_str(), length * sizeof(WCHAR));
    field[length] = 0;
    if (!call.distorted(Distortion::NoTerminator)) return;
    for (size_t i = length; i < units; ++i) field[i] = L'x';
}

}  // namespace simulation
