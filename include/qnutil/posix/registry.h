// The registry as the subset provides it: Windows' key and value calls over hives kept in memory and
// persisted as registry-editor export files (.reg text), one file per predefined root.
//
// Where the hives live: the directory that QNUTIL_REGISTRY_DIR names; otherwise
// $XDG_CONFIG_HOME/qnutil/registry, or ~/.config/qnutil/registry when XDG_CONFIG_HOME is unset or
// not absolute. The variable is read when a root is first used by the process. Each root is the
// file <ROOT NAME>.reg there (HKEY_CURRENT_USER.reg, HKEY_LOCAL_MACHINE.reg, HKEY_CLASSES_ROOT.reg,
// HKEY_USERS.reg); a root whose file is absent is empty, and the directory is created at the first
// write. HKEY_CLASSES_ROOT is a hive of its own, not a view merged from the two others.
//
// Files: read in UTF-16LE with a byte-order mark, or in UTF-8 (with or without one); written in
// UTF-16LE with a byte-order mark and CRLF line ends, as the registry editor exports. Written
// values keep their type and bytes exactly: a REG_SZ that is not one terminated string without
// inner zeros, and a REG_DWORD that is not 4 bytes, are written in the hex(n): form. Keys are
// written in the order enumeration gives them, values in theirs, so a file read and written back
// without changes is the same file.
//
// Several processes, one hive:
// - A process keeps its changes in memory until the hive is written back: when RegFlushKey returns
//   on any key of the hive, when the last key handle open on the hive is closed (RegCloseKey
//   returns), when a call finds changes older than two seconds, and at normal process exit. A
//   change is durable (on disk, fsync'd, renamed into place) at the latest when RegFlushKey or
//   that last RegCloseKey returns.
// - Write-back holds an exclusive lock (flock on <ROOT NAME>.reg.lock) around read-modify-write:
//   the file is read again if another process replaced it, the process's own pending changes are
//   replayed on top of it, and the result goes to a temporary file renamed over the hive. So no
//   writer loses another's changes; where two processes change the same value, the later
//   write-back wins.
// - A change another process has written back is seen by the next call here: every write-back
//   bumps a generation counter kept in the first 4 bytes of <ROOT NAME>.reg.lock (shared through
//   a mapping), and a call that finds it changed reads the file again. A hive file replaced by
//   other means (an editor, a copy) is noticed at the next RegOpenKeyExW, RegCreateKeyExW or
//   RegFlushKey, and by any call once a second has passed since the last look.
//
// A hive file that cannot be parsed is never written; every call on a key of that root answers
// ERROR_BADDB, and the reason ("<file>:<line>: <reason>") goes to stderr once per distinct failure.
// The root works again as soon as the file is repaired.
//
// Limits: REG_OPTION_VOLATILE keys are persisted like others; security descriptors, links,
// notifications and the WOW64 views are not provided (KEY_WOW64_* are accepted and ignored). A
// handle on a key deleted by another process answers ERROR_KEY_DELETED once the deletion is seen.
// Names: key and value names are case-insensitive (compared by lower case, as Wine does) and keep
// their case; a key name is at most 256 code units (as Wine allows), a value name at most 16383. A key
// name with a line break (CR or LF) is refused with ERROR_INVALID_PARAMETER: the file's key lines
// cannot hold one (value names and data can: they are escaped or written in hex). A forked child
// starts with its parent's changes not yet written back, and writes them with its own.
#pragma once

#include "qnutil/posix/windef.h"

// Predefined roots: Windows' values, sign-extended on 64-bit builds as Windows has them.
#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)((LONG)0x80000000))
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))
#define HKEY_USERS ((HKEY)(ULONG_PTR)((LONG)0x80000003))

typedef HKEY *PHKEY;
typedef DWORD ACCESS_MASK;
typedef ACCESS_MASK REGSAM;
typedef LONG LSTATUS;

#ifndef READ_CONTROL
#  define READ_CONTROL 0x00020000u
#endif
#ifndef STANDARD_RIGHTS_READ
#  define STANDARD_RIGHTS_READ READ_CONTROL
#  define STANDARD_RIGHTS_WRITE READ_CONTROL
#  define STANDARD_RIGHTS_EXECUTE READ_CONTROL
#  define STANDARD_RIGHTS_ALL 0x001F0000u
#endif

// Access rights of a key handle: a call that needs a right the handle lacks answers
// ERROR_ACCESS_DENIED (queries need KEY_QUERY_VALUE, subkey enumeration KEY_ENUMERATE_SUB_KEYS,
// setting and deleting values KEY_SET_VALUE, creating subkeys KEY_CREATE_SUB_KEY). The
// predefined roots have every right.
#define KEY_QUERY_VALUE 0x0001u
#define KEY_SET_VALUE 0x0002u
#define KEY_CREATE_SUB_KEY 0x0004u
#define KEY_ENUMERATE_SUB_KEYS 0x0008u
#define KEY_NOTIFY 0x0010u
#define KEY_CREATE_LINK 0x0020u
#define KEY_WOW64_64KEY 0x0100u
#define KEY_WOW64_32KEY 0x0200u
#define KEY_WOW64_RES 0x0300u
#define KEY_READ ((STANDARD_RIGHTS_READ | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY) & ~SYNCHRONIZE)
#define KEY_WRITE ((STANDARD_RIGHTS_WRITE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY) & ~SYNCHRONIZE)
#define KEY_EXECUTE (KEY_READ & ~SYNCHRONIZE)
#define KEY_ALL_ACCESS                                                                                 \
  ((STANDARD_RIGHTS_ALL | KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_ENUMERATE_SUB_KEYS | \
    KEY_NOTIFY | KEY_CREATE_LINK) &                                                                    \
   ~SYNCHRONIZE)

