// CString: the block, sharing and copy-on-write, construction, assignment, concatenation,
// comparison, buffer access and locking, and the string-table loading.
//
// Two rules hold throughout:
// - The shared empty block is read by every thread and written by none: each write into "this
//   string's block" is either preceded by a move to a new block or guarded against that address.
// - A holder may read a shared block only while it still counts in its refs, so every operation
//   that leaves a shared block copies first and gives up its reference last.

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "qnutil/atlmodule.h"
#include "qnutil/cstring.h"
#include "qnutil/frame.h"

namespace {

struct EmptyBlock {
  CStringData header;
  unsigned short text[1];
};

// Statically initialised and never freed; its refs stays -1 and nothing writes to it.
EmptyBlock g_empty = {{-1, 0, 0}, {0}};

static_assert(offsetof(EmptyBlock, text) == sizeof(CStringData), "the text follows the header");

bool IsEmptyBlock(const CStringData *pData) { return pData == &g_empty.header; }

// The count as this thread may act on it: when it reads 1, every other former holder's decrement
// (and so all of its reads of the block) happened before.
LONG LoadRefs(const CStringData *pData) {
#if defined(__GNUC__)
  return __atomic_load_n(&pData->refs, __ATOMIC_ACQUIRE);
#else
  return *static_cast<const volatile LONG *>(&pData->refs);
#endif
}

// Only the one holder of a block changes its lock, but other threads may still be reading the count
// they gave up.
void StoreRefs(CStringData *pData, LONG refs) {
#if defined(__GNUC__)
  __atomic_store_n(&pData->refs, refs, __ATOMIC_RELEASE);
#else
  *static_cast<volatile LONG *>(&pData->refs) = refs;
#endif
}

// Length and terminator of a block this string may write; the shared empty block already says 0.
void SetLength(CStringData *pData, int nLength) {
  if (IsEmptyBlock(pData)) return;
  pData->length = nLength;
  pData->data()[nLength] = 0;
}

DWORD BlockBytes(int nLen) {
  const uint64_t cb = sizeof(CStringData) + (static_cast<uint64_t>(nLen) + 1) * sizeof(unsigned short);
  if (cb > 0xFFFFFFFFu) throw COOMExcep();
  return static_cast<DWORD>(cb);
}

int CheckedSum(int a, int b) {
  const int64_t sum = static_cast<int64_t>(a) + b;
  if (sum > 0x7FFFFFFF) throw COOMExcep();
  return static_cast<int>(sum);
}

void CopyUnits(unsigned short *pDest, const unsigned short *pSrc, int nUnits) {
  if (nUnits > 0) memmove(pDest, pSrc, static_cast<size_t>(nUnits) * sizeof(unsigned short));
}

// One byte through the ANSI code page, as a one-byte 8-bit string goes.
unsigned short WidenChar(char ch) {
  WCHAR wch = 0;
  return MultiByteToWideChar(CP_ACP, 0, &ch, 1, &wch, 1) == 1 ? static_cast<unsigned short>(wch) : 0xFFFD;
}

// Converts nBytes of 8-bit text (its terminator follows) into a block sized for nBytes code units.
void ConvertAnsiInto(CStringData *pData, const char *psz, int nBytes) {
  if (nBytes == 0) {
    SetLength(pData, 0);
    return;
  }
  unsigned short *pch = pData->data();
  const int r = MultiByteToWideChar(CP_ACP, 0, psz, -1, qn::AsW(pch), nBytes + 1);
  pch[r > 0 ? r - 1 : 0] = 0;
  SetLength(pData, lstrlenW(qn::AsW(pch)));
}

}  // namespace

// ---- Internal operations

void CString::Init() { pchText = g_empty.text; }

int CString::SafeStrlen(const unsigned short *lpsz) { return lpsz != NULL ? lstrlenW(qn::AsW(lpsz)) : 0; }

void CString::AllocBuffer(int nLen) {
  if (nLen <= 0) {
    Init();
    return;
  }
  CStringData *pData = static_cast<CStringData *>(_operator_new(BlockBytes(nLen)));
  pData->refs = 1;
  pData->length = nLen;
  pData->allocLength = nLen;
  pData->data()[nLen] = 0;
  pchText = pData->data();
}

