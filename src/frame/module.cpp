// The library's load and unload: the process heap handle, the module record with its own
// initialisation and termination, and the module entry that runs them.
//
// Windows calls the entry as DllMain, after the runtime has run the static initialisers. On POSIX
// the shared object's load and unload run the same entry: a static object defined below the heap
// handle in this file is constructed after it (same translation unit, order of definition), and its
// destructor is the process detach.

#include "process_heap.h"
#include "qnutil/atlmodule.h"

#if !defined(_WIN32)
#  include <dlfcn.h>
#endif

namespace qn_frame {

// The one dynamic initialiser of the library. It allocates nothing.
HANDLE g_hProcessHeap = GetProcessHeap();

}  // namespace qn_frame

// {B62F5910-6528-11D1-9611-0000F81E0D0D}
const GUID GUID_ATLVer = {0xB62F5910, 0x6528, 0x11D1, {0x96, 0x11, 0x00, 0x00, 0xF8, 0x1E, 0x0D, 0x0D}};
_ATL_MODULE *_pModule = NULL;

namespace {

_ATL_MODULE g_module;

// The record's own initialisation: the caller has set cbSize, dwAtlBuildVer and pguidVer. The
// library has no object map, so there is nothing to register.
HRESULT AtlModuleInit(_ATL_MODULE *pM, _ATL_OBJMAP_ENTRY *pObjMap, HINSTANCE hInst) {
  pM->m_pObjMap = pObjMap;
  pM->m_hInst = pM->m_hInstTypeLib = pM->m_hInstResource = hInst;
  pM->m_nLockCnt = 0;
  pM->m_hHeap = qn_frame::g_hProcessHeap;
  pM->m_pCreateWndList = NULL;
  pM->m_bDestroyHeap = false;
  pM->m_dwHeaps = 0;
  pM->m_phHeaps = NULL;
  pM->m_nHeap = 0;
  pM->m_pTermFuncs = NULL;
  InitializeCriticalSection(&pM->m_csTypeInfoHolder);
  InitializeCriticalSection(&pM->m_csWindowCreate);
  InitializeCriticalSection(&pM->m_csObjMap);
  return S_OK;
}

HRESULT AtlModuleTerm(_ATL_MODULE *pM) {
  DeleteCriticalSection(&pM->m_csObjMap);
  DeleteCriticalSection(&pM->m_csWindowCreate);
  DeleteCriticalSection(&pM->m_csTypeInfoHolder);
  _pModule = NULL;
  return S_OK;
}

BOOL ModuleEntry(HINSTANCE hInstance, DWORD dwReason, LPVOID) {
  if (dwReason == DLL_PROCESS_ATTACH) {
    g_module.pguidVer = const_cast<GUID *>(&GUID_ATLVer);
    _pModule = &g_module;
    g_module.cbSize = sizeof(_ATL_MODULE);
    g_module.dwAtlBuildVer = 0x0300;
    AtlModuleInit(&g_module, NULL, hInstance);
    DisableThreadLibraryCalls(hInstance);
  } else if (dwReason == DLL_PROCESS_DETACH) {
    AtlModuleTerm(&g_module);
  }
  return TRUE;
}

#if !defined(_WIN32)

// This shared object's own module handle, as the subset's loader knows it: the file that holds
// this code, looked up by its full path (no reference is added).
HINSTANCE OwnModule() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void *>(&OwnModule), &info) == 0 || info.dli_fname == NULL) return NULL;
  WCHAR wszPath[4096];
  if (MultiByteToWideChar(CP_UTF8, 0, info.dli_fname, -1, wszPath, 4096) == 0) return NULL;
  return GetModuleHandleW(wszPath);
}

struct ModuleLifetime {
  HINSTANCE hInstance;
  ModuleLifetime() : hInstance(OwnModule()) { ModuleEntry(hInstance, DLL_PROCESS_ATTACH, NULL); }
  ~ModuleLifetime() { ModuleEntry(hInstance, DLL_PROCESS_DETACH, NULL); }
};

ModuleLifetime g_lifetime;

#endif

}  // namespace

#if defined(_WIN32)
extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD dwReason, LPVOID pvReserved) {
  return ModuleEntry(hInstance, dwReason, pvReserved);
}
#endif
