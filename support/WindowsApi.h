// The Windows headers, for both targets, and the declarations that they lack. No other file includes a
// Windows header. On Windows they are the tool chain's own. On Linux the same mingw-w64 headers are read in
// their LP64 mode, where LONG and DWORD stay 32 bits wide and every structure keeps its 64-bit Windows
// layout.
#pragma once

#ifndef _WIN32
// What the C++ library itself must have read before the switch below is thrown.
#include <immintrin.h>
#include <mm_malloc.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>
#define TARGET_HOST 1
#define _WIN32 1
#define _WIN64 1
#define __CYGWIN__ 1
#define HOST_DECLSPEC_selectany __attribute__((weak))
#define HOST_DECLSPEC_dllimport
#define HOST_DECLSPEC_dllexport
#define HOST_DECLSPEC_noreturn __attribute__((noreturn))
#define HOST_DECLSPEC_nothrow
#define HOST_DECLSPEC_novtable
#define HOST_DECLSPEC_uuid(text)
#define HOST_DECLSPEC_align(bytes) __attribute__((aligned(bytes)))
#define HOST_DECLSPEC_deprecated
#define HOST_DECLSPEC_allocator
#define HOST_DECLSPEC_noalias
#define HOST_DECLSPEC_restrict
#define __declspec(attribute) HOST_DECLSPEC_##attribute
#define __cdecl
#define _cdecl
#define __fastcall
#define __thiscall
#endif

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// windows.h comes first.
// clang-format off
#include <windows.h>
#include <cfgmgr32.h>
#include <delayimp.h>
#include <ntddpar.h>
#include <ntddscsi.h>
#include <ntddvdeo.h>
#include <oleauto.h>
#include <pdh.h>
#include <pdhmsg.h>
#include <poclass.h>
#include <propsys.h>
#include <regstr.h>
#include <setupapi.h>
#include <shlobj.h>
#include <usbiodef.h>
#include <wbemcli.h>
#include <winevt.h>
#include <winioctl.h>
#include <devguid.h>
// clang-format on

#ifdef TARGET_HOST
#undef _WIN32
#undef _WIN64
#undef __CYGWIN__
#endif

// What the headers lack. The monitor interface, in the form of their own GUID definitions: declared here,
// defined where INITGUID is.
DEFINE_GUID(GUID_DEVINTERFACE_MONITOR, 0xe6f07b5f, 0xee97, 0x4a90, 0xb0, 0x76, 0x33, 0xf5, 0x7b, 0xf4, 0xea,
            0xa7);

// The attributes of a disk: whether Windows keeps it offline or treats it as read-only.
#ifndef IOCTL_DISK_GET_DISK_ATTRIBUTES
#define IOCTL_DISK_GET_DISK_ATTRIBUTES CTL_CODE(IOCTL_DISK_BASE, 0x003C, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define DISK_ATTRIBUTE_OFFLINE 0x0000000000000001ull
#define DISK_ATTRIBUTE_READ_ONLY 0x0000000000000002ull
typedef struct _GET_DISK_ATTRIBUTES {
    DWORD Version;  // the size of this structure
    DWORD Reserved1;
    DWORDLONG Attributes;
} GET_DISK_ATTRIBUTES;
#endif

// A file-system flag of GetVolumeInformationW.
#ifndef FILE_DAX_VOLUME
#define FILE_DAX_VOLUME 0x20000000
#endif
