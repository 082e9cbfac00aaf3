// Modules on the dynamic loader, and what a module's entry point needs.
//
// An HMODULE is the loader's handle of a shared object (glibc's link_map): one value per loaded
// object, counted as dlopen counts. Names follow Windows' search in spirit: a name with a directory
// is used as it is (paths as in files.h); a bare name is looked for in the main program's directory
// first, then by the loader's own search. As on Windows, a name without an extension gets ".dll",
// and a trailing '.' means "no extension". A name ending in ".dll" also finds the shared object that
// the same project builds on POSIX: "x.dll" is tried as "x.dll", "libx.so" and "x.so", in that order.
// File names are as case-sensitive as the file system; lookups of loaded modules ignore case.
// A handle argument that is no loaded module is refused with ERROR_MOD_NOT_FOUND, never used.
#pragma once

#include "qnutil/posix/windef.h"

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

// NULL with ERROR_MOD_NOT_FOUND when no such module can be loaded (also for a file that exists but
// does not load, where Windows may answer ERROR_BAD_EXE_FORMAT); ERROR_INVALID_PARAMETER for NULL.
QN_WIN32_API HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName);
QN_WIN32_API HMODULE WINAPI LoadLibraryA(LPCSTR lpLibFileName);
// Drops one reference; the last one unloads the module. FALSE with ERROR_INVALID_HANDLE for NULL.
QN_WIN32_API BOOL WINAPI FreeLibrary(HMODULE hLibModule);
// An entry point the module itself defines (NULL: the main program, whose symbols are exported only
// when it is linked with -rdynamic); what its dependencies define is not found, as Windows reads one
// export table. NULL with ERROR_PROC_NOT_FOUND for a name the module does not export and for every
// ordinal, which POSIX objects do not have.
QN_WIN32_API FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName);
// The handle of a module that is already loaded, without adding a reference; NULL names the main
// program. A bare name matches a loaded object's file name, ignoring case, wherever it was loaded
// from, and "x.dll" also matches the versioned "libx.so.N" a program was linked with. NULL with
// ERROR_MOD_NOT_FOUND when none is loaded.
QN_WIN32_API HMODULE WINAPI GetModuleHandleW(LPCWSTR lpModuleName);
// The full path of a loaded module's file (NULL: the main program). Answers the characters copied
// and sets the last error to 0, as Windows does; a short buffer gets a truncated, terminated path
// (as since Vista; Wine leaves it unterminated), nSize as the answer and ERROR_INSUFFICIENT_BUFFER.
QN_WIN32_API DWORD WINAPI GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);
// TRUE for a loaded module: the subset sends no thread notifications anyway. FALSE with
// ERROR_MOD_NOT_FOUND for NULL or a value that is no module.
QN_WIN32_API BOOL WINAPI DisableThreadLibraryCalls(HMODULE hLibModule);
