// The Win32 base types, as the POSIX subset declares them. Every type has the size and
// signedness that it has on Windows for the same pointer width: DWORD, LONG, ULONG and HRESULT are
// 32 bits everywhere (never `unsigned long`, which is 64 bits on LP64), WCHAR is a 16-bit code unit,
// handles are pointers. The layout check (tools/layout) proves the agreement against <windows.h>.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "qnutil/export.h"

// The subset is a C interface, like the system it stands in for.
#define QN_WIN32_API extern "C" QNUTIL_API

#define WINAPI
#define CALLBACK
#define APIENTRY
#define STDMETHODCALLTYPE
#define WINAPIV
#define CONST const
#define VOID void

typedef unsigned char BYTE, UCHAR, BOOLEAN;
typedef unsigned short WORD, USHORT;
typedef short SHORT;
typedef char CHAR;
typedef unsigned short WCHAR;
typedef int INT, BOOL, LONG;
typedef unsigned int UINT, DWORD, ULONG;
// Windows aligns 64-bit integers to 8 bytes on every target; the System V i386 ABI to 4. The subset
// keeps Windows' alignment, so that every structure holding one has Windows' layout. (On i386 GCC
// then warns when such a type is named as an explicit template argument: let the compiler deduce
// it, or name int64_t.)
#if defined(__i386__)
typedef int64_t LONGLONG __attribute__((aligned(8)));
typedef uint64_t ULONGLONG __attribute__((aligned(8)));
#else
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
#endif
typedef LONGLONG LONG64, INT64;
typedef ULONGLONG DWORDLONG, ULONG64, UINT64, DWORD64;
typedef float FLOAT;
typedef intptr_t INT_PTR, LONG_PTR;
typedef uintptr_t UINT_PTR, ULONG_PTR, DWORD_PTR, SIZE_T;
typedef intptr_t SSIZE_T;

typedef void *PVOID, *LPVOID, *HANDLE;
typedef const void *LPCVOID;
typedef HANDLE *PHANDLE, *LPHANDLE;
typedef BYTE *PBYTE, *LPBYTE;
typedef WORD *PWORD, *LPWORD;
typedef DWORD *PDWORD, *LPDWORD;
typedef LONG *PLONG, *LPLONG;
typedef ULONG *PULONG;
typedef BOOL *PBOOL, *LPBOOL;
typedef int *PINT, *LPINT;
typedef UINT *PUINT;
typedef SIZE_T *PSIZE_T;
typedef CHAR *PSTR, *LPSTR;
typedef const CHAR *PCSTR, *LPCSTR;
typedef WCHAR *PWSTR, *LPWSTR;
typedef const WCHAR *PCWSTR, *LPCWSTR;
typedef WCHAR OLECHAR;
typedef OLECHAR *LPOLESTR;
typedef const OLECHAR *LPCOLESTR;

typedef LONG HRESULT;
typedef DWORD LCID;
typedef WORD LANGID;
typedef WORD ATOM;

#define DECLARE_HANDLE(name) \
  struct name##__ {          \
    int unused;              \
  };                         \
  typedef struct name##__ *name
DECLARE_HANDLE(HINSTANCE);
DECLARE_HANDLE(HKEY);
DECLARE_HANDLE(HWND);
DECLARE_HANDLE(HDC);
typedef HINSTANCE HMODULE;
typedef HANDLE HLOCAL, HGLOBAL;

typedef INT_PTR(WINAPI *FARPROC)();

#ifndef TRUE
#  define TRUE 1
#endif
#ifndef FALSE
#  define FALSE 0
#endif
#ifndef MAX_PATH
#  define MAX_PATH 260
#endif
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INFINITE 0xFFFFFFFFu

#define MAKEWORD(a, b) ((WORD)(((BYTE)((DWORD_PTR)(a)&0xff)) | ((WORD)((BYTE)((DWORD_PTR)(b)&0xff))) << 8))
#define MAKELONG(a, b) ((LONG)(((WORD)((DWORD_PTR)(a)&0xffff)) | ((DWORD)((WORD)((DWORD_PTR)(b)&0xffff))) << 16))
#define LOWORD(l) ((WORD)((DWORD_PTR)(l)&0xffff))
#define HIWORD(l) ((WORD)((DWORD_PTR)(l) >> 16))
#define LOBYTE(w) ((BYTE)((DWORD_PTR)(w)&0xff))
#define HIBYTE(w) ((BYTE)((DWORD_PTR)(w) >> 8))

typedef union _LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
} LARGE_INTEGER, *PLARGE_INTEGER;

typedef union _ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;

// A time as 100-nanosecond intervals since 1601-01-01 (UTC), in two halves as Windows keeps it.
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;
