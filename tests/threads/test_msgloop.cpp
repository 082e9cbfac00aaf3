// CMsgLoopThread, CLockHWND and HandleMessages, with message-only probe windows.

#include <gtest/gtest.h>

#include "threads/thread_probes.h"

namespace qntest {
namespace {

TEST(MsgLoopConcurrent, StartPublishesTheWindowAndStopDestroysItOnTheLoopThread) {
  ProbeCreator creator;
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.Start(&creator));
  const HWND hwnd = creator.created.load();
  ASSERT_NE(hwnd, nullptr);
  EXPECT_EQ(loop.LockHWND(), hwnd);  // stored before Start answered
  loop.ReleaseHWND();
  {
    CLockHWND lock(&loop);
    EXPECT_EQ(static_cast<HWND>(lock), hwnd);
  }
  // The loop services the window: a sent message is answered on the loop thread.
  EXPECT_EQ(static_cast<DWORD>(SendMessageW(hwnd, kMsgThreadId, 0, 0)), loop.ThreadID());
  const DWORD loopThread = loop.ThreadID();

  EXPECT_TRUE(loop.FStop(false, kNoLongerThanMs));
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(creator.destroyArg.load(), hwnd);
  EXPECT_EQ(creator.destroyThread.load(), loopThread);
  EXPECT_EQ(creator.destroyedCalls.load(), 0);  // it went because it was asked to
  EXPECT_FALSE(IsWindow(hwnd));
  EXPECT_EQ(loop.LockHWND(), nullptr);
  loop.ReleaseHWND();
}

// One of the two tests that wait out a 10-second time-out.
TEST(MsgLoopConcurrent, NoWindowFailsStartAfterTheReadyTimeOut) {
  ProbeCreator creator;
  creator.failCreate = true;
  CMsgLoopThread loop;
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(loop.Start(&creator));
  EXPECT_GE(MillisecondsSince(start), 10000 - kClockSlackMs);
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(creator.destroyArg.load(), nullptr);
  EXPECT_TRUE(EventuallyTrue([&] { return loop.FIsIdle(); }));  // the thread ended; now released
}

// A second Start while the thread runs fails, but the creator it gave is the one the loop then
// uses.
TEST(MsgLoopConcurrent, SecondStartFailsAndReplacesTheCreator) {
  ProbeCreator first, second;
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.Start(&first));
  EXPECT_FALSE(loop.Start(&second));
  EXPECT_EQ(second.created.load(), nullptr);
  EXPECT_TRUE(loop.FStop(false, kNoLongerThanMs));
  EXPECT_EQ(first.destroyCalls.load(), 0);
  EXPECT_EQ(second.destroyCalls.load(), 1);
  EXPECT_EQ(second.destroyArg.load(), first.created.load());
}

// The window destroys itself on a message: the loop notices in the same pass, tells the creator
// once, stops itself, and has the creator destroy what is left.
TEST(MsgLoopConcurrent, AVanishedWindowEndsTheLoop) {
  ProbeCreator creator;
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.Start(&creator));
  const HWND hwnd = creator.created.load();
  ThreadWatch watch(loop.HThread());
  const Clock::time_point start = Clock::now();
  ASSERT_TRUE(PostMessageW(hwnd, kMsgDestroySelf, 0, 0));
  ASSERT_TRUE(watch.Ended());
  EXPECT_LT(MillisecondsSince(start), 2000);  // at once, not at the 2.5 s wake-up
  EXPECT_TRUE(loop.FShouldStop());            // the loop stopped itself
  EXPECT_EQ(creator.destroyedCalls.load(), 1);
  EXPECT_EQ(creator.destroyedArg.load(), hwnd);
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(creator.destroyArg.load(), hwnd);
  EXPECT_EQ(watch.ExitCode(), 0u);
  EXPECT_TRUE(loop.FIsIdle());
}

// The return key for the window is the dialog manager's: it becomes the default button's command
// (IDOK), and the loop neither translates nor dispatches the key itself.
TEST(MsgLoopConcurrent, MessagesGoThroughTheDialogManagerFirst) {
  ProbeCreator creator;
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.Start(&creator));
  const HWND hwnd = creator.created.load();
  ASSERT_TRUE(PostMessageW(hwnd, WM_KEYDOWN, VK_RETURN, 0));
  ASSERT_TRUE(PostMessageW(hwnd, kMsgCount, 0, 0));
  ASSERT_TRUE(EventuallyTrue([&] { return creator.probe.counted.load() == 1; }));
  EXPECT_EQ(creator.probe.okCommands.load(), 1);
  EXPECT_EQ(creator.probe.keyDowns.load(), 0);
  EXPECT_EQ(creator.probe.chars.load(), 0);
  EXPECT_TRUE(loop.FStop(false, kNoLongerThanMs));
}

