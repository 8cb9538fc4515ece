// A pdh.dll that stands before the system's: Wine's has counters of the object "System" and yet no name for
// it, nor English names in the registry (what it gives there cannot be changed). Both are added here;
// everything else is asked of the system's own.
#include <iterator>

#include "support/WindowsApi.h"
#include "tests/windows/ImportTable.h"

namespace {

FARPROC inSystem(const char* name) {
    static const HMODULE module = [] {
        WCHAR path[MAX_PATH + 16] = {};
        const UINT length = GetSystemDirectoryW(path, MAX_PATH);
        lstrcpyW(path + length, L"\\pdh.dll");
        return LoadLibraryW(path);
    }();
    return module != nullptr ? GetProcAddress(module, name) : nullptr;
}

// In place of common.dll's: the table of English names, and the registry's own values.
LSTATUS WINAPI queryValue(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    static constexpr WCHAR table[] = L"2\0System\0006\0% Processor Time\000674\0System Up Time\0";
    if (lstrcmpiW(name, L"Counter") != 0) return RegQueryValueExW(key, name, reserved, type, data, size);
    if (type != nullptr) *type = REG_MULTI_SZ;
    if (size == nullptr) return ERROR_SUCCESS;
    const bool fits = *size >= sizeof table;
    *size = sizeof table;
    if (data == nullptr) return ERROR_SUCCESS;
    if (!fits) return ERROR_MORE_DATA;
    std::memcpy(data, table, sizeof table);
    return ERROR_SUCCESS;
}

constexpr DWORD systemIndex = 2;
constexpr WCHAR systemName[] = L"System";

}  // namespace

#define FORWARDED(name, parameters, arguments)                                           \
    extern "C" PDH_STATUS WINAPI name parameters {                                       \
        static const auto real =                                                         \
            reinterpret_cast<decltype(&name)>(reinterpret_cast<void*>(inSystem(#name))); \
        if (real == nullptr) return static_cast<PDH_STATUS>(PDH_FUNCTION_NOT_FOUND);     \
        return real arguments;                                                           \
    }                                                                                    \
    static_assert(true)

FORWARDED(PdhAddCounterW, (PDH_HQUERY query, LPCWSTR path, DWORD_PTR data, PDH_HCOUNTER* counter),
          (query, path, data, counter));
FORWARDED(PdhCloseQuery, (PDH_HQUERY query), (query));
FORWARDED(PdhCollectQueryData, (PDH_HQUERY query), (query));
FORWARDED(PdhEnumObjectItemsW,
          (LPCWSTR source, LPCWSTR machine, LPCWSTR object, LPWSTR counters, LPDWORD counterSize,
           LPWSTR instances, LPDWORD instanceSize, DWORD detail, DWORD flags),
          (source, machine, object, counters, counterSize, instances, instanceSize, detail, flags));
FORWARDED(PdhEnumObjectsW,
          (LPCWSTR source, LPCWSTR machine, LPWSTR list, LPDWORD size, DWORD detail, WINBOOL refresh),
          (source, machine, list, size, detail, refresh));
FORWARDED(PdhGetFormattedCounterValue,
          (PDH_HCOUNTER counter, DWORD format, LPDWORD type, PPDH_FMT_COUNTERVALUE value),
          (counter, format, type, value));
FORWARDED(PdhLookupPerfIndexByNameW, (LPCWSTR machine, LPCWSTR name, LPDWORD index), (machine, name, index));
FORWARDED(PdhMakeCounterPathW,
          (PPDH_COUNTER_PATH_ELEMENTS_W elements, LPWSTR path, LPDWORD size, DWORD flags),
          (elements, path, size, flags));
FORWARDED(PdhOpenQueryW, (LPCWSTR source, DWORD_PTR data, PDH_HQUERY* query), (source, data, query));
FORWARDED(PdhValidatePathW, (LPCWSTR path), (path));

extern "C" PDH_STATUS WINAPI PdhLookupPerfNameByIndexW(LPCWSTR machine, DWORD index, LPWSTR name,
                                                       LPDWORD size) {
    static const auto real = reinterpret_cast<decltype(&PdhLookupPerfNameByIndexW)>(
        reinterpret_cast<void*>(inSystem("PdhLookupPerfNameByIndexW")));
    if (real == nullptr) return static_cast<PDH_STATUS>(PDH_FUNCTION_NOT_FOUND);
    const PDH_STATUS status = real(machine, index, name, size);
    const bool missing = static_cast<DWORD>(status) == PDH_INVALID_ARGUMENT && index == systemIndex &&
                         name != nullptr && *size >= std::size(systemName);
    if (!missing) return status;
    lstrcpyW(name, systemName);
    *size = std::size(systemName);
    return ERROR_SUCCESS;
}

// Loaded by the first call of a counter function, before the library reads the table.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    static const ReplacedImport queries(GetModuleHandleW(L"common.dll"), "RegQueryValueExW",
                                        reinterpret_cast<void*>(&queryValue));
    return queries.isThere();
}
