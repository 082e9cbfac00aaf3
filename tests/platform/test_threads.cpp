// Conformance: _beginthreadex and the services of thread handles.
#include <errno.h>
#include <malloc.h>

#include "platform/sync_helpers.h"

namespace {

using qntest::EventuallyTrue;
using qntest::ScopedEvent;

const DWORD kTimeout = static_cast<DWORD>(WAIT_TIMEOUT);
const DWORD kFailed = static_cast<DWORD>(-1);

LONG Read(LONG &value) { return InterlockedCompareExchange(&value, 0, 0); }

// What a test thread does: waits for `go` (when given), counts, signals `done`, returns `result`.
struct Work {
  HANDLE go = nullptr;
  HANDLE done = nullptr;
  unsigned result = 0;
  DWORD id = 0;
  LONG counter = 0;
};

unsigned WINAPI WaitThenReturn(void *param) {
  Work *work = static_cast<Work *>(param);
  work->id = GetCurrentThreadId();
  if (work->go) WaitForSingleObject(work->go, INFINITE);
  InterlockedIncrement(&work->counter);
  // Once done is set, the work may be gone.
  const unsigned result = work->result;
  if (work->done) SetEvent(work->done);
  return result;
}

// Counts go's signals (an auto-reset event) until `result` of them, acknowledging each on done.
unsigned WINAPI CountSignals(void *param) {
  Work *work = static_cast<Work *>(param);
  while (static_cast<unsigned>(work->counter) < work->result) {
    WaitForSingleObject(work->go, INFINITE);
    InterlockedIncrement(&work->counter);
    SetEvent(work->done);
  }
  return 0;
}

unsigned WINAPI PollForever(void *param) {
  Work *work = static_cast<Work *>(param);
  for (;;) {
    WaitForSingleObject(work->go, 0);
    InterlockedIncrement(&work->counter);
  }
}

unsigned WINAPI SleepForever(void *) {
  Sleep(INFINITE);
  return 1;
}

// A thread handle that is closed, and its thread ended if a failed test left it running.
class ScopedThread {
 public:
  ScopedThread(_beginthreadex_proc_type proc, void *arg, unsigned flags = 0, unsigned stack = 0)
      : handle_(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, stack, proc, arg, flags, &id_))) {
    EXPECT_NE(handle_, nullptr) << "errno " << errno;
  }
  ~ScopedThread() {
    if (!handle_) return;
    if (WaitForSingleObject(handle_, 0) != WAIT_OBJECT_0) TerminateThread(handle_, 0);
    CloseHandle(handle_);
  }
  ScopedThread(const ScopedThread &) = delete;
  ScopedThread &operator=(const ScopedThread &) = delete;

  operator HANDLE() const { return handle_; }
  unsigned Id() const { return id_; }
  DWORD ExitCode() const {
    DWORD code = 0xDEADu;
    EXPECT_TRUE(GetExitCodeThread(handle_, &code));
    return code;
  }
  void Forget() { handle_ = nullptr; }

 private:
  unsigned id_ = 0;
  HANDLE handle_;
};

