// The frame every other part of qnutil stands on: the one heap that every library object and string
// comes from, the exceptions that report its exhaustion, and the validity tests and exception
// filter that callers may use.
//
// Exhaustion of the heap is the only condition that throws, and it throws COOMExcep. Every other
// failure is an HRESULT: S_OK, E_OUTOFMEMORY, E_INVALIDARG, E_NOTIMPL, or a Win32 error folded with
// HRESULT_FROM_WIN32.
#pragma once

#include "qnutil/export.h"
#include "qnutil/fixedstring.h"
#include "qnutil/win32.h"

// One HeapAlloc on the process heap, no flags, no header: the block is not cleared. A count of 0
// gives a unique block. Never returns NULL: an exhausted heap throws COOMExcep.
QNUTIL_API void *_operator_new(DWORD cb);
// One HeapFree on the process heap; NULL is ignored.
QNUTIL_API void _operator_delete(void *pv);

// False for NULL, for a range that cannot be read, and (when bReadWrite is nonzero) for a range
// that cannot be written. Never faults.
QNUTIL_API bool IsValidAddress(const void *lp, DWORD nBytes, int bReadWrite);
// False for NULL and for text that cannot be read up to its terminator or nLength characters; -1
// tests up to the terminator.
QNUTIL_API bool IsValidString(const unsigned short *psz, int nLength = -1);
QNUTIL_API bool IsValidString(const char *psz, int nLength = -1);

// The exception filter of the worker-thread frame: always EXCEPTION_EXECUTE_HANDLER (1), so the
// handler runs and the exception goes no further. Looks at nothing, records nothing.
QNUTIL_API int QNExceptionHandler(DWORD dwThreadId, DWORD dwExceptionCode, EXCEPTION_POINTERS *pInfo);

// An exception: a message and an HRESULT. A plain class: thrown and caught by value or reference.
//
// Building and copying never throw: the runtime copies exception objects while one is in flight,
// and a second exception then would end the process. The message is copied straight onto the
// process heap; when the heap cannot hold it the object has no message (NULL) but keeps its code.
class QNUTIL_API CException {
 public:
  CException() noexcept;                              // no message, S_OK
  CException(const unsigned short *pwszMessage, HRESULT hr) noexcept;
  CException(const CException &other) noexcept;
  CException &operator=(const CException &other) noexcept;
  ~CException();

  const unsigned short *Message() const { return m_strMessage; }  // NULL when there is none
  HRESULT Result() const { return m_hr; }

 protected:
  // Replaces the message without ever throwing; a message the heap cannot hold becomes NULL.
  void SetMessageNoThrow(const unsigned short *pwszMessage) noexcept;

  CFixedString m_strMessage;
  HRESULT m_hr;
};

// The heap is exhausted: E_OUTOFMEMORY (0x8007000E) and the message "Out-of-memory exception".
// The message is copied onto the heap that has just failed; when that copy fails too, the exception
// is still delivered, with no message, rather than throwing again.
class QNUTIL_API COOMExcep : public CException {
 public:
  COOMExcep() noexcept;
};
