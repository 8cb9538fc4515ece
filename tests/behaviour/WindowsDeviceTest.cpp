#include "libSysmira/enumeration/WindowsDevice.h"

#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/DriverPackage.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::DeviceInfoList;
using libSysmira::WindowsDevice;
using namespace libSysmira;  // the enumerators

constexpr char diskId[] = "SCSI\\DISK&VEN_NORD\\5&3&0";

class DeviceRecord : public SimulatedPc {
protected:
    /// The record of the first present device of a class, made from a list as enumerations make it.
    static WindowsDevice fromList(const GUID& setupClass = GUID_DEVCLASS_DISKDRIVE) {
        const DeviceInfoList list(SetupDiGetClassDevsW(&setupClass, nullptr, nullptr, DIGCF_PRESENT));
        SP_DEVINFO_DATA data = {};
        data.cbSize = sizeof data;
        EXPECT_TRUE(SetupDiEnumDeviceInfo(list.get(), 0, &data));
        return {list, data};
    }
    /// A device with one property.
    WindowsDevice withProperty(DWORD property, RegistryValue value, const Text& enumerator = u"PCI") {
        DeviceNode& node = add(enumerator + u"\\" + simulation::fromUtf8(std::to_string(++m_count)));
        node.properties[property] = std::move(value);
        return WindowsDevice(zorText(node.instanceId));
    }

private:
    int m_count = 0;
};

TEST_F(DeviceRecord, ReadsNamesOnceAndTheRestWhenAsked) {
    DeviceNode& disk = addDisk();
    const WindowsDevice byId(diskId);
    const WindowsDevice listed = fromList();
    disk.text(SPDRP_FRIENDLYNAME, u"renamed").text(SPDRP_LOCATION_INFORMATION, u"moved");
    forgetCalls();
    for (const WindowsDevice* device : {&byId, &listed}) {
        EXPECT_TRUE(device->isValid());
        EXPECT_EQ(device->getDeviceInstanceId(), diskId);
        EXPECT_EQ(device->getFriendlyName(), "Nordlicht 1000");
        EXPECT_EQ(device->getDescription(), "Disk drive");
        EXPECT_EQ(device->getEnumerator(), "SCSI");
        EXPECT_EQ(device->getType(), WinDev_SCSI);
        EXPECT_EQ(device->getInterfaceType(), WinInt_None);
        EXPECT_TRUE(simulation::sameGuid(device->getClassGuid(), GUID_DEVCLASS_DISKDRIVE));
        EXPECT_EQ(callNames(), Strings()) << "no call for what is kept";

        zor::String text("before");
        EXPECT_TRUE(device->getLocation(text));
        EXPECT_EQ(text, "moved");
        EXPECT_TRUE(device->getServiceName(text));
        EXPECT_EQ(text, "disk");
        EXPECT_TRUE(device->getDriverKey(text));
        EXPECT_EQ(text, "{4d36e967-e325-11ce-bfc1-08002be10318}\\0001");
        zor::Array<zor::String> ids = usedArray();
        EXPECT_TRUE(device->getHardwareIds(ids));
        EXPECT_EQ(plain(ids), (Strings{"SCSI\\DiskNORD", "GenDisk"}));
        EXPECT_TRUE(device->getCompatibleIds(ids));
        EXPECT_EQ(plain(ids), Strings{"SCSI\\Disk"});
        forgetCalls();
    }
}

