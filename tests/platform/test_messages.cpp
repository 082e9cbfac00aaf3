// Conformance: message queues. Posting, Peek and Get with their filters, the quit flag, what a
// wait on input counts as new, and messages sent across threads.
#include <atomic>
#include <thread>
#include <tuple>

#include "platform/sync_helpers.h"
#include "platform/window_helpers.h"

namespace {

using qntest::DrainQueue;
using qntest::ErrorOf;
using qntest::MakeMsg;
using qntest::Recorder;
using qntest::ScopedEvent;
using qntest::TestWindow;

const DWORD kTimeout = static_cast<DWORD>(WAIT_TIMEOUT);
const HWND kThreadOnly = reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1));

DWORD WaitInput(DWORD mask, DWORD flags = 0) { return MsgWaitForMultipleObjectsEx(0, nullptr, 0, mask, flags); }

TEST(MessageQueue, PostedMessagesComeInOrderWithTheirFields) {
  Recorder recorder;
  TestWindow window(recorder);
  DrainQueue();
  const DWORD before = GetTickCount();
  ASSERT_TRUE(PostMessageW(window, WM_USER + 1, 11, 12));
  ASSERT_TRUE(PostMessageW(nullptr, WM_USER + 2, 21, 22));
  ASSERT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_APP, 31, 32));
  for (const MSG &e : {MakeMsg(window, WM_USER + 1, 11, 12), MakeMsg(nullptr, WM_USER + 2, 21, 22),
                       MakeMsg(nullptr, WM_APP, 31, 32)}) {
    MSG msg{};
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE));
    ASSERT_TRUE(GetMessageW(&msg, nullptr, 0, 0));
    EXPECT_EQ(std::make_tuple(msg.hwnd, msg.message, msg.wParam, msg.lParam),
              std::make_tuple(e.hwnd, e.message, e.wParam, e.lParam));
    EXPECT_LE(msg.time - before, GetTickCount() - before);
  }
  MSG msg;
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_TRUE(recorder.Of({WM_USER + 1}).empty()) << "posting does not dispatch";
}

TEST(MessageQueue, FiltersPickByWindowAndRange) {
  Recorder recorder;
  TestWindow a(recorder), b(recorder);
  DrainQueue();
  PostMessageW(a, WM_USER + 1, 0, 0);
  PostMessageW(b, WM_USER + 2, 0, 0);
  PostMessageW(nullptr, WM_USER + 3, 0, 0);
  PostMessageW(a, WM_APP, 0, 0);
  const struct {
    HWND hwnd;
    UINT first, last;
    UINT found;  // 0: nothing
  } cases[] = {
      {nullptr, 0, 0, WM_USER + 1},
      {b, 0, 0, WM_USER + 2},
      {kThreadOnly, 0, 0, WM_USER + 3},
      {nullptr, WM_USER + 2, WM_USER + 3, WM_USER + 2},
      {a, WM_USER + 2, WM_APP, WM_APP},
      {a, WM_USER + 2, WM_USER + 3, 0},
      {nullptr, WM_USER + 3, WM_USER + 1, 0},  // an inverted range takes nothing
  };
  for (const auto &c : cases) {
    MSG msg{};
    const BOOL found = PeekMessageW(&msg, c.hwnd, c.first, c.last, PM_NOREMOVE);
    EXPECT_EQ(found != FALSE, c.found != 0) << std::hex << c.first << ".." << c.last;
    if (found) {
      EXPECT_EQ(msg.message, c.found) << std::hex << c.first << ".." << c.last;
    }
  }
  // Only the kinds asked for are serviced.
  MSG msg;
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE | PM_QS_SENDMESSAGE));
  EXPECT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE | PM_QS_POSTMESSAGE));
  EXPECT_EQ(DrainQueue(), 3);
}

TEST(MessageQueue, QuitComesLastWhateverTheFilter) {
  Recorder recorder;
  TestWindow a(recorder), b(recorder);
  DrainQueue();
  PostQuitMessage(6);
  PostQuitMessage(7);
  PostMessageW(a, WM_USER, 0, 0);
  MSG msg{};
  // A message that b's filter refuses does not hide the quit flag from it.
  ASSERT_TRUE(PeekMessageW(&msg, b, WM_USER + 50, WM_USER + 60, PM_NOREMOVE));
  EXPECT_EQ(msg.message, static_cast<UINT>(WM_QUIT));
  EXPECT_EQ(GetMessageW(&msg, nullptr, 0, 0), TRUE);
  EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER));
  EXPECT_EQ(GetMessageW(&msg, nullptr, 0, 0), FALSE);
  EXPECT_EQ(msg.message, static_cast<UINT>(WM_QUIT));
  EXPECT_EQ(msg.wParam, 7u);
  EXPECT_EQ(msg.hwnd, nullptr);
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) << "the flag is taken once";
}

