// The VARIANT and parameter helpers: optional parameters, argument tags, an object's value, the
// emptiness test and the conversion of a VARIANT into bytes.

#include "qnutil/variant.h"

#include "automation/com_holders.h"
#include "qnutil/frame.h"
#include "qnutil/text.h"
#include "text/stepping.h"

using qn::automation::ComRef;
using qn::automation::ScopedVariant;

namespace {

// The one value read. The result is initialised first (it holds nothing that needs freeing) and
// cleared again after a failure, in case the object left something there.
HRESULT ReadValue(IDispatch *pdisp, VARIANT *pvarResult) {
  DISPPARAMS noArgs = {nullptr, nullptr, 0, 0};
  VariantInit(pvarResult);
  const HRESULT hr = pdisp->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &noArgs,
                                   pvarResult, nullptr, nullptr);
  if (FAILED(hr)) {
    VariantClear(pvarResult);
    return E_FAIL;
  }
  return S_OK;
}

bool IsEmptyWithin(const VARIANT *pvar, int stepsLeft) {
  if (pvar == nullptr) return true;
  switch (V_VT(pvar)) {
    case VT_EMPTY:
    case VT_NULL:
      return true;
    case VT_ERROR:
      return V_ERROR(pvar) == 0;
    case VT_BYREF | VT_VARIANT:
      return stepsLeft > 0 && IsEmptyWithin(V_VARIANTREF(pvar), stepsLeft - 1);
    case VT_DISPATCH: {
      if (V_DISPATCH(pvar) == nullptr) return true;
      if (stepsLeft <= 0) return false;
      ScopedVariant value;
      if (FAILED(GetDispValueProp(V_DISPATCH(pvar), &value))) return false;
      return IsEmptyWithin(&value, stepsLeft - 1);
    }
    default:
      return false;
  }
}

// The digits of one field as wcstoul reads them in base 10 from a digit: a value past 32 bits stays
// at 0xFFFFFFFF. Only 0 to 9 are digits.
const OLECHAR *ParseDecimal(const OLECHAR *p, DWORD *pdwValue) {
  DWORD value = 0;
  bool overflow = false;
  for (; *p >= '0' && *p <= '9'; ++p) {
    const DWORD digit = static_cast<DWORD>(*p - '0');
    if (value > (0xFFFFFFFFu - digit) / 10) overflow = true;
    value = value * 10 + digit;
  }
  *pdwValue = overflow ? 0xFFFFFFFFu : value;
  return p;
}

// A block of the library heap that is freed unless it is handed over.
class ByteBlock {
 public:
  explicit ByteBlock(DWORD cb) : m_pb(static_cast<BYTE *>(_operator_new(cb))) {}
  ~ByteBlock() { _operator_delete(m_pb); }
  ByteBlock(const ByteBlock &) = delete;
  ByteBlock &operator=(const ByteBlock &) = delete;

  BYTE *Get() const { return m_pb; }
  BYTE *Release() {
    BYTE *pb = m_pb;
    m_pb = nullptr;
    return pb;
  }

 private:
  BYTE *m_pb;
};

HRESULT BytesFromText(const OLECHAR *pwsz, BYTE **ppb, DWORD *pcb) {
  if (BIsEmpty(qn::AsU(pwsz))) return E_INVALIDARG;
  DWORD cb = 1;
  for (const OLECHAR *p = pwsz; *p != 0; ++p) {
    if (*p == ',') ++cb;
  }
  ByteBlock block(cb);
  const OLECHAR *p = pwsz;
  for (DWORD i = 0; i < cb; ++i) {
    while (qn::text::IsBlankUnit(*p)) ++p;
    if (*p != 0 && *p != ',' && (*p < '0' || *p > '9')) return E_INVALIDARG;
    DWORD value = 0;
    p = ParseDecimal(p, &value);
    block.Get()[i] = static_cast<BYTE>(value & 0xFF);
    if (*p == ',') ++p;
  }
  *ppb = block.Release();
  *pcb = cb;
  return S_OK;
}

// Holds SafeArrayAccessData's grant and gives it back at the end of the scope.
class ArrayAccess {
 public:
  explicit ArrayAccess(SAFEARRAY *psa) : m_psa(psa), m_pv(nullptr), m_hr(SafeArrayAccessData(psa, &m_pv)) {}
  ~ArrayAccess() {
    if (SUCCEEDED(m_hr)) SafeArrayUnaccessData(m_psa);
  }
  ArrayAccess(const ArrayAccess &) = delete;
  ArrayAccess &operator=(const ArrayAccess &) = delete;

  HRESULT Result() const { return m_hr; }
  void *Data() const { return m_pv; }

 private:
  SAFEARRAY *m_psa;
  void *m_pv;
  HRESULT m_hr;
};

