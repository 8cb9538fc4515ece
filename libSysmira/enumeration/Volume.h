// A file-system volume: how it is found and named, what it holds, and what is done to it before a raw test of
// its disk: lock, dismount, unlock.
//
//     libSysmira::Volume volume('D');
//     volume.info();
//     const auto bitmap = volume.getVolumeClusterBitmap(/*refresh=*/true);
//     if (volume.lockVolume() && volume.dismountVolume()) …
//     volume.unlockVolume();
//
// Read before locking: a locked volume answers the handle that locks it alone, and NTFS treats it as
// dismounted (Microsoft, FSCTL_LOCK_VOLUME). Information that is first asked for then stays empty until
// update().
//
// Nothing is read at construction but the volume's names. Information, extents and bitmap are read when they
// are first asked for, and kept. Failures are false, zeroes and empty texts, with a line on the logger
// "libSysmira.Volume" where an operation says so; beyond std::bad_alloc nothing throws but
// isBitLockerEnabled. Copies share handle and bitmap; a volume and its copies belong to one thread at a time.
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/ClusterBitmap.h"
#include "libSysmira/enumeration/StorageTypes.h"
#include "support/Array.h"
#include "support/Map.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

/// What a volume says of itself. Numbers are 0 until they are known, and texts empty.
struct VolInfo {
    zor::String volumeName;    ///< the label
    zor::String serialNumber;  ///< "1A2B-3C4D"
    zor::String fileSystemName;
    unsigned long long totalBytes = 0;
    unsigned long long freeBytes = 0;
    unsigned long long usedBytes = 0;
    unsigned int bytesPerSector = 0;
    unsigned int sectorsPerCluster = 0;
};

class SYSMIRA_API Volume {
public:
    /// Bits of flags().
    enum Flag : unsigned int {
        System = 0x0001,          ///< Windows runs from this volume
        Application = 0x0002,     ///< this process's program lies on it
        ReadOnly = 0x0004,        ///< by its file system or by its partition
        Hidden = 0x0008,          ///< by its partition's attributes
        RecoveryVolume = 0x0010,  ///< by its partition's type or its label
        DaxVolume = 0x0020,       ///< its storage is mapped into memory directly
        HasDriveLetter = 0x8000,
    };

    /// What kind of name a volume is made from.
    enum LocatorType : unsigned int {
        OSLocator = 0,       ///< a path that CreateFileW opens: of a drive letter, of a device interface
        VolumeGUIDPath = 1,  ///< "\\?\Volume{…}\", with the backslash at its end
    };

    /// The volume of a letter, in either case. That there is one is not checked.
    explicit Volume(char driveLetter);
    /// The volume of that name, with the first drive letter among its mount paths
    /// (GetVolumePathNamesForVolumeNameW). An unknown type writes a line of priority 4 on "DEFECT.GENERIC"
    /// and makes a volume that nothing finds.
    Volume(LocatorType type, const zor::String& locator);
    Volume(const Volume&);
    Volume& operator=(const Volume&);
    Volume(Volume&&) noexcept;
    Volume& operator=(Volume&&) noexcept;
    /// Gives up the lock if this is its last holder.
    ~Volume();

    /// Every volume (FindFirstVolumeW), then the hidden ones (their device interface), which may be among the
    /// former, too. A volume that several letters lead to has none here, and writes a line of priority 3.
    /// False when there is none.
    static bool findAllVolumes(zor::Array<Volume>& volumes);
    /// Of the Windows folder; 0 when Windows does not tell. Asked once in a process, as is the next.
    static char getSysDriveLetter();
    /// Of this process's program.
    static char getAppDriveLetter();

    /// Read once (GetVolumeInformationW, GetDiskFreeSpaceExW, GetDiskFreeSpaceW; sizes of removable and fixed
    /// drives only). Without media access nothing is read, and what is there counts as read until update().
    const VolInfo& info() const {
        if (!m_infoValid) updateInternal(/*force=*/false);
        return m_info;
    }
    /// Flag bits, with the information read first.
    unsigned int flags() const;
    /// Reads the information again. What cannot be read keeps its value; no flag but ReadOnly goes away.
    void update();
    /// False without a letter; `letter` is untouched then.
    bool getDriveLetter(char& letter) const;
    /// GetDriveTypeW: DRIVE_FIXED, DRIVE_REMOVABLE, …
    unsigned int getDriveType() const;
    /// The path that CreateFileW opens: "\\.\C:" where there is a letter.
    const zor::String& getOSLocator() const { return m_osLocator; }
    /// Empty when it is not known.
    const zor::String& getVolumeGUIDPath() const { return m_volumeGUIDPath; }
    /// Whether reading the information may touch the medium (it may, at first): a floppy drive would start.
    void setMediaAccessAllowed(bool allowed) { m_mediaAccessDenied = !allowed; }
    bool isMediaAccessAllowed() const { return !m_mediaAccessDenied; }

