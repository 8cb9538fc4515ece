#include "libSysmira/enumeration/Volume.h"

#include <algorithm>

#include "libSysmira/enumeration/CommonStorage.h"
#include "libSysmira/enumeration/StorageParsing.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "support/ClassLogger.h"
#include "support/GrowingRead.h"
#include "support/SprintfFormat.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.Volume");
zor::ClassLogger theDefectLog("DEFECT.GENERIC");

constexpr DWORD pathUnits = MAX_PATH;
constexpr DWORD textUnits = MAX_PATH + 1;

// What several letters of one volume are mapped to.
constexpr char severalLetters = '*';

// Up to the NUL, or to the end of a buffer that lacks it.
zor::String textOf(const zor::Char16* buffer, DWORD units) {
    return {buffer, static_cast<unsigned int>(std::find(buffer, buffer + units, 0) - buffer)};
}

// The GUID path of the volume that is mounted there. An empty answer is none.
bool findVolumeName(const zor::String& mountPoint, zor::String& name) {
    zor::Char16 buffer[pathUnits] = {};
    if (!GetVolumeNameForVolumeMountPointW(mountPoint.getUCS2Buffer(), buffer, pathUnits)) return false;
    zor::String found = textOf(buffer, pathUnits);
    if (found.empty()) return false;
    name = std::move(found);
    return true;
}

// Two attempts, the second with the room that Windows asked for.
bool listMountPaths(const zor::String& volumeName, zor::Array<zor::String>& paths) {
    paths.clear();
    zor::Buffer<unsigned char> bytes(pathUnits * sizeof(zor::Char16));
    DWORD units = pathUnits;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto list = reinterpret_cast<zor::Char16*>(bytes.data());
        DWORD returned = 0;
        if (GetVolumePathNamesForVolumeNameW(volumeName.getUCS2Buffer(), list, units, &returned)) {
            if (returned > units) return false;
            splitMountPaths(list, returned, paths);
            return true;
        }
        if (GetLastError() != ERROR_MORE_DATA || returned == 0) return false;
        if (!zor::tryResize(bytes, std::size_t{returned} * sizeof(zor::Char16))) return false;
        units = returned;
    }
    return false;
}

// Closes a search for volumes.
class VolumeSearch {
public:
    explicit VolumeSearch(HANDLE search) : m_search(search) {}
    ~VolumeSearch() {
        if (isOpen()) FindVolumeClose(m_search);
    }
    VolumeSearch(const VolumeSearch&) = delete;
    VolumeSearch& operator=(const VolumeSearch&) = delete;

    bool isOpen() const { return m_search != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_search; }

private:
    HANDLE m_search;
};

// Calls visit(name) for each volume. A success without a name ends the search as well: it would go on for
// ever.
template <class Visit>
void forEachVolume(Visit&& visit) {
    zor::Char16 buffer[pathUnits] = {};
    const VolumeSearch search(FindFirstVolumeW(buffer, pathUnits));
    if (!search.isOpen()) return;
    do {
        if (buffer[0] == 0) return;
        visit(textOf(buffer, pathUnits));
        buffer[0] = 0;
    } while (FindNextVolumeW(search.get(), buffer, pathUnits));
}

}  // namespace

Volume::Volume(char driveLetter) : m_driveLetter(toUpperLetter(driveLetter)) {
    locatorInit(OSLocator, zor::SprintfFormat("\\\\.\\%c:", m_driveLetter), /*letterKnown=*/true);
}

Volume::Volume(LocatorType type, const zor::String& locator) {
    locatorInit(type, locator, /*letterKnown=*/false);
}

Volume::Volume(LocatorType type, const zor::String& locator, char driveLetter)
    : m_driveLetter(toUpperLetter(driveLetter)) {
    locatorInit(type, locator, /*letterKnown=*/true);
}

Volume::Volume(const Volume&) = default;
Volume& Volume::operator=(const Volume&) = default;
Volume::Volume(Volume&&) noexcept = default;
Volume& Volume::operator=(Volume&&) noexcept = default;
Volume::~Volume() = default;

