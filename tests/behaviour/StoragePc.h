// The fixture of tests on volumes and drives: disks and volumes to put into the simulated PC, and what the
// library asked of them and wrote about them.
#pragma once

#include <algorithm>
#include <utility>

#include "libSysmira/enumeration/StorageTypes.h"
#include "simulation/control/Clock.h"
#include "simulation/machine/Storage.h"
#include "support/System.h"
#include "tests/behaviour/SimulatedPc.h"

class StoragePc : public SimulatedPc {
protected:
    static constexpr ULONGLONG KiB = 1024;
    static constexpr ULONGLONG MiB = 1024 * KiB;
    static constexpr ULONGLONG GiB = 1024 * MiB;

    void SetUp() override {
        SimulatedPc::SetUp();
        // Shown are the lines of success, too.
        zor::LogFactory::setPriority(2);
    }

    static Text volumeName(unsigned number) {
        Text name = u"\\\\?\\Volume{00000000-0000-0000-0000-00000000000";
        name += static_cast<char16_t>(u'0' + number % 10);
        return name + u"}\\";
    }
    static DISK_EXTENT extent(DWORD disk, LONGLONG offset, LONGLONG length) {
        DISK_EXTENT result = {};
        result.DiskNumber = disk;
        result.StartingOffset.QuadPart = offset;
        result.ExtentLength.QuadPart = length;
        return result;
    }

    /// A volume of 64 MiB with clusters of 4 KiB, in the first partition of a disk, 1 MiB from its beginning.
    simulation::Volume& addVolume(unsigned number, std::vector<Text> mountPoints, DWORD disk = 1) {
        simulation::Volume volume;
        volume.name = volumeName(number);
        volume.mountPoints = std::move(mountPoints);
        volume.label = u"Data";
        volume.serial = 0x1A2B3C4D;
        volume.totalBytes = 64 * MiB;
        volume.freeBytes = 16 * MiB;
        volume.clusters = volume.totalBytes / (4 * KiB);
        volume.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, disk, 1};
        volume.extents = {extent(disk, MiB, 64 * MiB)};
        return machine.storage.add(std::move(volume));
    }

    /// A SATA disk of 1 GiB, opened as "\\.\PhysicalDriveN".
    simulation::Disk& addDrive(DWORD number = 1) {
        simulation::Disk disk;
        disk.paths = {drivePath(number)};
        disk.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, number, 0};
        disk.vendor = "NORD    ";
        disk.product = "Licht  1000     ";
        disk.revision = "1.0 ";
        disk.serial = "  N-0815";
        disk.size = GiB;
        return machine.storage.add(std::move(disk));
    }
    static Text drivePath(DWORD number) {
        return u"\\\\.\\PhysicalDrive" + Text(1, static_cast<char16_t>(u'0' + number));
    }

    /// The lines since the last look, without the number that opens each: "logger priority text".
    Strings lines() {
        Strings result;
        for (const LogLine& line : std::exchange(log, {})) {
            const size_t blank = line.text.find(' ');
            EXPECT_TRUE(blank != std::string::npos && blank != 0 &&
                        std::all_of(line.text.begin(), line.text.begin() + static_cast<long>(blank),
                                    [](char digit) { return digit >= '0' && digit <= '9'; }))
                << line.text;
            result.push_back(line.logger + " " + std::to_string(line.priority) + " " +
                             line.text.substr(blank + 1));
        }
        return result;
    }
    static std::string message(DWORD error) { return plain(zor::System::getSystemErrorMsg(error)); }
};
