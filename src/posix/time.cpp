// Sleep and the tick count, both on the monotonic clock.
#include <errno.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

#include "qnutil/posix/windows.h"
#include "internal/threads.h"

extern "C" {

void WINAPI Sleep(DWORD dwMilliseconds) {
  // The threads that the subset started sleep in a wait, where SuspendThread and TerminateThread
  // reach them.
  if (qn::posix::SleepAtStopPoint(dwMilliseconds)) return;
  if (dwMilliseconds == 0) {
    // Windows gives up the rest of the time slice.
    sched_yield();
    return;
  }
  if (dwMilliseconds == INFINITE) {
    for (;;) pause();
  }
  // An absolute deadline, so that signals that interrupt the sleep do not stretch it.
  timespec until;
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += dwMilliseconds / 1000;
  until.tv_nsec += static_cast<long>(dwMilliseconds % 1000) * 1000000L;
  if (until.tv_nsec >= 1000000000L) {
    until.tv_sec += 1;
    until.tv_nsec -= 1000000000L;
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

DWORD WINAPI GetTickCount(void) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  // Computed in 64 bits and truncated, so that it wraps at 2^32 like Windows' count.
  const uint64_t ms = static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<DWORD>(ms);
}

}  // extern "C"
