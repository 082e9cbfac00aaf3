// Blank tests, character-set, substring and prefix search, and line stepping.
//
// The UTF-16 searches spend their time looking for a first candidate: a carriage return, a
// character of a small set, the first character of a pattern. That scan is the vectorised unit
// scan; everything decided at a candidate is the plain algorithm, so the answers are the ones the
// character-by-character loops give.
#include "qnutil/text.h"
#include "text/stepping.h"
#include "text/unitscan.h"

using qn::text::Ansi;
using qn::text::Exact;
using qn::text::IgnoreCase;
using qn::text::ScanToStop;
using qn::text::UnitStops;
using qn::text::Utf16;

namespace {

// Starts that StrStrI tries one by one before it builds its first-character filter: building it
// costs about as many mapping calls as these starts do, so a short text never pays for it.
constexpr int kStartsBeforeFilter = 64;

// The first start at or after p where the pattern (not empty) occurs, trying every start.
template <class Cmp>
const unsigned short *FindFrom(const unsigned short *p, const unsigned short *pattern) {
  for (; *p != 0; ++p) {
    if (qn::text::MatchesAt<Utf16, Cmp>(p, pattern)) return p;
  }
  return nullptr;
}

// The first start at or after p where the pattern occurs, trying only the starts where the scan
// stops: the stops must include every unit that can match the pattern's first character.
template <class Cmp>
const unsigned short *FindAtStops(const unsigned short *p, const unsigned short *pattern,
                                  const UnitStops &stops) {
  for (;; ++p) {
    p = ScanToStop(p, stops);
    if (*p == 0) return nullptr;
    if (qn::text::MatchesAt<Utf16, Cmp>(p, pattern)) return p;
  }
}

}  // namespace

int BIsEmpty(const unsigned short *pwsz) { return qn::text::IsEmpty<Utf16>(pwsz); }

int BIsEmptyA(const char *psz) { return qn::text::IsEmpty<Ansi>(psz); }

unsigned short *StrMultiChr(const unsigned short *pwsz, const unsigned short *pwszSet) {
  UnitStops stops;
  const unsigned short *unit = pwszSet;
  while (*unit != 0 && stops.Add(*unit)) ++unit;
  if (*unit != 0) return const_cast<unsigned short *>(qn::text::MultiChr<Utf16>(pwsz, pwszSet));
  if (stops.count == 0) return nullptr;
  const unsigned short *p = ScanToStop(pwsz, stops);
  return *p != 0 ? const_cast<unsigned short *>(p) : nullptr;
}

char *StrMultiChrA(const char *psz, const char *pszSet) {
  return const_cast<char *>(qn::text::MultiChr<Ansi>(psz, pszSet));
}

unsigned short *StrStr(const unsigned short *pwszText, const unsigned short *pwszPattern) {
  if (pwszText == nullptr) return nullptr;
  if (*pwszPattern == 0) return const_cast<unsigned short *>(pwszText);
  UnitStops first;
  first.Add(*pwszPattern);
  return const_cast<unsigned short *>(FindAtStops<Exact>(pwszText, pwszPattern, first));
}

unsigned short *StrStrI(const unsigned short *pwszText, const unsigned short *pwszPattern) {
  if (pwszText == nullptr) return nullptr;
  if (*pwszPattern == 0) return const_cast<unsigned short *>(pwszText);
  const unsigned short *start = pwszText;
  for (int i = 0; i < kStartsBeforeFilter; ++i, ++start) {
    if (*start == 0) return nullptr;
    if (qn::text::MatchesAt<Utf16, IgnoreCase>(start, pwszPattern)) {
      return const_cast<unsigned short *>(start);
    }
  }
  // The filter: an ASCII unit can start a match only when the platform maps it as it maps the
  // pattern's first character, and the few that do are asked once here. Every other unit (from
  // 0x80) stays a candidate, and every candidate is compared through the mapping as before.
  UnitStops stops;
  stops.nonAscii = true;
  const unsigned first = Utf16::Fold(pwszPattern);
  for (unsigned short c = 1; c < 0x80; ++c) {
    if (Utf16::Fold(&c) == first && !stops.Add(c)) {
      // A mapping that folds this many units together is not worth filtering for.
      return const_cast<unsigned short *>(FindFrom<IgnoreCase>(start, pwszPattern));
    }
  }
  return const_cast<unsigned short *>(FindAtStops<IgnoreCase>(start, pwszPattern, stops));
}

int SubStrCmp(const unsigned short *pwszText, const unsigned short *pwszPrefix) {
  return qn::text::IsPrefix<Utf16, Exact>(pwszText, pwszPrefix);
}

int SubStrCmpi(const unsigned short *pwszText, const unsigned short *pwszPrefix) {
  return qn::text::IsPrefix<Utf16, IgnoreCase>(pwszText, pwszPrefix);
}

int SubStrCmpiA(const char *pszText, const char *pszPrefix) {
  return qn::text::IsPrefix<Ansi, IgnoreCase>(pszText, pszPrefix);
}

unsigned short *PchNextLine(unsigned short *pwszLine) {
  UnitStops carriageReturn;
  carriageReturn.Add(0x0D);
  unsigned short *p = const_cast<unsigned short *>(ScanToStop(pwszLine, carriageReturn));
  if (*p == 0) return nullptr;
  *p++ = 0;
  if (*p == 0x0A) ++p;
  return *p != 0 ? p : nullptr;
}
