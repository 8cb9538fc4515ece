// Which volumes lie on a drive, and what is done to them together.
#include <algorithm>
#include <bit>
#include <limits>
#include <map>

#include "libSysmira/enumeration/CommonStorage.h"
#include "libSysmira/enumeration/StorageParsing.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "support/ClassLogger.h"
#include "support/Map.h"
#include "support/NonDiscreteMeasurement.h"
#include "support/SprintfFormat.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.WindowsDrive");

// Extents in front of the one that a run is made of.
constexpr unsigned int lookedThroughAtMost = 16;

// Places in a list of volumes by the number of the device that they lie on. Equal numbers keep the order in
// which they came.
using PlacesByDevice = std::multimap<unsigned int, unsigned int>;

struct VolumeTables {
    PlacesByDevice fixed;
    PlacesByDevice removable;
    PlacesByDevice cdRom;
};

VolumeTables makeTables(const zor::Array<Volume>& volumes) {
    VolumeTables tables;
    for (unsigned int place = 0; place < volumes.size(); ++place) {
        const Volume& volume = volumes[place];
        StorageDeviceNumber number;
        if (!volume.getSDN(number)) {
            theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
                line << "Failed to get SDN on " << volume.getOSLocator();
            });
            continue;
        }
        switch (volume.getDriveType()) {
            case DRIVE_FIXED:
                tables.fixed.emplace(number.deviceNumber, place);
                break;
            case DRIVE_REMOVABLE:
                tables.removable.emplace(number.deviceNumber, place);
                break;
            case DRIVE_CDROM:
                tables.cdRom.emplace(number.deviceNumber, place);
                break;
        }
    }
    return tables;
}

// The table in which a drive finds its volumes; null when there is none for its kind.
const PlacesByDevice* chooseTable(const VolumeTables& tables, unsigned int deviceType,
                                  WindowsDrive::MediaType mediaType) {
    if (deviceType == FILE_DEVICE_CD_ROM) return &tables.cdRom;
    if (deviceType != FILE_DEVICE_DISK) return nullptr;
    switch (mediaType) {
        case WindowsDrive::FixedMediaType:
            return &tables.fixed;
        case WindowsDrive::RemovableMediaType:
            return &tables.removable;
        case WindowsDrive::UnknownMediaType:
            theLog.write(zor::Warning, __LINE__,
                         [](zor::LoggerStream& line) { line << "Media type unknown"; });
            return nullptr;
    }
    theLog.write(zor::Error, __LINE__, [](zor::LoggerStream& line) { line << "Unknown error"; });
    return nullptr;
}

// Unlocks what was locked, unless it is told that the caller has it now.
class LockedVolumes {
public:
    explicit LockedVolumes(zor::Array<Volume>& volumes) : m_volumes(volumes) {}
    ~LockedVolumes() {
        for (unsigned int i = 0; i < m_tried; ++i) m_volumes[i].unlockVolume();
    }
    LockedVolumes(const LockedVolumes&) = delete;
    LockedVolumes& operator=(const LockedVolumes&) = delete;

    bool lockAll() {
        while (m_tried < m_volumes.size()) {
            Volume& volume = m_volumes[m_tried++];
            if (!volume.lockVolume()) return false;
        }
        return true;
    }
    void keep() { m_tried = 0; }

private:
    zor::Array<Volume>& m_volumes;
    unsigned int m_tried = 0;
};

zor::String flagLetters(unsigned int flags) {
    zor::String letters;
    if ((flags & Volume::System) != 0) letters += "S";
    if ((flags & Volume::Application) != 0) letters += "A";
    if ((flags & Volume::ReadOnly) != 0) letters += "R";
    if ((flags & Volume::Hidden) != 0) letters += "H";
    if ((flags & Volume::RecoveryVolume) != 0) letters += "W";
    return letters;
}

