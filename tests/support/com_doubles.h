// Test doubles of COM objects: a counting IDispatch whose default value (DISPID_VALUE read with
// DISPATCH_PROPERTYGET) is a VARIANT it holds, so that tests can show that every reference taken
// is released on every path, failures included.
#pragma once

#include "qnutil/win32.h"

namespace qntest {

// Lives on the test's stack: the count starts at 1 (the test's own reference) and the object is never
// deleted through Release, so a test checks Refs() == 1 at its end.
class CountingDispatch : public IDispatch {
 public:
  CountingDispatch() { VariantInit(&value_); }
  // Takes a copy of v as the object's value.
  explicit CountingDispatch(VARIANT v) : CountingDispatch() { VariantCopy(&value_, &v); }
  virtual ~CountingDispatch() { VariantClear(&value_); }
  CountingDispatch(const CountingDispatch &) = delete;
  CountingDispatch &operator=(const CountingDispatch &) = delete;

  ULONG Refs() const { return refs_; }
  int Invokes() const { return invokes_; }
  VARIANT &Value() { return value_; }
  // The HRESULT that Invoke answers instead of the value (S_OK: the value).
  void FailInvokeWith(HRESULT hr) { invoke_failure_ = hr; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppv) override {
    if (!ppv) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch)) {
      *ppv = static_cast<IDispatch *>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs_; }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *pctinfo) override {
    if (pctinfo) *pctinfo = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **ppTInfo) override {
    if (ppTInfo) *ppTInfo = nullptr;
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override {
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS *, VARIANT *result,
                                   EXCEPINFO *, UINT *) override {
    ++invokes_;
    if (id != DISPID_VALUE || !(flags & DISPATCH_PROPERTYGET)) return DISP_E_MEMBERNOTFOUND;
    if (FAILED(invoke_failure_)) return invoke_failure_;
    if (!result) return E_INVALIDARG;
    return VariantCopy(result, &value_);
  }

 private:
  ULONG refs_ = 1;
  int invokes_ = 0;
  HRESULT invoke_failure_ = S_OK;
  VARIANT value_;
};

}  // namespace qntest
