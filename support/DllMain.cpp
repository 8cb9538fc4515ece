// What runs when one of the DLLs is loaded: nothing but turning off the calls for each thread.
#include "support/WindowsApi.h"

#ifdef __MINGW32__
// The start-up code of mingw-w64 asks for those calls on behalf of thread-local variables of its own, by a
// table that Windows obeys whatever DllMain says. The DLLs have no such variables; with this name taken, the
// table stays out of them.
extern "C" const PIMAGE_TLS_CALLBACK __dyn_tls_init_callback;
const PIMAGE_TLS_CALLBACK __dyn_tls_init_callback = nullptr;
#endif

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}
