// CBufferedWriteStream: gathers writes in a CBuf and passes them on to a target IStream in one
// write per commit.
#include "qnutil/buffers.h"
#include "qnutil/streams.h"
#include "streamobject.h"

extern "C" const IID IID_IBufferedStream = {0x005F2920, 0x6E90, 0x11D2, {0xA7, 0xB9, 0x00, 0xC0, 0x4F, 0xF0, 0x10, 0xBD}};

namespace {

class CBufferedWriteStream final : public qnstream::CStreamObject<CBufferedWriteStream, IBufferedStream> {
 public:
  CBufferedWriteStream() : m_buf(0x400) {}
  ~CBufferedWriteStream() {
    // Waiting bytes go out once more; a failure (or no target) loses them.
    if (m_buf.BytesUsed() && m_target && SUCCEEDED(m_target->Write(m_buf.Content(), m_buf.BytesUsed(), NULL)))
      m_buf.Clear();
    if (m_target) m_target->Release();
  }

  // IUnknown and IStream, IBufferedStream; not ISequentialStream.
  static bool Answers(REFIID riid) {
    return IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IStream) || IsEqualIID(riid, IID_IBufferedStream);
  }

  STDMETHODIMP Read(void *pv, ULONG cb, ULONG *pcbRead) override {
    if (!m_target) {
      if (pcbRead) *pcbRead = 0;
      return E_UNEXPECTED;
    }
    return m_target->Read(pv, cb, pcbRead);
  }
  STDMETHODIMP Write(const void *pv, ULONG cb, ULONG *pcbWritten) override {
    const HRESULT hr = m_buf.Append(static_cast<const BYTE *>(pv), cb);
    if (FAILED(hr)) return hr;
    if (pcbWritten) *pcbWritten = cb;
    return S_OK;
  }
  STDMETHODIMP Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER *plibNewPosition) override {
    const HRESULT hr = Commit(STGC_DEFAULT);
    if (FAILED(hr)) return hr;
    if (!m_target) return E_UNEXPECTED;
    return m_target->Seek(dlibMove, dwOrigin, plibNewPosition);
  }
  STDMETHODIMP SetSize(ULARGE_INTEGER libNewSize) override {
    if (libNewSize.QuadPart >> 32) return E_INVALIDARG;
    return m_buf.SetSize(static_cast<DWORD>(libNewSize.QuadPart));
  }
  STDMETHODIMP Commit(DWORD) override {
    if (m_buf.BytesUsed() == 0) return S_OK;
    if (!m_target) return E_UNEXPECTED;
    ULONG cbWritten = 0;
    const HRESULT hr = m_target->Write(m_buf.Content(), m_buf.BytesUsed(), &cbWritten);
    if (FAILED(hr)) return hr;
    m_buf.Clear();
    return S_OK;
  }
  STDMETHODIMP Revert() override {
    m_buf.Clear();
    return S_OK;
  }

  STDMETHODIMP GetTargetStream(IStream **ppstm) override {
    if (!ppstm) return E_POINTER;
    *ppstm = m_target;
    if (!m_target) return S_FALSE;
    m_target->AddRef();
    return S_OK;
  }
  STDMETHODIMP SetTargetStream(IStream *pstm) override {
    qnstream::AssignRef(&m_target, pstm);
    return S_OK;
  }

 private:
  CBuf m_buf;
  IStream *m_target = NULL;
};

}  // namespace

HRESULT CreateBufferedWriteStream(IStream *pstmTarget, IBufferedStream **ppbs) {
  if (!ppbs) return E_POINTER;
  CBufferedWriteStream *p = new CBufferedWriteStream;
  p->Revert();
  p->SetTargetStream(pstmTarget);
  *ppbs = p;
  p->AddRef();
  return S_OK;
}
