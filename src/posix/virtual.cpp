// Virtual memory: reservations and committed pages on anonymous mmap, with Windows' rules and
// answers.
//
// A reservation is a PROT_NONE, MAP_NORESERVE mapping whose base is a multiple of 64 KiB; to
// commit pages is to give them their protection, to decommit them is to map fresh PROT_NONE pages
// over them, which returns their memory and makes them read as zero when they are committed again.
// The subset tracks every reservation and the state of its pages in a map under one lock, since
// VirtualFree and VirtualProtect must answer by the reservation and the pages' state.
//
// Memory that no reservation holds is free to VirtualFree(MEM_DECOMMIT) and VirtualProtect, which
// answer ERROR_INVALID_PARAMETER there, as Windows does for free memory.
//
// Limits: VirtualProtect knows only memory from VirtualAlloc, so it refuses the program's own
// images, stacks and heap blocks as free memory. PAGE_GUARD pages are inaccessible (PROT_NONE) rather than one-shot
// guards; PAGE_NOCACHE and PAGE_WRITECOMBINE are recorded and otherwise ignored. PAGE_EXECUTE
// pages are readable, as on x86 Windows. MEM_RESET is accepted for reserved memory and leaves the
// contents as they are (Windows may or may not discard them). MEM_TOP_DOWN is accepted and ignored.
// Reservations of 2 MiB or more start on a 2 MiB boundary (a multiple of 64 KiB, as Windows
// promises) and are advised for transparent huge pages.
#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iterator>
#include <map>
#include <mutex>
#include <new>

#include "internal/errors.h"

namespace {

constexpr uintptr_t kAllocationGranularity = 64 * 1024;
constexpr DWORD kProtectionModifiers = PAGE_GUARD | PAGE_NOCACHE | 0x400 /* PAGE_WRITECOMBINE */;

uintptr_t PageSize() noexcept {
  static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  return size;
}

uintptr_t RoundDown(uintptr_t value, uintptr_t unit) noexcept { return value & ~(unit - 1); }

// Rounds up; false when the result would not fit.
bool RoundUp(uintptr_t value, uintptr_t unit, uintptr_t *rounded) noexcept {
  if (value > UINTPTR_MAX - (unit - 1)) return false;
  *rounded = (value + unit - 1) & ~(unit - 1);
  return true;
}

// The mmap protection for a PAGE_* value; false for a value that Windows refuses for private
// memory (no base protection, two of them, the copy-on-write ones, unknown bits).
bool PosixProtection(DWORD protect, int *prot) noexcept {
  switch (protect & ~kProtectionModifiers) {
    case PAGE_NOACCESS: *prot = PROT_NONE; break;
    case PAGE_READONLY: *prot = PROT_READ; break;
    case PAGE_READWRITE: *prot = PROT_READ | PROT_WRITE; break;
    case PAGE_EXECUTE:
    case PAGE_EXECUTE_READ: *prot = PROT_READ | PROT_EXEC; break;
    case PAGE_EXECUTE_READWRITE: *prot = PROT_READ | PROT_WRITE | PROT_EXEC; break;
    default: return false;
  }
  if (protect & PAGE_GUARD) *prot = PROT_NONE;
  return true;
}

// The state of every page of one reservation, as runs: each key is the first page of a run that
// lasts until the next key; the value is 0 for reserved pages and the PAGE_* protection for
// committed ones. Changing a range is two steps, so that nothing can fail once the pages
// themselves have changed: Split (may throw bad_alloc) before, Assign (cannot fail) after.
class PageStates {
 public:
  explicit PageStates(size_t pages, DWORD state) : pages_(pages) { runs_.emplace(0, state); }

  DWORD At(size_t page) const { return std::prev(runs_.upper_bound(page))->second; }

  bool AllCommitted(size_t first, size_t last) const {
    for (auto run = std::prev(runs_.upper_bound(first)); run != runs_.end() && run->first < last; ++run) {
      if (run->second == 0) return false;
    }
    return true;
  }

