// Automation's services (BSTR, SAFEARRAY, VARIANT) as the subset provides them, with Windows' results.
//
// BSTR: a 4-byte byte count, then the UTF-16 text and a 2-byte terminator; the BSTR points at the
// text. A NULL BSTR stands for the empty string everywhere it is read.
//
// SAFEARRAY: the descriptor and the data are separate blocks from the task allocator. Arrays made by
// SafeArrayCreate(Vector) carry FADF_HAVEVARTYPE and one kind flag by element type, as Windows sets
// them: FADF_BSTR, FADF_VARIANT, FADF_UNKNOWN, or FADF_DISPATCH (the interface arrays with
// FADF_HAVEIID instead of FADF_HAVEVARTYPE, the interface's IID kept in front of the descriptor).
// The element type is kept in front of the descriptor too (SafeArrayGetVartype).
//
// VariantChangeType(Ex): the subset converts among VT_EMPTY, VT_NULL, VT_I2, VT_I4, VT_R4, VT_R8,
// VT_BOOL, VT_BSTR, VT_ERROR, VT_UI1, VT_I1, VT_UI2, VT_UI4, VT_I8, VT_UI8, VT_INT, VT_UINT, VT_CY,
// VT_DATE (as a number), VT_UNKNOWN and VT_DISPATCH, and their VT_BYREF sources, in the en-US locale
// whatever the LCID, with the results Windows gives (checked pair by pair against Wine):
// - anything but VT_NULL and VT_ERROR becomes VT_EMPTY or VT_NULL; VT_NULL and VT_ERROR convert to
//   nothing else, and nothing converts to VT_ERROR;
// - doubles round to integers half to even ("2.5" and 2.5 give 2), out of range is DISP_E_OVERFLOW;
// - true is -1 (all ones in an unsigned type) and prints "-1", or "True" with VARIANT_ALPHABOOL;
//   "True", "False", "#TRUE#", "#FALSE#" (any case, no blanks) and numbers read as booleans;
// - reals print with 15 (VT_R8) or 7 (VT_R4) significant digits, in exponent form ("1E-05",
//   "1.23456789012346E+15") below 1e-4 or past those digits;
// - texts read with blanks around them, a sign ('+', '-', parentheses, or '-' behind), '$',
//   thousands separators, a decimal point, an exponent, or "&H"/"&O" digits; "" is a mismatch;
// - an object converts through its value (IDispatch::Invoke of DISPID_VALUE with
//   DISPATCH_PROPERTYGET; a failed Invoke is DISP_E_TYPEMISMATCH) unless VARIANT_NOVALUEPROP is given;
//   a NULL object is DISP_E_BADVARTYPE except to VT_EMPTY, VT_NULL and VT_DISPATCH.
// Limits: an object whose value is an object is followed 16 deep at most, then DISP_E_TYPEMISMATCH
// (Windows follows an object whose value is itself until its stack runs out); VT_DATE never prints
// or parses as a date (to VT_BSTR it is DISP_E_TYPEMISMATCH); texts become VT_I8/VT_UI8 through a
// double (exact to 2^53); VT_DECIMAL, VT_RECORD and arrays do not convert (DISP_E_TYPEMISMATCH or
// DISP_E_BADVARTYPE). VT_RECORD values are never cleared or copied: the subset treats the type as
// invalid (DISP_E_BADVARTYPE) in VariantClear and VariantCopy.
#pragma once

#include "qnutil/posix/oaidl.h"

// A new BSTR holding the text up to its terminator; NULL for a NULL source or when memory is short.
QN_WIN32_API BSTR WINAPI SysAllocString(const OLECHAR *psz);
// A new BSTR of ui characters copied from pch, or left uninitialised when pch is NULL (the
// terminator is written either way). NULL when memory is short.
QN_WIN32_API BSTR WINAPI SysAllocStringLen(const OLECHAR *pch, UINT ui);
// A new BSTR of len bytes (an odd count allowed) copied from psz, or uninitialised when psz is NULL;
// a 2-byte terminator follows the bytes.
QN_WIN32_API BSTR WINAPI SysAllocStringByteLen(LPCSTR psz, UINT len);
// Replaces *pbstr by a copy of psz (the old string is freed). FALSE when memory is short, *pbstr kept.
QN_WIN32_API INT WINAPI SysReAllocString(BSTR *pbstr, const OLECHAR *psz);
// Replaces *pbstr by len characters of psz (uninitialised for a NULL psz). FALSE when memory is short.
QN_WIN32_API INT WINAPI SysReAllocStringLen(BSTR *pbstr, const OLECHAR *psz, UINT len);
// Frees a BSTR; NULL does nothing.
QN_WIN32_API void WINAPI SysFreeString(BSTR bstrString);
// Length in characters (the byte count / 2); 0 for NULL.
QN_WIN32_API UINT WINAPI SysStringLen(BSTR pbstr);
// Length in bytes; 0 for NULL.
QN_WIN32_API UINT WINAPI SysStringByteLen(BSTR bstr);

