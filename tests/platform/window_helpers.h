// Small tools for the conformance tests of windows and message queues: a window class whose
// procedure records what reaches it and answers as a test tells it.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/win32.h"

namespace qntest {

struct Seen {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD thread;
};

// What the test windows answer and what reached them. A window takes its recorder from the
// lpParam of its creation; messages that come before WM_NCCREATE (Windows sends some) are not
// recorded.
struct Recorder {
  LRESULT ncCreate = TRUE;
  LRESULT create = 0;
  LRESULT dlgCode = 0;
  LRESULT defId = 0;
  std::mutex mutex;
  std::vector<Seen> seen;

  // The messages among `which` that reached hwnd (any window when hwnd is NULL), in order.
  std::vector<UINT> Of(std::initializer_list<UINT> which, HWND hwnd = nullptr) {
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<UINT> out;
    for (const Seen &s : seen) {
      if ((!hwnd || s.hwnd == hwnd) && std::find(which.begin(), which.end(), s.message) != which.end()) {
        out.push_back(s.message);
      }
    }
    return out;
  }
  // The last record of a message, or an empty one.
  Seen Last(UINT message) {
    std::lock_guard<std::mutex> lock(mutex);
    for (auto it = seen.rbegin(); it != seen.rend(); ++it) {
      if (it->message == message) return *it;
    }
    return Seen{};
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(mutex);
    seen.clear();
  }
};

inline LRESULT CALLBACK RecordingProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    auto *create = reinterpret_cast<CREATESTRUCTW *>(lParam);
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
  }
  auto *recorder = reinterpret_cast<Recorder *>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
  if (!recorder) return DefWindowProcW(hwnd, message, wParam, lParam);
  {
    std::lock_guard<std::mutex> lock(recorder->mutex);
    recorder->seen.push_back(Seen{hwnd, message, wParam, lParam, GetCurrentThreadId()});
  }
  switch (message) {
    case WM_NCCREATE:
      return recorder->ncCreate;
    case WM_CREATE:
      return recorder->create;
    case WM_GETDLGCODE:
      return recorder->dlgCode;
    case DM_GETDEFID:
      return recorder->defId;
    default:
      // WM_USER + n answers 1000 + n, so that a test can tell whose answer it got.
      if (message >= WM_USER && message < WM_USER + 100) return 1000 + (message - WM_USER);
      return DefWindowProcW(hwnd, message, wParam, lParam);
  }
}

inline const WCHAR *TestClass() {
  static const WCHAR *name = [] {
    WNDCLASSW wc{};
    wc.lpfnWndProc = RecordingProc;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = qn::AsW(u"qnutil-test-window");
    wc.cbWndExtra = 2 * sizeof(LONG_PTR);
    EXPECT_NE(RegisterClassW(&wc), 0) << "error " << GetLastError();
    return wc.lpszClassName;
  }();
  return name;
}

// A window of the test class (message-only unless a parent is given), destroyed at the end of the
// scope if it still exists.
class TestWindow {
 public:
  explicit TestWindow(Recorder &recorder, HWND parent = HWND_MESSAGE, DWORD style = 0, int id = 0)
      : hwnd_(CreateWindowExW(0, TestClass(), nullptr, style, 0, 0, 0, 0, parent,
                              reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), nullptr, &recorder)) {}
  ~TestWindow() {
    if (hwnd_ && IsWindow(hwnd_)) DestroyWindow(hwnd_);
  }
  TestWindow(const TestWindow &) = delete;
  TestWindow &operator=(const TestWindow &) = delete;
  operator HWND() const { return hwnd_; }

 private:
  HWND hwnd_;
};

// The last error that a call leaves.
template <class Call>
DWORD ErrorOf(Call call) {
  SetLastError(0);
  call();
  return GetLastError();
}

inline MSG MakeMsg(HWND hwnd, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
  MSG msg{};
  msg.hwnd = hwnd;
  msg.message = message;
  msg.wParam = wParam;
  msg.lParam = lParam;
  return msg;
}

// Removes every message from the calling thread's queue.
inline int DrainQueue() {
  MSG msg;
  int count = 0;
  while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) ++count;
  return count;
}

}  // namespace qntest
