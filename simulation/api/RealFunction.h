// The system's own functions, for simulated ones that own their subject only in part. On Linux there are
// none.
#pragma once

#include "support/WindowsApi.h"

#ifndef TARGET_HOST
#include <winternl.h>
extern "C" NTSYSAPI NTSTATUS NTAPI LdrGetProcedureAddress(HMODULE, const ANSI_STRING*, ULONG, void**);
#endif

namespace simulation {

/// The function of a module that every program has, or null.
template <class Type>
Type* realFunction([[maybe_unused]] const WCHAR* module, [[maybe_unused]] const char* name) {
#ifdef TARGET_HOST
    return nullptr;
#else
    // Not by GetProcAddress, which is simulated itself.
    ANSI_STRING text;
    text.Buffer = const_cast<char*>(name);
    text.Length = text.MaximumLength = static_cast<USHORT>(__builtin_strlen(name));
    void* address = nullptr;
    const HMODULE loaded = GetModuleHandleW(module);
    if (loaded != nullptr) LdrGetProcedureAddress(loaded, &text, 0, &address);
    return reinterpret_cast<Type*>(address);
#endif
}

}  // namespace simulation
