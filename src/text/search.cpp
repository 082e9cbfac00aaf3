// Blank tests, character-set, substring and prefix search, and line stepping.
//
// The UTF-16 searches spend their time looking for candidates: a carriage return, a character of a
// small set, the start of a pattern (its first character, with one of the next three where it can
// be told). That is the vectorised unit scan; everything decided at a candidate is the plain
// algorithm, so the answers are the ones the character-by-character loops give.
#include <stdint.h>

#include "qnutil/text.h"
#include "text/stepping.h"
#include "text/unitscan.h"

using qn::text::Ansi;
using qn::text::Exact;
using qn::text::IgnoreCase;
using qn::text::ScanToStop;
using qn::text::ScanForStops;
using qn::text::UnitHits;
using qn::text::UnitStops;
using qn::text::Utf16;

namespace {

// Starts that StrStrI tries one by one before it builds its filter: building it costs about as
// many mapping calls as these starts do, so a short text never pays for it.
constexpr int kStartsBeforeFilter = 256;

// The first start at or after p where the pattern (not empty) occurs, trying every start.
template <class Cmp>
const unsigned short *FindFrom(const unsigned short *p, const unsigned short *pattern) {
  for (; *p != 0; ++p) {
    if (qn::text::MatchesAt<Utf16, Cmp>(p, pattern)) return p;
  }
  return nullptr;
}

// The first start from p on where the pattern occurs, trying only the starts where the scan stops
// and that mayMatch lets through: the stops hold every unit that can begin a match, and mayMatch
// refuses only starts that cannot.
template <class Cmp, class MayMatch>
const unsigned short *FindAtStops(const unsigned short *p, const unsigned short *pattern,
                                  const UnitStops &stops, const MayMatch &mayMatch) {
  UnitHits hits = ScanForStops(p, stops);
  for (;;) {
    if (hits.mask == 0) hits = ScanForStops(hits.end, stops);
    const unsigned short *start = hits.Take();
    if (*start == 0) return nullptr;
    if (mayMatch(start) && qn::text::MatchesAt<Utf16, Cmp>(start, pattern)) return start;
  }
}

// StrStrI's filter. For each of the pattern's first few characters, the ASCII units that the
// platform maps as it maps that character: asked once per search, 127 calls per character. An
// ASCII unit outside its set fails the comparison at its place, so a start that holds one there
// cannot match; a start that passes is compared through the mapping as before, and units from 0x80
// always pass. The answer is the plain search's.
class AsciiFolds {
 public:
  explicit AsciiFolds(const unsigned short *pattern) {
    for (depth_ = 0; depth_ < kDepth && pattern[depth_] != 0; ++depth_) {
      const unsigned folded = Utf16::Fold(pattern + depth_);
      for (unsigned short c = 1; c < 0x80; ++c) {
        if (Utf16::Fold(&c) == folded) bits_[depth_][c >> 6] |= uint64_t{1} << (c & 63);
      }
    }
  }

  // The units where a scan stops for a start: those that map as the first character, and every
  // unit from DEL up; as the second test, those that map as the last character looked into.
  // False when they are more than a scan takes.
  bool Stops(UnitStops &stops) const {
    stops.nonAscii = true;
    for (unsigned short c = 1; c < 0x7F; ++c) {
      if (Has(0, c) && !stops.Add(c)) return false;
    }
    if (depth_ > 1) {
      stops.offset = depth_ - 1;
      for (unsigned short c = 1; c < 0x7F; ++c) {
        if (Has(depth_ - 1, c) && !stops.AddFollowing(c)) {
          stops.offset = 0;  // a start is then looked at without it
          break;
        }
      }
    }
    return true;
  }

  // False when the start cannot begin a match: an ASCII unit among its first characters maps
  // differently from the pattern's character at its place, or the text ends first.
  bool MayMatchAt(const unsigned short *p) const {
    for (int k = 0; k < depth_; ++k) {
      const unsigned c = p[k];
      if (c == 0 || (c < 0x80 && !Has(k, c))) return false;
    }
    return true;
  }

 private:
  static constexpr int kDepth = 4;
  bool Has(int k, unsigned c) const { return (bits_[k][c >> 6] >> (c & 63)) & 1; }

  int depth_ = 0;
  uint64_t bits_[kDepth][2] = {};
};

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
  UnitStops stops;
  stops.Add(*pwszPattern);
  // The second test looks at the furthest of the next three characters: the least likely to
  // follow the first by chance.
  int last = 0;
  while (last < 3 && pwszPattern[last + 1] != 0) ++last;
  if (last > 0) {
    stops.offset = last;
    stops.AddFollowing(pwszPattern[last]);
  }
  const auto any = [](const unsigned short *) { return true; };
  return const_cast<unsigned short *>(FindAtStops<Exact>(pwszText, pwszPattern, stops, any));
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
  const AsciiFolds folds(pwszPattern);
  UnitStops stops;
  if (!folds.Stops(stops)) {
    // A mapping that folds this many units together is not worth filtering for.
    return const_cast<unsigned short *>(FindFrom<IgnoreCase>(start, pwszPattern));
  }
  const auto mayMatch = [&folds](const unsigned short *p) { return folds.MayMatchAt(p); };
  return const_cast<unsigned short *>(FindAtStops<IgnoreCase>(start, pwszPattern, stops, mayMatch));
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