zor::String summaryRow(const Volume& volume) {
    const VolInfo& info = volume.info();
    char letter = 0;
    zor::String mountPoint, size;
    if (volume.getDriveLetter(letter)) mountPoint = zor::SprintfFormat("%c:", letter);
    if (info.totalBytes != 0) {
        const zor::NonDiscreteMeasurement bytes(zor::NonDiscreteMeasurement::Bytes,
                                                static_cast<double>(info.totalBytes),
                                                zor::NonDiscreteMeasurement::One);
        size = bytes.toString(2, zor::NonDiscreteMeasurement::Automatic);
    }
    return zor::SprintfFormat("%-3ws  %-5ws  %-20ws  %-6ws  %9ws  %ws\n", mountPoint,
                              flagLetters(volume.flags()), info.volumeName, info.fileSystemName, size,
                              volume.getOSLocator());
}

// How many whole clusters those bytes are. Cluster sizes are powers of two as a rule.
unsigned long long clustersIn(unsigned long long bytes, unsigned long long clusterBytes) {
    if ((clusterBytes & (clusterBytes - 1)) == 0) return bytes >> std::countr_zero(clusterBytes);
    return bytes / clusterBytes;
}

bool areApart(const VolumeExtent& one, const VolumeExtent& other) {
    return one.startingOffset - other.startingOffset >= other.extentLength ||
           other.startingOffset - one.startingOffset >= one.extentLength;
}

}  // namespace

void WindowsDrive::findAssociatedVolumes() const {
    if (m_volumesFound) return;
    // Whatever an attempt has left that memory did not suffice for.
    m_volumes.clear();
    const bool hasDevice = hasWindowsDevice();
    if (hasDevice && (m_pWindowsDevice->getInterfaceType() & WinInt_Floppy) != 0 &&
        m_pWindowsDevice->getEnumerator().compareNoCase("FDC") == 0) {
        findVolumesByRelations(/*mediaAccessAllowed=*/false, m_volumes);
        m_volumesFound = true;
        return;
    }
    findVolumesBySDN();
    zor::Array<Volume> candidates;
    findVolumesByRelations(/*mediaAccessAllowed=*/true, candidates);
    m_volumesFound = true;
    if (candidates.size() <= m_volumes.size()) return;
    m_volumes.swap(candidates);
    theLog.write(zor::Note, __LINE__, [&](zor::LoggerStream& line) {
        line << "Volume Enum ("
             << (hasDevice ? m_pWindowsDevice->getDeviceInstanceId() : zor::String::EMPTY())
             << ") - Using relation approach over SDN approach.";
    });
}

void WindowsDrive::findVolumesBySDN() const {
    zor::Array<Volume> all;
    Volume::findAllVolumes(all);
    const VolumeTables tables = makeTables(all);
    StorageDeviceNumber number;
    if (!m_handle.isValid() || !getStorageDeviceNumber(m_handle.get(), number)) return;
    const PlacesByDevice* const table = chooseTable(tables, number.deviceType, m_mediaType);
    if (table == nullptr) return;
    const auto [first, last] = table->equal_range(number.deviceNumber);
    for (auto found = first; found != last; ++found) m_volumes.append(all[found->second]);
}

void WindowsDrive::findVolumesByRelations(bool mediaAccessAllowed, zor::Array<Volume>& out) const {
    if (!hasWindowsDevice()) return;
    WindowsDeviceSet devices;
    devices.appendVolumes();
    zor::Map<zor::String, unsigned int> places;
    for (unsigned int place = 0; place < devices.size(); ++place) {
        zor::String id = devices[place].getDeviceInstanceId();
        places.insert(id.toUpper(), place);
    }
    zor::Array<zor::String> related;
    m_pWindowsDevice->getRelations(Relations_Removal | Relations_Bus | Relations_Self, related);
    for (zor::String& id : related) {
        const unsigned int* const place = places.lookup(id.toUpper());
        if (place == nullptr) continue;
        Volume volume(Volume::OSLocator, devices[*place].getOsLocator());
        volume.setMediaAccessAllowed(mediaAccessAllowed);
        out.append(std::move(volume));
    }
}

