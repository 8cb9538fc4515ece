// A Windows without pdh.dll, or with one that lacks a function: calls of what is not there answer
// PDH_FUNCTION_NOT_FOUND, where delay-loading would end the program. All operations on counters fail then.
#include "support/WindowsApi.h"

namespace {

// In place of any of the functions: they all give their status back, and the caller clears the arguments
// away.
INT_PTR WINAPI notThere() { return static_cast<PDH_STATUS>(PDH_FUNCTION_NOT_FOUND); }

FARPROC WINAPI onFailure(unsigned what, PDelayLoadInfo) {
    switch (what) {
        case dliFailLoadLib:
            // A module that has none of the functions: they are asked for next.
            return reinterpret_cast<FARPROC>(GetModuleHandleW(L"kernel32.dll"));
        case dliFailGetProc:
            return reinterpret_cast<FARPROC>(&notThere);
        default:
            return nullptr;
    }
}

// Before the DLL's first call of anything.
[[maybe_unused]] const bool installed = [] {
    __pfnDliFailureHook2 = &onFailure;
    return true;
}();

}  // namespace
