// What both stream objects share: QueryInterface and reference counting, the lock on the module
// record they hold while alive, allocation on the library heap, and the folding of a platform error
// into an HRESULT. (No ATL library exists for mingw or the subset, so the table
// lookup and the reference-taking assignment are done here.)
#pragma once

#include "qnutil/atlmodule.h"
#include "qnutil/frame.h"
#include "qnutil/win32.h"

namespace qnstream {

// HRESULT_FROM_WIN32 of the thread's last error; S_OK when it is 0.
inline HRESULT FoldLastError() {
  const DWORD err = GetLastError();
  return err ? static_cast<HRESULT>(0x80070000u | (err & 0xFFFFu)) : S_OK;
}

// Stores p in *pp with a reference of its own, releasing what *pp held.
inline void AssignRef(IStream **pp, IStream *p) {
  if (p) p->AddRef();
  IStream *old = *pp;
  *pp = p;
  if (old) old->Release();
}

// The base of both objects: the module lock for its lifetime, the library heap for its memory.
class CModuleLocked {
 public:
  CModuleLocked() {
    if (_pModule) InterlockedIncrement(&_pModule->m_nLockCnt);
  }
  ~CModuleLocked() {
    if (_pModule) InterlockedDecrement(&_pModule->m_nLockCnt);
  }
  CModuleLocked(const CModuleLocked &) = delete;
  CModuleLocked &operator=(const CModuleLocked &) = delete;
  static void *operator new(size_t cb) { return _operator_new(static_cast<DWORD>(cb)); }
  static void operator delete(void *pv) { _operator_delete(pv); }
};

// The COM frame of both objects: QueryInterface over the identifiers Derived::Answers accepts,
// plain reference counting that deletes the Derived object at 0, and E_NOTIMPL for the operations
// neither object supports.
template <class Derived, class Interface>
class CStreamObject : public Interface, public CModuleLocked {
 public:
  STDMETHODIMP QueryInterface(REFIID riid, void **ppv) override {
    if (!ppv) return E_POINTER;
    if (!Derived::Answers(riid)) {
      *ppv = NULL;
      return E_NOINTERFACE;
    }
    *ppv = static_cast<Interface *>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete static_cast<Derived *>(this);
    return refs;
  }
  STDMETHODIMP CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override { return E_NOTIMPL; }
  STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Stat(STATSTG *, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IStream **) override { return E_NOTIMPL; }

 protected:
  ULONG m_refs = 0;
};

}  // namespace qnstream
