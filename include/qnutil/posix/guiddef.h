// GUIDs as the subset declares them: the 16-byte record of Windows, its comparison, and the
// creation and text services of COM.
#pragma once

#include "qnutil/posix/windef.h"

typedef struct _GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
} GUID;
typedef GUID IID, CLSID, FMTID;
typedef GUID *LPGUID, *LPIID, *LPCLSID;
typedef const GUID *LPCGUID;
#define REFGUID const GUID &
#define REFIID const IID &
#define REFCLSID const CLSID &
#define REFFMTID const FMTID &

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return memcmp(&a, &b, sizeof(GUID)) == 0; }
#define IsEqualIID(a, b) IsEqualGUID(a, b)
#define IsEqualCLSID(a, b) IsEqualGUID(a, b)
inline bool operator==(REFGUID a, REFGUID b) { return IsEqualGUID(a, b); }
inline bool operator!=(REFGUID a, REFGUID b) { return !IsEqualGUID(a, b); }

extern "C" QNUTIL_API const GUID GUID_NULL;
#define IID_NULL GUID_NULL
#define CLSID_NULL GUID_NULL

// A fresh random (version 4) GUID from the kernel's random source. S_OK; E_INVALIDARG for NULL, or
// the folded system error when the random source fails.
QN_WIN32_API HRESULT WINAPI CoCreateGuid(GUID *pguid);
// Writes the 38-character registry form "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" and its terminator.
// Answers 39, or 0 (nothing written) when cchMax is below 39.
QN_WIN32_API int WINAPI StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax);