// A new array of cDims dimensions (rgsabound as the caller lists them, copied in reverse into the
// descriptor) of zero-filled elements. NULL for a type that cannot be an element (VT_EMPTY, VT_NULL,
// VT_RECORD without its record information, ...), for cDims 0, or when memory is short.
QN_WIN32_API SAFEARRAY *WINAPI SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND *rgsabound);
// A one-dimensional array of cElements elements from lLbound.
QN_WIN32_API SAFEARRAY *WINAPI SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements);
// Frees the elements (BSTRs freed, VARIANTs cleared, interfaces released), the data and the
// descriptor. DISP_E_ARRAYISLOCKED (nothing freed) while the array is locked; S_OK for NULL.
QN_WIN32_API HRESULT WINAPI SafeArrayDestroy(SAFEARRAY *psa);
// Frees the elements and the data block only (the descriptor stays). DISP_E_ARRAYISLOCKED when locked.
QN_WIN32_API HRESULT WINAPI SafeArrayDestroyData(SAFEARRAY *psa);
QN_WIN32_API UINT WINAPI SafeArrayGetDim(SAFEARRAY *psa);
QN_WIN32_API UINT WINAPI SafeArrayGetElemsize(SAFEARRAY *psa);
// Bounds of dimension nDim, counted from 1 in the caller's order. DISP_E_BADINDEX for a dimension out
// of range, E_INVALIDARG for a NULL array or out-parameter.
QN_WIN32_API HRESULT WINAPI SafeArrayGetLBound(SAFEARRAY *psa, UINT nDim, LONG *plLbound);
QN_WIN32_API HRESULT WINAPI SafeArrayGetUBound(SAFEARRAY *psa, UINT nDim, LONG *plUbound);
// The element type. E_INVALIDARG when the array keeps none (made by hand, without FADF_HAVEVARTYPE,
// FADF_BSTR, FADF_UNKNOWN, FADF_DISPATCH or FADF_VARIANT).
QN_WIN32_API HRESULT WINAPI SafeArrayGetVartype(SAFEARRAY *psa, VARTYPE *pvt);
// Lock counting: E_UNEXPECTED when the count would overflow or go below zero.
QN_WIN32_API HRESULT WINAPI SafeArrayLock(SAFEARRAY *psa);
QN_WIN32_API HRESULT WINAPI SafeArrayUnlock(SAFEARRAY *psa);
// Locks the array and answers its data; SafeArrayUnaccessData unlocks it.
QN_WIN32_API HRESULT WINAPI SafeArrayAccessData(SAFEARRAY *psa, void **ppvData);
QN_WIN32_API HRESULT WINAPI SafeArrayUnaccessData(SAFEARRAY *psa);
// The address of the element at rgIndices (one index per dimension, the caller's order).
// DISP_E_BADINDEX for an index out of bounds. No lock is taken.
QN_WIN32_API HRESULT WINAPI SafeArrayPtrOfIndex(SAFEARRAY *psa, LONG *rgIndices, void **ppvData);
// Stores a copy of *pv (for BSTR elements pv is the BSTR itself, for interface elements the
// interface, AddRef'd; for VARIANT elements a VARIANT*, copied by VariantCopy), freeing the old element.
QN_WIN32_API HRESULT WINAPI SafeArrayPutElement(SAFEARRAY *psa, LONG *rgIndices, void *pv);
// Copies the element into *pv (a new BSTR, an AddRef'd interface, a VariantCopy'd VARIANT).
QN_WIN32_API HRESULT WINAPI SafeArrayGetElement(SAFEARRAY *psa, LONG *rgIndices, void *pv);
// A deep copy of psa into a new array (*ppsaOut NULL for a NULL source).
QN_WIN32_API HRESULT WINAPI SafeArrayCopy(SAFEARRAY *psa, SAFEARRAY **ppsaOut);

// Flags of VariantChangeType(Ex).
#define VARIANT_NOVALUEPROP 0x01
#define VARIANT_ALPHABOOL 0x02
#define VARIANT_NOUSEROVERRIDE 0x04
#define VARIANT_CALENDAR_HIJRI 0x08
#define VARIANT_LOCALBOOL 0x10

// Makes pvarg VT_EMPTY without reading what it held.
QN_WIN32_API void WINAPI VariantInit(VARIANTARG *pvarg);
// Frees what pvarg owns (a BSTR, an interface reference, an array, a VARIANT array element) and
// leaves it VT_EMPTY. DISP_E_BADVARTYPE (pvarg untouched) for an unknown type; DISP_E_ARRAYISLOCKED
// for an owned array that is locked (the array is left alone, the variant is VT_EMPTY all the same).
QN_WIN32_API HRESULT WINAPI VariantClear(VARIANTARG *pvarg);
// (The sources are not const, as in the system headers.)
// Clears pvargDest, then copies pvargSrc into it: BSTRs and arrays duplicated, interfaces AddRef'd,
// VT_BYREF values copied as pointers.
QN_WIN32_API HRESULT WINAPI VariantCopy(VARIANTARG *pvargDest, VARIANTARG *pvargSrc);
// As VariantCopy, but a VT_BYREF source is copied as the value it points at.
QN_WIN32_API HRESULT WINAPI VariantCopyInd(VARIANT *pvarDest, VARIANTARG *pvargSrc);
// Converts pvargSrc to type vt into pvargDest (which may be the source). On failure pvargDest is
// unchanged (when distinct from the source).
QN_WIN32_API HRESULT WINAPI VariantChangeType(VARIANTARG *pvargDest, VARIANTARG *pvargSrc, USHORT wFlags,
                                              VARTYPE vt);
QN_WIN32_API HRESULT WINAPI VariantChangeTypeEx(VARIANTARG *pvargDest, VARIANTARG *pvargSrc, LCID lcid,
                                                USHORT wFlags, VARTYPE vt);