void Volume::locatorInit(LocatorType type, const zor::String& locator, bool letterKnown) {
    if (type == OSLocator) {
        m_osLocator = locator;
    } else if (type == VolumeGUIDPath) {
        m_volumeGUIDPath = locator;
        const unsigned int size = locator.size();
        m_osLocator = size != 0 && locator[size - 1] == u'\\' ? locator.subString(0, size - 1) : locator;
    } else {
        theDefectLog.write(zor::Error, __LINE__,
                           [](zor::LoggerStream& line) { line << "Unknown locator type"; });
    }
    findRootPath();
    if (!letterKnown && !m_volumeGUIDPath.empty()) {
        zor::Array<zor::String> paths;
        if (listMountPaths(m_volumeGUIDPath, paths)) m_driveLetter = driveLetterOf(paths);
    }
    if (m_driveLetter == 0) return;
    m_osLocator = zor::SprintfFormat("\\\\.\\%c:", m_driveLetter);
    m_flags = HasDriveLetter;
    if (m_driveLetter == getSysDriveLetter()) m_flags |= System;
    if (m_driveLetter == getAppDriveLetter()) m_flags |= Application;
}

void Volume::findRootPath() {
    if (!m_volumeGUIDPath.empty()) {
        m_rootPath = m_volumeGUIDPath;
    } else if (!m_osLocator.empty()) {
        m_rootPath = m_osLocator + "\\";
        if (findVolumeName(m_rootPath, m_volumeGUIDPath)) m_rootPath = m_volumeGUIDPath;
    }
}

void Volume::mapDriveLettersToVolumes(LetterMap& letters) {
    letters.clear();
    const DWORD drives = GetLogicalDrives();
    for (int number = 0; number < 26; ++number) {
        if ((drives & 1u << number) == 0 || IsNetDrive(number) != 0) continue;
        const char letter = static_cast<char>('A' + number);
        zor::String name;
        if (!findVolumeName(zor::SprintfFormat("%c:\\", letter), name)) continue;
        if (char* const present = letters.lookup(name)) {
            *present = severalLetters;
        } else {
            letters.insert(name, letter);
        }
    }
}

bool Volume::findAllVolumes(zor::Array<Volume>& volumes) {
    volumes.clear();
    LetterMap letters;
    mapDriveLettersToVolumes(letters);
    forEachVolume([&](const zor::String& name) {
        const char* const found = letters.lookup(name);
        char letter = found != nullptr ? *found : '\0';
        if (letter == severalLetters) {
            theLog.write(zor::Warning, __LINE__, [](zor::LoggerStream& line) {
                line << "Multiple drive letters are associated with this volume";
            });
            letter = 0;
        }
        volumes.append(Volume(VolumeGUIDPath, name, letter));
    });
    const WindowsDeviceSet hidden(nullptr, &GUID_DEVINTERFACE_HIDDEN_VOLUME, WindowsDeviceSet::KeepHidden);
    for (const WindowsDevice& device : hidden) volumes.append(Volume(OSLocator, device.getOsLocator()));
    return !volumes.empty();
}

char Volume::getSysDriveLetter() {
    static const char theLetter = [] {
        zor::Char16 path[textUnits] = {};
        const UINT units = GetSystemDirectoryW(path, textUnits);
        return units == 0 || units >= textUnits ? '\0' : letterOf(path[0]);
    }();
    return theLetter;
}

char Volume::getAppDriveLetter() {
    static const char theLetter = [] {
        zor::Char16 path[textUnits] = {};
        return GetModuleFileNameW(nullptr, path, textUnits) == 0 ? '\0' : letterOf(path[0]);
    }();
    return theLetter;
}

unsigned int Volume::flags() const {
    updateInternal(/*force=*/false);
    return m_flags;
}

void Volume::update() { updateInternal(/*force=*/true); }

