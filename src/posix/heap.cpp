// The process heap on malloc, the local-heap calls on top of it, and the test hooks that make it
// fail on demand and count its live blocks.
#include <stdlib.h>

#include <atomic>

#include "qnutil/posix/heapfault.h"
#include "qnutil/posix/windows.h"

namespace {

// Any constant non-null value would do; the address of a private object cannot collide with a
// real handle or block.
const char g_processHeapTag = 0;

// 0: disarmed. n >= 1: the n-th following allocation fails; at 1 it stays 1, so that every later
// allocation fails too until the hook is disarmed.
std::atomic<LONG> g_failCountdown{0};
std::atomic<LONG> g_liveBlocks{0};

// Whether the hook fails this allocation. Costs one relaxed load while disarmed.
bool HookFailsAllocation() noexcept {
  LONG left = g_failCountdown.load(std::memory_order_relaxed);
  while (left > 0) {
    if (left == 1) return true;
    if (g_failCountdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) return false;
  }
  return false;
}

}  // namespace

extern "C" {

HANDLE WINAPI GetProcessHeap(void) { return const_cast<char *>(&g_processHeapTag); }

LPVOID WINAPI HeapAlloc(HANDLE, DWORD dwFlags, SIZE_T dwBytes) {
  if (HookFailsAllocation()) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  // malloc(0) may answer null; a block of one byte is unique and non-null, as Windows' is.
  const size_t bytes = dwBytes ? dwBytes : 1;
  void *block = (dwFlags & HEAP_ZERO_MEMORY) ? calloc(1, bytes) : malloc(bytes);
  if (!block) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  g_liveBlocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

BOOL WINAPI HeapFree(HANDLE, DWORD, LPVOID lpMem) {
  if (lpMem) {
    free(lpMem);
    g_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  }
  return TRUE;
}

HLOCAL WINAPI LocalAlloc(UINT uFlags, SIZE_T uBytes) {
  return HeapAlloc(GetProcessHeap(), (uFlags & LMEM_ZEROINIT) ? HEAP_ZERO_MEMORY : 0, uBytes);
}

HLOCAL WINAPI LocalFree(HLOCAL hMem) {
  HeapFree(GetProcessHeap(), 0, hMem);
  return nullptr;
}

void WINAPI QnHeapFailAfter(LONG n) { g_failCountdown.store(n > 0 ? n : 0, std::memory_order_relaxed); }

LONG WINAPI QnHeapLiveBlocks(void) { return g_liveBlocks.load(std::memory_order_relaxed); }

}  // extern "C"
