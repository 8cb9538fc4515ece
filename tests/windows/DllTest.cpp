// The built DLLs in a program of their user, on the functions of the system that it runs on. The disk that is
// looked for is that of tests/contract/disk.reg.
#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <vector>

#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/DriverPackage.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "support/FileSystem.h"
#include "support/LogFactory.h"
#include "support/System.h"
#include "support/WindowsFile.h"
#include "support/WindowsRegistry.h"
#include "support/WindowsRegistryReader.h"
#include "support/ZORValue.h"
#include "tests/contract/ContractMachine.h"
#include "tests/windows/PlainText.h"

// As tlhelp32.h has them.
extern "C" {
struct ThreadEntry {
    DWORD size, usage, thread, process;
    LONG basePriority, deltaPriority;
    DWORD flags;
};
__declspec(dllimport) HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD process);
__declspec(dllimport) BOOL WINAPI Thread32First(HANDLE snapshot, ThreadEntry* entry);
__declspec(dllimport) BOOL WINAPI Thread32Next(HANDLE snapshot, ThreadEntry* entry);
}

namespace {

using libSysmira::ConfigManager;
using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;
using zor::String;

const char* const DiskId = "SCSI\\Disk&Ven_ACME&Prod_ROCKET\\4&1A2B3C4D&0&000000";
const char* const GhostId = "SCSI\\Disk&Ven_ACME&Prod_GHOST\\1";
const char* const EnumKey = "HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Enum\\";

using Strings = std::vector<std::string>;

unsigned threadCount() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(/*TH32CS_SNAPTHREAD*/ 4, 0);
    unsigned count = 0;
    ThreadEntry entry = {};
    entry.size = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.process == GetCurrentProcessId()) ++count;
    }
    CloseHandle(snapshot);
    return count;
}

// Whether the loader leaves the module alone when threads begin and end: a flag in its own list of modules,
// at a place that 64-bit Windows has never changed.
bool threadNotificationsAreOff(HMODULE module) {
    const auto at = [](const void* base, unsigned offset) { return static_cast<const char*>(base) + offset; };
    const auto pointer = [&](const void* base, unsigned offset) {
        return *reinterpret_cast<const char* const*>(at(base, offset));
    };
    const auto currentPeb = reinterpret_cast<const void*(WINAPI*)()>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetCurrentPeb")));
    const char* const loader = pointer(currentPeb(), 0x18);
    const char* const head = at(loader, 0x10);
    for (const char* entry = pointer(head, 0); entry != head; entry = pointer(entry, 0)) {
        if (pointer(entry, 0x30) != reinterpret_cast<const char*>(module)) continue;
        return (*reinterpret_cast<const DWORD*>(at(entry, 0x68)) & 0x40000) != 0;
    }
    ADD_FAILURE() << "the module is not in the list";
    return false;
}

TEST(Loading, StartsNothingAndAsksForNoThreadNotifications) {
    for (const WCHAR* name : {L"common.dll", L"Sysmira.dll"}) {
        EXPECT_TRUE(threadNotificationsAreOff(GetModuleHandleW(name)));
    }
    // A second Sysmira.dll, loaded now.
    WCHAR path[MAX_PATH + 16];
    ASSERT_LT(GetTempPathW(MAX_PATH, path), static_cast<DWORD>(MAX_PATH));
    lstrcatW(path, L"another.dll");
    WCHAR original[MAX_PATH];
    ASSERT_NE(GetModuleFileNameW(GetModuleHandleW(L"Sysmira.dll"), original, MAX_PATH), 0u);
    ASSERT_TRUE(CopyFileW(original, path, FALSE));
    const unsigned before = threadCount();
    const HMODULE another = LoadLibraryW(path);
    ASSERT_NE(another, nullptr) << GetLastError();
    EXPECT_NE(another, GetModuleHandleW(L"Sysmira.dll"));
    EXPECT_TRUE(threadNotificationsAreOff(another));
    EXPECT_GT(before, 0u);
    EXPECT_EQ(threadCount(), before);
    FreeLibrary(another);
    DeleteFileW(path);
}

