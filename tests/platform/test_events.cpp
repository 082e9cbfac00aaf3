// Conformance: events and the wait functions.
#include <atomic>
#include <thread>
#include <vector>

#include "platform/sync_helpers.h"

namespace {

using qntest::Clock;
using qntest::EventuallyTrue;
using qntest::kClockSlackMs;
using qntest::kNoLongerThanMs;
using qntest::MillisecondsSince;
using qntest::ScopedEvent;

const DWORD kTimeout = static_cast<DWORD>(WAIT_TIMEOUT);

TEST(Events, ManualResetStaysSignalledUntilReset) {
  ScopedEvent event(true, true);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(ResetEvent(event));
  EXPECT_EQ(WaitForSingleObject(event, 0), kTimeout);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);

  ScopedEvent unset(true, false);
  EXPECT_EQ(WaitForSingleObject(unset, 0), kTimeout);
}

TEST(Events, AutoResetIsConsumedByTheWaitItSatisfies) {
  ScopedEvent event(false, true);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(event, 0), kTimeout);
  // Setting twice is still one signal.
  EXPECT_TRUE(SetEvent(event));
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(event, 0), kTimeout);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_TRUE(ResetEvent(event));
  EXPECT_EQ(WaitForSingleObject(event, 0), kTimeout);
}

TEST(Events, CreationClearsTheLastError) {
  SetLastError(77);
  ScopedEvent event(false, false);
  EXPECT_EQ(GetLastError(), 0u);
}

#if !defined(_WIN32)
// The subset has no namespace of named objects shared between processes.
TEST(Events, NamedEventsAreNotSupported) {
  SetLastError(0);
  EXPECT_EQ(CreateEventW(nullptr, TRUE, FALSE, qn::AsW(u"qnutil-test-event")), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
  // An empty name is no name.
  HANDLE unnamed = CreateEventW(nullptr, TRUE, FALSE, qn::AsW(u""));
  EXPECT_NE(unnamed, nullptr);
  CloseHandle(unnamed);
}
#endif

TEST(Waits, RejectBadCountsAndHandles) {
  ScopedEvent event(false, true);
  HANDLE handles[MAXIMUM_WAIT_OBJECTS + 1];
  for (HANDLE &h : handles) h = event;

  SetLastError(0);
  EXPECT_EQ(WaitForMultipleObjects(0, handles, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  SetLastError(0);
  EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, handles, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  // One bad handle fails the whole wait, even with a signalled object before it, which keeps its
  // signal.
  HANDLE withBad[2] = {event, nullptr};
  SetLastError(0);
  EXPECT_EQ(WaitForMultipleObjects(2, withBad, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  SetLastError(0);
  EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
}

TEST(Waits, WaitAnyAnswersTheLowestSignalledIndexAndConsumesOnlyIt) {
  ScopedEvent a(false, false), b(false, true), c(false, true);
  HANDLE handles[3] = {a, b, c};
  EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), WAIT_OBJECT_0 + 2);
  EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), kTimeout);
  EXPECT_TRUE(SetEvent(c));
  EXPECT_TRUE(SetEvent(a));
  EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(c, 0), WAIT_OBJECT_0);
}

TEST(Waits, WaitAllTakesNothingUntilEveryObjectIsSignalled) {
  ScopedEvent a(false, true), b(false, false);
  HANDLE handles[2] = {a, b};
  EXPECT_EQ(WaitForMultipleObjects(2, handles, TRUE, 0), kTimeout);
  // The failed wait left a's signal in place.
  EXPECT_EQ(WaitForSingleObject(a, 0), WAIT_OBJECT_0);

  EXPECT_TRUE(SetEvent(a));
  EXPECT_TRUE(SetEvent(b));
  EXPECT_EQ(WaitForMultipleObjects(2, handles, TRUE, 0), WAIT_OBJECT_0);
  // Both auto-reset events were consumed together.
  EXPECT_EQ(WaitForSingleObject(a, 0), kTimeout);
  EXPECT_EQ(WaitForSingleObject(b, 0), kTimeout);
}

TEST(Waits, WaitAllLeavesManualResetEventsSignalled) {
  ScopedEvent manual(true, true), automatic(false, true);
  HANDLE handles[2] = {manual, automatic};
  EXPECT_EQ(WaitForMultipleObjects(2, handles, TRUE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(automatic, 0), kTimeout);
}

TEST(Waits, TimeOutsLastTheirDuration) {
  ScopedEvent a(false, false), b(true, false);
  HANDLE handles[2] = {a, b};

  Clock::time_point start = Clock::now();
  EXPECT_EQ(WaitForSingleObject(a, 50), kTimeout);
  long long took = MillisecondsSince(start);
  EXPECT_GE(took, 50 - kClockSlackMs);
  EXPECT_LT(took, kNoLongerThanMs);

  start = Clock::now();
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 60), kTimeout);
  took = MillisecondsSince(start);
  EXPECT_GE(took, 60 - kClockSlackMs);
  EXPECT_LT(took, kNoLongerThanMs);

  // Only one of the two is signalled: wait-all still times out.
  EXPECT_TRUE(SetEvent(b));
  start = Clock::now();
  EXPECT_EQ(WaitForMultipleObjects(2, handles, TRUE, 40), kTimeout);
  took = MillisecondsSince(start);
  EXPECT_GE(took, 40 - kClockSlackMs);
  EXPECT_LT(took, kNoLongerThanMs);
}

