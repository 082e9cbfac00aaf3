// Registry helpers: values read once at construction, the recursive copy of a key tree, and the
// library's debug switches. Every key these helpers open is closed before they return, also when an
// exception passes. Nothing here caches: each constructor or call asks the registry again.
//
// Decisions of this implementation, where the stored data does not fit the simple scheme:
// - CRegString sizes its block from the value's byte count: byte count / 2 code units, so "abc"
//   stored with its terminator (8 bytes) gives a block of 4. The text is the stored code units up to
//   the first zero, and it is always terminated inside the block:
//   - zero bytes: a block of one code unit, the empty text;
//   - an odd byte count: the block gets one more code unit so that every stored byte has room; the
//     odd last byte is no part of any character and is dropped;
//   - data without a terminating zero: every stored code unit is kept, in a block one code unit
//     longer than the byte count gives (one more allocation, made only for such data);
//   - a value that changes between the size query and the read (it grew, vanished or changed type):
//     the empty text; the default has already been released by then.
// - CRegDword keeps its default when the query fails, also when the data is longer than 4 bytes
//   (the platform leaves the buffer undefined then). Shorter data replaces only the low-order bytes
//   it covers.
// - CopyRegTree refuses a destination inside the source tree (the source key itself included) with
//   E_INVALIDARG before it opens or creates anything: the copy would otherwise meet its own copies
//   and recurse until the registry's path limit or the stack gave out. It is seen when both roots
//   are the same handle and the destination path, compared without case, equals the source path or
//   continues it after a backslash (an empty source path holds every path under its root). Aliases
//   are not seen (HKEY_CLASSES_ROOT over HKEY_LOCAL_MACHINE\Software\Classes, or a root that is an
//   open key below the other root): callers must not ask for such a copy.
#pragma once

#include "qnutil/export.h"
#include "qnutil/fixedstring.h"
#include "qnutil/win32.h"

// A REG_SZ value read once, when the object is built; afterwards an ordinary string value.
class QNUTIL_API CRegString {
 public:
  // Starts from a copy of the default (NULL: no text), then, when the key opens for KEY_QUERY_VALUE
  // and the value is REG_SZ, replaces it by the stored text. Any other type (REG_EXPAND_SZ and
  // REG_MULTI_SZ included), a missing key or value keeps the default. Throws COOMExcep only, with
  // the key closed and nothing held.
  CRegString(HKEY hkeyRoot, const unsigned short *pwszSubkey, const unsigned short *pwszValueName,
             const unsigned short *pwszDefault);
  CRegString(const CRegString &other);             // deep copy, as CFixedString
  CRegString &operator=(const CRegString &other);  // deep assignment, as CFixedString
  ~CRegString();

  // The text, or NULL when neither the registry nor the default supplied one.
  operator const unsigned short *();

 private:
  CFixedString m_str;
};

// A 32-bit value read once, when the object is built; afterwards an ordinary number.
class QNUTIL_API CRegDword {
 public:
  // Starts from the default, then lets the value's data (of any type, at most 4 bytes) replace the
  // number's bytes in order, the first data byte in the lowest-order byte. A missing key or value,
  // or data longer than 4 bytes, keeps the default.
  CRegDword(HKEY hkeyRoot, const unsigned short *pwszSubkey, const unsigned short *pwszValueName,
            DWORD dwDefault);
  CRegDword(const CRegDword &other) = default;
  CRegDword &operator=(const CRegDword &other);

  operator DWORD();

 private:
  DWORD m_dw;
};

// Copies the source key's values and subkeys, recursively and depth-first (a key's values before
// its subkeys), to the destination, which is created when missing and not emptied when present:
// same-named values are overwritten, everything else stays. Values whose name exceeds 511 code
// units or whose data exceeds 1024 bytes end the copying of that key's values (earlier ones stay
// copied, the subkeys are still copied); that is not reported. Answers S_OK, E_INVALIDARG for a
// destination inside the source tree, or the first failure to open, create or enumerate subkeys as
// HRESULT_FROM_WIN32, at any depth; what was copied before a failure stays. Both keys are opened
// with KEY_ALL_ACCESS, so a source the caller may not change answers E_ACCESSDENIED. Costs about
// 2 KiB of stack per level of the tree and no heap.
QNUTIL_API HRESULT CopyRegTree(HKEY hkeySourceRoot, const unsigned short *pwszSourcePath,
                               HKEY hkeyDestinationRoot, const unsigned short *pwszDestinationPath);

// Whether the named debug switch is on, from HKEY_LOCAL_MACHINE\Software\Corvanta\Debug. Without
// that key (or without the rights to open it with KEY_ALL_ACCESS) every switch is off; with it a
// switch is on unless its value reads as a zero 32-bit number (a value longer than 4 bytes reads as
// on). Opens and closes the key on every call.
QNUTIL_API bool FDebugClassEnabled(const unsigned short *pwszName);

// The layouts the 32-bit DLL's clients rely on: one pointer, one 32-bit number.
static_assert(sizeof(CRegString) == sizeof(void *), "CRegString is one text pointer");
static_assert(sizeof(CRegDword) == 4, "CRegDword is one 32-bit number");
