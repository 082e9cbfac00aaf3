// Thread and process identifiers.
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "qnutil/posix/windows.h"

namespace {

// The kernel's id of the calling thread, fetched once per thread: critical sections ask for it on
// every entry. 0 means "not fetched yet"; the kernel never issues 0.
thread_local DWORD t_threadId = 0;

// A forked child runs on a new kernel thread, whose id differs from the parent's.
void ForgetThreadIdInChild() { t_threadId = 0; }

[[maybe_unused]] const int kForkHook = pthread_atfork(nullptr, nullptr, ForgetThreadIdInChild);

}  // namespace

extern "C" {

DWORD WINAPI GetCurrentThreadId(void) {
  if (t_threadId == 0) t_threadId = static_cast<DWORD>(syscall(SYS_gettid));
  return t_threadId;
}

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

}  // extern "C"
