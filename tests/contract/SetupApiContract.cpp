// What device and registry functions must do wherever the library runs: checked on the simulation and, the
// very same, on the functions of a real system. Nothing of the library is asked here.
//
// Left out, because the independent implementation that this runs on differs from what is documented: devices
// that are not there in lists of present ones, opening the root by an empty ID, the enumerator property,
// class properties, install parameters of a list as a whole, driver lists, buffers too small for
// CM_Get_Device_IDW (cut off there) and all other functions on the device tree.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "support/WindowsApi.h"
#include "tests/contract/ContractMachine.h"
#include "tests/contract/ContractText.h"

namespace {

constexpr GUID DiskClass = {0x4d36e967, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr GUID CdromClass = {0x4d36e965, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr GUID DiskInterface = {0x53f56307, 0xb6bf, 0x11d0, {0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e, 0xfb, 0x8b}};
constexpr GUID CdromInterface = {
    0x53f56308, 0xb6bf, 0x11d0, {0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e, 0xfb, 0x8b}};

const Text DiskId = u"SCSI\\Disk&Ven_ACME&Prod_ROCKET\\4&1A2B3C4D&0&000000";
const Text GhostId = u"SCSI\\Disk&Ven_ACME&Prod_GHOST\\1";
const Text DiskPath =
    u"\\\\?\\scsi#disk&ven_acme&prod_rocket#4&1a2b3c4d&0&000000#{53f56307-b6bf-11d0-94f2-00a0c91efb8b}";

const HDEVINFO NoList = INVALID_HANDLE_VALUE;
// Letter case of ASCII is no difference between instance IDs: systems report them as they were written, or in
// upper case.
Text folded(Text text) {
    for (char16_t& unit : text) {
        if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 0x20);
    }
    return text;
}

Text propertyText(const std::vector<BYTE>& bytes, DWORD size) {
    Text result(size / sizeof(WCHAR), u'\0');
    std::memcpy(result.data(), bytes.data(), result.size() * sizeof(WCHAR));
    return result;
}

// The last error of a call, or ERROR_SUCCESS when it did not fail.
template <class Call>
DWORD errorOf(Call&& call) {
    SetLastError(Marker);
    return call() ? ERROR_SUCCESS : GetLastError();
}

class List {
public:
    explicit List(HDEVINFO handle) : m_handle(handle) {}
    ~List() { EXPECT_TRUE(m_handle == NoList || SetupDiDestroyDeviceInfoList(m_handle)); }
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    operator HDEVINFO() const { return m_handle; }

private:
    HDEVINFO m_handle;
};

SP_DEVINFO_DATA emptyDevice() {
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    return data;
}

SP_DEVICE_INTERFACE_DATA emptyInterface() {
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof data;
    return data;
}

Text idOf(HDEVINFO list, SP_DEVINFO_DATA& data) {
    WCHAR id[256] = {};
    return SetupDiGetDeviceInstanceIdW(list, &data, id, 256, nullptr) ? folded(textOf(id)) : Text();
}

bool findDevice(HDEVINFO list, const Text& id, SP_DEVINFO_DATA& data) {
    data = emptyDevice();
    for (DWORD i = 0; SetupDiEnumDeviceInfo(list, i, &data); ++i) {
        if (idOf(list, data) == folded(id)) return true;
    }
    return false;
}

size_t countOf(HDEVINFO list) {
    SP_DEVINFO_DATA data = emptyDevice();
    DWORD count = 0;
    while (SetupDiEnumDeviceInfo(list, count, &data)) ++count;
    return count;
}

class SetupApiContract : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(prepareContractMachine(), ""); }
    void SetUp() override { ASSERT_TRUE(findDevice(disks, DiskId, disk)); }

    List disks{SetupDiGetClassDevsW(&DiskClass, nullptr, nullptr, DIGCF_PRESENT)};
    SP_DEVINFO_DATA disk = {};
};

