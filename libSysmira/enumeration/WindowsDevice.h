// A device record: one element of a SetupDi device-information list. What every caller needs (instance ID,
// names, enumerator) is read once, at construction, and never refreshed; everything else is asked of Windows
// each time.
//
// An instance ID of more than 1,024 units (terminator included) is not read: the record then has an empty ID.
//
// Nothing throws (beyond std::bad_alloc, from any operation that gives back texts, arrays or bytes, and from
// constructors) or is logged: failures are false, empty texts or
// INVALID_HANDLE_VALUE. Unless an operation says otherwise, texts, arrays and byte buffers are empty after a
// failure and numbers keep what they had. A record has no lock, but copies of one record may live on
// different threads; only getDriverPackage must not run concurrently on one object.
#pragma once

#include <memory>

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/DeviceInfoList.h"
#include "libSysmira/enumeration/DeviceTypes.h"
#include "support/Array.h"
#include "support/Buffer.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class DriverPackage;

class SYSMIRA_API WindowsDevice {
public:
    /// No device: invalid list, empty texts, WinDev_Other, WinInt_None.
    WindowsDevice();
    /// The device with this instance ID (SetupDiCreateDeviceInfoList, SetupDiOpenDeviceInfoW), in a list of
    /// its own. When Windows does not know the ID, or it is empty, the record keeps the ID alone and is
    /// invalid: every property read fails.
    explicit WindowsDevice(const zor::String& deviceInstanceId);
    /// An element of a list, which the record shares from here on.
    WindowsDevice(const DeviceInfoList& list, const SP_DEVINFO_DATA& data);

    // Copies share the list and the driver package.
    WindowsDevice(const WindowsDevice&);
    WindowsDevice& operator=(const WindowsDevice&);
    WindowsDevice(WindowsDevice&&) noexcept;
    WindowsDevice& operator=(WindowsDevice&&) noexcept;
    ~WindowsDevice();

    /// Whether the record stands for a device that Windows knew.
    bool isValid() const { return m_deviceInfoList.isValid(); }

    const zor::String& getFriendlyName() const { return m_friendlyName; }
    const zor::String& getDescription() const { return m_description; }
    const zor::String& getDeviceInstanceId() const { return m_deviceInstanceId; }
    const zor::String& getEnumerator() const { return m_enumerator; }
    /// The path by which the device is opened (a disk, volume or port); empty until setOsLocator.
    const zor::String& getOsLocator() const { return m_osLocator; }
    WinDeviceType getType() const { return m_type; }
    WinInterfaceType getInterfaceType() const { return m_interfaceType; }
    GUID getClassGuid() const { return m_devInfoData.ClassGuid; }
    /// The list's raw handle, which stays this record's (INVALID_HANDLE_VALUE when there is none).
    void getSetupDiInfo(void*& list, SP_DEVINFO_DATA& data) const;

    void setOsLocator(const zor::String& locator, WinInterfaceType type);

    /// The friendly name, else the description, else `fallback`. `name` and `fallback` may be one string.
    void getDisplayName(zor::String& name, const zor::String& fallback) const;
    /// With braces, in upper case.
    zor::String getClassGuidString() const;

    bool getLocation(zor::String& location) const;
    bool getServiceName(zor::String& name) const;
    bool getDriverKey(zor::String& key) const;
    bool getHardwareIds(zor::Array<zor::String>& ids) const;
    bool getCompatibleIds(zor::Array<zor::String>& ids) const;

    // Registry properties by number (SPDRP_… below 38, SPCRP_… below 29). The value's type must fit: REG_SZ
    // or REG_EXPAND_SZ; REG_MULTI_SZ; REG_DWORD of exactly 4 bytes. Empty texts and arrays are failures.

    bool getStringRegistryProperty(DWORD property, zor::String& text, RegPropType source) const;
    bool getMultiStringRegistryProperty(DWORD property, zor::Array<zor::String>& texts,
                                        RegPropType source) const;
    bool getDWORDRegistryProperty(DWORD property, DWORD& number, RegPropType source) const;

