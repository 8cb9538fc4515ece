// The documented rules of device functions that no independent implementation confirms: checked on the
// simulation alone.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"

using namespace simulation;

namespace {

constexpr GUID Disks = {0x4d36e967, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr GUID Volumes = {0x53f5630d, 0xb6bf, 0x11d0, {0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e, 0xfb, 0x8b}};
constexpr WCHAR DiskId[] = L"SCSI\\DISK\\1";

// A root with a controller, a disk behind it, a disk that failed to start and one that is gone.
class SimulatedDevices : public testing::Test {
protected:
    SimulatedDevices() {
        reset();
        DeviceNode node;
        node.instanceId = u"HTREE\\ROOT\\0";
        root = machine().add(node).handle;
        node.instanceId = u"PCI\\HBA\\1";
        controller = machine().add(node, root).handle;
        node.classGuid = Disks;
        node.interfaces = {{Volumes, u"\\\\?\\volume"}};
        for (const char16_t* id : {u"SCSI\\DISK\\1", u"SCSI\\DISK\\2"}) {
            node.instanceId = id;
            disk = machine().add(node, controller).handle;
        }
        machine().node(disk)->status = DN_HAS_PROBLEM;
        machine().node(disk)->problem = CM_PROB_FAILED_START;
        node.instanceId = u"SCSI\\DISK\\3";
        node.phantom = true;
        phantom = machine().add(node, controller).handle;
        disk = machine().node(u"scsi\\disk\\1")->handle;
    }
    ~SimulatedDevices() override {
        EXPECT_TRUE(ledger().empty()) << ledger().describe();
        reset();
    }

    DEVINST root = 0, controller = 0, disk = 0, phantom = 0;
};

DEVINST located(const WCHAR* id, ULONG flags, CONFIGRET expected) {
    DEVINST node = 4711;
    EXPECT_EQ(CM_Locate_DevNodeW(&node, const_cast<WCHAR*>(id), flags), expected);
    return node;
}

TEST_F(SimulatedDevices, TreeIsWalkedAndItsEndsAreNoSuchDevnode) {
    EXPECT_EQ(located(nullptr, CM_LOCATE_DEVNODE_NORMAL, CR_SUCCESS), root);
    EXPECT_EQ(located(L"", CM_LOCATE_DEVNODE_NORMAL, CR_SUCCESS), root);
    EXPECT_EQ(located(L"scsi\\Disk\\1", CM_LOCATE_DEVNODE_NORMAL, CR_SUCCESS), disk);
    EXPECT_EQ(located(L"SCSI\\DISK\\3", CM_LOCATE_DEVNODE_NORMAL, CR_NO_SUCH_DEVNODE), 0u);
    EXPECT_EQ(located(L"SCSI\\DISK\\3", CM_LOCATE_DEVNODE_PHANTOM, CR_SUCCESS), phantom);
    EXPECT_EQ(located(L"nothing", CM_LOCATE_DEVNODE_NORMAL, CR_INVALID_DEVICE_ID), 0u);
    EXPECT_EQ(located(DiskId, 0x80, CR_INVALID_FLAG), 0u);

    const struct {
        CONFIGRET(WINAPI* step)(PDEVINST, DEVINST, ULONG);
        DEVINST from;
        DEVINST to;
        CONFIGRET result;
    } steps[] = {
        {CM_Get_Parent, disk, controller, CR_SUCCESS},    {CM_Get_Child, controller, disk, CR_SUCCESS},
        {CM_Get_Sibling, disk, disk + 1, CR_SUCCESS},     {CM_Get_Sibling, disk + 1, 99, CR_NO_SUCH_DEVNODE},
        {CM_Get_Parent, root, 99, CR_NO_SUCH_DEVNODE},    {CM_Get_Child, disk, 99, CR_NO_SUCH_DEVNODE},
        {CM_Get_Parent, phantom, 99, CR_NO_SUCH_DEVNODE}, {CM_Get_Parent, 4711, 99, CR_INVALID_DEVNODE},
    };
    for (const auto& one : steps) {
        DEVINST node = 99;
        EXPECT_EQ(one.step(&node, one.from, 0), one.result);
        EXPECT_EQ(node, one.to);
    }
    machine().noDeviceTree = true;
    EXPECT_EQ(located(nullptr, CM_LOCATE_DEVNODE_NORMAL, CR_FAILURE), 0u);
}

TEST_F(SimulatedDevices, NodePropertiesAndStatusFollowTheRegistryOfDevices) {
    ULONG status = 0, problem = 0;
    EXPECT_EQ(CM_Get_DevNode_Status(&status, &problem, disk + 1, 0), CONFIGRET{CR_SUCCESS});
    EXPECT_EQ(problem, ULONG{CM_PROB_FAILED_START});
    EXPECT_EQ(CM_Get_DevNode_Status(&status, &problem, phantom, 0), CONFIGRET{CR_NO_SUCH_DEVNODE});

    WCHAR text[16] = {};
    ULONG type = 0, length = 4;
    EXPECT_EQ(CM_Get_DevNode_Registry_PropertyW(disk, CM_DRP_ENUMERATOR_NAME, &type, text, &length, 0),
              CONFIGRET{CR_BUFFER_SMALL});
    EXPECT_EQ(length, 10u);
    EXPECT_EQ(CM_Get_DevNode_Registry_PropertyW(disk, CM_DRP_ENUMERATOR_NAME, &type, text, &length, 0),
              CONFIGRET{CR_SUCCESS});
    EXPECT_EQ(fromWide(text), u"SCSI");
    EXPECT_EQ(CM_Get_DevNode_Registry_PropertyW(disk, CM_DRP_MFG, &type, text, &length, 0),
              CONFIGRET{CR_NO_SUCH_VALUE});
    EXPECT_EQ(CM_Get_DevNode_Registry_PropertyW(disk, 0, &type, text, &length, 0),
              CONFIGRET{CR_INVALID_PROPERTY});
    EXPECT_EQ(CM_Get_Device_IDW(disk, text, 11, 0), CONFIGRET{CR_BUFFER_SMALL});
    EXPECT_EQ(CM_Get_Device_IDW(disk, text, 12, 0), CONFIGRET{CR_SUCCESS});
}

TEST_F(SimulatedDevices, IdListsEndWithAnExtraTerminator) {
    machine().node(disk)->removalRelations = {u"STORAGE\\VOLUME\\1"};
    const struct {
        const WCHAR* filter;
        ULONG flags;
        Text list;
    } cases[] = {
        {DiskId, CM_GETIDLIST_FILTER_REMOVALRELATIONS, Text(u"STORAGE\\VOLUME\\1\0\0", 18)},
        {DiskId, CM_GETIDLIST_FILTER_EJECTRELATIONS, Text(1, u'\0')},
        {L"PCI\\HBA\\1", CM_GETIDLIST_FILTER_BUSRELATIONS, Text(u"SCSI\\DISK\\1\0SCSI\\DISK\\2\0\0", 25)},
        {L"pci", CM_GETIDLIST_FILTER_ENUMERATOR, Text(u"PCI\\HBA\\1\0\0", 11)},
        {nullptr, CM_GETIDLIST_FILTER_PRESENT,
         Text(u"HTREE\\ROOT\\0\0PCI\\HBA\\1\0SCSI\\DISK\\1\0SCSI\\DISK\\2\0\0", 48)},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(toUtf8(one.list));
        ULONG units = 0;
        WCHAR buffer[64] = {};
        EXPECT_EQ(CM_Get_Device_ID_List_SizeW(&units, one.filter, one.flags), CONFIGRET{CR_SUCCESS});
        EXPECT_EQ(units, one.list.size());
        EXPECT_EQ(CM_Get_Device_ID_ListW(one.filter, buffer, units, one.flags), CONFIGRET{CR_SUCCESS});
        EXPECT_EQ(fromWide(buffer, units), one.list);
        buffer[0] = u'?';
        EXPECT_NE(CM_Get_Device_ID_ListW(one.filter, buffer, units - 1, one.flags), CONFIGRET{CR_SUCCESS});
        EXPECT_TRUE(units == 1 || buffer[0] == 0) << "a list that does not fit is an empty text";
    }
    ULONG units = 99;
    EXPECT_EQ(CM_Get_Device_ID_List_SizeW(&units, nullptr, CM_GETIDLIST_FILTER_BUSRELATIONS),
              CONFIGRET{CR_INVALID_POINTER});
    EXPECT_EQ(units, 0u);
    EXPECT_EQ(CM_Get_Device_ID_List_SizeW(&units, L"disks", CM_GETIDLIST_FILTER_CLASS),
              CONFIGRET{CR_INVALID_DATA});
    EXPECT_EQ(CM_Get_Device_ID_List_SizeW(&units, L"{4D36E967-E325-11CE-BFC1-08002BE10318}",
                                          CM_GETIDLIST_FILTER_CLASS),
              CONFIGRET{CR_SUCCESS});
    EXPECT_EQ(units, 3 * 12u + 1);
    EXPECT_EQ(CM_Get_Device_ID_List_SizeW(&units, DiskId, 6), CONFIGRET{CR_INVALID_FLAG});
    EXPECT_EQ(CM_Get_Device_ID_List_SizeW(&units, L"A\\B\\C", CM_GETIDLIST_FILTER_BUSRELATIONS),
              CONFIGRET{CR_NO_SUCH_DEVNODE});
}

TEST_F(SimulatedDevices, PresentListsLeaveOutPhantomsAndInterfacesThatAreOff) {
    const struct {
        const GUID& guid;
        DWORD flags;
        DWORD count;
    } cases[] = {{Disks, DIGCF_PRESENT, 2},
                 {Disks, 0, 3},
                 {Volumes, DIGCF_DEVICEINTERFACE | DIGCF_PRESENT, 1},
                 {Volumes, DIGCF_DEVICEINTERFACE, 3}};
    for (const auto& one : cases) {
        const HDEVINFO list = SetupDiGetClassDevsW(&one.guid, nullptr, nullptr, one.flags);
        SP_DEVINFO_DATA data = {};
        data.cbSize = sizeof data;
        DWORD count = 0;
        while (SetupDiEnumDeviceInfo(list, count, &data)) ++count;
        EXPECT_EQ(count, one.count);
        EXPECT_TRUE(SetupDiDestroyDeviceInfoList(list));
    }
}

TEST_F(SimulatedDevices, ListsComeInTheOrderOfTheIdsPartByPart) {
    DeviceNode node;
    for (const char16_t* id : {u"USBSTOR\\B\\1", u"USB\\B\\2", u"usb\\A\\9"}) {
        node.instanceId = id;
        machine().add(node, controller);
    }
    const HDEVINFO list = SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    std::vector<Text> ids;
    for (DWORD i = 0; SetupDiEnumDeviceInfo(list, i, &data); ++i)
        ids.push_back(machine().node(data.DevInst)->instanceId);
    EXPECT_EQ(ids, (std::vector<Text>{u"HTREE\\ROOT\\0", u"PCI\\HBA\\1", u"SCSI\\DISK\\1", u"SCSI\\DISK\\2",
                                      u"usb\\A\\9", u"USB\\B\\2", u"USBSTOR\\B\\1"}));
    EXPECT_TRUE(SetupDiDestroyDeviceInfoList(list));
}

TEST_F(SimulatedDevices, InterfacesAreAskedForByWholeInstanceIds) {
    for (const WCHAR* noId : {L"SCSI", L"SCSI\\DISK"}) {
        SetLastError(0);
        EXPECT_EQ(SetupDiGetClassDevsW(&Volumes, noId, nullptr, DIGCF_DEVICEINTERFACE), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_DATA});
    }
}

TEST_F(SimulatedDevices, OpeningIntoAStructureOfWrongSizeAddsTheDevice) {
    const HDEVINFO list = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA data = {};
    EXPECT_FALSE(SetupDiOpenDeviceInfoW(list, DiskId, nullptr, 0, &data));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_USER_BUFFER});
    data.cbSize = sizeof data;
    EXPECT_TRUE(SetupDiEnumDeviceInfo(list, 0, &data));
    EXPECT_EQ(data.DevInst, disk);
    EXPECT_TRUE(SetupDiDestroyDeviceInfoList(list));
}