TEST_F(DeviceRecord, OfNoDeviceKeepsItsIdAndReadsNothing) {
    addDisk();
    failCall("SetupDiCreateDeviceInfoList", ERROR_NOT_ENOUGH_MEMORY);
    const WindowsDevice records[] = {WindowsDevice(zor::String(diskId)), WindowsDevice(),
                                     WindowsDevice(zor::String()), WindowsDevice(zor::String("USB\\NONE\\1")),
                                     WindowsDevice({}, SP_DEVINFO_DATA{})};
    EXPECT_EQ(records[0].getDeviceInstanceId(), diskId);
    EXPECT_EQ(records[3].getDeviceInstanceId(), "USB\\NONE\\1");
    EXPECT_EQ(calls("SetupDiOpenDeviceInfoW"), 1u) << "without an ID there is nothing to open";
    EXPECT_EQ(calls("SetupDiDestroyDeviceInfoList"), 1u);
    for (const WindowsDevice& device : records) {
        SCOPED_TRACE(plain(device.getDeviceInstanceId()));
        EXPECT_FALSE(device.isValid());
        EXPECT_EQ(device.getType(), WinDev_Other);
        EXPECT_EQ(device.getInterfaceType(), WinInt_None);
        forgetCalls();
        zor::String text("before");
        zor::Array<zor::String> texts = usedArray();
        DWORD number = 4711;
        zor::Buffer<unsigned char> bytes(3);
        EXPECT_FALSE(device.getLocation(text));
        EXPECT_EQ(text, "");
        EXPECT_FALSE(device.getHardwareIds(texts));
        EXPECT_TRUE(texts.empty());
        EXPECT_FALSE(device.getStringRegistryProperty(SPCRP_SECURITY_SDS, text, RegProp_Class));
        EXPECT_FALSE(device.getDWORDRegistryProperty(SPDRP_CAPABILITIES, number, RegProp_Device));
        EXPECT_EQ(number, 4711u);
        EXPECT_FALSE(device.getRegistryString(RegKey_Device, "Parameter", text));
        EXPECT_FALSE(device.getRegistryBinaryData(RegKey_Driver, "Parameter", bytes));
        EXPECT_TRUE(bytes.empty());
        EXPECT_EQ(device.openRegistryKey(RegKey_Device), static_cast<HKEY>(INVALID_HANDLE_VALUE));
        EXPECT_EQ(callNames(), Strings());
        void* list = nullptr;
        SP_DEVINFO_DATA data = {};
        device.getSetupDiInfo(list, data);
        EXPECT_EQ(list, INVALID_HANDLE_VALUE);
        EXPECT_FALSE(device.getDriverPackage()->isValid());
    }
    SP_DEVINFO_DATA data = {};
    void* list = nullptr;
    records[1].getSetupDiInfo(list, data);
    EXPECT_EQ(data.cbSize, 32u);
    EXPECT_EQ(data.DevInst, 0u);
}

TEST_F(DeviceRecord, WithoutAnIdIsNotTheRoot) {
    makeHidden(*machine.node(root)).problem = CM_PROB_DISABLED;
    machine.node(root)->status |= DN_HAS_PROBLEM;
    machine.node(root)->removalRelations = {u"R\\1"};
    const WindowsDevice nobody, child(zorText(add(u"A\\1").instanceId));
    EXPECT_FALSE(nobody.isHidden());
    EXPECT_FALSE(nobody.hasDriverProblem(nullptr));
    EXPECT_EQ(nobody.getParentDeviceInstanceId(), "");
    EXPECT_FALSE(child.isDecendentOf(nobody, nullptr));
    zor::Array<zor::String> ids;
    EXPECT_FALSE(nobody.getRelations(Relations_Removal | Relations_Self, ids));
    EXPECT_TRUE(WindowsDevice(zor::String("HTREE\\ROOT\\0")).isHidden());
}

TEST_F(DeviceRecord, ReadsInstanceIdsOfOneBufferOrOfMoreThanTwo) {
    const struct {
        unsigned units;  // with the terminator
        bool read;
        unsigned calls;
    } cases[] = {{1023, true, 1}, {1024, true, 1}, {1025, false, 1}, {2048, false, 1}, {2049, true, 2}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.units);
        SetUp();
        const Text id = u"A\\" + Text(one.units - 3, u'x');
        add(id, root, GUID_DEVCLASS_DISKDRIVE).text(SPDRP_DEVICEDESC, u"Disk drive");
        const WindowsDevice device = fromList();
        EXPECT_EQ(device.getDeviceInstanceId(), one.read ? zorText(id) : zor::String());
        EXPECT_EQ(calls("SetupDiGetDeviceInstanceIdW"), one.calls);
        EXPECT_EQ(device.getDescription(), "Disk drive") << "the rest is read all the same";
    }
    // The second try may fail, or say more than it had room for.
    failCall("SetupDiGetDeviceInstanceIdW", ERROR_INSUFFICIENT_BUFFER, 2);
    EXPECT_EQ(fromList().getDeviceInstanceId(), "");
    clearFaults();
    distort("SetupDiGetDeviceInstanceIdW", Distortion::SizeTooLarge, 2);
    EXPECT_EQ(fromList().getDeviceInstanceId(), "");
    clearFaults();
    distort("SetupDiGetDeviceInstanceIdW", Distortion::SizeTooLarge, 1);
    EXPECT_EQ(fromList().getDeviceInstanceId(), "") << "an absurd size";
}

