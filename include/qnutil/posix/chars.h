// Character services of the subset: lower-case mapping, character classes, and stepping through
// 8-bit text in the ANSI code page (GetACP: 1252, 932 or 65001, see qnutil/posix/text.h).
//
// Every answer for one UTF-16 code unit is a table look-up: the tables are built once per process
// from the C library's UTF-8 locale, and Windows' own conventions are applied on top where the two
// are known to differ (see each function). The 8-bit functions convert a byte through the ANSI code
// page's table and ask the UTF-16 tables.
#pragma once

#include "qnutil/posix/windef.h"

#define CT_CTYPE1 0x0001
#define CT_CTYPE2 0x0002
#define CT_CTYPE3 0x0004

#define C1_UPPER 0x0001
#define C1_LOWER 0x0002
#define C1_DIGIT 0x0004
#define C1_SPACE 0x0008
#define C1_PUNCT 0x0010
#define C1_CNTRL 0x0020
#define C1_BLANK 0x0040
#define C1_XDIGIT 0x0080
#define C1_ALPHA 0x0100
#define C1_DEFINED 0x0200

// Single-character form: when lpsz is below 0x10000 it is a code unit, not a pointer, and the
// answer holds its lower case in the low 16 bits (zero above). String form: lowers the text in place
// up to its terminator and answers lpsz. NULL is the character 0 and answers NULL.
// A code unit is lowered only when its lower case maps back to it: U+0130, the title-case digraphs
// (U+01C5, U+01C8, U+01CB, U+01F2), U+03F4, U+1E9E, U+2126, U+212A and U+212B keep their case, as on
// Windows.
QN_WIN32_API LPWSTR WINAPI CharLowerW(LPWSTR lpsz);
// The same over 8-bit text in the ANSI code page. The single-character form looks at the low byte
// only, as Windows does: a value made of a lead and a trail byte answers the lead byte unchanged,
// and the answer never has bits above the low 8. The string form lowers each character through
// UTF-16 and writes it back in place when its lower case has the same length in bytes (a
// double-byte letter of 932 becomes its double-byte lower case); other characters are kept.
QN_WIN32_API LPSTR WINAPI CharLowerA(LPSTR lpsz);

// The next character: past a lead byte and its trail byte together, otherwise one byte; a lead byte
// right before the terminator is one character. Never moves past the terminator. Under 65001 every
// byte is a character of its own (Windows' lead-byte test says FALSE for UTF-8), as on Windows.
QN_WIN32_API LPSTR WINAPI CharNextA(LPCSTR lpsz);
// Whether the byte starts a double-byte character of the ANSI code page (0x81-0x9F and 0xE0-0xFC
// under 932; never under 1252 or 65001).
QN_WIN32_API BOOL WINAPI IsDBCSLeadByte(BYTE TestChar);

// C1_ALPHA, and C1_ALPHA or C1_DIGIT, of GetStringTypeW.
QN_WIN32_API BOOL WINAPI IsCharAlphaW(WCHAR ch);
QN_WIN32_API BOOL WINAPI IsCharAlphaNumericW(WCHAR ch);
// The byte converted through the ANSI code page; a lead byte alone, and under 65001 any byte from
// 0x80, is no character and answers FALSE.
QN_WIN32_API BOOL WINAPI IsCharAlphaNumericA(CHAR ch);

// CT_CTYPE1 classes of cchSrc code units (-1: through the terminator, which is classified too)
// into lpCharType. A count of 0 succeeds and writes nothing. FALSE with ERROR_INVALID_PARAMETER for
// any other type (CT_CTYPE2 and CT_CTYPE3 are not provided by the subset), for a NULL source and for
// a count below -1.
// ASCII and Latin-1 (U+0000-U+00FF) answer exactly as Windows. Above them the classes are the C
// library's with Windows' space, blank, hex-digit and surrogate conventions. Known differences that
// remain (limits of the subset): decimal digits of other scripts are C1_ALPHA here, C1_DIGIT on
// Windows; combining marks are C1_ALPHA here; many symbols and modifier letters are C1_PUNCT (or
// C1_LOWER) here where Windows gives C1_DEFINED alone; Roman numerals and circled letters carry a
// case here; the Greek capitals with prosgegrammeni (U+1F88...) are not C1_LOWER here; format
// characters (U+0600-U+0605, U+200B-U+200F, U+202A-U+202E, ...) are not C1_CNTRL here, while U+2028
// and U+2029 are; characters newer than the C library's Unicode are not C1_DEFINED.
QN_WIN32_API BOOL WINAPI GetStringTypeW(DWORD dwInfoType, LPCWSTR lpSrcStr, int cchSrc, LPWORD lpCharType);