// Windows has a tree, Wine 8 has none: its functions say success and write nothing.
TEST(DeviceTree, EndsWhereTheSystemHasNone) {
    const DEVINST root = ConfigManager::getRootNode();
    unsigned visited = 0;
    ConfigManager::forEach([](DEVINST, unsigned, void* count) { ++*static_cast<unsigned*>(count); }, &visited,
                           /*skipHidden=*/false);
    EXPECT_EQ(visited != 0, root != 0);
    if (root != 0) return;

    EXPECT_EQ(ConfigManager::getChildNode(1), 0u);
    EXPECT_EQ(ConfigManager::getSiblingNode(1), 0u);
    EXPECT_EQ(ConfigManager::getParentNode(1), 0u);
    EXPECT_FALSE(ConfigManager::isHidden(1));
    unsigned int problem = 4711;
    EXPECT_FALSE(ConfigManager::hasDriverProblem(1, &problem));
    EXPECT_EQ(problem, 4711u);
    zor::Array<DEVINST> children;
    ConfigManager::getChildren(1, children);
    EXPECT_TRUE(children.empty());
}

class ImportedDisk : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(prepareContractMachine(), ""); }
};

TEST_F(ImportedDisk, IsInTheSetsWithItsPath) {
    WindowsDeviceSet disks;
    disks.appendDisks();
    const WindowsDevice* found = nullptr;
    for (const WindowsDevice& disk : disks) {
        if (disk.getDeviceInstanceId().compareNoCase(DiskId) == 0) found = &disk;
    }
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(plain(found->getFriendlyName()), "ACME ROCKET 1000 SSD");
    EXPECT_EQ(plain(found->getDescription()), "Disk drive");
    EXPECT_EQ(plain(found->getOsLocator()),
              "\\\\?\\scsi#disk&ven_acme&prod_rocket#4&1a2b3c4d&0&000000"
              "#{53f56307-b6bf-11d0-94f2-00a0c91efb8b}");
    EXPECT_EQ(found->getInterfaceType(), libSysmira::WinInt_Disk);
    EXPECT_NE(disks.toString(0).find("ACME ROCKET 1000 SSD"), zor::NotFound);

    WindowsDeviceSet all(0, 0);
    EXPECT_GE(all.size(), disks.size());
}

TEST_F(ImportedDisk, TellsItsPropertiesAndParameters) {
    const WindowsDevice disk{String(DiskId)};
    ASSERT_TRUE(disk.isValid());
    EXPECT_EQ(plain(disk.getClassGuidString()), "{4D36E967-E325-11CE-BFC1-08002BE10318}");

    zor::Array<String> ids;
    EXPECT_TRUE(disk.getHardwareIds(ids));
    EXPECT_EQ(plain(ids), (Strings{"SCSI\\DiskACME____ROCKET__________1.0_", "SCSI\\DiskACME"}));
    EXPECT_TRUE(disk.getCompatibleIds(ids));
    EXPECT_EQ(plain(ids), (Strings{"SCSI\\Disk", "GenDisk"}));

    String text;
    EXPECT_TRUE(disk.getServiceName(text));
    EXPECT_EQ(plain(text), "disk");
    EXPECT_TRUE(disk.getLocation(text));
    EXPECT_EQ(plain(text), "Bus Number 0, Target Id 0, LUN 0");
    EXPECT_TRUE(disk.getRegistryString(libSysmira::RegKey_Device, "ProbeParam", text));
    EXPECT_EQ(plain(text), "hello");
    EXPECT_TRUE(disk.getRegistryString(libSysmira::RegKey_Driver, "DriverDesc", text));
    EXPECT_EQ(plain(text), "ACME disk driver");
    EXPECT_FALSE(disk.getRegistryString(libSysmira::RegKey_Device, "NoSuchValue", text));
    EXPECT_TRUE(text.empty());

    DWORD capabilities = 0;
    EXPECT_TRUE(disk.getDWORDRegistryProperty(SPDRP_CAPABILITIES, capabilities, libSysmira::RegProp_Device));
    EXPECT_EQ(capabilities, 0x10u);
    EXPECT_FALSE(disk.getStringRegistryProperty(SPDRP_UI_NUMBER, text, libSysmira::RegProp_Device));
}

