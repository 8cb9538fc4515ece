// What Sysmira.dll exports. Objects that end in it are compiled with SYSMIRA_BUILD.
#pragma once

#include "support/Export.h"

#ifdef SYSMIRA_BUILD
#define SYSMIRA_API ZOR_DLL_EXPORT
#else
#define SYSMIRA_API ZOR_DLL_IMPORT
#endif