  void Split(size_t first, size_t last) {
    SplitAt(first);
    SplitAt(last);
  }

  // [first, last) takes the state; Split(first, last) must have been called.
  void Assign(size_t first, size_t last, DWORD state) noexcept {
    auto run = runs_.find(first);
    run->second = state;
    runs_.erase(std::next(run), runs_.lower_bound(last));
    auto after = std::next(run);
    if (after != runs_.end() && after->second == state) runs_.erase(after);
    if (run != runs_.begin() && std::prev(run)->second == state) runs_.erase(run);
  }

 private:
  void SplitAt(size_t page) {
    if (page >= pages_) return;
    auto run = std::prev(runs_.upper_bound(page));
    if (run->first != page) runs_.emplace_hint(std::next(run), page, run->second);
  }

  size_t pages_;
  std::map<size_t, DWORD> runs_;
};

struct Reservation {
  uintptr_t size;
  PageStates pages;
};

class AddressSpace {
 public:
  std::mutex lock;

  // The reservation that contains the address, or null; *base receives its base.
  Reservation *Find(uintptr_t address, uintptr_t *base) {
    auto it = reservations_.upper_bound(address);
    if (it == reservations_.begin()) return nullptr;
    --it;
    if (address - it->first >= it->second.size) return nullptr;
    *base = it->first;
    return &it->second;
  }

  bool Overlaps(uintptr_t begin, uintptr_t end) {
    auto it = reservations_.lower_bound(end);
    if (it == reservations_.begin()) return false;
    --it;
    return it->first + it->second.size > begin;
  }

  void Add(uintptr_t base, uintptr_t size, DWORD state) {
    reservations_.emplace(base, Reservation{size, PageStates(size / PageSize(), state)});
  }

  void Remove(uintptr_t base) { reservations_.erase(base); }

