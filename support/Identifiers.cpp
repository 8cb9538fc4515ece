// The GUIDs that the Windows headers only declare. An archive of its own, linked last, so that each DLL and
// each program has them once and the libraries link with any set of Windows functions.
#define INITGUID
#include "support/WindowsApi.h"

#ifdef TARGET_HOST
// Declared in a way that INITGUID does not turn into a definition; on Windows the import library has it.
extern "C" __declspec(selectany) const IID IID_IUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
#endif
