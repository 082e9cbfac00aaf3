// VARIANT and parameter helpers for code that implements or calls IDispatch objects: optional
// parameters, argument type checks, an object's default value, emptiness, and VARIANTs turned into
// blocks of bytes.
//
// None keeps state. Every temporary VARIANT and interface reference they take is released on every
// path, exceptions included. Only LoadVariantToByteBuffer allocates from the library heap, and only it
// can throw (COOMExcep).
//
// An object's value is read with one call: Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT,
// DISPATCH_PROPERTYGET, no arguments, a result, no exception record, no argument-error index).
//
// Chains of objects (an object whose value is an object, ...) and of by-reference VARIANTs are
// followed at most kMaxValueChain steps: a chain that has not reached a plain value by then is taken
// as one that cannot be read (E_FAIL, or "not empty"). So an object whose value is itself, or two
// objects whose values name each other, end after kMaxValueChain value reads.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

namespace qn {
// The most value reads (and by-reference steps) that one call follows.
constexpr int kMaxValueChain = 32;
}  // namespace qn

// Fills in an optional Invoke parameter. A VT_ERROR parameter (any code: how callers leave one out)
// becomes the default converted to vt (the default is not changed), or, without a default, vt's empty
// value (0, false, the empty string). Any other parameter is converted to vt in place. Answers
// VariantChangeType's result (flags 0); on failure the parameter keeps its value.
QNUTIL_API HRESULT ConvertOptionalVariantParam(VARIANT *pvarParam, VARTYPE vt, const VARIANT *pvarDefault);

// S_OK when rgvarg[iArg] (reverse order: 0 is the last argument) has exactly the tag vt, all 16 bits;
// else DISP_E_TYPEMISMATCH, with iArg stored in *puArgErr when that is not NULL. iArg must be below
// cArgs: it is not checked. Converts nothing.
QNUTIL_API HRESULT EnsureParamType(DISPPARAMS *pdispparams, UINT iArg, VARTYPE vt, UINT *puArgErr);

// The object's value in *pvarResult, following objects whose value is an object until a value that is
// not one. *pvarResult must hold nothing that needs freeing; it is VT_EMPTY after a failure.
// E_INVALIDARG for a NULL object (also met along the chain); E_FAIL when a read fails, whatever the
// object answered, or when the chain is longer than qn::kMaxValueChain.
QNUTIL_API HRESULT GetDispValueProp(IDispatch *pdisp, VARIANT *pvarResult);

// True for NULL, VT_EMPTY, VT_NULL, VT_ERROR with code 0, a VT_BYREF|VT_VARIANT that refers to NULL
// or to an empty VARIANT, a VT_DISPATCH holding NULL, and an object whose value (followed through
// objects) is empty. False for everything else, an empty VT_BSTR and an object whose value cannot be
// read included.
QNUTIL_API bool IsVariantEmpty(const VARIANT *pvar);

// Turns a VARIANT into a new block of bytes, owned by the caller and released with _operator_delete.
// A VT_DISPATCH source is replaced by its value as GetDispValueProp reads it, and that call's failure
// is answered (E_INVALIDARG for a NULL object, E_FAIL for a failed read). Sources, by reference too:
// - VT_BSTR, a comma-separated list of decimal numbers: one byte per field (1 + the commas), the low 8
//   bits of each number (300 gives 44; a number too large for 32 bits gives 255), an empty field
//   gives 0, blanks before a field are skipped and text after the last number is ignored. A field that
//   starts with anything but a digit 0-9, a comma or the end (a sign, a letter) gives E_INVALIDARG;
//   so does a blank or NULL text.
// - a one-dimensional SAFEARRAY (tag VT_ARRAY|VT_UI1 or VT_ARRAY|VT_VARIANT) of n > 0 elements: the
//   array's FADF_VARIANT feature decides what it holds. Bytes are copied; VARIANT elements are
//   VT_UI1 or are converted to it (VariantChangeType), so 256 or -1 give DISP_E_OVERFLOW and other
//   failures pass on. E_INVALIDARG for a NULL array, another dimension count, no elements, or
//   FADF_VARIANT on elements that are not VARIANT-sized. A failure of SafeArrayAccessData is answered
//   without the data being read.
// - anything else: E_INVALIDARG.
// *ppbBuffer and *pcbBuffer are set on success only: after any failure (COOMExcep included) they hold
// NULL and 0 and nothing is left allocated.
QNUTIL_API HRESULT LoadVariantToByteBuffer(const VARIANT &var, BYTE **ppbBuffer, DWORD *pcbBuffer);
