// The root of COM as the subset declares it: IUnknown with Windows' slot order and identifier, the
// method-declaration macros applications use to implement interfaces, and the task allocator that
// COM interfaces hand memory across with.
//
// The subset has no apartments, no class registry and no marshalling: objects are plain C++ objects
// whose first slots are IUnknown's, called directly, so an application implements an interface on
// POSIX exactly as it does on Windows.
#pragma once

#include "qnutil/posix/guiddef.h"
#include "qnutil/posix/winerror.h"

#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define PURE = 0

extern "C" QNUTIL_API const IID IID_IUnknown;  // {00000000-0000-0000-C000-000000000046}

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
typedef IUnknown *LPUNKNOWN;

// The task allocator: blocks that one side of an interface allocates and the other frees (names in
// STATSTG, for one). Any thread may free what another allocated. CoTaskMemAlloc answers NULL when
// memory is short; CoTaskMemFree(NULL) does nothing.
QN_WIN32_API LPVOID WINAPI CoTaskMemAlloc(SIZE_T cb);
QN_WIN32_API LPVOID WINAPI CoTaskMemRealloc(LPVOID pv, SIZE_T cb);
QN_WIN32_API void WINAPI CoTaskMemFree(LPVOID pv);