TEST(MessageQueue, Errors) {
  Recorder recorder;
  MSG msg;
  HWND gone;
  {
    TestWindow window(recorder);
    gone = window;
    PostMessageW(window, WM_USER, 0, 0);
    // A message whose parameters point to data cannot be posted.
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(PostMessageW(window, WM_SETTEXT, 0, 0)); }),
              static_cast<DWORD>(ERROR_MESSAGE_SYNC_ONLY));
  }
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) << "a destroyed window's messages are dropped";
  const DWORD invalid = ERROR_INVALID_WINDOW_HANDLE;
  EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(PostMessageW(gone, WM_USER, 0, 0)); }), invalid);
  EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(PeekMessageW(&msg, gone, 0, 0, PM_REMOVE)); }), invalid);
  EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(GetMessageW(&msg, gone, 0, 0), -1); }), invalid);
  EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(SendMessageW(gone, WM_USER, 0, 0), 0); }), invalid);
}

// Input wakes a wait once the owner has not looked at it: a look (Peek, Get, GetQueueStatus)
// makes it old, the wait itself does not.
TEST(MessageQueue, WaitsWakeOnInputNotYetLookedAt) {
  Recorder recorder;
  TestWindow a(recorder), b(recorder);
  DrainQueue();
  const DWORD input = WAIT_OBJECT_0;
  MSG msg;

  PostMessageW(a, WM_USER, 0, 0);
  EXPECT_EQ(WaitInput(QS_KEY), kTimeout) << "not a kind of the mask";
  EXPECT_EQ(WaitInput(QS_ALLINPUT), input);
  EXPECT_EQ(WaitInput(QS_POSTMESSAGE), input) << "a wait does not make input old";
  EXPECT_FALSE(PeekMessageW(&msg, b, 0, 0, PM_NOREMOVE));
  EXPECT_EQ(WaitInput(QS_ALLINPUT), kTimeout) << "a look that found nothing still looked";
  EXPECT_EQ(WaitInput(QS_ALLINPUT, MWMO_INPUTAVAILABLE), input);

  PostMessageW(a, WM_USER, 0, 0);
  EXPECT_FALSE(PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE));
  EXPECT_EQ(WaitInput(QS_POSTMESSAGE), input) << "that look was at sent messages only";
  EXPECT_EQ(GetQueueStatus(QS_KEY), 0u);
  EXPECT_EQ(GetQueueStatus(QS_ALLINPUT), static_cast<DWORD>(MAKELONG(QS_POSTMESSAGE, QS_POSTMESSAGE)));
  EXPECT_EQ(GetQueueStatus(QS_ALLINPUT), static_cast<DWORD>(MAKELONG(0, QS_POSTMESSAGE)));
  EXPECT_EQ(WaitInput(QS_ALLINPUT), kTimeout);
  EXPECT_EQ(DrainQueue(), 2);
  EXPECT_EQ(GetQueueStatus(QS_ALLINPUT), 0u);

  PostQuitMessage(0);
  EXPECT_EQ(WaitInput(QS_POSTMESSAGE), input) << "the quit flag is posted input";
  DrainQueue();
}

TEST(MessageQueue, WaitsMixObjectsAndInput) {
  ScopedEvent event(true, false);
  HANDLE handles[] = {event};
  DrainQueue();
  EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, FALSE, 0, QS_ALLINPUT), kTimeout);
  PostMessageW(nullptr, WM_USER, 0, 0);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, FALSE, 0, QS_ALLINPUT), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, TRUE, 0, QS_ALLINPUT), kTimeout) << "all: the event too";
  SetEvent(event);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, FALSE, 0, QS_ALLINPUT), WAIT_OBJECT_0);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, TRUE, 0, QS_ALLINPUT), WAIT_OBJECT_0);
  DrainQueue();
  EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, TRUE, 0, QS_ALLINPUT), kTimeout);

  ScopedEvent closed(true, false);
  closed.Close();
  HANDLE bad[] = {closed.ClosedValue()};
  EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(MsgWaitForMultipleObjects(1, bad, FALSE, 0, QS_ALLINPUT), WAIT_FAILED); }),
            static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

struct Sync {
  ScopedEvent ready{true, false};
  ScopedEvent go{true, false};
  ScopedEvent done{true, false};
};

TEST(MessagesConcurrent, PostThreadMessageNeedsAQueue) {
  Sync sync;
  DWORD thread = 0;
  std::thread worker([&] {
    thread = GetCurrentThreadId();
    SetEvent(sync.ready);
    WaitForSingleObject(sync.go, INFINITE);
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    SetEvent(sync.done);
    GetMessageW(&msg, nullptr, 0, 0);
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_USER + 9));
  });
  WaitForSingleObject(sync.ready, INFINITE);
  EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(PostThreadMessageW(thread, WM_USER, 0, 0)); }),
            static_cast<DWORD>(ERROR_INVALID_THREAD_ID));
  SetEvent(sync.go);
  WaitForSingleObject(sync.done, INFINITE);
  EXPECT_TRUE(PostThreadMessageW(thread, WM_USER + 9, 0, 0));
  worker.join();
  EXPECT_FALSE(PostThreadMessageW(thread, WM_USER, 0, 0)) << "the queue ended with its thread";
}

