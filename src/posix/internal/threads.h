// The hooks that make the subset's waits and Sleep the stop points of the threads that the subset
// started: where SuspendThread parks such a thread and TerminateThread ends it (the header
// qnutil/posix/threads.h says why only there). On every other thread they do nothing.
#pragma once

#include <condition_variable>
#include <mutex>

#include "internal/handles.h"

namespace qn::posix {

// Called by a wait with the core lock held, each time before it looks at its objects. Parks the
// calling thread while it is suspended (releasing the lock meanwhile) and answers true when it has
// been terminated. `wake` is the condition that the wait sleeps on, which TerminateThread notifies
// to bring a sleeping wait back here. On true the wait unlinks itself, calls LeaveWaitLocked(),
// releases the lock and calls EndTerminatedThread().
bool StopPointLocked(std::unique_lock<std::mutex> &lock, std::condition_variable *wake) noexcept;

// Called by a wait with the core lock held as it ends: its condition is about to go away.
void LeaveWaitLocked() noexcept;

// Ends the calling thread, which has been terminated, without unwinding its stack. Called with no
// lock held.
[[noreturn]] void EndTerminatedThread() noexcept;

// Sleeps as a wait for nothing when the calling thread is one that the subset started, so that the
// sleep is a stop point, and answers true; answers false at once on other threads.
bool SleepAtStopPoint(DWORD milliseconds) noexcept;

// What GetCurrentThread's pseudo-handle names on the calling thread: for a thread that the subset
// did not start, an object made on first use. Null with ERROR_NOT_ENOUGH_MEMORY when it cannot be.
ObjectPtr CurrentThreadObject() noexcept;

// The value of that pseudo-handle, as on Windows.
inline HANDLE CurrentThreadPseudoHandle() noexcept { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2)); }

}  // namespace qn::posix
