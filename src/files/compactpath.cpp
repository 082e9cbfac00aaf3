// PathCompactPathW: a path shortened with an ellipsis to fit a width in a device context.
#include "qnutil/paths.h"

namespace {

const unsigned short *LastBackslash(const unsigned short *pwsz, int cch) {
  for (int i = cch; i > 0;) {
    if (pwsz[--i] == u'\\') return pwsz + i;
  }
  return nullptr;
}

}  // namespace

int PathCompactPathW(HDC hdc, unsigned short *pwszPath, DWORD dx) {
  const int cch = lstrlenW(qn::AsW(pwszPath));
  SIZE size;
  if (!GetTextExtentPoint32W(hdc, qn::AsW(pwszPath), cch, &size)) return 0;
  // The width is compared signed: widths of 2^31 and more count as negative, so nothing fits them.
  if (size.cx <= static_cast<LONG>(dx)) return 1;
  if (size.cx <= 0) return 1;  // a path that measures nothing fits any width

  // Characters that fit, in proportion; the product wraps in 32 bits as the estimate always has.
  const DWORD cchFit = static_cast<DWORD>(cch) * dx / static_cast<DWORD>(size.cx);

  const unsigned short *pchBackslash = LastBackslash(pwszPath, cch);
  if (!pchBackslash) return 0;
  const int cchTail = cch - static_cast<int>(pchBackslash - pwszPath);
  if (cchTail + 4 >= cch) return 1;

  // The kept head never grows past what precedes the ellipsis in a same-length result.
  const long long cchKeepMax = cch - cchTail - 3;
  long long cchKeep = static_cast<long long>(cchFit) - cchTail - 3;
  if (cchKeep < 0) cchKeep = 0;
  if (cchKeep > cchKeepMax) cchKeep = cchKeepMax;

  unsigned short *pchOut = pwszPath + cchKeep;
  for (int i = 0; i < 3; ++i) *pchOut++ = u'.';
  // The tail moves left or stays: the source is always at or after the destination.
  for (const unsigned short *p = pchBackslash; *p;) *pchOut++ = *p++;
  *pchOut = 0;
  return 1;
}
