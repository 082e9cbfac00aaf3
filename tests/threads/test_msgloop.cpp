// CMsgLoopThread, CLockHWND and HandleMessages, with message-only probe windows.

#include <gtest/gtest.h>

#include "threads/thread_probes.h"

namespace qntest {
namespace {

// Start answers once the window is stored; the loop services it; a second Start fails but
// replaces the creator; the destructor has that creator destroy the window on the loop thread.
TEST(MsgLoopConcurrent, StartPublishesTheWindowAndTheDestructorEndsIt) {
  ProbeCreator first, second;
  HWND hwnd = NULL;
  DWORD loopThread = 0;
  {
    CMsgLoopThread loop;
    ASSERT_TRUE(loop.Start(&first));
    hwnd = first.created.load();
    ASSERT_NE(hwnd, nullptr);
    EXPECT_EQ(static_cast<HWND>(CLockHWND(&loop)), hwnd);
    loopThread = loop.ThreadID();
    EXPECT_EQ(static_cast<DWORD>(SendMessageW(hwnd, kMsgThreadId, 0, 0)), loopThread);
    EXPECT_FALSE(loop.Start(&second));
  }
  EXPECT_EQ(second.created.load(), nullptr);
  EXPECT_EQ(first.destroyCalls.load(), 0);
  EXPECT_EQ(second.destroyCalls.load(), 1);
  EXPECT_EQ(second.destroyArg.load(), hwnd);
  EXPECT_EQ(second.destroyThread.load(), loopThread);
  EXPECT_EQ(second.destroyedCalls.load(), 0);  // it went because it was asked to
  EXPECT_FALSE(IsWindow(hwnd));
}

// The one test that waits out a 10-second time-out.
TEST(MsgLoopConcurrent, NoWindowFailsStartAfterTheReadyTimeOut) {
  ProbeCreator creator;
  creator.failCreate = true;
  CMsgLoopThread loop;
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(loop.Start(&creator));
  EXPECT_GE(MillisecondsSince(start), 10000 - kClockSlackMs);
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(creator.destroyArg.load(), nullptr);
  EXPECT_TRUE(EventuallyTrue([&] { return loop.FIsIdle(); }));
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
  EXPECT_TRUE(loop.FShouldStop());
  EXPECT_EQ(creator.destroyedCalls.load(), 1);
  EXPECT_EQ(creator.destroyedArg.load(), hwnd);
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(creator.destroyArg.load(), hwnd);
  EXPECT_EQ(watch.ExitCode(), 0u);
  EXPECT_TRUE(loop.FIsIdle());
}

// The return key is the dialog manager's (it becomes the default button's command, IDOK): the
// loop neither translates nor dispatches it. HandleMessages, without a dialog manager, does both.
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

  WindowProbe probe;
  HWND own = CreateProbeWindow(&probe);
  ASSERT_TRUE(PostMessageW(own, WM_KEYDOWN, VK_RETURN, 0));
  HandleMessages(QS_ALLINPUT, NULL);
  EXPECT_EQ(probe.keyDowns.load(), 1);
  EXPECT_EQ(probe.chars.load(), 1);  // made by TranslateMessage, dispatched in the same call
  EXPECT_EQ(probe.okCommands.load(), 0);
  DestroyWindow(own);
}

// The lock is a barrier before the window is destroyed: while a holder keeps it, the loop cannot
// end; afterwards there is no window to take.
TEST(MsgLoopConcurrent, TheLoopEndsOnlyAfterTheLockIsFree) {
  ProbeCreator creator;
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.Start(&creator));
  ThreadWatch watch(loop.HThread());
  {
    CLockHWND lock(&loop);
    EXPECT_EQ(loop.LockHWND(), creator.created.load());  // the holder may take it again
    loop.ReleaseHWND();
    EXPECT_FALSE(loop.FStop(false, 200));
    EXPECT_EQ(creator.destroyCalls.load(), 0);
  }
  ASSERT_TRUE(watch.Ended());
  EXPECT_EQ(creator.destroyCalls.load(), 1);
  EXPECT_EQ(static_cast<HWND>(CLockHWND(&loop)), nullptr);
}

TEST(MsgLoopConcurrent, AThreadWithoutACreatorEndsAtOnce) {
  CMsgLoopThread loop;
  ASSERT_TRUE(loop.FStart());
  ThreadWatch watch(loop.HThread());
  ASSERT_TRUE(watch.Ended());
  EXPECT_EQ(watch.ExitCode(), 0u);
}

// The send-only mask leaves posted messages queued; a window filter leaves other windows' ones.
TEST(HandleMessages, MaskAndFilterDecideWhatIsServiced) {
  WindowProbe probeA, probeB;
  HWND a = CreateProbeWindow(&probeA);
  HWND b = CreateProbeWindow(&probeB);
  ASSERT_TRUE(PostMessageW(a, kMsgCount, 0, 0));
  ASSERT_TRUE(PostMessageW(b, kMsgCount, 0, 0));
  HandleMessages(QS_SENDMESSAGE, NULL);
  EXPECT_EQ(probeA.counted.load() + probeB.counted.load(), 0);
  HandleMessages(QS_SENDMESSAGE | QS_POSTMESSAGE, a);  // 0x48: not exactly the send-only mask
  EXPECT_EQ(probeA.counted.load(), 1);
  EXPECT_EQ(probeB.counted.load(), 0);
  HandleMessages(QS_POSTMESSAGE, NULL);
  EXPECT_EQ(probeB.counted.load(), 1);
  DestroyWindow(a);
  DestroyWindow(b);
}

// A message sent from another thread is delivered by the send-only servicing, and only when the
// receiver services its queue.
TEST(HandleMessagesConcurrent, TheSendOnlyMaskDeliversSentMessages) {
  WindowProbe probe;
  HWND hwnd = CreateProbeWindow(&probe);
  ASSERT_TRUE(PostMessageW(hwnd, kMsgCount, 0, 0));
  ProbeThread sender;
  std::atomic<LRESULT> answer{0};
  sender.main = [&](ProbeThread &) { answer = SendMessageW(hwnd, kMsgThreadId, 0, 0); };
  ASSERT_TRUE(sender.FStart());
  ThreadWatch watch(sender.HThread());
  EXPECT_FALSE(watch.Ended(100));
  EXPECT_TRUE(EventuallyTrue([&] {
    HandleMessages(QS_SENDMESSAGE, NULL);
    return watch.Ended(0);
  }));
  EXPECT_EQ(static_cast<DWORD>(answer.load()), GetCurrentThreadId());
  EXPECT_EQ(probe.counted.load(), 0);  // the posted message is still queued
  DestroyWindow(hwnd);
}

}  // namespace
}  // namespace qntest
