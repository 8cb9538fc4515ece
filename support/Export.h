// What a Windows DLL exports. Objects that end in common.dll are compiled with ZOR_BUILD; with compilers
// other than GCC, a program that uses the DLL imports.
#pragma once

#if !defined(_WIN32)
#define ZOR_DLL_EXPORT
#define ZOR_DLL_IMPORT
#elif defined(__GNUC__)
#define ZOR_DLL_EXPORT __declspec(dllexport)
#define ZOR_DLL_IMPORT
#else
#define ZOR_DLL_EXPORT __declspec(dllexport)
#define ZOR_DLL_IMPORT __declspec(dllimport)
#endif

#ifdef ZOR_BUILD
#define ZOR_API ZOR_DLL_EXPORT
#else
#define ZOR_API ZOR_DLL_IMPORT
#endif
