// Volumes of the simulated PC: found, named, asked for what they hold. Names of volumes and mount points are
// given and taken with the backslash at their end.
#include <algorithm>
#include <cstring>

#include "simulation/control/Call.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

struct VolumeSearch {
    size_t next = 0;  // place of the volume to be told next
};

HandleTable<VolumeSearch>& searches() {
    static HandleTable<VolumeSearch> theSearches(Resource::VolumeSearch);
    static const AtReset atReset([] { theSearches.clear(); });
    return theSearches;
}

bool endsWithBackslash(const Text& path) { return !path.empty() && path.back() == u'\\'; }

// "\\?\Volume{…}\": neither a mount point nor the path that opens the volume.
bool isVolumeName(const Text& path) {
    constexpr std::u16string_view Head = u"\\\\?\\Volume{";
    return endsWithBackslash(path) && equalNoCase(std::u16string_view(path).substr(0, Head.size()), Head);
}

// Copies a text with its terminator; false when it does not fit.
bool copyText(const Call& call, const Text& text, LPWSTR buffer, DWORD units) {
    return copyOut(call, text.c_str(), (text.size() + 1) * sizeof(WCHAR), buffer,
                   size_t{units} * sizeof(WCHAR), nullptr);
}

// Gives the next volume that has a name; hidden ones are not told.
DWORD tellNext(const Call& call, VolumeSearch& search, LPWSTR buffer, DWORD units) {
    auto& volumes = machine().storage.volumes();
    while (search.next < volumes.size() && volumes[search.next].name.empty()) ++search.next;
    if (search.next == volumes.size()) return ERROR_NO_MORE_FILES;
    if (!copyText(call, volumes[search.next].name, buffer, units)) return ERROR_FILENAME_EXCED_RANGE;
    ++search.next;
    return ERROR_SUCCESS;
}

// The root of a drive: "C:\", "\\.\C:\".
bool isDriveRoot(const Text& path) {
    return path.size() >= 3 && endsWithBackslash(path) && path[path.size() - 2] == u':';
}

bool isNetworkRoot(const Text& path) {
    if (!isDriveRoot(path)) return false;
    const char16_t letter = upper(path[path.size() - 3]);
    return letter < 0x80 &&
           machine().storage.networkLetters.find(static_cast<char>(letter)) != std::string::npos;
}

