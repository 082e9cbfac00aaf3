// The character services: CharLowerW/A, CharNextA, IsDBCSLeadByte, the IsCharAlpha* tests and
// GetStringTypeW's CT_CTYPE1, on the shared per-code-unit tables and the ANSI code page's tables.
#include <locale.h>
#include <wctype.h>

#include <initializer_list>

#include "internal/chartable.h"
#include "internal/codepage.h"

namespace qn::posix {
namespace {

// Code units whose lower case does not map back to them (U+212A KELVIN SIGN lowers to 'k', whose
// upper case is 'K'). Windows keeps such a code unit as it is in CharLowerW, while its comparisons
// still fold it; the shared table serves the comparisons, this set the mapping. Built once from the
// C library's upper-case mapping, as the shared table is from its lower-case one.
class KeepCase {
 public:
  KeepCase() noexcept {
    locale_t loc = static_cast<locale_t>(0);
    for (const char *name : {"C.UTF-8", "C.utf8", "en_US.UTF-8"}) {
      loc = newlocale(LC_ALL_MASK, name, static_cast<locale_t>(0));
      if (loc != static_cast<locale_t>(0)) break;
    }
    if (loc == static_cast<locale_t>(0)) return;  // ASCII only then: every mapping round-trips
    const CharTable &t = Chars();
    for (unsigned c = 0; c < 65536; ++c) {
      const WCHAR lower = t.lower[c];
      if (lower != c && towupper_l(static_cast<wint_t>(lower), loc) != static_cast<wint_t>(c)) {
        bits_[c >> 5] |= 1u << (c & 31);
      }
    }
    freelocale(loc);
  }
  bool operator[](WCHAR c) const noexcept { return (bits_[c >> 5] >> (c & 31)) & 1u; }