#define REG_OPTION_RESERVED 0x00000000u
#define REG_OPTION_NON_VOLATILE 0x00000000u
#define REG_OPTION_VOLATILE 0x00000001u
#define REG_OPTION_CREATE_LINK 0x00000002u
#define REG_OPTION_BACKUP_RESTORE 0x00000004u
#define REG_OPTION_OPEN_LINK 0x00000008u

#define REG_CREATED_NEW_KEY 0x00000001u
#define REG_OPENED_EXISTING_KEY 0x00000002u

#define REG_NONE 0u
#define REG_SZ 1u
#define REG_EXPAND_SZ 2u
#define REG_BINARY 3u
#define REG_DWORD 4u
#define REG_DWORD_LITTLE_ENDIAN 4u
#define REG_DWORD_BIG_ENDIAN 5u
#define REG_LINK 6u
#define REG_MULTI_SZ 7u
#define REG_RESOURCE_LIST 8u
#define REG_FULL_RESOURCE_DESCRIPTOR 9u
#define REG_RESOURCE_REQUIREMENTS_LIST 10u
#define REG_QWORD 11u
#define REG_QWORD_LITTLE_ENDIAN 11u

#define ERROR_BADDB 1009L
#define ERROR_BADKEY 1010L
#define ERROR_CANTOPEN 1011L
#define ERROR_CANTREAD 1012L
#define ERROR_CANTWRITE 1013L
#define ERROR_REGISTRY_CORRUPT 1015L
#define ERROR_KEY_DELETED 1018L

typedef struct _SECURITY_ATTRIBUTES *LPSECURITY_ATTRIBUTES;

// Every call answers a Win32 error code (ERROR_SUCCESS on success) and leaves the last error alone.
// Subkey paths separate their components with backslashes; a NULL or empty subkey names the key
// itself. An HKEY is a handle of the process's one handle table.

// A new handle on an existing key, with the rights asked for; ERROR_FILE_NOT_FOUND when it is not
// there. *phkResult is NULL on failure.
QN_WIN32_API LSTATUS WINAPI RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                                          PHKEY phkResult);
// Opens the key, creating it and the missing keys on its path; *lpdwDisposition (may be NULL)
// says REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY. lpClass and the security attributes are
// ignored.
QN_WIN32_API LSTATUS WINAPI RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                                            DWORD dwOptions, REGSAM samDesired,
                                            LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                                            LPDWORD lpdwDisposition);
// Closes a key handle; written back first when it is the hive's last open one. Closing a
// predefined root succeeds and changes nothing.
QN_WIN32_API LSTATUS WINAPI RegCloseKey(HKEY hKey);
// Writes the key's hive back and makes it durable.
QN_WIN32_API LSTATUS WINAPI RegFlushKey(HKEY hKey);

// A value's type and bytes. lpValueName NULL or "" is the default value. lpData NULL asks only for
// the size (in *lpcbData) and type; a buffer too small answers ERROR_MORE_DATA with the size
// needed in *lpcbData. Bytes are answered as stored and counted; string data (REG_SZ,
// REG_EXPAND_SZ, REG_MULTI_SZ) that does not end in a zero gets one uncounted zero code unit after
// it when the buffer has room, as Windows does.
QN_WIN32_API LSTATUS WINAPI RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                                             LPBYTE lpData, LPDWORD lpcbData);
// Stores cbData bytes of type dwType as the value (replacing one of the same name, which keeps the
// name as first written). As Windows does, a string type (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ)
// whose counted data does not end in a zero but is followed by one gets that zero counted too:
// the code unit after such data is read, so the caller's memory must reach that far.
// lpData NULL with cbData > 0 answers ERROR_NOACCESS.
QN_WIN32_API LSTATUS WINAPI RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                                           const BYTE *lpData, DWORD cbData);
QN_WIN32_API LSTATUS WINAPI RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);

// The value at dwIndex, values sorted by their lower-case names as Wine enumerates them (Windows
// keeps the order of creation; callers should rely on neither). *lpcchValueName is the name
// buffer's size in code units on entry and the name's length on success. A name buffer without
// room for the name and its zero answers ERROR_MORE_DATA, leaves the name and *lpcchValueName
// alone and puts the data's size in *lpcbData; a data buffer too small answers ERROR_MORE_DATA
// with the name copied and the size needed in *lpcbData. Data is copied as RegQueryValueExW does.
QN_WIN32_API LSTATUS WINAPI RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName,
                                          LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
// The subkey at dwIndex, subkeys sorted by their lower-case names (as Wine keeps them: "_x" comes
// before "a");
// ERROR_NO_MORE_ITEMS past the end, ERROR_MORE_DATA when the name does not fit with its zero.
QN_WIN32_API LSTATUS WINAPI RegEnumKeyW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, DWORD cchName);
// As RegEnumKeyW with the name's length answered in *lpcchName; class names are empty and the
// last-write time is not kept (*lpftLastWriteTime, when asked for, is zero).
QN_WIN32_API LSTATUS WINAPI RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
                                          LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
                                          struct _FILETIME *lpftLastWriteTime);

// Deletes a subkey that has no subkeys of its own (ERROR_ACCESS_DENIED otherwise) with its values.
QN_WIN32_API LSTATUS WINAPI RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);
// Deletes a subkey with everything under it; with lpSubKey NULL, empties hKey of its values and
// subkeys and keeps it.
QN_WIN32_API LSTATUS WINAPI RegDeleteTreeW(HKEY hKey, LPCWSTR lpSubKey);
