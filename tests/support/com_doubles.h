// Test doubles of COM objects: a counting IDispatch whose default value (DISPID_VALUE read with
// DISPATCH_PROPERTYGET) is a VARIANT it holds, so that tests can show that every reference taken
// is released on every path, failures included.
#pragma once

#include "counted.h"
#include "qnutil/win32.h"

namespace qntest {

class CountingDispatch : public Counted<IDispatch> {
 public:
  CountingDispatch() { VariantInit(&value_); }
  // Takes a copy of v as the object's value.
  explicit CountingDispatch(VARIANT v) : CountingDispatch() { VariantCopy(&value_, &v); }
  virtual ~CountingDispatch() { VariantClear(&value_); }
  CountingDispatch(const CountingDispatch &) = delete;
  CountingDispatch &operator=(const CountingDispatch &) = delete;

  int Invokes() const { return invokes_; }
  VARIANT &Value() { return value_; }
  // The HRESULT that Invoke answers instead of the value (S_OK: the value).
  void FailInvokeWith(HRESULT hr) { invoke_failure_ = hr; }


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
  const IID &Iid() const override { return IID_IDispatch; }

  int invokes_ = 0;
  HRESULT invoke_failure_ = S_OK;
  VARIANT value_;
};

}  // namespace qntest
