// DLLs that are files of the simulated PC. Others are the system's.
#include <algorithm>

#include "simulation/api/Modules.h"
#include "simulation/api/RealFunction.h"
#include "simulation/control/Call.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

struct LoadedModule {
    Text path;
};

HandleTable<LoadedModule>& loadedModules() {
    static HandleTable<LoadedModule> theModules(Resource::Module);
    static const AtReset atReset([] { theModules.clear(); });
    return theModules;
}

// A name without a folder is looked for in the system folder. One without a dot is that of a ".dll"; a dot at
// its end keeps it as it is.
Text fullPath(Text name) {
    std::replace(name.begin(), name.end(), u'/', u'\\');
    const size_t folderEnd = name.rfind(u'\\');
    const size_t dot = name.find(u'.', folderEnd == Text::npos ? 0 : folderEnd);
    if (dot == Text::npos) name += u".dll";
    if (name.back() == u'.') name.pop_back();
    return folderEnd != Text::npos ? name : u"C:\\Windows\\system32\\" + name;
}

// Windows counts how often a module was loaded; here each loading has a handle of its own, so that the ledger
// tells who did not free it.
HMODULE load(Call& call, LPCWSTR name, DWORD notFound = ERROR_MOD_NOT_FOUND) {
    if (name == nullptr) return call.fails<HMODULE>(ERROR_MOD_NOT_FOUND);
    const auto found = machine().files.find(fullPath(fromWide(name)));
    if (found == machine().files.end()) return call.fails<HMODULE>(notFound);
    if (!found->second.image) return call.fails<HMODULE>(ERROR_BAD_EXE_FORMAT);
    return call.returns(static_cast<HMODULE>(
        loadedModules().add(std::make_unique<LoadedModule>(LoadedModule{found->first}), call.name())));
}

// A number in place of the name is an ordinal; files name such symbols "#15".
std::string symbolName(LPCSTR name) {
    const Call::Inside inside;
    return IS_INTRESOURCE(name) ? "#" + std::to_string(reinterpret_cast<ULONG_PTR>(name)) : name;
}

bool isOurs(LPCWSTR name) {
    const Call::Inside inside;
    return machine().files.count(fullPath(fromWide(name))) != 0;
}

const std::vector<long long> loadCodes = {ERROR_MOD_NOT_FOUND, ERROR_FILE_NOT_FOUND, ERROR_BAD_EXE_FORMAT,
                                          ERROR_NOT_ENOUGH_MEMORY, ERROR_DLL_INIT_FAILED};

}  // namespace

const Text* loadedModulePath(const void* module, const char* function) {
    const LoadedModule* const loaded = loadedModules().find(module, function);
    return loaded != nullptr ? &loaded->path : nullptr;
}

}  // namespace simulation

using namespace simulation;

SIMULATED(HMODULE, WINAPI, LoadLibraryW, (LPCWSTR name)) {
    static const Function function{"LoadLibraryW", Fails::WithZero, loadCodes};
    static const auto real = realFunction<HMODULE WINAPI(LPCWSTR)>(L"kernel32.dll", "LoadLibraryW");
    if (real != nullptr && !isOurs(name)) return real(name);
    Call call(function, name);
    if (const auto fault = call.fault<HMODULE>()) return *fault;
    return load(call, name);
}

SIMULATED(HMODULE, WINAPI, LoadLibraryExW, (LPCWSTR name, HANDLE file, DWORD flags)) {
    static const Function function{"LoadLibraryExW", Fails::WithZero, loadCodes};
    static const auto real =
        realFunction<HMODULE WINAPI(LPCWSTR, HANDLE, DWORD)>(L"kernel32.dll", "LoadLibraryExW");
    if (real != nullptr && !isOurs(name)) return real(name, file, flags);
    Call call(function, name, flags);
    if (const auto fault = call.fault<HMODULE>()) return *fault;
    if (file != nullptr) return call.fails<HMODULE>(ERROR_INVALID_PARAMETER);
    // Data files are opened, not searched for by the loader.
    constexpr DWORD asData = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE;
    return load(call, name, (flags & asData) != 0 ? ERROR_FILE_NOT_FOUND : ERROR_MOD_NOT_FOUND);
}

SIMULATED(BOOL, WINAPI, FreeLibrary, (HMODULE module)) {
    static const Function function{"FreeLibrary", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    static const auto real = realFunction<BOOL WINAPI(HMODULE)>(L"kernel32.dll", "FreeLibrary");
    if (real != nullptr && !Ledger::wasGivenOut(module)) return real(module);
    Call call(function, module);
    // A module whose freeing is made to fail is gone all the same: nobody frees twice.
    const bool closed = loadedModules().close(module, call.name());
    if (const auto fault = call.fault<BOOL>()) return *fault;
    return closed ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(ERROR_INVALID_HANDLE);
}

SIMULATED(FARPROC, WINAPI, GetProcAddress, (HMODULE module, LPCSTR name)) {
    static const Function function{
        "GetProcAddress", Fails::WithZero, {ERROR_PROC_NOT_FOUND, ERROR_MOD_NOT_FOUND}};
    static const auto real = realFunction<FARPROC WINAPI(HMODULE, LPCSTR)>(L"kernel32.dll", "GetProcAddress");
    if (real != nullptr && !Ledger::wasGivenOut(module)) return real(module, name);
    const std::string symbol = symbolName(name);
    Call call(function, module, symbol.c_str());
    if (const auto fault = call.fault<FARPROC>()) return *fault;
    // Null is the program itself, which exports nothing; a module that is none is not found (Wine's test of
    // GetProcAddress, run on Windows).
    if (module == nullptr) return call.fails<FARPROC>(ERROR_PROC_NOT_FOUND);
    const LoadedModule* const loaded = loadedModules().find(module, call.name());
    if (loaded == nullptr) return call.fails<FARPROC>(ERROR_MOD_NOT_FOUND);
    const auto file = machine().files.find(loaded->path);
    if (file == machine().files.end()) return call.fails<FARPROC>(ERROR_PROC_NOT_FOUND);
    const auto found = file->second.symbols.find(symbol);
    if (found == file->second.symbols.end()) return call.fails<FARPROC>(ERROR_PROC_NOT_FOUND);
    return call.returns(reinterpret_cast<FARPROC>(found->second));
}

// Of the program alone. What does not fit is cut short, and ends with a terminator all the same.
SIMULATED(DWORD, WINAPI, GetModuleFileNameW, (HMODULE module, LPWSTR buffer, DWORD units)) {
    static const Function function{"GetModuleFileNameW",
                                   Fails::WithZero,
                                   {ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY},
                                   Distortion::NothingWritten | Distortion::NoTerminator};
    static const auto real =
        realFunction<DWORD WINAPI(HMODULE, LPWSTR, DWORD)>(L"kernel32.dll", "GetModuleFileNameW");
    if (real != nullptr && module != nullptr) return real(module, buffer, units);
    Call call(function, module, units);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    if (module != nullptr) return call.fails<DWORD>(ERROR_MOD_NOT_FOUND);
    if (buffer == nullptr || units == 0) return call.fails<DWORD>(ERROR_INSUFFICIENT_BUFFER);
    Text path = machine().programPath;
    const bool fits = path.size() < units;
    if (!fits) path.resize(units - 1);
    copyOut(call, path.c_str(), (path.size() + 1) * sizeof(WCHAR), buffer, size_t{units} * sizeof(WCHAR),
            nullptr);
    SetLastError(fits ? ERROR_SUCCESS : ERROR_INSUFFICIENT_BUFFER);
    return call.returns<DWORD>(fits ? static_cast<DWORD>(path.size()) : units);
}