TEST_F(ImportedDisk, HasADriverPackageThatDoesNoHarm) {
    const WindowsDevice disk{String(DiskId)};
    const auto package = disk.getDriverPackage();
    ASSERT_NE(package, nullptr);
    EXPECT_EQ(disk.getDriverPackage(), package);
    // Wine makes no driver lists; whatever the system, the texts belong to a valid package.
    if (!package->isValid()) {
        EXPECT_TRUE(package->getDriverProvider().empty());
        EXPECT_TRUE(package->getDriverVersion().empty());
        EXPECT_TRUE(package->getInfFileName().empty());
    }
    EXPECT_NE(package->toString(0, 2).find("Driver:"), zor::NotFound);
}

TEST_F(ImportedDisk, IsNotConfusedWithOneThatIsGone) {
    const WindowsDevice unknown{String("SCSI\\Disk&Ven_ACME&Prod_NOSUCH\\1")};
    EXPECT_FALSE(unknown.isValid());
    String text;
    EXPECT_FALSE(unknown.getServiceName(text));
    EXPECT_FALSE(unknown.getDriverPackage()->isValid());

    // Known to the registry alone. Windows opens such a device, Wine does not; its list of present ones holds
    // it all the same.
    const WindowsDevice opened{String(GhostId)};
    EXPECT_EQ(opened.isValid(), !opened.getDescription().empty());
    EXPECT_FALSE(opened.hasDriverProblem(nullptr));
    EXPECT_FALSE(opened.getDriverPackage()->isValid());
    const WindowsDeviceSet disks(&GUID_DEVCLASS_DISKDRIVE, nullptr, WindowsDeviceSet::KeepHidden);
    for (const WindowsDevice& disk : disks) {
        if (disk.getDeviceInstanceId().compareNoCase(GhostId) != 0) continue;
        EXPECT_EQ(plain(disk.getDescription()), "Ghost");
        EXPECT_TRUE(disk.getOsLocator().empty());
        EXPECT_FALSE(disk.getDriverPackage()->isValid());
    }
}

// What a DLL throws arrives as what it is, and can be thrown on.
template <class Expected, class Action>
void expectThrown(Action&& action) {
    bool passedOn = false;
    std::exception_ptr kept;
    try {
        try {
            action();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const Expected&) {
            passedOn = true;
            throw;
        }
    } catch (const std::exception& exception) {
        EXPECT_STRNE(exception.what(), "");
        EXPECT_NE(dynamic_cast<const Expected*>(&exception), nullptr);
        kept = std::current_exception();
    }
    EXPECT_TRUE(passedOn);
    EXPECT_THROW(std::rethrow_exception(kept), Expected);
}

TEST(Failures, CrossTheBoundaryOfTheDlls) {
    const WindowsDeviceSet empty;
    expectThrown<zor::RaisedException>([&] { (void)empty[0]; });
    expectThrown<zor::RaisedException>([] { zor::RaiseExceptionImp(7, 0, 0, nullptr); });
    expectThrown<zor::TypeMismatch>([] {
        String text;
        zor::ZORValue(5u).get(text);
    });
    expectThrown<zor::Exception>([] { zor::WindowsRegistry::getMultiStringValue("HKLM\\NoSuchKey", "x"); });
    try {
        zor::WindowsRegistry::getMultiStringValue("HKLM\\NoSuchKey", "NoSuchValue");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const zor::WindowsRegistryException& exception) {
        EXPECT_EQ(exception.getCode(), static_cast<zor::Uint32>(ERROR_FILE_NOT_FOUND));
        EXPECT_NE(exception.getMessage().find("NoSuchKey"), zor::NotFound);
    }
}

