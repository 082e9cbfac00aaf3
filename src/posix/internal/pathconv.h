// Conversion between the Win32 form of a path (UTF-16, either separator, perhaps a drive letter)
// and the POSIX form (UTF-8 bytes, '/'), for every service of the subset that takes or answers a
// path.
//
// To POSIX:
// - '\\' and '/' both separate components and become '/'.
// - A drive letter with a separator names the root: "C:\x" and "d:/x" are "/x". Every drive is the
//   one POSIX root, so a path written for Windows with its drive still finds the file when the
//   rest of it is a POSIX path. A drive letter without a separator is the current directory:
//   "C:x" is "x" and "C:" is ".".
// - "\\?\" is dropped ("\\?\C:\x" is "/x", "\\?\UNC\srv\x" is "//srv/x"); any other "\\srv\x"
//   is "//srv/x", which Linux reads as "/srv/x".
// - Text is UTF-8; a code unit from U+DC80 to U+DCFF that is not half of a pair stands for the
//   byte 0x80 to 0xFF that it escapes (see below); other lone surrogates become U+FFFD.
//
// From POSIX, for paths the system answers (a directory listing, $TMPDIR, a module's file): UTF-8
// is decoded; each byte of an ill-formed sequence becomes U+DC00 + the byte, so that a name that
// is not UTF-8 still converts back to the same bytes. '/' stays '/': no drive letter is invented.
#pragma once

#include <string>

#include "qnutil/posix/windows.h"

namespace qn::posix {

// The POSIX path of a zero-terminated Win32 path (length < 0) or of its first `length` code units.
// Throws std::bad_alloc.
std::string PathToPosix(LPCWSTR path, int length = -1);

// The Win32 form of a POSIX path of `length` bytes. Throws std::bad_alloc.
std::u16string PathFromPosix(const char *path, size_t length);
inline std::u16string PathFromPosix(const std::string &path) { return PathFromPosix(path.data(), path.size()); }

// Windows' answer for a path copied to a caller's buffer of `size` code units: the length without
// the terminator when it fits, else the size needed with the terminator, and nothing written.
// Sets no last error.
DWORD CopyPathOut(const std::u16string &path, LPWSTR buffer, DWORD size) noexcept;

}  // namespace qn::posix
