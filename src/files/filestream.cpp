// CFileStream: a file opened as an IStream, at once or at its first transfer.
#include "qnutil/fixedstring.h"
#include "qnutil/handles.h"
#include "qnutil/streams.h"
#include "qnutil/text.h"
#include "qnutil/utf16.h"
#include "streamobject.h"

namespace {

class CFileStream final : public qnstream::CStreamObject<CFileStream, IStream> {
 public:
  // The open step: store the name and mode when deferring, else open the file now.
  HRESULT Open(const unsigned short *pwszName, DWORD grfMode, bool fDefer) {
    if (fDefer) {
      m_name = pwszName;
      m_mode = grfMode;
      return S_OK;
    }
    DWORD access, share = 0, flags = 0;
    if (grfMode & STGM_READWRITE) {
      access = GENERIC_READ | GENERIC_WRITE;
      if (grfMode & STGM_WRITE) share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    } else if (grfMode & STGM_WRITE) {
      access = GENERIC_WRITE;
      share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    } else {
      access = GENERIC_READ;
      flags = FILE_FLAG_SEQUENTIAL_SCAN;
    }
    const DWORD disposition =
        (grfMode & STGM_CREATE) ? CREATE_ALWAYS : (access & GENERIC_WRITE) ? OPEN_ALWAYS : OPEN_EXISTING;
    m_file = CreateFileW(qn::AsW(pwszName), access, share, NULL, disposition, flags, NULL);
    return !m_file ? qnstream::FoldLastError() : S_OK;
  }

  // IUnknown and IStream; not ISequentialStream.
  static bool Answers(REFIID riid) {
    return IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IStream);
  }

  STDMETHODIMP Read(void *pv, ULONG cb, ULONG *pcbRead) override {
    const HRESULT hr = EnsureOpen();
    if (FAILED(hr)) return hr;
    DWORD cbRead = 0;  // the platform needs a count without an overlapped structure
    if (!ReadFile(m_file, pv, cb, &cbRead, NULL)) return qnstream::FoldLastError();
    if (pcbRead) *pcbRead = cbRead;
    return S_OK;
  }
  STDMETHODIMP Write(const void *pv, ULONG cb, ULONG *pcbWritten) override {
    const HRESULT hr = EnsureOpen();
    if (FAILED(hr)) return hr;
    DWORD cbWritten = 0;
    if (!WriteFile(m_file, pv, cb, &cbWritten, NULL)) return qnstream::FoldLastError();
    if (pcbWritten) *pcbWritten = cbWritten;
    return S_OK;
  }
  STDMETHODIMP Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER *plibNewPosition) override {
    const HRESULT hr = EnsureOpen();
    if (FAILED(hr)) return hr;
    SetLastError(0);
    const DWORD method = dwOrigin == STREAM_SEEK_CUR ? FILE_CURRENT : dwOrigin == STREAM_SEEK_END ? FILE_END : FILE_BEGIN;
    LONG high = static_cast<LONG>(dlibMove.QuadPart >> 32);
    const DWORD low = SetFilePointer(m_file, static_cast<LONG>(dlibMove.QuadPart & 0xFFFFFFFF), &high, method);
    if (GetLastError() != 0) return qnstream::FoldLastError();
    if (plibNewPosition) {
      plibNewPosition->QuadPart = (static_cast<ULONGLONG>(static_cast<DWORD>(high)) << 32) | low;
    }
    return S_OK;
  }
  STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Revert() override { return E_NOTIMPL; }

 private:
  // The lazy open: a deferred stream opens now; one whose deferred open failed stays dead.
  HRESULT EnsureOpen() {
    if (!!m_file) return S_OK;
    if (BIsEmpty(m_name)) return E_FAIL;
    const HRESULT hr = Open(m_name, m_mode, false);
    if (FAILED(hr)) m_name.Clear();
    return hr;
  }

  CHandle m_file;
  CFixedString m_name;
  DWORD m_mode = 0;
};

}  // namespace

HRESULT CreateStreamFromURL(const unsigned short *pwszName, DWORD grfMode, IStream **ppstm, bool fSeekToEnd,
                            ULARGE_INTEGER *pliPos, bool fDefer) {
  if (!ppstm) return E_POINTER;
  CFileStream *p = new CFileStream;
  HRESULT hr;
  try {
    hr = p->Open(pwszName, grfMode, fDefer && !fSeekToEnd);
  } catch (...) {
    delete p;
    throw;
  }
  if (FAILED(hr)) {
    delete p;
    return hr;
  }
  *ppstm = p;
  p->AddRef();
  if (fSeekToEnd) {
    LARGE_INTEGER zero;
    zero.QuadPart = 0;
    p->Seek(zero, STREAM_SEEK_END, pliPos);
  } else if (pliPos) {
    pliPos->QuadPart = 0;
  }
  return S_OK;
}
