// File mappings in the subset: a mapping object over an open file or over memory of its own (what
// Windows backs with the paging file), and views of it in the address space.
//
// Views are mmap'ed page by page, so they behave as Windows' views do where a program can see it:
// a read-only view faults on a write, the bytes after the end of a file up to the end of its last
// page read as zero, views of one mapping (and the file itself, through ReadFile and WriteFile) see
// each other's writes, and a copy-on-write view keeps its changes to itself. A mapping keeps its
// file's contents, and a view its mapping, after their handles are closed, as on Windows; the
// file's sharing ends with its last file handle, and the file may be deleted while mapped (as Wine
// allows). While a mapping of a file lives, cutting the file short (SetEndOfFile, CREATE_ALWAYS,
// TRUNCATE_EXISTING) fails with ERROR_USER_MAPPED_FILE; extending it is allowed.
//
// Limits, where Windows differs:
// - Named mappings (shared between processes by name) are not supported: a name gives NULL with
//   ERROR_NOT_SUPPORTED. The SEC_* flags in the protection's high bits are accepted and ignored.
// - Another process may still cut a mapped file short; reading a view past the new end then
//   raises SIGBUS.
// - A view's base is a multiple of the page size, not of 64 KiB; offsets must still be multiples
//   of 64 KiB (the allocation granularity), as on Windows.
#pragma once

#include "qnutil/posix/windef.h"

#define FILE_MAP_COPY 0x0001u
#define FILE_MAP_WRITE 0x0002u
#define FILE_MAP_READ 0x0004u
#define FILE_MAP_EXECUTE 0x0020u
#define FILE_MAP_ALL_ACCESS 0x000F001Fu

struct _SECURITY_ATTRIBUTES;

// A mapping of the file (hFile) or, for INVALID_HANDLE_VALUE, of zero-filled memory of its own.
// flProtect is PAGE_READONLY, PAGE_READWRITE or PAGE_WRITECOPY (or their PAGE_EXECUTE_ forms); the
// file's handle must have read access, and write access too for PAGE_READWRITE, else
// ERROR_ACCESS_DENIED. The size (dwMaximumSizeHigh:Low) 0 means the file's size; a mapping of an
// empty file so fails with ERROR_FILE_INVALID, a memory mapping of size 0 with
// ERROR_INVALID_PARAMETER. A size beyond the end of the file extends the file for PAGE_READWRITE
// and fails with ERROR_NOT_ENOUGH_MEMORY otherwise. Answers NULL on failure.
QN_WIN32_API HANDLE WINAPI CreateFileMappingW(HANDLE hFile, struct _SECURITY_ATTRIBUTES *lpFileMappingAttributes,
                                             DWORD flProtect, DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow,
                                             LPCWSTR lpName);
// A view of dwNumberOfBytesToMap bytes (0: up to the end of the mapping) from the offset, which
// must be a multiple of 64 KiB (ERROR_MAPPED_ALIGNMENT). FILE_MAP_READ reads, FILE_MAP_WRITE (or
// FILE_MAP_ALL_ACCESS) also writes and needs a PAGE_READWRITE mapping, FILE_MAP_COPY writes into
// private copies of the pages. A view beyond the mapping's size, or that asks for more than the
// mapping allows, fails with ERROR_ACCESS_DENIED; an offset at or past the mapping's end with
// ERROR_INVALID_PARAMETER. Answers NULL on failure.
QN_WIN32_API LPVOID WINAPI MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                                        DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap);
// Unmaps the view that holds the address (its base or any address inside it);
// ERROR_INVALID_ADDRESS when no view does.
QN_WIN32_API BOOL WINAPI UnmapViewOfFile(LPCVOID lpBaseAddress);
// Writes the view's changed pages (from the address, that many bytes, 0: to the view's end) to the
// file.
QN_WIN32_API BOOL WINAPI FlushViewOfFile(LPCVOID lpBaseAddress, SIZE_T dwNumberOfBytesToFlush);