    /// SetupDiOpenDevRegKey, with KEY_ALL_ACCESS: full access is asked for even to read, so a caller without
    /// administrative rights gets no key. INVALID_HANDLE_VALUE on failure; the caller closes the key.
    HKEY openRegistryKey(RegKeyType keyType) const;
    /// A REG_SZ or REG_EXPAND_SZ value (not expanded) of a key of the device; an empty text is a failure.
    bool getRegistryString(RegKeyType keyType, const zor::String& valueName, zor::String& text) const;
    /// A REG_BINARY value of a key of the device. A value of another type is a failure, but `bytes` holds it.
    bool getRegistryBinaryData(RegKeyType keyType, const zor::String& valueName,
                               zor::Buffer<unsigned char>& bytes) const;

    /// The instance ID without its last part; of an ID without parts, the first hardware ID.
    bool getDeviceId(zor::String& deviceId) const;
    /// Empty when the device is not in the tree or has no parent.
    zor::String getParentDeviceInstanceId() const;
    bool isHidden() const;
    /// As ConfigManager::hasDriverProblem.
    bool hasDriverProblem(unsigned int* problem) const;

    /// Whether walking up the tree from this device reaches `other`; a device is not its own descendant.
    /// `*depth`, unless null, receives the number of steps (1 for a child) when it does.
    bool isDecendentOf(const WindowsDevice& other, unsigned int* depth) const;
    bool isChildOf(const WindowsDevice& other) const;
    bool isParentOf(const WindowsDevice& other) const;
    /// `depth` is accepted for symmetry and never written.
    bool isAncestorOf(const WindowsDevice& other, unsigned int* depth) const;

    /// The device instance IDs related to this device, by RelationSelector bits: removal, then bus, then
    /// ejection relations, then the device itself, each ID once. True when there are any.
    bool getRelations(unsigned int selectors, zor::Array<zor::String>& ids) const;

    /// The location, where it is a plain number of at most 32 bits.
    bool getUint32Location(unsigned int& location) const;
    /// Bus, device and function from the location text, for devices of type WinDev_PCI; each truncated to 8
    /// bits.
    bool getPciAddressFromLocation(unsigned char& bus, unsigned char& device, unsigned char& function) const;

    /// The installed driver's package: made at the first call, then the same for this object and all copies
    /// made of it afterwards. Never null; it may be invalid (DriverPackage::isValid).
    const std::shared_ptr<DriverPackage>& getDriverPackage() const;

    /// The type of an enumerator name, ignoring case; WinDev_Other when it has none of its own.
    static WinDeviceType getDeviceTypeFromEnumerator(const zor::String& enumerator);
    /// The enumerator name of a single bit; empty for WinDev_Any, WinDev_Other and anything else.
    static zor::String getEnumeratorFromDeviceType(WinDeviceType type);

    /// Seven lines, each preceded by `indent` blanks.
    zor::String toString(unsigned indent) const;

protected:
    /// Reads a value of a key of the device with its type (REG_NONE and an empty buffer on failure).
    bool getRegistryValue(RegKeyType keyType, const zor::String& valueName, DWORD& type,
                          zor::Buffer<unsigned char>& bytes) const;

private:
    void init();
    bool findDeviceInstanceId(zor::String& id) const;
    bool getRegistryProperty(RegPropType source, DWORD property, DWORD& type,
                             zor::Buffer<unsigned char>& bytes) const;
    bool readTextProperty(DWORD property, zor::String& text, RegPropType source,
                          zor::Buffer<unsigned char>& bytes) const;
    bool readProperty(RegPropType source, DWORD property, DWORD* type, BYTE* bytes, DWORD size,
                      DWORD& required) const;
    bool getLocationText(zor::String& location) const;
    DEVINST findNode() const;

    DeviceInfoList m_deviceInfoList;
    SP_DEVINFO_DATA m_devInfoData = {};
    zor::String m_friendlyName;
    zor::String m_description;
    zor::String m_deviceInstanceId;
    zor::String m_osLocator;
    zor::String m_enumerator;
    WinDeviceType m_type = WinDev_Other;
    WinInterfaceType m_interfaceType = WinInt_None;
    mutable std::shared_ptr<DriverPackage> m_pDriverPackage;
};

}  // namespace libSysmira
