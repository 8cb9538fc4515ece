// The GUIDs of the Windows headers, defined once for a program on Linux.
#define INITGUID
#include "support/WindowsApi.h"

extern "C" const IID IID_IUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