// The volume of a root path, or why there is none.
Volume* volumeOfRoot(const Text& path, DWORD& error) {
    if (!endsWithBackslash(path)) {
        error = ERROR_INVALID_NAME;
        return nullptr;
    }
    Volume* const volume = machine().storage.volume(path);
    if (volume == nullptr) {
        error = ERROR_PATH_NOT_FOUND;
    } else if (!volume->ready || volume->lockedBy != nullptr) {
        // Microsoft, FSCTL_LOCK_VOLUME: reachable through the handle that locks it alone, so not by its root.
        error = volume->ready ? ERROR_ACCESS_DENIED : ERROR_NOT_READY;
        return nullptr;
    }
    return volume;
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(HANDLE, WINAPI, FindFirstVolumeW, (LPWSTR buffer, DWORD units)) {
    static const Function function{
        "FindFirstVolumeW",
        Fails::WithMinusOne,
        {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY},
        Distortion::NothingWritten | Distortion::NoTerminator | Distortion::NullResult};
    Call call(function, units);
    if (const auto fault = call.fault<HANDLE>()) return *fault;
    auto search = std::make_unique<VolumeSearch>();
    if (const DWORD error = tellNext(call, *search, buffer, units); error != ERROR_SUCCESS)
        return call.fails<HANDLE>(error);
    if (call.distorted(Distortion::NullResult)) return call.returns<HANDLE>(nullptr);
    return call.returns<HANDLE>(searches().add(std::move(search), call.name()));
}

SIMULATED(BOOL, WINAPI, FindNextVolumeW, (HANDLE handle, LPWSTR buffer, DWORD units)) {
    static const Function function{"FindNextVolumeW",
                                   Fails::WithZero,
                                   {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE},
                                   Distortion::NothingWritten | Distortion::NoTerminator};
    Call call(function, units);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    VolumeSearch* const search = searches().find(handle, call.name());
    if (search == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    if (const DWORD error = tellNext(call, *search, buffer, units); error != ERROR_SUCCESS)
        return call.fails<BOOL>(error);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, FindVolumeClose, (HANDLE handle)) {
    static const Function function{"FindVolumeClose", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    Call call(function, handle);
    // One whose closing is made to fail is gone all the same.
    const bool closed = searches().close(handle, call.name());
    if (const auto fault = call.fault<BOOL>()) return *fault;
    return closed ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(ERROR_INVALID_HANDLE);
}

SIMULATED(BOOL, WINAPI, GetVolumeInformationW,
          (LPCWSTR root, LPWSTR label, DWORD labelUnits, LPDWORD serial, LPDWORD componentLength,
           LPDWORD features, LPWSTR fileSystem, DWORD fileSystemUnits)) {
    static const Function function{
        "GetVolumeInformationW",
        Fails::WithZero,
        {ERROR_NOT_READY, ERROR_PATH_NOT_FOUND, ERROR_UNRECOGNIZED_VOLUME, ERROR_ACCESS_DENIED},
        Distortion::NothingWritten | Distortion::NoTerminator};
    Call call(function, root);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    DWORD error = ERROR_SUCCESS;
    const Volume* const volume = volumeOfRoot(fromWide(root), error);
    if (volume == nullptr) return call.fails<BOOL>(error);
    if (volume->fileSystem.empty()) return call.fails<BOOL>(ERROR_UNRECOGNIZED_VOLUME);
    if (label != nullptr && !copyText(call, volume->label, label, labelUnits))
        return call.fails<BOOL>(ERROR_BAD_LENGTH);
    if (fileSystem != nullptr && !copyText(call, volume->fileSystem, fileSystem, fileSystemUnits))
        return call.fails<BOOL>(ERROR_BAD_LENGTH);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    if (serial != nullptr) *serial = volume->serial;
    if (componentLength != nullptr) *componentLength = 255;
    if (features != nullptr) *features = volume->features;
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, GetVolumeNameForVolumeMountPointW, (LPCWSTR mountPoint, LPWSTR name, DWORD units)) {
    static const Function function{
        "GetVolumeNameForVolumeMountPointW",
        Fails::WithZero,
        {ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER, ERROR_NOT_A_REPARSE_POINT, ERROR_ACCESS_DENIED},
        Distortion::NothingWritten | Distortion::NoTerminator};
    Call call(function, mountPoint, units);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const Text path = fromWide(mountPoint);
    if (!endsWithBackslash(path)) return call.fails<BOOL>(ERROR_INVALID_NAME);
    const Volume* const volume = machine().storage.mounted(path);
    if (volume == nullptr) {
        return call.fails<BOOL>(isNetworkRoot(path) ? ERROR_INVALID_PARAMETER : ERROR_FILE_NOT_FOUND);
    }
    if (!copyText(call, volume->name, name, units)) return call.fails<BOOL>(ERROR_FILENAME_EXCED_RANGE);
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, GetVolumePathNamesForVolumeNameW,
          (LPCWSTR name, LPWCH paths, DWORD units, PDWORD returned)) {
    static const Function function{
        "GetVolumePathNamesForVolumeNameW",
        Fails::WithZero,
        {ERROR_FILE_NOT_FOUND, ERROR_INVALID_NAME, ERROR_MORE_DATA, ERROR_NOT_ENOUGH_MEMORY},
        Distortion::NothingWritten | Distortion::NoTerminator | Distortion::SizeTooLarge |
            Distortion::SizeZero};
    Call call(function, name, units);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const Text path = fromWide(name);
    if (!isVolumeName(path)) return call.fails<BOOL>(ERROR_INVALID_NAME);
    Volume* const volume = machine().storage.mounted(path);
    if (volume == nullptr) return call.fails<BOOL>(ERROR_FILE_NOT_FOUND);
    Text list;
    for (const Text& mountPoint : volume->mountPoints) {
        list += mountPoint;
        list += u'\0';
    }
    list += u'\0';
    // Characters: what would be needed on failure, what was copied on success.
    DWORD bytes = 0;
    const bool fits =
        copyOut(call, list.data(), list.size() * sizeof(WCHAR), paths, size_t{units} * sizeof(WCHAR), &bytes);
    if (returned != nullptr && !call.distorted(Distortion::NothingWritten)) {
        *returned = call.distorted(Distortion::SizeTooLarge) ? bytes : bytes / sizeof(WCHAR);
    }
    if (fits) return call.returns<BOOL>(TRUE);
    if (volume->mountPointsGrow) volume->mountPoints.push_back(u"D:\\Grown\\");
    return call.fails<BOOL>(ERROR_MORE_DATA);
}

SIMULATED(DWORD, WINAPI, GetLogicalDrives, ()) {
    static const Function function{"GetLogicalDrives", Fails::WithZero, {ERROR_ACCESS_DENIED}};
    Call call(function);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    return call.returns<DWORD>(machine().storage.letters());
}

SIMULATED(UINT, WINAPI, GetDriveTypeW, (LPCWSTR root)) {
    static const Function function{"GetDriveTypeW", Fails::WithCode, {DRIVE_UNKNOWN, DRIVE_NO_ROOT_DIR}};
    Call call(function, root);
    if (const auto fault = call.fault<UINT>()) return *fault;
    const Text path = fromWide(root);
    if (isNetworkRoot(path)) return call.returns<UINT>(DRIVE_REMOTE);
    const Volume* const volume = endsWithBackslash(path) ? machine().storage.volume(path) : nullptr;
    return call.returns<UINT>(volume != nullptr ? volume->driveType : DRIVE_NO_ROOT_DIR);
}

SIMULATED(BOOL, WINAPI, GetDiskFreeSpaceExW,
          (LPCWSTR root, PULARGE_INTEGER available, PULARGE_INTEGER total, PULARGE_INTEGER free)) {
    static const Function function{"GetDiskFreeSpaceExW",
                                   Fails::WithZero,
                                   {ERROR_NOT_READY, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED},
                                   0u | Distortion::NothingWritten};
    Call call(function, root);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    DWORD error = ERROR_SUCCESS;
    const Volume* const volume = volumeOfRoot(fromWide(root), error);
    if (volume == nullptr) return call.fails<BOOL>(error);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    if (available != nullptr) available->QuadPart = volume->freeBytes;
    if (total != nullptr) total->QuadPart = volume->totalBytes;
    if (free != nullptr) free->QuadPart = volume->freeBytes;
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, GetDiskFreeSpaceW,
          (LPCWSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector, LPDWORD freeClusters,
           LPDWORD clusters)) {
    static const Function function{"GetDiskFreeSpaceW",
                                   Fails::WithZero,
                                   {ERROR_NOT_READY, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED},
                                   0u | Distortion::NothingWritten};
    Call call(function, root);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    DWORD error = ERROR_SUCCESS;
    const Volume* const volume = volumeOfRoot(fromWide(root), error);
    if (volume == nullptr) return call.fails<BOOL>(error);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    const ULONGLONG clusterBytes =
        std::max<ULONGLONG>(1, ULONGLONG{volume->sectorsPerCluster} * volume->bytesPerSector);
    // Counts that 32 bits cannot hold stop at the greatest.
    const auto counted = [&](ULONGLONG bytes) {
        return static_cast<DWORD>(std::min<ULONGLONG>(bytes / clusterBytes, 0xFFFFFFFF));
    };
    if (sectorsPerCluster != nullptr) *sectorsPerCluster = volume->sectorsPerCluster;
    if (bytesPerSector != nullptr) *bytesPerSector = volume->bytesPerSector;
    if (freeClusters != nullptr) *freeClusters = counted(volume->freeBytes);
    if (clusters != nullptr) *clusters = counted(volume->totalBytes);
    return call.returns<BOOL>(TRUE);
}

// The shell's, though of the same kind: whether a drive letter, counted from 0, is one of the network.
SIMULATED(int, WINAPI, IsNetDrive, (int drive)) {
    static const Function function{"IsNetDrive", Fails::WithCode, {0, 1, 2}};
    Call call(function, drive);
    if (const auto fault = call.fault<int>()) return *fault;
    const bool isNetwork =
        drive >= 0 && drive < 26 &&
        machine().storage.networkLetters.find(static_cast<char>('A' + drive)) != std::string::npos;
    return call.returns<int>(isNetwork ? 1 : 0);
}
