// Critical sections with Windows' record: LockCount, RecursionCount and OwningThread are kept as
// Windows keeps them, and the semaphore that hands the section over to a waiting thread lives in
// the block that DebugInfo points to.
//
// The protocol is the classic one of that record. LockCount starts at -1; every entry, recursive
// or not, and every thread that waits adds one, so the section is free exactly when it is -1. The
// entry that brings it to 0 owns the section at once; a later one either is the owner's (recursion)
// or waits on the semaphore. The last Leave clears the owner and, if LockCount stays >= 0, someone
// is waiting: one post hands the section to exactly one waiter.
#include <errno.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>

#include "qnutil/posix/windows.h"

struct _RTL_CRITICAL_SECTION_DEBUG {
  sem_t handover;
};

namespace {

HANDLE CurrentThreadAsOwner() noexcept {
  return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(GetCurrentThreadId()));
}

// OwningThread is read by threads that do not own the section (to see whether they do), so it is
// accessed atomically; RecursionCount is touched only by the owner.
HANDLE LoadOwner(const CRITICAL_SECTION *cs) noexcept { return __atomic_load_n(&cs->OwningThread, __ATOMIC_RELAXED); }
void StoreOwner(CRITICAL_SECTION *cs, HANDLE owner) noexcept {
  __atomic_store_n(&cs->OwningThread, owner, __ATOMIC_RELAXED);
}

void WaitForHandover(CRITICAL_SECTION *cs) noexcept {
  while (sem_wait(&cs->DebugInfo->handover) != 0 && errno == EINTR) {
  }
}

}  // namespace

extern "C" {

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION cs) {
  auto *debug = static_cast<_RTL_CRITICAL_SECTION_DEBUG *>(malloc(sizeof(_RTL_CRITICAL_SECTION_DEBUG)));
  if (!debug || sem_init(&debug->handover, 0, 0) != 0) {
    // Initialisation cannot fail on Windows (it raises instead); a process that cannot find a few
    // bytes for a lock cannot go on either.
    fputs("qnwin32: InitializeCriticalSection: out of memory\n", stderr);
    abort();
  }
  cs->DebugInfo = debug;
  cs->LockCount = -1;
  cs->RecursionCount = 0;
  cs->OwningThread = nullptr;
  cs->LockSemaphore = nullptr;
  cs->SpinCount = 0;
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION cs) {
  if (cs->DebugInfo) {
    sem_destroy(&cs->DebugInfo->handover);
    free(cs->DebugInfo);
  }
  cs->DebugInfo = nullptr;
  cs->LockCount = -1;
  cs->RecursionCount = 0;
  cs->OwningThread = nullptr;
  cs->LockSemaphore = nullptr;
}

void WINAPI EnterCriticalSection(LPCRITICAL_SECTION cs) {
  const HANDLE self = CurrentThreadAsOwner();
  if (InterlockedIncrement(&cs->LockCount) != 0) {
    if (LoadOwner(cs) == self) {
      ++cs->RecursionCount;
      return;
    }
    WaitForHandover(cs);
  }
  StoreOwner(cs, self);
  cs->RecursionCount = 1;
}

BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION cs) {
  const HANDLE self = CurrentThreadAsOwner();
  if (InterlockedCompareExchange(&cs->LockCount, 0, -1) == -1) {
    StoreOwner(cs, self);
    cs->RecursionCount = 1;
    return TRUE;
  }
  if (LoadOwner(cs) == self) {
    InterlockedIncrement(&cs->LockCount);
    ++cs->RecursionCount;
    return TRUE;
  }
  return FALSE;
}

void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION cs) {
  if (--cs->RecursionCount > 0) {
    InterlockedDecrement(&cs->LockCount);
    return;
  }
  StoreOwner(cs, nullptr);
  if (InterlockedDecrement(&cs->LockCount) >= 0) sem_post(&cs->DebugInfo->handover);
}

}  // extern "C"