bool Volume::getDriveLetter(char& letter) const {
    if (m_driveLetter == 0) return false;
    letter = m_driveLetter;
    return true;
}

unsigned int Volume::getDriveType() const { return GetDriveTypeW(m_rootPath.getUCS2Buffer()); }

void Volume::updateInternal(bool force) const {
    if (m_infoValid && !force) return;
    if (!m_mediaAccessDenied) {
        readIdentity();
        readPartition();
        readSizes();
    }
    m_infoValid = true;
}

void Volume::readIdentity() const {
    zor::Char16 label[textUnits] = {};
    zor::Char16 fileSystem[textUnits] = {};
    DWORD serial = 0;
    DWORD componentLength = 0;
    DWORD features = 0;
    if (GetVolumeInformationW(m_rootPath.getUCS2Buffer(), label, textUnits, &serial, &componentLength,
                              &features, fileSystem, textUnits)) {
        m_info.volumeName = textOf(label, textUnits);
        m_info.fileSystemName = textOf(fileSystem, textUnits);
        m_info.serialNumber = zor::SprintfFormat("%04X-%04X", serial >> 16, serial & 0xFFFF);
        m_flags &= ~static_cast<unsigned int>(ReadOnly);
        if ((features & FILE_READ_ONLY_VOLUME) != 0) m_flags |= ReadOnly;
        if ((features & FILE_DAX_VOLUME) != 0) m_flags |= DaxVolume;
    }
    if ((m_flags & System) != 0 || m_info.volumeName.empty()) return;
    zor::String lower = m_info.volumeName;
    if (lower.toLower().find("recovery") != zor::NotFound) m_flags |= RecoveryVolume;
}

void Volume::readPartition() const {
    const FileHandle volume = openVolumeHandle(/*writeAttributes=*/false);
    if (!volume.isValid()) return;
    const SmallRequest<sizeof(VOLUME_GET_GPT_ATTRIBUTES_INFORMATION)> gpt(volume.get(),
                                                                          IOCTL_VOLUME_GET_GPT_ATTRIBUTES);
    unsigned long long attributes = 0;
    if (gpt && parseGptAttributes(gpt.bytes(), attributes)) {
        if ((attributes & GPT_BASIC_DATA_ATTRIBUTE_HIDDEN) != 0) m_flags |= Hidden;
        if ((attributes & GPT_BASIC_DATA_ATTRIBUTE_READ_ONLY) != 0) m_flags |= ReadOnly;
    }
    const SmallRequest<sizeof(PARTITION_INFORMATION_EX)> partition(volume.get(),
                                                                   IOCTL_DISK_GET_PARTITION_INFO_EX);
    if (partition && isRecoveryPartition(partition.bytes())) m_flags |= RecoveryVolume;
}

void Volume::readSizes() const {
    const unsigned int type = getDriveType();
    if (type != DRIVE_REMOVABLE && type != DRIVE_FIXED) return;
    ULARGE_INTEGER available = {};
    ULARGE_INTEGER total = {};
    ULARGE_INTEGER free = {};
    if (!GetDiskFreeSpaceExW(m_rootPath.getUCS2Buffer(), &available, &total, &free)) return;
    m_info.totalBytes = total.QuadPart;
    m_info.freeBytes = free.QuadPart;
    // Where the caller has a quota, the total is his, but not the free bytes.
    m_info.usedBytes = free.QuadPart < total.QuadPart ? total.QuadPart - free.QuadPart : 0;

    DWORD sectorsPerCluster = 0;
    DWORD bytesPerSector = 0;
    DWORD freeClusters = 0;
    DWORD clusters = 0;
    if (!GetDiskFreeSpaceW(m_rootPath.getUCS2Buffer(), &sectorsPerCluster, &bytesPerSector, &freeClusters,
                           &clusters)) {
        return;
    }
    m_info.bytesPerSector = bytesPerSector;
    m_info.sectorsPerCluster = sectorsPerCluster;
}

}  // namespace libSysmira
