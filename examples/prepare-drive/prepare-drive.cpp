// What a test that writes to raw disks does before and after: find the disks, keep off the one that Windows
// runs from, read what the volumes of the others say, take them away from everyone, ask which sectors hold
// a user's data, and give everything back. This program only looks; nothing is written.
#include <cstdio>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/enumeration/WindowsDrive.h"

namespace {

using libSysmira::Volume;
using libSysmira::WindowsDrive;

const char* text(const zor::CString& utf8) { return utf8.c_str(); }

// Why the drive's answers about sectors of this volume cannot be used; null when they can.
const char* whyNotMapped(const Volume& volume) {
    // The drive takes every extent of a volume for its own and counts clusters from the extent's beginning.
    const auto& extents = volume.getVolumeExtents();
    if (extents.empty()) return "the volume does not say where it lies";
    for (const libSysmira::VolumeExtent& extent : extents) {
        if (extent.diskNumber != extents[0].diskNumber) return "the volume lies on several disks";
    }
    if (extents.size() > 1) return "the volume lies in several pieces";
    // On FAT, FAT32 and exFAT clusters begin behind the allocation tables, and
    // FSCTL_GET_RETRIEVAL_POINTER_BASE gives it. This program leaves them alone, as it does what it does
    // not know.
    const zor::String& fileSystem = volume.info().fileSystemName;
    if (fileSystem.compareNoCase("NTFS") != 0 && fileSystem.compareNoCase("ReFS") != 0)
        return "clusters of its file system are not counted from the volume's beginning";
    return nullptr;
}

// What a test may overwrite are sectors whose cluster their volume does not use.
void tellSectors(WindowsDrive& drive) {
    const unsigned long long count = drive.getSectorCount();
    for (const unsigned long long sector : {0ull, 2048ull, count / 2, count - 1}) {
        unsigned int volume = 0;
        const zor::TriBool used = drive.isSectorInUsedCluster(sector, &volume);
        if (volume < drive.volumes().size()) {
            if (const char* const why = whyNotMapped(drive.volumes()[volume])) {
                std::printf("    sector %llu: hands off, not known: %s\n", sector, why);
                continue;
            }
        }
        // Unknown is not free: partition tables, other file systems and unreadable volumes look like this.
        std::printf("    sector %llu: %s\n", sector,
                    used.isUnknown() ? "hands off"
                    : used.isTrue()  ? "in use"
                                     : "free");
    }
}

void prepare(WindowsDrive& drive) {
    // No volumes does not mean no data: a volume that spans several disks may be missing here.
    if (drive.volumes().empty()) {
        std::printf("    no volume says that it lies here: hands off\n");
        return;
    }
    // What needs the file system comes before the lock: a locked NTFS volume gives neither information nor
    // bitmap. The bitmap is as old as this moment. Clusters that are allocated before the lock are not
    // in it: who must be sure lets nothing else write to these volumes from here on.
    for (const Volume& volume : drive.volumes()) {
        volume.info();
        volume.getVolumeExtents();
        volume.getVolumeClusterBitmap(/*refresh=*/true);
    }
    // Twelve tries for each volume. When one is in use, those before it are unlocked again, and it is over.
    if (!drive.lockVolumesAndDismount()) {
        std::printf("    somebody uses it\n");
        return;
    }
    std::printf("    volumes locked: %u\n", static_cast<unsigned>(drive.volumes().size()));
    tellSectors(drive);
    std::printf("    %s\n", drive.unlockVolumes() ? "unlocked" : "not everything could be unlocked");
}

}  // namespace

int main() {
    libSysmira::WindowsDeviceSet disks;
    disks.appendDisks();
    for (const libSysmira::WindowsDevice& device : disks) {
        WindowsDrive drive(device);
        std::printf("%s, %llu bytes\n", text(device.getFriendlyName().getUTF8String()),
                    drive.getTotalCapacity());
        // The questions behind this one are for drives that told what they are.
        if (!drive.storageDescriptorInitialized() || !drive.isDisk()) {
            std::printf("    no fixed disk\n");
        } else if (drive.isSystemDrive() || drive.isApplicationDrive()) {
            std::printf("    Windows or this program runs from it\n");
        } else if (!drive.isReadOnly().isFalse() || !drive.isOffline().isFalse()) {
            std::printf("    read-only, offline, or it does not tell\n");
        } else {
            prepare(drive);
        }
    }
}