// The driver of one device, from its list to the files that installing it would copy.
class SimulatedDrivers : public SimulatedDevices {
protected:
    SimulatedDrivers() {
        Driver driver;
        driver.description = Text(300, u'd');
        driver.version = 0x000A00000F3C0001;
        driver.hardwareId = u"SCSI\\DiskACME";
        driver.infFile = u"C:\\Windows\\INF\\disk.inf";
        driver.files = {u"C:\\a.sys", u"C:\\b.sys"};
        Driver older = driver;
        older.installed = false;
        machine().node(disk)->drivers = {older, driver};
        device.cbSize = sizeof device;
        info.cbSize = sizeof info;
        params.cbSize = sizeof params;
        EXPECT_TRUE(SetupDiOpenDeviceInfoW(list, DiskId, nullptr, 0, &device));
    }
    ~SimulatedDrivers() override { SetupDiDestroyDeviceInfoList(list); }

    void selectInstalled() {
        EXPECT_TRUE(SetupDiGetDeviceInstallParamsW(list, &device, &params));
        params.FlagsEx |= DI_FLAGSEX_INSTALLEDDRIVER;
        EXPECT_TRUE(SetupDiSetDeviceInstallParamsW(list, &device, &params));
        EXPECT_TRUE(SetupDiBuildDriverInfoList(list, &device, SPDIT_CLASSDRIVER));
        EXPECT_TRUE(SetupDiEnumDriverInfoW(list, &device, SPDIT_CLASSDRIVER, 0, &info));
        EXPECT_TRUE(SetupDiSetSelectedDriverW(list, &device, &info));
    }

