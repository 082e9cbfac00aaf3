// CBuf and CTextBuf: growable buffers in committed virtual memory.
#include "qnutil/buffers.h"

#include "qnutil/filesys.h"

#include <string.h>

#include "qnutil/utf16.h"

namespace {

BYTE *NewBlock(DWORD cb) {
  return static_cast<BYTE *>(VirtualAlloc(NULL, cb, MEM_COMMIT, PAGE_READWRITE));
}

void FreeBlock(BYTE *pb) {
  if (pb) VirtualFree(pb, 0, MEM_RELEASE);
}

// Growth by doubling, or straight to what is needed when doubling is not enough. A size whose
// double does not fit in 32 bits grows to the largest size instead of wrapping.
DWORD GrownSize(DWORD cbPresent, DWORD cbNeeded) {
  const DWORD cbDouble = cbPresent > 0x7FFFFFFFu ? 0xFFFFFFFFu : cbPresent * 2;
  return cbDouble > cbNeeded ? cbDouble : cbNeeded;
}

}  // namespace

CBuf::CBuf(DWORD cbInitial) : m_pb(NULL), m_cb(0), m_cbUsed(0) { SetSize(cbInitial); }

CBuf::~CBuf() { FreeBlock(m_pb); }

CBuf &CBuf::operator=(const CBuf &other) {
  if (&other == this) return *this;
  if (!other.m_pb) {
    SetSize(0);
    return *this;
  }
  if (m_pb && m_cb >= other.m_cbUsed) {
    memcpy(m_pb, other.m_pb, other.m_cbUsed);
    m_cbUsed = other.m_cbUsed;
    return *this;
  }
  BYTE *pb = NewBlock(other.m_cb);
  if (!pb) return *this;
  memcpy(pb, other.m_pb, other.m_cbUsed);
  FreeBlock(m_pb);
  m_pb = pb;
  m_cb = other.m_cb;
  m_cbUsed = other.m_cbUsed;
  return *this;
}

HRESULT CBuf::SetSize(DWORD cb) {
  if (cb == 0) {
    FreeBlock(m_pb);
    m_pb = NULL;
    m_cb = m_cbUsed = 0;
    return S_OK;
  }
  BYTE *pb = NewBlock(cb);
  if (!pb) {
    if (!m_pb) m_cb = m_cbUsed = 0;
    return E_OUTOFMEMORY;
  }
  if (m_cbUsed > cb) m_cbUsed = cb;
  if (m_pb) memcpy(pb, m_pb, m_cbUsed);
  FreeBlock(m_pb);
  m_pb = pb;
  m_cb = cb;
  return S_OK;
}

HRESULT CBuf::EnsureSize(DWORD cbMin) {
  if (cbMin <= m_cb) return S_OK;
  return SetSize(GrownSize(m_cb, cbMin));
}

HRESULT CBuf::Append(const BYTE *pb, DWORD cb) {
  if (cb == 0) return S_OK;
  if (cb > 0xFFFFFFFFu - m_cbUsed) return E_OUTOFMEMORY;
  const DWORD cbNeeded = m_cbUsed + cb;
  if (cbNeeded > m_cb) {
    const HRESULT hr = SetSize(GrownSize(m_cb, cbNeeded));
    if (FAILED(hr)) return hr;
  }
  memcpy(m_pb + m_cbUsed, pb, cb);
  m_cbUsed += cb;
  return S_OK;
}

HRESULT CBuf::DumpFile(const unsigned short *pwszPath) const {
  // Created or truncated, write access only, no sharing.
  HANDLE h = CreateFileStgm(pwszPath, STGM_CREATE | STGM_WRITE);
  if (h == INVALID_HANDLE_VALUE) return E_INVALIDARG;
  HRESULT hr = S_OK;
  DWORD cbWritten = 0;
  if (!WriteFile(h, m_pb, m_cbUsed, &cbWritten, NULL)) {
    const DWORD err = GetLastError();
    hr = err ? static_cast<HRESULT>(0x80070000u | (err & 0xFFFFu)) : S_OK;
  }
  CloseHandle(h);
  return hr;
}

HRESULT CBuf::Set(DWORD, BYTE *, DWORD) { return E_NOTIMPL; }

CTextBuf::CTextBuf(DWORD cch) : CBuf(0) {
  if (cch) CBuf::SetSize(cch * 2 + 2);
}

CTextBuf &CTextBuf::operator=(const CTextBuf &other) {
  CBuf::operator=(other);
  return *this;
}

HRESULT CTextBuf::Append(const unsigned short *pwsz, DWORD cch) {
  if (cch == 0xFFFFFFFFu) cch = pwsz ? static_cast<DWORD>(lstrlenW(qn::AsW(pwsz))) : 0;
  if (cch > (0xFFFFFFFFu - 2 - m_cbUsed) / 2) return E_OUTOFMEMORY;
  const DWORD cbNeeded = m_cbUsed + cch * 2 + 2;
  if (cbNeeded > m_cb) {
    const HRESULT hr = CBuf::SetSize(GrownSize(m_cb, cbNeeded));
    if (FAILED(hr)) return hr;
  }
  if (m_cbUsed > 0) m_cbUsed -= 2;
  if (cch) memcpy(m_pb + m_cbUsed, pwsz, cch * 2);
  m_cbUsed += cch * 2;
  m_pb[m_cbUsed] = 0;
  m_pb[m_cbUsed + 1] = 0;
  m_cbUsed += 2;
  return S_OK;
}

void CTextBuf::Clear() {
  m_cbUsed = 0;
  if (m_pb) m_pb[0] = m_pb[1] = 0;
}
