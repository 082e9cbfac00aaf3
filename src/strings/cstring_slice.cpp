// CString: searching, slicing, case mapping, reversal and trimming.
//
// Searches and spans stop at the first zero code unit and reuse the library's text scans (a vector
// scan for the first candidate, then the plain comparison). Slices work on the length and are always
// fresh blocks. Changes in place take a private block first and never write the shared empty block:
// they write only where a code unit actually changes, and an empty string has none.

#include <string.h>

#include "qnutil/cstring.h"
#include "qnutil/text.h"
#include "text/stepping.h"
#include "text/unitscan.h"

namespace {

int IndexOrNone(const unsigned short *pchText, const unsigned short *pFound) {
  return pFound != nullptr ? static_cast<int>(pFound - pchText) : -1;
}

const unsigned short *FindUnit(const unsigned short *p, unsigned short ch) {
  qn::text::UnitStops stops;
  stops.Add(ch);
  return qn::text::ScanToStop(p, stops);
}

bool IsWhiteSpace(unsigned short ch) {
  if (ch < 0x100) return qn::text::IsBlankUnit(ch);
  if (ch == 0xFFFF) return false;
  WORD type = 0;
  const WCHAR wch = static_cast<WCHAR>(ch);
  return GetStringTypeW(CT_CTYPE1, &wch, 1, &type) && (type & C1_SPACE) != 0;
}

// Maps every unit in [lo, lo + 25] to unit + delta, up to the first zero.
void ShiftLetters(unsigned short *p, unsigned lo, int delta) {
  for (; *p != 0; ++p) {
    if (static_cast<unsigned>(*p) - lo < 26u) *p = static_cast<unsigned short>(*p + delta);
  }
}

}  // namespace

// ---- Searching

int CString::Find(unsigned short ch) const {
  const unsigned short *p = FindUnit(pchText, ch);
  return *p == ch ? static_cast<int>(p - pchText) : -1;
}

int CString::Find(const unsigned short *lpszSub) const {
  if (*lpszSub == 0) return *pchText != 0 ? 0 : -1;
  return IndexOrNone(pchText, StrStr(pchText, lpszSub));
}

int CString::ReverseFind(unsigned short ch) const {
  if (ch == 0) return Find(ch);
  const unsigned short *pLast = nullptr;
  for (const unsigned short *p = FindUnit(pchText, ch); *p != 0; p = FindUnit(p + 1, ch)) pLast = p;
  return IndexOrNone(pchText, pLast);
}

int CString::FindOneOf(const unsigned short *lpszCharSet) const {
  return IndexOrNone(pchText, StrMultiChr(pchText, lpszCharSet));
}

// ---- Slicing

CString CString::Mid(int nFirst, int nCount) const {
  const int nLength = GetData()->length;
  if (nFirst < 0) nFirst = 0;
  if (nCount < 0) nCount = 0;
  if (nCount > nLength - nFirst) nCount = nLength - nFirst;
  if (nFirst > nLength) nCount = 0;
  CString dest;
  AllocCopy(dest, nCount, nFirst, 0);
  return dest;
}

CString CString::Mid(int nFirst) const { return Mid(nFirst, GetData()->length - nFirst); }

CString CString::Left(int nCount) const {
  const int nLength = GetData()->length;
  if (nCount < 0) nCount = 0;
  if (nCount > nLength) nCount = nLength;
  CString dest;
  AllocCopy(dest, nCount, 0, 0);
  return dest;
}

CString CString::Right(int nCount) const {
  const int nLength = GetData()->length;
  if (nCount < 0) nCount = 0;
  if (nCount > nLength) nCount = nLength;
  CString dest;
  AllocCopy(dest, nCount, nLength - nCount, 0);
  return dest;
}

CString CString::SpanIncluding(const unsigned short *lpszCharSet) const {
  int n = 0;
  while (pchText[n] != 0 && qn::text::InSet(lpszCharSet, pchText[n])) ++n;
  return Left(n);
}

CString CString::SpanExcluding(const unsigned short *lpszCharSet) const {
  const unsigned short *pStop = StrMultiChr(pchText, lpszCharSet);
  return Left(pStop != nullptr ? static_cast<int>(pStop - pchText) : Find(static_cast<unsigned short>(0)));
}

// ---- Changes in place

void CString::MakeUpper() {
  CopyBeforeWrite();
  ShiftLetters(pchText, 0x61, -0x20);
}

void CString::MakeLower() {
  CopyBeforeWrite();
  ShiftLetters(pchText, 0x41, 0x20);
}

void CString::MakeReverse() {
  CopyBeforeWrite();
  unsigned short *pLo = pchText;
  unsigned short *pHi = pchText + Find(static_cast<unsigned short>(0));
  while (pLo + 1 < pHi) {
    const unsigned short ch = *pLo;
    *pLo++ = *--pHi;
    *pHi = ch;
  }
}

void CString::SetAt(int nIndex, unsigned short ch) {
  if (nIndex < 0 || nIndex >= GetData()->length) return;
  CopyBeforeWrite();
  pchText[nIndex] = ch;
}

void CString::TrimRight() {
  CopyBeforeWrite();
  unsigned short *pRun = nullptr;
  for (unsigned short *p = pchText; *p != 0; ++p) {
    if (!IsWhiteSpace(*p)) {
      pRun = nullptr;
    } else if (pRun == nullptr) {
      pRun = p;
    }
  }
  if (pRun == nullptr) return;
  *pRun = 0;
  GetData()->length = static_cast<int>(pRun - pchText);
}

void CString::TrimLeft() {
  CopyBeforeWrite();
  const unsigned short *p = pchText;
  while (*p != 0 && IsWhiteSpace(*p)) ++p;
  const int nSkipped = static_cast<int>(p - pchText);
  if (nSkipped == 0) return;
  CStringData *pData = GetData();
  const int nNewLength = pData->length - nSkipped;
  memmove(pchText, p, (static_cast<size_t>(nNewLength) + 1) * sizeof(unsigned short));
  pData->length = nNewLength;
}
