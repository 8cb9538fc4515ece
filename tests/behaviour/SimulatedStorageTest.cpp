// The rules of Windows that the simulated volumes and drives keep.
#include <bit>
#include <cstring>

#include "simulation/machine/MachineFile.h"
#include "tests/behaviour/StoragePc.h"

namespace {

using simulation::Resource;

class SimulatedStorage : public StoragePc {
protected:
    void SetUp() override {
        StoragePc::SetUp();
        simulation::ledger().setViolationHandler(nullptr);
        addDrive();
        addVolume(1, {u"D:\\"});
    }

    simulation::Volume& volume() { return machine.storage.volumes()[0]; }

    static HANDLE open(const wchar_t* path, DWORD access) {
        return CreateFileW(reinterpret_cast<LPCWSTR>(path), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           nullptr, OPEN_EXISTING, 0, nullptr);
    }

    // The error of a request, 0 for success; `returned` counts its bytes.
    DWORD ask(HANDLE handle, DWORD code, void* out = nullptr, DWORD size = 0, void* in = nullptr,
              DWORD inSize = 0) {
        return DeviceIoControl(handle, code, in, inSize, out, size, &returned, nullptr) ? 0 : GetLastError();
    }

    DWORD returned = 0;
};

TEST_F(SimulatedStorage, OpensDevicesByTheirNamesAlone) {
    const HANDLE letter = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES);
    const HANDLE name = open(L"\\\\?\\Volume{00000000-0000-0000-0000-000000000001}", FILE_READ_ATTRIBUTES);
    const HANDLE drive = open(L"\\\\.\\PHYSICALDRIVE1", GENERIC_READ);
    for (const HANDLE handle : {letter, name, drive}) {
        EXPECT_NE(handle, INVALID_HANDLE_VALUE);
        CloseHandle(handle);
    }
    EXPECT_EQ(open(L"\\\\.\\D:\\", FILE_READ_ATTRIBUTES), INVALID_HANDLE_VALUE) << "the root folder";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    machine.files[u"D:\\a.txt"];
    for (const wchar_t* path : {L"\\\\?\\D:\\a.txt", L"\\\\.\\D:\\a.txt"}) {
        EXPECT_NE(GetFileAttributesW(reinterpret_cast<LPCWSTR>(path)), INVALID_FILE_ATTRIBUTES);
        const HANDLE file = open(path, GENERIC_READ);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        CloseHandle(file);
    }
    EXPECT_EQ(open(L"\\\\.\\E:", FILE_READ_ATTRIBUTES), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(SimulatedStorage, AnswersWhatTheRightsOfTheHandleAllow) {
    GET_LENGTH_INFORMATION length = {};
    const HANDLE attributes = open(L"\\\\.\\PhysicalDrive1", FILE_READ_ATTRIBUTES);
    EXPECT_EQ(ask(attributes, IOCTL_DISK_GET_LENGTH_INFO, &length, sizeof length),
              DWORD{ERROR_ACCESS_DENIED});
    STORAGE_DEVICE_NUMBER number = {};
    EXPECT_EQ(ask(attributes, IOCTL_STORAGE_GET_DEVICE_NUMBER, &number, sizeof number), 0u);
    EXPECT_EQ(number.DeviceNumber, 1u);
    CloseHandle(attributes);
    const HANDLE reading = open(L"\\\\.\\PhysicalDrive1", GENERIC_READ);
    EXPECT_EQ(ask(reading, IOCTL_DISK_GET_LENGTH_INFO, &length, sizeof length), 0u);
    EXPECT_EQ(length.Length.QuadPart, static_cast<LONGLONG>(GiB));
    EXPECT_EQ(ask(reading, 0x12345678), DWORD{ERROR_INVALID_FUNCTION});
    CloseHandle(reading);
}

TEST_F(SimulatedStorage, GivesTheFirstExtentWhereNotAllFit) {
    volume().extents = {extent(1, 10, 20), extent(2, 30, 40)};
    const HANDLE handle = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES);
    unsigned char bytes[80] = {};
    const auto count = [&] { return reinterpret_cast<VOLUME_DISK_EXTENTS*>(bytes)->NumberOfDiskExtents; };
    EXPECT_EQ(ask(handle, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, bytes, 31), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(returned, 0u);
    EXPECT_EQ(ask(handle, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, bytes, 32), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(returned, 32u);
    EXPECT_EQ(count(), 2u);
    EXPECT_EQ(ask(handle, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, bytes, 56), 0u);
    EXPECT_EQ(returned, 56u);
    CloseHandle(handle);
}

TEST_F(SimulatedStorage, CountsClustersToTheEndAndGivesTheBitsThatFit) {
    volume().clusters = 1003;
    volume().used = {{0, 3}, {100, 1}, {1000, 100}};
    const HANDLE handle = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES);
    STARTING_LCN_INPUT_BUFFER start = {};
    struct {
        LARGE_INTEGER first, count;
        unsigned char bits[128];
    } bitmap = {};
    EXPECT_EQ(ask(handle, FSCTL_GET_VOLUME_BITMAP, &bitmap, 24, &start, sizeof start),
              DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(returned, 24u);
    EXPECT_EQ(bitmap.count.QuadPart, 1003);
    EXPECT_EQ(bitmap.bits[0], 0x07);
    EXPECT_EQ(ask(handle, FSCTL_GET_VOLUME_BITMAP, &bitmap, sizeof bitmap, &start, sizeof start), 0u);
    EXPECT_EQ(returned, 16u + 126u);
    EXPECT_EQ(bitmap.bits[12], 0x10);
    EXPECT_EQ(bitmap.bits[125], 0x07) << "clusters end at 1003";
    // From a cluster on, rounded down to a whole byte.
    start.StartingLcn.QuadPart = 101;
    EXPECT_EQ(ask(handle, FSCTL_GET_VOLUME_BITMAP, &bitmap, sizeof bitmap, &start, sizeof start), 0u);
    EXPECT_EQ(bitmap.first.QuadPart, 96);
    EXPECT_EQ(bitmap.count.QuadPart, 907);
    EXPECT_EQ(bitmap.bits[0], 0x10);
    CloseHandle(handle);
}

TEST_F(SimulatedStorage, MakesTheSameBitmapInOnePieceAndInMany) {
    volume().clusters = 1'000'001;
    std::vector<unsigned char> whole(125'001), part(1'000);
    const auto usedIn = [&](unsigned percent) {
        volume().usedPercent = percent;
        simulation::fillBitmap(volume(), 0, whole.data(), whole.size());
        double used = 0;
        for (const unsigned char byte : whole) used += __builtin_popcount(byte);
        return used / 10'000.01;
    };
    for (const unsigned percent : {1u, 30u, 60u, 99u}) EXPECT_NEAR(usedIn(percent), percent, 3);
    EXPECT_EQ(usedIn(100), 100);
    usedIn(60);
    for (size_t at = 0; at + part.size() < whole.size(); at += 777) {
        simulation::fillBitmap(volume(), at * 8, part.data(), part.size());
        ASSERT_EQ(std::memcmp(part.data(), whole.data() + at, part.size()), 0) << at;
    }
}

TEST_F(SimulatedStorage, LetsOneHandleHaveTheLockUntilItCloses) {
    const HANDLE one = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES);
    const HANDLE other = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES);
    EXPECT_EQ(ask(one, FSCTL_UNLOCK_VOLUME), DWORD{ERROR_NOT_LOCKED});
    EXPECT_EQ(ask(one, FSCTL_LOCK_VOLUME), 0u);
    EXPECT_EQ(ask(one, FSCTL_LOCK_VOLUME), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(ask(other, FSCTL_LOCK_VOLUME), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(ask(other, FSCTL_DISMOUNT_VOLUME), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(open(L"\\\\.\\D:", GENERIC_READ), INVALID_HANDLE_VALUE);
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 1u);
    EXPECT_EQ(ask(one, FSCTL_DISMOUNT_VOLUME), 0u);
    CloseHandle(one);
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 0u);
    EXPECT_EQ(ask(other, FSCTL_LOCK_VOLUME), 0u);
    EXPECT_EQ(ask(other, FSCTL_UNLOCK_VOLUME), 0u);
    CloseHandle(other);
    EXPECT_EQ(simulation::ledger().violations(), "");
}

TEST_F(SimulatedStorage, ALockKeepsTheFileSystemFromEveryOtherHandle) {
    const DWORD attributes = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
    STARTING_LCN_INPUT_BUFFER start = {};
    unsigned char bytes[64];
    const auto bitmapOf = [&](HANDLE handle) {
        const DWORD error = ask(handle, FSCTL_GET_VOLUME_BITMAP, bytes, sizeof bytes, &start, sizeof start);
        return error == ERROR_MORE_DATA ? 0 : error;
    };
    const HANDLE bypassing = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES);
    EXPECT_EQ(ask(bypassing, FSCTL_LOCK_VOLUME), DWORD{ERROR_INVALID_FUNCTION})
        << "no way to the file system";
    EXPECT_EQ(bitmapOf(bypassing), 0u);
    const HANDLE locking = open(L"\\\\.\\D:", attributes);
    ASSERT_EQ(ask(locking, FSCTL_LOCK_VOLUME), 0u);
    EXPECT_EQ(bitmapOf(bypassing), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(bitmapOf(locking), DWORD{ERROR_NOT_READY}) << "NTFS";
    volume().answersWhileLocked = true;
    EXPECT_EQ(bitmapOf(locking), 0u);
    volume().answersWhileLocked = false;
    volume().fileSystem = u"FAT32";
    EXPECT_EQ(bitmapOf(locking), 0u);
    ULARGE_INTEGER free = {};
    EXPECT_FALSE(GetDiskFreeSpaceExW(L"D:\\", &free, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_FALSE(GetVolumeInformationW(L"D:\\", nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(open(L"\\\\.\\D:", attributes), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    CloseHandle(locking);
    EXPECT_TRUE(GetDiskFreeSpaceExW(L"D:\\", &free, nullptr, nullptr));
    volume().fileAreaOffset = 4096;
    RETRIEVAL_POINTER_BASE base = {};
    EXPECT_EQ(ask(bypassing, FSCTL_GET_RETRIEVAL_POINTER_BASE, &base, sizeof base), 0u);
    EXPECT_EQ(base.FileAreaOffset.QuadPart, 4096);
    CloseHandle(bypassing);
}

TEST_F(SimulatedStorage, SharesFilesAndVolumesAsBothSidesAllow) {
    const auto openShared = [](const WCHAR* path, DWORD access, DWORD share) {
        return CreateFileW(path, access, share, nullptr, OPEN_EXISTING, 0, nullptr);
    };
    machine.files[u"D:\\a.txt"];
    for (const WCHAR* path : {L"\\\\.\\D:", L"D:\\a.txt"}) {
        const HANDLE reading = openShared(path, GENERIC_READ, FILE_SHARE_READ);
        ASSERT_NE(reading, INVALID_HANDLE_VALUE);
        EXPECT_EQ(openShared(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
        EXPECT_EQ(openShared(path, GENERIC_READ, 0), INVALID_HANDLE_VALUE) << "the first reads already";
        const HANDLE attributes = openShared(path, FILE_READ_ATTRIBUTES, 0);
        EXPECT_NE(attributes, INVALID_HANDLE_VALUE);
        CloseHandle(attributes);
        // No lock while data of the volume is open, be it a file's.
        const HANDLE locking = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES);
        EXPECT_EQ(ask(locking, FSCTL_LOCK_VOLUME), DWORD{ERROR_ACCESS_DENIED});
        EXPECT_EQ(ask(locking, FSCTL_DISMOUNT_VOLUME), 0u);
        CloseHandle(reading);
        EXPECT_EQ(ask(locking, FSCTL_LOCK_VOLUME), 0u);
        CloseHandle(locking);
    }
    // In use by others is no lock of theirs.
    volume().lockedByOthers = true;
    const HANDLE reading = open(L"\\\\.\\D:", GENERIC_READ);
    ASSERT_NE(reading, INVALID_HANDLE_VALUE);
    EXPECT_EQ(ask(reading, FSCTL_LOCK_VOLUME), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(ask(reading, FSCTL_DISMOUNT_VOLUME), 0u);
    CloseHandle(reading);
    const HANDLE drive = open(L"\\\\.\\PhysicalDrive1", GENERIC_READ);
    EXPECT_FALSE(
        DeviceIoControl(drive, IOCTL_DISK_UPDATE_PROPERTIES, nullptr, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_NE(simulation::ledger().violations(), "") << "Windows writes the number of bytes in any case";
    CloseHandle(drive);
}

TEST_F(SimulatedStorage, ADescriptorIsGivenAsFarAsItFits) {
    const HANDLE handle = open(L"\\\\.\\PhysicalDrive1", GENERIC_READ);
    STORAGE_PROPERTY_QUERY query = {};
    unsigned char bytes[200] = {};
    const auto* const head = reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(bytes);
    EXPECT_EQ(ask(handle, IOCTL_STORAGE_QUERY_PROPERTY, bytes, 40, &query, sizeof query), 0u);
    EXPECT_EQ(returned, 40u);
    const DWORD size = head->Size;
    EXPECT_EQ(ask(handle, IOCTL_STORAGE_QUERY_PROPERTY, bytes, sizeof bytes, &query, sizeof query), 0u);
    EXPECT_EQ(returned, size);
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes) + head->ProductIdOffset, "Licht  1000     ");
    query.PropertyId = StorageAdapterProperty;
    EXPECT_NE(ask(handle, IOCTL_STORAGE_QUERY_PROPERTY, bytes, sizeof bytes, &query, sizeof query), 0u);
    machine.storage.disks()[0].mediaPresent = false;
    EXPECT_EQ(ask(handle, IOCTL_DISK_GET_DRIVE_GEOMETRY, bytes, sizeof bytes), DWORD{ERROR_NOT_READY});
    CloseHandle(handle);
}

TEST_F(SimulatedStorage, ListsMountPathsInCharactersWithASecondTerminator) {
    const Text name = volumeName(2);
    addVolume(2, {u"E:\\", u"D:\\Mount\\"});
    WCHAR paths[20];
    DWORD units = 0;
    EXPECT_FALSE(GetVolumePathNamesForVolumeNameW(simulation::wide(name), paths, 14, &units));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(units, 15u);
    EXPECT_TRUE(GetVolumePathNamesForVolumeNameW(simulation::wide(name), paths, 20, &units));
    EXPECT_EQ(units, 15u);
    EXPECT_EQ(simulation::fromWide(paths, 15), Text(u"E:\\\0D:\\Mount\\\0\0", 15));
    const Text without = name.substr(0, name.size() - 1);
    EXPECT_FALSE(GetVolumePathNamesForVolumeNameW(simulation::wide(without), paths, 20, &units));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
}

TEST_F(SimulatedStorage, FindsVolumesToTheEndButNoHiddenOnes) {
    simulation::Volume hidden;
    hidden.paths = {u"\\\\?\\storage#volume#hidden"};
    machine.storage.add(hidden);
    addVolume(2, {});
    WCHAR name[MAX_PATH];
    const HANDLE search = FindFirstVolumeW(name, MAX_PATH);
    EXPECT_EQ(simulation::fromWide(name), volumeName(1));
    EXPECT_TRUE(FindNextVolumeW(search, name, MAX_PATH));
    EXPECT_EQ(simulation::fromWide(name), volumeName(2));
    EXPECT_FALSE(FindNextVolumeW(search, name, MAX_PATH));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeSearch), 1u);
    EXPECT_TRUE(FindVolumeClose(search));
    machine.storage.networkLetters = "N";
    EXPECT_EQ(GetLogicalDrives(), 1u << 3 | 1u << 13);
    EXPECT_EQ(GetDriveTypeW(L"N:\\"), DWORD{DRIVE_REMOTE});
    EXPECT_EQ(GetDriveTypeW(L"X:\\"), DWORD{DRIVE_NO_ROOT_DIR});
}

TEST_F(SimulatedStorage, OpensARootFolderForBackupAloneAndAsksNothingOfIt) {
    const auto openRoot = [](const WCHAR* path) {
        return CreateFileW(path, FILE_READ_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    };
    const HANDLE folder = openRoot(L"\\\\.\\D:\\");
    EXPECT_NE(folder, INVALID_HANDLE_VALUE);
    EXPECT_EQ(ask(folder, FSCTL_LOCK_VOLUME), DWORD{ERROR_INVALID_FUNCTION});
    CloseHandle(folder);
    EXPECT_EQ(openRoot(L"\\\\.\\PhysicalDrive1\\"), INVALID_HANDLE_VALUE) << "a drive has no folders";
    volume().ready = false;
    EXPECT_EQ(openRoot(L"\\\\.\\D:\\"), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_READY});
}

TEST_F(SimulatedStorage, AnswersWithoutAMediumWhatNeedsNone) {
    volume().ready = false;
    const HANDLE handle = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    STARTING_LCN_INPUT_BUFFER start = {};
    unsigned char bytes[64];
    EXPECT_EQ(ask(handle, FSCTL_LOCK_VOLUME), DWORD{ERROR_NOT_READY});
    EXPECT_EQ(ask(handle, FSCTL_DISMOUNT_VOLUME), DWORD{ERROR_NOT_READY});
    EXPECT_EQ(ask(handle, FSCTL_GET_VOLUME_BITMAP, bytes, sizeof bytes, &start, sizeof start),
              DWORD{ERROR_NOT_READY});
    EXPECT_EQ(ask(handle, IOCTL_STORAGE_GET_DEVICE_NUMBER, bytes, sizeof bytes), 0u);
    CloseHandle(handle);
    EXPECT_FALSE(GetVolumeInformationW(L"D:\\", nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_READY});
    EXPECT_EQ(GetDriveTypeW(L"D:\\"), DWORD{DRIVE_FIXED});
}

TEST_F(SimulatedStorage, FaultsMeetOneRequestOrAllOfThem) {
    const HANDLE handle = open(L"\\\\.\\D:", FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES);
    STORAGE_DEVICE_NUMBER number = {};
    forgetCalls();
    failCall("FSCTL_LOCK_VOLUME", ERROR_WRITE_PROTECT);
    EXPECT_EQ(ask(handle, IOCTL_STORAGE_GET_DEVICE_NUMBER, &number, sizeof number), 0u);
    EXPECT_EQ(ask(handle, FSCTL_LOCK_VOLUME), DWORD{ERROR_WRITE_PROTECT});
    EXPECT_EQ(ask(handle, FSCTL_LOCK_VOLUME), 0u) << "the first one alone";
    clearFaults();
    failCall("DeviceIoControl", ERROR_IO_DEVICE, 2);
    EXPECT_EQ(ask(handle, FSCTL_UNLOCK_VOLUME), 0u);
    EXPECT_EQ(ask(handle, IOCTL_STORAGE_GET_DEVICE_NUMBER, &number, sizeof number), DWORD{ERROR_IO_DEVICE});
    clearFaults();
    EXPECT_EQ(calls("DeviceIoControl"), 5u);
    EXPECT_EQ(calls("FSCTL_LOCK_VOLUME"), 2u);
    EXPECT_EQ(argumentsOf("IOCTL_STORAGE_GET_DEVICE_NUMBER"), Strings(2, "0, 12"));
    volume().lockRefusals = 2;
    EXPECT_EQ(ask(handle, FSCTL_LOCK_VOLUME), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(ask(handle, FSCTL_LOCK_VOLUME), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(ask(handle, FSCTL_LOCK_VOLUME), 0u);
    CloseHandle(handle);
}

TEST_F(SimulatedStorage, TheBundledPcAddsUp) {
    simulation::Storage& storage =
        (machine = simulation::readMachine(simulation::bundledMachine(), "bundled")).storage;
    for (const simulation::Disk& disk : storage.disks()) {
        ULONGLONG end = 0;
        for (const simulation::Partition& partition : disk.partitions) {
            EXPECT_GE(partition.offset, end) << disk.product;
            end = partition.offset + partition.length;
            EXPECT_EQ(end % disk.sectorSize, 0u) << disk.product;
        }
        EXPECT_LE(end, disk.size) << disk.product;
        for (const Text& path : disk.paths) EXPECT_EQ(storage.disk(path), &disk);
    }
    for (const simulation::Volume& each : storage.volumes()) {
        SCOPED_TRACE(simulation::toUtf8(each.label));
        EXPECT_LE(each.freeBytes, each.totalBytes);
        const ULONGLONG clusterBytes = ULONGLONG{each.sectorsPerCluster} * each.bytesPerSector;
        EXPECT_EQ(each.totalBytes % clusterBytes, 0u);
        ULONGLONG room = 0;
        for (const DISK_EXTENT& part : each.extents)
            room += static_cast<ULONGLONG>(part.ExtentLength.QuadPart);
        if (!each.extents.empty()) {
            EXPECT_LE(each.totalBytes + each.fileAreaOffset * each.bytesPerSector, room);
        }
        // The bitmap agrees with what is free.
        if (each.totalBytes != 0 && each.driveType != DRIVE_CDROM && each.clusters < 1ull << 28) {
            std::vector<unsigned long long> bits((each.clusters + 63) / 64);
            simulation::fillBitmap(each, 0, reinterpret_cast<unsigned char*>(bits.data()), bits.size() * 8);
            ULONGLONG used = 0;
            for (const unsigned long long word : bits) used += static_cast<ULONGLONG>(std::popcount(word));
            EXPECT_NEAR(
                100.0 * static_cast<double>(used * clusterBytes) / static_cast<double>(each.totalBytes),
                100.0 * static_cast<double>(each.totalBytes - each.freeBytes) /
                    static_cast<double>(each.totalBytes),
                each.clusters <= 1ull << 21 ? 0.01 : 1.5);
        }
    }
}

TEST_F(SimulatedStorage, MistakesInMachineFilesAreToldByPlace) {
    const auto mistakeOf = [](const std::string& text) -> std::string {
        try {
            simulation::readMachine(text, "pc");
        } catch (const simulation::MachineFileError& error) {
            return error.what();
        }
        return "none";
    };
    const auto has = [&](const std::string& json, const std::string& expected) {
        const std::string mistake = mistakeOf(json);
        EXPECT_NE(mistake.find(expected), std::string::npos) << json << "\n" << mistake;
    };
    has(R"({"disks": [{"size": 5}]})", "pc: disks[0]");
    has(R"({"disks": [{"device": "NO\\SUCH"}]})", "disks[0].device: found \"NO");
    has(R"({"disks": [{"number": {"number": 1}}, {"number": {"number": 1}}]})", "disks[1]");
    has(R"({"disks": [{"number": {"number": 1}, "bus": "ISA"}]})",
        "disks[0].bus: found \"ISA\", expected one of");
    has(R"({"volumes": [{"name": "\\\\?\\Volume{x}"}]})", "volumes[0].name");
    has(R"({"volumes": [{"serial": "12345678"}]})", "volumes[0].serial");
    has(R"({"volumes": [{"on": {"disk": 3, "partition": 1}}]})", "volumes[0].on.disk");
    has(R"({"disks": [{"number": {"number": 3}}], "volumes": [{"on": {"disk": 3, "partition": 1}}]})",
        "volumes[0].on.partition");
    has(R"({"volumes": [{"used": [[1]]}]})", "volumes[0].used[0]");
    has(R"({"volumes": [{"label": "lost"}]})", "volumes[0]");
    has(R"({"volumes": [{"mountPoints": ["X:"]}]})", "volumes[0].mountPoints[0]");
    has(R"({"networkDrives": "n"})", "networkDrives");
    // What no PC has.
    const std::string disk = R"({"disks": [{"number": {"number": 1}, "size": 1000000, )";
    has(disk + R"("sectorSize": 7}]})", "disks[0].sectorSize: found 7, expected a power of two");
    has(disk + R"("partitions": [{"number": 1, "offset": 999999, "length": 2}]}]})",
        "disks[0].partitions[0]: the partition ends beyond the disk");
    has(disk + R"("partitions": [{"number": 1, "offset": 100, "length": 100},
        {"number": 2, "offset": 0, "length": 101}]}]})",
        "disks[0].partitions[1]: the partition overlaps another one");
    has(R"({"volumes": [{"mountPoints": ["X:\\"], "total": 5, "free": 6}]})", "volumes[0].free: found 6");
    has(R"({"volumes": [{"mountPoints": ["X:\\"], "bytesPerSector": 0}]})", "volumes[0].bytesPerSector");
    has(R"({"volumes": [{"mountPoints": ["X:\\"], "total": 5, "extents": [{"length": 4}]}]})",
        "volumes[0]: the volume is larger than the room where it lies");
    EXPECT_EQ(mistakeOf(R"({"volumes": [{"mountPoints": ["X:\\"], "used": [[0, 5]]}]})"), "none");
}

}  // namespace
