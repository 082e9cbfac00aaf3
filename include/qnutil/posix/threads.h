// Threads in the subset: the runtime's thread start (_beginthreadex) and the services of a thread
// handle (exit code, suspend count, priority, termination), on pthreads.
//
// A thread handle is a waitable object of the subset's one core: it is signalled when the thread
// has ended, after the thread's thread-local objects (its last error, its message queue) have been
// destroyed, and stays signalled. It stays valid after the thread ends until CloseHandle; closing
// it while the thread runs lets the thread run on. The identifier written by _beginthreadex is the
// one that GetCurrentThreadId answers on the new thread.
//
// Write a thread procedure as `unsigned WINAPI Proc(void *)`: WINAPI is __stdcall on Windows, the
// convention that _beginthreadex expects there.
//
// Where POSIX cannot do what Windows does, the subset stops a thread only at its stop points: the
// subset's waits (WaitForSingleObject, WaitForMultipleObjects and the message waits, at their start
// and whenever they wake) and Sleep. Stopping a thread anywhere else could stop it while it holds a
// lock of the C library (the heap's), and every other thread would then wait for that lock forever.
// - CREATE_SUSPENDED is exact: the procedure does not start before ResumeThread brings the count
//   to 0.
// - SuspendThread on another thread that is running counts as on Windows and answers at once; the
//   thread stops at its next stop point, and one that never reaches one runs on until it is
//   resumed. A thread suspended inside a wait does not take the object that would satisfy it (an
//   auto-reset event stays set) until it is resumed, as on Windows. SuspendThread on the calling
//   thread stops it at once.
// - TerminateThread signals the handle with the exit code asked for at once. The thread ends at its
//   next stop point (at once when it waits or sleeps) without unwinding its stack: as on Windows,
//   no destructor of its frames runs and what they held stays held; its thread-local objects are
//   destroyed. A thread that never reaches a stop point runs on until its procedure returns, whose
//   result is then ignored.
// - Priorities are checked and remembered per thread; the subset does not change scheduling.
// Threads that the subset did not start (the main thread, std::thread) have no stop points; for
// them GetCurrentThread names an object made on first use, and TerminateThread or ExitThread on
// themselves end them by pthread_exit, which unwinds their stack.
#pragma once

#include "qnutil/posix/windef.h"

#define CREATE_SUSPENDED 0x00000004
// Accepted and ignored: the subset takes the stack size as the least size of the whole stack.
#define STACK_SIZE_PARAM_IS_A_RESERVATION 0x00010000

#ifndef STATUS_PENDING
#  define STATUS_PENDING ((DWORD)0x00000103)
#endif
// The exit code of a thread that has not ended.
#define STILL_ACTIVE STATUS_PENDING
// The highest suspend count; one more SuspendThread fails with ERROR_SIGNAL_REFUSED.
#define MAXIMUM_SUSPEND_COUNT 0x7f

#define THREAD_BASE_PRIORITY_LOWRT 15
#define THREAD_BASE_PRIORITY_MAX 2
#define THREAD_BASE_PRIORITY_MIN (-2)
#define THREAD_BASE_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST THREAD_BASE_PRIORITY_MIN
#define THREAD_PRIORITY_BELOW_NORMAL (THREAD_PRIORITY_LOWEST + 1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_HIGHEST THREAD_BASE_PRIORITY_MAX
#define THREAD_PRIORITY_ABOVE_NORMAL (THREAD_PRIORITY_HIGHEST - 1)
#define THREAD_PRIORITY_TIME_CRITICAL THREAD_BASE_PRIORITY_LOWRT
#define THREAD_PRIORITY_IDLE THREAD_BASE_PRIORITY_IDLE
#define THREAD_PRIORITY_ERROR_RETURN 0x7fffffff

typedef unsigned(WINAPI *_beginthreadex_proc_type)(void *);

// Starts a thread on proc(arg), suspended when initflag holds CREATE_SUSPENDED (other flags are
// ignored), and writes its identifier through thrdaddr when that is not NULL. Answers the new
// thread handle, which the caller closes; 0 on failure, with errno (EINVAL for a NULL procedure,
// EAGAIN when the system has no thread to give) and the last error set. The security attributes
// are ignored; a stack_size below the system's default stack size (0 among them) means that size.
// The thread's exit code is proc's result. Costs a pthread creation and one hand-shake with the
// new thread, which reports its identifier before _beginthreadex returns.
QN_WIN32_API uintptr_t _beginthreadex(void *security, unsigned stack_size, _beginthreadex_proc_type proc,
                                      void *arg, unsigned initflag, unsigned *thrdaddr);
// Ends the calling thread with the exit code given (see ExitThread).
QN_WIN32_API __attribute__((noreturn)) void _endthreadex(unsigned retval);
// Ends the calling thread with the exit code given, without unwinding its stack (as on Windows,
// no destructor of its frames runs); its thread-local objects are destroyed.
QN_WIN32_API __attribute__((noreturn)) void WINAPI ExitThread(DWORD dwExitCode);

// A pseudo-handle that names the calling thread wherever a thread handle is taken (a wait on it
// lasts as long as the thread); CloseHandle accepts it and does nothing.
QN_WIN32_API HANDLE WINAPI GetCurrentThread(void);
// The identifier of the thread that a handle names; 0 with ERROR_INVALID_HANDLE for a handle that
// names no thread.
QN_WIN32_API DWORD WINAPI GetThreadId(HANDLE Thread);

// STILL_ACTIVE while the thread has not ended, then its exit code. FALSE with ERROR_INVALID_HANDLE
// for a handle that names no thread.
QN_WIN32_API BOOL WINAPI GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode);

// Both answer the previous suspend count, or (DWORD)-1 on failure: ERROR_INVALID_HANDLE; for
// SuspendThread, ERROR_SIGNAL_REFUSED at a count of MAXIMUM_SUSPEND_COUNT and ERROR_ACCESS_DENIED
// on a thread that has ended. ResumeThread at a count of 0 answers 0 and changes nothing; the
// thread runs again when the count comes back to 0.
QN_WIN32_API DWORD WINAPI SuspendThread(HANDLE hThread);
QN_WIN32_API DWORD WINAPI ResumeThread(HANDLE hThread);

// Accepts THREAD_PRIORITY_IDLE, LOWEST to HIGHEST and TIME_CRITICAL (others: FALSE with
// ERROR_INVALID_PARAMETER) and remembers the value; scheduling is not changed.
QN_WIN32_API BOOL WINAPI SetThreadPriority(HANDLE hThread, int nPriority);
// The remembered value (THREAD_PRIORITY_NORMAL at the start), or THREAD_PRIORITY_ERROR_RETURN.
QN_WIN32_API int WINAPI GetThreadPriority(HANDLE hThread);

// Signals the handle with dwExitCode at once; the thread ends at its next stop point (see the head
// of this file). On a thread that has already ended it answers TRUE and its exit code becomes
// dwExitCode, as Wine answers.
QN_WIN32_API BOOL WINAPI TerminateThread(HANDLE hThread, DWORD dwExitCode);
