// Conformance: the process heap and the local-heap calls; on POSIX, the subset's heap test hooks.
#include <string.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "platform/sync_helpers.h"

#if !defined(_WIN32)
#  include "qnutil/posix/heapfault.h"
#endif

namespace {

bool AllZero(const void *p, size_t n) {
  const unsigned char *bytes = static_cast<const unsigned char *>(p);
  for (size_t i = 0; i < n; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

TEST(ProcessHeap, HandleIsConstantAndNonNull) {
  EXPECT_NE(GetProcessHeap(), nullptr);
  EXPECT_EQ(GetProcessHeap(), GetProcessHeap());
}

TEST(ProcessHeap, ZeroMemoryClearsEvenARecycledBlock) {
  const HANDLE heap = GetProcessHeap();
  // Dirty blocks of the sizes asked for next, so that the heap is likely to hand them back.
  for (size_t size : {24u, 200u, 5000u}) {
    void *dirty = HeapAlloc(heap, 0, size);
    ASSERT_NE(dirty, nullptr);
    memset(dirty, 0xAB, size);
    EXPECT_TRUE(HeapFree(heap, 0, dirty));
    void *clean = HeapAlloc(heap, HEAP_ZERO_MEMORY, size);
    ASSERT_NE(clean, nullptr);
    EXPECT_TRUE(AllZero(clean, size)) << size;
    EXPECT_TRUE(HeapFree(heap, 0, clean));
  }
}

TEST(ProcessHeap, ZeroByteBlocksAreUniqueAndFreeable) {
  const HANDLE heap = GetProcessHeap();
  std::set<void *> blocks;
  for (int i = 0; i < 8; ++i) {
    void *block = HeapAlloc(heap, 0, 0);
    ASSERT_NE(block, nullptr);
    blocks.insert(block);
  }
  EXPECT_EQ(blocks.size(), 8u);
  for (void *block : blocks) EXPECT_TRUE(HeapFree(heap, 0, block));
}

TEST(ProcessHeap, ImpossibleRequestFailsWithNotEnoughMemory) {
  SetLastError(0);
  EXPECT_EQ(HeapAlloc(GetProcessHeap(), 0, static_cast<SIZE_T>(-64)), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
}

TEST(ProcessHeap, FreeingNullSucceeds) {
  SetLastError(1234);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, nullptr));
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(LocalHeap, ZeroInitAndFreeAnswersNull) {
  HLOCAL zeroed = LocalAlloc(LPTR, 300);
  ASSERT_NE(zeroed, nullptr);
  EXPECT_TRUE(AllZero(zeroed, 300));
  EXPECT_EQ(LocalFree(zeroed), nullptr);

  HLOCAL empty = LocalAlloc(LMEM_FIXED, 0);
  EXPECT_NE(empty, nullptr);
  EXPECT_EQ(LocalFree(empty), nullptr);
  EXPECT_EQ(LocalFree(nullptr), nullptr);
}

#if !defined(_WIN32)

// Disarms the hook however the test ends.
struct DisarmAtExit {
  ~DisarmAtExit() { QnHeapFailAfter(0); }
};

TEST(HeapFaultHook, FailsTheNthAndEveryLaterAllocationUntilDisarmed) {
  DisarmAtExit disarm;
  const HANDLE heap = GetProcessHeap();
  QnHeapFailAfter(3);
  void *first = HeapAlloc(heap, 0, 8);
  void *second = LocalAlloc(LPTR, 8);  // the local heap is the process heap
  SetLastError(0);
  void *third = HeapAlloc(heap, 0, 8);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
  void *fourth = HeapAlloc(heap, HEAP_ZERO_MEMORY, 0);
  QnHeapFailAfter(0);
  void *afterDisarm = HeapAlloc(heap, 0, 8);

  EXPECT_NE(first, nullptr);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(third, nullptr);
  EXPECT_EQ(fourth, nullptr);
  EXPECT_NE(afterDisarm, nullptr);
  HeapFree(heap, 0, first);
  LocalFree(second);
  HeapFree(heap, 0, afterDisarm);

  // Armed with 1: the very next allocation fails.
  QnHeapFailAfter(1);
  EXPECT_EQ(HeapAlloc(heap, 0, 8), nullptr);
}

TEST(HeapFaultHook, LiveBlocksCountsWhatIsNotYetFreed) {
  const HANDLE heap = GetProcessHeap();
  const LONG start = QnHeapLiveBlocks();
  void *a = HeapAlloc(heap, 0, 10);
  void *b = LocalAlloc(LMEM_FIXED, 0);
  EXPECT_EQ(QnHeapLiveBlocks(), start + 2);
  HeapFree(heap, 0, nullptr);
  EXPECT_EQ(QnHeapLiveBlocks(), start + 2);
  HeapFree(heap, 0, a);
  EXPECT_EQ(QnHeapLiveBlocks(), start + 1);
  LocalFree(b);
  EXPECT_EQ(QnHeapLiveBlocks(), start);
  // A failed allocation is no block.
  QnHeapFailAfter(1);
  EXPECT_EQ(HeapAlloc(heap, 0, 10), nullptr);
  QnHeapFailAfter(0);
  EXPECT_EQ(QnHeapLiveBlocks(), start);
}

TEST(HeapFaultHookConcurrent, CountdownIsExactAcrossThreads) {
  DisarmAtExit disarm;
  constexpr int kThreads = 4;
  constexpr int kEach = 50;
  constexpr LONG kFailAt = 101;  // 100 succeed, then every one fails
  std::atomic<int> succeeded{0};
  std::vector<std::vector<void *>> blocks(kThreads);
  QnHeapFailAfter(kFailAt);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        if (void *p = HeapAlloc(GetProcessHeap(), 0, 16)) {
          ++succeeded;
          blocks[t].push_back(p);
        }
      }
    });
  }
  for (std::thread &t : threads) t.join();
  QnHeapFailAfter(0);
  EXPECT_EQ(succeeded.load(), kFailAt - 1);
  for (auto &list : blocks) {
    for (void *p : list) HeapFree(GetProcessHeap(), 0, p);
  }
}

#endif  // !_WIN32

}  // namespace