void CString::Release() {
  CStringData *pData = GetData();
  if (IsEmptyBlock(pData)) return;
  Release(pData);
  Init();
}

void CString::Release(CStringData *pData) {
  if (IsEmptyBlock(pData)) return;
  if (InterlockedDecrement(&pData->refs) <= 0) _operator_delete(pData);
}

void CString::AllocBeforeWrite(int nLen) {
  CStringData *pData = GetData();
  if (LoadRefs(pData) > 1 || nLen > pData->allocLength) {
    Release();
    AllocBuffer(nLen);
  }
}

void CString::CopyBeforeWrite() {
  CStringData *pOld = GetData();
  if (LoadRefs(pOld) <= 1) return;
  const int nLen = pOld->length;
  AllocBuffer(nLen);
  CopyUnits(pchText, pOld->data(), nLen);
  Release(pOld);
}

void CString::AssignCopy(int nSrcLen, const unsigned short *lpszSrcData) {
  AllocBeforeWrite(nSrcLen);
  // memmove: the source may lie in the block that this string keeps.
  CopyUnits(pchText, lpszSrcData, nSrcLen);
  SetLength(GetData(), nSrcLen);
}

void CString::AllocCopy(CString &dest, int nCopyLen, int nCopyIndex, int nExtraLen) const {
  const int nTotal = CheckedSum(nCopyLen, nExtraLen);
  if (nTotal == 0) {
    dest.Init();
    return;
  }
  dest.AllocBuffer(nTotal);
  CopyUnits(dest.pchText, pchText + nCopyIndex, nCopyLen);
}

void CString::ConcatCopy(int nSrc1Len, const unsigned short *lpszSrc1Data, int nSrc2Len,
                         const unsigned short *lpszSrc2Data) {
  const int nTotal = CheckedSum(nSrc1Len, nSrc2Len);
  if (nTotal == 0) return;
  AllocBuffer(nTotal);
  CopyUnits(pchText, lpszSrc1Data, nSrc1Len);
  CopyUnits(pchText + nSrc1Len, lpszSrc2Data, nSrc2Len);
}

void CString::ConcatInPlace(int nSrcLen, const unsigned short *lpszSrcData) {
  if (nSrcLen == 0) return;
  CStringData *pOld = GetData();
  if (LoadRefs(pOld) <= 1 && static_cast<int64_t>(pOld->length) + nSrcLen <= pOld->allocLength) {
    CopyUnits(pchText + pOld->length, lpszSrcData, nSrcLen);
    SetLength(pOld, pOld->length + nSrcLen);
    return;
  }
  // The source may be this string's own text: it is read before the old block goes.
  ConcatCopy(pOld->length, pchText, nSrcLen, lpszSrcData);
  Release(pOld);
}

// ---- Construction and destruction

CString::CString() { Init(); }

CString::CString(const CString &stringSrc) {
  CStringData *pSrc = stringSrc.GetData();
  if (LoadRefs(pSrc) >= 0) {
    InterlockedIncrement(&pSrc->refs);
    pchText = stringSrc.pchText;
    return;
  }
  Init();
  AssignCopy(SafeStrlen(stringSrc.pchText), stringSrc.pchText);
}

CString::CString(const unsigned short *lpsz) {
  Init();
  if (lpsz == NULL) return;
  if ((reinterpret_cast<uintptr_t>(lpsz) >> 16) == 0) {
    // A constructor that throws leaves no object to destroy: the loader's block is released here.
    try {
      LoadStringW(static_cast<unsigned int>(reinterpret_cast<uintptr_t>(lpsz)));
    } catch (...) {
      Release();
      throw;
    }
    return;
  }
  const int nLen = SafeStrlen(lpsz);
  AllocBuffer(nLen);
  CopyUnits(pchText, lpsz, nLen);
}

CString::CString(const char *lpsz) {
  Init();
  if (lpsz == NULL) return;
  const int nBytes = lstrlenA(lpsz);
  AllocBuffer(nBytes);
  ConvertAnsiInto(GetData(), lpsz, nBytes);
}

CString::CString(const unsigned char *lpsz) {
  Init();
  *this = reinterpret_cast<const char *>(lpsz);
}

