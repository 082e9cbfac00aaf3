// BuildPath: a relative path resolved against a base, written into a caller's buffer of known size.
#include "files/pathchars.h"
#include "qnutil/paths.h"
#include "qnutil/text.h"

using qn::paths::IsBlank;
using qn::paths::IsSeparator;

namespace {

// Appends text to an output that holds at most cchMax characters before its terminator; text
// that does not fit is dropped. Only the characters written are touched.
class CappedWriter {
 public:
  CappedWriter(unsigned short *pwszOut, int cchOut)
      : m_pch(pwszOut), m_pchLimit(pwszOut + (cchOut - 1)) {}

  void Append(const unsigned short *pch, const unsigned short *pchEnd) {
    while (pch != pchEnd && m_pch != m_pchLimit) *m_pch++ = *pch++;
  }
  void Append(const unsigned short *pwsz) {
    while (*pwsz && m_pch != m_pchLimit) *m_pch++ = *pwsz++;
  }
  void Terminate() { *m_pch = 0; }

 private:
  unsigned short *m_pch;
  unsigned short *const m_pchLimit;
};

// The separator that ends the base's server or drive part: the first one after a double
// separator, or the first one of all. Null when the base has none.
const unsigned short *FindRootSeparator(const unsigned short *pwszBase) {
  const unsigned short *pwszDouble = qn::paths::FindDoubleSeparator(pwszBase);
  const unsigned short *pwszFrom = pwszDouble ? pwszDouble + 2 : pwszBase;
  return StrMultiChr(pwszFrom, qn::paths::SeparatorSet());
}

// Steps over the leading "../" groups (or one "./" group) of a relative path and counts the
// parent levels they ask for. False when a group is followed by anything but a separator or the
// end (..x, .x, ...).
bool TakeParentLevels(const unsigned short *&pwszRel, unsigned &cLevels) {
  cLevels = 0;
  if (SubStrCmp(pwszRel, qn::AsU(u".."))) {
    do {
      pwszRel += 2;
      ++cLevels;
      if (IsSeparator(*pwszRel)) {
        ++pwszRel;
      } else if (*pwszRel) {
        return false;
      }
    } while (SubStrCmp(pwszRel, qn::AsU(u"..")));
  } else if (*pwszRel == u'.') {
    ++pwszRel;
    if (IsSeparator(*pwszRel)) {
      ++pwszRel;
    } else if (*pwszRel) {
      return false;
    }
  }
  return true;
}

// The separator after which the relative part goes: the base's last one, moved back one directory
// per level, never before the root separator.
const unsigned short *FindCut(const unsigned short *pchRoot, unsigned cLevels) {
  const unsigned short *pchCut = pchRoot;
  for (const unsigned short *p = pchRoot; *p; ++p) {
    if (IsSeparator(*p)) pchCut = p;
  }
  for (; cLevels > 0 && pchCut != pchRoot; --cLevels) {
    do --pchCut;
    while (!IsSeparator(*pchCut));
  }
  return pchCut;
}

}  // namespace

HRESULT BuildPath(const unsigned short *pwszBase, const unsigned short *pwszRel,
                  unsigned short *pwszOut, int cchOut) {
  if (cchOut < 1) return E_INVALIDARG;
  while (IsBlank(*pwszRel)) ++pwszRel;

  CappedWriter out(pwszOut, cchOut);
  if (FIsCompletePath(pwszRel)) {
    out.Append(pwszRel);
    out.Terminate();
    return S_OK;
  }

  if (BIsEmpty(pwszBase)) return E_INVALIDARG;
  const unsigned short *pchRoot = FindRootSeparator(pwszBase);
  if (!pchRoot) return E_INVALIDARG;

  if (IsSeparator(*pwszRel)) {
    out.Append(pwszBase, pchRoot);
    out.Append(pwszRel);
    out.Terminate();
    return S_OK;
  }

  unsigned cLevels;
  if (!TakeParentLevels(pwszRel, cLevels)) return E_INVALIDARG;
  const unsigned short *pchCut = FindCut(pchRoot, cLevels);
  out.Append(pwszBase, pchCut + 1);
  out.Append(pwszRel);
  out.Terminate();
  return S_OK;
}
