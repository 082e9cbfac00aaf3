// Per-code-unit lower-case mapping and character classes of UTF-16, for every service of the subset
// that asks "is it a letter" or "what is its lower case" (lstrcmpiW, CharLowerW, IsCharAlphaW,
// GetStringTypeW).
//
// The answers come from the C library's wide-character functions in its UTF-8 locale, asked once
// for each of the 65536 code units and kept in two tables, so that a loop over text reads memory
// and never calls into the locale. The tables are built on first use, once per process, safely
// from any thread; they stay until the process ends.
//
// What the C library answers is what the subset answers: its digit class is '0' to '9' only (other
// scripts' digits are letters to it), and a mapping that needs more than one code unit (U+0130 to
// "i" and a combining dot) is the single-unit one. Surrogate code units map to themselves and belong
// to no class. Without a UTF-8 locale on the machine the tables hold the "C" locale's answers: ASCII
// only.
#pragma once

#include "qnutil/posix/windows.h"

namespace qn::posix {

// Class bits. The low ten are the values of GetStringTypeW's CT_CTYPE1 bits (C1_UPPER ...
// C1_DEFINED), so that its answer is a mask of the table.
enum CharClass : WORD {
  kCharUpper = 0x0001,
  kCharLower = 0x0002,
  kCharDigit = 0x0004,
  kCharSpace = 0x0008,
  kCharPunct = 0x0010,
  kCharCntrl = 0x0020,
  kCharBlank = 0x0040,
  kCharXDigit = 0x0080,
  kCharAlpha = 0x0100,
  // Assigned: the C library gives it some class or calls it printable.
  kCharDefined = 0x0200,
  kCharAlnum = 0x0400,
  kCtype1Mask = 0x03FF,
};

struct CharTable {
  WCHAR lower[65536];
  WORD classes[65536];
};

// The tables; the first call builds them (a few milliseconds), later calls cost one load.
const CharTable &Chars() noexcept;

inline WCHAR LowerOf(WCHAR c) noexcept { return Chars().lower[c]; }
inline WORD ClassesOf(WCHAR c) noexcept { return Chars().classes[c]; }
inline bool HasClass(WCHAR c, WORD mask) noexcept { return (Chars().classes[c] & mask) != 0; }

}  // namespace qn::posix
