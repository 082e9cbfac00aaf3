// The pointer tests: whether memory can be read or written, answered without touching it.
//
// IsBadReadPtr and IsBadWritePtr read the process's memory map (/proc/self/maps, which qemu-user
// also provides for its guest) and check that the range is covered, without a gap, by mappings
// with the access asked for. The string tests must look at the characters to find the terminator:
// they have the kernel copy the text out page by page (process_vm_readv on the process itself, or
// a pipe where that call is missing, as under qemu-user), which answers EFAULT for memory that
// cannot be read instead of faulting. So none of them faults, whatever the memory is, and memory
// that other threads map and unmap meanwhile can only change the answer, not crash the caller.
//
// Limits: the answer describes the memory at the time of the look; as on Windows, it may be out of
// date by the time the caller uses the memory. Where /proc is not mounted, IsBadWritePtr can only
// tell whether the memory can be read.
#include <errno.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "qnutil/posix/windows.h"

namespace {

uintptr_t PageSize() noexcept {
  static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  return size;
}

// Reads /proc/self/maps one mapping at a time, without allocating: a fixed buffer that keeps the
// unread tail of the last read, and skips the rest of a line too long for it (only the first
// fields matter).
class MapsReader {
 public:
  MapsReader() noexcept : fd_(open("/proc/self/maps", O_RDONLY | O_CLOEXEC)) {}
  ~MapsReader() {
    if (fd_ >= 0) close(fd_);
  }
  MapsReader(const MapsReader &) = delete;
  MapsReader &operator=(const MapsReader &) = delete;

  bool ok() const noexcept { return fd_ >= 0; }

  // The next mapping: [*begin, *end) with its "rwxp" permission field in perms[0..3].
  bool Next(uintptr_t *begin, uintptr_t *end, char perms[4]) noexcept {
    for (;;) {
      char *line = buf_ + pos_;
      char *newline = static_cast<char *>(memchr(line, '\n', len_ - pos_));
      if (!newline) {
        if (!Refill()) return false;
        continue;
      }
      pos_ = static_cast<size_t>(newline - buf_) + 1;
      if (ParseLine(line, newline, begin, end, perms)) return true;
    }
  }

