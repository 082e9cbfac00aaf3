// Probes for the thread tests: a worker whose three stages are set by the test, message-only
// windows that count what reaches them, and a window creator that records its calls.
#pragma once

#include <atomic>
#include <functional>

#include <gtest/gtest.h>

#include "platform/sync_helpers.h"
#include "qnutil/msgloop.h"
#include "qnutil/thread.h"

namespace qntest {

// Messages that the probe windows answer.
constexpr UINT kMsgCount = WM_APP + 1;        // counted; answers 1
constexpr UINT kMsgThreadId = WM_APP + 2;     // answers the thread running the procedure
constexpr UINT kMsgDestroySelf = WM_APP + 3;  // the window destroys itself

// What a probe window saw; shared by the window's thread and the test.
struct WindowProbe {
  std::atomic<int> counted{0}, keyDowns{0}, chars{0}, okCommands{0};
  // When set, WM_DESTROY sends kMsgCount there: to a window of another thread, it blocks the
  // destroying thread until that thread services its queue.
  HWND sendOnDestroy = NULL;
};

inline LRESULT CALLBACK ProbeWindowProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
  if (msg == WM_NCCREATE) {
    const CREATESTRUCTW *create = reinterpret_cast<const CREATESTRUCTW *>(lParam);
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
  }
  WindowProbe *probe = reinterpret_cast<WindowProbe *>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
  if (probe != NULL) {
    switch (msg) {
      case kMsgCount:
        ++probe->counted;
        return 1;
      case kMsgThreadId:
        return static_cast<LRESULT>(GetCurrentThreadId());
      case kMsgDestroySelf:
        DestroyWindow(hwnd);
        return 0;
      case WM_KEYDOWN:
        ++probe->keyDowns;
        break;
      case WM_CHAR:
        ++probe->chars;
        break;
      case WM_COMMAND:
        if (wParam == IDOK) ++probe->okCommands;
        break;
      case WM_DESTROY:
        if (probe->sendOnDestroy != NULL) SendMessageW(probe->sendOnDestroy, kMsgCount, 0, 0);
        break;
    }
  }
  return DefWindowProcW(hwnd, msg, wParam, lParam);
}

// A message-only window of the calling thread whose procedure reports to probe; NULL on failure.
inline HWND CreateProbeWindow(WindowProbe *probe) {
  static const ATOM atom = [] {
    WNDCLASSW wc = {};
    wc.lpfnWndProc = ProbeWindowProc;
    wc.lpszClassName = qn::AsW(u"qnutil_thread_probe");
    return RegisterClassW(&wc);
  }();
  if (atom == 0) return NULL;
  return CreateWindowExW(0, qn::AsW(u"qnutil_thread_probe"), NULL, 0, 0, 0, 0, 0, HWND_MESSAGE, NULL, NULL,
                         probe);
}

// A CThread whose stages the test sets, counting the stages that ran. It stops its thread in its
// own destructor, so the thread never runs on a half-destroyed object.
class ProbeThread : public CThread {
 public:
  ~ProbeThread() override { FStop(true, 10000); }
  std::function<bool()> init = [] { return true; };
  std::function<void(ProbeThread &)> main = [](ProbeThread &) {};
  std::atomic<int> inits{0}, mains{0}, shutdowns{0};

 private:
  bool BInitialize() override {
    ++inits;
    return init();
  }
  void ThreadMain() override {
    ++mains;
    main(*this);
  }
  void OnShutdown() override { ++shutdowns; }
};

// A creator of probe windows that records every call the loop thread makes.
class ProbeCreator final : public ICreateWindow {
 public:
  WindowProbe probe;
  bool failCreate = false;

  std::atomic<HWND> created{NULL}, destroyArg{NULL}, destroyedArg{NULL};
  std::atomic<int> destroyCalls{0}, destroyedCalls{0};
  std::atomic<DWORD> destroyThread{0};

  HWND HCreateWindow() override {
    if (failCreate) return NULL;
    HWND hwnd = CreateProbeWindow(&probe);
    created = hwnd;
    return hwnd;
  }
  void DestroyHWND(HWND hwnd) override {
    destroyArg = hwnd;
    destroyThread = GetCurrentThreadId();
    if (hwnd != NULL && IsWindow(hwnd)) DestroyWindow(hwnd);
    ++destroyCalls;  // last, so a test that sees the count sees the rest
  }
  void OnHWNDDestroyed(HWND hwnd) override {
    destroyedArg = hwnd;
    ++destroyedCalls;
  }
};

// The exit code of a thread through a second handle to it, once it has ended (within 5 s).
class ThreadWatch {
 public:
  explicit ThreadWatch(HANDLE hThread) {
    EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), hThread, GetCurrentProcess(), &handle_, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
  }
  ~ThreadWatch() {
    if (handle_ != NULL) CloseHandle(handle_);
  }
  ThreadWatch(const ThreadWatch &) = delete;
  ThreadWatch &operator=(const ThreadWatch &) = delete;

  bool Ended(DWORD ms = kNoLongerThanMs) const { return WaitForSingleObject(handle_, ms) == WAIT_OBJECT_0; }
  DWORD ExitCode() const {
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(handle_, &code));
    return code;
  }

 private:
  HANDLE handle_ = NULL;
};

}  // namespace qntest
