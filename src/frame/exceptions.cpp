// The exception classes and the exception filter of the worker-thread frame.
//
// Exception objects are built and copied while the heap may be exhausted and while an exception is
// already in flight, so nothing here may throw: messages are copied with HeapAlloc directly, and a
// message that does not fit becomes NULL. The block is a process-heap block like any other, so the
// message's CFixedString releases it with _operator_delete as usual.

#include <string.h>

#include "process_heap.h"
#include "qnutil/frame.h"

CException::CException() noexcept : m_hr(S_OK) {}

CException::CException(const unsigned short *pwszMessage, HRESULT hr) noexcept : m_hr(hr) {
  SetMessageNoThrow(pwszMessage);
}

CException::CException(const CException &other) noexcept : m_hr(other.m_hr) { SetMessageNoThrow(other.m_strMessage); }

CException &CException::operator=(const CException &other) noexcept {
  if (this != &other) {
    SetMessageNoThrow(other.m_strMessage);
    m_hr = other.m_hr;
  }
  return *this;
}

CException::~CException() {}

void CException::SetMessageNoThrow(const unsigned short *pwszMessage) noexcept {
  unsigned short *pwszCopy = NULL;
  if (pwszMessage != NULL) {
    const size_t cb = (static_cast<size_t>(lstrlenW(qn::AsW(pwszMessage))) + 1) * sizeof(unsigned short);
    pwszCopy = static_cast<unsigned short *>(HeapAlloc(qn_frame::g_hProcessHeap, 0, cb));
    if (pwszCopy != NULL) memcpy(pwszCopy, pwszMessage, cb);
  }
  // Released only now: the new message may have been read out of the old one.
  m_strMessage.Clear();
  m_strMessage.m_pwsz = pwszCopy;
}

COOMExcep::COOMExcep() noexcept {
  SetMessageNoThrow(qn::AsU(u"Out-of-memory exception"));
  m_hr = E_OUTOFMEMORY;
}

int QNExceptionHandler(DWORD, DWORD, EXCEPTION_POINTERS *) { return EXCEPTION_EXECUTE_HANDLER; }
