// Type information lookup for Automation objects: the type information of an object's class
// (coclass), and of that class's default outgoing (event) interface, which a client needs to sink
// the object's events.
//
// Both only query the object and the type-information interfaces it leads to; they keep no state and
// release every reference they obtain on every path. *ppTypeInfo is NULL on entry to the lookup and
// receives one reference, owned by the caller, on success only.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

// The class's type information, tried in this order:
// 1. the object's IProvideClassInfo, then its IProvideClassInfo2: GetClassInfo's answer (the class
//    identifier is not looked at);
// 2. with clsid GUID_NULL: E_FAIL, with no further call on the object;
// 3. the object's IDispatch type information 0 (LOCALE_SYSTEM_DEFAULT), its containing type library,
//    and that library's type information for clsid; the first failure among these is answered.
// A NULL object with a clsid other than GUID_NULL answers E_INVALIDARG (there is no one to ask).
QNUTIL_API HRESULT GetCoClassTypeInfo(IDispatch *pdisp, ITypeInfo **ppTypeInfo, REFCLSID clsid);

// The type information of the first implemented interface of the class (found as GetCoClassTypeInfo
// finds it) whose flags hold both IMPLTYPEFLAG_FDEFAULT and IMPLTYPEFLAG_FSOURCE; entries whose flags
// cannot be read are passed over. A failure of the class lookup is answered unchanged; every later
// failure (no type attributes, no such interface, its reference or its type information not found)
// is E_FAIL.
QNUTIL_API HRESULT GetTypeInfoForDefaultEvents(IDispatch *pdisp, ITypeInfo **ppTypeInfo, REFCLSID clsid);
