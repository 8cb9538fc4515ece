// What volumes and drives tell about where they lie. Shared by both.
#pragma once

#include "support/DescriptorStorage.h"
#include "support/FileHandleResManager.h"
#include "support/SharedResource.h"
#include "support/WindowsApi.h"

namespace libSysmira {

/// A share of an open device or volume; Windows closes it when the last share goes. All shares of one handle
/// belong to one thread at a time.
using FileHandle = zor::SharedResource<zor::DescriptorStorage<HANDLE, -1, zor::FileHandleResManager>, 0>;

/// Which device this is, and which partition of it.
struct StorageDeviceNumber {
    /// The number of a device of which only the type is known, such as a floppy drive. All such devices share
    /// it. Other numbers are unique within one device type.
    static constexpr unsigned int UnknownDevice = 0xFFFFFFFF;

    unsigned int deviceType = 0;  ///< FILE_DEVICE_…: FILE_DEVICE_DISK (7), FILE_DEVICE_CD_ROM (2)
    unsigned int deviceNumber = UnknownDevice;
    unsigned int partitionNumber = 0;
};

/// One contiguous run of a volume on a disk. The numbers are Windows' own and unchecked.
struct VolumeExtent {
    unsigned int diskNumber = 0;
    long long startingOffset = 0;  ///< bytes from the beginning of the disk
    long long extentLength = 0;    ///< bytes
};

/// Where a drive sits on its controller.
struct ScsiAddress {
    unsigned char portNumber = 0;
    unsigned char pathId = 0;
    unsigned char targetId = 0;
    unsigned char lun = 0;
};

}  // namespace libSysmira
