// File-system helpers: opening a file with its access, sharing and creation chosen by storage-mode
// flags, creating a directory with its missing parents, and two attribute tests. Each is a thin layer
// over the platform's file services and leaves the platform's last error in place on failure.
//
// Paths are zero-terminated UTF-16; a forward slash and a backslash both separate.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

// Opens a file with one CreateFileW call, as the mode flags say; only four bits count:
//   STGM_READWRITE: read and write access; else STGM_WRITE: write only; else read only.
//   STGM_SHARE_DENY_NONE: others may read and write; without it the file is opened exclusively
//     (every other sharing mode, deny-write included, means no sharing at all).
//   STGM_CREATE: create or truncate (CREATE_ALWAYS); without it the file must exist.
// Answers the handle, owned by the caller, or INVALID_HANDLE_VALUE with the last error set.
QNUTIL_API HANDLE CreateFileStgm(const unsigned short *pwszPath, DWORD grfMode);

// Creates the directory the path names and any missing parents, top down. True only when the last
// directory was created by this call: a directory that exists already answers false, as do paths of
// 2 characters or fewer and paths with no separator after the first character (a bare name is never
// created). A trailing separator is allowed. The buffer is written during the call (a separator is
// zeroed to name a parent) and holds the path unchanged when the call returns, on every path.
QNUTIL_API bool CreateDirIncludingParents(unsigned short *pwszPath);

// 1 when the path names an existing file or directory, else 0 (also when its attributes cannot be
// read for any reason).
QNUTIL_API int PathFileExistsW(const unsigned short *pwszPath);

// 1 when the path names an existing directory, 0 for a file or when the attributes cannot be read.
QNUTIL_API int PathIsDirectoryW(const unsigned short *pwszPath);
