// SAFEARRAY: descriptors with a 16-byte header in front (the element IID, or the element type in its
// last 4 bytes), data in a separate block, or right after the descriptor for vectors.
#include <stdint.h>
#include <string.h>

#include "qnutil/posix/windows.h"
#include "internal/variant.h"

namespace {

// Set on vectors whose data shares the descriptor's block (Windows' value; not in its headers).
constexpr USHORT kCreateVector = 0x2000;
constexpr size_t kHeader = 16;
// Windows keeps the lock count to 16 bits.
constexpr ULONG kMaxLocks = 0xFFFF;

// The scalar sizes are the VARIANT services' own; an array also holds pointer-wide integers,
// decimals and whole VARIANTs.
ULONG ElementSize(VARTYPE vt) {
  switch (vt) {
    case VT_INT_PTR:
    case VT_UINT_PTR:
      return sizeof(void *);
    case VT_DECIMAL:
      return sizeof(DECIMAL);
    case VT_VARIANT:
      return sizeof(VARIANT);
    default:
      return static_cast<ULONG>(qnposix::ValueSize(vt));
  }
}

BYTE *HeaderOf(SAFEARRAY *psa) { return reinterpret_cast<BYTE *>(psa) - kHeader; }

size_t DescriptorBytes(UINT cDims) { return sizeof(SAFEARRAY) + (cDims - 1) * sizeof(SAFEARRAYBOUND); }

// Element count over every dimension; false on overflow of the address space.
bool CountElements(const SAFEARRAY *psa, size_t *count) {
  size_t n = 1;
  for (UINT i = 0; i < psa->cDims; ++i) {
    size_t c = psa->rgsabound[i].cElements;
    if (c && n > SIZE_MAX / c) return false;
    n *= c;
  }
  *count = n;
  return true;
}

// Makes the descriptor (and, for vectors, the data after it). rgsabound in the caller's order.
SAFEARRAY *Create(VARTYPE vt, UINT cDims, const SAFEARRAYBOUND *rgsabound, bool vector) {
  ULONG cb = ElementSize(vt);
  if (!cb || cDims == 0 || cDims > 0xFFFF || !rgsabound) return nullptr;
  size_t descriptor = DescriptorBytes(cDims);
  size_t data = 0;
  if (vector) {
    data = size_t{rgsabound[0].cElements} * cb;
    if (rgsabound[0].cElements && data / rgsabound[0].cElements != cb) return nullptr;
  }
  auto *block = static_cast<BYTE *>(CoTaskMemAlloc(kHeader + descriptor + data));
  if (!block) return nullptr;
  memset(block, 0, kHeader + descriptor + data);
  auto *psa = reinterpret_cast<SAFEARRAY *>(block + kHeader);
  psa->cDims = static_cast<USHORT>(cDims);
  psa->cbElements = cb;
  for (UINT i = 0; i < cDims; ++i) psa->rgsabound[i] = rgsabound[cDims - 1 - i];
  switch (vt) {
    case VT_BSTR:
      psa->fFeatures = FADF_BSTR | FADF_HAVEVARTYPE;
      break;
    case VT_VARIANT:
      psa->fFeatures = FADF_VARIANT | FADF_HAVEVARTYPE;
      break;
    case VT_UNKNOWN:
      psa->fFeatures = FADF_UNKNOWN | FADF_HAVEIID;
      memcpy(HeaderOf(psa), &IID_IUnknown, sizeof(IID));
      break;
    case VT_DISPATCH:
      psa->fFeatures = FADF_DISPATCH | FADF_HAVEIID;
      memcpy(HeaderOf(psa), &IID_IDispatch, sizeof(IID));
      break;
    default:
      psa->fFeatures = FADF_HAVEVARTYPE;
      break;
  }
  if (psa->fFeatures & FADF_HAVEVARTYPE) {
    DWORD stored = vt;
    memcpy(HeaderOf(psa) + kHeader - sizeof(DWORD), &stored, sizeof stored);
  }
  if (vector) {
    psa->fFeatures |= kCreateVector;
    psa->pvData = reinterpret_cast<BYTE *>(psa) + descriptor;
    return psa;
  }
  size_t count;
  if (!CountElements(psa, &count) || count > SIZE_MAX / cb) {
    CoTaskMemFree(block);
    return nullptr;
  }
  size_t bytes = count * cb;
  psa->pvData = CoTaskMemAlloc(bytes ? bytes : 1);
  if (!psa->pvData) {
    CoTaskMemFree(block);
    return nullptr;
  }
  memset(psa->pvData, 0, bytes);
  return psa;
}

// Releases what the elements own and zeroes them.
void ReleaseElements(SAFEARRAY *psa) {
  if (!psa->pvData) return;
  size_t count;
  if (!CountElements(psa, &count)) return;
  auto *p = static_cast<BYTE *>(psa->pvData);
  for (size_t i = 0; i < count; ++i, p += psa->cbElements) {
    if (psa->fFeatures & FADF_BSTR) {
      BSTR s;
      memcpy(&s, p, sizeof s);
      SysFreeString(s);
    } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
      IUnknown *u;
      memcpy(&u, p, sizeof u);
      if (u) u->Release();
    } else if (psa->fFeatures & FADF_VARIANT) {
      VariantClear(reinterpret_cast<VARIANT *>(p));
    }
  }
  memset(psa->pvData, 0, count * psa->cbElements);
}