const zor::Array<Volume>& WindowsDrive::volumes() const {
    findAssociatedVolumes();
    return m_volumes;
}

void WindowsDrive::updateVolumeAttributes() {
    findAssociatedVolumes();
    m_run.clear();
    for (Volume& volume : m_volumes) volume.update();
}

bool WindowsDrive::hasVolumeWith(Volume::Flag flag) const {
    for (const Volume& volume : volumes()) {
        if ((volume.flags() & flag) != 0) return true;
    }
    return false;
}

bool WindowsDrive::isSystemDrive() const { return hasVolumeWith(Volume::System); }

bool WindowsDrive::isApplicationDrive() const { return hasVolumeWith(Volume::Application); }

bool WindowsDrive::hasReadOnlyVolume() const { return hasVolumeWith(Volume::ReadOnly); }

bool WindowsDrive::lockVolumes() {
    findAssociatedVolumes();
    LockedVolumes locked(m_volumes);
    if (!locked.lockAll()) {
        theLog.write(zor::Warning, __LINE__, [](zor::LoggerStream& line) {
            line << "Failed to lock all volumes. Unlocking any volumes that were locked.";
        });
        return false;
    }
    locked.keep();
    return true;
}

bool WindowsDrive::lockVolumesAndDismount() {
    if (!lockVolumes()) {
        theLog.write(zor::Warning, __LINE__, [](zor::LoggerStream& line) {
            line << "Failed to lock all volumes, a dismount of the volumes was therefore not attempted";
        });
        return false;
    }
    bool dismounted = true;
    for (Volume& volume : m_volumes) dismounted = volume.dismountVolume() && dismounted;
    if (!dismounted) {
        theLog.write(zor::Warning, __LINE__, [](zor::LoggerStream& line) {
            line << "Failed to lock dismount all volumes. Unlocking any volumes that were locked.";
        });
        unlockVolumes();
    }
    return dismounted;
}

bool WindowsDrive::unlockVolumes() {
    bool unlocked = true;
    for (Volume& volume : m_volumes) unlocked = volume.unlockVolume() && unlocked;
    return unlocked;
}

bool WindowsDrive::isBitLockerEnabledOnVolumes(bool& enabled) const {
    enabled = false;
    for (const Volume& volume : volumes()) {
        if (!volume.isBitLockerEnabled(enabled)) return false;
        if (enabled) return true;
    }
    return true;
}

zor::String WindowsDrive::getVolumeSummary(unsigned int indent) {
    findAssociatedVolumes();
    const zor::String prefix = zor::String::repeat(u' ', indent);
    zor::String summary;
    summary.reserveCapacity((m_volumes.size() + 2) * 100);
    const auto add = [&](const auto& text) {
        summary += prefix;
        summary += text;
    };
    add("Mnt  Flags  Volume Name           Type    Size       OSLocator\n");
    add("---  -----  --------------------  ------  ---------  "
        "--------------------------------------------------\n");
    for (const Volume& volume : m_volumes) add(summaryRow(volume));
    summary += "\n\n";
    add("H=Hidden, S=System, A=Application, R=Read-Only, W=Windows Recovery Volume\n");
    return summary;
}

// The extent of the volume that holds the sector, and the cluster, counted from the extent's beginning; null
// when there is none.
const VolumeExtent* WindowsDrive::findCluster(const Volume& volume, unsigned long long sector,
                                              unsigned long long& vcn) {
    volume.getVolumeExtents();
    const unsigned long long sectorBytes = volume.info().bytesPerSector;
    const unsigned long long clusterBytes = sectorBytes * volume.info().sectorsPerCluster;
    if (clusterBytes == 0 || sector > std::numeric_limits<unsigned long long>::max() / sectorBytes)
        return nullptr;
    const unsigned long long byte = sector * sectorBytes;
    const VolumeExtent* const extent = volume.findExtent(byte);
    if (extent != nullptr)
        vcn = clustersIn(byte - static_cast<unsigned long long>(extent->startingOffset), clusterBytes);
    return extent;
}

