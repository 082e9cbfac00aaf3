// Files and directories in the subset. Paths are UTF-16 converted to UTF-8; both '/' and '\\'
// separate components.
#pragma once

#include "qnutil/posix/windef.h"

// The directory for temporary files, with a trailing separator: $TMPDIR, else "/tmp/". Answers the
// length copied, or the size needed (terminator included) when nBufferLength is too small.
QN_WIN32_API DWORD WINAPI GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer);