TEST_F(DeviceRecord, ReadsPropertiesOfFittingTypeAndSizeOnly) {
    const Text text = u"te\u00DFt";
    const simulation::Bytes four = {1, 2, 3, 4};
    const struct {
        DWORD type;
        simulation::Bytes bytes;
        std::string text;
        Strings texts;
        DWORD number;
    } cases[] = {
        {REG_SZ, bytesOf(text), "te\u00DFt", {}, 4711},
        {REG_EXPAND_SZ, bytesOf(u"%x%s"), "%x%s", {}, 4711},
        {REG_SZ, bytesOf({u'a', 0, u'b'}), "a", {}, 4711},
        {REG_SZ, {'a', 0, 'b'}, "a", {}, 4711},
        {REG_SZ, {0, 0}, "", {}, 4711},
        {REG_SZ, {'a'}, "", {}, 4711},
        {REG_SZ, {}, "", {}, 4711},
        {REG_MULTI_SZ, bytesOf({u'a', 0, u'b', 0, 0}), "", {"a", "b"}, 4711},
        {REG_MULTI_SZ, bytesOf(u"ab"), "", {"ab"}, 4711},
        {REG_MULTI_SZ, bytesOf({0, 0, u'a', 0}), "", {}, 4711},
        {REG_MULTI_SZ, {'a', 0, 0, 0, 'b'}, "", {"a"}, 4711},
        {REG_DWORD, four, "", {}, 0x04030201},
        {REG_DWORD, {1, 2, 3}, "", {}, 4711},
        {REG_DWORD, {1, 2, 3, 4, 5}, "", {}, 4711},
        {REG_BINARY, four, "", {}, 4711},
        {REG_NONE, four, "", {}, 4711},
        {0xFFFFFFFF, bytesOf(text), "", {}, 4711},
    };
    simulation::SetupClass& setupClass = machine.setupClasses[GUID_DEVCLASS_DISKDRIVE];
    DeviceNode& disk = addDisk();
    const WindowsDevice device = fromList();
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << "type " << one.type << ", " << one.bytes.size() << " bytes");
        disk.properties[SPDRP_MFG] = setupClass.properties[SPCRP_SECURITY_SDS] = {one.type, one.bytes};
        for (const RegPropType source : {RegProp_Device, RegProp_Class}) {
            const DWORD property = source == RegProp_Device ? SPDRP_MFG : SPCRP_SECURITY_SDS;
            zor::String string("before");
            EXPECT_EQ(device.getStringRegistryProperty(property, string, source), !one.text.empty());
            EXPECT_EQ(plain(string), one.text);
            zor::Array<zor::String> strings = usedArray();
            EXPECT_EQ(device.getMultiStringRegistryProperty(property, strings, source), !one.texts.empty());
            EXPECT_EQ(plain(strings), one.texts);
            DWORD number = 4711;
            EXPECT_EQ(device.getDWORDRegistryProperty(property, number, source), one.number != 4711);
            EXPECT_EQ(number, one.number);
        }
    }
}

TEST_F(DeviceRecord, AsksForAPropertysSizeAndThenForItsBytes) {
    DeviceNode& disk = addDisk().text(SPDRP_MFG, u"maker");
    machine.setupClasses[GUID_DEVCLASS_DISKDRIVE].properties[SPCRP_SECURITY_SDS] =
        RegistryValue::text(u"rights");
    const WindowsDevice device = fromList();
    const auto read = [&](RegPropType source, DWORD property) {
        forgetCalls();
        zor::String text("before");
        const bool success = device.getStringRegistryProperty(property, text, source);
        EXPECT_EQ(success, !text.empty());
        return plain(text);
    };
    EXPECT_EQ(read(RegProp_Device, SPDRP_MFG), "maker");
    EXPECT_EQ(callNames(), Strings(2, "SetupDiGetDeviceRegistryPropertyW"));
    EXPECT_EQ(read(RegProp_Class, SPCRP_SECURITY_SDS), "rights");
    EXPECT_EQ(callNames(), Strings(2, "SetupDiGetClassRegistryPropertyW"));

    // The first number that is none; and a source that is none.
    const struct {
        RegPropType source;
        DWORD property;
        unsigned calls;
    } bounds[] = {{RegProp_Device, 37, 1},
                  {RegProp_Device, 38, 0},
                  {RegProp_Class, 28, 1},
                  {RegProp_Class, 29, 0},
                  {static_cast<RegPropType>(2), SPDRP_MFG, 0}};
    for (const auto& one : bounds) {
        EXPECT_EQ(read(one.source, one.property), "");
        EXPECT_EQ(callNames().size(), one.calls) << one.source << " " << one.property;
    }

    const struct {
        const char* what;
        long long code;
        Distortion distortion;
        unsigned nth, calls;
    } faults[] = {
        {"another failure than room", ERROR_ACCESS_DENIED, Distortion::None, 1, 1},
        {"success without bytes", 0, Distortion::NothingWritten, 1, 1},
        {"no size", 0, Distortion::SizeZero, 1, 1},
        {"an absurd size", 0, Distortion::SizeTooLarge, 1, 1},
        {"it has grown", ERROR_INSUFFICIENT_BUFFER, Distortion::None, 2, 2},
        {"no type", 0, Distortion::NothingWritten, 2, 2},
        {"more than there was room for", 0, Distortion::SizeTooLarge, 2, 2},
    };
    for (const auto& one : faults) {
        for (const RegPropType source : {RegProp_Device, RegProp_Class}) {
            clearFaults();
            const char* function = source == RegProp_Device ? "SetupDiGetDeviceRegistryPropertyW"
                                                            : "SetupDiGetClassRegistryPropertyW";
            if (one.distortion == Distortion::None) {
                failCall(function, one.code, one.nth);
            } else {
                distort(function, one.distortion, one.nth);
            }
            EXPECT_EQ(read(source, source == RegProp_Device ? SPDRP_MFG : SPCRP_SECURITY_SDS), "")
                << one.what;
            EXPECT_EQ(callNames().size(), one.calls) << one.what;
        }
    }
    clearFaults();
    distort("SetupDiGetDeviceRegistryPropertyW", Distortion::OddSize, 1);
    EXPECT_EQ(read(RegProp_Device, SPDRP_MFG), "") << "a byte too few to read it";
    clearFaults();
    distort("SetupDiGetDeviceRegistryPropertyW", Distortion::OddSize, 2);
    EXPECT_EQ(read(RegProp_Device, SPDRP_MFG), "maker");
    disk.properties[SPDRP_MFG] = RegistryValue::number(1);
    clearFaults();
    distort("SetupDiGetDeviceRegistryPropertyW", Distortion::OddSize, 2);
    DWORD number = 4711;
    EXPECT_FALSE(device.getDWORDRegistryProperty(SPDRP_MFG, number, RegProp_Device)) << "three bytes came";
}