 private:
  uint32_t bits_[65536 / 32] = {};
};

WCHAR Lower(WCHAR c) noexcept {
  static const KeepCase keep;
  return keep[c] ? c : LowerOf(c);
}

bool IsSurrogate(WCHAR c) noexcept { return c >= 0xD800 && c <= 0xDFFF; }

// The C library's classes, brought to Windows' conventions where they are known to differ. The
// adjustments are few and cheap, so the hot path stays one table load and a few compares.
WORD Ctype1(WCHAR c) noexcept {
  WORD bits = static_cast<WORD>(ClassesOf(c) & kCtype1Mask);
  // Windows' blank is tab, space, the no-break space, the ideographic space and the zero-width
  // no-break space; the C library's also holds the typographic spaces of U+2000.
  bits = static_cast<WORD>(bits & ~C1_BLANK);
  if (c == 0x09 || c == 0x20 || c == 0xA0 || c == 0x3000 || c == 0xFEFF) bits |= C1_BLANK;
  if (c < 0x100) {
    switch (c) {
      case 0x85: bits |= C1_SPACE; break;                                   // next line
      case 0xA0: bits = C1_SPACE | C1_BLANK | C1_DEFINED; break;            // no-break space
      case 0xAA: case 0xB5: case 0xBA: bits |= C1_PUNCT; break;             // ordinals, micro sign
      case 0xAD: bits |= C1_CNTRL; break;                                   // soft hyphen
      case 0xB2: case 0xB3: case 0xB9: bits |= C1_DIGIT; break;             // superscript digits
      default: break;
    }
    return bits;
  }
  switch (c) {
    case 0x2007: case 0x202F: return C1_SPACE | C1_DEFINED;               // no-break spaces
    case 0xFEFF: return C1_BLANK | C1_CNTRL | C1_DEFINED;                 // zero-width no-break space
    default: break;
  }
  if (c >= 0xFF10 && c <= 0xFF5A) {
    // Full-width digits and Latin letters are classed as their ASCII counterparts (the C library
    // makes the digits letters).
    const WORD ascii = static_cast<WORD>(ClassesOf(static_cast<WCHAR>(c - 0xFEE0)));
    if ((ascii & kCharAlnum) != 0) return static_cast<WORD>(ascii & kCtype1Mask);
    return bits;
  }
  if (IsSurrogate(c)) return C1_DEFINED;
  return bits;
}

// The code unit of a byte of the ANSI code page that stands alone as a character, or false (a
// lead byte; under UTF-8 a byte from 0x80).
bool UnitOfByte(const CodePage &page, BYTE b, WCHAR *unit) noexcept {
  if (page.kind == CodePageKind::Utf8) {
    if (b >= 0x80) return false;
    *unit = b;
    return true;
  }
  if (page.lead[b]) return false;
  *unit = page.single[b];
  return true;
}

// The byte sequence (a byte, or lead << 8 | trail) of a code unit in a table page; 0 for none.
unsigned SequenceOf(const CodePage &page, WCHAR unit) noexcept {
  return unit == 0 || page.reverse.empty() ? 0 : page.reverse[unit];
}

BYTE LowerByte(const CodePage &page, BYTE b) noexcept {
  WCHAR unit;
  if (!UnitOfByte(page, b, &unit)) return b;
  const WCHAR lower = Lower(unit);
  if (lower == unit) return b;
  if (page.kind == CodePageKind::Utf8) return static_cast<BYTE>(lower < 0x80 ? lower : b);
  const unsigned seq = SequenceOf(page, lower);
  return seq != 0 && seq < 0x100 ? static_cast<BYTE>(seq) : b;
}

// One UTF-8 character at p: its length (1 for a byte that starts no valid sequence) and, when it
// is a character of the BMP, its code unit.
size_t DecodeUtf8(const unsigned char *p, WCHAR *unit) noexcept {
  const unsigned b = p[0];
  *unit = 0;
  if (b < 0x80) {
    *unit = static_cast<WCHAR>(b);
    return 1;
  }
  size_t n = b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : b >= 0xC2 ? 2 : 0;
  if (n == 0 || n == 4) return 1;  // not a start byte, or beyond the BMP: left as it is
  unsigned cp = b & (n == 2 ? 0x1F : 0x0F);
  for (size_t i = 1; i < n; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 1;
    cp = cp << 6 | (p[i] & 0x3F);
  }
  if ((n == 3 && cp < 0x800) || IsSurrogate(static_cast<WCHAR>(cp))) return 1;
  *unit = static_cast<WCHAR>(cp);
  return n;
}

size_t EncodeUtf8(WCHAR u, unsigned char *out) noexcept {
  if (u < 0x80) {
    out[0] = static_cast<unsigned char>(u);
    return 1;
  }
  if (u < 0x800) {
    out[0] = static_cast<unsigned char>(0xC0 | u >> 6);
    out[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    return 2;
  }
  out[0] = static_cast<unsigned char>(0xE0 | u >> 12);
  out[1] = static_cast<unsigned char>(0x80 | (u >> 6 & 0x3F));
  out[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
  return 3;
}

void LowerUtf8InPlace(unsigned char *p) noexcept {
  while (*p != 0) {
    WCHAR unit;
    const size_t n = DecodeUtf8(p, &unit);
    if (unit != 0) {
      unsigned char out[3];
      const WCHAR lower = Lower(unit);
      if (lower != unit && EncodeUtf8(lower, out) == n) {
        for (size_t i = 0; i < n; ++i) p[i] = out[i];
      }
    }
    p += n;
  }
}

void LowerTableInPlace(const CodePage &page, unsigned char *p) noexcept {
  while (*p != 0) {
    if (page.lead[*p] && p[1] != 0) {
      const unsigned seq = static_cast<unsigned>(p[0]) << 8 | p[1];
      const WCHAR unit = page.pairs.empty() ? 0 : page.pairs[seq];
      if (unit != 0) {
        const unsigned lowered = SequenceOf(page, Lower(unit));
        if (lowered > 0xFF) {
          p[0] = static_cast<unsigned char>(lowered >> 8);
          p[1] = static_cast<unsigned char>(lowered & 0xFF);
        }
      }
      p += 2;
      continue;
    }
    *p = LowerByte(page, *p);
    ++p;
  }
}

const CodePage *AnsiPage() noexcept { return FindCodePage(CP_ACP); }

}  // namespace
}  // namespace qn::posix

using qn::posix::AnsiPage;
using qn::posix::CodePage;

extern "C" {

LPWSTR WINAPI CharLowerW(LPWSTR lpsz) {
  const uintptr_t value = reinterpret_cast<uintptr_t>(lpsz);
  if (value < 0x10000) {
    return reinterpret_cast<LPWSTR>(static_cast<uintptr_t>(qn::posix::Lower(static_cast<WCHAR>(value))));
  }
  for (LPWSTR p = lpsz; *p != 0; ++p) *p = qn::posix::Lower(*p);
  return lpsz;
}

LPSTR WINAPI CharLowerA(LPSTR lpsz) {
  const uintptr_t value = reinterpret_cast<uintptr_t>(lpsz);
  const CodePage *page = AnsiPage();
  if (value < 0x10000) {
    const BYTE b = static_cast<BYTE>(value & 0xFF);
    const BYTE lower = page == nullptr ? b : qn::posix::LowerByte(*page, b);
    return reinterpret_cast<LPSTR>(static_cast<uintptr_t>(lower));
  }
  if (page == nullptr) return lpsz;
  unsigned char *p = reinterpret_cast<unsigned char *>(lpsz);
  if (page->kind == qn::posix::CodePageKind::Utf8) {
    qn::posix::LowerUtf8InPlace(p);
  } else {
    qn::posix::LowerTableInPlace(*page, p);
  }
  return lpsz;
}

LPSTR WINAPI CharNextA(LPCSTR lpsz) {
  if (*lpsz == 0) return const_cast<LPSTR>(lpsz);
  if (IsDBCSLeadByte(static_cast<BYTE>(*lpsz)) && lpsz[1] != 0) return const_cast<LPSTR>(lpsz + 2);
  return const_cast<LPSTR>(lpsz + 1);
}

BOOL WINAPI IsDBCSLeadByte(BYTE TestChar) {
  const CodePage *page = AnsiPage();
  return page != nullptr && page->lead[TestChar] ? TRUE : FALSE;
}

BOOL WINAPI IsCharAlphaW(WCHAR ch) { return (qn::posix::Ctype1(ch) & C1_ALPHA) != 0 ? TRUE : FALSE; }

BOOL WINAPI IsCharAlphaNumericW(WCHAR ch) {
  return (qn::posix::Ctype1(ch) & (C1_ALPHA | C1_DIGIT)) != 0 ? TRUE : FALSE;
}

BOOL WINAPI IsCharAlphaNumericA(CHAR ch) {
  const CodePage *page = AnsiPage();
  WCHAR unit;
  if (page == nullptr || !qn::posix::UnitOfByte(*page, static_cast<BYTE>(ch), &unit)) return FALSE;
  return IsCharAlphaNumericW(unit);
}

BOOL WINAPI GetStringTypeW(DWORD dwInfoType, LPCWSTR lpSrcStr, int cchSrc, LPWORD lpCharType) {
  if (dwInfoType != CT_CTYPE1 || lpSrcStr == nullptr || cchSrc < -1) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const int count = cchSrc == -1 ? lstrlenW(lpSrcStr) + 1 : cchSrc;
  for (int i = 0; i < count; ++i) lpCharType[i] = qn::posix::Ctype1(lpSrcStr[i]);
  return TRUE;
}

}  // extern "C"
