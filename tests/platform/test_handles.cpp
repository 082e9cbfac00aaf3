// Conformance: the handle table, CloseHandle and the thread-local last error.
#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "platform/sync_helpers.h"

namespace {

using qntest::ScopedEvent;

// A value that no handle table hands out early in a process: a multiple of 4 far beyond them.
const HANDLE kNeverIssued = reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x00FFFFF0));

TEST(Handles, CloseRejectsValuesThatAreNotOpenHandles) {
  SetLastError(0);
  EXPECT_FALSE(CloseHandle(nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  SetLastError(0);
  EXPECT_FALSE(CloseHandle(kNeverIssued));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  EXPECT_TRUE(CloseHandle(event));
  SetLastError(0);
  EXPECT_FALSE(CloseHandle(event));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Handles, OpenHandlesAreDistinctNonzeroMultiplesOfFour) {
  std::vector<HANDLE> handles;
  std::set<HANDLE> distinct;
  for (int i = 0; i < 40; ++i) {
    HANDLE h = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(h) % 4, 0u) << h;
    handles.push_back(h);
    distinct.insert(h);
  }
  EXPECT_EQ(distinct.size(), handles.size());
  for (HANDLE h : handles) EXPECT_TRUE(CloseHandle(h));
}

TEST(Handles, ClosedHandleNoLongerNamesItsObject) {
  ScopedEvent event(true, true);
  ASSERT_TRUE(event.Close());
  const HANDLE stale = event.ClosedValue();

  SetLastError(0);
  EXPECT_FALSE(SetEvent(stale));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  SetLastError(0);
  EXPECT_FALSE(ResetEvent(stale));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  SetLastError(0);
  EXPECT_EQ(WaitForSingleObject(stale, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

// INVALID_HANDLE_VALUE is also the pseudo-handle of the current process: closing it is accepted,
// and the process is not signalled while it runs.
TEST(Handles, InvalidHandleValueIsTheCurrentProcess) {
  SetLastError(1234);
  EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE));
  EXPECT_EQ(WaitForSingleObject(INVALID_HANDLE_VALUE, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(LastError, SuccessfulCallsLeaveItAlone) {
  ScopedEvent event(false, false);
  SetLastError(1234);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_TRUE(ResetEvent(event));
  void *block = HeapAlloc(GetProcessHeap(), 0, 16);
  EXPECT_NE(block, nullptr);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block));
  void *region = VirtualAlloc(nullptr, 1, MEM_COMMIT, PAGE_READWRITE);
  EXPECT_NE(region, nullptr);
  EXPECT_FALSE(IsBadReadPtr(region, 1));
  EXPECT_TRUE(VirtualFree(region, 0, MEM_RELEASE));
  EXPECT_TRUE(event.Close());
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(LastErrorConcurrent, EachThreadHasItsOwn) {
  // Both threads set theirs, then both look while the other is still alive. (Starting and joining
  // a thread may itself change the caller's last error, so nothing is checked across them.)
  std::atomic<int> step{0};
  DWORD seenByOther = 0;
  std::thread other([&] {
    SetLastError(222);
    step = 1;
    qntest::EventuallyTrue([&] { return step.load() == 2; });
    seenByOther = GetLastError();
    step = 3;
  });
  EXPECT_TRUE(qntest::EventuallyTrue([&] { return step.load() == 1; }));
  SetLastError(111);
  step = 2;
  EXPECT_TRUE(qntest::EventuallyTrue([&] { return step.load() == 3; }));
  EXPECT_EQ(GetLastError(), 111u);
  other.join();
  EXPECT_EQ(seenByOther, 222u);
}

}  // namespace
