// Modules on the dynamic loader, and what a module's entry point needs.
//
// An HMODULE is the loader's handle of a shared object. Names follow Windows' search in spirit: a
// name with a directory is used as it is; a bare name is looked for in the main program's directory
// first, then by the loader's own search. A name ending in ".dll" also finds the shared object that
// the same project builds on POSIX: "x.dll" is tried as "x.dll", "libx.so" and "x.so", in that order.
#pragma once

#include "qnutil/posix/windef.h"

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

// NULL with ERROR_MOD_NOT_FOUND when no such module can be loaded.
QN_WIN32_API HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName);
QN_WIN32_API HMODULE WINAPI LoadLibraryA(LPCSTR lpLibFileName);
QN_WIN32_API BOOL WINAPI FreeLibrary(HMODULE hLibModule);
// NULL with ERROR_PROC_NOT_FOUND for a name the module does not export.
QN_WIN32_API FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName);
// The handle of a module that is already loaded, without adding a reference; NULL names the main
// program.
QN_WIN32_API HMODULE WINAPI GetModuleHandleW(LPCWSTR lpModuleName);
// The full path of a loaded module's file (NULL: the main program). Answers the characters copied;
// a short buffer gets a truncated, terminated path, nSize as the answer and
// ERROR_INSUFFICIENT_BUFFER.
QN_WIN32_API DWORD WINAPI GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);
// Accepted and ignored: the subset sends no thread notifications.
QN_WIN32_API BOOL WINAPI DisableThreadLibraryCalls(HMODULE hLibModule);
