// A physical drive: disk, optical drive, tape or floppy drive. Who made it, how large it is, where it sits,
// which volumes lie on it, and what is done to those before a raw test.
//
//     libSysmira::WindowsDrive drive("\\\\.\\PhysicalDrive1");
//     for (const libSysmira::Volume& volume : drive.volumes()) {
//         volume.info();
//         volume.getVolumeExtents();
//         volume.getVolumeClusterBitmap(/*refresh=*/true);
//     }
//     if (drive.lockVolumesAndDismount()) {
//         if (drive.isSectorInUsedCluster(sector, nullptr).isFalse()) …
//         drive.unlockVolumes();
//     }
//
// The order matters: a locked volume answers the handle that locks it alone, and NTFS treats it as dismounted
// (Microsoft, FSCTL_LOCK_VOLUME), so information and bitmap cannot be read any more. The bitmap is as old as
// its reading: clusters that were allocated between the reading and the lock are not in it.
//
// The drive is read at construction; volumes and device record are looked for when they are first needed.
// Failures are false, zeroes, unknown and empty texts, with a line on the logger "libSysmira.WindowsDrive"
// where an operation says so. Queries of the storage descriptor on a drive that has none are misuse, an
// assertion failure (zor::RaisedException): ask storageDescriptorInitialized first. Otherwise nothing throws
// beyond std::bad_alloc, but isBitLockerEnabledOnVolumes. Copies share handle, descriptor and device record;
// a drive, its copies and its volumes belong to one thread at a time.
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/StorageTypes.h"
#include "libSysmira/enumeration/Volume.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "support/Array.h"
#include "support/Buffer.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"
#include "support/String.h"
#include "support/TriBool.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class SYSMIRA_API WindowsDrive {
public:
    /// What a drive's identifier is.
    enum StringIDType : unsigned int {
        NoID = 0,
        OSLocatorID = 1,       ///< a path that CreateFileW opens
        DeviceInstanceID = 2,  ///< of its device record
    };

    enum MediaType : unsigned int {
        RemovableMediaType = 0,
        FixedMediaType = 1,
        UnknownMediaType = 2,
    };

    /// No drive: everything is empty or unknown.
    WindowsDrive();
    /// Opens the path for reading and writing, shared with everyone. A drive that does not open is empty.
    explicit WindowsDrive(const zor::String& path);
    /// Shares a handle on a drive. Without a name to look for, such a drive has no device record.
    explicit WindowsDrive(const FileHandle& handle);
    /// The drive of a device record; it is opened where the record has an OS locator.
    explicit WindowsDrive(const WindowsDevice& device);
    WindowsDrive(const WindowsDrive&);
    WindowsDrive& operator=(const WindowsDrive&);
    WindowsDrive(WindowsDrive&&) noexcept;
    WindowsDrive& operator=(WindowsDrive&&) noexcept;
    /// Gives up the locks on its volumes if this is their last holder.
    ~WindowsDrive();

    // From the storage descriptor, as they stand there, blanks included; each byte is one code unit.

    const zor::String& vendorId() const { return m_vendorId; }
    const zor::String& productId() const { return m_productId; }
    /// Vendor and product side by side, with each run of blanks made one.
    const zor::String& modelId() const { return m_modelId; }
    const zor::String& productRevision() const { return m_productRevision; }
    const zor::String& serialNumber() const { return m_serialNumber; }

    const FileHandle& getHandle() const { return m_handle; }
    /// Nothing is read again.
    void setHandle(const FileHandle& handle) { m_handle = handle; }

    /// Whether the drive has a storage descriptor (IOCTL_STORAGE_QUERY_PROPERTY).
    bool storageDescriptorInitialized() const { return m_pStorageDescriptor.isValid(); }
    /// The SCSI peripheral device type: 0 disk, 1 tape, 5 optical. Needs the descriptor.
    unsigned int type() const;
    /// STORAGE_BUS_TYPE. Needs the descriptor. Finds USB drives in either mode: one in UASP mode is of the
    /// enumerator SCSI, not USBSTOR, but of BusTypeUsb.
    unsigned int busType() const;
    /// A drive of fixed media and direct access. Needs the descriptor of a drive with fixed media only.
    bool isDisk() const;
    /// Needs the descriptor.
    bool isOptical() const;
    MediaType getMediaType() const { return m_mediaType; }

    /// Bytes; 0 when the drive does not tell. Kept once known, as is the capacity.
    unsigned int getSectorSize() const;
    /// Bytes (IOCTL_DISK_GET_LENGTH_INFO, or else from the geometry); 0 when the drive does not tell.
    unsigned long long getTotalCapacity() const;
    unsigned long long getSectorCount() const;

    /// Asked of disks alone (IOCTL_DISK_GET_DISK_ATTRIBUTES); a refusal writes a line of priority 3. They
    /// need what isDisk needs.
    zor::TriBool isReadOnly();
    zor::TriBool isOffline();
    /// IOCTL_SCSI_GET_ADDRESS; `address` is untouched on failure.
    bool scsiAddress(ScsiAddress& address) const;

    /// Finds the volumes again, if they were looked for, and reads the capacity again, if it was known; a
    /// length that cannot be read any more makes it 0. With `flush`, has Windows first write out what it
    /// holds back and read the partitions again.
    void update(bool flush);

    // The roles of the drive's volumes, by their flags. A volume on several disks has no device number: where
    // C: spans disks, isSystemDrive and isApplicationDrive are false for each of them unless the device tree
    // relates the volume to the disk. Ask Volume(Volume::getSysDriveLetter()).getVolumeExtents() for the
    // disks.

    bool isSystemDrive() const;
    bool isApplicationDrive() const;
    bool hasReadOnlyVolume() const;

    /// The volumes that lie on the drive, looked for once: those with its device number (of volumes on
    /// several disks Windows gives none), or, when these are more, those related to its device record. A
    /// floppy drive's volumes are made without media access.
    const zor::Array<Volume>& volumes() const;
    /// Volume::update on each.
    void updateVolumeAttributes();

    /// Volume::lockVolume on each in turn. When one cannot be locked, unlocks those before it and writes a
    /// line of priority 3. True without volumes.
    bool lockVolumes();
    /// lockVolumes, then Volume::dismountVolume on every volume. When one fails, unlocks all and writes a
    /// line of priority 3.
    bool lockVolumesAndDismount();
    /// Volume::unlockVolume on every volume as they stand; true when each succeeded.
    bool unlockVolumes();
    /// Volume::isBitLockerEnabled on each in turn until one is; true when each that was asked could be
    /// answered, which includes volumes that Windows does not list as encryptable. Throws what that throws.
    bool isBitLockerEnabledOnVolumes(bool& enabled) const;

    /// A table of the volumes: mount point, flag letters, label, file system, size and OS locator. Every line
    /// but the empty ones is preceded by `indent` blanks.
    zor::String getVolumeSummary(unsigned int indent);

    /// The volume (its place in volumes()) and the cluster that a sector of the drive lies in. Outputs are
    /// untouched when it lies in none.
    ///
    /// A volume's own sector size stands for the drive's, its extents are taken to lie on this drive, and
    /// clusters count from the beginning of the extent. An extent without a length, or beyond what 63 bits
    /// can count, holds no sector.
    ///
    /// Two kinds of volumes therefore need the caller's care. Of a volume whose extents lie on several disks
    /// the answers may be those of another disk: look at VolumeExtent::diskNumber, and take the answer as
    /// unknown. On FAT, FAT32 and exFAT cluster 0 is the first data cluster, not the first sector of the
    /// partition: FSCTL_GET_RETRIEVAL_POINTER_BASE gives its distance in sectors, which must be subtracted.
    bool convertSectorToVCN(unsigned long long sector, unsigned int& volumeIndex,
                            unsigned long long& vcn) const;
    /// Whether the sector's cluster is in use; unknown when it lies in no volume, or its volume's bitmap
    /// cannot be read or does not reach so far. `*volumeIndex`, unless null, receives the volume's place, or
    /// 0xFFFFFFFF. The bitmap is the one that the volume keeps, or else it is read, which fails on a locked
    /// NTFS volume: read it before the lock. What convertSectorToVCN says of volumes on several disks and of
    /// FAT holds here, too: for these the answer may be that of another cluster.
    zor::TriBool isSectorInUsedCluster(unsigned long long sector, unsigned int* volumeIndex) {
        if (!m_run.holds(sector)) return findSectorState(sector, volumeIndex);
        if (volumeIndex != nullptr) *volumeIndex = m_run.volumeIndex();
        return m_run.isUsed(sector);
    }

