// What the volume functions of Windows do, as the simulated ones and Wine's real ones both show it: the
// system drive, with its names and sizes.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/WindowsApi.h"
#include "tests/contract/VolumeContractMachine.h"

namespace {

// The units up to the first NUL, as 8-bit characters.
std::string plain(const WCHAR* text) {
    std::string result;
    for (; *text != 0; ++text) result += static_cast<char>(*text);
    return result;
}

class VolumeContract : public testing::Test {
protected:
    void SetUp() override { prepareVolumeContractMachine(); }

    // The name of the volume that is mounted there; empty when there is none.
    static std::string nameOf(const WCHAR* mountPoint) {
        WCHAR name[MAX_PATH] = {};
        return GetVolumeNameForVolumeMountPointW(mountPoint, name, MAX_PATH) ? plain(name) : "";
    }
};

TEST_F(VolumeContract, ASearchTellsEachVolumeOnceAndEndsWithAnError) {
    WCHAR name[MAX_PATH] = {};
    const HANDLE search = FindFirstVolumeW(name, MAX_PATH);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    std::vector<std::string> names;
    do {
        names.push_back(plain(name));
        EXPECT_EQ(names.back().substr(0, 11), "\\\\?\\Volume{");
        EXPECT_EQ(names.back().substr(names.back().size() - 2), "}\\");
    } while (FindNextVolumeW(search, name, MAX_PATH));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
    EXPECT_TRUE(FindVolumeClose(search));
    EXPECT_EQ(std::count(names.begin(), names.end(), nameOf(L"C:\\")), 1);
}

TEST_F(VolumeContract, MountPointsHaveABackslashAtTheirEnd) {
    EXPECT_NE(nameOf(L"C:\\"), "");
    EXPECT_EQ(nameOf(L"C:"), "");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
    EXPECT_EQ(nameOf(L"Q:\\"), "");
    WCHAR tooSmall[20] = {};
    EXPECT_FALSE(GetVolumeNameForVolumeMountPointW(L"C:\\", tooSmall, 20));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
}

TEST_F(VolumeContract, PathsOfAVolumeAreAListWhoseSizeIsToldInCharacters) {
    WCHAR name[MAX_PATH] = {};
    ASSERT_TRUE(GetVolumeNameForVolumeMountPointW(L"C:\\", name, MAX_PATH));
    WCHAR paths[MAX_PATH] = {};
    DWORD needed = 0, copied = 0;
    EXPECT_FALSE(GetVolumePathNamesForVolumeNameW(name, paths, 2, &needed));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_TRUE(GetVolumePathNamesForVolumeNameW(name, paths, MAX_PATH, &copied));
    EXPECT_GE(needed, 5u);
    EXPECT_EQ(copied, needed);
    EXPECT_EQ(plain(paths), "C:\\");
    EXPECT_EQ(paths[copied - 1], 0);
    EXPECT_EQ(paths[copied - 2], 0);
}

TEST_F(VolumeContract, LettersAreBitsAndHaveAKind) {
    EXPECT_NE(GetLogicalDrives() & 1u << 2, 0u);
    EXPECT_EQ(GetLogicalDrives() & 1u << 16, 0u);
    EXPECT_EQ(GetDriveTypeW(L"C:\\"), static_cast<UINT>(DRIVE_FIXED));
    EXPECT_EQ(GetDriveTypeW(L"Q:\\"), static_cast<UINT>(DRIVE_NO_ROOT_DIR));
}

TEST_F(VolumeContract, InformationAndSizesAreThoseOfTheRoot) {
    WCHAR label[MAX_PATH + 1] = {}, fileSystem[MAX_PATH + 1] = {};
    DWORD serial = 0, length = 0, features = 0;
    EXPECT_TRUE(GetVolumeInformationW(L"C:\\", label, MAX_PATH + 1, &serial, &length, &features, fileSystem,
                                      MAX_PATH + 1));
    EXPECT_EQ(plain(fileSystem), "NTFS");
    EXPECT_EQ(length, 255u);
    ULARGE_INTEGER available = {}, total = {}, free = {};
    EXPECT_TRUE(GetDiskFreeSpaceExW(L"C:\\", &available, &total, &free));
    EXPECT_GT(total.QuadPart, 0u);
    EXPECT_LE(free.QuadPart, total.QuadPart);
    EXPECT_LE(available.QuadPart, free.QuadPart);
    DWORD sectors = 0, bytes = 0, freeClusters = 0, clusters = 0;
    EXPECT_TRUE(GetDiskFreeSpaceW(L"C:\\", &sectors, &bytes, &freeClusters, &clusters));
    EXPECT_EQ(bytes, 512u);
    EXPECT_GT(sectors, 0u);
    EXPECT_LE(freeClusters, clusters);
    EXPECT_FALSE(GetVolumeInformationW(L"Q:\\", label, MAX_PATH + 1, nullptr, nullptr, nullptr, nullptr, 0));
}

TEST_F(VolumeContract, AVolumeOpensByItsLetterAndTellsItsNumber) {
    const HANDLE volume = CreateFileW(L"\\\\.\\C:", FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(volume, INVALID_HANDLE_VALUE);
    STORAGE_DEVICE_NUMBER number = {};
    DWORD returned = 0;
    EXPECT_TRUE(DeviceIoControl(volume, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof number,
                                &returned, nullptr));
    EXPECT_EQ(returned, sizeof number);
    EXPECT_EQ(number.DeviceType, static_cast<DWORD>(FILE_DEVICE_DISK));
    EXPECT_TRUE(CloseHandle(volume));
    EXPECT_EQ(
        CreateFileW(L"\\\\.\\Q:", FILE_READ_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr),
        INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

}  // namespace
