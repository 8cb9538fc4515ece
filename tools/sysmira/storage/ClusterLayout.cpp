#include "tools/sysmira/storage/ClusterLayout.h"

#include <limits>
#include <optional>

#include "support/FileHandleResManager.h"
#include "support/WindowsApi.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using libSysmira::FileHandle;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using Bytes = unsigned long long;

namespace {

std::string whyNotInOnePiece(const zor::Array<VolumeExtent>& extents) {
    if (extents.empty()) return "the volume does not report where it lies";
    for (const VolumeExtent& extent : extents) {
        if (extent.diskNumber != extents[0].diskNumber) return "the volume lies on several disks";
    }
    if (extents.size() > 1) return "the volume lies in several pieces";
    const VolumeExtent& only = extents[0];
    if (only.startingOffset < 0 || only.extentLength <= 0 ||
        only.extentLength - 1 > std::numeric_limits<long long>::max() - only.startingOffset)
        return "the volume reports a place that cannot be";
    return "";
}

// In sectors from the volume's beginning.
std::optional<Bytes> readFirstCluster(const Volume& volume) {
    const zor::String& fileSystem = volume.info().fileSystemName;
    if (fileSystem.compareNoCase("NTFS") == 0 || fileSystem.compareNoCase("ReFS") == 0) return 0;
    const FileHandle handle(
        zor::FileHandleResManager::open({volume.getOSLocator(), FILE_READ_ATTRIBUTES,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, /*flags=*/0}));
    RETRIEVAL_POINTER_BASE base = {};
    DWORD returned = 0;
    if (!handle.isValid() ||
        !DeviceIoControl(handle.get(), FSCTL_GET_RETRIEVAL_POINTER_BASE, nullptr, 0, &base, sizeof base,
                         &returned, nullptr) ||
        returned < sizeof base || base.FileAreaOffset.QuadPart < 0) {
        return std::nullopt;
    }
    return static_cast<Bytes>(base.FileAreaOffset.QuadPart);
}

}  // namespace

ClusterLayout readClusterLayout(const Volume& volume) {
    const zor::Array<VolumeExtent>& extents = volume.getVolumeExtents();
    ClusterLayout layout;
    layout.whyUnknown = whyNotInOnePiece(extents);
    if (!layout.whyUnknown.empty()) return layout;
    const Bytes sectorSize = volume.info().bytesPerSector;
    layout.clusterSize = sectorSize * volume.info().sectorsPerCluster;
    if (layout.clusterSize == 0) {
        layout.whyUnknown = "the volume does not report the size of its clusters";
        layout.isUnreadable = true;
        return layout;
    }
    const auto begin = static_cast<Bytes>(extents[0].startingOffset);
    const auto length = static_cast<Bytes>(extents[0].extentLength);
    const std::optional<Bytes> first = readFirstCluster(volume);
    // Tables that fill the whole volume are none; on the FAT family something stands before cluster 0.
    if (!first || *first >= length / sectorSize) {
        layout.whyUnknown = "Windows does not report where the clusters of " +
                            printable(volume.info().fileSystemName) + " begin";
        layout.isUnreadable = true;
        return layout;
    }
    layout.firstCluster = begin + *first * sectorSize;
    layout.end = begin + length;
    return layout;
}

}  // namespace sysmira
