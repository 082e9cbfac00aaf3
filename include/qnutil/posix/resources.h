// String tables in the subset. POSIX objects carry no resources, so every table is empty: a caller
// that needs texts keeps them itself (or, in tests, replaces the library's import of LoadStringW).
#pragma once

#include "qnutil/posix/windef.h"

// Copies at most cchBufferMax - 1 code units of the string and a terminator into lpBuffer and
// answers how many it copied; 0 when the string does not exist, which in the subset is always. As
// for a Windows module without resources, the buffer is then left as it was and the last error is
// ERROR_RESOURCE_DATA_NOT_FOUND (a NULL buffer answers 0 and leaves the last error alone).
QN_WIN32_API int WINAPI LoadStringW(HINSTANCE hInstance, UINT uID, LPWSTR lpBuffer, int cchBufferMax);