// The lock is a barrier before the window is destroyed: while a holder keeps it, the loop cannot
// end, and once it is free the holder's successors see no window.
TEST(MsgLoopConcurrent, TheLoopEndsOnlyAfterTheLockIsFree) {
  ProbeCreator creator;
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.Start(&creator));
  ThreadWatch watch(loop.HThread());
  {
    CLockHWND lock(&loop);
    EXPECT_EQ(loop.LockHWND(), creator.created.load());  // the holder may take it again
    loop.ReleaseHWND();
    EXPECT_FALSE(loop.FStop(false, 200));  // the loop thread waits for the lock
    EXPECT_EQ(creator.destroyCalls.load(), 0);
  }
  ASSERT_TRUE(watch.Ended());
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(loop.LockHWND(), nullptr);
  loop.ReleaseHWND();
}

TEST(MsgLoopConcurrent, DestroyingTheObjectStopsTheLoopFirst) {
  ProbeCreator creator;
  DWORD loopThread = 0;
  {
    CMsgLoopThread loop;
    ASSERT_TRUE(loop.Start(&creator));
    loopThread = loop.ThreadID();
  }
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(creator.destroyThread.load(), loopThread);
  EXPECT_FALSE(IsWindow(creator.created.load()));
}

TEST(MsgLoopConcurrent, AThreadWithoutACreatorEndsAtOnce) {
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.FStart());
  ThreadWatch watch(loop.HThread());
  ASSERT_TRUE(watch.Ended());
  EXPECT_EQ(watch.ExitCode(), 0u);
  EXPECT_EQ(loop.LockHWND(), nullptr);
  loop.ReleaseHWND();
}

// Posted messages: the send-only mask leaves them, any other mask dispatches them.
TEST(HandleMessages, TheSendOnlyMaskLeavesPostedMessages) {
  WindowProbe probe;
  HWND hwnd = CreateProbeWindow(&probe);
  ASSERT_NE(hwnd, nullptr);
  ASSERT_TRUE(PostMessageW(hwnd, kMsgCount, 0, 0));
  HandleMessages(QS_SENDMESSAGE, NULL);
  EXPECT_EQ(probe.counted.load(), 0);
  MSG msg;
  EXPECT_TRUE(PeekMessageW(&msg, hwnd, 0, 0, PM_NOREMOVE));
  HandleMessages(QS_SENDMESSAGE | QS_POSTMESSAGE, NULL);  // 0x48: not exactly the send-only mask
  EXPECT_EQ(probe.counted.load(), 1);
  EXPECT_FALSE(PeekMessageW(&msg, NULL, 0, 0, PM_NOREMOVE));
  DestroyWindow(hwnd);
}

// Without the dialog manager: the key is translated (its character follows in the same call) and
// dispatched.
TEST(HandleMessages, OtherMasksTranslateAndDispatchEverything) {
  WindowProbe probe;
  HWND hwnd = CreateProbeWindow(&probe);
  ASSERT_NE(hwnd, nullptr);
  ASSERT_TRUE(PostMessageW(hwnd, WM_KEYDOWN, VK_RETURN, 0));
  HandleMessages(QS_ALLINPUT, NULL);
  EXPECT_EQ(probe.keyDowns.load(), 1);
  EXPECT_EQ(probe.chars.load(), 1);
  EXPECT_EQ(probe.okCommands.load(), 0);
  DestroyWindow(hwnd);
}

TEST(HandleMessages, AWindowFilterLeavesOtherWindowsMessages) {
  WindowProbe probeA, probeB;
  HWND a = CreateProbeWindow(&probeA);
  HWND b = CreateProbeWindow(&probeB);
  ASSERT_TRUE(PostMessageW(a, kMsgCount, 0, 0));
  ASSERT_TRUE(PostMessageW(b, kMsgCount, 0, 0));
  HandleMessages(QS_POSTMESSAGE, a);
  EXPECT_EQ(probeA.counted.load(), 1);
  EXPECT_EQ(probeB.counted.load(), 0);
  HandleMessages(QS_POSTMESSAGE, NULL);
  EXPECT_EQ(probeB.counted.load(), 1);
  DestroyWindow(a);
  DestroyWindow(b);
}

// A message sent from another thread is delivered by the send-only servicing, and nowhere else
// while the receiver does not look.
TEST(HandleMessagesConcurrent, TheSendOnlyMaskDeliversSentMessages) {
  WindowProbe probe;
  HWND hwnd = CreateProbeWindow(&probe);
  ASSERT_NE(hwnd, nullptr);
  ASSERT_TRUE(PostMessageW(hwnd, kMsgCount, 0, 0));
  ProbeThread sender;
  std::atomic<LRESULT> answer{0};
  sender.main = [&](ProbeThread &) { answer = SendMessageW(hwnd, kMsgThreadId, 0, 0); };
  ASSERT_TRUE(sender.FStart());
  ThreadWatch watch(sender.HThread());
  EXPECT_FALSE(watch.Ended(100));  // blocked until this thread services its queue
  EXPECT_TRUE(EventuallyTrue([&] {
    HandleMessages(QS_SENDMESSAGE, NULL);
    return watch.Ended(0);
  }));
  EXPECT_EQ(static_cast<DWORD>(answer.load()), GetCurrentThreadId());
  EXPECT_EQ(probe.counted.load(), 0);  // the posted message is still queued
  HandleMessages(QS_ALLINPUT, NULL);
  EXPECT_EQ(probe.counted.load(), 1);
  DestroyWindow(hwnd);
}

}  // namespace
}  // namespace qntest
