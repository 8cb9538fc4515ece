#include "libSysmira/enumeration/WindowsDevice.h"

#include <algorithm>
#include <vector>

#include "libSysmira/enumeration/CircleDetector.h"
#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/DeviceLocation.h"
#include "libSysmira/enumeration/DriverPackage.h"
#include "support/GrowingRead.h"
#include "support/MultiString.h"
#include "support/SprintfFormat.h"

namespace libSysmira {

namespace {

constexpr DWORD instanceIdUnits = 1024;
// A longer ID is asked for again only beyond this; between the two it is not read. Callers see such a device
// without an ID.
constexpr DWORD retryBeyondUnits = 2048;
constexpr DWORD registryValueBytes = 1024;
constexpr DWORD devicePropertyCount = 38;
constexpr DWORD classPropertyCount = 29;

struct EnumeratorName {
    WinDeviceType type;
    zor::String name;
};

// In the order in which an enumerator is compared with them.
const std::vector<EnumeratorName>& enumeratorNames() {
    static const std::vector<EnumeratorName> names = {
        {WinDev_ATA, "IDE"},   {WinDev_SCSI, "SCSI"},     {WinDev_USBStorage, "USBSTOR"},
        {WinDev_USB, "USB"},   {WinDev_PCI, "PCI"},       {WinDev_PCIIDE, "PCIIDE"},
        {WinDev_ACPI, "ACPI"}, {WinDev_SBP2, "SBP2"},     {WinDev_1394, "1394"},
        {WinDev_SD, "SD"},     {WinDev_PCMCIA, "PCMCIA"}, {WinDev_Display, "DISPLAY"},
    };
    return names;
}

bool isText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ; }

bool isOpen(HKEY key) { return key != nullptr && key != static_cast<HKEY>(INVALID_HANDLE_VALUE); }

class KeyCloser {
public:
    explicit KeyCloser(HKEY key) : m_key(key) {}
    ~KeyCloser() {
        if (isOpen(m_key)) RegCloseKey(m_key);
    }
    KeyCloser(const KeyCloser&) = delete;
    KeyCloser& operator=(const KeyCloser&) = delete;

private:
    HKEY m_key;
};

// Records take an empty ID for "not found"; Windows would answer with the root.
DEVINST findNodeOf(const zor::String& deviceInstanceId) {
    return deviceInstanceId.empty() ? 0 : ConfigManager::findByDeviceInstanceId(deviceInstanceId);
}

void appendOnce(const zor::Array<zor::String>& ids, zor::Array<zor::String>& all) {
    for (const zor::String& id : ids) {
        if (std::find(all.begin(), all.end(), id) == all.end()) all.append(id);
    }
}

}  // namespace

WindowsDevice::WindowsDevice() { m_devInfoData.cbSize = sizeof m_devInfoData; }