TEST_F(DeviceRecord, OpensItsKeysWithFullAccess) {
    DeviceNode& disk = addDisk();
    const WindowsDevice device(diskId);
    const HKEY key = device.openRegistryKey(RegKey_Driver);
    EXPECT_NE(key, static_cast<HKEY>(INVALID_HANDLE_VALUE));
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::RegistryKey), 1u) << "the caller's";
    RegCloseKey(key);

    forgetCalls();
    zor::String text;
    EXPECT_TRUE(device.getRegistryString(RegKey_Driver, "parameter", text));
    EXPECT_EQ(text, "software");
    EXPECT_TRUE(device.getRegistryString(static_cast<RegKeyType>(7), "Parameter", text));
    EXPECT_EQ(text, "hardware") << "whatever is not the software key is the hardware key";
    const Strings opened = argumentsOf("SetupDiOpenDevRegKey");
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_TRUE(opened[0].ends_with(", 1, 0, 2, 0xF003F")) << opened[0];
    EXPECT_TRUE(opened[1].ends_with(", 1, 0, 1, 0xF003F")) << opened[1];

    machine.driverKey(disk).denied = true;
    disk.properties.erase(SPDRP_DRIVER);
    for (const char* why : {"no driver", "no access", "a null key"}) {
        SCOPED_TRACE(why);
        text = "before";
        EXPECT_FALSE(device.getRegistryString(RegKey_Driver, "Parameter", text));
        EXPECT_EQ(text, "");
        disk.text(SPDRP_DRIVER, u"{4d36e967-e325-11ce-bfc1-08002be10318}\\0001");
        if (why == std::string("no access")) {
            machine.driverKey(disk).denied = false;
            distort("SetupDiOpenDevRegKey", Distortion::NullResult);
        }
    }
}

TEST_F(DeviceRecord, ReadsRegistryValuesOfAnySize) {
    DeviceNode& disk = addDisk();
    const WindowsDevice device(diskId);
    auto& values = machine.deviceKey(disk).values;
    for (const size_t size : {0, 1, 2, 1023, 1024, 1025, 100000}) {
        SCOPED_TRACE(size);
        simulation::Bytes value(size, 'x');
        if (size != 0) value.back() = 'y';
        values[u"Block"] = RegistryValue::binary(value);
        values[u"Text"] = {REG_SZ, value};
        forgetCalls();
        zor::Buffer<unsigned char> bytes(3);
        EXPECT_TRUE(device.getRegistryBinaryData(RegKey_Device, "Block", bytes));
        EXPECT_TRUE(value == simulation::Bytes(bytes.data(), bytes.data() + bytes.size()));
        EXPECT_EQ(calls("RegQueryValueExW"), size > 1024 ? 2u : 1u);
        zor::String text("before");
        EXPECT_EQ(device.getRegistryString(RegKey_Device, "Text", text), size > 1);
        EXPECT_EQ(text.size(), size / 2) << "half a unit is none, and there is no terminator";
    }
}

