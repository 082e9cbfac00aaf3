// CHandle, CDLL and CCriticalSection over real kernel objects, modules and threads.
//
// Whether a wrapper closed a handle is observed on the raw value afterwards: the platform's
// CloseHandle answers FALSE with ERROR_INVALID_HANDLE once it is closed.

#include <atomic>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "qnutil/handles.h"

namespace {

HANDLE NewEvent() { return CreateEventW(nullptr, TRUE, FALSE, nullptr); }

// An unsignalled event that is still open answers a zero-timeout wait with WAIT_TIMEOUT.
bool IsOpen(HANDLE h) { return WaitForSingleObject(h, 0) == WAIT_TIMEOUT; }

// Closes h if it is still open; succeeds when it was already closed.
::testing::AssertionResult WasClosed(HANDLE h) {
  SetLastError(0);
  if (::CloseHandle(h)) return ::testing::AssertionFailure() << "the handle was still open";
  if (GetLastError() != ERROR_INVALID_HANDLE)
    return ::testing::AssertionFailure() << "CloseHandle failed with " << GetLastError();
  return ::testing::AssertionSuccess();
}

const DWORD kUntouched = 0x2A2A;  // a last-error value that no platform call leaves behind

TEST(CHandle, EmptyValuesAreNeverClosed) {
  SetLastError(kUntouched);
  {
    CHandle empty;
    EXPECT_TRUE(!empty);
    EXPECT_EQ(empty(), nullptr);
    empty.CloseHandle();
  }
  {
    CHandle invalid(INVALID_HANDLE_VALUE);
    EXPECT_TRUE(!invalid);
    invalid.CloseHandle();
    invalid.CloseHandle();
    EXPECT_EQ(static_cast<void *>(invalid), INVALID_HANDLE_VALUE);
  }
  EXPECT_EQ(GetLastError(), kUntouched);  // no platform call was made
}

TEST(CHandle, ClosesAnOwnedHandleExactlyOnce) {
  HANDLE ev = NewEvent();
  ASSERT_NE(ev, nullptr);
  {
    CHandle h(ev);
    EXPECT_FALSE(!h);
    EXPECT_EQ(h(), ev);
    EXPECT_EQ(static_cast<void *>(h), ev);
  }
  EXPECT_TRUE(WasClosed(ev));

  ev = NewEvent();
  CHandle h(ev);
  h.CloseHandle();
  EXPECT_EQ(h(), nullptr);
  EXPECT_TRUE(!h);
  EXPECT_TRUE(WasClosed(ev));
  SetLastError(kUntouched);
  h.CloseHandle();
  EXPECT_EQ(GetLastError(), kUntouched);
}

TEST(CHandle, AssigningAHandleClosesTheOldOneUnlessItIsTheSame) {
  HANDLE first = NewEvent(), second = NewEvent();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  {
    CHandle h(first);
    h = first;  // the very handle it holds: kept, open
    EXPECT_TRUE(IsOpen(first));
    EXPECT_EQ(h(), first);
    EXPECT_EQ(h = second, second);
    EXPECT_EQ(h(), second);
    EXPECT_TRUE(WasClosed(first));
    EXPECT_TRUE(IsOpen(second));
    h = INVALID_HANDLE_VALUE;
    EXPECT_TRUE(WasClosed(second));
    EXPECT_EQ(h(), INVALID_HANDLE_VALUE);
  }
}

TEST(CHandle, SwapExchangesWithoutClosing) {
  HANDLE ev = NewEvent();
  ASSERT_NE(ev, nullptr);
  {
    CHandle owner(ev), empty;
    owner.Swap(empty);
    EXPECT_EQ(owner(), nullptr);
    EXPECT_EQ(empty(), ev);
    EXPECT_TRUE(IsOpen(ev));
  }
  EXPECT_TRUE(WasClosed(ev));
}

TEST(CHandle, WritingThroughTheAddressHandsTheOldHandleToTheCaller) {
  HANDLE old = NewEvent(), fresh = NewEvent();
  ASSERT_NE(old, nullptr);
  ASSERT_NE(fresh, nullptr);
  {
    CHandle h(old);
    HANDLE *out = &h;
    *out = fresh;  // as a platform call with an out-parameter would
    EXPECT_EQ(h(), fresh);
    EXPECT_TRUE(IsOpen(old));
  }
  EXPECT_TRUE(WasClosed(fresh));
  EXPECT_TRUE(IsOpen(old));
  EXPECT_TRUE(::CloseHandle(old));
}

TEST(CHandle, MovingTransfersOwnership) {
  HANDLE first = NewEvent(), second = NewEvent();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  {
    CHandle a(first);
    CHandle b(std::move(a));
    EXPECT_TRUE(!a);
    EXPECT_EQ(a(), nullptr);
    EXPECT_EQ(b(), first);
    CHandle c(second);
    c = std::move(b);  // c lets go of its own handle first
    EXPECT_TRUE(WasClosed(second));
    EXPECT_EQ(c(), first);
    EXPECT_EQ(b(), nullptr);
    CHandle &same = c;  // self-move, through a name the compiler does not see through
    c = std::move(same);
    EXPECT_EQ(c(), first);
    EXPECT_TRUE(IsOpen(first));
  }
  EXPECT_TRUE(WasClosed(first));
}

const unsigned short *const kTestModule = qn::AsU(u"qnutil_testmod.dll");

bool TestModuleLoaded() { return GetModuleHandleW(qn::AsW(kTestModule)) != nullptr; }

typedef int (*AnswerFn)(void);

TEST(CDLL, LoadsLooksUpAndFreesAModule) {
  ASSERT_FALSE(TestModuleLoaded());
  {
    CDLL dll(kTestModule);
    ASSERT_FALSE(!dll);
    EXPECT_TRUE(TestModuleLoaded());
    FARPROC proc = dll.GetProcAddress("qnutil_testmod_answer");
    ASSERT_NE(proc, nullptr);
    EXPECT_EQ(reinterpret_cast<AnswerFn>(reinterpret_cast<void (*)()>(proc))(), 42);
    EXPECT_EQ(dll.GetProcAddress("qnutil_testmod_no_such_entry"), nullptr);
  }
  EXPECT_FALSE(TestModuleLoaded());
}

TEST(CDLL, AFailedLoadLeavesItEmptyAndTheOldModuleFreed) {
  ASSERT_FALSE(TestModuleLoaded());
  CDLL dll;
  EXPECT_TRUE(!dll);
  EXPECT_EQ(dll.GetProcAddress("qnutil_testmod_answer"), nullptr);
  ASSERT_EQ(dll.LoadLibraryW(kTestModule), S_OK);
  EXPECT_EQ(dll.LoadLibraryW(qn::AsU(u"qnutil_no_such_module.dll")), E_FAIL);
  EXPECT_TRUE(!dll);
  EXPECT_FALSE(TestModuleLoaded());
  EXPECT_EQ(dll.GetProcAddress("qnutil_testmod_answer"), nullptr);

  CDLL missing(qn::AsU(u"qnutil_no_such_module.dll"));
  EXPECT_TRUE(!missing);
}

TEST(CDLL, LoadingTheSameModuleAgainFreesTheFirstReference) {
  ASSERT_FALSE(TestModuleLoaded());
  {
    CDLL dll;
    EXPECT_EQ(dll.LoadLibraryW(kTestModule), S_OK);
    EXPECT_EQ(dll.LoadLibraryW(kTestModule), S_OK);
    EXPECT_FALSE(!dll);
  }
  // One reference was left to the destructor; had the first load kept its own, the module would
  // still be loaded.
  EXPECT_FALSE(TestModuleLoaded());
}

TEST(CDLL, MovingTransfersTheReference) {
  ASSERT_FALSE(TestModuleLoaded());
  {
    CDLL a(kTestModule);
    CDLL b(std::move(a));
    EXPECT_TRUE(!a);
    EXPECT_FALSE(!b);
    CDLL c;
    c = std::move(b);
    EXPECT_TRUE(!b);
    EXPECT_NE(c.GetProcAddress("qnutil_testmod_answer"), nullptr);
    EXPECT_TRUE(TestModuleLoaded());
  }
  EXPECT_FALSE(TestModuleLoaded());
}

TEST(CCriticalSection, ItsOwnerMayTakeItAgain) {
  CCriticalSection cs;
  _RTL_CRITICAL_SECTION *record = cs;
  cs.Lock();
  cs.Lock();
  EXPECT_EQ(record->RecursionCount, 2);
  EXPECT_EQ(record->OwningThread, reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(GetCurrentThreadId())));
  cs.Unlock();
  EXPECT_EQ(record->RecursionCount, 1);
  cs.Unlock();
  EXPECT_EQ(record->RecursionCount, 0);
  EXPECT_EQ(record->OwningThread, nullptr);
}