// The element offset of rgIndices, in the caller's order: rgIndices[0] goes with the last bound of
// the descriptor and varies fastest in memory.
HRESULT OffsetOf(SAFEARRAY *psa, const LONG *rgIndices, size_t *offset) {
  size_t cell = 0;
  for (UINT i = psa->cDims; i-- > 0;) {
    const SAFEARRAYBOUND &b = psa->rgsabound[psa->cDims - 1 - i];
    int64_t rel = int64_t{rgIndices[i]} - b.lLbound;
    if (rel < 0 || rel >= int64_t{b.cElements}) return DISP_E_BADINDEX;
    cell = cell * b.cElements + static_cast<size_t>(rel);
  }
  *offset = cell * psa->cbElements;
  return S_OK;
}

}  // namespace

extern "C" SAFEARRAY *WINAPI SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND *rgsabound) {
  return Create(vt, cDims, rgsabound, false);
}

extern "C" SAFEARRAY *WINAPI SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) {
  SAFEARRAYBOUND bound = {cElements, lLbound};
  return Create(vt, 1, &bound, true);
}

extern "C" HRESULT WINAPI SafeArrayDestroyData(SAFEARRAY *psa) {
  if (!psa) return E_INVALIDARG;
  if (psa->cLocks) return DISP_E_ARRAYISLOCKED;
  ReleaseElements(psa);
  if (!(psa->fFeatures & (kCreateVector | FADF_STATIC | FADF_AUTO | FADF_EMBEDDED))) {
    CoTaskMemFree(psa->pvData);
    psa->pvData = nullptr;
  }
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayDestroy(SAFEARRAY *psa) {
  if (!psa) return S_OK;
  if (psa->cLocks) return DISP_E_ARRAYISLOCKED;
  SafeArrayDestroyData(psa);
  if (!(psa->fFeatures & (FADF_STATIC | FADF_AUTO | FADF_EMBEDDED))) CoTaskMemFree(HeaderOf(psa));
  return S_OK;
}

extern "C" UINT WINAPI SafeArrayGetDim(SAFEARRAY *psa) { return psa ? psa->cDims : 0; }

extern "C" UINT WINAPI SafeArrayGetElemsize(SAFEARRAY *psa) { return psa ? psa->cbElements : 0; }

extern "C" HRESULT WINAPI SafeArrayGetLBound(SAFEARRAY *psa, UINT nDim, LONG *plLbound) {
  if (!psa || !plLbound) return E_INVALIDARG;
  if (nDim == 0 || nDim > psa->cDims) return DISP_E_BADINDEX;
  *plLbound = psa->rgsabound[psa->cDims - nDim].lLbound;
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayGetUBound(SAFEARRAY *psa, UINT nDim, LONG *plUbound) {
  if (!psa || !plUbound) return E_INVALIDARG;
  if (nDim == 0 || nDim > psa->cDims) return DISP_E_BADINDEX;
  const SAFEARRAYBOUND &b = psa->rgsabound[psa->cDims - nDim];
  *plUbound = static_cast<LONG>(b.lLbound + static_cast<int64_t>(b.cElements) - 1);
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayGetVartype(SAFEARRAY *psa, VARTYPE *pvt) {
  if (!psa || !pvt) return E_INVALIDARG;
  if (psa->fFeatures & FADF_RECORD) {
    *pvt = VT_RECORD;
  } else if (psa->fFeatures & FADF_HAVEIID) {
    *pvt = (psa->fFeatures & FADF_DISPATCH) ? VT_DISPATCH : VT_UNKNOWN;
  } else if (psa->fFeatures & FADF_HAVEVARTYPE) {
    DWORD stored;
    memcpy(&stored, HeaderOf(psa) + kHeader - sizeof(DWORD), sizeof stored);
    *pvt = static_cast<VARTYPE>(stored);
  } else if (psa->fFeatures & FADF_BSTR) {
    *pvt = VT_BSTR;
  } else if (psa->fFeatures & FADF_VARIANT) {
    *pvt = VT_VARIANT;
  } else if (psa->fFeatures & FADF_DISPATCH) {
    *pvt = VT_DISPATCH;
  } else if (psa->fFeatures & FADF_UNKNOWN) {
    *pvt = VT_UNKNOWN;
  } else {
    return E_INVALIDARG;
  }
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayLock(SAFEARRAY *psa) {
  if (!psa) return E_INVALIDARG;
  if (psa->cLocks >= kMaxLocks) return E_UNEXPECTED;
  ++psa->cLocks;
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayUnlock(SAFEARRAY *psa) {
  if (!psa) return E_INVALIDARG;
  if (psa->cLocks == 0) return E_UNEXPECTED;
  --psa->cLocks;
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayAccessData(SAFEARRAY *psa, void **ppvData) {
  if (!psa || !ppvData) return E_INVALIDARG;
  HRESULT hr = SafeArrayLock(psa);
  *ppvData = SUCCEEDED(hr) ? psa->pvData : nullptr;
  return hr;
}

extern "C" HRESULT WINAPI SafeArrayUnaccessData(SAFEARRAY *psa) { return SafeArrayUnlock(psa); }

extern "C" HRESULT WINAPI SafeArrayPtrOfIndex(SAFEARRAY *psa, LONG *rgIndices, void **ppvData) {
  if (!psa || !rgIndices || !ppvData) return E_INVALIDARG;
  size_t offset;
  HRESULT hr = OffsetOf(psa, rgIndices, &offset);
  if (FAILED(hr)) return hr;
  *ppvData = static_cast<BYTE *>(psa->pvData) + offset;
  return S_OK;
}

extern "C" HRESULT WINAPI SafeArrayPutElement(SAFEARRAY *psa, LONG *rgIndices, void *pv) {
  if (!psa || !rgIndices) return E_INVALIDARG;
  void *cell;
  HRESULT hr = SafeArrayPtrOfIndex(psa, rgIndices, &cell);
  if (FAILED(hr)) return hr;
  if (!pv && !(psa->fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH))) return E_INVALIDARG;
  hr = SafeArrayLock(psa);
  if (FAILED(hr)) return hr;
  if (psa->fFeatures & FADF_VARIANT) {
    hr = VariantCopy(static_cast<VARIANT *>(cell), static_cast<VARIANT *>(pv));
  } else if (psa->fFeatures & FADF_BSTR) {
    BSTR copy = nullptr;
    auto *src = static_cast<BSTR>(pv);
    if (src) {
      copy = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(src), SysStringByteLen(src));
      if (!copy) hr = E_OUTOFMEMORY;
    }
    if (SUCCEEDED(hr)) {
      BSTR old;
      memcpy(&old, cell, sizeof old);
      SysFreeString(old);
      memcpy(cell, &copy, sizeof copy);
    }
  } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    auto *fresh = static_cast<IUnknown *>(pv);
    if (fresh) fresh->AddRef();
    IUnknown *old;
    memcpy(&old, cell, sizeof old);
    if (old) old->Release();
    memcpy(cell, &fresh, sizeof fresh);
  } else {
    memcpy(cell, pv, psa->cbElements);
  }
  SafeArrayUnlock(psa);
  return hr;
}

extern "C" HRESULT WINAPI SafeArrayGetElement(SAFEARRAY *psa, LONG *rgIndices, void *pv) {
  if (!psa || !rgIndices || !pv) return E_INVALIDARG;
  void *cell;
  HRESULT hr = SafeArrayPtrOfIndex(psa, rgIndices, &cell);
  if (FAILED(hr)) return hr;
  hr = SafeArrayLock(psa);
  if (FAILED(hr)) return hr;
  if (psa->fFeatures & FADF_VARIANT) {
    auto *dest = static_cast<VARIANT *>(pv);
    // The caller's VARIANT is an out-parameter: its old content is not ours to clear.
    VariantInit(dest);
    hr = VariantCopy(dest, static_cast<VARIANT *>(cell));
  } else if (psa->fFeatures & FADF_BSTR) {
    BSTR src;
    memcpy(&src, cell, sizeof src);
    BSTR copy = nullptr;
    if (src) {
      copy = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(src), SysStringByteLen(src));
      if (!copy) hr = E_OUTOFMEMORY;
    }
    if (SUCCEEDED(hr)) memcpy(pv, &copy, sizeof copy);
  } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    IUnknown *u;
    memcpy(&u, cell, sizeof u);
    if (u) u->AddRef();
    memcpy(pv, &u, sizeof u);
  } else {
    memcpy(pv, cell, psa->cbElements);
  }
  SafeArrayUnlock(psa);
  return hr;
}

extern "C" HRESULT WINAPI SafeArrayCopy(SAFEARRAY *psa, SAFEARRAY **ppsaOut) {
  if (!ppsaOut) return E_INVALIDARG;
  *ppsaOut = nullptr;
  if (!psa) return S_OK;
  VARTYPE vt;
  if (FAILED(SafeArrayGetVartype(psa, &vt)) || ElementSize(vt) != psa->cbElements) return E_INVALIDARG;
  SAFEARRAYBOUND bounds[64];
  if (psa->cDims > 64) return E_INVALIDARG;
  for (UINT i = 0; i < psa->cDims; ++i) bounds[i] = psa->rgsabound[psa->cDims - 1 - i];
  SAFEARRAY *copy = SafeArrayCreate(vt, psa->cDims, bounds);
  if (!copy) return E_OUTOFMEMORY;
  size_t count = 0;
  CountElements(psa, &count);
  auto *src = static_cast<BYTE *>(psa->pvData);
  auto *dst = static_cast<BYTE *>(copy->pvData);
  HRESULT hr = S_OK;
  for (size_t i = 0; i < count && SUCCEEDED(hr); ++i, src += psa->cbElements, dst += psa->cbElements) {
    if (psa->fFeatures & FADF_VARIANT) {
      hr = VariantCopy(reinterpret_cast<VARIANT *>(dst), reinterpret_cast<VARIANT *>(src));
    } else if (psa->fFeatures & FADF_BSTR) {
      BSTR s, d = nullptr;
      memcpy(&s, src, sizeof s);
      if (s && !(d = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(s), SysStringByteLen(s)))) hr = E_OUTOFMEMORY;
      memcpy(dst, &d, sizeof d);
    } else {
      memcpy(dst, src, psa->cbElements);
      if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
        IUnknown *u;
        memcpy(&u, src, sizeof u);
        if (u) u->AddRef();
      }
    }
  }
  if (FAILED(hr)) {
    SafeArrayDestroy(copy);
    return hr;
  }
  *ppsaOut = copy;
  return S_OK;
}
