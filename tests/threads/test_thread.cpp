// CThread: starting, stopping, the guard of the thread procedure, forced ends, and the owner's
// queue serviced while FStop waits.

#include <stdexcept>

#include <gtest/gtest.h>

#include "qnutil/frame.h"
#include "threads/thread_probes.h"

namespace qntest {
namespace {

void UntilStopped(ProbeThread &self) { WaitForSingleObject(self.HEvStop(), INFINITE); }

TEST(CThread, WithoutAThreadEverythingIsIdle) {
  ProbeThread t;
  EXPECT_TRUE(t.FStop(false, 0));
  EXPECT_FALSE(t.FShouldStop());  // nothing to stop: not signalled
  EXPECT_TRUE(t.FIsIdle());
  EXPECT_TRUE(t.Terminate());
  EXPECT_FALSE(t.SuspendThread());  // the platform calls fail on no thread
  EXPECT_FALSE(t.ResumeThread());
  EXPECT_FALSE(t.FSetPriority(THREAD_PRIORITY_BELOW_NORMAL));
}

TEST(CThreadConcurrent, StartStopAndStartAgain) {
  ProbeThread t;
  std::atomic<DWORD> seenId{0}, currentId{0};
  t.main = [&](ProbeThread &self) {
    seenId = self.ThreadID();  // first thing: already stored
    currentId = GetCurrentThreadId();
    UntilStopped(self);
  };
  ASSERT_TRUE(t.FStart());
  EXPECT_FALSE(t.FStart());  // one thread at a time
  const DWORD id = t.ThreadID();
  EXPECT_FALSE(t.FIsIdle());
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
  EXPECT_EQ(seenId.load(), id);
  EXPECT_EQ(currentId.load(), id);
  EXPECT_EQ(t.HThread(), nullptr);
  EXPECT_EQ(t.ThreadID(), 0u);
  EXPECT_TRUE(t.FShouldStop());  // stays signalled until the next start
  EXPECT_EQ(t.shutdowns.load(), 1);

  // An ended thread is held (no restart) until FIsIdle releases it; the identifier stays.
  t.main = [](ProbeThread &) {};
  ASSERT_TRUE(t.FStart());
  EXPECT_FALSE(t.FShouldStop());  // the start reset it
  const DWORD secondId = t.ThreadID();
  ASSERT_EQ(WaitForSingleObject(t.HThread(), kNoLongerThanMs), WAIT_OBJECT_0);
  EXPECT_FALSE(t.FStart());
  EXPECT_TRUE(t.FIsIdle());
  EXPECT_EQ(t.HThread(), nullptr);
  EXPECT_EQ(t.ThreadID(), secondId);
  EXPECT_TRUE(t.FStart());
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
    EXPECT_EQ(t.mains.load(), c.mains);
    EXPECT_EQ(t.shutdowns.load(), 1);
  }
}

// A worker that ignores the stop request: FStop without force gives up and leaves it running;
// with force, and Terminate, end it, each with its own exit code. All three leave the object idle.
TEST(CThreadConcurrent, ALateThreadIsLeftOrEnded) {
  enum Way { kGiveUp, kForce, kTerminate };
  for (const Way way : {kGiveUp, kForce, kTerminate}) {
    SCOPED_TRACE(way);
    ScopedEvent release(true, false);
    ProbeThread t;
    t.main = [&](ProbeThread &) { WaitForSingleObject(release, INFINITE); };
    ASSERT_TRUE(t.FStart());
    const DWORD id = t.ThreadID();
    ThreadWatch watch(t.HThread());
    const Clock::time_point start = Clock::now();
    if (way == kTerminate) {
      EXPECT_TRUE(t.Terminate());
      EXPECT_EQ(t.ThreadID(), id);
      EXPECT_FALSE(t.FShouldStop());  // ended, not asked
    } else {
      EXPECT_EQ(t.FStop(way == kForce, 100), way == kForce);
      EXPECT_GE(MillisecondsSince(start), 100 - kClockSlackMs);
      EXPECT_EQ(t.ThreadID(), 0u);
    }
    EXPECT_EQ(t.HThread(), nullptr);
    if (way == kGiveUp) {
      EXPECT_FALSE(watch.Ended(0));  // detached, still running
      SetEvent(release);
    }
    ASSERT_TRUE(watch.Ended());
    EXPECT_EQ(watch.ExitCode(), way == kGiveUp ? 0u : way == kForce ? 0xFFFFFFFFu : 0xB1B0B1B0u);
    EXPECT_EQ(t.shutdowns.load(), way == kGiveUp ? 1 : 0);
  }
}

// Once asked to stop, the worker posts to the owner's window every 25 ms, far longer in all than
// FStop's time-out, posts a quit message to the owner's thread, and at last sends (which blocks
// it until the owner answers). FStop must service all of it, the quit message like any other, and
// each message must restart its time-out.
TEST(CThreadConcurrent, StopServicesTheOwnersQueue) {
  WindowProbe probe;
  HWND owner = CreateProbeWindow(&probe);
  ASSERT_NE(owner, nullptr);
  const DWORD ownerThread = GetCurrentThreadId();
  const int kPosts = 12;
  ProbeThread t;
  t.main = [&](ProbeThread &self) {
    UntilStopped(self);
    for (int i = 0; i < kPosts; ++i) {
      Sleep(25);
      PostMessageW(owner, kMsgCount, 0, 0);
    }
    PostThreadMessageW(ownerThread, WM_QUIT, 0, 0);
    SendMessageW(owner, kMsgCount, 0, 0);
  };
  ASSERT_TRUE(t.FStart());
  const Clock::time_point start = Clock::now();
  EXPECT_TRUE(t.FStop(false, 200));
  EXPECT_GE(MillisecondsSince(start), kPosts * 25 - kClockSlackMs);
  EXPECT_EQ(probe.counted.load(), kPosts + 1);
  MSG msg;
  EXPECT_FALSE(PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE)) << "left in the queue: " << msg.message;
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

  EXPECT_TRUE(t.FSetPriority(THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(GetThreadPriority(t.HThread()), THREAD_PRIORITY_BELOW_NORMAL);
  EXPECT_FALSE(t.FSetPriority(12345));
  EXPECT_TRUE(t.FStop(false, kNoLongerThanMs));
}

}  // namespace
}  // namespace qntest
