// Conformance: IsBadReadPtr, IsBadWritePtr, IsBadStringPtrW and IsBadStringPtrA. The suites named
// Faulting probe memory that cannot be read or written: Windows answers those by taking the fault
// and catching it, which the 32-bit Wine build cannot survive.
#include <string.h>

#include <atomic>
#include <thread>

#include "platform/sync_helpers.h"

namespace {

using qntest::kPage;

// Two committed pages: the first readable and writable, the second with the protection given.
class PagePair {
 public:
  explicit PagePair(DWORD secondPage)
      : base_(static_cast<char *>(VirtualAlloc(nullptr, 2 * kPage, MEM_COMMIT, PAGE_READWRITE))) {
    EXPECT_NE(base_, nullptr);
    DWORD old;
    if (base_) {
      EXPECT_TRUE(VirtualProtect(base_ + kPage, kPage, secondPage, &old));
    }
  }
  ~PagePair() {
    if (base_) VirtualFree(base_, 0, MEM_RELEASE);
  }
  PagePair(const PagePair &) = delete;
  PagePair &operator=(const PagePair &) = delete;

  char *first() const { return base_; }
  char *second() const { return base_ + kPage; }

 private:
  char *base_;
};

TEST(PointerTests, ZeroCountsAndNullPointers) {
  // A count of 0 is good, even for NULL; NULL with a count is bad.
  EXPECT_FALSE(IsBadReadPtr(nullptr, 0));
  EXPECT_FALSE(IsBadWritePtr(nullptr, 0));
  EXPECT_TRUE(IsBadReadPtr(nullptr, 1));
  EXPECT_TRUE(IsBadWritePtr(nullptr, 1));
  // The string tests refuse NULL whatever the maximum.
  EXPECT_TRUE(IsBadStringPtrW(nullptr, 0));
  EXPECT_TRUE(IsBadStringPtrW(nullptr, 5));
  EXPECT_TRUE(IsBadStringPtrA(nullptr, 0));
  EXPECT_TRUE(IsBadStringPtrA(nullptr, 5));
  EXPECT_FALSE(IsBadStringPtrA("abc", 0));
}

TEST(PointerTests, AccessibleMemoryIsGood) {
  int onStack[16] = {};
  EXPECT_FALSE(IsBadReadPtr(onStack, sizeof onStack));
  EXPECT_FALSE(IsBadWritePtr(onStack, sizeof onStack));

  void *block = HeapAlloc(GetProcessHeap(), 0, 1000);
  ASSERT_NE(block, nullptr);
  EXPECT_FALSE(IsBadReadPtr(block, 1000));
  EXPECT_FALSE(IsBadWritePtr(block, 1000));
  HeapFree(GetProcessHeap(), 0, block);

  // A region of several pages, in full.
  char *region = static_cast<char *>(VirtualAlloc(nullptr, 5 * kPage, MEM_COMMIT, PAGE_READWRITE));
  ASSERT_NE(region, nullptr);
  EXPECT_FALSE(IsBadReadPtr(region, 5 * kPage));
  EXPECT_FALSE(IsBadWritePtr(region, 5 * kPage));
  EXPECT_FALSE(IsBadReadPtr(region + 5 * kPage - 1, 1));
  VirtualFree(region, 0, MEM_RELEASE);

  EXPECT_FALSE(IsBadStringPtrA("text", static_cast<UINT_PTR>(-1)));
  EXPECT_FALSE(IsBadStringPtrW(qn::AsW(u"text"), static_cast<UINT_PTR>(-1)));
  EXPECT_FALSE(IsBadStringPtrW(qn::AsW(u"text"), 2));
}

TEST(PointerTestsFaulting, NoAccessPagesAreBad) {
  PagePair pages(PAGE_NOACCESS);
  ASSERT_NE(pages.first(), nullptr);
  EXPECT_TRUE(IsBadReadPtr(pages.second(), 1));
  EXPECT_TRUE(IsBadWritePtr(pages.second(), 1));
  EXPECT_TRUE(IsBadStringPtrA(pages.second(), 1));
  EXPECT_TRUE(IsBadStringPtrW(reinterpret_cast<LPCWSTR>(pages.second()), 1));
  // A range that starts readable and runs one byte into the inaccessible page.
  EXPECT_FALSE(IsBadReadPtr(pages.first(), kPage));
  EXPECT_TRUE(IsBadReadPtr(pages.first(), kPage + 1));
  EXPECT_TRUE(IsBadWritePtr(pages.first() + kPage - 8, 9));
}

TEST(PointerTestsFaulting, ReadOnlyPagesAreReadableButNotWritable) {
  PagePair pages(PAGE_READONLY);
  ASSERT_NE(pages.first(), nullptr);
  EXPECT_FALSE(IsBadReadPtr(pages.second(), kPage));
  EXPECT_TRUE(IsBadWritePtr(pages.second(), 1));
  EXPECT_FALSE(IsBadWritePtr(pages.first(), kPage));
  EXPECT_TRUE(IsBadWritePtr(pages.first(), kPage + 1));
  EXPECT_FALSE(IsBadStringPtrA(pages.second(), static_cast<UINT_PTR>(-1)));

  // The program's own constants are read-only too.
  static const char kConstant[] = "constant";
  EXPECT_FALSE(IsBadReadPtr(kConstant, sizeof kConstant));
  EXPECT_TRUE(IsBadWritePtr(const_cast<char *>(kConstant), sizeof kConstant));
}

TEST(PointerTestsFaulting, ReleasedAndWrappingRangesAreBad) {
  char *region = static_cast<char *>(VirtualAlloc(nullptr, kPage, MEM_COMMIT, PAGE_READWRITE));
  ASSERT_NE(region, nullptr);
  region[0] = 'x';
  ASSERT_TRUE(VirtualFree(region, 0, MEM_RELEASE));
  EXPECT_TRUE(IsBadReadPtr(region, 1));
  EXPECT_TRUE(IsBadWritePtr(region, 1));
  EXPECT_TRUE(IsBadStringPtrA(region, 10));

  // A count that runs past the top of the address space.
  int value = 0;
  EXPECT_TRUE(IsBadReadPtr(&value, static_cast<UINT_PTR>(-1)));
}

// Text that ends exactly where readable memory ends, followed by a page that cannot be read.
TEST(PointerTestsFaulting, StringsAtTheEdgeOfReadableMemory) {
  PagePair pages(PAGE_NOACCESS);
  ASSERT_NE(pages.first(), nullptr);
  const UINT_PTR kUnlimited = static_cast<UINT_PTR>(-1);

  // 8-bit: the terminator is the page's last byte.
  char *a = pages.second() - 4;
  memcpy(a, "abc", 4);
  EXPECT_FALSE(IsBadStringPtrA(a, kUnlimited));
  // No terminator before the edge: bad, unless the maximum stops the scan at the edge.
  a[3] = 'd';
  EXPECT_TRUE(IsBadStringPtrA(a, kUnlimited));
  EXPECT_TRUE(IsBadStringPtrA(a, 5));
  EXPECT_FALSE(IsBadStringPtrA(a, 4));

  // UTF-16, the same.
  WCHAR *w = reinterpret_cast<WCHAR *>(pages.second()) - 3;
  w[0] = 'x';
  w[1] = 'y';
  w[2] = 0;
  EXPECT_FALSE(IsBadStringPtrW(w, kUnlimited));
  w[2] = 'z';
  EXPECT_TRUE(IsBadStringPtrW(w, kUnlimited));
  EXPECT_TRUE(IsBadStringPtrW(w, 4));
  EXPECT_FALSE(IsBadStringPtrW(w, 3));

  // A long text that crosses from one readable page into the next is still good.
  memset(pages.first(), 'q', kPage);
  pages.first()[kPage - 1] = 0;
  EXPECT_FALSE(IsBadStringPtrA(pages.first(), kUnlimited));
}

// A UTF-16 code unit that straddles the edge of readable memory cannot be read.
TEST(PointerTestsFaulting, WideCharacterAcrossTheEdgeIsBad) {
  PagePair pages(PAGE_NOACCESS);
  ASSERT_NE(pages.first(), nullptr);
  char *odd = pages.second() - 5;  // units at -5, -3, and -1 (whose second byte is unreadable)
  memset(odd, 'm', 5);
  EXPECT_TRUE(IsBadStringPtrW(reinterpret_cast<LPCWSTR>(odd), 3));
  EXPECT_FALSE(IsBadStringPtrW(reinterpret_cast<LPCWSTR>(odd), 2));
}

// Other threads map and unmap memory while the tests look at it: the answers may go either way,
// but the caller must never fault.
TEST(PointerTestsConcurrent, MemoryChangingUnderneathNeverFaults) {
  std::atomic<char *> current{nullptr};
  std::atomic<bool> stop{false};
  std::thread churn([&] {
    const qntest::Clock::time_point start = qntest::Clock::now();
    while (qntest::MillisecondsSince(start) < 300) {
      char *p = static_cast<char *>(VirtualAlloc(nullptr, 2 * kPage, MEM_COMMIT, PAGE_READWRITE));
      if (!p) continue;
      memset(p, 'z', 2 * kPage);  // no terminator: a string scan runs to the end of the region
      current = p;
      Sleep(0);
      VirtualFree(p, 0, MEM_RELEASE);
    }
    stop = true;
  });
  long looks = 0;
  while (!stop.load()) {
    char *p = current.load();
    if (!p) continue;
    (void)IsBadReadPtr(p, 2 * kPage);
    (void)IsBadWritePtr(p, kPage);
    (void)IsBadStringPtrA(p, static_cast<UINT_PTR>(-1));
    (void)IsBadStringPtrW(reinterpret_cast<LPCWSTR>(p), static_cast<UINT_PTR>(-1));
    ++looks;
  }
  churn.join();
  // Still here, and the tests were exercised along the way.
  EXPECT_GT(looks, 0);
}

}  // namespace
