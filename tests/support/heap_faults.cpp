// Heap failure injection: counting replacements for the library's imports of HeapAlloc and
// HeapFree, installed through the import redirection of import_patch.h.

#include "support/heap_faults.h"

#include <atomic>

#include "qnutil/win32.h"
#include "support/import_patch.h"

#if !defined(_WIN32)
#  include "qnutil/posix/heapfault.h"
#endif

namespace qntest {
namespace {

typedef LPVOID(WINAPI *HeapAllocFn)(HANDLE, DWORD, SIZE_T);
typedef BOOL(WINAPI *HeapFreeFn)(HANDLE, DWORD, LPVOID);

const size_t kMaxRequests = 256;

HeapAllocFn g_realAlloc = nullptr;
HeapFreeFn g_realFree = nullptr;
int g_installs = 0;

std::atomic<long> g_calls{0};     // HeapAlloc calls, failed ones included
std::atomic<long> g_live{0};      // blocks allocated minus blocks released
std::atomic<long> g_failAt{0};    // 0: disarmed; else the call number (of g_calls) that fails
std::atomic<bool> g_failOnly{false};
std::atomic<long> g_requestCount{0};
size_t g_requests[kMaxRequests];

LPVOID WINAPI CountingHeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T cb) {
  const long call = ++g_calls;
  const long slot = g_requestCount++;
  if (slot >= 0 && static_cast<size_t>(slot) < kMaxRequests) g_requests[slot] = cb;
  const long failAt = g_failAt.load();
  if (failAt != 0 && (call == failAt || (call > failAt && !g_failOnly.load()))) return nullptr;
  LPVOID pv = g_realAlloc(hHeap, dwFlags, cb);
  if (pv != nullptr) ++g_live;
  return pv;
}

BOOL WINAPI CountingHeapFree(HANDLE hHeap, DWORD dwFlags, LPVOID pv) {
  const BOOL ok = g_realFree(hHeap, dwFlags, pv);
  if (ok && pv != nullptr) --g_live;
  return ok;
}

bool Install() {
  void *prevAlloc = nullptr, *prevFree = nullptr;
  const int allocs = PatchImport("HeapAlloc", reinterpret_cast<void *>(&CountingHeapAlloc), &prevAlloc);
  const int frees = PatchImport("HeapFree", reinterpret_cast<void *>(&CountingHeapFree), &prevFree);
  if (allocs == 0 || frees == 0) return false;
  g_realAlloc = reinterpret_cast<HeapAllocFn>(RealFunction("HeapAlloc", prevAlloc));
  g_realFree = reinterpret_cast<HeapFreeFn>(RealFunction("HeapFree", prevFree));
  return g_realAlloc != nullptr && g_realFree != nullptr;
}

void Uninstall() {
  PatchImport("HeapAlloc", reinterpret_cast<void *>(g_realAlloc), nullptr);
  PatchImport("HeapFree", reinterpret_cast<void *>(g_realFree), nullptr);
}

}  // namespace

HeapFaults::HeapFaults() {
  if (g_installs++ == 0 && !Install()) ADD_FAILURE() << "cannot redirect the library's imports of HeapAlloc and HeapFree";
  m_liveAtStart = g_live.load();
  m_callsAtStart = g_calls.load();
  g_requestCount = 0;
}

HeapFaults::~HeapFaults() {
  Disarm();
  if (--g_installs == 0) Uninstall();
}

void HeapFaults::FailAfter(long n) {
  g_failOnly = false;
  g_failAt = g_calls.load() + n;
}

void HeapFaults::FailOnly(long n) {
  g_failOnly = true;
  g_failAt = g_calls.load() + n;
}

void HeapFaults::Disarm() { g_failAt = 0; }

long HeapFaults::LiveBlocks() const { return g_live.load() - m_liveAtStart; }

long HeapFaults::Allocations() const { return g_calls.load() - m_callsAtStart; }

std::vector<size_t> HeapFaults::Requests() const {
  std::vector<size_t> sizes;
  const long end = g_requestCount.load();
  for (long i = 0; i < end && static_cast<size_t>(i) < kMaxRequests; ++i) sizes.push_back(g_requests[i]);
  return sizes;
}

long HeapFaults::ProcessLiveBlocks() {
#if defined(_WIN32)
  return 0;
#else
  return QnHeapLiveBlocks();
#endif
}

}  // namespace qntest