WindowsDevice::WindowsDevice(const zor::String& deviceInstanceId) : m_deviceInstanceId(deviceInstanceId) {
    m_devInfoData.cbSize = sizeof m_devInfoData;
    if (deviceInstanceId.empty()) return;
    DeviceInfoList list(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    if (!list.isValid()) return;
    if (!SetupDiOpenDeviceInfoW(list.get(), deviceInstanceId.getUCS2Buffer(), nullptr, 0, &m_devInfoData))
        return;
    m_deviceInfoList = std::move(list);
    init();
}

WindowsDevice::WindowsDevice(const DeviceInfoList& list, const SP_DEVINFO_DATA& data)
    : m_deviceInfoList(list), m_devInfoData(data) {
    findDeviceInstanceId(m_deviceInstanceId);
    init();
}

WindowsDevice::WindowsDevice(const WindowsDevice&) = default;
WindowsDevice& WindowsDevice::operator=(const WindowsDevice&) = default;
WindowsDevice::WindowsDevice(WindowsDevice&&) noexcept = default;
WindowsDevice& WindowsDevice::operator=(WindowsDevice&&) noexcept = default;
WindowsDevice::~WindowsDevice() = default;

void WindowsDevice::init() {
    // One buffer for the three: enumerations of thousands of devices come through here.
    zor::Buffer<unsigned char> bytes;
    readTextProperty(SPDRP_FRIENDLYNAME, m_friendlyName, RegProp_Device, bytes);
    readTextProperty(SPDRP_DEVICEDESC, m_description, RegProp_Device, bytes);
    readTextProperty(SPDRP_ENUMERATOR_NAME, m_enumerator, RegProp_Device, bytes);
    m_type = getDeviceTypeFromEnumerator(m_enumerator);
}

bool WindowsDevice::findDeviceInstanceId(zor::String& id) const {
    id.clear();
    if (!m_deviceInfoList.isValid()) return false;
    SP_DEVINFO_DATA data = m_devInfoData;
    zor::Char16 buffer[instanceIdUnits] = {};
    DWORD required = 0;
    if (SetupDiGetDeviceInstanceIdW(m_deviceInfoList.get(), &data, buffer, instanceIdUnits, &required)) {
        const DWORD units = std::min(required, instanceIdUnits);
        id = zor::textFromBytes(reinterpret_cast<const unsigned char*>(buffer), units * sizeof(zor::Char16));
        return true;
    }
    if (required <= retryBeyondUnits) return false;
    zor::Buffer<unsigned char> bytes;
    if (!zor::tryResize(bytes, std::size_t{required} * sizeof(zor::Char16))) return false;
    DWORD written = 0;
    if (!SetupDiGetDeviceInstanceIdW(m_deviceInfoList.get(), &data,
                                     reinterpret_cast<zor::Char16*>(bytes.data()), required, &written) ||
        written > required) {
        return false;
    }
    id = zor::textFromBytes(bytes.data(), std::size_t{written} * sizeof(zor::Char16));
    return true;
}

void WindowsDevice::getSetupDiInfo(void*& list, SP_DEVINFO_DATA& data) const {
    list = m_deviceInfoList.get();
    data = m_devInfoData;
}

void WindowsDevice::setOsLocator(const zor::String& locator, WinInterfaceType type) {
    m_osLocator = locator;
    m_interfaceType = type;
}

void WindowsDevice::getDisplayName(zor::String& name, const zor::String& fallback) const {
    if (!m_friendlyName.empty()) {
        name = m_friendlyName;
    } else if (!m_description.empty()) {
        name = m_description;
    } else {
        name = fallback;
    }
}

zor::String WindowsDevice::getClassGuidString() const {
    const GUID& guid = m_devInfoData.ClassGuid;
    const auto bigEndian = [&](unsigned first, unsigned count) {
        unsigned value = 0;
        for (unsigned i = first; i < first + count; ++i) value = value << 8 | guid.Data4[i];
        return value;
    };
    return zor::SprintfFormat("{%08X-%04X-%04X-%04X-%04X%08X}", guid.Data1, guid.Data2, guid.Data3,
                              bigEndian(0, 2), bigEndian(2, 2), bigEndian(4, 4));
}

bool WindowsDevice::getLocation(zor::String& location) const {
    return getStringRegistryProperty(SPDRP_LOCATION_INFORMATION, location, RegProp_Device);
}

bool WindowsDevice::getServiceName(zor::String& name) const {
    return getStringRegistryProperty(SPDRP_SERVICE, name, RegProp_Device);
}

bool WindowsDevice::getDriverKey(zor::String& key) const {
    return getStringRegistryProperty(SPDRP_DRIVER, key, RegProp_Device);
}

bool WindowsDevice::getHardwareIds(zor::Array<zor::String>& ids) const {
    return getMultiStringRegistryProperty(SPDRP_HARDWAREID, ids, RegProp_Device);
}

bool WindowsDevice::getCompatibleIds(zor::Array<zor::String>& ids) const {
    return getMultiStringRegistryProperty(SPDRP_COMPATIBLEIDS, ids, RegProp_Device);
}

bool WindowsDevice::getStringRegistryProperty(DWORD property, zor::String& text, RegPropType source) const {
    zor::Buffer<unsigned char> bytes;
    return readTextProperty(property, text, source, bytes);
}

bool WindowsDevice::readTextProperty(DWORD property, zor::String& text, RegPropType source,
                                     zor::Buffer<unsigned char>& bytes) const {
    text.clear();
    DWORD type = REG_NONE;
    if (!getRegistryProperty(source, property, type, bytes) || !isText(type)) return false;
    text = zor::textFromBytes(bytes.data(), bytes.size());
    return !text.empty();
}

bool WindowsDevice::getMultiStringRegistryProperty(DWORD property, zor::Array<zor::String>& texts,
                                                   RegPropType source) const {
    texts.clear();
    DWORD type = REG_NONE;
    zor::Buffer<unsigned char> bytes;
    if (!getRegistryProperty(source, property, type, bytes) || type != REG_MULTI_SZ) return false;
    zor::splitMultiString(bytes.data(), bytes.size(), texts);
    return !texts.empty();
}

bool WindowsDevice::getDWORDRegistryProperty(DWORD property, DWORD& number, RegPropType source) const {
    DWORD type = REG_NONE;
    zor::Buffer<unsigned char> bytes;
    if (!getRegistryProperty(source, property, type, bytes)) return false;
    if (type != REG_DWORD || bytes.size() != sizeof number) return false;
    std::copy_n(bytes.data(), sizeof number, reinterpret_cast<unsigned char*>(&number));
    return true;
}

// One call of the reader for `source`; with a null buffer it asks for the size.
bool WindowsDevice::readProperty(RegPropType source, DWORD property, DWORD* type, BYTE* bytes, DWORD size,
                                 DWORD& required) const {
    SP_DEVINFO_DATA data = m_devInfoData;
    if (source == RegProp_Class) {
        return SetupDiGetClassRegistryPropertyW(&data.ClassGuid, property, type, bytes, size, &required,
                                                nullptr, nullptr);
    }
    return SetupDiGetDeviceRegistryPropertyW(m_deviceInfoList.get(), &data, property, type, bytes, size,
                                             &required);
}

bool WindowsDevice::getRegistryProperty(RegPropType source, DWORD property, DWORD& type,
                                        zor::Buffer<unsigned char>& bytes) const {
    type = REG_NONE;
    if (source != RegProp_Device && source != RegProp_Class) return false;
    if (property >= (source == RegProp_Device ? devicePropertyCount : classPropertyCount)) return false;
    if (!m_deviceInfoList.isValid()) return false;

    DWORD required = 0;
    DWORD* const sizingType = source == RegProp_Device ? &type : nullptr;
    if (readProperty(source, property, sizingType, nullptr, 0, required)) return false;
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || required == 0) return false;
    if (!zor::tryResize(bytes, required)) return false;

    type = REG_NONE;
    DWORD written = 0;
    if (!readProperty(source, property, &type, bytes.data(), required, written) || written > required) {
        bytes.clear();
        return false;
    }
    bytes.resize(written);
    return true;
}