HRESULT BytesFromArray(SAFEARRAY *psa, BYTE **ppb, DWORD *pcb) {
  if (psa == nullptr || SafeArrayGetDim(psa) != 1) return E_INVALIDARG;
  LONG lower = 0;
  LONG upper = 0;
  if (FAILED(SafeArrayGetLBound(psa, 1, &lower)) || FAILED(SafeArrayGetUBound(psa, 1, &upper))) {
    return E_INVALIDARG;
  }
  const LONGLONG count = static_cast<LONGLONG>(upper) - lower + 1;
  if (count <= 0) return E_INVALIDARG;
  const bool holdsVariants = (psa->fFeatures & FADF_VARIANT) != 0;
  // The grant covers count elements of cbElements bytes: VARIANTs are read only where the elements
  // are VARIANT-sized, and bytes need elements of at least one byte.
  if (holdsVariants ? psa->cbElements != sizeof(VARIANT) : psa->cbElements == 0) return E_INVALIDARG;

  const DWORD cb = static_cast<DWORD>(count);
  ByteBlock block(cb);
  ArrayAccess access(psa);
  if (FAILED(access.Result())) return access.Result();
  if (!holdsVariants) {
    const BYTE *pbSource = static_cast<const BYTE *>(access.Data());
    for (DWORD i = 0; i < cb; ++i) block.Get()[i] = pbSource[i];
  } else {
    VARIANT *pvarElements = static_cast<VARIANT *>(access.Data());
    for (DWORD i = 0; i < cb; ++i) {
      VARIANT *pvarElement = &pvarElements[i];
      if (V_VT(pvarElement) == VT_UI1) {
        block.Get()[i] = V_UI1(pvarElement);
        continue;
      }
      ScopedVariant converted;
      const HRESULT hr = VariantChangeType(&converted, pvarElement, 0, VT_UI1);
      if (FAILED(hr)) return hr;
      block.Get()[i] = V_UI1(&converted.Get());
    }
  }
  *ppb = block.Release();
  *pcb = cb;
  return access.Result();
}

}  // namespace

HRESULT ConvertOptionalVariantParam(VARIANT *pvarParam, VARTYPE vt, const VARIANT *pvarDefault) {
  if (V_VT(pvarParam) == VT_ERROR) {
    if (pvarDefault != nullptr) return VariantChangeType(pvarParam, const_cast<VARIANT *>(pvarDefault), 0, vt);
    VariantClear(pvarParam);
  }
  return VariantChangeType(pvarParam, pvarParam, 0, vt);
}

HRESULT EnsureParamType(DISPPARAMS *pdispparams, UINT iArg, VARTYPE vt, UINT *puArgErr) {
  if (V_VT(&pdispparams->rgvarg[iArg]) == vt) return S_OK;
  if (puArgErr != nullptr) *puArgErr = iArg;
  return DISP_E_TYPEMISMATCH;
}

HRESULT GetDispValueProp(IDispatch *pdisp, VARIANT *pvarResult) {
  if (pdisp == nullptr) return E_INVALIDARG;
  HRESULT hr = ReadValue(pdisp, pvarResult);
  for (int reads = 1; SUCCEEDED(hr) && V_VT(pvarResult) == VT_DISPATCH; ++reads) {
    ComRef<IDispatch> inner;
    inner.AddRefFrom(V_DISPATCH(pvarResult));
    VariantClear(pvarResult);
    if (inner.Get() == nullptr) return E_INVALIDARG;
    if (reads >= qn::kMaxValueChain) return E_FAIL;
    hr = ReadValue(inner.Get(), pvarResult);
  }
  return hr;
}

bool IsVariantEmpty(const VARIANT *pvar) { return IsEmptyWithin(pvar, qn::kMaxValueChain); }

HRESULT LoadVariantToByteBuffer(const VARIANT &var, BYTE **ppbBuffer, DWORD *pcbBuffer) {
  *ppbBuffer = nullptr;
  *pcbBuffer = 0;
  ScopedVariant value;
  const VARIANT *pvarSource = &var;
  if (V_VT(&var) == VT_DISPATCH) {
    if (V_DISPATCH(&var) == nullptr) return E_INVALIDARG;
    const HRESULT hr = GetDispValueProp(V_DISPATCH(&var), &value);
    if (FAILED(hr)) return hr;
    pvarSource = &value.Get();
  }
  const bool byRef = (V_VT(pvarSource) & VT_BYREF) != 0;
  switch (V_VT(pvarSource) & ~VT_BYREF) {
    case VT_BSTR: {
      const BSTR bstr = !byRef ? V_BSTR(pvarSource) : (V_BSTRREF(pvarSource) ? *V_BSTRREF(pvarSource) : nullptr);
      return BytesFromText(bstr, ppbBuffer, pcbBuffer);
    }
    case VT_ARRAY | VT_UI1:
    case VT_ARRAY | VT_VARIANT: {
      SAFEARRAY *psa =
          !byRef ? V_ARRAY(pvarSource) : (V_ARRAYREF(pvarSource) ? *V_ARRAYREF(pvarSource) : nullptr);
      return BytesFromArray(psa, ppbBuffer, pcbBuffer);
    }
    default:
      return E_INVALIDARG;
  }
}
