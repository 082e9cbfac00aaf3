// The reference counting and QueryInterface that the COM test doubles share.
#pragma once

#include "qnutil/win32.h"

namespace qntest {

// A double of interface I that answers IUnknown and Iid(). It lives on the test's stack: the count
// starts at 1 (the test's own reference) and the object is never deleted through Release, so a test
// checks Refs() == 1 at its end to show that every reference taken was given back.
template <class I>
class Counted : public I {
 public:
  ULONG Refs() const { return refs_; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs_; }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppv) override {
    if (!ppv) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, Iid())) {
      *ppv = static_cast<I *>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }

 protected:
  virtual const IID &Iid() const = 0;

 private:
  ULONG refs_ = 1;
};

}  // namespace qntest