TEST(EventsConcurrent, SetFromAnotherThreadEndsAnInfiniteWait) {
  ScopedEvent event(false, false);
  std::thread setter([&] {
    Sleep(30);
    SetEvent(event);
  });
  EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
  setter.join();
}

TEST(EventsConcurrent, AutoResetReleasesOneWaiterPerSet) {
  constexpr int kWaiters = 4;
  ScopedEvent event(false, false);
  std::atomic<int> released{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([&] {
      if (WaitForSingleObject(event, 10000) != WAIT_OBJECT_0) ++failures;
      ++released;
    });
  }
  Sleep(50);  // let them all block
  EXPECT_EQ(released.load(), 0);
  for (int set = 1; set <= kWaiters; ++set) {
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(EventuallyTrue([&] { return released.load() >= set; }));
    Sleep(30);  // time for a second, wrongly released waiter to show up
    EXPECT_EQ(released.load(), set);
  }
  for (std::thread &t : waiters) t.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(WaitForSingleObject(event, 0), kTimeout);
}

TEST(EventsConcurrent, ManualResetReleasesEveryWaiter) {
  constexpr int kWaiters = 4;
  ScopedEvent event(true, false);
  std::atomic<int> satisfied{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([&] {
      if (WaitForSingleObject(event, 10000) == WAIT_OBJECT_0) ++satisfied;
    });
  }
  Sleep(50);
  EXPECT_TRUE(SetEvent(event));
  for (std::thread &t : waiters) t.join();
  EXPECT_EQ(satisfied.load(), kWaiters);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
}

TEST(EventsConcurrent, WaitAllAcquiresEveryObjectAtOnce) {
  ScopedEvent a(false, false), b(false, false);
  std::atomic<bool> done{false};
  DWORD result = WAIT_FAILED;
  std::thread waiter([&] {
    HANDLE handles[2] = {a, b};
    result = WaitForMultipleObjects(2, handles, TRUE, 10000);
    done = true;
  });
  EXPECT_TRUE(SetEvent(a));
  Sleep(50);
  EXPECT_FALSE(done.load());
  // The waiter must not have taken a on its own: it is still there for us to take.
  EXPECT_EQ(WaitForSingleObject(a, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(SetEvent(b));
  Sleep(50);
  EXPECT_FALSE(done.load());
  EXPECT_TRUE(SetEvent(a));
  waiter.join();
  EXPECT_EQ(result, WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(a, 0), kTimeout);
  EXPECT_EQ(WaitForSingleObject(b, 0), kTimeout);
}

TEST(EventsConcurrent, ClosingTheHandleDoesNotEndAWaitOnIt) {
  ScopedEvent event(true, false);
  DWORD result = WAIT_FAILED;
  long long took = 0;
  std::thread waiter([&, handle = static_cast<HANDLE>(event)] {
    const Clock::time_point start = Clock::now();
    result = WaitForSingleObject(handle, 300);
    took = MillisecondsSince(start);
  });
  Sleep(50);
  EXPECT_TRUE(event.Close());
  waiter.join();
  EXPECT_EQ(result, kTimeout);
  EXPECT_GE(took, 300 - kClockSlackMs);
}

// Two threads hand a turn back and forth through two auto-reset events: a lost or doubled wake-up
// shows as a time-out or a count out of step.
TEST(EventsConcurrent, PingPongLosesNoSignal) {
  constexpr int kRounds = 2000;
  ScopedEvent ping(false, false), pong(false, false);
  std::atomic<int> failures{0};
  int turns = 0;
  std::thread partner([&] {
    for (int i = 0; i < kRounds; ++i) {
      if (WaitForSingleObject(ping, 10000) != WAIT_OBJECT_0) {
        ++failures;
        return;
      }
      ++turns;
      SetEvent(pong);
    }
  });
  // No ASSERT here: returning with the partner still running would end the program.
  for (int i = 0; i < kRounds; ++i) {
    EXPECT_TRUE(SetEvent(ping));
    const DWORD result = WaitForSingleObject(pong, 10000);
    EXPECT_EQ(result, WAIT_OBJECT_0) << "round " << i;
    EXPECT_EQ(turns, i + 1);
    if (result != WAIT_OBJECT_0 || turns != i + 1) break;
  }
  partner.join();
  EXPECT_EQ(failures.load(), 0);
}

}  // namespace
