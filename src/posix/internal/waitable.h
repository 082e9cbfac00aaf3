// The one waitable-object core of the subset: every object that a wait function can be satisfied
// by (events, threads, message queues) is a Waitable, and every wait function
// (WaitForSingleObject, WaitForMultipleObjects, MsgWaitForMultipleObjects) is WaitForWaitables.
//
// The model. One process-wide lock, the core lock, guards the signalled state of every waitable
// object and the lists of their waiters. A waiting thread looks at its objects under the lock; if
// the wait cannot be satisfied yet it links itself into each object's waiter list and sleeps on a
// condition of its own, which any change that may satisfy it wakes; it then looks again. Because
// every state change and every look happens under the one lock, a wait for all objects sees them
// all at the same instant and acquires them together (an auto-reset event among them is reset only
// when all are signalled at once), and an auto-reset event that is set once satisfies exactly one
// wait even when several threads are woken to look.
//
// What an object kind provides:
// - IsSignalledLocked(): whether a wait would be satisfied by the object now. It must read only
//   state that changes under the core lock.
// - OnWaitSatisfiedLocked(): the effect of a satisfied wait on the object (an auto-reset event
//   resets itself; most kinds have none).
// - Every change that may make the object signalled takes the core lock (LockCore()), changes the
//   state, and calls WakeWaitersLocked().
//
// How the kinds still to come join without changing the core:
// - A thread object holds `bool ended` and its exit code. IsSignalledLocked() answers `ended`, with
//   no effect on satisfaction (it stays signalled, like a manual-reset event). The thread's exit
//   path does { auto lock = LockCore(); ended = true; WakeWaitersLocked(); }, so
//   WaitForSingleObject(hThread) and waits mixing threads and events work as they are.
// - A message queue (internal/msgqueue.h) is a Waitable that belongs to its thread, with all of
//   its state under the core lock. It keeps the wake mask of the wait in progress and the kinds of
//   input that arrived since the owner last looked (Peek, Get, GetQueueStatus). IsSignalledLocked()
//   answers whether such input matches the mask; a satisfied wait changes nothing, since on Windows
//   (checked against Wine) only a look makes input old: a second MsgWaitForMultipleObjects with
//   no look in between answers at once again. Posting takes the core lock, appends, records the
//   kind and calls WakeWaitersLocked(). MsgWaitForMultipleObjects(n, handles, all, ms,
//   mask) sets the mask under the core lock and calls WaitForWaitables with the n objects followed
//   by the queue: an answer of WAIT_OBJECT_0 + n means input, as on Windows, and "all" means all
//   the objects and input.
// - The threads that the subset started stop in the waits when another thread suspends or
//   terminates them: before each look, WaitForWaitables calls StopPointLocked (internal/threads.h),
//   which parks a suspended thread there, and a terminated one leaves the wait once it is unlinked.
#pragma once

#include <memory>
#include <mutex>

#include "internal/handles.h"

namespace qn::posix {

struct WaitLink;

// The most objects that one wait looks at: the handles of WaitForMultipleObjects and, for
// MsgWaitForMultipleObjects, the thread's queue after them.
constexpr DWORD kMaxWaitables = MAXIMUM_WAIT_OBJECTS + 1;

class Waitable : public KernelObject {
 public:
  using KernelObject::KernelObject;

  Waitable *AsWaitable() noexcept final { return this; }

  // Both are called with the core lock held; see the head of this file.
  virtual bool IsSignalledLocked() const noexcept = 0;
  virtual void OnWaitSatisfiedLocked() noexcept {}

 protected:
  // Wakes every thread that is waiting on this object, so that it looks at its objects again.
  // Called with the core lock held, after a change that may have satisfied a wait.
  void WakeWaitersLocked() noexcept;

 private:
  friend DWORD WaitForWaitables(Waitable *const *, DWORD, bool, DWORD) noexcept;
  WaitLink *waiters_ = nullptr;
};

// Takes the core lock. Held only for short state changes and looks, never across a sleep.
std::unique_lock<std::mutex> LockCore() noexcept;

// Waits until one of the objects is signalled (waitAll: all of them at the same instant) or until
// the time-out elapses on the monotonic clock (INFINITE: never; 0: look once). Answers
// WAIT_OBJECT_0 + the lowest signalled index (WAIT_OBJECT_0 for waitAll), or WAIT_TIMEOUT; the
// satisfied objects have had their OnWaitSatisfiedLocked(). The caller keeps the objects alive for
// the call (it holds their ObjectPtr) and passes 1 to kMaxWaitables of them (otherwise WAIT_FAILED
// with ERROR_INVALID_PARAMETER); the last error is otherwise left alone.
DWORD WaitForWaitables(Waitable *const *objects, DWORD count, bool waitAll, DWORD milliseconds) noexcept;

// The references that keep a wait's objects alive while it runs. They are kept with the calling
// thread rather than on its stack: a thread that TerminateThread ends inside the wait leaves
// without unwinding, and its thread-local objects, these among them, still go when it ends.
// Scopes nest (a window procedure may wait inside a message wait); each gives up its own.
class WaitHolds {
 public:
  WaitHolds() noexcept;
  ~WaitHolds();
  WaitHolds(const WaitHolds &) = delete;
  WaitHolds &operator=(const WaitHolds &) = delete;

  // False (ERROR_NOT_ENOUGH_MEMORY) when no room is left to keep it.
  bool Keep(std::shared_ptr<void> object) noexcept;

 private:
  size_t base_;
};

// Looks up the handles of a wait: the objects, kept alive by `holds` during it. False with
// ERROR_INVALID_HANDLE when a handle is not open or names nothing waitable.
bool LookupWaitables(DWORD count, const HANDLE *handles, WaitHolds &holds, Waitable **objects) noexcept;

// The object that the pseudo-handle of the current process names: waitable, and never signalled
// while the process runs.
ObjectPtr CurrentProcessObject() noexcept;

}  // namespace qn::posix
