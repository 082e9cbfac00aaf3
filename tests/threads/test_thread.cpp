// CThread: starting, stopping, the guard of the thread procedure, forced ends, and the owner's
// queue serviced while FStop waits.

#include <stdexcept>

#include <gtest/gtest.h>

#include "qnutil/frame.h"
#include "threads/thread_probes.h"

namespace qntest {
namespace {

// Waits on the stop event, then returns.
void UntilStopped(ProbeThread &self) { WaitForSingleObject(self.HEvStop(), INFINITE); }

TEST(CThread, WithoutAThreadEverythingIsIdle) {
  ProbeThread t;
  EXPECT_NE(t.HEvStop(), nullptr);
  EXPECT_TRUE(t.FStop(false, 0));
  EXPECT_FALSE(t.FShouldStop());  // FStop did not signal: there was nothing to stop
  EXPECT_EQ(t.ThreadID(), 0u);
  EXPECT_EQ(t.HThread(), nullptr);
  EXPECT_TRUE(t.FIsIdle());
  EXPECT_TRUE(t.Terminate());
  // The platform's calls fail on no thread, and the answers say so.
  EXPECT_FALSE(t.SuspendThread());
  EXPECT_FALSE(t.ResumeThread());
  EXPECT_FALSE(t.FSetPriority(THREAD_PRIORITY_BELOW_NORMAL));
}

TEST(CThreadConcurrent, StartStopAndStartAgain) {
  ProbeThread t;
  std::atomic<DWORD> seenId{0}, currentId{0};
  std::atomic<HANDLE> seenHandle{NULL};
  t.main = [&](ProbeThread &self) {
    // Read first thing: the identifier and handle must already be stored when the thread runs.
    seenId = self.ThreadID();
    seenHandle = self.HThread();
    currentId = GetCurrentThreadId();
    UntilStopped(self);
  };
  ASSERT_TRUE(t.FStart());
  EXPECT_FALSE(t.FStart());  // one thread at a time
  const DWORD id = t.ThreadID();
  const HANDLE handle = t.HThread();
  EXPECT_NE(id, 0u);
  EXPECT_NE(handle, nullptr);
  EXPECT_FALSE(t.FIsIdle());
  EXPECT_FALSE(t.FShouldStop());

  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
  EXPECT_EQ(seenId.load(), id);
  EXPECT_EQ(currentId.load(), id);
  EXPECT_EQ(seenHandle.load(), handle);
  EXPECT_EQ(t.HThread(), nullptr);
  EXPECT_EQ(t.ThreadID(), 0u);
  EXPECT_TRUE(t.FShouldStop());  // stays signalled until the next start
  EXPECT_EQ(t.inits.load(), 1);
  EXPECT_EQ(t.mains.load(), 1);
  EXPECT_EQ(t.shutdowns.load(), 1);

  ASSERT_TRUE(t.FStart());
  EXPECT_FALSE(t.FShouldStop());  // the start reset it
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
  EXPECT_EQ(t.shutdowns.load(), 2);
}

TEST(CThreadConcurrent, AnEndedThreadIsHeldUntilIdle) {
  ProbeThread t;
  ASSERT_TRUE(t.FStart());
  const DWORD id = t.ThreadID();
  ASSERT_EQ(WaitForSingleObject(t.HThread(), kNoLongerThanMs), WAIT_OBJECT_0);
  DWORD code = 1;
  EXPECT_TRUE(GetExitCodeThread(t.HThread(), &code));
  EXPECT_EQ(code, 0u);
  EXPECT_FALSE(t.FStart());  // ended, but still held
  EXPECT_TRUE(t.FIsIdle());
  EXPECT_EQ(t.HThread(), nullptr);
  EXPECT_EQ(t.ThreadID(), id);  // FIsIdle keeps it
  ASSERT_TRUE(t.FStart());
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
}

// Whatever BInitialize and ThreadMain do, OnShutdown runs and the exit code is 0.
TEST(CThreadConcurrent, TheGuardStopsEveryExceptionAndShutdownStillRuns) {
  struct Case {
    const char *name;
    std::function<bool()> init;
    std::function<void(ProbeThread &)> main;
    int mains;
  };
  const Case cases[] = {
      {"initialisation refused", [] { return false; }, [](ProbeThread &) {}, 0},
      {"out of memory in initialisation", []() -> bool { throw COOMExcep(); }, [](ProbeThread &) {}, 0},
      {"out of memory in main", [] { return true; }, [](ProbeThread &) { throw COOMExcep(); }, 1},
      {"a library exception", [] { return true; },
       [](ProbeThread &) { throw CException(qn::AsU(u"failed"), E_FAIL); }, 1},
      {"a standard exception", [] { return true; }, [](ProbeThread &) { throw std::runtime_error("x"); }, 1},
      {"a non-class exception", [] { return true; }, [](ProbeThread &) { throw 42; }, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ProbeThread t;
    t.init = c.init;
    t.main = c.main;
    ASSERT_TRUE(t.FStart());
    ASSERT_EQ(WaitForSingleObject(t.HThread(), kNoLongerThanMs), WAIT_OBJECT_0);
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeThread(t.HThread(), &code));
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(t.inits.load(), 1);
    EXPECT_EQ(t.mains.load(), c.mains);
    EXPECT_EQ(t.shutdowns.load(), 1);
  }
}

TEST(CThreadConcurrent, StopWithoutForceLeavesALateThreadRunning) {
  ScopedEvent release(true, false);
  ProbeThread t;
  t.main = [&](ProbeThread &) { WaitForSingleObject(release, INFINITE); };  // ignores the stop event
  ASSERT_TRUE(t.FStart());
  ThreadWatch watch(t.HThread());
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(t.FStop(false, 100));
  EXPECT_GE(MillisecondsSince(start), 100 - kClockSlackMs);
  EXPECT_EQ(t.HThread(), nullptr);  // idle all the same
  EXPECT_EQ(t.ThreadID(), 0u);
  EXPECT_FALSE(watch.Ended(0));  // still running, detached
  SetEvent(release);
  ASSERT_TRUE(watch.Ended());
  EXPECT_EQ(watch.ExitCode(), 0u);
  EXPECT_EQ(t.shutdowns.load(), 1);
}

// A forced stop and Terminate end a thread that does not co-operate, each with its own exit code.
TEST(CThreadConcurrent, ForcedEndsGiveTheirExitCodes) {
  for (const bool viaTerminate : {false, true}) {
    SCOPED_TRACE(viaTerminate ? "Terminate" : "FStop with force");
    ScopedEvent never(true, false);
    ProbeThread t;
    t.main = [&](ProbeThread &) { WaitForSingleObject(never, INFINITE); };
    ASSERT_TRUE(t.FStart());
    const DWORD id = t.ThreadID();
    ThreadWatch watch(t.HThread());
    if (viaTerminate) {
      EXPECT_TRUE(t.Terminate());
      EXPECT_EQ(t.ThreadID(), id);
      EXPECT_FALSE(t.FShouldStop());  // Terminate does not ask, it ends
    } else {
      EXPECT_TRUE(t.FStop(true, 50));
      EXPECT_EQ(t.ThreadID(), 0u);
    }
    EXPECT_EQ(t.HThread(), nullptr);
    ASSERT_TRUE(watch.Ended());
    EXPECT_EQ(watch.ExitCode(), viaTerminate ? 0xB1B0B1B0u : 0xFFFFFFFFu);
    EXPECT_EQ(t.shutdowns.load(), 0);
  }
}

// The worker posts to the owner's window and thread, then sends (which blocks it until the owner
// answers): FStop must service all of it, the quit message like any other, for the worker to end.
TEST(CThreadConcurrent, StopServicesTheOwnersQueue) {
  WindowProbe probe;
  HWND owner = CreateProbeWindow(&probe);
  ASSERT_NE(owner, nullptr);
  const DWORD ownerThread = GetCurrentThreadId();
  std::atomic<LRESULT> answer{0};
  ProbeThread t;
  t.main = [&](ProbeThread &self) {
    UntilStopped(self);
    PostMessageW(owner, kMsgCount, 0, 0);
    PostThreadMessageW(ownerThread, WM_QUIT, 0, 0);
    answer = SendMessageW(owner, kMsgCount, 0, 0);
  };
  ASSERT_TRUE(t.FStart());
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
  EXPECT_EQ(answer.load(), 1);
  EXPECT_EQ(probe.counted.load(), 2);
  MSG msg;
  EXPECT_FALSE(PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE)) << "left in the queue: " << msg.message;
  DestroyWindow(owner);
}

TEST(CThreadConcurrent, EachMessageRestartsTheStopTimeOut) {
  WindowProbe probe;
  HWND owner = CreateProbeWindow(&probe);
  ASSERT_NE(owner, nullptr);
  const int kMessages = 12;
  ProbeThread t;
  t.main = [&](ProbeThread &self) {
    UntilStopped(self);
    for (int i = 1; i <= kMessages; ++i) {
      Sleep(25);
      // The last one is sent: answered, it was serviced before the thread could end.
      if (i < kMessages) {
        PostMessageW(owner, kMsgCount, 0, 0);
      } else {
        SendMessageW(owner, kMsgCount, 0, 0);
      }
    }
  };
  ASSERT_TRUE(t.FStart());
  const Clock::time_point start = Clock::now();
  // Far longer than the time-out in all, but never that long without a message.
  EXPECT_TRUE(t.FStop(false, 200));
  EXPECT_GE(MillisecondsSince(start), kMessages * 25 - kClockSlackMs);
  EXPECT_EQ(probe.counted.load(), kMessages);
  DestroyWindow(owner);
}

TEST(CThreadConcurrent, SuspendedStartRunsOnResume) {
  ScopedEvent ran(true, false);
  ProbeThread t;
  t.main = [&](ProbeThread &self) {
    SetEvent(ran);
    UntilStopped(self);
  };
  ASSERT_TRUE(t.FStart(CREATE_SUSPENDED));
  EXPECT_EQ(WaitForSingleObject(ran, 100), static_cast<DWORD>(WAIT_TIMEOUT));
  // The answers are the platform calls' success, whatever the suspend count was.
  EXPECT_TRUE(t.SuspendThread());  // count 1 -> 2
  EXPECT_TRUE(t.ResumeThread());   // 2 -> 1: still suspended
  EXPECT_EQ(WaitForSingleObject(ran, 50), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_TRUE(t.ResumeThread());  // 1 -> 0
  EXPECT_EQ(WaitForSingleObject(ran, kNoLongerThanMs), WAIT_OBJECT_0);
  EXPECT_TRUE(t.SuspendThread());  // a running thread: previous count 0, still a success
  EXPECT_TRUE(t.ResumeThread());
  EXPECT_TRUE(t.ResumeThread());  // at count 0: nothing to do, not a failure
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
}

TEST(CThreadConcurrent, PriorityIsSetOnTheThread) {
  ProbeThread t;
  t.main = UntilStopped;
  ASSERT_TRUE(t.FStart());
  EXPECT_TRUE(t.FSetPriority(THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(GetThreadPriority(t.HThread()), THREAD_PRIORITY_BELOW_NORMAL);
  EXPECT_FALSE(t.FSetPriority(12345));
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
}

}  // namespace
}  // namespace qntest
