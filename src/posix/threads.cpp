// Threads on pthreads: _beginthreadex, thread objects on the waitable-object core, suspend counts,
// priorities, termination, and the stop points where a suspended or terminated thread stops.
//
// How a thread ends without co-operating: pthread_cancel would unwind the thread's stack, and an
// unwinding that meets a noexcept frame (every wait of the subset is one) or a catch-all handler
// that does not rethrow (the library's worker frame is one) ends the whole process. So a terminated
// thread is stopped only at a stop point, where it holds no lock of the subset, and leaves by a jump
// back to the frame that started its procedure: as with TerminateThread on Windows, no destructor
// of the frames in between runs. The thread then returns from its start routine as any other, so
// the C library frees its stack and its thread-local objects are destroyed.
#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <setjmp.h>

#include <new>

#include "internal/threads.h"
#include "internal/waitable.h"

namespace qn::posix {
namespace {

class Thread final : public Waitable {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Thread;

  Thread(_beginthreadex_proc_type proc, void *arg, DWORD suspendCount) noexcept
      : Waitable(kKind), proc_(proc), arg_(arg), suspendCount_(suspendCount) {}

  bool IsSignalledLocked() const noexcept override { return ended_; }

  // The thread's end, once its thread-local objects have gone; the exit code is its result unless
  // TerminateThread gave one first.
  void EndLocked() noexcept {
    if (ended_) return;
    ended_ = true;
    exitCode_ = result_;
    WakeWaitersLocked();
  }

  void Terminate(DWORD exitCode) noexcept {
    auto lock = LockCore();
    // As on Windows (Wine's reading): the code is taken even from a thread that has ended.
    exitCode_ = exitCode;
    if (ended_) return;
    ended_ = true;
    terminated_ = true;
    WakeWaitersLocked();
    park_.notify_all();
    if (waitWake_) waitWake_->notify_all();
  }

  // Parks the calling thread (this one) while it is suspended; answers whether it was terminated.
  bool ParkWhileSuspendedLocked(std::unique_lock<std::mutex> &lock) noexcept {
    while (suspendCount_ > 0 && !terminated_) park_.wait(lock);
    return terminated_;
  }

  const _beginthreadex_proc_type proc_;
  void *const arg_;