    const HDEVINFO list = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA device = {};
    SP_DRVINFO_DATA_V2_W info = {};
    SP_DEVINSTALL_PARAMS_W params = {};
};

TEST_F(SimulatedDrivers, InstalledDriverIsTheOnlyOneOfARestrictedList) {
    selectInstalled();
    EXPECT_EQ(info.DriverVersion, 0x000A00000F3C0001u);
    EXPECT_EQ(fromWide(info.Description), Text(LINE_LEN - 1, u'd'));
    EXPECT_FALSE(SetupDiEnumDriverInfoW(list, &device, SPDIT_CLASSDRIVER, 1, &info));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});

    alignas(8) BYTE room[2048] = {};
    auto* detail = reinterpret_cast<SP_DRVINFO_DETAIL_DATA_W*>(room);
    detail->cbSize = sizeof *detail;
    DWORD required = 0;
    EXPECT_FALSE(SetupDiGetDriverInfoDetailW(list, &device, &info, detail, sizeof *detail, &required));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(fromWide(detail->InfFileName), u"C:\\Windows\\INF\\disk.inf");  // filled nevertheless
    EXPECT_EQ(detail->CompatIDsOffset, 0u);
    EXPECT_TRUE(SetupDiGetDriverInfoDetailW(list, &device, &info, detail, required, &required));
    EXPECT_EQ(detail->CompatIDsOffset, 14u);
    info.cbSize = 7;
    EXPECT_FALSE(SetupDiSetSelectedDriverW(list, &device, &info));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_USER_BUFFER});
}

