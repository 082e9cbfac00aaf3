// Tokens separated by blanks and delimiters, and name/value pairs with quoting.
#include "qnutil/text.h"
#include "text/stepping.h"

using qn::text::IgnoreCase;
using qn::text::IsBlankUnit;
using qn::text::SkipBlanks;
using qn::text::Utf16;

namespace {

constexpr unsigned short kQuote = 0x22;

const unsigned short *NextQuote(const unsigned short *p) {
  while (*p != 0 && *p != kQuote) ++p;
  return *p == kQuote ? p : nullptr;
}

// Where the stop marker is met: a string ignoring case, or any one of a set of characters exactly.
bool StopsAt(const unsigned short *p, const unsigned short *stop, bool fStopIsString) {
  if (stop == nullptr) return false;
  if (fStopIsString) return qn::text::IsPrefix<Utf16, IgnoreCase>(p, stop) != 0;
  return qn::text::InSet(stop, *p);
}

const unsigned short *AfterRunOfLetters(const unsigned short *p) {
  while (*p != 0 && IsCharAlphaW(*p)) ++p;
  return p;
}

}  // namespace

const unsigned short *GetToken(const unsigned short *pwszSource, unsigned short *pwszToken, short cchToken,
                               const unsigned short *pwszDelims) {
  return qn::text::Token<Utf16>(pwszSource, pwszToken, cchToken, pwszDelims);
}

const char *GetTokenA(const char *pszSource, char *pszToken, short cchToken, const char *pszDelims) {
  return qn::text::Token<qn::text::Ansi>(pszSource, pszToken, cchToken, pszDelims);
}

int BGetNameValPair(const unsigned short *&pwszCursor, const unsigned short *pwszName,
                    unsigned short chSeparator, unsigned short *pwszValue, short cchValue,
                    const unsigned short *pwszStop, bool fStopIsString, bool fStripQuotedBlanks,
                    const unsigned short **ppwszNamePos) {
  // Searching: the name is tried at each item boundary, before the stop marker.
  const unsigned short *p = SkipBlanks<Utf16>(pwszCursor);
  for (;;) {
    if (*p == 0) {
      pwszCursor = p;
      return 0;
    }
    if (qn::text::IsPrefix<Utf16, IgnoreCase>(p, pwszName)) break;
    if (StopsAt(p, pwszStop, fStopIsString)) {
      pwszCursor = p;
      return 0;
    }
    if (*p == kQuote) {
      const unsigned short *close = NextQuote(p + 1);
      if (close == nullptr) {
        pwszCursor = p;
        return 0;
      }
      p = close + 1;
    } else if (IsCharAlphaW(*p)) {
      p = AfterRunOfLetters(p);
    } else {
      ++p;
    }
    p = SkipBlanks<Utf16>(p);
  }

  // Reading the value. The name position is reported before anything can fail.
  if (ppwszNamePos != nullptr) *ppwszNamePos = p;
  const unsigned short *q = p;
  for (const unsigned short *n = pwszName; *n != 0; ++n) ++q;
  if (IsCharAlphaNumericW(*q)) {
    pwszCursor = q;
    return 0;
  }
  q = SkipBlanks<Utf16>(q);
  // A separator of 0 would be the terminator itself; it never matches.
  if (*q != chSeparator || chSeparator == 0) {
    pwszCursor = q;
    return 0;
  }
  q = SkipBlanks<Utf16>(q + 1);
  if (cchValue < 1) {
    pwszCursor = q;
    return 0;
  }

  unsigned short *out = pwszValue;
  if (*q == kQuote) {
    const unsigned short *close = NextQuote(q + 1);
    if (close == nullptr) {
      pwszCursor = q;
      return 0;
    }
    int room = cchValue - 1;
    for (const unsigned short *s = q + 1; s != close && room > 0; ++s) {
      if (fStripQuotedBlanks && IsBlankUnit(*s)) continue;
      *out++ = *s;
      --room;
    }
    *out = 0;
    pwszCursor = close + 1;
    return 1;
  }

  int remaining = cchValue;
  while (*q != 0 && !IsBlankUnit(*q) && remaining != 1 && !StopsAt(q, pwszStop, fStopIsString)) {
    *out++ = *q++;
    --remaining;
  }
  *out = 0;
  pwszCursor = q;
  return 1;
}