    // Opening asks for rights on the volume's attributes alone, shared with everyone; a volume that does not
    // open writes a line of priority 4.

    /// Takes the volume for this object (FSCTL_LOCK_VOLUME), trying 12 times, 100 ms apart. Where a handle is
    /// held already, tries on that one. The lock lasts as long as the handle is held: until unlockVolume,
    /// until twelve tries have failed, or until the last copy goes. Each try writes a line: 2 for success, 3
    /// for failure.
    bool lockVolume();
    /// FSCTL_DISMOUNT_VOLUME; false without a handle held. Writes a line of priority 2. The handle stays.
    bool dismountVolume();
    /// FSCTL_UNLOCK_VOLUME; false without a handle held. Writes a line of priority 2. The handle is given up
    /// in any case.
    bool unlockVolume();

    /// The device that the volume lies on (IOCTL_STORAGE_GET_DEVICE_NUMBER). If removable media reject the
    /// request but list floppy formats, sets type and UnknownDevice; partitionNumber is unchanged. Two floppy
    /// drives share that number, so it identifies neither. False, without opening anything, for the letters A
    /// and B.
    bool getSDN(StorageDeviceNumber& number) const;

    /// The runs of the disk that hold this volume, in the order Windows reports them.
    ///
    /// Read with IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS on first use and kept; empty when the volume cannot be
    /// opened or asked, and then asked again by the next call.
    const zor::Array<VolumeExtent>& getVolumeExtents() const {
        if (m_extents.empty()) readVolumeExtents();
        return m_extents;
    }

    /// The volume's allocation bitmap (FSCTL_GET_VOLUME_BITMAP): the kept one unless `refresh`. Both are
    /// given only while the volume can be opened; an empty holder otherwise, and when Windows refuses. A
    /// failure keeps what was kept. A locked volume refuses to give a new one. The bitmap is as old as its
    /// reading: what is allocated afterwards, until a lock, is not in it.
    SharedClusterBitmap getVolumeClusterBitmap(bool refresh) const;

    /// Whether the volume with this letter is encrypted, or on its way to or from it
    /// (Win32_EncryptableVolume). True when that could be found out; `enabled` is only ever set to true, so
    /// that it can gather the answer over several volumes. True as well, with `enabled` unchanged, when
    /// Windows lists no such volume with this letter (a CD-ROM drive, a floppy drive), and when each listed
    /// one refuses to report its status. False when WMI fails on the way: getLastWmiResult() gives the
    /// reason.
    ///
    /// Uses the WMI client, with its rules for threads, and throws what that throws except
    /// InitializationError: zor::RaisedException on a thread in another COM apartment.
    bool isBitLockerEnabled(bool& enabled) const;

private:
    friend class WindowsDrive;

    // By findAllVolumes: a letter of 0 means none, and none is looked for.
    Volume(LocatorType type, const zor::String& locator, char driveLetter);

    using LetterMap = zor::Map<zor::String, char>;
    static void mapDriveLettersToVolumes(LetterMap& letters);

    void locatorInit(LocatorType type, const zor::String& locator, bool letterKnown);
    void findRootPath();
    void updateInternal(bool force) const;
    void readIdentity() const;
    void readPartition() const;
    void readSizes() const;
    FileHandle openVolumeHandle(bool writeAttributes) const;

    // What lies between the first and the last byte of a group of extents.
    struct ExtentSpan {
        unsigned long long first;
        unsigned long long last;
    };
    void readVolumeExtents() const;
    bool askForExtents(zor::Array<VolumeExtent>& extents) const;
    static zor::Array<ExtentSpan> spansOf(const zor::Array<VolumeExtent>& extents);
    // The first of the kept extents that holds a byte of the disk; null when none does.
    const VolumeExtent* findExtent(unsigned long long byte) const;

    mutable unsigned int m_flags = 0;
    zor::String m_volumeGUIDPath;
    zor::String m_rootPath;
    zor::String m_osLocator;
    FileHandle m_handle;
    char m_driveLetter = 0;
    mutable bool m_infoValid = false;
    mutable VolInfo m_info;
    mutable zor::Array<VolumeExtent> m_extents;
    mutable SharedClusterBitmap m_pClusterBitmap;
    bool m_mediaAccessDenied = false;
    // Of each group of the extents, so that a search passes over most of them.
    mutable zor::Array<ExtentSpan> m_extentSpans;
    // For the drive's shortcut to the kept bitmap: how many clusters it leads to.
    mutable unsigned long long m_runClusters = 0;
};

}  // namespace libSysmira
