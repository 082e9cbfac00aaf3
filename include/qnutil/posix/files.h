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

// ---- Opening, reading and writing files ----------------------------------------------------------
//
// A file handle is a kernel object of the subset's handle table: CloseHandle closes it and
// DuplicateHandle gives a second handle to the same open file, sharing its position, as on Windows.
//
// Sharing is enforced among the handles of this process, as Windows enforces it among all handles:
// an open that asks to read, write or delete is refused with ERROR_SHARING_VIOLATION when an open
// file object already there does not share that access, or when the new share mode does not admit
// an access that one already there holds. Opens that ask for none of those (access 0, attributes
// only) neither conflict nor count. DeleteFileW and RemoveDirectoryW count as opens for delete.
// Sharing ends when the last handle to the open file closes, even while a mapping of it lives.
//
// Limits, where Windows differs:
// - Other processes are not covered by sharing: POSIX has no mandatory share modes.
// - FILE_ATTRIBUTE_READONLY is the owner's write permission bit; a read-only file refuses write
//   opens and deletion with ERROR_ACCESS_DENIED even to root, as Windows does. The other attributes
//   given at creation are ignored (the hidden, system and archive bits have no POSIX place).
// - Overlapped (asynchronous) I/O is not supported: a non-null OVERLAPPED answers
//   ERROR_NOT_SUPPORTED; FILE_FLAG_OVERLAPPED likewise. FILE_FLAG_SEQUENTIAL_SCAN and
//   FILE_FLAG_RANDOM_ACCESS are read-ahead hints (posix_fadvise); FILE_FLAG_WRITE_THROUGH opens
//   with O_DSYNC; FILE_FLAG_DELETE_ON_CLOSE unlinks the file when the last handle goes; the other
//   flags are accepted and change nothing.
// - The security attributes' descriptor is ignored; hTemplateFile is ignored.
// - The last error after a successful open is 0, or ERROR_ALREADY_EXISTS when CREATE_ALWAYS or
//   OPEN_ALWAYS found the file there, as on Windows. The other calls leave it alone on success,
//   except where a valid answer equals the failure value (noted below).

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u
#define DELETE 0x00010000u
#define SYNCHRONIZE 0x00100000u
#define FILE_READ_DATA 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_READ_EA 0x0008u
#define FILE_WRITE_EA 0x0010u
#define FILE_EXECUTE 0x0020u
#define FILE_READ_ATTRIBUTES 0x0080u
#define FILE_WRITE_ATTRIBUTES 0x0100u

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define FILE_FLAG_NO_BUFFERING 0x20000000u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u

#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
#define INVALID_SET_FILE_POINTER ((DWORD)-1)
#define INVALID_FILE_SIZE ((DWORD)0xFFFFFFFF)

typedef struct _OVERLAPPED OVERLAPPED, *LPOVERLAPPED;
struct _SECURITY_ATTRIBUTES;

// A new handle to the file or INVALID_HANDLE_VALUE with the last error: ERROR_FILE_NOT_FOUND (no
// such file), ERROR_PATH_NOT_FOUND (a missing or non-directory component on the way), ERROR_FILE_EXISTS
// (CREATE_NEW), ERROR_SHARING_VIOLATION, ERROR_ACCESS_DENIED (a read-only file opened for writing
// or truncation, a directory opened without FILE_FLAG_BACKUP_SEMANTICS), ERROR_INVALID_NAME (a
// file's name with a trailing separator), ERROR_USER_MAPPED_FILE (truncating a mapped file),
// ERROR_INVALID_PARAMETER (an unknown disposition). CREATE_ALWAYS and TRUNCATE_EXISTING truncate
// whatever the access asked for, as Wine does (Windows documents TRUNCATE_EXISTING as needing
// GENERIC_WRITE). The handle starts at offset 0.
QN_WIN32_API HANDLE WINAPI CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                                      struct _SECURITY_ATTRIBUTES *lpSecurityAttributes,
                                      DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                      HANDLE hTemplateFile);