CString::CString(unsigned short ch, int nRepeat) {
  Init();
  if (nRepeat < 1) return;
  AllocBuffer(nRepeat);
  for (int i = 0; i < nRepeat; ++i) pchText[i] = ch;
}

CString::CString(const unsigned short *lpch, int nLength) {
  Init();
  if (nLength <= 0) return;
  AllocBuffer(nLength);
  CopyUnits(pchText, lpch, nLength);
}

CString::~CString() { Release(GetData()); }

// ---- Assignment and concatenation

CString &CString::operator=(const CString &stringSrc) {
  if (pchText == stringSrc.pchText) return *this;
  CStringData *pData = GetData();
  CStringData *pSrc = stringSrc.GetData();
  const bool bLocked = LoadRefs(pData) < 0 && !IsEmptyBlock(pData);
  if (bLocked || LoadRefs(pSrc) < 0) {
    AssignCopy(pSrc->length, stringSrc.pchText);
  } else {
    Release();
    InterlockedIncrement(&pSrc->refs);
    pchText = stringSrc.pchText;
  }
  return *this;
}

CString &CString::operator=(const unsigned short *lpsz) {
  AssignCopy(SafeStrlen(lpsz), lpsz);
  return *this;
}

CString &CString::operator=(const char *lpsz) {
  if (lpsz == NULL) {
    AssignCopy(0, NULL);
    return *this;
  }
  const int nBytes = lstrlenA(lpsz);
  AllocBeforeWrite(nBytes);
  ConvertAnsiInto(GetData(), lpsz, nBytes);
  return *this;
}

CString &CString::operator=(const unsigned char *lpsz) { return *this = reinterpret_cast<const char *>(lpsz); }

CString &CString::operator=(unsigned short ch) {
  AssignCopy(1, &ch);
  return *this;
}

CString &CString::operator=(char ch) { return *this = WidenChar(ch); }

CString &CString::operator+=(const unsigned short *lpsz) {
  ConcatInPlace(SafeStrlen(lpsz), lpsz);
  return *this;
}

CString &CString::operator+=(unsigned short ch) {
  ConcatInPlace(1, &ch);
  return *this;
}

CString &CString::operator+=(char ch) { return *this += WidenChar(ch); }

CString &CString::operator+=(const CString &string) {
  ConcatInPlace(string.GetLength(), string.pchText);
  return *this;
}

CString operator+(const CString &string1, const CString &string2) {
  CString s;
  s.ConcatCopy(string1.GetLength(), string1.pchText, string2.GetLength(), string2.pchText);
  return s;
}

CString operator+(const CString &string, const unsigned short *lpsz) {
  CString s;
  s.ConcatCopy(string.GetLength(), string.pchText, CString::SafeStrlen(lpsz), lpsz);
  return s;
}

CString operator+(const unsigned short *lpsz, const CString &string) {
  CString s;
  s.ConcatCopy(CString::SafeStrlen(lpsz), lpsz, string.GetLength(), string.pchText);
  return s;
}

CString operator+(const CString &string, unsigned short ch) {
  CString s;
  s.ConcatCopy(string.GetLength(), string.pchText, 1, &ch);
  return s;
}

CString operator+(unsigned short ch, const CString &string) {
  CString s;
  s.ConcatCopy(1, &ch, string.GetLength(), string.pchText);
  return s;
}

CString operator+(const CString &string, char ch) { return string + WidenChar(ch); }

CString operator+(char ch, const CString &string) { return WidenChar(ch) + string; }

void CString::Empty() {
  CStringData *pData = GetData();
  if (pData->length == 0) return;
  if (LoadRefs(pData) >= 0) {
    Release();
  } else {
    SetLength(pData, 0);
  }
}

// ---- Access and comparison

int CString::GetAllocLength() const { return GetData()->allocLength; }

int CString::IsEmpty() const { return GetData()->length == 0 ? 1 : 0; }

unsigned short CString::GetAt(int nIndex) const {
  if (nIndex < 0 || nIndex > GetData()->length) return 0;
  return pchText[nIndex];
}

unsigned short CString::operator[](int nIndex) const { return GetAt(nIndex); }