const VolumeExtent* WindowsDrive::findSector(unsigned long long sector, unsigned int& volumeIndex,
                                             unsigned long long& vcn) const {
    findAssociatedVolumes();
    unsigned int place = 0;
    for (const Volume& volume : m_volumes) {
        if (const VolumeExtent* const extent = findCluster(volume, sector, vcn)) {
            volumeIndex = place;
            return extent;
        }
        ++place;
    }
    return nullptr;
}

bool WindowsDrive::convertSectorToVCN(unsigned long long sector, unsigned int& volumeIndex,
                                      unsigned long long& vcn) const {
    return findSector(sector, volumeIndex, vcn) != nullptr;
}

zor::TriBool WindowsDrive::findSectorState(unsigned long long sector, unsigned int* volumeIndex) {
    if (volumeIndex != nullptr) *volumeIndex = zor::NotFound;
    unsigned int place = 0;
    unsigned long long vcn = 0;
    const VolumeExtent* const extent = findSector(sector, place, vcn);
    if (extent == nullptr) return zor::TriBool::Unknown;
    if (volumeIndex != nullptr) *volumeIndex = place;
    const Volume& volume = m_volumes[place];
    if (!volume.m_pClusterBitmap.isValid()) volume.getVolumeClusterBitmap(/*refresh=*/false);
    if (!volume.m_pClusterBitmap.isValid()) return zor::TriBool::Unknown;
    rememberRun(place, *extent);
    const zor::Buffer<unsigned char>& bits = volume.m_pClusterBitmap->bytes();
    if (vcn / 8 >= bits.size()) return zor::TriBool::Unknown;
    return (bits.data()[vcn / 8] >> vcn % 8 & 1) != 0;
}

void WindowsDrive::rememberRun(unsigned int volumeIndex, const VolumeExtent& extent) {
    m_run.clear();
    const Volume& own = m_volumes[volumeIndex];
    const unsigned int sectorBytes = own.m_info.bytesPerSector;
    if (extent.startingOffset % sectorBytes != 0 || !std::has_single_bit(own.m_info.sectorsPerCluster))
        return;
    // A sector lies in the first extent that holds it, so nothing before this one may touch it. Where there
    // is very much before it, looking through that costs more than the run saves.
    unsigned int looked = 0;
    for (unsigned int place = 0; place <= volumeIndex; ++place) {
        const Volume& volume = m_volumes[place];
        if (volume.m_extents.empty() || volume.m_info.bytesPerSector != sectorBytes) return;
        for (const VolumeExtent& earlier : volume.m_extents) {
            if (&earlier == &extent) break;
            if (++looked > lookedThroughAtMost) return;
            if (isSound(earlier) && !areApart(earlier, extent)) return;
        }
    }
    m_run.set(own, volumeIndex, extent);
}

void WindowsDrive::ClusterRun::set(const Volume& volume, unsigned int volumeIndex,
                                   const VolumeExtent& extent) {
    const VolInfo& info = volume.m_info;
    const zor::Buffer<unsigned char>& bits = volume.m_pClusterBitmap->bytes();
    const unsigned long long wholeClusters =
        static_cast<unsigned long long>(extent.extentLength) / info.bytesPerSector / info.sectorsPerCluster;
    volume.m_runClusters = std::min<unsigned long long>(wholeClusters, bits.size() * 8ull);
    m_firstSector = static_cast<unsigned long long>(extent.startingOffset) / info.bytesPerSector;
    m_clusterShift = static_cast<unsigned int>(std::countr_zero(info.sectorsPerCluster));
    m_volumeIndex = volumeIndex;
    m_pClusterCount = &volume.m_runClusters;
    m_bits = bits.data();
}

}  // namespace libSysmira
