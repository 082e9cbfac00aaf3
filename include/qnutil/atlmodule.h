// The module record: the process-wide record that describes this library to the host, in the
// published layout of the ATL 3.0 module record (132 bytes on 32-bit targets). No module library
// of that kind is present on any target, so qnutil keeps the record and its initialisation and
// termination itself (internal, not exported).
//
// On load the module entry (DllMain on Windows; the shared object's load on POSIX) sets pguidVer,
// points _pModule at the record, sets cbSize and dwAtlBuildVer, initialises the record with no
// object map and the library's own module handle, and switches off thread notifications. On unload
// it deletes the record's critical sections and clears _pModule.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

struct _ATL_OBJMAP_ENTRY;
struct _AtlCreateWndData;
struct _ATL_TERMFUNC_ELEM;

struct _ATL_MODULE {
  UINT cbSize;                      // sizeof(_ATL_MODULE): 132 on 32-bit targets
  HINSTANCE m_hInst;                // this library's module
  HINSTANCE m_hInstResource;        // the module whose string table the string classes load from
  HINSTANCE m_hInstTypeLib;         // this library's module too
  _ATL_OBJMAP_ENTRY *m_pObjMap;     // always NULL: the library registers no classes
  LONG m_nLockCnt;                  // raised and lowered (interlocked) by the stream objects
  HANDLE m_hHeap;                   // the process heap
  union {
    CRITICAL_SECTION m_csTypeInfoHolder;
    CRITICAL_SECTION m_csStaticDataInit;
  };
  CRITICAL_SECTION m_csWindowCreate;
  CRITICAL_SECTION m_csObjMap;
  DWORD dwAtlBuildVer;              // 0x0300
  _AtlCreateWndData *m_pCreateWndList;
  bool m_bDestroyHeap;
  GUID *pguidVer;                   // &GUID_ATLVer
  DWORD m_dwHeaps;
  HANDLE *m_phHeaps;
  int m_nHeap;
  _ATL_TERMFUNC_ELEM *m_pTermFuncs;
};

static_assert(sizeof(void *) != 4 || sizeof(_ATL_MODULE) == 132,
              "the module record has the published 32-bit layout");

// {B62F5910-6528-11D1-9611-0000F81E0D0D}
extern "C" QNUTIL_API const GUID GUID_ATLVer;
// Points at the library's record from load to unload; NULL before and after.
extern "C" QNUTIL_API _ATL_MODULE *_pModule;