  // All of these are under the core lock.
  DWORD id_ = 0;
  bool ended_ = false;
  bool terminated_ = false;
  DWORD exitCode_ = STILL_ACTIVE;
  DWORD result_ = 0;
  DWORD suspendCount_;
  int priority_ = THREAD_PRIORITY_NORMAL;
  // The condition of the wait that the thread is in, if any; a suspended thread parks on park_.
  std::condition_variable *waitWake_ = nullptr;
  std::condition_variable park_;
};

// The calling thread's object. The first thread-local object with a destructor that a thread of
// the subset makes, so that it is destroyed last: its handle is signalled only once every other
// thread-local object of the thread (the message queue among them) has gone.
struct ThreadRecord {
  std::shared_ptr<Thread> object;
  ~ThreadRecord() {
    if (!object) return;
    auto lock = LockCore();
    object->EndLocked();
  }
};
thread_local ThreadRecord t_record;

// Set only while a thread that the subset started runs its procedure: the stop points act then,
// and a terminated thread jumps back to t_exitJump.
thread_local Thread *t_running = nullptr;
thread_local sigjmp_buf *t_exitJump = nullptr;

// The place of _beginthreadex's hand-shake, on the creating thread's stack.
struct StartRequest {
  std::shared_ptr<Thread> thread;
  std::condition_variable reported;
  bool started = false;
};

// Runs the procedure once the start gate opens, in a frame that outlives it: a terminated thread or
// ExitThread comes back here by siglongjmp, skipping what lies between.
__attribute__((noinline)) void RunProcedure(Thread *thread) {
  sigjmp_buf exitJump;
  if (sigsetjmp(exitJump, 0) != 0) return;
  t_exitJump = &exitJump;
  t_running = thread;
  {
    auto lock = LockCore();
    // CREATE_SUSPENDED: the procedure starts when the count comes back to 0, or never.
    if (thread->ParkWhileSuspendedLocked(lock)) return;
  }
  const unsigned result = thread->proc_(thread->arg_);
  auto lock = LockCore();
  thread->result_ = result;
}

void *ThreadStart(void *param) {
  StartRequest *request = static_cast<StartRequest *>(param);
  std::shared_ptr<Thread> thread = request->thread;
  t_record.object = thread;
  {
    auto lock = LockCore();
    thread->id_ = GetCurrentThreadId();
    request->started = true;
    request->reported.notify_one();
  }
  // The request is gone from here on.
  RunProcedure(thread.get());
  t_running = nullptr;
  t_exitJump = nullptr;
  return nullptr;
}

std::shared_ptr<Thread> LookupThread(HANDLE handle) noexcept { return LookupHandleAs<Thread>(handle); }

bool IsValidPriority(int priority) noexcept {
  return (priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST) ||
         priority == THREAD_PRIORITY_IDLE || priority == THREAD_PRIORITY_TIME_CRITICAL;
}

// Ends the calling thread, which may be one that the subset did not start: that one leaves by
// pthread_exit, whose unwinding must not meet a noexcept frame, this one included.
[[noreturn]] void EndCallingThread() {
  if (t_exitJump) siglongjmp(*t_exitJump, 1);
  pthread_exit(nullptr);
}

}  // namespace

bool StopPointLocked(std::unique_lock<std::mutex> &lock, std::condition_variable *wake) noexcept {
  Thread *self = t_running;
  if (!self) return false;
  self->waitWake_ = wake;
  return self->ParkWhileSuspendedLocked(lock);
}

void LeaveWaitLocked() noexcept {
  if (t_running) t_running->waitWake_ = nullptr;
}

void EndTerminatedThread() noexcept { siglongjmp(*t_exitJump, 1); }

bool SleepAtStopPoint(DWORD milliseconds) noexcept {
  if (!t_running) return false;
  ObjectPtr process = CurrentProcessObject();
  Waitable *never = process->AsWaitable();
  WaitForWaitables(&never, 1, false, milliseconds);
  if (milliseconds == 0) sched_yield();
  return true;
}

ObjectPtr CurrentThreadObject() noexcept {
  ThreadRecord &record = t_record;
  if (!record.object) {
    try {
      // A thread that the subset did not start: it has no procedure and is not suspended.
      record.object = std::make_shared<Thread>(nullptr, nullptr, 0);
    } catch (const std::bad_alloc &) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return nullptr;
    }
    auto lock = LockCore();
    record.object->id_ = GetCurrentThreadId();
  }
  return record.object;
}

}  // namespace qn::posix

using qn::posix::LockCore;
using qn::posix::Thread;

