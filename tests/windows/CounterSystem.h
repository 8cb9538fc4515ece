// What Wine lacks for reading a counter by its English names, made before anything else of counters is used.
#pragma once

#include "support/WindowsApi.h"

/// Loads the pdh.dll of counter-names, which lies beside the program: who asks for pdh.dll gets that one.
inline bool loadCounterNames() {
    WCHAR path[MAX_PATH + 32] = {};
    DWORD end = GetModuleFileNameW(nullptr, path, MAX_PATH);
    while (end > 0 && path[end - 1] != L'\\') --end;
    lstrcpyW(path + end, L"counter-names\\pdh.dll");
    return LoadLibraryW(path) != nullptr;
}