bool TryFromAnotherThread(CCriticalSection &cs) {
  bool taken = false;
  std::thread([&] {
    taken = TryEnterCriticalSection(cs) != FALSE;
    if (taken) LeaveCriticalSection(cs);
  }).join();
  return taken;
}

TEST(CCriticalSectionConcurrent, ANestedLockIsFreeOnlyAfterTheLastUnlock) {
  CCriticalSection cs;
  cs.Lock();
  cs.Lock();
  EXPECT_FALSE(TryFromAnotherThread(cs));
  cs.Unlock();
  EXPECT_FALSE(TryFromAnotherThread(cs));
  cs.Unlock();
  EXPECT_TRUE(TryFromAnotherThread(cs));
}

TEST(CCriticalSectionConcurrent, ExcludesOtherThreads) {
  CCriticalSection cs;
  std::atomic<bool> inside{false};
  std::atomic<int> overlaps{0};
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 2000; ++i) {
      cs.Lock();
      if (inside.exchange(true)) ++overlaps;
      // A read-modify-write stretched over a yield: without exclusion, increments get lost.
      const int seen = counter;
      std::this_thread::yield();
      counter = seen + 1;
      inside = false;
      cs.Unlock();
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(overlaps.load(), 0);
  EXPECT_EQ(counter, 4000);
}

}  // namespace
