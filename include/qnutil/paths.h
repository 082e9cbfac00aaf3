// Path tests and path arithmetic on caller buffers. Nothing here touches the file system, allocates
// or keeps state: the same functions serve file-system paths with backslashes and URL-like paths
// with forward slashes, and every function that writes does so in place. Except for BuildPath and
// PathCompactPathW no function is told the size of the buffer: the caller provides room for what
// it adds (one character for PathAddSlash and PathAddBackslashW, the new extension's length for
// ReplaceFileExtension).
//
// Separators are the forward slash and the backslash; every function accepts either, except
// PathAddBackslashW and PathCompactPathW, which know only the backslash.
//
// A path is complete (needs no base) when a double slash or a double backslash starts among its
// first ten characters (scheme://server, \\server\share, a//b), or when it starts with a letter
// and its second or third character is a colon (C:, C:\x, ab:x). The text is taken exactly as
// passed: leading blanks count as characters for the drive-letter test.
//
// Decisions of this implementation:
// - BuildPath never writes outside its capacity. Its output is the resolved path cut to
//   capacity - 1 characters and terminated, also when the kept part of the base alone is longer:
//   a buffer of any size gets a prefix of the same answer. A capacity below 1 has no room for the
//   terminator: the call answers E_INVALIDARG and writes nothing.
// - BuildPath with more parent levels (..) than the base has directories stops at the root: the
//   base's root separator is kept, so ftp://srv/p with ../../../z gives ftp://srv/z and C:\a\b with
//   ..\..\..\z gives C:\z.
// - PathCompactPathW: a path that measures 0 wide fits any width (answers 1, unchanged), and the
//   text kept before the ellipsis is never longer than it was, so the result is never longer than
//   the path, also for widths of 2^31 and more, which the signed comparison takes as negative.
// - EUrlClasses: GetURLClass answers eucLocalPath for every text; eucFileURL names a local file
//   written as a file: URL, which openers also take as a local file; eucRemote names every other
//   kind, which openers refuse.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

enum EUrlClasses {
  eucLocalPath = 0,  // a path of the local file system (the only class GetURLClass answers)
  eucFileURL = 1,    // a file: URL naming a local file
  eucRemote = 2,     // anything that is not a local file
};

// The kind of location the text names: always eucLocalPath; the text is not looked at.
QNUTIL_API EUrlClasses GetURLClass(const unsigned short *pwszURL);

// True when the path is complete, as defined above. The empty text is not complete.
QNUTIL_API bool FIsCompletePath(const unsigned short *pwszPath);

// True when the path holds no backslash (also for the empty path and a bare name).
QNUTIL_API bool FUsesForwardSlashes(const unsigned short *pwszPath);

// Appends a separator unless one ends the path: a backslash when the path holds one anywhere, else a
// forward slash (a bare name or the empty path gets a forward slash). Needs one more character.
QNUTIL_API void PathAddSlash(unsigned short *pwszPath);

// Appends a backslash unless a backslash ends the path (a path ending in a forward slash gets one
// too). Needs one more character. Answers the start of the path.
QNUTIL_API unsigned short *PathAddBackslashW(unsigned short *pwszPath);

// Every forward slash becomes a backslash, in place.
QNUTIL_API void UseBackslashes(unsigned short *pwszPath);
// Every backslash becomes a forward slash, in place.
QNUTIL_API void UseForwardSlashes(unsigned short *pwszPath);
// Every byte 0x5C becomes 0x2F, byte by byte: the trail bytes of double-byte characters too.
QNUTIL_API void UseForwardSlashes(char *pszPath);

// Replaces the text after the last full stop of the last path component by the new extension,
// whose leading full stops are ignored (.htm, htm and ..htm are the same). A full stop as the first
// character counts (.profile with x gives .x); an empty extension leaves the path ending in the full
// stop. Answers false, leaving the path unchanged, when the last component has no full stop. The
// caller provides room when the new extension is longer than the old one.
QNUTIL_API bool ReplaceFileExtension(unsigned short *pwszPath, const unsigned short *pwszExt);

// The position just after the last separator; a path without a separator has no file part and
// answers its terminating zero. Points into the caller's text.
QNUTIL_API unsigned short *FilePartOfPath(const unsigned short *pwszPath);

// Resolves a relative path against a base into pwszOut, a buffer of cchOut characters including the
// terminator. Leading blanks of the relative path are skipped. A complete relative path is copied
// as it is. Otherwise the base's root is the first separator after its first double separator (or
// its first separator when it has none); a relative path that starts with a separator goes right
// after the text before that root; any other drops the base's file part, goes up one directory for
// each leading ".." group (one leading "." group means here) and is appended as written. The
// base's separators are kept up to the cut, the relative path's after it.
// Answers S_OK, also when the output was cut to the capacity; E_INVALIDARG, writing nothing, for a
// null or blank base (when the relative path is not complete), a base without a root separator
// (file.txt, ftp://srv), a relative path starting with a full stop group followed by anything but a
// separator or the end (..x, .x, ...), and a capacity below 1. pwszRel and pwszOut must not be null.
QNUTIL_API HRESULT BuildPath(const unsigned short *pwszBase, const unsigned short *pwszRel,
                             unsigned short *pwszOut, int cchOut);

// Shortens the path in place, when it is wider than dx logical units in the device context, by an
// ellipsis in place of the end of its directory part: the first characters of the path, "...", and
// the part from the last backslash on. How many characters are kept is estimated once from the
// measured width of the whole path, in proportion; the result is not measured again and can still be
// too wide. Answers 1 when the path fits, when it was shortened, and when 4 characters or fewer
// precede its last backslash (left as it is); 0, leaving it unchanged, when the measurement fails or
// a too-wide path has no backslash. The result is never longer than the path. Costs one measurement.
QNUTIL_API int PathCompactPathW(HDC hdc, unsigned short *pwszPath, DWORD dx);
