// Test doubles for type-information lookup: a class's type information with implemented interfaces
// and their flags, the type library that holds it, and an object that offers (or not) the
// class-information interfaces. Each counts its references (starting at 1, the test's own; never
// deleted through Release) and the type attributes it has lent, so that tests show everything taken
// was given back.
#pragma once

#include <utility>
#include <vector>

#include "counted.h"
#include "qnutil/win32.h"

namespace qntest {

// The type information of a class (or of an interface: no implemented interfaces).
class TypeInfoDouble : public Counted<ITypeInfo> {
 public:
  struct ImplType {
    INT flags;
    HREFTYPE ref;
    HRESULT flagsResult;  // what GetImplTypeFlags answers
  };
  std::vector<ImplType> implTypes;
  std::vector<std::pair<HREFTYPE, ITypeInfo *>> refs;  // what GetRefTypeInfo hands out
  ITypeLib *containingLib = nullptr;
  HRESULT typeAttrResult = S_OK;
  HRESULT refTypeResult = S_OK;  // what GetRefTypeOfImplType answers
  int attrsLent = 0;             // GetTypeAttr minus ReleaseTypeAttr

  HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR **pp) override {
    *pp = nullptr;
    if (FAILED(typeAttrResult)) return typeAttrResult;
    *pp = new TYPEATTR();
    (*pp)->typekind = implTypes.empty() ? TKIND_DISPATCH : TKIND_COCLASS;
    (*pp)->cImplTypes = static_cast<WORD>(implTypes.size());
    ++attrsLent;
    return S_OK;
  }
  void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR *p) override {
    --attrsLent;
    delete p;
  }
  HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT i, INT *flags) override {
    if (i >= implTypes.size()) return TYPE_E_ELEMENTNOTFOUND;
    *flags = implTypes[i].flags;
    return implTypes[i].flagsResult;
  }
  HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT i, HREFTYPE *ref) override {
    if (i >= implTypes.size()) return TYPE_E_ELEMENTNOTFOUND;
    *ref = implTypes[i].ref;
    return refTypeResult;
  }
  HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE ref, ITypeInfo **pp) override {
    for (auto &entry : refs) {
      if (entry.first == ref) {
        *pp = entry.second;
        entry.second->AddRef();
        return S_OK;
      }
    }
    *pp = nullptr;
    return TYPE_E_ELEMENTNOTFOUND;
  }
  HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib **pp, UINT *index) override {
    *pp = containingLib;
    if (index) *index = 0;
    if (!containingLib) return E_NOTIMPL;
    containingLib->AddRef();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp **) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT, FUNCDESC **) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetVarDesc(UINT, VARDESC **) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetNames(MEMBERID, BSTR *, UINT, UINT *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR *, UINT, MEMBERID *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Invoke(PVOID, MEMBERID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID, BSTR *, BSTR *, DWORD *, BSTR *) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID, INVOKEKIND, BSTR *, BSTR *, WORD *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID, INVOKEKIND, PVOID *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *, REFIID, PVOID *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetMops(MEMBERID, BSTR *) override { return E_NOTIMPL; }
  void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC *) override {}
  void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC *) override {}

 protected:
  const IID &Iid() const override { return IID_ITypeInfo; }
};

// A type library that knows type information by GUID.
class TypeLibDouble : public Counted<ITypeLib> {
 public:
  std::vector<std::pair<GUID, ITypeInfo *>> infos;

  HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID guid, ITypeInfo **pp) override {
    for (auto &entry : infos) {
      if (IsEqualGUID(entry.first, guid)) {
        *pp = entry.second;
        entry.second->AddRef();
        return S_OK;
      }
    }
    *pp = nullptr;
    return TYPE_E_ELEMENTNOTFOUND;
  }
  UINT STDMETHODCALLTYPE GetTypeInfoCount() override { return static_cast<UINT>(infos.size()); }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, ITypeInfo **) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT, TYPEKIND *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR **) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp **) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDocumentation(INT, BSTR *, BSTR *, DWORD *, BSTR *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsName(LPOLESTR, ULONG, BOOL *) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE FindName(LPOLESTR, ULONG, ITypeInfo **, MEMBERID *, USHORT *) override {
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR *) override {}

 protected:
  const IID &Iid() const override { return IID_ITypeLib; }
};

// An Automation object: IDispatch, and IProvideClassInfo2 (which is also IProvideClassInfo) when
// asked for. One count for both faces; every call on the object is counted too.
class ClassInfoObject : public IDispatch, public IProvideClassInfo2 {
 public:
  bool offersClassInfo = false;   // answers IID_IProvideClassInfo
  bool offersClassInfo2 = false;  // answers IID_IProvideClassInfo2
  ITypeInfo *classInfo = nullptr;       // what GetClassInfo hands out
  ITypeInfo *dispatchInfo = nullptr;    // what GetTypeInfo hands out
  HRESULT typeInfoResult = S_OK;        // GetTypeInfo's failure when dispatchInfo is NULL

  ULONG Refs() const { return refs_; }
  int Calls() const { return calls_; }
  LCID TypeInfoLocale() const { return locale_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppv) override {
    ++calls_;
    *ppv = nullptr;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch)) {
      *ppv = static_cast<IDispatch *>(this);
    } else if ((offersClassInfo && IsEqualIID(riid, IID_IProvideClassInfo)) ||
               (offersClassInfo2 && IsEqualIID(riid, IID_IProvideClassInfo2))) {
      *ppv = static_cast<IProvideClassInfo2 *>(this);
    } else {
      return E_NOINTERFACE;
    }
    ++refs_;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs_; }

  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo **pp) override {
    ++calls_;
    *pp = classInfo;
    if (!classInfo) return E_NOTIMPL;
    classInfo->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD, GUID *) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *count) override {
    ++calls_;
    *count = dispatchInfo ? 1 : 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID lcid, ITypeInfo **pp) override {
    ++calls_;
    locale_ = lcid;
    *pp = dispatchInfo;
    if (!dispatchInfo) return typeInfoResult;
    dispatchInfo->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override {
    ++calls_;
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *,
                                   UINT *) override {
    ++calls_;
    return DISP_E_MEMBERNOTFOUND;
  }

 private:
  ULONG refs_ = 1;
  int calls_ = 0;
  LCID locale_ = 0;
};

}  // namespace qntest
