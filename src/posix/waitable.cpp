// The waitable-object core, and the wait functions that stand on it.
#include <chrono>
#include <condition_variable>
#include <vector>

#include "internal/threads.h"
#include "internal/waitable.h"

namespace qn::posix {

// One thread's place in one object's waiter list, for the length of one wait.
struct WaitLink {
  std::condition_variable *wake;
  WaitLink *prev;
  WaitLink *next;
};

namespace {

// Never destroyed, so that a wait or a SetEvent in a thread that outlives static destruction
// still has its lock.
std::mutex &CoreMutex() noexcept {
  static std::mutex *mutex = new std::mutex;
  return *mutex;
}

// A wait's look at its objects, with the lock held: WAIT_OBJECT_0 + index when satisfied (the
// objects have taken the effect of the wait), WAIT_TIMEOUT otherwise.
DWORD TrySatisfyLocked(Waitable *const *objects, DWORD count, bool waitAll) noexcept {
  if (waitAll) {
    for (DWORD i = 0; i < count; ++i) {
      if (!objects[i]->IsSignalledLocked()) return WAIT_TIMEOUT;
    }
    for (DWORD i = 0; i < count; ++i) objects[i]->OnWaitSatisfiedLocked();
    return WAIT_OBJECT_0;
  }
  for (DWORD i = 0; i < count; ++i) {
    if (objects[i]->IsSignalledLocked()) {
      objects[i]->OnWaitSatisfiedLocked();
      return WAIT_OBJECT_0 + i;
    }
  }
  return WAIT_TIMEOUT;
}

// The current process, as its pseudo-handle names it: a wait on it lasts as long as the process.
class ProcessObject final : public Waitable {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Process;
  ProcessObject() noexcept : Waitable(kKind) {}
  bool IsSignalledLocked() const noexcept override { return false; }
};

}  // namespace

std::unique_lock<std::mutex> LockCore() noexcept { return std::unique_lock<std::mutex>(CoreMutex()); }

void Waitable::WakeWaitersLocked() noexcept {
  for (WaitLink *link = waiters_; link; link = link->next) link->wake->notify_one();
}

DWORD WaitForWaitables(Waitable *const *objects, DWORD count, bool waitAll, DWORD milliseconds) noexcept {
  if (count == 0 || count > kMaxWaitables) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);

  std::condition_variable wake;
  WaitLink links[kMaxWaitables];
  bool linked = false;
  bool timedOut = false;

  std::unique_lock<std::mutex> lock(CoreMutex());
  DWORD result = WAIT_FAILED;
  bool terminated = false;
  for (;;) {
    // A thread that another one suspended parks here, before it takes anything; one that was
    // terminated leaves the wait, to end once it is unlinked.
    if (StopPointLocked(lock, &wake)) {
      terminated = true;
      break;
    }
    result = TrySatisfyLocked(objects, count, waitAll);
    if (result != WAIT_TIMEOUT || milliseconds == 0 || timedOut) break;
    if (!linked) {
      for (DWORD i = 0; i < count; ++i) {
        links[i] = WaitLink{&wake, nullptr, objects[i]->waiters_};
        if (objects[i]->waiters_) objects[i]->waiters_->prev = &links[i];
        objects[i]->waiters_ = &links[i];
      }
      linked = true;
    }
    // Woken by a change or spuriously: either way, look again. At the deadline, look a last time.
    if (milliseconds == INFINITE) {
      wake.wait(lock);
    } else {
      timedOut = wake.wait_until(lock, deadline) == std::cv_status::timeout;
    }
  }
  if (linked) {
    for (DWORD i = 0; i < count; ++i) {
      WaitLink &link = links[i];
      if (link.prev) {
        link.prev->next = link.next;
      } else {
        objects[i]->waiters_ = link.next;
      }
      if (link.next) link.next->prev = link.prev;
    }
  }
  LeaveWaitLocked();
  if (terminated) {
    lock.unlock();
    EndTerminatedThread();
  }
  return result;
}

namespace {
std::vector<std::shared_ptr<void>> &HeldForWaits() noexcept {
  thread_local std::vector<std::shared_ptr<void>> held;
  return held;
}
}  // namespace

WaitHolds::WaitHolds() noexcept : base_(HeldForWaits().size()) {}

WaitHolds::~WaitHolds() { HeldForWaits().resize(base_); }

bool WaitHolds::Keep(std::shared_ptr<void> object) noexcept {
  try {
    HeldForWaits().push_back(std::move(object));
    return true;
  } catch (...) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
  }
}

bool LookupWaitables(DWORD count, const HANDLE *handles, WaitHolds &holds, Waitable **objects) noexcept {
  for (DWORD i = 0; i < count; ++i) {
    ObjectPtr object = LookupHandle(handles[i]);
    if (!object) return false;
    objects[i] = object->AsWaitable();
    if (!objects[i]) {
      SetLastError(ERROR_INVALID_HANDLE);
      return false;
    }
    if (!holds.Keep(std::move(object))) return false;
  }
  return true;
}

ObjectPtr CurrentProcessObject() noexcept {
  static const ObjectPtr *process = new ObjectPtr(std::make_shared<ProcessObject>());
  return *process;
}

}  // namespace qn::posix

extern "C" {

DWORD WINAPI WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
  return WaitForMultipleObjects(1, &hHandle, FALSE, dwMilliseconds);
}

DWORD WINAPI WaitForMultipleObjects(DWORD nCount, const HANDLE *lpHandles, BOOL bWaitAll,
                                    DWORD dwMilliseconds) {
  if (nCount == 0 || nCount > MAXIMUM_WAIT_OBJECTS) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (!lpHandles) {
    SetLastError(ERROR_NOACCESS);
    return WAIT_FAILED;
  }
  qn::posix::WaitHolds holds;
  qn::posix::Waitable *objects[MAXIMUM_WAIT_OBJECTS];
  if (!qn::posix::LookupWaitables(nCount, lpHandles, holds, objects)) return WAIT_FAILED;
  return qn::posix::WaitForWaitables(objects, nCount, bWaitAll != FALSE, dwMilliseconds);
}

}  // extern "C"
