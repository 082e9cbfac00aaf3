// Last error, kernel handles, interlocked counters, critical sections, events and waits, time and
// thread identity in the subset.
//
// Every kernel object (events now; threads and message queues later) is a waitable object of one
// core: a signalled state, its waiters, and one condition that wakes them, so that every wait
// function is one mechanism whatever the objects are. Handles are small multiples of 4, as on
// Windows, and are valid in every thread of the process until CloseHandle.
#pragma once

#include "qnutil/posix/windef.h"

// Thread-local, as on Windows.
QN_WIN32_API DWORD WINAPI GetLastError(void);
QN_WIN32_API void WINAPI SetLastError(DWORD dwErrCode);

// FALSE with ERROR_INVALID_HANDLE for a value that is not an open handle. INVALID_HANDLE_VALUE is
// also the current process's pseudo-handle, as on Windows: closing it answers TRUE and does
// nothing, and a wait on it lasts as long as the process.
QN_WIN32_API BOOL WINAPI CloseHandle(HANDLE hObject);

#define DUPLICATE_CLOSE_SOURCE 0x00000001
#define DUPLICATE_SAME_ACCESS 0x00000002

// The pseudo-handle of the current process (INVALID_HANDLE_VALUE, as on Windows).
QN_WIN32_API HANDLE WINAPI GetCurrentProcess(void);
// A second handle to the object behind hSourceHandle (pseudo-handles included: the duplicate of
// GetCurrentThread() names the calling thread for good), closed separately. Both process handles
// must name the current process (the only one the subset knows): ERROR_INVALID_HANDLE otherwise,
// and for a source that is not open. Access rights are not modelled (dwDesiredAccess and
// DUPLICATE_SAME_ACCESS change nothing), nor inheritance. DUPLICATE_CLOSE_SOURCE closes the source,
// even when the call fails. Limit: lpTargetHandle must not be NULL (ERROR_INVALID_PARAMETER).
QN_WIN32_API BOOL WINAPI DuplicateHandle(HANDLE hSourceProcessHandle, HANDLE hSourceHandle,
                                         HANDLE hTargetProcessHandle, LPHANDLE lpTargetHandle,
                                         DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwOptions);

// Interlocked operations answer the new value (Increment, Decrement) or the old one (the others).
inline LONG InterlockedIncrement(LONG volatile *p) { return __atomic_add_fetch(p, 1, __ATOMIC_SEQ_CST); }
inline LONG InterlockedDecrement(LONG volatile *p) { return __atomic_sub_fetch(p, 1, __ATOMIC_SEQ_CST); }
inline LONG InterlockedExchange(LONG volatile *p, LONG v) { return __atomic_exchange_n(p, v, __ATOMIC_SEQ_CST); }
inline LONG InterlockedExchangeAdd(LONG volatile *p, LONG v) { return __atomic_fetch_add(p, v, __ATOMIC_SEQ_CST); }
inline LONG InterlockedCompareExchange(LONG volatile *p, LONG exchange, LONG comparand) {
  __atomic_compare_exchange_n(p, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
inline PVOID InterlockedCompareExchangePointer(PVOID volatile *p, PVOID exchange, PVOID comparand) {
  __atomic_compare_exchange_n(p, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
inline PVOID InterlockedExchangePointer(PVOID volatile *p, PVOID v) {
  return __atomic_exchange_n(p, v, __ATOMIC_SEQ_CST);
}

// The record has Windows' layout and size. The subset keeps its lock in a block that DebugInfo
// points to, and maintains OwningThread and RecursionCount as Windows does. LockCount is -1 when
// the section is free and counts every entry and waiting thread above that (the classic counting,
// which Wine keeps too; later Windows encodes it differently while the section is held).
// Initialization cannot fail on Windows; in the subset it ends the process when no memory is left
// for the block.
typedef struct _RTL_CRITICAL_SECTION_DEBUG *PRTL_CRITICAL_SECTION_DEBUG;
typedef struct _RTL_CRITICAL_SECTION {
  PRTL_CRITICAL_SECTION_DEBUG DebugInfo;
  LONG LockCount;
  LONG RecursionCount;
  HANDLE OwningThread;
  HANDLE LockSemaphore;
  ULONG_PTR SpinCount;
} RTL_CRITICAL_SECTION, *PRTL_CRITICAL_SECTION;
typedef RTL_CRITICAL_SECTION CRITICAL_SECTION, *LPCRITICAL_SECTION;

QN_WIN32_API void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION cs);
QN_WIN32_API void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION cs);
// Re-entrant: the owner may enter again; the lock is free when every entry has been left.
QN_WIN32_API void WINAPI EnterCriticalSection(LPCRITICAL_SECTION cs);
QN_WIN32_API BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION cs);
QN_WIN32_API void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION cs);

typedef struct _SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

// Unnamed events only: a name gives NULL with ERROR_NOT_SUPPORTED. Success clears the last error,
// as on Windows.
QN_WIN32_API HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
                                       BOOL bInitialState, LPCWSTR lpName);
QN_WIN32_API BOOL WINAPI SetEvent(HANDLE hEvent);
QN_WIN32_API BOOL WINAPI ResetEvent(HANDLE hEvent);

#define STATUS_WAIT_0 ((DWORD)0x00000000L)
#define STATUS_ABANDONED_WAIT_0 ((DWORD)0x00000080L)
#define STATUS_TIMEOUT ((DWORD)0x00000102L)
#define WAIT_OBJECT_0 ((STATUS_WAIT_0) + 0)
#define WAIT_ABANDONED ((STATUS_ABANDONED_WAIT_0) + 0)
#define WAIT_ABANDONED_0 ((STATUS_ABANDONED_WAIT_0) + 0)
#define WAIT_TIMEOUT 258L
#define WAIT_FAILED ((DWORD)0xFFFFFFFF)
#define MAXIMUM_WAIT_OBJECTS 64

// WAIT_OBJECT_0 (an auto-reset event is reset by the wait that it releases), WAIT_TIMEOUT, or
// WAIT_FAILED with ERROR_INVALID_HANDLE.
QN_WIN32_API DWORD WINAPI WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
// WAIT_OBJECT_0 + the lowest signalled index (any), or WAIT_OBJECT_0 when all are signalled at once
// (all); WAIT_FAILED with ERROR_INVALID_PARAMETER for a count of 0 or above MAXIMUM_WAIT_OBJECTS.
QN_WIN32_API DWORD WINAPI WaitForMultipleObjects(DWORD nCount, const HANDLE *lpHandles, BOOL bWaitAll,
                                                 DWORD dwMilliseconds);

QN_WIN32_API void WINAPI Sleep(DWORD dwMilliseconds);
// Milliseconds since an arbitrary start, monotonic, wrapping at 2^32 as on Windows.
QN_WIN32_API DWORD WINAPI GetTickCount(void);
// The kernel's thread identifier: unique among live threads, never 0.
QN_WIN32_API DWORD WINAPI GetCurrentThreadId(void);
QN_WIN32_API DWORD WINAPI GetCurrentProcessId(void);
