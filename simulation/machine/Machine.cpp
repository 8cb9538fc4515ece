#include "simulation/machine/Machine.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace simulation {

namespace {

// Calls `visit` with each name of a path, empty ones left out, for as long as it answers true.
template <class Visit>
void forEachName(std::u16string_view path, Visit&& visit) {
    while (!path.empty()) {
        const size_t end = std::min(path.find(u'\\'), path.size());
        if (end != 0 && !visit(path.substr(0, end))) return;
        path.remove_prefix(std::min(end + 1, path.size()));
    }
}

void appendUnits(Bytes& bytes, std::u16string_view text) {
    const auto* first = reinterpret_cast<const unsigned char*>(text.data());
    bytes.insert(bytes.end(), first, first + text.size() * sizeof(char16_t));
}

}  // namespace

RegistryValue RegistryValue::text(const Text& text, DWORD type) {
    RegistryValue value{type, {}};
    appendUnits(value.bytes, {text.c_str(), text.size() + 1});
    return value;
}

RegistryValue RegistryValue::texts(const std::vector<Text>& texts) {
    RegistryValue value{REG_MULTI_SZ, {}};
    for (const Text& text : texts) appendUnits(value.bytes, {text.c_str(), text.size() + 1});
    appendUnits(value.bytes, {u"", 1});
    return value;
}

RegistryValue RegistryValue::number(DWORD value) {
    return {REG_DWORD,
            {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
             static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)}};
}

RegistryValue RegistryValue::binary(Bytes bytes) { return {REG_BINARY, std::move(bytes)}; }

const RegistryKey* RegistryKey::find(std::u16string_view path) const {
    const RegistryKey* key = this;
    forEachName(path, [&](std::u16string_view name) {
        const auto found = key->keys.find(name);
        key = found == key->keys.end() ? nullptr : &found->second;
        return key != nullptr;
    });
    return key;
}

RegistryKey& RegistryKey::make(std::u16string_view path) {
    RegistryKey* key = this;
    forEachName(path, [&](std::u16string_view name) {
        const auto found = key->keys.find(name);
        key = found != key->keys.end() ? &found->second : &key->keys[Text(name)];
        return true;
    });
    return *key;
}

DeviceNode& DeviceNode::text(DWORD property, const Text& value) {
    properties[property] = RegistryValue::text(value);
    return *this;
}

DeviceNode& DeviceNode::texts(DWORD property, const std::vector<Text>& values) {
    properties[property] = RegistryValue::texts(values);
    return *this;
}

DeviceNode& Machine::add(DeviceNode node, DEVINST parent) {
    DeviceNode* above = this->node(parent == 0 ? m_root : parent);
    if (parent != 0 && above == nullptr) throw std::invalid_argument("a device's parent is no device");
    const auto handle = static_cast<DEVINST>(m_devices.size() + 1);
    if (!m_byId.emplace(upper(node.instanceId), handle).second) {
        throw std::invalid_argument("the device " + toUtf8(node.instanceId) + " stands already");
    }

    // What Windows knows of every device without being told.
    const size_t nameEnd = std::min(node.instanceId.find(u'\\'), node.instanceId.size());
    node.properties.try_emplace(SPDRP_ENUMERATOR_NAME,
                                RegistryValue::text(node.instanceId.substr(0, nameEnd)));
    if (!sameGuid(node.classGuid, GUID{})) {
        node.properties.try_emplace(SPDRP_CLASSGUID, RegistryValue::text(fromUtf8(toString(node.classGuid))));
        if (const auto found = setupClasses.find(node.classGuid); found != setupClasses.end()) {
            node.properties.try_emplace(SPDRP_CLASS, RegistryValue::text(found->second.name));
        }
    }

    // Below a device that is not there nothing is there.
    node.phantom = node.phantom || (above != nullptr && above->phantom);
    node.handle = handle;
    node.parent = node.firstChild = node.lastChild = node.nextSibling = 0;
    if (!node.phantom && above != nullptr) {
        node.parent = above->handle;
        (above->firstChild == 0 ? above->firstChild : this->node(above->lastChild)->nextSibling) = handle;
        above->lastChild = handle;
    } else if (!node.phantom) {
        m_root = handle;
    }
    Text key = upper(node.instanceId);
    std::replace(key.begin(), key.end(), u'\\', u'\x1');
    m_inOrder.emplace(std::move(key), node.handle);
    return m_devices.emplace_back(std::move(node));
}

std::vector<DeviceNode*> Machine::devicesById() {
    std::vector<DeviceNode*> nodes;
    nodes.reserve(m_inOrder.size());
    for (const auto& [key, handle] : m_inOrder) nodes.push_back(node(handle));
    return nodes;
}

DeviceNode* Machine::node(DEVINST handle) {
    return handle == 0 || handle > m_devices.size() ? nullptr : &m_devices[handle - 1];
}

DeviceNode* Machine::node(std::u16string_view instanceId) {
    const auto found = m_byId.find(upper(instanceId));
    return found == m_byId.end() ? nullptr : node(found->second);
}

RegistryKey& Machine::deviceKey(const DeviceNode& node) { return localMachine().make(deviceKeyPath(node)); }

RegistryKey& Machine::driverKey(const DeviceNode& node) {
    const Text path = driverKeyPath(node);
    if (path.empty())
        throw std::invalid_argument("the device " + toUtf8(node.instanceId) + " has no driver key");
    return localMachine().make(path);
}

Text Machine::deviceKeyPath(const DeviceNode& node) {
    return u"SYSTEM\\CurrentControlSet\\Enum\\" + node.instanceId + u"\\Device Parameters";
}

Text Machine::driverKeyPath(const DeviceNode& node) {
    const auto found = node.properties.find(SPDRP_DRIVER);
    if (found == node.properties.end()) return {};
    const Bytes& bytes = found->second.bytes;
    Text driver(bytes.size() / sizeof(char16_t), u'\0');
    if (!driver.empty()) std::memcpy(driver.data(), bytes.data(), driver.size() * sizeof(char16_t));
    driver.resize(std::min(driver.find(u'\0'), driver.size()));
    return driver.empty() ? driver : u"SYSTEM\\CurrentControlSet\\Control\\Class\\" + driver;
}

Machine& machine() {
    static Machine theMachine;
    return theMachine;
}

}  // namespace simulation
