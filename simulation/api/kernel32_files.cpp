// Files of the simulated PC: opened, asked for attributes, closed. Handles of others go on to the system.
#include <algorithm>

#include "simulation/api/RealFunction.h"
#include "simulation/control/Call.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

struct OpenedFile {
    Text path;
};

// Both separators are one to Windows.
Text nameOf(LPCWSTR path) {
    Text name = fromWide(path);
    std::replace(name.begin(), name.end(), u'/', u'\\');
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

HandleTable<OpenedFile>& openFiles() {
    static HandleTable<OpenedFile> theFiles(Resource::File);
    static const AtReset atReset([] { theFiles.clear(); });
    return theFiles;
}

}  // namespace

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
    if (disposition != OPEN_EXISTING) return call.fails<HANDLE>(ERROR_ACCESS_DENIED);
    if (machine().files.count(name) == 0) {
        return call.fails<HANDLE>(isFolder(name) ? ERROR_ACCESS_DENIED : missing(name));
    }
    if (call.distorted(Distortion::NullResult)) return call.returns<HANDLE>(nullptr);
    return call.returns<HANDLE>(openFiles().add(std::make_unique<OpenedFile>(OpenedFile{name}), call.name()));
}

SIMULATED(BOOL, WINAPI, CloseHandle, (HANDLE handle)) {
    static const Function function{"CloseHandle", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    static const auto real = realFunction<BOOL WINAPI(HANDLE)>(L"kernel32.dll", "CloseHandle");
    // The run-time library closes its handles here, too: those are nobody's business but the system's.
    if (real != nullptr && !Ledger::wasGivenOut(handle)) return real(handle);
    Call call(function, handle);
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
