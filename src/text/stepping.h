// How the scanning functions step through text and compare characters, written once for UTF-16
// and once for 8-bit text in the ANSI code page, and the scanning algorithms that both share.
//
// A policy answers four questions about the character at a position: where the next one starts,
// its value for a comparison ignoring case, whether a unit is a word character, and whether a unit
// starts a double-byte character. The templates below take a policy, so the UTF-16 functions and
// their 8-bit twins run the same code and cannot drift apart.
#pragma once

#include "qnutil/win32.h"

namespace qn::text {

// Blank is exactly tab, line feed, vertical tab, form feed, carriage return and space. The
// argument is the unit as an unsigned value, so no byte from 0x80 is ever blank.
inline bool IsBlankUnit(unsigned c) { return c == 0x20 || (c >= 0x09 && c <= 0x0D); }

struct Utf16 {
  using Char = unsigned short;
  static unsigned Unit(Char c) { return c; }
  // Only called on a character that is not the terminator.
  static const Char *Next(const Char *p) { return p + 1; }
  // The platform's single-character lower-case mapping, low 16 bits.
  static unsigned Fold(const Char *p) {
    return LOWORD(reinterpret_cast<ULONG_PTR>(CharLowerW(reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(*p)))));
  }
  static bool IsWordUnit(Char c) { return IsCharAlphaNumericW(c) != FALSE; }
  static bool IsLead(Char) { return false; }
};

struct Ansi {
  using Char = char;
  static unsigned Unit(Char c) { return static_cast<unsigned char>(c); }
  static const Char *Next(const Char *p) { return CharNextA(p); }
  // A double-byte character goes to the mapping as one value, lead byte low and trail byte high.
  // (Windows' CharLowerA looks at the low byte alone, so such characters compare by lead byte.)
  static unsigned Fold(const Char *p) {
    ULONG_PTR value = static_cast<unsigned char>(p[0]);
    if (IsLead(p[0])) value |= static_cast<ULONG_PTR>(static_cast<unsigned char>(p[1])) << 8;
    return LOWORD(reinterpret_cast<ULONG_PTR>(CharLowerA(reinterpret_cast<LPSTR>(value))));
  }
  static bool IsWordUnit(Char c) { return IsCharAlphaNumericA(c) != FALSE; }
  static bool IsLead(Char c) { return IsDBCSLeadByte(static_cast<BYTE>(c)) != FALSE; }
};

// Exact and case-blind comparison of the characters at two positions.
struct Exact {
  template <class P>
  static bool Same(const typename P::Char *a, const typename P::Char *b) {
    return *a == *b;
  }
};
struct IgnoreCase {
  template <class P>
  static bool Same(const typename P::Char *a, const typename P::Char *b) {
    return P::Fold(a) == P::Fold(b);
  }
};

template <class P>
const typename P::Char *SkipBlanks(const typename P::Char *p) {
  while (IsBlankUnit(P::Unit(*p))) p = P::Next(p);
  return p;
}

template <class P>
int IsEmpty(const typename P::Char *p) {
  if (p == nullptr) return 1;
  return *SkipBlanks<P>(p) == 0 ? 1 : 0;
}

// Whether the unit occurs in the set (the set is walked unit by unit, never by character).
template <class C>
bool InSet(const C *set, C c) {
  for (; *set != 0; ++set) {
    if (*set == c) return true;
  }
  return false;
}

// The first character whose first unit is in the set; null for an empty text or set.
template <class P>
const typename P::Char *MultiChr(const typename P::Char *p, const typename P::Char *set) {
  for (; *p != 0; p = P::Next(p)) {
    if (InSet(set, *p)) return p;
  }
  return nullptr;
}

// 1 when the prefix is a prefix of the text; both advance character by character, separately.
template <class P, class Cmp>
int IsPrefix(const typename P::Char *text, const typename P::Char *prefix) {
  if (*text == 0) return *prefix == 0 ? 1 : 0;
  while (*text != 0 && *prefix != 0 && Cmp::template Same<P>(text, prefix)) {
    text = P::Next(text);
    prefix = P::Next(prefix);
  }
  return *prefix == 0 ? 1 : 0;
}

// Whether the pattern (not empty) starts at the position: compared until the pattern ends, a pair
// differs or the text ends. The substring searches try it at each start in turn.
template <class P, class Cmp>
bool MatchesAt(const typename P::Char *start, const typename P::Char *pattern) {
  const typename P::Char *t = start;
  const typename P::Char *q = pattern;
  while (*q != 0 && *t != 0 && Cmp::template Same<P>(t, q)) {
    t = P::Next(t);
    q = P::Next(q);
  }
  return *q == 0;
}

// Copies the next token; see GetToken in qnutil/text.h.
template <class P>
const typename P::Char *Token(const typename P::Char *src, typename P::Char *token, short cchToken,
                              const typename P::Char *delims) {
  using Char = typename P::Char;
  const Char *p = SkipBlanks<P>(src);
  if (cchToken < 1) return p;  // no room even for the terminator: nothing is written
  Char *out = token;
  int remaining = cchToken;
  while (*p != 0) {
    const Char c = *p;
    if (IsBlankUnit(P::Unit(c)) || remaining <= 1) break;
    if (delims != nullptr && InSet(delims, c)) {
      *out++ = c;
      *out = 0;
      return p + 1;
    }
    if (P::IsLead(c)) {
      if (remaining <= 2) break;
      // A lead byte right before the terminator is a character of one byte, as CharNextA sees it.
      const Char *next = P::Next(p);
      while (p != next) {
        *out++ = *p++;
        --remaining;
      }
    } else {
      *out++ = c;
      ++p;
      --remaining;
    }
  }
  *out = 0;
  return p;
}

// The tag at the position, ignoring case, at a word boundary. An empty tag never matches.
template <class P>
bool TagMatches(const typename P::Char *at, const typename P::Char *tag) {
  if (*tag == 0) return false;
  const typename P::Char *t = at;
  while (*tag != 0) {
    if (*t == 0 || !IgnoreCase::Same<P>(t, tag)) return false;
    t = P::Next(t);
    tag = P::Next(tag);
  }
  return !P::IsWordUnit(t[-1]) || !P::IsWordUnit(*t);
}

// See FindTag in qnutil/text.h.
template <class P>
int FindFirstTag(const typename P::Char *text, const typename P::Char *const *tags, DWORD count,
                 const typename P::Char *&found) {
  found = nullptr;
  const typename P::Char *p = text;
  if (*p == 0) return -1;
  for (;;) {
    p = SkipBlanks<P>(p);
    if (*p == 0) return -1;
    for (DWORD i = 0; i < count; ++i) {
      if (TagMatches<P>(p, tags[i])) {
        found = p;
        return static_cast<int>(i);
      }
    }
    if (P::IsWordUnit(*p)) {
      do {
        p = P::Next(p);
      } while (*p != 0 && P::IsWordUnit(*p));
    } else {
      p = P::Next(p);
    }
    if (*p == 0) return -1;
  }
}

}  // namespace qn::text
