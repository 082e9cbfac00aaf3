// Owning wrappers over a kernel handle, a critical section and a loaded module. Each releases what
// it holds in its destructor and converts to the raw value for direct platform calls.
//
// Copying: the library never copies these wrappers, and a copy would make two owners of one handle
// (or a second, unusable lock record). So none of them can be copied. CHandle and CDLL can be moved
// instead: the moved-to wrapper first releases what it held, then takes the other's value, and the
// other is left empty. A CCriticalSection can be neither copied nor moved: its address is the lock.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

// Holds one kernel handle. NULL and INVALID_HANDLE_VALUE both mean "no handle"; any other value is
// closed exactly once, by CloseHandle, by assigning another handle, or by the destructor.
class QNUTIL_API CHandle {
 public:
  CHandle(HANDLE h = NULL);                     // stores h unchanged
  ~CHandle();
  CHandle(const CHandle &) = delete;
  CHandle &operator=(const CHandle &) = delete;
  CHandle(CHandle &&other) noexcept;
  CHandle &operator=(CHandle &&other) noexcept;

  // Closes an owned handle and stores NULL; leaves NULL and INVALID_HANDLE_VALUE alone.
  void CloseHandle();
  // Releases the held handle as CloseHandle does, then holds h and answers it. Assigning the very
  // handle already held keeps it, open.
  HANDLE operator=(HANDLE h);

  operator void *() const { return m_h; }
  HANDLE operator()() const { return m_h; }
  bool operator!() const { return m_h == NULL || m_h == INVALID_HANDLE_VALUE; }
  // The stored field, for a callee to write a handle into. The handle held at that moment is not
  // released: the caller takes it over.
  HANDLE *operator&() { return &m_h; }
  void Swap(CHandle &other);                   // exchanges the values; closes nothing

 private:
  HANDLE m_h;
};

// A process-local lock that its owner may take again; each Lock is matched by one Unlock.
class QNUTIL_API CCriticalSection {
 public:
  CCriticalSection();
  ~CCriticalSection();
  CCriticalSection(const CCriticalSection &) = delete;
  CCriticalSection &operator=(const CCriticalSection &) = delete;

  void Lock();
  void Unlock();                               // by the owning thread only
  operator _RTL_CRITICAL_SECTION *() { return &m_cs; }

 private:
  CRITICAL_SECTION m_cs;
};

// Holds one reference to a loaded module, or none (NULL).
class QNUTIL_API CDLL {
 public:
  CDLL();
  // Loads at once; on failure the wrapper is empty and says so through operator!.
  explicit CDLL(const unsigned short *pwszName);
  ~CDLL();
  CDLL(const CDLL &) = delete;
  CDLL &operator=(const CDLL &) = delete;
  CDLL(CDLL &&other) noexcept;
  CDLL &operator=(CDLL &&other) noexcept;

  // Frees the held module (always, even when the same name is loaded again), then loads the name.
  // S_OK, or E_FAIL with the wrapper empty.
  HRESULT LoadLibraryW(const unsigned short *pwszName);
  // The entry point, or NULL when it does not exist or no module is held (the platform is not asked
  // then: it would read NULL as the main program).
  FARPROC GetProcAddress(const char *pszName);
  bool operator!() const { return m_hModule == NULL; }
  operator HMODULE() const { return m_hModule; }

 private:
  HMODULE m_hModule;
};
