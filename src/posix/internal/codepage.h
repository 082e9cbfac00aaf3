// The subset's code pages: which one is the ANSI code page, and the tables that convert each one,
// for MultiByteToWideChar and WideCharToMultiByte and for the 8-bit services that step over
// double-byte characters (IsDBCSLeadByte, CharNextA).
//
// A code page other than UTF-8 is single-byte or double-byte, as on Windows. Its tables are asked of
// iconv once, on first use, and kept for the process: the code unit of every byte and of every
// lead/trail pair, which bytes lead a pair, and the reverse mapping from code units to bytes. A
// conversion is then table lookups only. Bytes that iconv leaves undefined become the code unit of
// the same value; those from 0x80 to 0x9F count as defined, as in Windows' tables (1252's 0x81 is
// U+0081 and converts back), the others are errors under MB_ERR_INVALID_CHARS and do not convert
// back. Only mappings that convert back to the same character enter the reverse table, so there is
// no best-fit mapping.
#pragma once

#include <vector>

#include "qnutil/posix/windows.h"

namespace qn::posix {

enum class CodePageKind { SingleByte, DoubleByte, Utf8 };

struct CodePage {
  UINT id = 0;
  CodePageKind kind = CodePageKind::SingleByte;
  // What a byte sequence that is no character becomes (U+30FB for 932, '?' elsewhere, as Windows).
  WCHAR defaultUnicode = '?';
  // Every byte that is not a lead byte: its code unit, and whether the page defines it.
  WCHAR single[256] = {};
  bool defined[256] = {};
  bool lead[256] = {};
  // Double-byte pages: the code unit of the pair (lead << 8 | trail); 0 when the pair is no character.
  std::vector<WCHAR> pairs;
  // Code unit -> its byte (below 0x100) or its pair (lead << 8 | trail); 0 when the page cannot hold
  // it. U+0000 is the byte 0 and is not looked up here. Empty for UTF-8.
  std::vector<WORD> reverse;
};

// GetACP(): 1252, 932 or 65001, chosen once per process by QNUTIL_ACP.
UINT AnsiCodePage() noexcept;

// The tables of a code page (CP_ACP, CP_OEMCP, CP_THREAD_ACP and CP_MACCP resolved first), or null
// when the subset cannot convert it. The first call for a page builds its tables (milliseconds for a
// double-byte page); the ANSI code page is then found without a lock.
const CodePage *FindCodePage(UINT codePage) noexcept;

// IsDBCSLeadByteEx: whether the byte starts a double-byte character in the code page; FALSE for
// every byte of UTF-8 and of pages the subset cannot convert.
inline bool IsLeadByte(UINT codePage, BYTE b) noexcept {
  const CodePage *page = FindCodePage(codePage);
  return page != nullptr && page->lead[b];
}

}  // namespace qn::posix
