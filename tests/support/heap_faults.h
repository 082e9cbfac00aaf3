// Heap failure injection for out-of-memory tests.
//
// While a HeapFaults object lives, the library's own imports of HeapAlloc and HeapFree go through
// counting replacements: on Windows the entries of qnutil.dll's import address table, on POSIX the
// relocation slots through which libqnutil.so calls the subset. Only the library's calls are
// affected, the same way on every platform: the test program, the runtime and the platform's own
// allocations go on as usual. The replacements can fail an allocation on request, count the blocks
// still live and record the byte count of each request.
//
// On POSIX the subset's own count of live process-heap blocks (QnHeapLiveBlocks) is checked as well,
// so that blocks the library leaks through platform services show up there.
#pragma once

#include <stddef.h>

#include <vector>

#include <gtest/gtest.h>

#include "qnutil/frame.h"

namespace qntest {

class HeapFaults {
 public:
  // Installs the replacements (once for nested objects); a failure to find the imports is reported
  // as a test failure.
  HeapFaults();
  ~HeapFaults();
  HeapFaults(const HeapFaults &) = delete;
  HeapFaults &operator=(const HeapFaults &) = delete;

  // The n-th following HeapAlloc of the library (n >= 1) fails, and so does every later one.
  void FailAfter(long n);
  // Only the n-th following HeapAlloc fails; the ones after it succeed again.
  void FailOnly(long n);
  // Every allocation succeeds again.
  void Disarm();

  // Blocks the library allocated and has not released since this object was made (negative when it
  // released more than it allocated meanwhile).
  long LiveBlocks() const;
  // HeapAlloc calls of the library since this object was made, failed ones included.
  long Allocations() const;
  // Byte counts that the library asked HeapAlloc for since the latest HeapFaults object was made
  // (the first 256).
  std::vector<size_t> Requests() const;

  // The subset's count of live process-heap blocks (POSIX only; 0 on Windows).
  static long ProcessLiveBlocks();

 private:
  long m_liveAtStart;
  long m_callsAtStart;
};

// Runs an operation with the n-th library allocation failing, for n = 1, 2, 3, ... until it runs
// through. Each attempt builds a fresh state with make() while the heap works, runs op(state) with
// the fault armed, and when COOMExcep (E_OUTOFMEMORY) comes out calls afterFailure(state) to check
// the state the operation promises to leave. After every attempt, the state destroyed, the
// library's live blocks (and on POSIX the process heap's) must be back at their starting values.
// Answers the number of attempts that failed, i.e. the allocations the operation makes, or -1 when
// it did not succeed within maxAttempts.
template <class Make, class Op, class Check>
int RunUntilSuccess(Make make, Op op, Check afterFailure, int maxAttempts = 64) {
  HeapFaults faults;
  const long processStart = HeapFaults::ProcessLiveBlocks();
  for (int n = 1; n <= maxAttempts; ++n) {
    bool failed = false;
    {
      auto state = make();
      faults.FailAfter(n);
      try {
        op(state);
      } catch (const COOMExcep &e) {
        failed = true;
        EXPECT_EQ(e.Result(), E_OUTOFMEMORY);
      }
      faults.Disarm();
      if (failed) afterFailure(state);
    }
    EXPECT_EQ(faults.LiveBlocks(), 0) << "library blocks leaked when allocation " << n << " failed";
    EXPECT_EQ(HeapFaults::ProcessLiveBlocks(), processStart)
        << "process-heap blocks leaked when allocation " << n << " failed";
    if (!failed) return n - 1;
  }
  ADD_FAILURE() << "the operation still failed after " << maxAttempts << " attempts";
  return -1;
}

}  // namespace qntest