// A message sent from another thread is reported by a wait and run by the receiver's next look,
// on the receiver's thread, whatever that look's filters.
TEST(MessagesConcurrent, SentMessagesRunInTheReceiversLook) {
  Recorder recorder;
  TestWindow window(recorder), other(recorder);
  DrainQueue();
  LRESULT answer = 0;
  ScopedEvent done(true, false);
  std::thread sender([&] {
    answer = SendMessageW(window, WM_USER + 7, 5, 6);
    SetEvent(done);
  });
  EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 5000, QS_SENDMESSAGE), WAIT_OBJECT_0);
  EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 0, QS_POSTMESSAGE), kTimeout);
  EXPECT_EQ(WaitForSingleObject(done, 50), kTimeout) << "a wait reports a sent message, it does not run it";
  EXPECT_TRUE(recorder.Of({WM_USER + 7}).empty());
  MSG msg;
  EXPECT_FALSE(PeekMessageW(&msg, other, WM_APP, WM_APP, PM_NOREMOVE));
  EXPECT_EQ(WaitForSingleObject(done, 5000), WAIT_OBJECT_0);
  sender.join();
  EXPECT_EQ(answer, 1007);
  const qntest::Seen seen = recorder.Last(WM_USER + 7);
  EXPECT_EQ(seen.hwnd, static_cast<HWND>(window));
  EXPECT_EQ(seen.thread, GetCurrentThreadId());
  EXPECT_EQ(seen.wParam, 5u);
  EXPECT_EQ(seen.lParam, 6);
}

// Two threads that send to each other: each one's wait for its answer still runs what the other
// sends it.
TEST(MessagesConcurrent, SendersAnswerWhatIsSentToThemWhileTheyWait) {
  Recorder here;
  TestWindow mine(here);
  std::atomic<HWND> theirs{nullptr};
  Sync sync;
  std::thread peer([&] {
    Recorder there;
    TestWindow window(there);
    theirs = window;
    SetEvent(sync.ready);
    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
      if (msg.message == WM_USER + 20) PostQuitMessage(0);
      DispatchMessageW(&msg);
    }
    EXPECT_EQ(there.Of({WM_USER + 3}).size(), 1u);
  });
  WaitForSingleObject(sync.ready, INFINITE);
  // The peer's procedure, run inside its GetMessageW, sends WM_USER + 4 back to this thread, which
  // is waiting in SendMessageW for the peer's answer.
  struct Ping {
    static LRESULT CALLBACK Proc(HWND h, UINT m, WPARAM w, LPARAM l) {
      if (m == WM_USER + 30) return SendMessageW(reinterpret_cast<HWND>(w), WM_USER + 4, 0, 0) + 1;
      return qntest::RecordingProc(h, m, w, l);
    }
  };
  SetWindowLongPtrW(theirs, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Ping::Proc));
  EXPECT_EQ(SendMessageW(theirs, WM_USER + 3, 0, 0), 1003);
  EXPECT_EQ(SendMessageW(theirs, WM_USER + 30, reinterpret_cast<WPARAM>(static_cast<HWND>(mine)), 0), 1005);
  EXPECT_EQ(here.Last(WM_USER + 4).thread, GetCurrentThreadId());
  PostMessageW(theirs, WM_USER + 20, 0, 0);
  peer.join();
}

TEST(MessagesConcurrent, AThreadsWindowsEndWithIt) {
  Recorder recorder;
  HWND window = nullptr;
  DWORD thread = 0;
  std::thread worker([&] {
    window = CreateWindowExW(0, qntest::TestClass(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                             &recorder);
    thread = GetCurrentThreadId();
    PostMessageW(window, WM_USER, 0, 0);
  });
  worker.join();
  ASSERT_NE(window, nullptr);
  EXPECT_FALSE(IsWindow(window));
  EXPECT_TRUE(recorder.Of({WM_DESTROY, WM_NCDESTROY}).empty()) << "no procedure runs for a thread that ended";
  EXPECT_EQ(SendMessageW(window, WM_USER, 0, 0), 0);
  EXPECT_FALSE(PostMessageW(window, WM_USER, 0, 0));
  EXPECT_FALSE(PostThreadMessageW(thread, WM_USER, 0, 0));
}

// A sender waiting on a thread that ends without answering gets 0.
TEST(MessagesConcurrent, SendToAThreadThatEndsAnswersZero) {
  Recorder recorder;
  Sync sync;
  std::atomic<HWND> window{nullptr};
  std::thread receiver([&] {
    window = CreateWindowExW(0, qntest::TestClass(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                             &recorder);
    SetEvent(sync.ready);
    WaitForSingleObject(sync.go, INFINITE);
  });
  WaitForSingleObject(sync.ready, INFINITE);
  LRESULT answer = -1;
  std::thread sender([&] { answer = SendMessageW(window, WM_USER + 1, 0, 0); });
  // Give the send time to be queued; the answer is 0 however the two race.
  Sleep(50);
  SetEvent(sync.go);
  receiver.join();
  sender.join();
  EXPECT_EQ(answer, 0);
  EXPECT_TRUE(recorder.Of({WM_USER + 1}).empty());
}

}  // namespace