HKEY WindowsDevice::openRegistryKey(RegKeyType keyType) const {
    if (!m_deviceInfoList.isValid()) return static_cast<HKEY>(INVALID_HANDLE_VALUE);
    SP_DEVINFO_DATA data = m_devInfoData;
    const DWORD which = keyType == RegKey_Driver ? DIREG_DRV : DIREG_DEV;
    return SetupDiOpenDevRegKey(m_deviceInfoList.get(), &data, DICS_FLAG_GLOBAL, /*HwProfile=*/0, which,
                                KEY_ALL_ACCESS);
}

bool WindowsDevice::getRegistryValue(RegKeyType keyType, const zor::String& valueName, DWORD& type,
                                     zor::Buffer<unsigned char>& bytes) const {
    bytes.clear();
    type = REG_NONE;
    const HKEY key = openRegistryKey(keyType);
    if (!isOpen(key)) return false;
    const KeyCloser closer(key);

    unsigned char first[registryValueBytes] = {};
    DWORD length = sizeof first;
    const LSTATUS result = RegQueryValueExW(key, valueName.getUCS2Buffer(), nullptr, &type, first, &length);
    if (result == ERROR_SUCCESS) {
        bytes.assign(first, std::min(length, registryValueBytes));
        return true;
    }
    if (result == ERROR_MORE_DATA && zor::tryResize(bytes, length)) {
        const DWORD allocated = length;
        type = REG_NONE;
        if (RegQueryValueExW(key, valueName.getUCS2Buffer(), nullptr, &type, bytes.data(), &length) ==
                ERROR_SUCCESS &&
            length <= allocated) {
            bytes.resize(length);
            return true;
        }
    }
    bytes.clear();
    type = REG_NONE;
    return false;
}

bool WindowsDevice::getRegistryString(RegKeyType keyType, const zor::String& valueName,
                                      zor::String& text) const {
    DWORD type = REG_NONE;
    zor::Buffer<unsigned char> bytes;
    const bool read = getRegistryValue(keyType, valueName, type, bytes) && isText(type);
    text = read ? zor::textFromBytes(bytes.data(), bytes.size()) : zor::String();
    return !text.empty();
}

bool WindowsDevice::getRegistryBinaryData(RegKeyType keyType, const zor::String& valueName,
                                          zor::Buffer<unsigned char>& bytes) const {
    DWORD type = REG_NONE;
    return getRegistryValue(keyType, valueName, type, bytes) && type == REG_BINARY;
}

bool WindowsDevice::getDeviceId(zor::String& deviceId) const {
    const zor::Char16* const id = m_deviceInstanceId.getUCS2Buffer();
    for (unsigned i = m_deviceInstanceId.size(); i-- > 1;) {
        if (id[i] != u'\\') continue;
        deviceId = m_deviceInstanceId.subString(0, i);
        return true;
    }
    zor::Array<zor::String> hardwareIds;
    const bool found = getHardwareIds(hardwareIds);
    deviceId = found ? hardwareIds[0] : zor::String();
    return found;
}

DEVINST WindowsDevice::findNode() const { return findNodeOf(m_deviceInstanceId); }