 private:
  std::map<uintptr_t, Reservation> reservations_;
};

AddressSpace &Space() noexcept {
  static AddressSpace *space = new AddressSpace;
  return *space;
}

LPVOID Fail(DWORD error) noexcept {
  SetLastError(error);
  return nullptr;
}

BOOL FailBool(DWORD error) noexcept {
  SetLastError(error);
  return FALSE;
}

void *MapReserved(void *hint, uintptr_t size) noexcept {
  void *p = mmap(hint, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return p == MAP_FAILED ? nullptr : p;
}

// A reservation this large starts at a multiple of the huge-page size and may be backed by huge
// pages: a buffer that grows into fresh regions then takes one fault per 2 MiB instead of one per
// page, which is most of the cost of filling it.
constexpr uintptr_t kHugePage = 2 * 1024 * 1024;

// A new reservation of `size` bytes (a multiple of the page) at a multiple of 64 KiB (of 2 MiB for
// large ones): map enough to contain an aligned range, then give back the ends.
void *ReserveAnywhere(uintptr_t size) noexcept {
  const uintptr_t alignment = size >= kHugePage ? kHugePage : kAllocationGranularity;
  const uintptr_t slack = alignment - PageSize();
  if (size > UINTPTR_MAX - slack) return nullptr;
  void *p = MapReserved(nullptr, size + slack);
  if (!p) return nullptr;
  const uintptr_t start = reinterpret_cast<uintptr_t>(p);
  const uintptr_t base = (start + alignment - 1) & ~(alignment - 1);
  if (base > start) munmap(p, base - start);
  if (start + size + slack > base + size) {
    munmap(reinterpret_cast<void *>(base + size), start + size + slack - (base + size));
  }
  return reinterpret_cast<void *>(base);
}

// A new reservation exactly at `base`, or null when that range is taken.
void *ReserveAt(uintptr_t base, uintptr_t size) noexcept {
  void *wanted = reinterpret_cast<void *>(base);
  void *p = MapReserved(wanted, size);
  if (p && p != wanted) {
    munmap(p, size);
    errno = EEXIST;
    return nullptr;
  }
  return p;
}

LPVOID Reserve(uintptr_t address, SIZE_T bytes, bool commit, DWORD protect, int prot) {
  uintptr_t base = 0, end;
  if (address) {
    base = RoundDown(address, kAllocationGranularity);
    if (!RoundUp(address + bytes, PageSize(), &end)) return Fail(ERROR_INVALID_PARAMETER);
  } else if (!RoundUp(bytes, PageSize(), &end)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const uintptr_t size = end - base;

  AddressSpace &space = Space();
  std::lock_guard<std::mutex> guard(space.lock);
  if (address && space.Overlaps(base, end)) return Fail(ERROR_INVALID_ADDRESS);
  void *p = address ? ReserveAt(base, size) : ReserveAnywhere(size);
  if (!p) return Fail(errno == EEXIST ? ERROR_INVALID_ADDRESS : ERROR_NOT_ENOUGH_MEMORY);
  if (commit && mprotect(p, size, prot) != 0) {
    munmap(p, size);
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
#if defined(MADV_HUGEPAGE)
  // Advice only: a kernel without huge pages refuses it and nothing changes.
  if (size >= kHugePage) madvise(p, size, MADV_HUGEPAGE);
#endif
  try {
    space.Add(reinterpret_cast<uintptr_t>(p), size, commit ? protect : 0);
  } catch (const std::bad_alloc &) {
    munmap(p, size);
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  return p;
}

// Commits (or, for MEM_RESET, only checks) pages that lie inside one reservation.
LPVOID CommitOrReset(uintptr_t address, SIZE_T bytes, bool reset, DWORD protect, int prot) {
  const uintptr_t page = PageSize();
  const uintptr_t start = RoundDown(address, page);
  uintptr_t end;
  if (!RoundUp(address + bytes, page, &end)) return Fail(ERROR_INVALID_PARAMETER);

  AddressSpace &space = Space();
  std::lock_guard<std::mutex> guard(space.lock);
  uintptr_t base;
  Reservation *reservation = space.Find(start, &base);
  if (!reservation || end - base > reservation->size) return Fail(ERROR_INVALID_ADDRESS);
  if (reset) return reinterpret_cast<LPVOID>(start);

  const size_t first = (start - base) / page, last = (end - base) / page;
  try {
    reservation->pages.Split(first, last);
  } catch (const std::bad_alloc &) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  if (mprotect(reinterpret_cast<void *>(start), end - start, prot) != 0) {
    return Fail(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : qn::posix::Win32ErrorFromErrno(errno));
  }
  reservation->pages.Assign(first, last, protect);
  return reinterpret_cast<LPVOID>(start);
}

}  // namespace

extern "C" {

LPVOID WINAPI VirtualAlloc(LPVOID lpAddress, SIZE_T dwSize, DWORD flAllocationType, DWORD flProtect) {
  constexpr DWORD kKnownTypes = MEM_COMMIT | MEM_RESERVE | MEM_RESET | MEM_TOP_DOWN;
  const DWORD type = flAllocationType & ~MEM_TOP_DOWN;
  const uintptr_t address = reinterpret_cast<uintptr_t>(lpAddress);
  if ((flAllocationType & ~kKnownTypes) || type == 0 || dwSize == 0) return Fail(ERROR_INVALID_PARAMETER);
  if (address > UINTPTR_MAX - dwSize) return Fail(ERROR_INVALID_PARAMETER);
  if (type & MEM_RESET) {
    // MEM_RESET stands alone and needs the address of pages it is to reset.
    if (type != MEM_RESET || !address) return Fail(ERROR_INVALID_PARAMETER);
    return CommitOrReset(address, dwSize, true, 0, PROT_NONE);
  }
  int prot;
  if (!PosixProtection(flProtect, &prot)) return Fail(ERROR_INVALID_PARAMETER);
  // Committing without an address reserves as well, as on Windows.
  if ((type & MEM_RESERVE) || !address) return Reserve(address, dwSize, (type & MEM_COMMIT) != 0, flProtect, prot);
  return CommitOrReset(address, dwSize, false, flProtect, prot);
}

BOOL WINAPI VirtualFree(LPVOID lpAddress, SIZE_T dwSize, DWORD dwFreeType) {
  if (dwFreeType != MEM_RELEASE && dwFreeType != MEM_DECOMMIT) return FailBool(ERROR_INVALID_PARAMETER);
  const uintptr_t page = PageSize();
  const uintptr_t address = reinterpret_cast<uintptr_t>(lpAddress);
  const uintptr_t start = RoundDown(address, page);

  AddressSpace &space = Space();
  std::lock_guard<std::mutex> guard(space.lock);
  uintptr_t base;
  Reservation *reservation = space.Find(start, &base);

  if (dwFreeType == MEM_RELEASE) {
    if (dwSize != 0 || !reservation) return FailBool(ERROR_INVALID_PARAMETER);
    if (start != base) return FailBool(ERROR_INVALID_ADDRESS);
    munmap(reinterpret_cast<void *>(base), reservation->size);
    space.Remove(base);
    return TRUE;
  }

  if (!reservation) return FailBool(ERROR_INVALID_PARAMETER);
  uintptr_t end;
  if (dwSize == 0) {
    // Size 0 decommits the whole reservation, and only from its base.
    if (start != base) return FailBool(ERROR_INVALID_ADDRESS);
    end = base + reservation->size;
  } else if (address > UINTPTR_MAX - dwSize || !RoundUp(address + dwSize, page, &end) ||
             end - base > reservation->size) {
    return FailBool(ERROR_INVALID_PARAMETER);
  }
  const size_t first = (start - base) / page, last = (end - base) / page;
  try {
    reservation->pages.Split(first, last);
  } catch (const std::bad_alloc &) {
    return FailBool(ERROR_NOT_ENOUGH_MEMORY);
  }
  // Fresh pages over the old ones: their memory goes back to the system, and they read as zero
  // when committed again.
  if (mmap(reinterpret_cast<void *>(start), end - start, PROT_NONE,
           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0) == MAP_FAILED) {
    qn::posix::SetLastErrorFromErrno(errno);
    return FALSE;
  }
  reservation->pages.Assign(first, last, 0);
  return TRUE;
}

BOOL WINAPI VirtualProtect(LPVOID lpAddress, SIZE_T dwSize, DWORD flNewProtect, PDWORD lpflOldProtect) {
  int prot;
  if (!PosixProtection(flNewProtect, &prot)) return FailBool(ERROR_INVALID_PARAMETER);
  if (!lpflOldProtect) return FailBool(ERROR_NOACCESS);
  const uintptr_t page = PageSize();
  const uintptr_t address = reinterpret_cast<uintptr_t>(lpAddress);
  const uintptr_t start = RoundDown(address, page);
  // A size of 0 still names the page that holds the address.
  const SIZE_T bytes = dwSize ? dwSize : 1;
  uintptr_t end;
  if (address > UINTPTR_MAX - bytes || !RoundUp(address + bytes, page, &end)) {
    return FailBool(ERROR_INVALID_PARAMETER);
  }

  AddressSpace &space = Space();
  std::lock_guard<std::mutex> guard(space.lock);
  uintptr_t base;
  Reservation *reservation = space.Find(start, &base);
  if (!reservation) return FailBool(ERROR_INVALID_PARAMETER);
  if (end - base > reservation->size) return FailBool(ERROR_INVALID_PARAMETER);
  const size_t first = (start - base) / page, last = (end - base) / page;
  if (!reservation->pages.AllCommitted(first, last)) return FailBool(ERROR_INVALID_ADDRESS);
  try {
    reservation->pages.Split(first, last);
  } catch (const std::bad_alloc &) {
    return FailBool(ERROR_NOT_ENOUGH_MEMORY);
  }
  if (mprotect(reinterpret_cast<void *>(start), end - start, prot) != 0) {
    qn::posix::SetLastErrorFromErrno(errno);
    return FALSE;
  }
  *lpflOldProtect = reservation->pages.At(first);
  reservation->pages.Assign(first, last, flNewProtect);
  return TRUE;
}

}  // extern "C"