TEST(ThreadsConcurrent, HandleIsSignalledWithTheExitCodeWhenTheProcedureReturns) {
  for (unsigned result : {0u, 7u, 0xB1B0B1B0u, 0xFFFFFFFFu}) {
    ScopedEvent go(true, false), never(true, false), set(true, true);
    Work work;
    work.go = go;
    work.result = result;
    ScopedThread thread(WaitThenReturn, &work);
    HANDLE any[2] = {never, thread};
    HANDLE all[2] = {thread, set};
    EXPECT_EQ(WaitForMultipleObjects(2, all, TRUE, 0), kTimeout);
    EXPECT_EQ(thread.ExitCode(), static_cast<DWORD>(STILL_ACTIVE));
    SetEvent(go);
    EXPECT_EQ(WaitForMultipleObjects(2, any, FALSE, 5000), WAIT_OBJECT_0 + 1);
    // Signalled for good, like a manual-reset event.
    EXPECT_EQ(WaitForMultipleObjects(2, all, TRUE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(thread.ExitCode(), result);
    EXPECT_EQ(thread.Id(), work.id);
    EXPECT_EQ(GetThreadId(thread), work.id);
    EXPECT_NE(work.id, GetCurrentThreadId());
  }
}

TEST(ThreadsConcurrent, CreateSuspendedRunsNothingUntilTheCountIsZero) {
  ScopedEvent done(true, false);
  Work work;
  work.done = done;
  ScopedThread thread(WaitThenReturn, &work, CREATE_SUSPENDED);
  EXPECT_EQ(SuspendThread(thread), 1u);
  EXPECT_EQ(ResumeThread(thread), 2u);
  EXPECT_EQ(WaitForSingleObject(done, 50), kTimeout);
  EXPECT_EQ(Read(work.counter), 0);
  EXPECT_EQ(ResumeThread(thread), 1u);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(Read(work.counter), 1);
  // Below 0 there is nothing to resume; an ended thread cannot be suspended.
  EXPECT_EQ(ResumeThread(thread), 0u);
  SetLastError(0);
  EXPECT_EQ(SuspendThread(thread), kFailed);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(ThreadsConcurrent, SuspendCountStopsAtItsMaximum) {
  ScopedThread thread(SleepForever, nullptr, CREATE_SUSPENDED);
  for (DWORD count = 1; count < MAXIMUM_SUSPEND_COUNT; ++count) ASSERT_EQ(SuspendThread(thread), count);
  SetLastError(0);
  EXPECT_EQ(SuspendThread(thread), kFailed);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SIGNAL_REFUSED));
  EXPECT_EQ(ResumeThread(thread), static_cast<DWORD>(MAXIMUM_SUSPEND_COUNT));
}

TEST(ThreadsConcurrent, SuspendedWaiterTakesNoSignalUntilResumed) {
  ScopedEvent go(false, false), done(false, false);
  Work work;
  work.go = go;
  work.done = done;
  work.result = 2;
  ScopedThread thread(CountSignals, &work);
  SetEvent(go);
  ASSERT_EQ(WaitForSingleObject(done, 5000), WAIT_OBJECT_0);
  // Now it waits for go again, or soon will.
  EXPECT_EQ(SuspendThread(thread), 0u);
  EXPECT_EQ(SuspendThread(thread), 1u);
  SetEvent(go);
  EXPECT_EQ(WaitForSingleObject(done, 100), kTimeout);
  EXPECT_EQ(Read(work.counter), 1);
  // The suspended waiter left the signal where it was.
  EXPECT_EQ(WaitForSingleObject(go, 0), WAIT_OBJECT_0);
  SetEvent(go);
  EXPECT_EQ(ResumeThread(thread), 2u);
  EXPECT_EQ(WaitForSingleObject(done, 100), kTimeout);
  EXPECT_EQ(ResumeThread(thread), 1u);
  EXPECT_EQ(WaitForSingleObject(done, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
}

unsigned WINAPI SuspendItself(void *) { return SuspendThread(GetCurrentThread()) == 0 ? 5 : 6; }

TEST(ThreadsConcurrent, ThreadSuspendingItselfStopsThere) {
  ScopedThread thread(SuspendItself, nullptr);
  EXPECT_TRUE(EventuallyTrue([&] { return ResumeThread(thread) == 1; }));
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(thread.ExitCode(), 5u);
}

TEST(ThreadsConcurrent, TerminateSignalsTheHandleWithTheCodeGiven) {
  struct Case {
    const char *name;
    _beginthreadex_proc_type proc;
    unsigned flags;
  };
  const Case cases[] = {
      {"blocked in a wait", WaitThenReturn, 0},
      {"polling", PollForever, 0},
      {"sleeping", SleepForever, 0},
      {"created suspended", WaitThenReturn, CREATE_SUSPENDED},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ScopedEvent never(true, false);
    Work work;
    work.go = never;
    ScopedThread thread(c.proc, &work, c.flags);
    if (c.proc == PollForever) {
      ASSERT_TRUE(EventuallyTrue([&] { return Read(work.counter) > 0; }));
    }
    EXPECT_TRUE(TerminateThread(thread, 0xB1B0B1B0u));
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(thread.ExitCode(), 0xB1B0B1B0u);
    // It has stopped: at most the step it was in finishes.
    const LONG counted = Read(work.counter);
    Sleep(50);
    EXPECT_LE(Read(work.counter) - counted, 1);
    if (c.proc == WaitThenReturn) {
      EXPECT_EQ(Read(work.counter), 0);
    }
  }
}

unsigned WINAPI EndItself(void *) {
  _endthreadex(42);
  return 1;
}

TEST(ThreadsConcurrent, EndthreadexGivesTheExitCode) {
  ScopedThread thread(EndItself, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(thread.ExitCode(), 42u);
}

// Touches 12 MiB of stack, more than the default stack of either platform holds.
unsigned WINAPI UseDeepStack(void *) {
  constexpr size_t kDepth = size_t(12) << 20;
  volatile char *bottom = static_cast<volatile char *>(alloca(kDepth));
  for (size_t at = kDepth; at > 0; at -= 4096) bottom[at - 1] = 1;
  return 3;
}

TEST(ThreadsConcurrent, StackSizeAboveTheDefaultIsGiven) {
  ScopedThread thread(UseDeepStack, nullptr, 0, 32u << 20);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(thread.ExitCode(), 3u);
}

// Set by a thread-local object's destructor: the handle is signalled only after it ran.
LONG g_threadLocalGone = 0;
struct ThreadLocalFlag {
  LONG used = 0;
  ~ThreadLocalFlag() { InterlockedExchange(&g_threadLocalGone, 1); }
};
thread_local ThreadLocalFlag t_flag;

unsigned WINAPI UseThreadLocal(void *) {
  t_flag.used = 1;
  return 0;
}

TEST(ThreadsConcurrent, ThreadLocalObjectsAreGoneWhenTheHandleIsSignalled) {
  InterlockedExchange(&g_threadLocalGone, 0);
  ScopedThread thread(UseThreadLocal, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(Read(g_threadLocalGone), 1);
}

TEST(ThreadsConcurrent, ClosingTheHandleLetsTheThreadRunOn) {
  ScopedEvent go(true, false), done(true, false);
  Work work;
  work.go = go;
  work.done = done;
  ScopedThread thread(WaitThenReturn, &work);
  HANDLE handle = thread;
  thread.Forget();
  EXPECT_TRUE(CloseHandle(handle));
  SetEvent(go);
  EXPECT_EQ(WaitForSingleObject(done, 5000), WAIT_OBJECT_0);
}

TEST(ThreadsConcurrent, PrioritiesRoundTrip) {
  ScopedThread thread(SleepForever, nullptr, CREATE_SUSPENDED);
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_NORMAL);
  for (int priority : {THREAD_PRIORITY_IDLE, THREAD_PRIORITY_LOWEST, THREAD_PRIORITY_BELOW_NORMAL,
                       THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST, THREAD_PRIORITY_TIME_CRITICAL}) {
    EXPECT_TRUE(SetThreadPriority(thread, priority));
    EXPECT_EQ(GetThreadPriority(thread), priority);
  }
  for (int bad : {-16, -14, -3, 3, 14, 16}) {
    SetLastError(0);
    EXPECT_FALSE(SetThreadPriority(thread, bad)) << bad;
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  }
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_TIME_CRITICAL);
}

// No thread is started below.
TEST(Threads, OtherHandlesAreRefused) {
  ScopedEvent event(true, false);
  for (HANDLE handle : {static_cast<HANDLE>(event), static_cast<HANDLE>(nullptr)}) {
    DWORD code = 0;
    SetLastError(0);
    EXPECT_FALSE(GetExitCodeThread(handle, &code));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(SuspendThread(handle), kFailed);
    EXPECT_EQ(ResumeThread(handle), kFailed);
    EXPECT_FALSE(SetThreadPriority(handle, 0));
    EXPECT_EQ(GetThreadPriority(handle), THREAD_PRIORITY_ERROR_RETURN);
    EXPECT_FALSE(TerminateThread(handle, 0));
    EXPECT_EQ(GetThreadId(handle), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }
  errno = 0;
  EXPECT_EQ(_beginthreadex(nullptr, 0, nullptr, nullptr, 0, nullptr), 0u);
  EXPECT_EQ(errno, EINVAL);
}

TEST(Threads, CurrentThreadPseudoHandle) {
  HANDLE self = GetCurrentThread();
  EXPECT_EQ(GetThreadId(self), GetCurrentThreadId());
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(self, &code));
  EXPECT_EQ(code, static_cast<DWORD>(STILL_ACTIVE));
  EXPECT_EQ(WaitForSingleObject(self, 0), kTimeout);
  EXPECT_EQ(ResumeThread(self), 0u);
  EXPECT_TRUE(SetThreadPriority(self, THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(GetThreadPriority(self), THREAD_PRIORITY_BELOW_NORMAL);
  EXPECT_TRUE(SetThreadPriority(self, THREAD_PRIORITY_NORMAL));
  EXPECT_TRUE(CloseHandle(self));
}

}  // namespace
