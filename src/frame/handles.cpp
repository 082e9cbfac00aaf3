// The owning wrappers over kernel handles, critical sections and loaded modules.

#include <memory>

#include "qnutil/handles.h"

namespace {

bool Owns(HANDLE h) { return h != NULL && h != INVALID_HANDLE_VALUE; }

}  // namespace

CHandle::CHandle(HANDLE h) : m_h(h) {}

CHandle::~CHandle() { CloseHandle(); }

CHandle::CHandle(CHandle &&other) noexcept : m_h(other.m_h) { other.m_h = NULL; }

CHandle &CHandle::operator=(CHandle &&other) noexcept {
  if (this != std::addressof(other)) {
    HANDLE h = other.m_h;
    other.m_h = NULL;
    // Two wrappers holding one value (possible through operator&) must still close it only once.
    if (h != m_h) {
      CloseHandle();
      m_h = h;
    }
  }
  return *this;
}

void CHandle::CloseHandle() {
  if (Owns(m_h)) {
    ::CloseHandle(m_h);
    m_h = NULL;
  }
}

HANDLE CHandle::operator=(HANDLE h) {
  // Closing first would leave the wrapper holding a closed handle.
  if (h != m_h) {
    CloseHandle();
    m_h = h;
  }
  return h;
}

void CHandle::Swap(CHandle &other) {
  HANDLE h = m_h;
  m_h = other.m_h;
  other.m_h = h;
}

CCriticalSection::CCriticalSection() { InitializeCriticalSection(&m_cs); }

CCriticalSection::~CCriticalSection() { DeleteCriticalSection(&m_cs); }

void CCriticalSection::Lock() { EnterCriticalSection(&m_cs); }

void CCriticalSection::Unlock() { LeaveCriticalSection(&m_cs); }

CDLL::CDLL() : m_hModule(NULL) {}

CDLL::CDLL(const unsigned short *pwszName) : m_hModule(::LoadLibraryW(qn::AsW(pwszName))) {}

CDLL::~CDLL() {
  if (m_hModule != NULL) ::FreeLibrary(m_hModule);
}

CDLL::CDLL(CDLL &&other) noexcept : m_hModule(other.m_hModule) { other.m_hModule = NULL; }

CDLL &CDLL::operator=(CDLL &&other) noexcept {
  if (this != &other) {
    if (m_hModule != NULL) ::FreeLibrary(m_hModule);
    m_hModule = other.m_hModule;
    other.m_hModule = NULL;
  }
  return *this;
}

HRESULT CDLL::LoadLibraryW(const unsigned short *pwszName) {
  if (m_hModule != NULL) {
    ::FreeLibrary(m_hModule);
    m_hModule = NULL;
  }
  m_hModule = ::LoadLibraryW(qn::AsW(pwszName));
  return m_hModule != NULL ? S_OK : E_FAIL;
}

FARPROC CDLL::GetProcAddress(const char *pszName) {
  // The platform would read NULL as "the main program" and could find its exports.
  if (m_hModule == NULL) return NULL;
  return ::GetProcAddress(m_hModule, pszName);
}