zor::String WindowsDevice::getParentDeviceInstanceId() const {
    zor::String id;
    if (const DEVINST node = findNode(); node != 0) ConfigManager::getParentDeviceInstanceId(node, id);
    return id;
}

bool WindowsDevice::isHidden() const {
    const DEVINST node = findNode();
    return node != 0 && ConfigManager::isHidden(node);
}

bool WindowsDevice::hasDriverProblem(unsigned int* problem) const {
    return ConfigManager::hasDriverProblem(findNode(), problem);
}

bool WindowsDevice::isDecendentOf(const WindowsDevice& other, unsigned int* depth) const {
    const DEVINST target = other.findNode();
    const DEVINST start = findNode();
    DEVINST node = start;
    CircleDetector circle(start);
    unsigned int steps = 0;
    do {
        node = ConfigManager::getParentNode(node);
        if (node == 0 || node == start || circle.closesAt(node)) return false;
        ++steps;
    } while (node != target);
    if (depth != nullptr) *depth = steps;
    return true;
}

bool WindowsDevice::isChildOf(const WindowsDevice& other) const {
    unsigned int depth = 0;
    return isDecendentOf(other, &depth) && depth == 1;
}

bool WindowsDevice::isParentOf(const WindowsDevice& other) const { return other.isChildOf(*this); }

bool WindowsDevice::isAncestorOf(const WindowsDevice& other, unsigned int*) const {
    return other.isDecendentOf(*this, nullptr);
}

bool WindowsDevice::getRelations(unsigned int selectors, zor::Array<zor::String>& ids) const {
    ids.clear();
    const DEVINST node = findNode();
    zor::Array<zor::String> removal, bus, ejection;
    if ((selectors & Relations_Removal) != 0) ConfigManager::getRemovalRelations(node, removal);
    if ((selectors & Relations_Bus) != 0) ConfigManager::getBusRelations(node, bus);
    if ((selectors & Relations_Ejection) != 0) ConfigManager::getEjectionRelations(node, ejection);
    appendOnce(removal, ids);
    appendOnce(bus, ids);
    appendOnce(ejection, ids);
    if ((selectors & Relations_Self) != 0 && !m_deviceInstanceId.empty()) {
        zor::Array<zor::String> self;
        self.append(m_deviceInstanceId);
        appendOnce(self, ids);
    }
    return !ids.empty();
}

bool WindowsDevice::getLocationText(zor::String& location) const {
    DWORD type = REG_NONE;
    zor::Buffer<unsigned char> bytes;
    if (!getRegistryProperty(RegProp_Device, SPDRP_LOCATION_INFORMATION, type, bytes) || !isText(type))
        return false;
    location = zor::textFromBytes(bytes.data(), bytes.size());
    return true;
}

bool WindowsDevice::getUint32Location(unsigned int& location) const {
    zor::String text;
    return getLocationText(text) && parseNumberLocation(text, location);
}

bool WindowsDevice::getPciAddressFromLocation(unsigned char& bus, unsigned char& device,
                                              unsigned char& function) const {
    zor::String text;
    return m_type == WinDev_PCI && getLocationText(text) && parsePciLocation(text, bus, device, function);
}

const std::shared_ptr<DriverPackage>& WindowsDevice::getDriverPackage() const {
    if (!m_pDriverPackage)
        m_pDriverPackage = std::make_shared<DriverPackage>(m_deviceInfoList, m_devInfoData);
    return m_pDriverPackage;
}

WinDeviceType WindowsDevice::getDeviceTypeFromEnumerator(const zor::String& enumerator) {
    for (const EnumeratorName& row : enumeratorNames()) {
        if (enumerator.compareNoCase(row.name) == 0) return row.type;
    }
    return WinDev_Other;
}

zor::String WindowsDevice::getEnumeratorFromDeviceType(WinDeviceType type) {
    for (const EnumeratorName& row : enumeratorNames()) {
        if (row.type == type) return row.name;
    }
    return {};
}

zor::String WindowsDevice::toString(unsigned indent) const {
    const zor::String prefix = zor::String::repeat(u' ', indent);
    zor::String report;
    report.reserveCapacity(200);
    const auto line = [&](const char* label, const auto& value) {
        report += prefix;
        report += label;
        report += value;
        report += "\n";
    };
    line("Friendly Name    : ", m_friendlyName);
    line("Description      : ", m_description);
    line("Enumerator       : ", m_enumerator);
    line("DeviceInstanceID : ", m_deviceInstanceId);
    line("OS Locator       : ", m_osLocator);
    line("Device Type      : ", getName(m_type));
    line("Interface        : ", getName(m_interfaceType));
    return report;
}

}  // namespace libSysmira
