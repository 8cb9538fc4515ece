// Files, drives and volumes of the simulated PC: opened and closed; files asked for attributes. Handles of
// others go on to the system.
#include <algorithm>
#include <utility>

#include "simulation/api/OpenFiles.h"
#include "simulation/api/RealFunction.h"
#include "simulation/control/Call.h"

namespace simulation {

namespace {

// Both separators are one to Windows. "\\?\C:\file" and "\\.\C:\file" name the file, too (Microsoft, Naming
// Files, Paths, and Namespaces).
Text nameOf(LPCWSTR path) {
    constexpr size_t prefix = 4, root = 3;
    Text name = fromWide(path);
    std::replace(name.begin(), name.end(), u'/', u'\\');
    const bool isPrefixed =
        name.compare(0, prefix, u"\\\\?\\") == 0 || name.compare(0, prefix, u"\\\\.\\") == 0;
    if (isPrefixed && name.size() > prefix + root && name.compare(prefix + 1, 2, u":\\") == 0)
        name.erase(0, prefix);
    return name;
}

// A folder is there when something is in it.
bool isFolder(Text path) {
    if (path.empty()) return false;
    if (path.back() != u'\\') path += u'\\';
    const auto next = machine().files.lower_bound(path);
    return next != machine().files.end() &&
           equalNoCase(std::u16string_view(next->first).substr(0, path.size()), path);
}

// What is missing: the file, or already its folder.
DWORD missing(const Text& path) {
    const size_t end = path.rfind(u'\\');
    return end == Text::npos || isFolder(path.substr(0, end)) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

// Drives and volumes stand in the device name space; a backslash behind one names its root folder.
bool isDeviceName(const Text& name) {
    return name.compare(0, 4, u"\\\\.\\") == 0 || name.compare(0, 4, u"\\\\?\\") == 0;
}

// A root folder opens for those alone who say that they mean it, and is no volume to ask requests of.
DWORD openRoot(const Volume* volume, DWORD flags) {
    if (volume == nullptr || (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) return ERROR_PATH_NOT_FOUND;
    return volume->ready ? ERROR_SUCCESS : ERROR_NOT_READY;
}

DWORD openDevice(const Text& name, DWORD access, DWORD disposition, DWORD flags, OpenedFile& opened) {
    opened.disk = machine().storage.disk(name);
    opened.volume = opened.disk == nullptr ? machine().storage.volume(name) : nullptr;
    if (opened.disk == nullptr && opened.volume == nullptr) return ERROR_FILE_NOT_FOUND;
    if (name.back() == u'\\') return openRoot(std::exchange(opened.volume, nullptr), flags);
    if (disposition != OPEN_EXISTING) return ERROR_INVALID_PARAMETER;
    if (opened.disk != nullptr) return opened.disk->openError;
    if (opened.volume->openError != 0) return opened.volume->openError;
    return opened.volume->lockedBy != nullptr && meetsFileSystem(access) ? ERROR_ACCESS_DENIED : 0;
}

// The FILE_SHARE_ bits that another handle must have granted for these rights; 0: sharing does not matter.
DWORD neededShare(DWORD access) {
    constexpr DWORD reading = GENERIC_READ | GENERIC_EXECUTE | GENERIC_ALL | FILE_READ_DATA | FILE_EXECUTE;
    constexpr DWORD writing = GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA;
    constexpr DWORD deleting = DELETE | GENERIC_ALL;
    return ((access & reading) != 0 ? FILE_SHARE_READ : 0u) |
           ((access & writing) != 0 ? FILE_SHARE_WRITE : 0u) |
           ((access & deleting) != 0 ? FILE_SHARE_DELETE : 0u);
}

// Files and volumes are shared as both sides allow; the drivers of drives do not look at share modes.
bool isShared(const OpenedFile& opened) {
    const DWORD needed = neededShare(opened.access);
    if (opened.disk != nullptr || needed == 0) return true;
    return !openFiles().any([&](const void*, const OpenedFile& other) {
        const bool isSame = opened.volume != nullptr ? other.volume == opened.volume
                                                     : other.volume == nullptr && other.disk == nullptr &&
                                                           equalNoCase(other.path, opened.path);
        const DWORD othersNeed = neededShare(other.access);
        return isSame && othersNeed != 0 &&
               ((needed & ~other.share) != 0 || (othersNeed & ~opened.share) != 0);
    });
}

}  // namespace

HandleTable<OpenedFile>& openFiles() {
    static HandleTable<OpenedFile> theFiles(Resource::File);
    static const AtReset atReset([] { theFiles.clear(); });
    return theFiles;
}

bool hasDataAccess(DWORD access) {
    return (access & (GENERIC_READ | GENERIC_WRITE | GENERIC_ALL | FILE_READ_DATA | FILE_WRITE_DATA |
                      FILE_APPEND_DATA)) != 0;
}

bool meetsFileSystem(DWORD access) {
    constexpr DWORD bypassing =
        FILE_READ_ATTRIBUTES | SYNCHRONIZE | READ_CONTROL | WRITE_DAC | WRITE_OWNER | ACCESS_SYSTEM_SECURITY;
    return (access & ~bypassing) != 0;
}

bool isOpenElsewhere(HANDLE handle, const Volume& volume) {
    return openFiles().any([&](const void* other, const OpenedFile& file) {
        if (other == handle || !hasDataAccess(file.access)) return false;
        if (file.volume != nullptr || file.disk != nullptr) return file.volume == &volume;
        return std::any_of(volume.mountPoints.begin(), volume.mountPoints.end(), [&](const Text& root) {
            return equalNoCase(std::u16string_view(file.path).substr(0, root.size()), root);
        });
    });
}

void unlockVolume(HANDLE handle, Volume& volume, const char* function) {
    if (volume.lockedBy != handle) return;
    volume.lockedBy = nullptr;
    ledger().close(Resource::VolumeLock, &volume, function);
}

}  // namespace simulation

using namespace simulation;

SIMULATED(HANDLE, WINAPI, CreateFileW,
          (LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD flags,
           HANDLE)) {
    static const Function function{
        "CreateFileW",
        Fails::WithMinusOne,
        {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION},
        0u | Distortion::NullResult};
    Call call(function, path, access, share, disposition, flags);
    if (const auto fault = call.fault<HANDLE>()) return *fault;
    if (path == nullptr || *path == 0) return call.fails<HANDLE>(ERROR_PATH_NOT_FOUND);
    // Files of this PC are there or not; none is made by opening it.
    const Text name = nameOf(path);
    OpenedFile opened{name, access, share, nullptr, nullptr};
    if (isDeviceName(name)) {
        if (const DWORD error = openDevice(name, access, disposition, flags, opened); error != 0)
            return call.fails<HANDLE>(error);
        if (!isShared(opened)) return call.fails<HANDLE>(ERROR_SHARING_VIOLATION);
        if (call.distorted(Distortion::NullResult)) return call.returns<HANDLE>(nullptr);
        return call.returns<HANDLE>(openFiles().add(std::make_unique<OpenedFile>(opened), call.name()));
    }
    if (disposition != OPEN_EXISTING) return call.fails<HANDLE>(ERROR_ACCESS_DENIED);
    if (machine().files.count(name) == 0) {
        return call.fails<HANDLE>(isFolder(name) ? ERROR_ACCESS_DENIED : missing(name));
    }
    if (!isShared(opened)) return call.fails<HANDLE>(ERROR_SHARING_VIOLATION);
    if (call.distorted(Distortion::NullResult)) return call.returns<HANDLE>(nullptr);
    return call.returns<HANDLE>(openFiles().add(std::make_unique<OpenedFile>(opened), call.name()));
}

SIMULATED(BOOL, WINAPI, CloseHandle, (HANDLE handle)) {
    static const Function function{"CloseHandle", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    static const auto real = realFunction<BOOL WINAPI(HANDLE)>(L"kernel32.dll", "CloseHandle");
    // The run-time library closes its handles here, too: those are nobody's business but the system's.
    if (real != nullptr && !Ledger::wasGivenOut(handle)) return real(handle);
    Call call(function, handle);
    // A lock lasts as long as its handle.
    if (openFiles().holds(handle)) {
        OpenedFile& opened = *openFiles().find(handle, call.name());
        if (opened.volume != nullptr) unlockVolume(handle, *opened.volume, call.name());
    }
    // A file whose closing is made to fail is gone all the same: nobody closes twice.
    const bool closed = openFiles().close(handle, call.name());
    if (const auto fault = call.fault<BOOL>()) return *fault;
    return closed ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(ERROR_INVALID_HANDLE);
}

SIMULATED(DWORD, WINAPI, GetFileAttributesW, (LPCWSTR path)) {
    static const Function function{"GetFileAttributesW",
                                   Fails::WithMinusOne,
                                   {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED}};
    Call call(function, path);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    const Text name = nameOf(path);
    if (name.empty()) return call.fails<DWORD>(ERROR_PATH_NOT_FOUND);
    const auto found = machine().files.find(name);
    if (found != machine().files.end()) return call.returns<DWORD>(found->second.attributes);
    if (isFolder(name)) return call.returns<DWORD>(FILE_ATTRIBUTE_DIRECTORY);
    return call.fails<DWORD>(missing(name));
}

SIMULATED(BOOL, WINAPI, FlushFileBuffers, (HANDLE handle)) {
    static const Function function{
        "FlushFileBuffers", Fails::WithZero, {ERROR_ACCESS_DENIED, ERROR_WRITE_PROTECT, ERROR_IO_DEVICE}};
    static const auto real = realFunction<BOOL WINAPI(HANDLE)>(L"kernel32.dll", "FlushFileBuffers");
    if (real != nullptr && handle != INVALID_HANDLE_VALUE && !Ledger::wasGivenOut(handle))
        return real(handle);
    Call call(function, handle);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const OpenedFile* const opened = openFiles().find(handle, call.name());
    if (opened == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    if ((opened->access & (GENERIC_WRITE | FILE_WRITE_DATA)) == 0)
        return call.fails<BOOL>(ERROR_ACCESS_DENIED);
    return call.returns<BOOL>(TRUE);
}
