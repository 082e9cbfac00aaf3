// Type information lookup: an object's coclass, and the default source interface of that class.

#include "qnutil/typeinfo.h"

#include "automation/com_holders.h"

using qn::automation::ComRef;

namespace {

// The class information through one of the two interfaces that provide it, when the object has it.
bool ClassInfoFrom(IDispatch *pdisp, REFIID riid, ITypeInfo **ppTypeInfo, HRESULT *phr) {
  ComRef<IProvideClassInfo> provider;
  if (FAILED(pdisp->QueryInterface(riid, provider.OutVoid())) || provider.Get() == nullptr) return false;
  *phr = provider->GetClassInfo(ppTypeInfo);
  return true;
}

HRESULT LookUpClass(IDispatch *pdisp, ITypeInfo **ppTypeInfo, REFCLSID clsid) {
  HRESULT hr = S_OK;
  if (pdisp != nullptr && (ClassInfoFrom(pdisp, IID_IProvideClassInfo, ppTypeInfo, &hr) ||
                           ClassInfoFrom(pdisp, IID_IProvideClassInfo2, ppTypeInfo, &hr))) {
    return hr;
  }
  if (IsEqualGUID(clsid, GUID_NULL)) return E_FAIL;
  if (pdisp == nullptr) return E_INVALIDARG;
  ComRef<ITypeInfo> dispatchInfo;
  hr = pdisp->GetTypeInfo(0, LOCALE_SYSTEM_DEFAULT, dispatchInfo.Out());
  if (FAILED(hr)) return hr;
  if (dispatchInfo.Get() == nullptr) return E_FAIL;
  ComRef<ITypeLib> library;
  UINT index = 0;
  hr = dispatchInfo->GetContainingTypeLib(library.Out(), &index);
  if (FAILED(hr)) return hr;
  if (library.Get() == nullptr) return E_FAIL;
  return library->GetTypeInfoOfGuid(clsid, ppTypeInfo);
}

// Gives the type attributes back to their type information at the end of the scope.
class TypeAttrHold {
 public:
  explicit TypeAttrHold(ITypeInfo *pti) : m_pti(pti), m_pAttr(nullptr) {
    if (FAILED(pti->GetTypeAttr(&m_pAttr))) m_pAttr = nullptr;
  }
  ~TypeAttrHold() {
    if (m_pAttr != nullptr) m_pti->ReleaseTypeAttr(m_pAttr);
  }
  TypeAttrHold(const TypeAttrHold &) = delete;
  TypeAttrHold &operator=(const TypeAttrHold &) = delete;

  const TYPEATTR *Get() const { return m_pAttr; }

 private:
  ITypeInfo *m_pti;
  TYPEATTR *m_pAttr;
};

HRESULT DefaultSourceOf(ITypeInfo *pClass, ITypeInfo **ppTypeInfo) {
  TypeAttrHold attr(pClass);
  if (attr.Get() == nullptr) return E_FAIL;
  const INT wanted = IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE;
  for (UINT i = 0; i < attr.Get()->cImplTypes; ++i) {
    INT flags = 0;
    if (FAILED(pClass->GetImplTypeFlags(i, &flags)) || (flags & wanted) != wanted) continue;
    HREFTYPE ref = 0;
    if (FAILED(pClass->GetRefTypeOfImplType(i, &ref))) return E_FAIL;
    return SUCCEEDED(pClass->GetRefTypeInfo(ref, ppTypeInfo)) ? S_OK : E_FAIL;
  }
  return E_FAIL;
}

// Hands out nothing on failure, whatever a callee left in the out-parameter.
HRESULT NullOnFailure(HRESULT hr, ITypeInfo **ppTypeInfo) {
  if (FAILED(hr)) *ppTypeInfo = nullptr;
  return hr;
}

}  // namespace

HRESULT GetCoClassTypeInfo(IDispatch *pdisp, ITypeInfo **ppTypeInfo, REFCLSID clsid) {
  *ppTypeInfo = nullptr;
  return NullOnFailure(LookUpClass(pdisp, ppTypeInfo, clsid), ppTypeInfo);
}

HRESULT GetTypeInfoForDefaultEvents(IDispatch *pdisp, ITypeInfo **ppTypeInfo, REFCLSID clsid) {
  *ppTypeInfo = nullptr;
  ComRef<ITypeInfo> coclass;
  const HRESULT hr = GetCoClassTypeInfo(pdisp, coclass.Out(), clsid);
  if (FAILED(hr)) return hr;
  if (coclass.Get() == nullptr) return E_FAIL;
  return NullOnFailure(DefaultSourceOf(coclass.Get(), ppTypeInfo), ppTypeInfo);
}
