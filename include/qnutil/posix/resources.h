// String tables in the subset. POSIX objects carry no resources, so every table is empty: a caller
// that needs texts keeps them itself (or, in tests, replaces the library's import of LoadStringW).
#pragma once

#include "qnutil/posix/windef.h"

// Copies at most cchBufferMax - 1 code units of the string and a terminator into lpBuffer and
// answers how many it copied; 0 when the string does not exist, which in the subset is always. A
// buffer of at least one code unit then holds the empty text.
QN_WIN32_API int WINAPI LoadStringW(HINSTANCE hInstance, UINT uID, LPWSTR lpBuffer, int cchBufferMax);
