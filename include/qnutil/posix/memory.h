// Process heap, virtual memory and the pointer tests of the subset.
//
// HeapAlloc sits on malloc: no header in front of a block, so that a block of the process heap is
// also a block of the C heap. A request of 0 bytes gives a unique, non-null block. Virtual memory is
// anonymous mmap, zero-filled and rounded to pages; the subset tracks every reservation so that
// VirtualFree(MEM_RELEASE) and VirtualProtect know the region. The pointer tests read the process's
// memory map, and the string tests have the kernel copy the text, rather than touching the memory,
// so they answer without a fault, also for unmapped, inaccessible and read-only ranges.
#pragma once

#include "qnutil/posix/windef.h"

#define HEAP_NO_SERIALIZE 0x00000001
#define HEAP_GENERATE_EXCEPTIONS 0x00000004
#define HEAP_ZERO_MEMORY 0x00000008

QN_WIN32_API HANDLE WINAPI GetProcessHeap(void);
// NULL on exhaustion (last error ERROR_NOT_ENOUGH_MEMORY); HEAP_ZERO_MEMORY clears the block.
// HEAP_GENERATE_EXCEPTIONS raises nothing in the subset: a failure is NULL all the same.
QN_WIN32_API LPVOID WINAPI HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes);
// TRUE for a block of the heap or NULL.
QN_WIN32_API BOOL WINAPI HeapFree(HANDLE hHeap, DWORD dwFlags, LPVOID lpMem);

#define MEM_COMMIT 0x00001000
#define MEM_RESERVE 0x00002000
#define MEM_DECOMMIT 0x00004000
#define MEM_RELEASE 0x00008000
#define MEM_RESET 0x00080000
#define MEM_TOP_DOWN 0x00100000

#define PAGE_NOACCESS 0x01
#define PAGE_READONLY 0x02
#define PAGE_READWRITE 0x04
#define PAGE_WRITECOPY 0x08
#define PAGE_EXECUTE 0x10
#define PAGE_EXECUTE_READ 0x20
#define PAGE_EXECUTE_READWRITE 0x40
#define PAGE_EXECUTE_WRITECOPY 0x80
#define PAGE_GUARD 0x100
#define PAGE_NOCACHE 0x200

// Reserves and/or commits whole pages. A reservation starts at a multiple of 64 KiB, as on Windows.
// Limits: PAGE_GUARD pages are inaccessible rather than one-shot guards; MEM_RESET leaves the
// contents as they are; MEM_TOP_DOWN is ignored.
QN_WIN32_API LPVOID WINAPI VirtualAlloc(LPVOID lpAddress, SIZE_T dwSize, DWORD flAllocationType,
                                        DWORD flProtect);
// MEM_RELEASE needs the reservation's base and a size of 0; MEM_DECOMMIT returns pages to the
// reserved state.
QN_WIN32_API BOOL WINAPI VirtualFree(LPVOID lpAddress, SIZE_T dwSize, DWORD dwFreeType);
// Changes the protection of committed pages of one reservation; the old protection of the first
// page goes to *lpflOldProtect. Limit: the subset knows only memory from VirtualAlloc; other
// memory (images, stacks, heap blocks) answers FALSE with ERROR_INVALID_PARAMETER, as free memory
// does.
QN_WIN32_API BOOL WINAPI VirtualProtect(LPVOID lpAddress, SIZE_T dwSize, DWORD flNewProtect,
                                        PDWORD lpflOldProtect);

// Nonzero when any byte of the range cannot be read (or written). A count of 0 is always good;
// a null pointer with a nonzero count is bad.
QN_WIN32_API BOOL WINAPI IsBadReadPtr(LPCVOID lp, UINT_PTR ucb);
QN_WIN32_API BOOL WINAPI IsBadWritePtr(LPVOID lp, UINT_PTR ucb);
// Nonzero when the text cannot be read up to its terminator or ucchMax characters, whichever
// comes first. NULL is bad whatever the maximum.
QN_WIN32_API BOOL WINAPI IsBadStringPtrW(LPCWSTR lpsz, UINT_PTR ucchMax);
QN_WIN32_API BOOL WINAPI IsBadStringPtrA(LPCSTR lpsz, UINT_PTR ucchMax);

#define LMEM_FIXED 0x0000
#define LMEM_ZEROINIT 0x0040
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)
// The local heap is the process heap; LocalFree answers NULL on success.
QN_WIN32_API HLOCAL WINAPI LocalAlloc(UINT uFlags, SIZE_T uBytes);
QN_WIN32_API HLOCAL WINAPI LocalFree(HLOCAL hMem);
