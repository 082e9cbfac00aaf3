// DuplicateHandle: a second handle to the same object, closed on its own.

#include <gtest/gtest.h>

#include "platform/sync_helpers.h"

namespace qntest {
namespace {

HANDLE Duplicate(HANDLE source, DWORD options = DUPLICATE_SAME_ACCESS) {
  HANDLE copy = nullptr;
  if (!DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE, options)) return nullptr;
  return copy;
}

TEST(DuplicateHandle, NamesTheSameObjectAndOutlivesTheSource) {
  ScopedEvent event(true, false);
  HANDLE copy = Duplicate(event);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, static_cast<HANDLE>(event));
  ASSERT_TRUE(event.Close());
  EXPECT_TRUE(SetEvent(copy));  // the object lives on through the copy
  EXPECT_EQ(WaitForSingleObject(copy, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(CloseHandle(copy));
}

TEST(DuplicateHandle, CloseSourceClosesTheSource) {
  const HANDLE source = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_NE(source, nullptr);
  HANDLE copy = Duplicate(source, DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE);
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(SetEvent(copy));
  // Windows may hand out the value it has just closed for the copy.
  if (copy != source) {
    SetLastError(0);
    EXPECT_FALSE(CloseHandle(source));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }
  EXPECT_TRUE(CloseHandle(copy));
}

TEST(DuplicateHandle, ABadSourceFails) {
  ScopedEvent event(true, false);
  ASSERT_TRUE(event.Close());
  SetLastError(0);
  EXPECT_EQ(Duplicate(event.ClosedValue()), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

// The duplicate of the current thread's pseudo-handle names the thread itself, for good.
TEST(DuplicateHandle, ThePseudoHandleOfTheThreadBecomesARealOne) {
  HANDLE self = Duplicate(GetCurrentThread());
  ASSERT_NE(self, nullptr);
  EXPECT_NE(self, GetCurrentThread());
  EXPECT_EQ(GetThreadId(self), GetCurrentThreadId());
  EXPECT_EQ(WaitForSingleObject(self, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_TRUE(CloseHandle(self));
}

}  // namespace
}  // namespace qntest
