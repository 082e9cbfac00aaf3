// Strings and code pages in the subset.
//
// The ANSI code page is 1252 unless the environment variable QNUTIL_ACP, read once, names another
// of 1252, 932 (double-byte) or 65001 (UTF-8). Conversions go through the C library's iconv; the
// single-byte page is cached as a 256-entry table built from iconv on first use. Bytes that a code
// page leaves undefined convert to the code unit of the same value, as Windows does for 1252.
#pragma once

#include "qnutil/posix/windef.h"

#define CP_ACP 0
#define CP_OEMCP 1
#define CP_MACCP 2
#define CP_THREAD_ACP 3
#define CP_UTF7 65000
#define CP_UTF8 65001

#define MB_PRECOMPOSED 0x00000001
#define MB_COMPOSITE 0x00000002
#define MB_USEGLYPHCHARS 0x00000004
#define MB_ERR_INVALID_CHARS 0x00000008

#define WC_COMPOSITECHECK 0x00000200
#define WC_DISCARDNS 0x00000010
#define WC_SEPCHARS 0x00000020
#define WC_DEFAULTCHAR 0x00000040
#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400

QN_WIN32_API UINT WINAPI GetACP(void);
QN_WIN32_API UINT WINAPI GetOEMCP(void);

// Windows' contract: cbMultiByte or cchWideChar of -1 means "through the terminator, which is
// converted too"; an output size of 0 asks for the size needed. Answers the code units (bytes)
// written or needed, or 0 with ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER,
// ERROR_INVALID_FLAGS or ERROR_NO_UNICODE_TRANSLATION (with MB_ERR_INVALID_CHARS).
QN_WIN32_API int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr,
                                            int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);
// Characters the code page cannot hold become lpDefaultChar (or '?'; not allowed for UTF-8) and set
// *lpUsedDefaultChar. No best-fit mapping: a character without an exact counterpart is a default.
QN_WIN32_API int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr,
                                            int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                            LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);

// Lengths in code units (bytes); 0 for NULL.
QN_WIN32_API int WINAPI lstrlenW(LPCWSTR lpString);
QN_WIN32_API int WINAPI lstrlenA(LPCSTR lpString);
QN_WIN32_API LPWSTR WINAPI lstrcpyW(LPWSTR lpString1, LPCWSTR lpString2);
// Copies at most iMaxLength - 1 code units and a terminator; answers lpString1.
QN_WIN32_API LPWSTR WINAPI lstrcpynW(LPWSTR lpString1, LPCWSTR lpString2, int iMaxLength);
// Case-insensitive comparison: negative, 0 or positive. The subset compares code unit by code unit
// after the single-character lower-case mapping, which agrees with Windows' linguistic order for
// letters and digits but not for punctuation, which Windows weighs differently. NULL sorts first.
QN_WIN32_API int WINAPI lstrcmpiW(LPCWSTR lpString1, LPCWSTR lpString2);
QN_WIN32_API int WINAPI lstrcmpW(LPCWSTR lpString1, LPCWSTR lpString2);
