// Conformance: critical sections, Sleep and the tick count, thread and process identity.
#include <atomic>
#include <thread>
#include <vector>

#if defined(_WIN32)
#  include <process.h>
#else
#  include <sys/syscall.h>
#  include <unistd.h>
#endif

#include "platform/sync_helpers.h"

namespace {

using qntest::Clock;
using qntest::EventuallyTrue;
using qntest::kClockSlackMs;
using qntest::kNoLongerThanMs;
using qntest::MillisecondsSince;

HANDLE CurrentThreadAsOwner() { return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(GetCurrentThreadId())); }

void ExpectFree(const CRITICAL_SECTION &cs) {
  EXPECT_EQ(cs.LockCount, -1);
  EXPECT_EQ(cs.RecursionCount, 0);
  EXPECT_EQ(cs.OwningThread, nullptr);
}

TEST(CriticalSection, RecordsOwnerAndRecursionAsWindowsDoes) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  ExpectFree(cs);

  EnterCriticalSection(&cs);
  EXPECT_EQ(cs.OwningThread, CurrentThreadAsOwner());
  EXPECT_EQ(cs.RecursionCount, 1);
  EnterCriticalSection(&cs);
  EXPECT_EQ(cs.RecursionCount, 2);
  EXPECT_TRUE(TryEnterCriticalSection(&cs));
  EXPECT_EQ(cs.RecursionCount, 3);
  EXPECT_EQ(cs.OwningThread, CurrentThreadAsOwner());

  LeaveCriticalSection(&cs);
  LeaveCriticalSection(&cs);
  EXPECT_EQ(cs.RecursionCount, 1);
  EXPECT_EQ(cs.OwningThread, CurrentThreadAsOwner());
  LeaveCriticalSection(&cs);
  ExpectFree(cs);

  // Free again: TryEnter takes it at once.
  EXPECT_TRUE(TryEnterCriticalSection(&cs));
  EXPECT_EQ(cs.RecursionCount, 1);
  LeaveCriticalSection(&cs);
  ExpectFree(cs);
  DeleteCriticalSection(&cs);
}

TEST(CriticalSection, CanBeInitializedAgainAfterDelete) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  LeaveCriticalSection(&cs);
  DeleteCriticalSection(&cs);
  InitializeCriticalSection(&cs);
  ExpectFree(cs);
  EXPECT_TRUE(TryEnterCriticalSection(&cs));
  LeaveCriticalSection(&cs);
  DeleteCriticalSection(&cs);
}

TEST(CriticalSectionConcurrent, TryEnterFailsWhileAnotherThreadOwnsIt) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  BOOL whileHeld = TRUE, afterLeave = FALSE;
  HANDLE ownerSeen = nullptr;
  std::thread other([&] { whileHeld = TryEnterCriticalSection(&cs); });
  other.join();
  LeaveCriticalSection(&cs);
  std::thread again([&] {
    afterLeave = TryEnterCriticalSection(&cs);
    if (afterLeave) {
      ownerSeen = cs.OwningThread;
      EXPECT_EQ(ownerSeen, CurrentThreadAsOwner());
      LeaveCriticalSection(&cs);
    }
  });
  again.join();
  EXPECT_FALSE(whileHeld);
  EXPECT_TRUE(afterLeave);
  EXPECT_NE(ownerSeen, CurrentThreadAsOwner());
  ExpectFree(cs);
  DeleteCriticalSection(&cs);
}

TEST(CriticalSectionConcurrent, WaiterEntersWhenTheOwnerLeaves) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  EnterCriticalSection(&cs);
  std::atomic<bool> entered{false};
  std::thread waiter([&] {
    EnterCriticalSection(&cs);
    entered = true;
    EXPECT_EQ(cs.OwningThread, CurrentThreadAsOwner());
    EXPECT_EQ(cs.RecursionCount, 1);
    LeaveCriticalSection(&cs);
  });
  Sleep(50);
  EXPECT_FALSE(entered.load());
  LeaveCriticalSection(&cs);
  Sleep(30);
  // One of two entries left: still ours.
  EXPECT_FALSE(entered.load());
  LeaveCriticalSection(&cs);
  EXPECT_TRUE(EventuallyTrue([&] { return entered.load(); }));
  waiter.join();
  ExpectFree(cs);
  DeleteCriticalSection(&cs);
}

TEST(CriticalSectionConcurrent, ExcludesOtherThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  long counter = 0;  // deliberately not atomic: the section is what protects it
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        if ((i + t) % 3 == 0) {
          while (!TryEnterCriticalSection(&cs)) {
          }
        } else {
          EnterCriticalSection(&cs);
        }
        if (inside.fetch_add(1) != 0) ++overlaps;
        EnterCriticalSection(&cs);  // recursion inside the guarded stretch
        ++counter;
        LeaveCriticalSection(&cs);
        inside.fetch_sub(1);
        LeaveCriticalSection(&cs);
      }
    });
  }
  for (std::thread &t : threads) t.join();
  EXPECT_EQ(counter, static_cast<long>(kThreads) * kRounds);
  EXPECT_EQ(overlaps.load(), 0);
  ExpectFree(cs);
  DeleteCriticalSection(&cs);
}

TEST(Time, SleepAndTickCountFollowTheClock) {
  const Clock::time_point start = Clock::now();
  const DWORD ticksBefore = GetTickCount();
  Sleep(60);
  const DWORD ticks = GetTickCount() - ticksBefore;  // unsigned: right across a wrap too
  const long long took = MillisecondsSince(start);
  EXPECT_GE(took, 60 - kClockSlackMs);
  EXPECT_LT(took, kNoLongerThanMs);
  // Windows' tick count moves in steps of up to ~16 ms.
  EXPECT_GE(ticks, 60u - 20u);
  EXPECT_LT(ticks, static_cast<DWORD>(kNoLongerThanMs));
  Sleep(0);  // yields and comes back
}

TEST(Identity, ThreadAndProcessIds) {
  const DWORD tid = GetCurrentThreadId();
  EXPECT_NE(tid, 0u);
  EXPECT_EQ(GetCurrentThreadId(), tid);
#if defined(_WIN32)
  EXPECT_EQ(GetCurrentProcessId(), static_cast<DWORD>(_getpid()));
#else
  EXPECT_EQ(GetCurrentProcessId(), static_cast<DWORD>(getpid()));
  // The kernel's own id of the thread.
  EXPECT_EQ(tid, static_cast<DWORD>(syscall(SYS_gettid)));
#endif
}

TEST(IdentityConcurrent, ThreadsHaveDistinctIds) {
  const DWORD mine = GetCurrentThreadId();
  DWORD a = 0, b = 0;
  // Both stay alive until both have looked: ids are unique among live threads only.
  std::atomic<int> looked{0};
  auto look = [&looked](DWORD *id) {
    *id = GetCurrentThreadId();
    ++looked;
    EventuallyTrue([&] { return looked.load() == 2; });
  };
  std::thread first(look, &a);
  std::thread second(look, &b);
  first.join();
  second.join();
  EXPECT_NE(a, 0u);
  EXPECT_NE(b, 0u);
  EXPECT_NE(a, mine);
  EXPECT_NE(b, mine);
  EXPECT_NE(a, b);
}

}  // namespace