int CString::Compare(const unsigned short *lpsz) const {
  const unsigned short *a = pchText;
  const unsigned short *b = lpsz;
  while (*a == *b && *a != 0) ++a, ++b;
  return *a < *b ? -1 : (*a > *b ? 1 : 0);
}

int CString::CompareNoCase(const unsigned short *lpsz) const {
  const auto fold = [](unsigned c) { return c - 0x41u < 26u ? c + 0x20u : c; };
  const unsigned short *a = pchText;
  const unsigned short *b = lpsz;
  for (;; ++a, ++b) {
    const unsigned ca = fold(*a);
    const unsigned cb = fold(*b);
    if (ca != cb || ca == 0) return static_cast<int>(ca) - static_cast<int>(cb);
  }
}

int CString::Collate(const unsigned short *lpsz) const { return Compare(lpsz); }

// ---- Buffer access

unsigned short *CString::GetBuffer(int nMinBufLength) {
  CStringData *pOld = GetData();
  if (LoadRefs(pOld) <= 1 && nMinBufLength <= pOld->allocLength) return pchText;
  const int nLen = pOld->length;
  AllocBuffer(nMinBufLength > nLen ? nMinBufLength : nLen);
  CopyUnits(pchText, pOld->data(), nLen);
  SetLength(GetData(), nLen);
  Release(pOld);
  return pchText;
}

void CString::ReleaseBuffer(int nNewLength) {
  CopyBeforeWrite();
  CStringData *pData = GetData();
  if (nNewLength < 0) {
    // Measured, but never past the block: a writer that filled it left no terminator of its own.
    nNewLength = 0;
    while (nNewLength < pData->allocLength && pchText[nNewLength] != 0) ++nNewLength;
  } else if (nNewLength > pData->allocLength) {
    nNewLength = pData->allocLength;
  }
  SetLength(pData, nNewLength);
}

unsigned short *CString::GetBufferSetLength(int nNewLength) {
  if (nNewLength < 0) nNewLength = 0;
  GetBuffer(nNewLength);
  SetLength(GetData(), nNewLength);
  return pchText;
}

void CString::FreeExtra() {
  CStringData *pOld = GetData();
  if (pOld->length == pOld->allocLength) return;
  const int nLen = pOld->length;
  AllocBuffer(nLen);
  CopyUnits(pchText, pOld->data(), nLen);
  Release(pOld);
}

unsigned short *CString::LockBuffer() {
  unsigned short *pch = GetBuffer(0);
  CStringData *pData = GetData();
  if (!IsEmptyBlock(pData)) StoreRefs(pData, -1);
  return pch;
}

void CString::UnlockBuffer() {
  CStringData *pData = GetData();
  // Only a lock is undone: an owned or shared count is left as its holders made it.
  if (!IsEmptyBlock(pData) && LoadRefs(pData) < 0) StoreRefs(pData, 1);
}

// ---- String tables

int CString::LoadStringW(unsigned int nID) {
  const int kFirst = 256;
  const int kStep = 256;
  const HINSTANCE hInst = _pModule != NULL ? _pModule->m_hInstResource : NULL;
  unsigned short szTemp[kFirst];
  int nLoaded = ::LoadStringW(hInst, nID, qn::AsW(szTemp), kFirst);
  if (nLoaded <= 0) szTemp[0] = 0;
  if (kFirst - nLoaded > 1) {
    *this = szTemp;
    return nLoaded > 0 ? 1 : 0;
  }
  // The text filled the first attempt and may be longer: read it again until a size leaves room.
  // A later buffer that cannot be had leaves a half-read text behind its old length: the string
  // is given up then, as an assignment that fails leaves it.
  try {
    for (int nSize = kFirst + kStep;; nSize += kStep) {
      unsigned short *pch = GetBuffer(nSize - 1);
      nLoaded = ::LoadStringW(hInst, nID, qn::AsW(pch), nSize);
      if (nLoaded <= 0) pch[0] = 0;
      if (nSize - nLoaded > 1) break;
    }
  } catch (...) {
    Release();
    throw;
  }
  ReleaseBuffer(-1);
  return nLoaded > 0 ? 1 : 0;
}
