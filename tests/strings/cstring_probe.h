// What the CString tests look at behind the interface: the block header of a string (through the
// protected GetData, as a derived class may), its text with every code unit of its length, and
// whether it stands on the shared empty block.
#pragma once

#include <string>

#include "qnutil/cstring.h"

namespace qntest {

struct CStringPeek : CString {
  static const CStringData &Of(const CString &s) { return *(s.*(&CStringPeek::GetData))(); }
};

inline LONG Refs(const CString &s) { return CStringPeek::Of(s).refs; }

inline const unsigned short *Ptr(const CString &s) { return s; }

// All length code units, zeros inside the text included.
inline std::u16string Text(const CString &s) {
  return std::u16string(reinterpret_cast<const char16_t *>(Ptr(s)), static_cast<size_t>(s.GetLength()));
}

// A code unit for the character overloads, which a char16_t or wchar_t would find ambiguous.
constexpr unsigned short Unit(char16_t c) { return c; }

inline bool OnSharedEmpty(const CString &s) { return Ptr(s) == Ptr(CString()); }

}  // namespace qntest