private:
    using SharedBytes = zor::SharedResource<zor::PointerStorage<zor::Buffer<unsigned char>, 0, 3>, 0>;
    using SharedDevice = zor::SharedResource<zor::PointerStorage<WindowsDevice, 0, 3>, 0>;

    // Who asks of every sector stays in one extent for long: the whole clusters of that extent, of which no
    // sector belongs to another extent, as far as the volume's bitmap reaches. For clusters of a power of two
    // of sectors. Their number stands in the volume, which makes it 0 when it reads its bitmap anew; since
    // that volume is an element of m_volumes, no copy takes the run along.
    class ClusterRun {
    public:
        ClusterRun() = default;
        ClusterRun(const ClusterRun&) noexcept {}
        ClusterRun(ClusterRun&& other) noexcept { other.clear(); }
        ClusterRun& operator=(const ClusterRun&) noexcept {
            clear();
            return *this;
        }
        ClusterRun& operator=(ClusterRun&& other) noexcept {
            other.clear();
            clear();
            return *this;
        }

        void clear() { m_pClusterCount = &noClusters; }
        void set(const Volume& volume, unsigned int volumeIndex, const VolumeExtent& extent);

        bool holds(unsigned long long sector) const { return clusterOf(sector) < *m_pClusterCount; }
        bool isUsed(unsigned long long sector) const {
            const unsigned long long cluster = clusterOf(sector);
            return (m_bits[cluster / 8] >> cluster % 8 & 1) != 0;
        }
        unsigned int volumeIndex() const { return m_volumeIndex; }

    private:
        static constexpr unsigned long long noClusters = 0;

        // Of a sector in front of the run a number that is far too large.
        unsigned long long clusterOf(unsigned long long sector) const {
            return (sector - m_firstSector) >> m_clusterShift;
        }

        unsigned long long m_firstSector = 0;
        unsigned int m_clusterShift = 0;
        unsigned int m_volumeIndex = 0;
        const unsigned long long* m_pClusterCount = &noClusters;
        const unsigned char* m_bits = nullptr;
    };

    void open(const zor::String& path);
    void init(const FileHandle& handle);
    void readDescriptor();
    zor::String descriptorText(DWORD offset) const;
    void readMediaType();
    const STORAGE_DEVICE_DESCRIPTOR* getStorageDescriptor() const;
    unsigned long long readLength() const;
    bool getDriveAttributes(unsigned long long& attributes) const;
    zor::TriBool hasAttribute(unsigned long long bit) const;
    bool hasVolumeWith(Volume::Flag flag) const;
    bool findWindowsDeviceByID(StringIDType type, const zor::String& id) const;
    bool hasWindowsDevice() const;
    void findAssociatedVolumes() const;
    void findVolumesBySDN() const;
    void findVolumesByRelations(bool mediaAccessAllowed, zor::Array<Volume>& out) const;

    static const VolumeExtent* findCluster(const Volume& volume, unsigned long long sector,
                                           unsigned long long& vcn);
    const VolumeExtent* findSector(unsigned long long sector, unsigned int& volumeIndex,
                                   unsigned long long& vcn) const;
    zor::TriBool findSectorState(unsigned long long sector, unsigned int* volumeIndex);
    void rememberRun(unsigned int volumeIndex, const VolumeExtent& extent);

    FileHandle m_handle;
    StringIDType m_idType = NoID;
    zor::String m_idString;
    SharedBytes m_pStorageDescriptor;
    mutable SharedDevice m_pWindowsDevice;
    zor::String m_vendorId;
    zor::String m_productId;
    zor::String m_modelId;
    zor::String m_productRevision;
    zor::String m_serialNumber;
    MediaType m_mediaType = UnknownMediaType;
    mutable unsigned int m_sectorSize = 0;
    mutable unsigned long long m_totalCapacity = 0;
    mutable zor::Array<Volume> m_volumes;
    mutable bool m_volumesFound = false;
    ClusterRun m_run;  ///< around the sector last asked for
};

}  // namespace libSysmira
