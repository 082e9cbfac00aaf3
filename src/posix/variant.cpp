// VARIANT lifetime: initialisation, clearing and copying.
#include <string.h>

#include "qnutil/posix/windows.h"
#include "internal/variant.h"

namespace qnposix {

HRESULT ValidateVarType(VARTYPE vt) {
  VARTYPE base = vt & VT_TYPEMASK;
  if (vt & (VT_VECTOR | VT_RESERVED)) return DISP_E_BADVARTYPE;
  if (base >= VT_VOID || base == 15) return DISP_E_BADVARTYPE;
  if ((vt & (VT_BYREF | VT_ARRAY)) && base <= VT_NULL) return DISP_E_BADVARTYPE;
  return S_OK;
}

size_t ValueSize(VARTYPE base) {
  switch (base) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_R4:
    case VT_ERROR:
    case VT_INT:
    case VT_UINT:
      return 4;
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_I8:
    case VT_UI8:
      return 8;
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return sizeof(void *);
    default:
      return 0;
  }
}

HRESULT Dereference(const VARIANT *src, VARIANT *out) {
  VariantInit(out);
  if (!(src->vt & VT_BYREF)) {
    *out = *src;
    return S_OK;
  }
  if (!src->byref) return E_INVALIDARG;
  VARTYPE base = src->vt & ~VT_BYREF;
  if (base & VT_ARRAY) {
    out->vt = base;
    out->parray = *src->pparray;
    return S_OK;
  }
  if (base == VT_VARIANT) {
    // A reference to a variant that is itself a reference is not followed further.
    if (src->pvarVal->vt == (VT_VARIANT | VT_BYREF)) return E_INVALIDARG;
    return Dereference(src->pvarVal, out);
  }
  if (base == VT_DECIMAL) {
    out->decVal = *src->pdecVal;
    out->vt = VT_DECIMAL;
    return S_OK;
  }
  size_t size = ValueSize(base);
  if (!size) return DISP_E_BADVARTYPE;
  memcpy(&out->llVal, src->byref, size);
  out->vt = base;
  return S_OK;
}

}  // namespace qnposix

extern "C" void WINAPI VariantInit(VARIANTARG *pvarg) {
  pvarg->vt = VT_EMPTY;
  pvarg->wReserved1 = pvarg->wReserved2 = pvarg->wReserved3 = 0;
}

extern "C" HRESULT WINAPI VariantClear(VARIANTARG *pvarg) {
  if (!pvarg) return E_INVALIDARG;
  HRESULT hr = qnposix::ValidateVarType(pvarg->vt);
  if (FAILED(hr)) return hr;
  if (!(pvarg->vt & VT_BYREF)) {
    if (pvarg->vt & VT_ARRAY) {
      // A locked array stays with whoever locked it; the variant lets go of it all the same.
      hr = SafeArrayDestroy(pvarg->parray);
    } else if (pvarg->vt == VT_BSTR) {
      SysFreeString(pvarg->bstrVal);
    } else if (pvarg->vt == VT_DISPATCH || pvarg->vt == VT_UNKNOWN) {
      if (pvarg->punkVal) pvarg->punkVal->Release();
    }
  }
  pvarg->vt = VT_EMPTY;
  return hr;
}

namespace {

// Copies src's value into dest, which holds nothing (ownership duplicated, references counted).
HRESULT CopyValue(VARIANT *dest, const VARIANT *src) {
  VARIANT copy = *src;
  if (!(src->vt & VT_BYREF)) {
    if (src->vt & VT_ARRAY) {
      HRESULT hr = SafeArrayCopy(src->parray, &copy.parray);
      if (FAILED(hr)) return hr;
    } else if (src->vt == VT_BSTR) {
      // A NULL BSTR reads as the empty string, and its copy is one.
      copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(src->bstrVal), SysStringByteLen(src->bstrVal));
      if (!copy.bstrVal) return E_OUTOFMEMORY;
    } else if ((src->vt == VT_DISPATCH || src->vt == VT_UNKNOWN) && src->punkVal) {
      src->punkVal->AddRef();
    }
  }
  *dest = copy;
  return S_OK;
}

}  // namespace

extern "C" HRESULT WINAPI VariantCopy(VARIANTARG *pvargDest, VARIANTARG *pvargSrc) {
  if (!pvargDest || !pvargSrc) return E_INVALIDARG;
  if (pvargDest == pvargSrc) return S_OK;
  HRESULT hr = qnposix::ValidateVarType(pvargSrc->vt);
  if (FAILED(hr)) return hr;
  hr = VariantClear(pvargDest);
  if (FAILED(hr)) return hr;
  return CopyValue(pvargDest, pvargSrc);
}

extern "C" HRESULT WINAPI VariantCopyInd(VARIANT *pvarDest, VARIANTARG *pvargSrc) {
  if (!pvarDest || !pvargSrc) return E_INVALIDARG;
  if (!(pvargSrc->vt & VT_BYREF)) return VariantCopy(pvarDest, pvargSrc);
  HRESULT hr = qnposix::ValidateVarType(pvargSrc->vt);
  if (FAILED(hr)) return hr;
  VARIANT value;
  hr = qnposix::Dereference(pvargSrc, &value);
  if (FAILED(hr)) return hr;
  VARIANT copy;
  hr = CopyValue(&copy, &value);
  if (FAILED(hr)) return hr;
  // The destination may be the source: it is cleared only once the value is safe.
  if (pvarDest != pvargSrc) {
    hr = VariantClear(pvarDest);
    if (FAILED(hr)) {
      VariantClear(&copy);
      return hr;
    }
  }
  *pvarDest = copy;
  return S_OK;
}
