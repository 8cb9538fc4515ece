// What the volume functions must do wherever the library runs: checked on the simulation and, the very same,
// on the functions of a real system. Nothing of the library is asked here.
//
// Left out, because the independent implementation that this runs on differs from what is documented: mount
// points in the device name space, the kind of a drive by its volume's name, answers cut off where the buffer
// is too small, locks that hold, and requests that it does not know.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/WindowsApi.h"
#include "tests/contract/ContractText.h"
#include "tests/contract/VolumeContractMachine.h"

namespace {

// "\\?\Volume{…}\" and its terminator.
constexpr DWORD NameUnits = 50;

Text withoutBackslash(const Text& name) { return name.substr(0, name.size() - 1); }

HANDLE open(const Text& path) {
    return CreateFileW(wide(path), FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
}

class VolumeContract : public testing::Test {
protected:
    void SetUp() override {
        prepareVolumeContractMachine();
        WCHAR name[NameUnits] = {};
        ASSERT_TRUE(GetVolumeNameForVolumeMountPointW(wide(u"C:\\"), name, NameUnits));
        system = textOf(name);
        ASSERT_EQ(system.size(), NameUnits - 1);
    }

    // The call has failed, and says so.
    static void expectFailure(BOOL result, DWORD error) {
        const DWORD last = GetLastError();
        EXPECT_FALSE(result);
        EXPECT_EQ(last, error);
    }

    Text system;  // the name of C:'s volume
    const Text nowhere = u"\\\\?\\Volume{00000000-0000-0000-0000-000000009999}\\";
};

TEST_F(VolumeContract, ASearchTellsEachVolumeOnceAndEndsWithAnError) {
    WCHAR name[NameUnits] = {};
    EXPECT_EQ(FindFirstVolumeW(name, NameUnits - 1), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
    const HANDLE search = FindFirstVolumeW(name, NameUnits);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    std::vector<Text> names;
    do {
        names.push_back(textOf(name));
        EXPECT_EQ(names.back().size(), NameUnits - 1);
        EXPECT_EQ(names.back().substr(0, 11), u"\\\\?\\Volume{");
        EXPECT_EQ(names.back().substr(NameUnits - 3), u"}\\");
    } while (FindNextVolumeW(search, name, NameUnits));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
    EXPECT_TRUE(FindVolumeClose(search));
    EXPECT_EQ(std::count(names.begin(), names.end(), system), 1);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

TEST_F(VolumeContract, MountPointsHaveABackslashAtTheirEnd) {
    WCHAR name[NameUnits] = {};
    const auto ask = [&](const Text& mountPoint, DWORD units = NameUnits) {
        return GetVolumeNameForVolumeMountPointW(wide(mountPoint), name, units);
    };
    EXPECT_TRUE(ask(u"c:\\"));
    EXPECT_EQ(textOf(name), system);
    expectFailure(ask(u"C:"), ERROR_INVALID_NAME);
    expectFailure(ask(u"Q:\\"), ERROR_FILE_NOT_FOUND);
    expectFailure(ask(u"C:\\", NameUnits - 1), ERROR_FILENAME_EXCED_RANGE);
}

TEST_F(VolumeContract, PathsOfAVolumeAreAListWhoseSizeIsToldInCharacters) {
    WCHAR paths[MAX_PATH] = {};
    DWORD needed = 0, copied = 0;
    expectFailure(GetVolumePathNamesForVolumeNameW(wide(system), nullptr, 0, &needed), ERROR_MORE_DATA);
    ASSERT_GE(needed, 5u);
    ASSERT_LE(needed, static_cast<DWORD>(MAX_PATH));
    expectFailure(GetVolumePathNamesForVolumeNameW(wide(system), paths, needed - 1, &copied),
                  ERROR_MORE_DATA);
    EXPECT_EQ(copied, needed);
    std::fill_n(paths, MAX_PATH, static_cast<WCHAR>(0x5555));
    EXPECT_TRUE(GetVolumePathNamesForVolumeNameW(wide(system), paths, needed, &copied));
    EXPECT_EQ(copied, needed);
    EXPECT_EQ(textOf(paths), u"C:\\");
    EXPECT_EQ(paths[needed - 1], 0);
    EXPECT_EQ(paths[needed - 2], 0);
    EXPECT_EQ(paths[needed], 0x5555);

    for (const Text& name : {Text(u"C:\\"), withoutBackslash(system)}) {
        expectFailure(GetVolumePathNamesForVolumeNameW(wide(name), paths, MAX_PATH, &copied),
                      ERROR_INVALID_NAME);
    }
    expectFailure(GetVolumePathNamesForVolumeNameW(wide(nowhere), paths, MAX_PATH, &copied),
                  ERROR_FILE_NOT_FOUND);
}

TEST_F(VolumeContract, LettersAreBitsAndHaveAKind) {
    EXPECT_NE(GetLogicalDrives() & 1u << 2, 0u);
    EXPECT_EQ(GetLogicalDrives() & 1u << 16, 0u);
    EXPECT_EQ(GetLogicalDrives() >> 26, 0u);
    for (const Text& root : {Text(u"C:\\"), Text(u"c:\\"), Text(u"\\\\.\\C:\\")})
        EXPECT_EQ(GetDriveTypeW(wide(root)), static_cast<UINT>(DRIVE_FIXED));
    EXPECT_EQ(GetDriveTypeW(wide(u"Q:\\")), static_cast<UINT>(DRIVE_NO_ROOT_DIR));
}

TEST_F(VolumeContract, InformationIsThatOfTheRootByEitherName) {
    DWORD serials[3] = {1, 2, 3};
    const Text roots[3] = {u"C:\\", u"\\\\.\\C:\\", system};
    for (int i = 0; i < 3; ++i) {
        WCHAR label[MAX_PATH + 1] = {}, fileSystem[MAX_PATH + 1] = {};
        DWORD length = 0, features = 0;
        EXPECT_TRUE(GetVolumeInformationW(wide(roots[i]), label, MAX_PATH + 1, &serials[i], &length,
                                          &features, fileSystem, MAX_PATH + 1));
        EXPECT_EQ(textOf(fileSystem), u"NTFS");
        EXPECT_EQ(length, 255u);
    }
    EXPECT_EQ(serials[0], serials[1]);
    EXPECT_EQ(serials[0], serials[2]);

    const auto ask = [](const Text& root, LPWSTR fileSystem, DWORD units) {
        return GetVolumeInformationW(wide(root), nullptr, 0, nullptr, nullptr, nullptr, fileSystem, units);
    };
    WCHAR fileSystem[5] = {};
    EXPECT_TRUE(ask(u"C:\\", nullptr, 0)) << "nothing need be asked for";
    EXPECT_TRUE(ask(u"C:\\", fileSystem, 5));
    expectFailure(ask(u"C:\\", fileSystem, 4), ERROR_BAD_LENGTH);
    expectFailure(ask(u"Q:\\", nullptr, 0), ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(ask(withoutBackslash(system), nullptr, 0)) << "the volume, but not its root";
}

TEST_F(VolumeContract, SpaceIsThatOfTheRootByEitherName) {
    for (const Text& root : {Text(u"C:\\"), Text(u"\\\\.\\C:\\"), system}) {
        ULARGE_INTEGER available = {}, total = {}, free = {};
        EXPECT_TRUE(GetDiskFreeSpaceExW(wide(root), &available, &total, &free));
        EXPECT_GT(total.QuadPart, 0u);
        EXPECT_LE(free.QuadPart, total.QuadPart);
        EXPECT_LE(available.QuadPart, free.QuadPart);
        DWORD sectors = 0, bytes = 0, freeClusters = 0, clusters = 0;
        EXPECT_TRUE(GetDiskFreeSpaceW(wide(root), &sectors, &bytes, &freeClusters, &clusters));
        EXPECT_EQ(bytes, 512u) << "sectors per cluster come before it";
        EXPECT_GT(sectors, 0u);
        EXPECT_LE(freeClusters, clusters);
    }
    DWORD sectors = 0, bytes = 0, freeClusters = 0, clusters = 0;
    EXPECT_TRUE(GetDiskFreeSpaceExW(wide(u"C:\\"), nullptr, nullptr, nullptr));
    expectFailure(GetDiskFreeSpaceExW(wide(u"Q:\\"), nullptr, nullptr, nullptr), ERROR_PATH_NOT_FOUND);
    expectFailure(GetDiskFreeSpaceW(wide(u"Q:\\"), &sectors, &bytes, &freeClusters, &clusters),
                  ERROR_PATH_NOT_FOUND);
}

// Opened without the backslash, by letter or by name, and asked the same things.
TEST_F(VolumeContract, AnOpenVolumeAnswersRequests) {
    STORAGE_PROPERTY_QUERY query = {};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    for (const Text& path : {Text(u"\\\\.\\C:"), Text(u"\\\\?\\c:"), withoutBackslash(system)}) {
        const HANDLE volume = open(path);
        ASSERT_NE(volume, INVALID_HANDLE_VALUE);
        DWORD returned = 0;
        alignas(8) unsigned char bytes[512];
        const auto ask = [&](DWORD code, DWORD units, void* in = nullptr, DWORD inSize = 0) {
            std::memset(bytes, 0x55, sizeof bytes);
            return DeviceIoControl(volume, code, in, inSize, bytes, units, &returned, nullptr);
        };
        EXPECT_TRUE(ask(IOCTL_STORAGE_GET_DEVICE_NUMBER, sizeof bytes));
        EXPECT_EQ(returned, sizeof(STORAGE_DEVICE_NUMBER));
        EXPECT_EQ(bytes[returned], 0x55);
        STORAGE_DEVICE_NUMBER number;
        std::memcpy(&number, bytes, sizeof number);
        EXPECT_EQ(number.DeviceType, static_cast<DWORD>(FILE_DEVICE_DISK));
        EXPECT_EQ(number.DeviceNumber, 0u);
        EXPECT_EQ(number.PartitionNumber, 1u);

        EXPECT_TRUE(ask(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, sizeof bytes));
        EXPECT_EQ(returned, sizeof(VOLUME_DISK_EXTENTS));

        // The head alone tells the size of the whole.
        STORAGE_DEVICE_DESCRIPTOR descriptor = {};
        EXPECT_TRUE(
            ask(IOCTL_STORAGE_QUERY_PROPERTY, sizeof(STORAGE_DESCRIPTOR_HEADER), &query, sizeof query));
        EXPECT_EQ(returned, sizeof(STORAGE_DESCRIPTOR_HEADER));
        std::memcpy(&descriptor, bytes, returned);
        EXPECT_EQ(descriptor.Version, sizeof descriptor);
        EXPECT_TRUE(ask(IOCTL_STORAGE_QUERY_PROPERTY, sizeof bytes, &query, sizeof query));
        EXPECT_EQ(returned, descriptor.Size);
        EXPECT_GE(returned, sizeof descriptor);
        expectFailure(ask(IOCTL_STORAGE_QUERY_PROPERTY, sizeof bytes), ERROR_INVALID_PARAMETER);

        EXPECT_TRUE(ask(FSCTL_LOCK_VOLUME, 0));
        EXPECT_TRUE(ask(FSCTL_UNLOCK_VOLUME, 0));
        EXPECT_TRUE(CloseHandle(volume));
    }
    for (const Text& path :
         {Text(u"\\\\.\\Q:"), Text(u"\\\\.\\PhysicalDrive77"), withoutBackslash(nowhere)}) {
        EXPECT_EQ(open(path), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    }
}

}  // namespace