extern "C" {

uintptr_t _beginthreadex(void *, unsigned stack_size, _beginthreadex_proc_type proc, void *arg,
                         unsigned initflag, unsigned *thrdaddr) {
  if (!proc) {
    // As the C runtime answers, which leaves the last error alone.
    errno = EINVAL;
    return 0;
  }
  qn::posix::StartRequest request;
  try {
    request.thread = std::make_shared<Thread>(proc, arg, (initflag & CREATE_SUSPENDED) ? 1 : 0);
  } catch (const std::bad_alloc &) {
    errno = ENOMEM;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  HANDLE handle = qn::posix::RegisterHandle(request.thread);
  if (!handle) {
    errno = ENOMEM;
    return 0;
  }

  pthread_attr_t attr;
  int err = pthread_attr_init(&attr);
  if (err == 0) {
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    size_t defaultSize = 0;
    pthread_attr_getstacksize(&attr, &defaultSize);
    if (stack_size > defaultSize) err = pthread_attr_setstacksize(&attr, stack_size);
    pthread_t id;
    if (err == 0) err = pthread_create(&id, &attr, qn::posix::ThreadStart, &request);
    pthread_attr_destroy(&attr);
  }
  if (err != 0) {
    CloseHandle(handle);
    errno = err;
    SetLastError(err == EINVAL ? ERROR_INVALID_PARAMETER : ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }

  DWORD id;
  {
    auto lock = LockCore();
    request.reported.wait(lock, [&request] { return request.started; });
    id = request.thread->id_;
  }
  if (thrdaddr) *thrdaddr = id;
  return reinterpret_cast<uintptr_t>(handle);
}

void _endthreadex(unsigned retval) { ExitThread(retval); }

void WINAPI ExitThread(DWORD dwExitCode) {
  if (Thread *self = qn::posix::t_running) {
    auto lock = LockCore();
    self->result_ = dwExitCode;
  }
  qn::posix::EndCallingThread();
}

HANDLE WINAPI GetCurrentThread(void) { return qn::posix::CurrentThreadPseudoHandle(); }

DWORD WINAPI GetThreadId(HANDLE Thread) {
  std::shared_ptr<qn::posix::Thread> thread = qn::posix::LookupThread(Thread);
  if (!thread) return 0;
  auto lock = LockCore();
  return thread->id_;
}

BOOL WINAPI GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode) {
  std::shared_ptr<Thread> thread = qn::posix::LookupThread(hThread);
  if (!thread) return FALSE;
  auto lock = LockCore();
  *lpExitCode = thread->ended_ ? thread->exitCode_ : STILL_ACTIVE;
  return TRUE;
}

DWORD WINAPI SuspendThread(HANDLE hThread) {
  std::shared_ptr<Thread> thread = qn::posix::LookupThread(hThread);
  if (!thread) return static_cast<DWORD>(-1);
  auto lock = LockCore();
  if (thread->ended_) {
    SetLastError(ERROR_ACCESS_DENIED);
    return static_cast<DWORD>(-1);
  }
  if (thread->suspendCount_ >= MAXIMUM_SUSPEND_COUNT) {
    SetLastError(ERROR_SIGNAL_REFUSED);
    return static_cast<DWORD>(-1);
  }
  const DWORD previous = thread->suspendCount_++;
  // The calling thread stops at once, whoever started it: this call is its stop point.
  if (thread == qn::posix::t_record.object && thread->ParkWhileSuspendedLocked(lock)) {
    lock.unlock();
    qn::posix::EndCallingThread();
  }
  return previous;
}

DWORD WINAPI ResumeThread(HANDLE hThread) {
  std::shared_ptr<Thread> thread = qn::posix::LookupThread(hThread);
  if (!thread) return static_cast<DWORD>(-1);
  auto lock = LockCore();
  const DWORD previous = thread->suspendCount_;
  if (previous > 0 && --thread->suspendCount_ == 0) thread->park_.notify_all();
  return previous;
}

BOOL WINAPI SetThreadPriority(HANDLE hThread, int nPriority) {
  std::shared_ptr<Thread> thread = qn::posix::LookupThread(hThread);
  if (!thread) return FALSE;
  if (!qn::posix::IsValidPriority(nPriority)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  auto lock = LockCore();
  thread->priority_ = nPriority;
  return TRUE;
}

int WINAPI GetThreadPriority(HANDLE hThread) {
  std::shared_ptr<Thread> thread = qn::posix::LookupThread(hThread);
  if (!thread) return THREAD_PRIORITY_ERROR_RETURN;
  auto lock = LockCore();
  return thread->priority_;
}

BOOL WINAPI TerminateThread(HANDLE hThread, DWORD dwExitCode) {
  std::shared_ptr<Thread> thread = qn::posix::LookupThread(hThread);
  if (!thread) return FALSE;
  thread->Terminate(dwExitCode);
  if (thread == qn::posix::t_record.object) qn::posix::EndCallingThread();
  return TRUE;
}

}  // extern "C"
