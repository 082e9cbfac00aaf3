// Files and directories in the subset. Paths are UTF-16 converted to UTF-8; both '/' and '\\'
// separate components. Paths in these comments are written as C string literals.
// - A drive letter with a separator names the POSIX root, whatever the letter: "C:\\x" and "d:/x"
//   are "/x", so that a path written for Windows finds its file when the rest of it is a POSIX
//   path. A drive letter alone is the current directory: "C:x" is "x", "C:" is ".".
// - The prefix "\\\\?\\" is dropped; a UNC path "\\\\srv\\share" is "//srv/share".
// - Paths the subset answers (GetTempPathW) use '/' and carry no drive letter. A name that is not
//   UTF-8 comes back with each stray byte b as the code unit U+DC00 + b, which converts back to b.
#pragma once

#include "qnutil/posix/windef.h"

// The directory for temporary files, with a trailing separator: $TMPDIR (from the current directory
// when relative), else "/tmp/". Answers the length copied, or the size needed (terminator included)
// when nBufferLength is too small; a short buffer is then cleared, as Windows does.
QN_WIN32_API DWORD WINAPI GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer);