TEST_F(SimulatedDrivers, FilesAreOnlyQueuedWithAQueueOfTheCallersOwn) {
    EXPECT_FALSE(SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, list, &device));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_DRIVER_SELECTED));
    selectInstalled();
    EXPECT_TRUE(SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, list, &device));
    EXPECT_NE(ledger().violations(), "");

    params.Flags |= DI_NOVCP;
    EXPECT_FALSE(SetupDiSetDeviceInstallParamsW(list, &device, &params));
    params.FileQueue = SetupOpenFileQueue();
    EXPECT_TRUE(SetupDiSetDeviceInstallParamsW(list, &device, &params));
    EXPECT_TRUE(SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, list, &device));
    struct Scan {
        std::vector<Text> paths;
        size_t stopAt;
    } scan{{}, 9};
    const PSP_FILE_CALLBACK_W callback = [](PVOID context, UINT notification, UINT_PTR path,
                                            UINT_PTR) -> UINT {
        EXPECT_EQ(notification, UINT{SPFILENOTIFY_QUEUESCAN});
        EXPECT_FALSE(Call::running());
        auto& paths = static_cast<Scan*>(context)->paths;
        paths.push_back(fromWide(reinterpret_cast<const WCHAR*>(path)));
        return paths.size() < static_cast<Scan*>(context)->stopAt ? NO_ERROR : ERROR_CANCELLED;
    };
    DWORD result = 0;
    const auto run = [&] {
        scan.paths.clear();
        return SetupScanFileQueueW(params.FileQueue, SPQ_SCAN_USE_CALLBACK, nullptr, callback, &scan,
                                   &result);
    };
    EXPECT_TRUE(run());
    EXPECT_EQ(scan.paths, (std::vector<Text>{u"C:\\a.sys", u"C:\\b.sys"}));
    scan.stopAt = 1;
    EXPECT_FALSE(run());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_CANCELLED});
    EXPECT_EQ(scan.paths.size(), 1u);

    EXPECT_FALSE(SetupCloseFileQueue(params.FileQueue)) << "the install parameters name it";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILEQUEUE_LOCKED));
    SP_DEVINSTALL_PARAMS_W without = params;
    without.Flags &= ~DI_NOVCP;
    without.FileQueue = nullptr;
    EXPECT_TRUE(SetupDiSetDeviceInstallParamsW(list, &device, &without));
    EXPECT_TRUE(SetupCloseFileQueue(params.FileQueue));
    EXPECT_FALSE(SetupDiSetDeviceInstallParamsW(list, &device, &params)) << "it is closed";
    ledger().clear();
    EXPECT_FALSE(SetupCloseFileQueue(params.FileQueue));
    EXPECT_FALSE(SetupDiDestroyDriverInfoList(INVALID_HANDLE_VALUE, &device, SPDIT_CLASSDRIVER));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(SimulatedDrivers, DeceptionsReachTheCaller) {
    const auto read = [&](Distortion distortion, DWORD& required, WCHAR* text, DWORD bytes) {
        control().clearFaults();
        control().add({"SetupDiGetDeviceRegistryPropertyW", 1, false, 0, distortion});
        return SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_ENUMERATOR_NAME, nullptr,
                                                 reinterpret_cast<BYTE*>(text), bytes, &required);
    };
    WCHAR text[8] = L"before";
    DWORD required = 7;
    EXPECT_TRUE(read(Distortion::NothingWritten, required, text, sizeof text));
    EXPECT_EQ(required, 7u);
    EXPECT_EQ(fromWide(text), u"before");
    EXPECT_TRUE(read(Distortion::OddSize, required, text, sizeof text));
    EXPECT_EQ(required, 9u);
    EXPECT_TRUE(read(Distortion::SizeTooLarge, required, text, sizeof text));
    EXPECT_GT(required, sizeof text);
    EXPECT_TRUE(read(Distortion::NoTerminator, required, text, sizeof text));
    EXPECT_EQ(Text(fromWide(text, 8)).find(u'\0'), Text::npos);

    control().add({"SetupDiDestroyDeviceInfoList", 1, false, ERROR_INVALID_HANDLE, Distortion::None});
    EXPECT_FALSE(SetupDiDestroyDeviceInfoList(list));  // and yet it is gone
    EXPECT_EQ(ledger().count(Resource::DeviceInfoList), 0u);
    EXPECT_FALSE(SetupDiEnumDeviceInfo(list, 0, &device));
    EXPECT_NE(ledger().violations(), "");
}

