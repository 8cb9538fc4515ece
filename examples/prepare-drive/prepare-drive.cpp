// What a test that writes to raw disks does before and after: find the disks, keep off the one that Windows
// runs from, take the volumes of the others away from everyone, ask which sectors hold somebody's data, and
// give everything back. This program only looks; nothing is written.
#include <cstdio>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/enumeration/WindowsDrive.h"

namespace {

using libSysmira::WindowsDrive;

const char* text(const zor::CString& utf8) { return utf8.c_str(); }

// What a test may overwrite are sectors whose cluster their volume does not use.
void tellSectors(WindowsDrive& drive) {
    const unsigned long long count = drive.getSectorCount();
    for (const unsigned long long sector : {0ull, 2048ull, count / 2, count - 1}) {
        unsigned int volume = 0;
        const zor::TriBool used = drive.isSectorInUsedCluster(sector, &volume);
        // Unknown is not free: partition tables, other file systems and unreadable volumes look like this.
        std::printf("    sector %llu: %s\n", sector,
                    used.isUnknown() ? "hands off"
                    : used.isTrue()  ? "in use"
                                     : "free");
    }
}

void prepare(WindowsDrive& drive) {
    // A disk of a volume that spans several disks has no volumes of its own, and is full of data.
    if (drive.volumes().empty()) {
        std::printf("    no volume says that it lies here: hands off\n");
        return;
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
