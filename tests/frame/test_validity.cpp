// Pointer and string validity tests and the worker frame's exception filter.
//
// The suites named *Faulting* probe memory that cannot be read or written; the 32-bit Wine build
// leaves them out, since a probe that faults there ends the program.

#include <string.h>

#include <gtest/gtest.h>

#include "qnutil/frame.h"

namespace {

const DWORD kPage = 4096;

// Two committed read-write pages of fresh virtual memory, released at the end.
class TwoPages {
 public:
  TwoPages() : m_p(static_cast<unsigned char *>(VirtualAlloc(nullptr, 2 * kPage, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE))) {}
  ~TwoPages() {
    if (m_p != nullptr) VirtualFree(m_p, 0, MEM_RELEASE);
  }
  unsigned char *Get() const { return m_p; }
  bool Protect(DWORD offset, DWORD bytes, DWORD protect) {
    DWORD old = 0;
    return VirtualProtect(m_p + offset, bytes, protect, &old) != FALSE;
  }
  void Release() {
    VirtualFree(m_p, 0, MEM_RELEASE);
    m_p = nullptr;
  }

 private:
  unsigned char *m_p;
};

TEST(IsValidAddress, NullIsNeverValid) {
  for (DWORD count : {0u, 1u, 4096u}) {
    EXPECT_FALSE(IsValidAddress(nullptr, count, 0)) << count;
    EXPECT_FALSE(IsValidAddress(nullptr, count, 1)) << count;
  }
}

TEST(IsValidAddress, ReadWriteMemoryIsValidForBothTests) {
  char stack[64] = {};
  EXPECT_TRUE(IsValidAddress(stack, sizeof stack, 0));
  EXPECT_TRUE(IsValidAddress(stack, sizeof stack, 1));
  EXPECT_TRUE(IsValidAddress(stack, 0, 1));
  TwoPages pages;
  ASSERT_NE(pages.Get(), nullptr);
  EXPECT_TRUE(IsValidAddress(pages.Get(), 2 * kPage, 1));
}

TEST(IsValidAddressFaulting, ReadOnlyMemoryIsValidOnlyWithoutTheWriteTest) {
  TwoPages pages;
  ASSERT_NE(pages.Get(), nullptr);
  ASSERT_TRUE(pages.Protect(0, 2 * kPage, PAGE_READONLY));
  EXPECT_TRUE(IsValidAddress(pages.Get(), 2 * kPage, 0));
  EXPECT_FALSE(IsValidAddress(pages.Get(), 2 * kPage, 1));
  EXPECT_FALSE(IsValidAddress(pages.Get() + kPage, 1, 1));
}

TEST(IsValidAddressFaulting, NoAccessAndReleasedMemoryIsInvalid) {
  TwoPages pages;
  ASSERT_NE(pages.Get(), nullptr);
  ASSERT_TRUE(pages.Protect(kPage, kPage, PAGE_NOACCESS));
  EXPECT_TRUE(IsValidAddress(pages.Get(), kPage, 1));
  // A range is only as good as its worst byte.
  EXPECT_FALSE(IsValidAddress(pages.Get(), kPage + 1, 0));
  EXPECT_FALSE(IsValidAddress(pages.Get() + kPage, 16, 0));
  EXPECT_FALSE(IsValidAddress(pages.Get() + kPage, 16, 1));
  unsigned char *gone = pages.Get();
  pages.Release();
  EXPECT_FALSE(IsValidAddress(gone, 16, 0));
  EXPECT_FALSE(IsValidAddress(gone, 16, 1));
}

TEST(IsValidString, NullIsNeverValid) {
  EXPECT_FALSE(IsValidString(static_cast<const unsigned short *>(nullptr)));
  EXPECT_FALSE(IsValidString(static_cast<const unsigned short *>(nullptr), 10));
  EXPECT_FALSE(IsValidString(static_cast<const char *>(nullptr)));
  EXPECT_FALSE(IsValidString(static_cast<const char *>(nullptr), 10));
}

TEST(IsValidString, ReadableTextIsValid) {
  EXPECT_TRUE(IsValidString(qn::AsU(u"text")));
  EXPECT_TRUE(IsValidString(qn::AsU(u"")));
  EXPECT_TRUE(IsValidString(qn::AsU(u"text"), 2));
  EXPECT_TRUE(IsValidString("text"));
  EXPECT_TRUE(IsValidString("text", 2));
}

// Text without a terminator that runs into an inaccessible page: valid as far as a maximum keeps
// the test inside the readable page, invalid with -1 (up to the terminator) or a larger maximum.
TEST(IsValidStringFaulting, UnterminatedTextRunningIntoNoAccessMemory) {
  TwoPages pages;
  ASSERT_NE(pages.Get(), nullptr);
  memset(pages.Get(), 'a', kPage);
  ASSERT_TRUE(pages.Protect(kPage, kPage, PAGE_NOACCESS));
  const char *narrow = reinterpret_cast<const char *>(pages.Get()) + kPage - 8;
  EXPECT_TRUE(IsValidString(narrow, 8));
  EXPECT_FALSE(IsValidString(narrow, 9));
  EXPECT_FALSE(IsValidString(narrow, -1));
  const unsigned short *wide = reinterpret_cast<const unsigned short *>(pages.Get() + kPage) - 8;
  EXPECT_TRUE(IsValidString(wide, 8));
  EXPECT_FALSE(IsValidString(wide, 9));
  EXPECT_FALSE(IsValidString(wide));
}

TEST(QNExceptionHandler, AlwaysAsksForTheHandler) {
  EXPECT_EQ(QNExceptionHandler(0, 0, nullptr), 1);
  EXPECT_EQ(QNExceptionHandler(GetCurrentThreadId(), 0xC0000005u, nullptr), 1);
  EXPECT_EQ(QNExceptionHandler(0xFFFFFFFFu, 0xE06D7363u, nullptr), 1);
  EXCEPTION_RECORD record;
  memset(&record, 0, sizeof record);
  record.ExceptionCode = 0xC0000094u;
  EXCEPTION_POINTERS info = {&record, nullptr};
  EXPECT_EQ(QNExceptionHandler(GetCurrentThreadId(), record.ExceptionCode, &info), EXCEPTION_EXECUTE_HANDLER);
  EXPECT_EQ(record.ExceptionCode, 0xC0000094u);  // looked at nothing, changed nothing
  EXPECT_EQ(info.ExceptionRecord, &record);
}

}  // namespace
