// Small tools for the conformance tests of handles, events, waits and locks.
#pragma once

#include <atomic>
#include <chrono>

#include <gtest/gtest.h>

#include "qnutil/win32.h"

namespace qntest {

// x86 pages, on every build of the matrix.
constexpr size_t kPage = 4096;

// An event closed at the end of the scope.
class ScopedEvent {
 public:
  ScopedEvent(bool manualReset, bool initialState)
      : handle_(CreateEventW(nullptr, manualReset ? TRUE : FALSE, initialState ? TRUE : FALSE, nullptr)) {
    EXPECT_NE(handle_, nullptr) << "CreateEventW failed, error " << GetLastError();
  }
  ~ScopedEvent() {
    if (handle_) CloseHandle(handle_);
  }
  ScopedEvent(const ScopedEvent &) = delete;
  ScopedEvent &operator=(const ScopedEvent &) = delete;

  operator HANDLE() const { return handle_; }
  // Closes it now; the value stays recorded for tests that use it afterwards.
  BOOL Close() {
    BOOL ok = CloseHandle(handle_);
    closed_ = handle_;
    handle_ = nullptr;
    return ok;
  }
  HANDLE ClosedValue() const { return closed_; }

 private:
  HANDLE handle_;
  HANDLE closed_ = nullptr;
};

using Clock = std::chrono::steady_clock;

inline long long MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// Polls until the condition holds or about `ms` milliseconds have passed; answers the condition.
template <class Condition>
bool EventuallyTrue(Condition condition, int ms = 5000) {
  const Clock::time_point start = Clock::now();
  while (!condition()) {
    if (MillisecondsSince(start) > ms) return condition();
    Sleep(1);
  }
  return true;
}

// A wait must last at least its time-out (less a little for coarse clocks) and come back long
// before "forever".
constexpr long long kClockSlackMs = 10;
constexpr long long kNoLongerThanMs = 5000;

}  // namespace qntest
