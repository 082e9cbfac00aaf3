// Strings and code pages in the subset.
//
// The ANSI code page is 1252 unless the environment variable QNUTIL_ACP, read once, names another
// of 1252, 932 (double-byte) or 65001 (UTF-8); any other value is 1252. The OEM code page goes with
// it as on Windows: 437 beside 1252, otherwise the ANSI page itself. CP_MACCP is 10000 (Mac Roman)
// whatever the ANSI page.
//
// Conversions: UTF-8 by the subset itself; every other page through tables asked of the C
// library's iconv once per page and process (a 256-entry table for a single-byte page, plus one per
// lead byte for a double-byte page), so that 1252, 932, 437, 936, 949, 950, the other 125x and the
// ISO 8859 pages all convert, and a conversion never calls iconv. Limits, where Windows differs:
// - Bytes that iconv leaves undefined convert to the code unit of the same value. From 0x80 to 0x9F
//   that is Windows' own answer (1252's 0x81 is U+0081); above, Windows gives some of them private
//   use code units (932's 0xA0 is U+F8F0), and both report them under MB_ERR_INVALID_CHARS.
// - No best-fit mapping: a character without an exact counterpart is the default character, as
//   Windows does only under WC_NO_BEST_FIT_CHARS.
// - MB_COMPOSITE, MB_USEGLYPHCHARS and WC_COMPOSITECHECK are accepted and change nothing.
// - UTF-7 (65000), UTF-16 and the pages iconv does not know fail with ERROR_INVALID_PARAMETER.
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

// Windows' contract: a negative cbMultiByte or cchWideChar means "through the terminator, which is
// converted too"; an output size of 0 asks for the size needed. Answers the code units (bytes)
// written or needed, or 0 with
// - ERROR_INSUFFICIENT_BUFFER: the output may hold a converted prefix, nothing past its size;
// - ERROR_INVALID_PARAMETER: no input, a zero input length, a negative output size, no output for
//   a non-zero size, input and output at one address, an unknown code page;
// - ERROR_INVALID_FLAGS: a flag Windows does not take; for UTF-8 anything but the *_ERR_INVALID_CHARS
//   flag;
// - ERROR_NO_UNICODE_TRANSLATION: ill-formed input under MB_ERR_INVALID_CHARS, or a lone surrogate
//   converted to UTF-8 under WC_ERR_INVALID_CHARS (which other pages accept and ignore).
// Without that flag, ill-formed UTF-8 becomes U+FFFD, cut as Windows cuts it; a broken double-byte
// sequence becomes the page's default character (U+30FB for 932, else '?').
QN_WIN32_API int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr,
                                            int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);
// Characters the code page cannot hold, each half of a surrogate pair included, become lpDefaultChar
// (its first byte, or its two bytes when they make a double-byte character of the page; '?' when
// NULL) and set *lpUsedDefaultChar. For UTF-8 a lone surrogate is U+FFFD, and lpDefaultChar and
// lpUsedDefaultChar must be NULL (ERROR_INVALID_PARAMETER).
QN_WIN32_API int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr,
                                            int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                            LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);

// Lengths in code units (bytes); 0 for NULL.
QN_WIN32_API int WINAPI lstrlenW(LPCWSTR lpString);
QN_WIN32_API int WINAPI lstrlenA(LPCSTR lpString);
// Answers lpString1, or NULL when either pointer is NULL (Windows catches the fault).
QN_WIN32_API LPWSTR WINAPI lstrcpyW(LPWSTR lpString1, LPCWSTR lpString2);
// Copies at most iMaxLength - 1 code units and a terminator; answers lpString1. 0 writes nothing;
// a negative iMaxLength is no bound.
QN_WIN32_API LPWSTR WINAPI lstrcpynW(LPWSTR lpString1, LPCWSTR lpString2, int iMaxLength);
// Case-insensitive comparison: -1, 0 or 1; NULL sorts before every string, the empty one included.
// Windows compares linguistically; the subset compares code unit by code unit after the
// single-character lower-case mapping. The two agree on letters and digits as long as accented and
// unaccented letters are not compared with each other; they differ where Windows weighs punctuation
// apart ("a-b" after "ab"), sorts an accented letter beside its base letter (U+00E9 before "f")
// or expands a letter (U+00DF equal to "ss").
QN_WIN32_API int WINAPI lstrcmpiW(LPCWSTR lpString1, LPCWSTR lpString2);
// Case-sensitive comparison in the same order, case being the last difference that counts: strings
// equal but for case compare by their first difference, lower case first ("a" < "A" < "b").
QN_WIN32_API int WINAPI lstrcmpW(LPCWSTR lpString1, LPCWSTR lpString2);