 private:
  // Moves the unread tail to the front and reads more; a line longer than the buffer is cut to
  // its head, and the rest of it is dropped.
  bool Refill() noexcept {
    size_t tail = len_ - pos_;
    if (tail == sizeof(buf_)) {
      buf_[sizeof(buf_) - 1] = '\n';
      skipping_ = true;
      return true;
    }
    memmove(buf_, buf_ + pos_, tail);
    pos_ = 0;
    len_ = tail;
    ssize_t got;
    do {
      got = read(fd_, buf_ + len_, sizeof(buf_) - len_);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return false;
    if (skipping_) {
      // Drop what is left of the long line.
      char *newline = static_cast<char *>(memchr(buf_ + len_, '\n', static_cast<size_t>(got)));
      if (!newline) return true;
      size_t keep = static_cast<size_t>(buf_ + len_ + got - (newline + 1));
      memmove(buf_, newline + 1, keep);
      len_ = keep;
      skipping_ = false;
      return true;
    }
    len_ += static_cast<size_t>(got);
    return true;
  }

  static bool ParseHex(const char *&p, const char *limit, uintptr_t *value) noexcept {
    uintptr_t v = 0;
    const char *start = p;
    for (; p < limit; ++p) {
      int digit;
      if (*p >= '0' && *p <= '9') {
        digit = *p - '0';
      } else if (*p >= 'a' && *p <= 'f') {
        digit = *p - 'a' + 10;
      } else {
        break;
      }
      v = v * 16 + static_cast<uintptr_t>(digit);
    }
    *value = v;
    return p > start;
  }

  // "begin-end perms offset dev inode path"
  static bool ParseLine(const char *p, const char *limit, uintptr_t *begin, uintptr_t *end, char perms[4]) noexcept {
    if (!ParseHex(p, limit, begin) || p >= limit || *p++ != '-') return false;
    if (!ParseHex(p, limit, end) || p >= limit || *p++ != ' ') return false;
    if (limit - p < 4) return false;
    memcpy(perms, p, 4);
    return true;
  }

  int fd_;
  size_t pos_ = 0;
  size_t len_ = 0;
  bool skipping_ = false;
  char buf_[4096];
};

// Copies bytes that may not be readable, through the kernel: false when any of them cannot be
// read. The bytes lie within one page, so the copy is all or nothing.
bool CopyIfReadable(void *to, uintptr_t from, size_t bytes) noexcept {
  static std::atomic<bool> noProcessVmRead{false};
  if (!noProcessVmRead.load(std::memory_order_relaxed)) {
    iovec local{to, bytes};
    iovec remote{reinterpret_cast<void *>(from), bytes};
    ssize_t got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (got >= 0) return static_cast<size_t>(got) == bytes;
    if (errno == EFAULT) return false;
    // Missing (qemu-user) or forbidden (a seccomp policy): the pipe serves as well.
    noProcessVmRead.store(true, std::memory_order_relaxed);
  }
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return false;
  // At most a page: it fits an empty pipe, so neither call blocks.
  ssize_t written, got = -1;
  do {
    written = write(fds[1], reinterpret_cast<const void *>(from), bytes);
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(bytes)) {
    do {
      got = read(fds[0], to, bytes);
    } while (got < 0 && errno == EINTR);
  }
  close(fds[0]);
  close(fds[1]);
  return got == static_cast<ssize_t>(bytes);
}

enum class Access { Read, Write };

// Without the memory map (no /proc mounted), one byte of every page is copied through the kernel
// instead: exact for reading, and for writing it can only tell that the memory is there.
bool RangeReadableByCopy(uintptr_t begin, uintptr_t end) noexcept {
  unsigned char byte;
  for (uintptr_t at = begin; at < end; at = (at | (PageSize() - 1)) + 1) {
    if (!CopyIfReadable(&byte, at, 1)) return false;
    if ((at | (PageSize() - 1)) == UINTPTR_MAX) break;
  }
  return true;
}

// Whether [begin, end) lies in mappings that all allow the access, with no gap between them.
bool RangeAllows(uintptr_t begin, uintptr_t end, Access access) noexcept {
  MapsReader maps;
  if (!maps.ok()) return RangeReadableByCopy(begin, end);
  const int field = access == Access::Read ? 0 : 1;
  const char flag = access == Access::Read ? 'r' : 'w';
  uintptr_t covered = begin;  // every byte below this has been found accessible
  uintptr_t mapBegin, mapEnd;
  char perms[4];
  while (maps.Next(&mapBegin, &mapEnd, perms)) {
    if (mapEnd <= covered) continue;
    if (mapBegin > covered || perms[field] != flag) return false;
    covered = mapEnd;
    if (covered >= end) return true;
  }
  return false;
}

BOOL IsBadRange(const void *p, UINT_PTR bytes, Access access) noexcept {
  if (bytes == 0) return FALSE;
  const uintptr_t begin = reinterpret_cast<uintptr_t>(p);
  if (begin == 0 || bytes > UINTPTR_MAX - begin) return TRUE;
  return !RangeAllows(begin, begin + bytes, access);
}

// Walks the text a page at a time, until the terminator, maxUnits code units, or memory that
// cannot be read. A code unit may straddle a page boundary, so units are assembled byte by byte.
template <class Unit>
BOOL IsBadString(const Unit *text, UINT_PTR maxUnits) noexcept {
  if (!text) return TRUE;
  uintptr_t at = reinterpret_cast<uintptr_t>(text);
  UINT_PTR unitsLeft = maxUnits;
  unsigned char partial[sizeof(Unit)];
  size_t partialBytes = 0;
  unsigned char chunk[4096];
  while (unitsLeft > 0) {
    const uintptr_t toPageEnd = PageSize() - (at & (PageSize() - 1));
    const uintptr_t bytesLeft =
        unitsLeft > (UINTPTR_MAX - partialBytes) / sizeof(Unit) ? UINTPTR_MAX : unitsLeft * sizeof(Unit) - partialBytes;
    const size_t bytes = static_cast<size_t>(std::min<uintptr_t>({toPageEnd, bytesLeft, sizeof(chunk)}));
    if (bytes > UINTPTR_MAX - at) return TRUE;  // the text would run past the top of memory
    if (!CopyIfReadable(chunk, at, bytes)) return TRUE;
    for (size_t i = 0; i < bytes; ++i) {
      partial[partialBytes++] = chunk[i];
      if (partialBytes < sizeof(Unit)) continue;
      partialBytes = 0;
      Unit unit;
      memcpy(&unit, partial, sizeof(Unit));
      if (unit == 0 || --unitsLeft == 0) return FALSE;
    }
    at += bytes;
  }
  return FALSE;
}

}  // namespace

extern "C" {

BOOL WINAPI IsBadReadPtr(LPCVOID lp, UINT_PTR ucb) { return IsBadRange(lp, ucb, Access::Read); }

BOOL WINAPI IsBadWritePtr(LPVOID lp, UINT_PTR ucb) { return IsBadRange(lp, ucb, Access::Write); }

BOOL WINAPI IsBadStringPtrW(LPCWSTR lpsz, UINT_PTR ucchMax) { return IsBadString(lpsz, ucchMax); }

BOOL WINAPI IsBadStringPtrA(LPCSTR lpsz, UINT_PTR ucchMax) { return IsBadString(lpsz, ucchMax); }

}  // extern "C"