TEST_F(DeviceRecord, ReadsRegistryValuesOfFittingTypeOnly) {
    DeviceNode& disk = addDisk();
    const WindowsDevice device(diskId);
    auto& values = machine.deviceKey(disk).values;
    const simulation::Bytes content = bytesOf({u'a', 0, u'b'});
    for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ}) {
        SCOPED_TRACE(type);
        values[u"Value"] = {static_cast<DWORD>(type), content};
        zor::String text("before");
        const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
        EXPECT_EQ(device.getRegistryString(RegKey_Device, "Value", text), isText);
        EXPECT_EQ(text, isText ? "a" : "");
        zor::Buffer<unsigned char> bytes;
        EXPECT_EQ(device.getRegistryBinaryData(RegKey_Device, "Value", bytes), type == REG_BINARY);
        EXPECT_EQ(bytes.size(), content.size()) << "it is there whatever its type";
    }
    zor::String text("before");
    zor::Buffer<unsigned char> bytes(3);
    EXPECT_FALSE(device.getRegistryString(RegKey_Device, "None", text));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(device.getRegistryBinaryData(RegKey_Device, "None", bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST_F(DeviceRecord, GivesUpOnRegistryValuesThatKeepGrowing) {
    DeviceNode& disk = addDisk();
    machine.deviceKey(disk).values[u"Block"] = RegistryValue::binary(simulation::Bytes(5000, 'x'));
    const WindowsDevice device(diskId);
    const auto fails = [&] {
        forgetCalls();
        zor::Buffer<unsigned char> bytes(3);
        EXPECT_FALSE(device.getRegistryBinaryData(RegKey_Device, "Block", bytes));
        EXPECT_TRUE(bytes.empty());
        clearFaults();
        return calls("RegQueryValueExW");
    };
    failCall("RegQueryValueExW", ERROR_MORE_DATA, 2);
    EXPECT_EQ(fails(), 2u);
    failCall("RegQueryValueExW", ERROR_ACCESS_DENIED, 1);
    EXPECT_EQ(fails(), 1u);
    distort("RegQueryValueExW", Distortion::SizeTooLarge, 1);
    EXPECT_EQ(fails(), 1u) << "an absurd size";
    distort("RegQueryValueExW", Distortion::SizeTooLarge, 2);
    EXPECT_EQ(fails(), 2u) << "more than there was room for";
    distort("RegQueryValueExW", Distortion::OddSize, 1);
    EXPECT_EQ(fails(), 2u) << "a byte longer than it was when its size was asked for";
    machine.deviceKey(disk).values[u"Block"].type = REG_SZ;
    distort("RegQueryValueExW", Distortion::OddSize, 1);
    zor::String text("before");
    EXPECT_FALSE(device.getRegistryString(RegKey_Device, "Block", text));
    EXPECT_EQ(text, "");
}

// Reading asks for full access, which only administrators have: without it every value of the keys is
// missing.
TEST_F(DeviceRecord, ReadsNoKeysWithoutAdministrativeRights) {
    DeviceNode& disk = addDisk();
    machine.deviceKey(disk).denied = true;
    machine.driverKey(disk).denied = true;
    const WindowsDevice device(diskId);
    for (const RegKeyType type : {RegKey_Device, RegKey_Driver}) {
        EXPECT_EQ(device.openRegistryKey(type), static_cast<HKEY>(INVALID_HANDLE_VALUE));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
        zor::String text("before");
        EXPECT_FALSE(device.getRegistryString(type, "Parameter", text));
        EXPECT_EQ(text, "");
        zor::Buffer<unsigned char> bytes(3);
        EXPECT_FALSE(device.getRegistryBinaryData(type, "Parameter", bytes));
        EXPECT_TRUE(bytes.empty());
    }
    EXPECT_EQ(calls("RegQueryValueExW"), 0u);
    EXPECT_EQ(device.getFriendlyName(), "Nordlicht 1000") << "properties need no rights";
}

TEST_F(DeviceRecord, NamesItselfByItsIdWithoutTheLastPart) {
    const struct {
        Text id;
        Strings hardwareIds;
        std::string deviceId;
    } cases[] = {
        {u"PCI\\VEN_1\\3&0", {"unused"}, "PCI\\VEN_1"},
        {u"PCI\\VEN_1\\3\\0", {}, "PCI\\VEN_1\\3"},
        {u"PCI\\VEN_2", {"unused"}, "PCI"},
        {u"PCI\\", {}, "PCI"},
        {u"\\A\\B", {}, "\\A"},
        {u"\\AB", {"first", "second"}, "first"},
        {u"NOPARTS", {"first", "second"}, "first"},
        {u"NOTHING", {}, ""},
        {u"\\", {}, ""},
    };
    for (const auto& one : cases) {
        DeviceNode& node = add(one.id);
        std::vector<Text> ids;
        for (const std::string& id : one.hardwareIds) ids.push_back(simulation::fromUtf8(id));
        if (!ids.empty()) node.texts(SPDRP_HARDWAREID, ids);
        zor::String deviceId("before");
        EXPECT_EQ(WindowsDevice(zorText(one.id)).getDeviceId(deviceId), !one.deviceId.empty());
        EXPECT_EQ(plain(deviceId), one.deviceId) << simulation::toUtf8(one.id);
    }
}

TEST_F(DeviceRecord, PrintsItsClassGuidInUpperCase) {
    add(u"A\\1", root, {0x0a1b2c3d, 0x0e0f, 0x1011, {0x01, 0x23, 0x45, 0x67, 0x00, 0xab, 0xcd, 0xef}});
    EXPECT_EQ(WindowsDevice("A\\1").getClassGuidString(), "{0A1B2C3D-0E0F-1011-0123-456700ABCDEF}");
}

TEST_F(DeviceRecord, KnowsItsTypeByItsEnumerator) {
    const std::pair<const char*, WinDeviceType> table[] = {
        {"IDE", WinDev_ATA},   {"SCSI", WinDev_SCSI},     {"USBSTOR", WinDev_USBStorage},
        {"USB", WinDev_USB},   {"PCI", WinDev_PCI},       {"PCIIDE", WinDev_PCIIDE},
        {"ACPI", WinDev_ACPI}, {"SBP2", WinDev_SBP2},     {"1394", WinDev_1394},
        {"SD", WinDev_SD},     {"PCMCIA", WinDev_PCMCIA}, {"DISPLAY", WinDev_Display}};
    for (const auto& [name, type] : table) {
        EXPECT_EQ(WindowsDevice::getDeviceTypeFromEnumerator(zor::String(name).toLower()), type);
        EXPECT_EQ(WindowsDevice::getEnumeratorFromDeviceType(type), name);
    }
    for (const char* name : {"", "HID", "US", "USBSTO", "USBSTOR ", "WinDev_USB"}) {
        EXPECT_EQ(WindowsDevice::getDeviceTypeFromEnumerator(name), WinDev_Other) << name;
    }
    for (const unsigned type : {0u, 3u, 0x40u, 0x4000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(WindowsDevice::getEnumeratorFromDeviceType(static_cast<WinDeviceType>(type)), "") << type;
    }
}

TEST_F(DeviceRecord, KnowsItsPlaceInTheTree) {
    const DEVINST busNode = add(u"PCI\\BUS\\0").handle;
    DeviceNode& hubNode = makeAbsent(add(u"USB\\HUB\\0", busNode));
    DeviceNode& stickNode = makeHidden(add(u"USB\\STICK\\0", hubNode.handle));
    const WindowsDevice top("HTREE\\ROOT\\0"), bus("PCI\\BUS\\0"), hub("USB\\HUB\\0"), stick("USB\\STICK\\0"),
        none("USB\\NONE\\0");
    unsigned depth = 4711;
    EXPECT_TRUE(stick.isDecendentOf(hub, &depth));
    EXPECT_EQ(depth, 1u) << "absent parents count";
    EXPECT_TRUE(stick.isDecendentOf(top, &depth));
    EXPECT_EQ(depth, 3u);
    EXPECT_TRUE(stick.isChildOf(hub) && hub.isParentOf(stick));
    EXPECT_FALSE(stick.isChildOf(bus) || bus.isParentOf(stick)) << "a grandparent is no parent";

    depth = 4711;
    EXPECT_FALSE(stick.isDecendentOf(stick, &depth));
    EXPECT_FALSE(bus.isDecendentOf(stick, &depth));
    EXPECT_FALSE(none.isDecendentOf(top, &depth) || stick.isDecendentOf(none, &depth) ||
                 none.isDecendentOf(none, &depth));
    EXPECT_TRUE(bus.isAncestorOf(stick, &depth) && bus.isAncestorOf(stick, nullptr));
    EXPECT_EQ(depth, 4711u) << "not written, come what may";

    EXPECT_EQ(stick.getParentDeviceInstanceId(), "USB\\HUB\\0");
    EXPECT_EQ(top.getParentDeviceInstanceId(), "");
    EXPECT_EQ(none.getParentDeviceInstanceId(), "");
    EXPECT_TRUE(stick.isHidden());
    EXPECT_FALSE(hub.isHidden() || none.isHidden());
    EXPECT_TRUE(hub.hasDriverProblem(&depth));
    EXPECT_EQ(depth, static_cast<unsigned>(CM_PROB_DEVICE_NOT_THERE));
    EXPECT_FALSE(none.hasDriverProblem(&depth) || bus.hasDriverProblem(nullptr));

    stickNode.parent = stickNode.handle;
    EXPECT_FALSE(stick.isDecendentOf(top, nullptr)) << "its own parent: the way ends";
    stickNode.parent = hubNode.handle;
    machine.node(busNode)->parent = stickNode.handle;
    EXPECT_FALSE(stick.isDecendentOf(top, nullptr)) << "the way up is a circle of three";
    EXPECT_FALSE(stick.isDecendentOf(stick, nullptr));
    EXPECT_TRUE(stick.isDecendentOf(bus, &depth));
    EXPECT_EQ(depth, 2u);
}

TEST_F(DeviceRecord, CollectsRelationsInOrderAndEachOnce) {
    DeviceNode& node = add(u"A\\1");
    node.removalRelations = {u"R\\1", u"X\\1", u"R\\1"};
    node.busRelations = {u"B\\1", u"X\\1", u"A\\1"};
    node.ejectionRelations = {u"E\\1", u"B\\1", u"x\\1"};
    const WindowsDevice device("A\\1");
    const auto read = [](const WindowsDevice& record, unsigned selectors) {
        zor::Array<zor::String> ids = usedArray();
        const bool success = record.getRelations(selectors, ids);
        EXPECT_EQ(success, !ids.empty());
        return plain(ids);
    };
    EXPECT_EQ(read(device, 0), Strings());
    EXPECT_EQ(read(device, 0xFFFFFFF0), Strings());
    EXPECT_EQ(read(device, Relations_Self), Strings{"A\\1"});
    EXPECT_EQ(read(device, Relations_Removal), (Strings{"R\\1", "X\\1"}));
    EXPECT_EQ(read(device, Relations_Bus), (Strings{"B\\1", "X\\1", "A\\1"}));
    EXPECT_EQ(read(device, Relations_Removal | Relations_Ejection | Relations_Self),
              (Strings{"R\\1", "X\\1", "E\\1", "B\\1", "x\\1", "A\\1"}));
    EXPECT_EQ(read(device, 0xF), (Strings{"R\\1", "X\\1", "B\\1", "A\\1", "E\\1", "x\\1"}));
    failCall("CM_Get_Device_ID_ListW", CR_FAILURE, 1);
    EXPECT_EQ(read(device, 0xF), (Strings{"B\\1", "X\\1", "A\\1", "E\\1", "x\\1"}))
        << "the other lists remain";
    EXPECT_EQ(read(WindowsDevice("USB\\NONE\\1"), 0xF), Strings{"USB\\NONE\\1"});
    node.removalRelations = {u"R\\1", u"R\\1", u"X\\1", u"X\\1"};
    EXPECT_EQ(read(device, Relations_Removal), (Strings{"R\\1", "X\\1"})) << "an ID beside itself";
}

TEST_F(DeviceRecord, TakesNumbersForLocationsOnlyWhenThereIsNothingElse) {
    const struct {
        Text text;
        std::optional<unsigned> number;
    } cases[] = {
        {u"3", 3},
        {u"0", 0},
        {u"00000000000000000000012", 12},
        {u"4294967295", 0xFFFFFFFF},
        {u"4294967296", std::nullopt},
        {u"99999999999999999999999999", std::nullopt},
        {u"", std::nullopt},
        {u" 3", std::nullopt},
        {u"3 ", std::nullopt},
        {u"-3", std::nullopt},
        {u"0x3", std::nullopt},
        {u"\uFF13", std::nullopt},  // a digit of another width
        {u"\u0133", std::nullopt},  // its low byte is a digit
        {u"Port_#0003.Hub_#0001", std::nullopt},
    };
    for (const auto& one : cases) {
        for (const DWORD type : {REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ}) {
            unsigned location = 4711;
            const auto device = withProperty(SPDRP_LOCATION_INFORMATION, RegistryValue::text(one.text, type));
            const bool expected = one.number && type != REG_MULTI_SZ;
            EXPECT_EQ(device.getUint32Location(location), expected) << simulation::toUtf8(one.text);
            EXPECT_EQ(location, expected ? *one.number : 4711u);
        }
    }
    unsigned location = 4711;
    EXPECT_FALSE(withProperty(SPDRP_MFG, RegistryValue::text(u"3")).getUint32Location(location));
}

TEST_F(DeviceRecord, FindsThreeNumbersInAPciLocation) {
    const struct {
        Text text;
        int bus, device, function;  // bus -1: none
    } cases[] = {
        {u"PCI bus 2, device 0, function 1", 2, 0, 1},
        {u"PCI-Bus 300, Ger\u00E4t 31, Funktion 7", 44, 31, 7},
        {u"1-2-3-4", 1, 2, 3},
        {u"@1\u0660.2\u0032,3", 1, 22, 3},
        {u"4294967295 4294967041 256", 255, 1, 0},
        {u"4294967296 1 2", -1, 0, 0},
        {u"1 2", -1, 0, 0},
        {u"1 2 \uFF13 \u0133", -1, 0, 0},
        {u"%s%n%d", -1, 0, 0},
        {u"", -1, 0, 0},
        {Text(2041, u'x') + u"1 2 345", 1, 2, 34},  // the last digit is the 2048th unit
        {Text(2043, u'x') + u"1 2 3", -1, 0, 0},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(simulation::toUtf8(one.text).substr(0, 50));
        unsigned char bus = 0xAA, device = 0xBB, function = 0xCC;
        const bool expected = one.bus >= 0;
        const RegistryValue value = RegistryValue::text(one.text);
        EXPECT_EQ(
            withProperty(SPDRP_LOCATION_INFORMATION, value).getPciAddressFromLocation(bus, device, function),
            expected);
        EXPECT_EQ(bus, expected ? one.bus : 0xAA);
        EXPECT_EQ(device, expected ? one.device : 0xBB);
        EXPECT_EQ(function, expected ? one.function : 0xCC);
        EXPECT_FALSE(withProperty(SPDRP_LOCATION_INFORMATION, value, u"PCIIDE")
                         .getPciAddressFromLocation(bus, device, function))
            << "devices of other types have no such address";
    }
    const WindowsDevice listed =
        withProperty(SPDRP_LOCATION_INFORMATION, {REG_MULTI_SZ, bytesOf(u"bus 1, device 2, function 3")});
    unsigned char ignored = 0;
    EXPECT_FALSE(listed.getPciAddressFromLocation(ignored, ignored, ignored));
}

TEST_F(DeviceRecord, ReportsItselfInSevenLines) {
    addDisk();
    WindowsDevice device(diskId);
    device.setOsLocator("\\\\?\\%s", WinInt_Disk);
    EXPECT_EQ(plain(device.toString(4)),
              "    Friendly Name    : Nordlicht 1000\n"
              "    Description      : Disk drive\n"
              "    Enumerator       : SCSI\n"
              "    DeviceInstanceID : SCSI\\DISK&VEN_NORD\\5&3&0\n"
              "    OS Locator       : \\\\?\\%s\n"
              "    Device Type      : WinDev_SCSI\n"
              "    Interface        : WinInt_Disk\n");
    device = WindowsDevice();
    device.setOsLocator("", static_cast<WinInterfaceType>(3));
    EXPECT_EQ(plain(device.toString(0)),
              "Friendly Name    : \nDescription      : \nEnumerator       : \nDeviceInstanceID : \n"
              "OS Locator       : \nDevice Type      : WinDev_Other\nInterface        : UNKNOWN\n");
}

TEST_F(DeviceRecord, PrefersTheFriendlyNameForDisplayAsItsNodeDoes) {
    DeviceNode& node = add(u"A\\1");
    zor::String name("fallback");
    const auto expect = [&](const char* expected) {
        WindowsDevice("A\\1").getDisplayName(name, name);
        EXPECT_EQ(name, expected);
        name = "fallback";
        ConfigManager::getDisplayName(node.handle, name, name);
        EXPECT_EQ(name, expected);
        name = "fallback";
    };
    expect("fallback");
    node.text(SPDRP_DEVICEDESC, u"description");
    expect("description");
    node.text(SPDRP_FRIENDLYNAME, u"");
    expect("description");
    node.text(SPDRP_FRIENDLYNAME, u"friendly");
    expect("friendly");
}

TEST_F(DeviceRecord, SharesItsDriverPackageWithLaterCopies) {
    addDisk();
    WindowsDevice device(diskId);
    const WindowsDevice earlier(device);
    const auto package = device.getDriverPackage();
    const WindowsDevice later(device);
    EXPECT_EQ(later.getDriverPackage(), package);
    EXPECT_EQ(device.getDriverPackage(), package);
    EXPECT_NE(earlier.getDriverPackage(), package);
    EXPECT_EQ(calls("SetupDiBuildDriverInfoList"), 2u);
    device = WindowsDevice();
    EXPECT_TRUE(package->isValid()) << "the package has a share of the list of its own";
    EXPECT_EQ(package->getDriverFiles().size(), 2u);
}

}  // namespace