// Reads up to nNumberOfBytesToRead at the handle's position and advances it; at the end of the file
// it succeeds with 0 bytes. ERROR_ACCESS_DENIED without read access. The count pointer may be NULL.
QN_WIN32_API BOOL WINAPI ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
                                 LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped);
// Writes every byte at the handle's position (past the end grows the file, a gap reads as zeros);
// a write of 0 bytes succeeds and changes nothing. ERROR_ACCESS_DENIED without write access.
QN_WIN32_API BOOL WINAPI WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                                  LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);
// Moves the position: the distance is lDistanceToMove sign-extended, or with *lpDistanceToMoveHigh
// as its high half (which then receives the new position's high half). Answers the new position's
// low half, and sets the last error to 0 when that low half is INVALID_SET_FILE_POINTER;
// INVALID_SET_FILE_POINTER with ERROR_NEGATIVE_SEEK before the start, ERROR_INVALID_PARAMETER for
// an unknown method. Without a high half, a position of 4 GiB or more fails with
// ERROR_INVALID_PARAMETER and does not move, as Windows documents (Wine moves and answers the low
// half). A position past the end is allowed; the file grows only when written there.
QN_WIN32_API DWORD WINAPI SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh,
                                        DWORD dwMoveMethod);
QN_WIN32_API BOOL WINAPI SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove,
                                         PLARGE_INTEGER lpNewFilePointer, DWORD dwMoveMethod);
// The size's low half (high half through lpFileSizeHigh when given). INVALID_FILE_SIZE is also a
// valid low half: the last error is then 0 on success, as on Windows.
QN_WIN32_API DWORD WINAPI GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh);
QN_WIN32_API BOOL WINAPI GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize);
// Cuts or extends the file to the handle's position; needs write access. Cutting a mapped file
// short fails with ERROR_USER_MAPPED_FILE.
QN_WIN32_API BOOL WINAPI SetEndOfFile(HANDLE hFile);
// Pushes written data to the storage device (fsync).
QN_WIN32_API BOOL WINAPI FlushFileBuffers(HANDLE hFile);

// ---- Names in the file system --------------------------------------------------------------------

// Removes a file. ERROR_FILE_NOT_FOUND / ERROR_PATH_NOT_FOUND when missing, ERROR_ACCESS_DENIED for
// a directory or a read-only file, ERROR_SHARING_VIOLATION while a handle of this process has it
// open without FILE_SHARE_DELETE. A file open with FILE_SHARE_DELETE is unlinked at once (POSIX),
// where Windows keeps its name until the last handle closes.
QN_WIN32_API BOOL WINAPI DeleteFileW(LPCWSTR lpFileName);
// ERROR_ALREADY_EXISTS when the name is taken (by a file or a directory), ERROR_PATH_NOT_FOUND when
// the parent is missing. The security attributes are ignored.
QN_WIN32_API BOOL WINAPI CreateDirectoryW(LPCWSTR lpPathName, struct _SECURITY_ATTRIBUTES *lpSecurityAttributes);
// An empty directory only: ERROR_DIR_NOT_EMPTY otherwise, ERROR_DIRECTORY for a file,
// ERROR_SHARING_VIOLATION while a handle of this process holds it without FILE_SHARE_DELETE.
QN_WIN32_API BOOL WINAPI RemoveDirectoryW(LPCWSTR lpPathName);
// FILE_ATTRIBUTE_DIRECTORY for a directory; for a file FILE_ATTRIBUTE_ARCHIVE, with
// FILE_ATTRIBUTE_READONLY when the owner may not write it. INVALID_FILE_ATTRIBUTES with
// ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND when nothing is there.
QN_WIN32_API DWORD WINAPI GetFileAttributesW(LPCWSTR lpFileName);
// Only FILE_ATTRIBUTE_READONLY changes anything (the owner's, group's and others' write bits);
// FILE_ATTRIBUTE_NORMAL clears it.
QN_WIN32_API BOOL WINAPI SetFileAttributesW(LPCWSTR lpFileName, DWORD dwFileAttributes);
