// CString under threads: strings that share blocks are copied, assigned, changed, locked and
// destroyed on several threads at once. No holder ever sees another's change, every count ends
// right, and nothing leaks.

#include <stdint.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/cstring.h"
#include "support/heap_faults.h"
#include "strings/cstring_probe.h"

namespace {

using qn::AsU;
using qntest::HeapFaults;
using qntest::Refs;
using qntest::Text;
using qntest::Unit;

const char16_t *const kSources[] = {u"alpha", u"  bravo charlie  ", u"delta echo foxtrot golf", u"x"};
constexpr int kSourceCount = 4;
constexpr int kThreads = 4;
constexpr int kSlots = 6;
constexpr int kRounds = 20000;

// Each thread works on its own objects only, but they start out sharing the sources' blocks with
// every other thread's, and keep re-sharing them.
void Worker(std::vector<CString> mine, unsigned seed, int *failures) {
  CString slots[kSlots];
  uint32_t state = seed;
  auto next = [&state](uint32_t n) {
    state = state * 1664525u + 1013904223u;
    return (state >> 8) % n;
  };
  for (int round = 0; round < kRounds; ++round) {
    CString &slot = slots[next(kSlots)];
    const CString &source = mine[next(kSourceCount)];
    switch (next(9)) {
      case 0: slot = source; break;
      case 1: slot = slots[next(kSlots)]; break;
      case 2: slot += source; break;
      case 3: slot.MakeUpper(); break;
      case 4: slot.TrimLeft(); slot.TrimRight(); break;
      case 5: { CString copy(slot); copy.SetAt(0, Unit(u'#')); slot = copy; } break;
      case 6: slot.LockBuffer(); slot.UnlockBuffer(); break;
      case 7: { CString piece = source.Mid(1, 3); slot = piece + slot.Left(4); } break;
      default: slot.Empty(); break;
    }
    if (slot.GetLength() > 200) slot = source;
    // A writer that wrote into a shared block would show here, in another thread's copy.
    const int k = static_cast<int>(next(kSourceCount));
    if (Text(mine[k]) != kSources[k]) ++*failures;
  }
}

TEST(CStringConcurrent, SharedBlocksSurviveCopiesAndChangesOnManyThreads) {
  HeapFaults faults;
  std::vector<CString> sources;
  for (const char16_t *text : kSources) sources.emplace_back(AsU(text));
  const long liveBefore = faults.LiveBlocks();
  int failures[kThreads] = {};
  {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back(Worker, sources, 12345u + static_cast<unsigned>(t), &failures[t]);
    }
    for (std::thread &thread : threads) thread.join();
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  for (int k = 0; k < kSourceCount; ++k) {
    EXPECT_EQ(Refs(sources[k]), 1) << k;  // every other holder has gone
    EXPECT_EQ(Text(sources[k]), kSources[k]);
  }
  EXPECT_EQ(faults.LiveBlocks(), liveBefore);
  sources.clear();
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

}  // namespace
