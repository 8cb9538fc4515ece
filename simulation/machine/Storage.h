// Disks and volumes of the simulated PC, as plain data.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

struct Partition {
    DWORD number = 1;
    ULONGLONG offset = 0;  ///< bytes
    ULONGLONG length = 0;  ///< bytes
    bool gpt = true;       ///< otherwise MBR
    BYTE mbrType = 0x07;
    GUID gptType = {0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}};
    GUID gptId = {};
    ULONGLONG gptAttributes = 0;
    Text gptName;
};

/// A drive. An error beside a request is what Windows answers in its place; 0: it answers.
struct Disk {
    std::vector<Text> paths;  ///< device interfaces and names such as u"\\\\.\\PhysicalDrive0"
    DWORD openError = 0;

    std::optional<STORAGE_DEVICE_NUMBER> number;  ///< without one the request is unknown to the driver

    // The storage descriptor. Its texts are bytes, stored as they stand; an empty one has offset 0.
    DWORD descriptorError = 0;
    BYTE scsiType = 0;
    bool removable = false;
    STORAGE_BUS_TYPE bus = BusTypeSata;
    std::string vendor, product, revision, serial;
    std::optional<std::vector<unsigned char>> descriptor;  ///< these bytes instead

    bool mediaPresent = true;  ///< without, what needs a medium is ERROR_NOT_READY
    ULONGLONG size = 0;        ///< bytes
    DWORD sectorSize = 512;
    DWORD lengthError = 0;
    DWORD geometryError = 0;
    MEDIA_TYPE mediaType = FixedMedia;
    std::vector<MEDIA_TYPE> floppyFormats;  ///< of a floppy drive: what the media-types request lists

    DWORD attributesError = 0;
    ULONGLONG attributes = 0;  ///< DISK_ATTRIBUTE_ bits
    std::optional<SCSI_ADDRESS> scsi;
    std::vector<Partition> partitions;
};

/// A run of clusters.
struct ClusterRun {
    ULONGLONG first = 0;
    ULONGLONG count = 0;
};

/// A file-system volume.
struct Volume {
    Text name;                      ///< u"\\\\?\\Volume{…}\\"; empty for a hidden volume
    std::vector<Text> paths;        ///< device interfaces that open it, too
    std::vector<Text> mountPoints;  ///< u"C:\\", u"D:\\Mount\\"
    bool mountPointsGrow = false;   ///< one more each time that their list did not fit
    DWORD openError = 0;

    bool ready = true;  ///< without a medium or a file system: information is ERROR_NOT_READY
    Text label;
    DWORD serial = 0;
    Text fileSystem = u"NTFS";
    DWORD features = 0;  ///< FILE_READ_ONLY_VOLUME …
    UINT driveType = DRIVE_FIXED;
    ULONGLONG totalBytes = 0;
    ULONGLONG freeBytes = 0;
    DWORD sectorsPerCluster = 8;
    DWORD bytesPerSector = 512;

    std::optional<STORAGE_DEVICE_NUMBER> number;  ///< none: spread over several disks, or refused
    DWORD numberError = ERROR_INVALID_FUNCTION;   ///< where there is none
    std::vector<DISK_EXTENT> extents;
    std::optional<std::vector<unsigned char>> extentsAnswer;  ///< these bytes instead
    std::optional<Partition> partition;

    // The allocation bitmap: made when it is asked for, never stored.
    DWORD bitmapError = 0;
    ULONGLONG clusters = 0;
    std::vector<ClusterRun> used;
    unsigned usedPercent = 0;  ///< besides: so much of each stretch, in a pattern that is always the same
    /// The bitmap is refused on a handle without data access: pages of Microsoft differ on that.
    bool bitmapNeedsDataAccess = false;
    ULONGLONG fileAreaOffset = 0;  ///< sectors from the volume's beginning to cluster 0; 0 on NTFS

    std::vector<MEDIA_TYPE> floppyFormats;  ///< of a floppy drive: as those of its Disk

    bool lockedByOthers = false;  ///< open elsewhere: can be opened and dismounted, but not locked
    /// NTFS answers through the handle that locks the volume; as a rule it does not.
    bool answersWhileLocked = false;
    unsigned lockRefusals = 0;  ///< so many tries to lock it fail first
    DWORD dismountError = 0;
    DWORD unlockError = 0;

    // What callers did to it.
    HANDLE lockedBy = nullptr;
    unsigned dismounts = 0;
};

/// Fills `bytes` bytes with the bits of the clusters from `first` on, a multiple of 8; the least significant
/// bit comes first. Bits behind the last cluster are 0.
void fillBitmap(const Volume& volume, ULONGLONG first, unsigned char* out, size_t bytes);

class Storage {
public:
    std::string networkLetters;  ///< letters of network drives: "NZ"
    std::string otherLetters;    ///< letters that stand for no volume of their own (substituted folders)

    /// Adds it and gives it as kept; references stay valid. Paths, name and mount points are known from then
    /// on. Throws std::invalid_argument when one of them stands already.
    Disk& add(Disk disk);
    Volume& add(Volume volume);

    std::deque<Disk>& disks() { return m_disks; }
    std::deque<Volume>& volumes() { return m_volumes; }

    /// By a path with or without the backslash at its end, "\\.\" and "\\?\" being one; null when there is
    /// none.
    Disk* disk(std::u16string_view path);
    Volume* volume(std::u16string_view path);
    /// The mounted volume that a mount point leads to.
    Volume* mounted(std::u16string_view mountPoint);
    /// The letters in use, 'A' being bit 0: those of volumes, of the network, of others.
    DWORD letters() const;

private:
    struct Place {
        bool isDisk = false;
        size_t index = 0;
    };
    void know(const Text& path, Place place);
    const Place* find(std::u16string_view path) const;

    std::deque<Disk> m_disks;
    std::deque<Volume> m_volumes;
    std::unordered_map<Text, Place> m_places;  ///< by upper-case path
    DWORD m_volumeLetters = 0;
};

}  // namespace simulation