TEST(SimulatedText, IllFormedTextsBecomeReplacementCharacters) {
    const struct {
        const char* utf8;
        Text text;
    } cases[] = {
        {"A\xC3\xA9\xE6\x97\xA5\xF0\x9F\x92\xBE", u"A\u00E9\u65E5\U0001F4BE"},
        {"\xC0\xAF", u"\uFFFD\uFFFD"},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90", u"\uFFFD\uFFFD"},
        {"\xE6\x97x", u"\uFFFDx"},
    };
    for (const auto& one : cases) EXPECT_EQ(fromUtf8(one.utf8), one.text) << one.utf8;
    EXPECT_EQ(toUtf8(cases[0].text), cases[0].utf8);
    EXPECT_EQ(toUtf8(Text{0xDC00, u'x', 0xD800}), "\xEF\xBF\xBDx\xEF\xBF\xBD");
    EXPECT_TRUE(equalNoCase(u"\u0451\u03CD\u00E9z", u"\u0401\u038E\u00C9Z"));
    GUID guid;
    EXPECT_TRUE(parseGuid("{53F5630D-b6bf-11d0-94f2-00a0c91efb8b}", guid));
    EXPECT_EQ(toString(guid), "{53f5630d-b6bf-11d0-94f2-00a0c91efb8b}");
    for (const char* bad :
         {"", "{53F5630D-b6bf-11d0-94f2-00a0c91efb8g}", "53F5630D-b6bf-11d0-94f2-00a0c91efb8b"}) {
        EXPECT_FALSE(parseGuid(bad, guid)) << bad;
    }
}

}  // namespace
