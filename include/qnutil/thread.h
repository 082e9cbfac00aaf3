// CThread: the base class of a worker thread that one owning object starts, asks to stop, and
// waits for.
//
// A derived class puts its work in ThreadMain and, optionally, set-up in BInitialize and clean-up
// in OnShutdown. The new thread runs BInitialize, then (when it answered true) ThreadMain, under a
// guard that stops every exception they throw, and then OnShutdown in every case. ThreadMain polls
// FShouldStop, or waits on HEvStop together with its own objects, and returns once asked to stop.
//
// Threads. One owning thread calls FStart, FStop, FIsIdle, Terminate and the destructor; they are
// not synchronised among themselves. The worker reads the object only through FShouldStop,
// HEvStop, ThreadID and the derived class's own members.
//
// Destruction. The destructor stops the thread (forced after 10 s), but by then the derived part
// of the object is gone and the thread would run the base class's empty OnShutdown: a derived
// class whose thread uses its own members stops the thread in its own destructor first.
//
// Copying: none. The object's address is the thread's argument and it owns its two handles, so a
// copy (or a move) would leave two owners of each; the class can be neither copied nor moved.
//
// Heap. An object made with new comes from the library's heap (_operator_new; an exhausted heap
// throws COOMExcep) and goes back there, whichever module news and deletes it: the deleting
// destructor of a class whose destructor lives in the library frees with the library's delete, so
// both ends must be the library's.
#pragma once

#include <stddef.h>

#include "qnutil/export.h"
#include "qnutil/frame.h"
#include "qnutil/handles.h"
#include "qnutil/win32.h"

class QNUTIL_API CThread {
 public:
  // Creates the stop event (manual reset, not signalled). A failure is not reported: FShouldStop
  // then answers false for the object's whole life.
  CThread();
  // FStop(true, 10000), then releases the stop event and the thread handle.
  virtual ~CThread();
  CThread(const CThread &) = delete;
  CThread &operator=(const CThread &) = delete;

  static void *operator new(size_t cb) {
    if (cb > 0xFFFFFFFFu) throw COOMExcep();  // more than the heap's 32-bit interface can ask for
    return _operator_new(static_cast<DWORD>(cb));
  }
  static void operator delete(void *pv) { _operator_delete(pv); }
  static void *operator new(size_t, void *pv) { return pv; }
  static void operator delete(void *, void *) {}

  // Starts the thread with the given creation flags (0, or CREATE_SUSPENDED to start it
  // suspended until ResumeThread). False when a thread is still held (running, or ended but not
  // yet released by FIsIdle or FStop) or when the thread cannot be created. Resets the stop event.
  bool FStart(DWORD dwCreationFlags = 0);

  // Signals the stop event and waits up to dwTimeout ms for the thread to end, while dispatching
  // every message that reaches the calling thread's queue (so a worker that sends to the owner's
  // windows can finish); each message restarts the full time-out. A thread that has not ended
  // then is terminated (exit code 0xFFFFFFFF) when fForce is true, else left running, detached.
  // Either way the object is idle afterwards: no handle held, ThreadID 0. True when the thread
  // ended or was terminated, and at once (without signalling) when no thread is held.
  bool FStop(bool fForce, DWORD dwTimeout);

  // True when no thread is held, or when the held thread has ended: its handle is then released
  // (ThreadID keeps its value). False while it runs.
  bool FIsIdle();

  // Whether the stop event is signalled now; never waits. For ThreadMain to poll.
  bool FShouldStop();
  // The stop event, for ThreadMain to wait on beside its own objects. Owned by the object.
  HANDLE HEvStop() const { return m_hevStop(); }
  // The thread handle held now, NULL when none. Owned by the object. Both it and ThreadID are
  // stored before the thread runs its first instruction, so the worker may read them at once.
  HANDLE HThread() const { return m_hThread(); }
  // The identifier of the thread last started; 0 before the first start and after FStop.
  DWORD ThreadID() const { return m_dwThreadId; }

  // SetThreadPriority on the thread (THREAD_PRIORITY_* values); true on success.
  bool FSetPriority(int nPriority);
  // The platform's SuspendThread and ResumeThread on the thread. Both answer whether the platform
  // call succeeded, not the suspend count it returns: true for any count, false for a failure
  // (0xFFFFFFFF, for instance when no thread is held). A thread started with CREATE_SUSPENDED
  // therefore resumes with a true answer although its previous count was 1, and the first
  // SuspendThread of a running thread is true although its previous count was 0.
  bool SuspendThread();
  bool ResumeThread();

  // Ends the thread at once, with exit code 0xB1B0B1B0 and no clean-up: OnShutdown does not run
  // and the stop event is not signalled. Releases the handle (ThreadID keeps its value). True when
  // no thread was held or the termination succeeded.
  bool Terminate();

 protected:
  // Starting after the held-thread test: resets the stop event, starts ThreadProc on this object
  // with the flags, and keeps the handle. True when a thread was created. For derived classes that
  // start their thread in a way of their own (CMsgLoopThread::Start).
  bool FLaunch(DWORD dwCreationFlags);

 private:
  // Run on the new thread before ThreadMain; false skips ThreadMain. Default: true.
  virtual bool BInitialize();
  // The thread's work. Default: nothing.
  virtual void ThreadMain();
  // Run on the thread after ThreadMain, after a false BInitialize and after a stopped exception;
  // not guarded: an exception thrown here leaves the thread. Default: nothing.
  virtual void OnShutdown();

  // The thread procedure: BInitialize and ThreadMain under the guard, then OnShutdown; exit code 0.
  //
  // The guard. There is no structured exception frame in this compiler, so the guard catches every
  // C++ exception and consults QNExceptionHandler on every platform, the way a structured
  // exception filter would: with the thread's identifier, the code 0xE06D7363 (the code under
  // which a C++ throw travels as a structured exception on Windows) and exception pointers whose
  // record carries that code, EXCEPTION_NONCONTINUABLE and no parameters, and whose context is
  // NULL. EXCEPTION_EXECUTE_HANDLER (the answer QNExceptionHandler always gives) stops the
  // exception there; any other answer throws it on, out of the thread. A hardware fault is not a
  // C++ exception: the guard does not see it (on Windows the process's unhandled-exception filter
  // does, on POSIX it is a signal). A forced end of the thread (Terminate, a forced FStop) passes
  // through the guard unseen.
  static unsigned WINAPI ThreadProc(void *pvThis);

  CHandle m_hThread;   // the thread, or NULL
  CHandle m_hevStop;   // the stop event, for the object's whole life
  DWORD m_dwThreadId;  // written by the thread start; 0 when none has started or after FStop
};
