// The partitions of a drive, as Windows reads them from it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/WindowsApi.h"

namespace sysmira {

struct Partition {
    unsigned number = 0;
    unsigned long long offset = 0;  ///< bytes
    unsigned long long length = 0;  ///< bytes
    std::string type;               ///< in words: "EFI system", "NTFS or exFAT"
};

/// In the order of the disk, without empty entries and those that cannot be; missing when Windows does not
/// tell (IOCTL_DISK_GET_DRIVE_LAYOUT_EX).
std::optional<std::vector<Partition>> readPartitions(HANDLE drive);

}  // namespace sysmira