TEST_F(SetupApiContract, ListsAreChosenByClassEnumeratorAndInterface) {
    const struct {
        const char* what;
        const GUID* guid;
        const Text enumerator;
        DWORD flags;
        bool found;
    } cases[] = {
        {"class", &DiskClass, u"", DIGCF_PRESENT, true},
        {"class, absent ones too", &DiskClass, u"", 0, true},
        {"class and enumerator", &DiskClass, u"SCSI", DIGCF_PRESENT, true},
        {"other class and enumerator", &CdromClass, u"SCSI", DIGCF_PRESENT, false},
        {"enumerator", nullptr, u"SCSI", DIGCF_PRESENT | DIGCF_ALLCLASSES, true},
        {"enumerator in lower case", nullptr, u"scsi", DIGCF_PRESENT | DIGCF_ALLCLASSES, true},
        {"unknown enumerator", nullptr, u"NOPE", DIGCF_PRESENT | DIGCF_ALLCLASSES, false},
        {"instance ID where an enumerator belongs", nullptr, DiskId, DIGCF_PRESENT | DIGCF_ALLCLASSES, false},
        {"everything", nullptr, u"", DIGCF_PRESENT | DIGCF_ALLCLASSES, true},
        {"everything, whatever the class", &CdromClass, u"", DIGCF_PRESENT | DIGCF_ALLCLASSES, true},
        {"interface", &DiskInterface, u"", DIGCF_PRESENT | DIGCF_DEVICEINTERFACE, true},
        {"interface of a device", &DiskInterface, DiskId, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE, true},
        {"interface of a device without one", &DiskInterface, GhostId, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE,
         false},
        {"other interface", &CdromInterface, u"", DIGCF_PRESENT | DIGCF_DEVICEINTERFACE, false},
        {"every interface", nullptr, u"", DIGCF_PRESENT | DIGCF_DEVICEINTERFACE | DIGCF_ALLCLASSES, true},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        const List list(SetupDiGetClassDevsW(
            one.guid, one.enumerator.empty() ? nullptr : wide(one.enumerator), nullptr, one.flags));
        ASSERT_NE(HDEVINFO(list), NoList);
        SP_DEVINFO_DATA data;
        EXPECT_EQ(findDevice(list, DiskId, data), one.found);
    }
    for (const DWORD flags : {DWORD{0}, DWORD{DIGCF_PRESENT}, DWORD{DIGCF_PRESENT | DIGCF_DEVICEINTERFACE}}) {
        SetLastError(Marker);
        EXPECT_EQ(SetupDiGetClassDevsW(nullptr, L"SCSI", nullptr, flags), NoList);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

TEST_F(SetupApiContract, EnumerationEndsAndChecksWhatItFills) {
    EXPECT_EQ(disk.ClassGuid, DiskClass);
    SP_DEVINFO_DATA data = emptyDevice();
    const auto count = static_cast<DWORD>(countOf(disks));
    EXPECT_EQ(errorOf([&] { return SetupDiEnumDeviceInfo(disks, count, &data); }),
              DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_EQ(errorOf([&] { return SetupDiEnumDeviceInfo(disks, 0, nullptr); }),
              DWORD{ERROR_INVALID_PARAMETER});
    data.cbSize = sizeof data - 1;
    EXPECT_EQ(errorOf([&] { return SetupDiEnumDeviceInfo(disks, 0, &data); }),
              DWORD{ERROR_INVALID_USER_BUFFER});
    data = emptyDevice();
    for (const HDEVINFO bad : {NoList, HDEVINFO(nullptr)}) {
        EXPECT_EQ(errorOf([&] { return SetupDiEnumDeviceInfo(bad, 0, &data); }), DWORD{ERROR_INVALID_HANDLE});
        EXPECT_EQ(errorOf([&] { return SetupDiDestroyDeviceInfoList(bad); }), DWORD{ERROR_INVALID_HANDLE});
    }
}

TEST_F(SetupApiContract, InstanceIdsAreMeasuredInUnitsWithTheTerminator) {
    const auto needed = static_cast<DWORD>(DiskId.size() + 1);
    const auto read = [&](PWSTR buffer, DWORD units, PDWORD required) {
        return errorOf([&] { return SetupDiGetDeviceInstanceIdW(disks, &disk, buffer, units, required); });
    };
    WCHAR buffer[256] = {L'?', 0};
    DWORD required = 0;
    EXPECT_EQ(read(nullptr, 0, &required), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(required, needed);
    required = 0;
    EXPECT_EQ(read(buffer, needed - 1, &required), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(required, needed);
    EXPECT_EQ(textOf(buffer), u"?");
    EXPECT_EQ(read(buffer, needed, &required), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(required, needed);
    EXPECT_EQ(folded(textOf(buffer)), folded(DiskId));
    EXPECT_EQ(read(buffer, 256, nullptr), DWORD{ERROR_SUCCESS});

    WCHAR byNode[256] = {};
    EXPECT_EQ(CM_Get_Device_IDW(disk.DevInst, byNode, 256, 0), DWORD{CR_SUCCESS});
    EXPECT_EQ(textOf(byNode), textOf(buffer));
}

TEST_F(SetupApiContract, DevicesOfOtherListsAndOfWrongSizeAreWrongParameters) {
    const List others(
        SetupDiGetClassDevsW(&DiskInterface, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    SP_DEVINFO_DATA wrongSize = disk;
    wrongSize.cbSize = 5;
    SP_DEVINFO_DATA unknown = disk;
    unknown.Reserved = 0;
    WCHAR id[256];
    const auto read = [&](HDEVINFO list, SP_DEVINFO_DATA* data) {
        return errorOf([&] { return SetupDiGetDeviceInstanceIdW(list, data, id, 256, nullptr); });
    };
    EXPECT_EQ(read(others, &disk), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(read(disks, &wrongSize), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(read(disks, &unknown), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(read(disks, nullptr), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(read(NoList, &disk), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(SetupApiContract, PropertiesAreBytesWithTheirTypeAndTerminators) {
    const auto terminated = [](Text text) { return text += u'\0'; };
    const struct {
        DWORD property;
        DWORD type;
        Text value;
    } cases[] = {
        {SPDRP_DEVICEDESC, REG_SZ, terminated(u"Disk drive")},
        {SPDRP_FRIENDLYNAME, REG_SZ, terminated(u"ACME ROCKET 1000 SSD")},
        {SPDRP_SERVICE, REG_SZ, terminated(u"disk")},
        {SPDRP_CLASS, REG_SZ, terminated(u"DiskDrive")},
        {SPDRP_CLASSGUID, REG_SZ, terminated(u"{4d36e967-e325-11ce-bfc1-08002be10318}")},
        {SPDRP_DRIVER, REG_SZ, terminated(u"{4d36e967-e325-11ce-bfc1-08002be10318}\\0007")},
        {SPDRP_LOCATION_INFORMATION, REG_SZ, terminated(u"Bus Number 0, Target Id 0, LUN 0")},
        {SPDRP_HARDWAREID, REG_MULTI_SZ,
         terminated(u"SCSI\\DiskACME____ROCKET__________1.0_") + terminated(u"SCSI\\DiskACME") + u'\0'},
        {SPDRP_COMPATIBLEIDS, REG_MULTI_SZ, terminated(u"SCSI\\Disk") + terminated(u"GenDisk") + u'\0'},
        {SPDRP_CONFIGFLAGS, REG_DWORD, Text(2, u'\0')},
        {SPDRP_CAPABILITIES, REG_DWORD, Text(u"\x10\0", 2)},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.property);
        const auto needed = static_cast<DWORD>(one.value.size() * sizeof(WCHAR));
        std::vector<BYTE> buffer(600, 0x55);
        DWORD type = 99;
        DWORD required = 0;
        const auto read = [&](DWORD size) {
            type = 99;
            required = 0;
            return errorOf([&] {
                return SetupDiGetDeviceRegistryPropertyW(
                    disks, &disk, one.property, &type, size == 0 ? nullptr : buffer.data(), size, &required);
            });
        };
        EXPECT_EQ(read(0), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(type, one.type);
        EXPECT_EQ(required, needed);
        EXPECT_EQ(read(needed - 1), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(required, needed);
        EXPECT_EQ(buffer[0], 0x55);
        EXPECT_EQ(read(needed), DWORD{ERROR_SUCCESS});
        EXPECT_EQ(GetLastError(), Marker);  // success leaves it alone
        EXPECT_EQ(type, one.type);
        EXPECT_EQ(folded(propertyText(buffer, required)), folded(one.value));  // GUIDs come in either case
    }
    EXPECT_TRUE(SetupDiGetDeviceRegistryPropertyW(disks, &disk, SPDRP_CONFIGFLAGS, nullptr,
                                                  std::vector<BYTE>(4).data(), 4, nullptr));
}

TEST_F(SetupApiContract, MissingPropertyIsInvalidDataAndWritesNothing) {
    BYTE buffer[64] = {0x55};
    for (const DWORD size : {DWORD{0}, DWORD{sizeof buffer}}) {
        DWORD type = 99;
        DWORD required = 99;
        EXPECT_EQ(errorOf([&] {
                      return SetupDiGetDeviceRegistryPropertyW(disks, &disk, SPDRP_UPPERFILTERS, &type,
                                                               size == 0 ? nullptr : buffer, size, &required);
                  }),
                  DWORD{ERROR_INVALID_DATA});
        EXPECT_EQ(type, 99u);
        EXPECT_EQ(buffer[0], 0x55);
    }
    EXPECT_EQ(errorOf([&] {
                  return SetupDiGetDeviceRegistryPropertyW(NoList, &disk, SPDRP_DEVICEDESC, nullptr, buffer,
                                                           sizeof buffer, nullptr);
              }),
              DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(SetupApiContract, InterfacesAreThoseThatTheListWasMadeFor) {
    const List list(
        SetupDiGetClassDevsW(&DiskInterface, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    SP_DEVINFO_DATA device;
    ASSERT_TRUE(findDevice(list, DiskId, device));
    SP_DEVICE_INTERFACE_DATA data = emptyInterface();
    ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, &device, &DiskInterface, 0, &data));
    EXPECT_EQ(data.InterfaceClassGuid, DiskInterface);
    EXPECT_EQ(data.Flags, DWORD{SPINT_ACTIVE});
    EXPECT_TRUE(SetupDiEnumDeviceInterfaces(list, nullptr, &DiskInterface, 0, &data));

    const auto errorFor = [&](HDEVINFO from, SP_DEVINFO_DATA* of, const GUID& guid, DWORD index) {
        return errorOf([&] { return SetupDiEnumDeviceInterfaces(from, of, &guid, index, &data); });
    };
    EXPECT_EQ(errorFor(list, &device, DiskInterface, 1), DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_EQ(errorFor(list, nullptr, DiskInterface, 1), DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_EQ(errorFor(list, &device, CdromInterface, 0), DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_EQ(errorFor(disks, &disk, DiskInterface, 0), DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_EQ(errorFor(NoList, &device, DiskInterface, 0), DWORD{ERROR_INVALID_HANDLE});
    data.cbSize = 3;
    EXPECT_EQ(errorFor(list, &device, DiskInterface, 0), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(SetupApiContract, InterfaceDetailIsFourBytesAndThePath) {
    const List list(
        SetupDiGetClassDevsW(&DiskInterface, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    SP_DEVICE_INTERFACE_DATA data = emptyInterface();
    ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, nullptr, &DiskInterface, 0, &data));
    alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) BYTE buffer[600] = {};
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer);
    detail->cbSize = sizeof *detail;
    const auto needed = static_cast<DWORD>(4 + 2 * (DiskPath.size() + 1));
    const auto read = [&](SP_DEVICE_INTERFACE_DETAIL_DATA_W* into, DWORD size, PDWORD required) {
        return errorOf(
            [&] { return SetupDiGetDeviceInterfaceDetailW(list, &data, into, size, required, nullptr); });
    };

    DWORD required = 0;
    EXPECT_EQ(read(nullptr, 0, &required), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(required, needed);
    for (const DWORD tooSmall : {needed - 1, DWORD{4}}) {
        required = 0;
        EXPECT_EQ(read(detail, tooSmall, &required), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(required, needed);
    }
    EXPECT_EQ(read(detail, needed, nullptr), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(textOf(detail->DevicePath), DiskPath);
    SP_DEVINFO_DATA device = emptyDevice();
    EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, nullptr, 0, &required, &device));
    EXPECT_EQ(idOf(list, device), folded(DiskId)) << "the device is told where the path finds no room";
    device = emptyDevice();
    EXPECT_TRUE(SetupDiGetDeviceInterfaceDetailW(list, &data, detail, sizeof buffer, &required, &device));
    EXPECT_EQ(required, needed);
    EXPECT_EQ(idOf(list, device), folded(DiskId));

    EXPECT_EQ(read(nullptr, sizeof buffer, &required), DWORD{ERROR_INVALID_USER_BUFFER});
    detail->cbSize = 0;
    EXPECT_EQ(read(detail, sizeof buffer, &required), DWORD{ERROR_INVALID_USER_BUFFER});
    detail->cbSize = sizeof *detail;
    data.cbSize = 9;
    EXPECT_EQ(read(detail, sizeof buffer, &required), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(SetupApiContract, DevicesAreOpenedIntoAListOnce) {
    const List list(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    ASSERT_NE(HDEVINFO(list), NoList);
    EXPECT_EQ(countOf(list), 0u);
    SP_DEVINFO_DATA data = emptyDevice();
    const auto open = [&](HDEVINFO into, const Text& id, SP_DEVINFO_DATA* result) {
        return errorOf([&] { return SetupDiOpenDeviceInfoW(into, wide(id), nullptr, 0, result); });
    };
    for (const Text& absent : {Text(u"SCSI\\NOPE\\1"), Text(u"NOPE")}) {
        EXPECT_EQ(open(list, absent, &data), static_cast<DWORD>(ERROR_NO_SUCH_DEVINST));
    }
    EXPECT_EQ(open(list, DiskId, &data), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(idOf(list, data), folded(DiskId));
    EXPECT_EQ(data.ClassGuid, DiskClass);
    EXPECT_EQ(open(list, DiskId, nullptr), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(countOf(list), 1u);

    data.cbSize = 1;
    EXPECT_EQ(open(list, DiskId, &data), DWORD{ERROR_INVALID_USER_BUFFER});
    EXPECT_EQ(open(NoList, DiskId, nullptr), DWORD{ERROR_INVALID_HANDLE});
    const List opticals(SetupDiCreateDeviceInfoList(&CdromClass, nullptr));
    EXPECT_EQ(open(opticals, DiskId, nullptr), static_cast<DWORD>(ERROR_CLASS_MISMATCH));
    EXPECT_EQ(countOf(opticals), 0u);
}

TEST_F(SetupApiContract, DeviceAndDriverKeysAreOpenedWhereTheyAre) {
    const auto open = [&](HDEVINFO list, SP_DEVINFO_DATA* data, DWORD scope, DWORD keyType) {
        SetLastError(Marker);
        return SetupDiOpenDevRegKey(list, data, scope, 0, keyType, KEY_ALL_ACCESS);
    };
    const auto noKey = static_cast<HKEY>(INVALID_HANDLE_VALUE);
    const struct {
        DWORD keyType;
        const WCHAR* name;
        Text value;
    } keys[] = {{DIREG_DEV, L"ProbeParam", u"hello"}, {DIREG_DRV, L"DriverDesc", u"ACME disk driver"}};
    for (const auto& one : keys) {
        const HKEY key = open(disks, &disk, DICS_FLAG_GLOBAL, one.keyType);
        ASSERT_NE(key, noKey);
        WCHAR value[64] = {};
        DWORD size = sizeof value;
        EXPECT_EQ(RegQueryValueExW(key, one.name, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(textOf(value), one.value);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }

    const List all(SetupDiGetClassDevsW(&DiskClass, nullptr, nullptr, 0));
    SP_DEVINFO_DATA ghost;
    ASSERT_TRUE(findDevice(all, GhostId, ghost));
    const struct {
        HDEVINFO list;
        SP_DEVINFO_DATA* data;
        DWORD scope;
        DWORD keyType;
        DWORD error;
    } failures[] = {
        {all, &ghost, DICS_FLAG_GLOBAL, DIREG_DRV, static_cast<DWORD>(ERROR_KEY_DOES_NOT_EXIST)},
        {all, &ghost, DICS_FLAG_GLOBAL, DIREG_DEV, static_cast<DWORD>(ERROR_KEY_DOES_NOT_EXIST)},
        {disks, &disk, 0, DIREG_DEV, ERROR_INVALID_FLAGS},
        {disks, &disk, DICS_FLAG_GLOBAL, 7, ERROR_INVALID_FLAGS},
        {disks, nullptr, DICS_FLAG_GLOBAL, DIREG_DEV, ERROR_INVALID_PARAMETER},
        {NoList, &disk, DICS_FLAG_GLOBAL, DIREG_DEV, ERROR_INVALID_HANDLE},
    };
    for (const auto& one : failures) {
        EXPECT_EQ(open(one.list, one.data, one.scope, one.keyType), noKey);
        EXPECT_EQ(GetLastError(), one.error);
    }
}

TEST_F(SetupApiContract, RegistryValuesTellTheSizeThatTheyNeed) {
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                            L"System\\CurrentControlSet\\Enum\\SCSI\\Disk&Ven_ACME&Prod_ROCKET\\"
                            L"4&1A2B3C4D&0&000000\\device parameters",
                            0, KEY_READ, &key),
              ERROR_SUCCESS);
    constexpr DWORD Needed = sizeof L"hello";
    BYTE buffer[64] = {};
    DWORD type = 0;
    DWORD size = 0;
    const auto read = [&](const WCHAR* name, BYTE* into, DWORD capacity) {
        type = 99;
        size = capacity;
        return RegQueryValueExW(key, name, nullptr, &type, into, &size);
    };
    EXPECT_EQ(read(L"ProbeParam", nullptr, 0),
              ERROR_SUCCESS);  // without a buffer the size is all that is asked
    EXPECT_EQ(size, Needed);
    EXPECT_EQ(read(L"ProbeParam", buffer, Needed - 1), ERROR_MORE_DATA);
    EXPECT_EQ(size, Needed);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(read(L"probeparam", buffer, sizeof buffer), ERROR_SUCCESS);
    EXPECT_EQ(size, Needed);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(textOf(reinterpret_cast<const WCHAR*>(buffer)), u"hello");
    EXPECT_EQ(RegQueryValueExW(key, L"ProbeParam", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(key, L"ProbeParam", nullptr, nullptr, buffer, nullptr),
              ERROR_INVALID_PARAMETER);
    for (const WCHAR* missing : {L"nope", L"", static_cast<const WCHAR*>(nullptr)}) {
        EXPECT_EQ(read(missing, buffer, sizeof buffer), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(read(missing, nullptr, sizeof buffer), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(size, 0u) << "a missing value that is measured has no size";
    }
    HKEY none = key;
    EXPECT_EQ(RegOpenKeyExW(key, L"nope", 0, KEY_READ, &none), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(none, nullptr);
    HKEY same = nullptr;
    EXPECT_EQ(RegOpenKeyExW(key, nullptr, 0, KEY_READ, &same), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(same), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(SetupApiContract, InstallParametersAreKeptPerDevice) {
    SP_DEVINSTALL_PARAMS_W params = {};
    params.cbSize = sizeof params;
    ASSERT_TRUE(SetupDiGetDeviceInstallParamsW(disks, &disk, &params));
    EXPECT_EQ(params.Flags & DI_NOVCP, 0u);
    EXPECT_EQ(params.FileQueue, nullptr);
    const HSPFILEQ queue = SetupOpenFileQueue();
    ASSERT_NE(queue, INVALID_HANDLE_VALUE);
    params.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
    params.FileQueue = queue;
    EXPECT_TRUE(SetupDiSetDeviceInstallParamsW(disks, &disk, &params));

    params = {};
    params.cbSize = sizeof params;
    EXPECT_TRUE(SetupDiGetDeviceInstallParamsW(disks, &disk, &params));
    EXPECT_EQ(params.FlagsEx & DI_FLAGSEX_ALLOWEXCLUDEDDRVS, DWORD{DI_FLAGSEX_ALLOWEXCLUDEDDRVS});
    EXPECT_EQ(params.FileQueue, queue);
    const List others(SetupDiGetClassDevsW(&DiskClass, nullptr, nullptr, DIGCF_PRESENT));
    SP_DEVINFO_DATA other;
    ASSERT_TRUE(findDevice(others, DiskId, other));
    EXPECT_TRUE(SetupDiGetDeviceInstallParamsW(others, &other, &params));
    EXPECT_EQ(params.FileQueue, nullptr);

    EXPECT_EQ(errorOf([&] { return SetupDiGetDeviceInstallParamsW(NoList, &disk, &params); }),
              DWORD{ERROR_INVALID_HANDLE});
    params.cbSize = 3;
    EXPECT_EQ(errorOf([&] { return SetupDiGetDeviceInstallParamsW(disks, &disk, &params); }),
              DWORD{ERROR_INVALID_USER_BUFFER});
    EXPECT_EQ(errorOf([&] { return SetupDiSetDeviceInstallParamsW(disks, &disk, &params); }),
              DWORD{ERROR_INVALID_USER_BUFFER});

    DWORD scanned = 99;
    const PSP_FILE_CALLBACK_W never = [](PVOID, UINT, UINT_PTR, UINT_PTR) -> UINT { return ERROR_CANCELLED; };
    EXPECT_TRUE(SetupScanFileQueueW(queue, SPQ_SCAN_USE_CALLBACK, nullptr, never, nullptr, &scanned));
    EXPECT_TRUE(SetupCloseFileQueue(queue));
}

}  // namespace
