// Test hooks of the subset's process heap. They are not Win32 services and no application needs
// them: they let tests drive every out-of-memory path and count what is still allocated.
#pragma once

#include "qnutil/posix/windef.h"

// After this call the n-th HeapAlloc (n >= 1) fails, as if the heap were exhausted, and so does
// every later one until the hook is disarmed with 0. Counts are process-wide.
QN_WIN32_API void WINAPI QnHeapFailAfter(LONG n);
// Blocks obtained from HeapAlloc and not yet released by HeapFree.
QN_WIN32_API LONG WINAPI QnHeapLiveBlocks(void);