TEST(Logging, ReachesTheProgramsSink) {
    Strings lines;
    zor::LogFactory::setSink([&](const String& logger, int priority, const String& text) {
        lines.push_back(plain(logger) + "|" + std::to_string(priority) + "|" + plain(text));
    });
    const WindowsDeviceSet empty;
    EXPECT_THROW((void)empty[3], zor::RaisedException);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("zor.AssertionFailure|4|", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(" libSysmira/enumeration/WindowsDeviceSet.cpp: assertion failed: "),
              std::string::npos)
        << lines[0];

    // A sink that throws loses its line and nothing else.
    zor::LogFactory::setSink([](const String&, int, const String&) { throw 5; });
    EXPECT_THROW((void)empty[3], zor::RaisedException);
    zor::LogFactory::setSink(nullptr);
}

TEST_F(ImportedDisk, StandsInTheRegistry) {
    const zor::WindowsRegistryReader reader;
    const String key = String(EnumKey) + DiskId;
    EXPECT_TRUE(reader.keyExists(key));
    EXPECT_TRUE(reader.keyExists(key + "\\"));
    EXPECT_FALSE(reader.keyExists(key + "\\NoSuchKey"));
    EXPECT_FALSE(reader.keyExists("HKEY_NO_SUCH_ROOT\\Software"));
    EXPECT_TRUE(reader.stringValueExists(key, "FriendlyName"));
    EXPECT_EQ(plain(reader.getStringValue(key, "FriendlyName")), "ACME ROCKET 1000 SSD");
    EXPECT_FALSE(reader.stringValueExists(key, "HardwareID"));

    EXPECT_TRUE(zor::WindowsRegistry::multiStringValueExists(key, "HardwareID"));
    EXPECT_EQ(plain(zor::WindowsRegistry::getMultiStringValue(key, "CompatibleIDs")),
              (Strings{"SCSI\\Disk", "GenDisk"}));
    EXPECT_THROW(zor::WindowsRegistry::getMultiStringValue(key, "FriendlyName"),
                 zor::WindowsRegistryException);

    const String environment =
        "HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\\Environment";
    ASSERT_TRUE(reader.toExpandStringValueExists(environment, "ComSpec"));
    const String shell = reader.getExpandedStringValue(environment, "ComSpec");
    EXPECT_EQ(shell.find("%"), zor::NotFound);
    EXPECT_TRUE(zor::FileSystem::exists(shell)) << plain(shell);
}

TEST(Files, TellTheirVersions) {
    const String folder = zor::System::getEnvironmentVariable("SystemRoot") + "\\system32\\";
    const zor::WindowsFile library(folder + "kernel32.dll");
    EXPECT_TRUE(zor::FileSystem::exists(library.getFileName()));
    String version;
    ASSERT_TRUE(library.getFileVersion(version));
    const auto parts = version.tokenize(".");
    ASSERT_EQ(parts.size(), 4u) << plain(version);
    for (const String& part : parts) {
        unsigned long long number = 0;
        EXPECT_EQ(part.toUint64(number, 10), String::ParseSuccess) << plain(version);
    }

    version = "kept?";
    EXPECT_FALSE(zor::WindowsFile(folder + "drivers\\etc\\no-such-file").getFileVersion(version));
    EXPECT_TRUE(version.empty());
    EXPECT_FALSE(zor::FileSystem::exists(folder + "no-such-file"));
    EXPECT_NE(plain(zor::System::getSystemErrorMsg(ERROR_ACCESS_DENIED)), "");
}

}  // namespace
