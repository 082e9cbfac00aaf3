// File mappings: mapping objects in the handle table over an open file or over a memory file of
// their own, and the process's record of views, each of which keeps its mapping alive.
// 64-bit offsets on 32-bit systems too.
#define _FILE_OFFSET_BITS 64

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>
#include <map>
#include <mutex>
#include <new>

#include "internal/errors.h"
#include "internal/files.h"

namespace qn::posix {
namespace {

constexpr uint64_t kAllocationGranularity = 64 * 1024;

class MappingObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::FileMapping;

  // Owns the descriptor: a duplicate of a file's (whose device and inode are noted as mapped, see
  // NoteMappedFile), or a memory file's (device and inode 0).
  MappingObject(int fd, uint64_t device, uint64_t inode, uint64_t size, DWORD protect) noexcept
      : KernelObject(kKind), fd_(fd), device_(device), inode_(inode), size_(size), protect_(protect) {}
  ~MappingObject() override {
    if (inode_ != 0) NoteMappedFile(device_, inode_, false);
    close(fd_);
  }

  int Fd() const noexcept { return fd_; }
  uint64_t Size() const noexcept { return size_; }
  bool Writable() const noexcept { return protect_ == PAGE_READWRITE || protect_ == PAGE_EXECUTE_READWRITE; }
  bool Executable() const noexcept { return protect_ >= PAGE_EXECUTE_READ; }

 private:
  const int fd_;
  const uint64_t device_;
  const uint64_t inode_;
  const uint64_t size_;
  const DWORD protect_;
};

struct View {
  size_t length;
  std::shared_ptr<MappingObject> mapping;
};

// Every view of the process by its base address.
std::mutex g_viewsLock;
std::map<uintptr_t, View> g_views;

template <class T>
T Fail(DWORD error, T answer) noexcept {
  SetLastError(error);
  return answer;
}

// The view holding an address; g_views.end() when none. Under g_viewsLock.
std::map<uintptr_t, View>::iterator ViewAt(uintptr_t address) {
  auto it = g_views.upper_bound(address);
  if (it == g_views.begin()) return g_views.end();
  --it;
  return address - it->first < it->second.length ? it : g_views.end();
}

bool KnownProtection(DWORD protect) noexcept {
  switch (protect) {
    case PAGE_READONLY:
    case PAGE_READWRITE:
    case PAGE_WRITECOPY:
    case PAGE_EXECUTE_READ:
    case PAGE_EXECUTE_READWRITE:
    case PAGE_EXECUTE_WRITECOPY: return true;
    default: return false;
  }
}

HANDLE CreateMapping(HANDLE hFile, DWORD flProtect, uint64_t size) {
  // The high bits are SEC_* attributes of the section, which change nothing here.
  const DWORD protect = flProtect & 0xFF;
  if (!KnownProtection(protect)) return Fail(ERROR_INVALID_PARAMETER, HANDLE{nullptr});
  const bool readWrite = protect == PAGE_READWRITE || protect == PAGE_EXECUTE_READWRITE;

  std::shared_ptr<MappingObject> mapping;
  if (hFile == INVALID_HANDLE_VALUE) {
    if (size == 0) return Fail(ERROR_INVALID_PARAMETER, HANDLE{nullptr});
    const int fd = memfd_create("qnutil-mapping", MFD_CLOEXEC);
    if (fd < 0) return Fail(Win32ErrorFromErrno(errno), HANDLE{nullptr});
    if (ftruncate(fd, static_cast<off_t>(size)) != 0) {
      close(fd);
      return Fail(ERROR_NOT_ENOUGH_MEMORY, HANDLE{nullptr});
    }
    try {
      mapping = std::make_shared<MappingObject>(fd, 0, 0, size, protect);
    } catch (const std::bad_alloc &) {
      close(fd);
      throw;
    }
  } else {
    std::shared_ptr<FileObject> file = LookupHandleAs<FileObject>(hFile);
    if (!file) return nullptr;
    const FileAccess &access = file->Access();
    if (file->IsDirectory() || !access.read || (readWrite && !access.write)) {
      return Fail(ERROR_ACCESS_DENIED, HANDLE{nullptr});
    }
    struct stat st;
    if (fstat(file->Fd(), &st) != 0) return Fail(Win32ErrorFromErrno(errno), HANDLE{nullptr});
    const uint64_t fileSize = static_cast<uint64_t>(st.st_size);
    if (size == 0) size = fileSize;
    if (size == 0) return Fail(ERROR_FILE_INVALID, HANDLE{nullptr});
    if (size > fileSize) {
      if (!readWrite) return Fail(ERROR_NOT_ENOUGH_MEMORY, HANDLE{nullptr});
      if (ftruncate(file->Fd(), static_cast<off_t>(size)) != 0) return Fail(Win32ErrorFromErrno(errno), HANDLE{nullptr});
    }
    // The mapping reads the file through a descriptor of its own, so the file's handles (and the
    // sharing they hold) may close while the mapping lives on.
    const int fd = fcntl(file->Fd(), F_DUPFD_CLOEXEC, 0);
    if (fd < 0) return Fail(Win32ErrorFromErrno(errno), HANDLE{nullptr});
    const uint64_t device = static_cast<uint64_t>(st.st_dev), inode = static_cast<uint64_t>(st.st_ino);
    if (!NoteMappedFile(device, inode, true)) {
      close(fd);
      return Fail(ERROR_NOT_ENOUGH_MEMORY, HANDLE{nullptr});
    }
    try {
      mapping = std::make_shared<MappingObject>(fd, device, inode, size, protect);
    } catch (const std::bad_alloc &) {
      NoteMappedFile(device, inode, false);
      close(fd);
      throw;
    }
  }
  const HANDLE handle = RegisterHandle(std::move(mapping));
  if (handle != nullptr) SetLastError(ERROR_SUCCESS);
  return handle;
}

LPVOID MapView(HANDLE hMapping, DWORD access, uint64_t offset, SIZE_T bytes) {
  std::shared_ptr<MappingObject> mapping = LookupHandleAs<MappingObject>(hMapping);
  if (!mapping) return nullptr;
  if (offset % kAllocationGranularity != 0) return Fail(ERROR_MAPPED_ALIGNMENT, LPVOID{nullptr});
  const bool copy = (access & FILE_MAP_COPY) != 0 && (access & FILE_MAP_ALL_ACCESS) != FILE_MAP_ALL_ACCESS;
  const bool write = !copy && (access & FILE_MAP_WRITE) != 0;
  const bool execute = (access & FILE_MAP_EXECUTE) != 0;
  if ((write && !mapping->Writable()) || (execute && !mapping->Executable())) {
    return Fail(ERROR_ACCESS_DENIED, LPVOID{nullptr});
  }
  const uint64_t size = mapping->Size();
  if (offset >= size) return Fail(ERROR_INVALID_PARAMETER, LPVOID{nullptr});
  uint64_t length = bytes != 0 ? static_cast<uint64_t>(bytes) : size - offset;
  if (length > size - offset) return Fail(ERROR_ACCESS_DENIED, LPVOID{nullptr});
  if (length > SIZE_MAX) return Fail(ERROR_NOT_ENOUGH_MEMORY, LPVOID{nullptr});

  int prot = PROT_READ;
  if (write || copy) prot |= PROT_WRITE;
  if (execute) prot |= PROT_EXEC;
  void *base = mmap(nullptr, static_cast<size_t>(length), prot, copy ? MAP_PRIVATE : MAP_SHARED, mapping->Fd(),
                    static_cast<off_t>(offset));
  if (base == MAP_FAILED) return Fail(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : Win32ErrorFromErrno(errno), LPVOID{nullptr});
  try {
    std::lock_guard<std::mutex> guard(g_viewsLock);
    g_views.emplace(reinterpret_cast<uintptr_t>(base), View{static_cast<size_t>(length), std::move(mapping)});
  } catch (const std::bad_alloc &) {
    munmap(base, static_cast<size_t>(length));
    return Fail(ERROR_NOT_ENOUGH_MEMORY, LPVOID{nullptr});
  }
  return base;
}

bool Unmap(LPCVOID address) noexcept {
  View view;
  uintptr_t base;
  {
    std::lock_guard<std::mutex> guard(g_viewsLock);
    const auto it = ViewAt(reinterpret_cast<uintptr_t>(address));
    if (it == g_views.end()) return Fail(ERROR_INVALID_ADDRESS, false);
    base = it->first;
    view = std::move(it->second);
    g_views.erase(it);
  }
  munmap(reinterpret_cast<void *>(base), view.length);
  // The mapping, and with it perhaps the file, goes here, outside the lock.
  return true;
}

bool Flush(LPCVOID address, SIZE_T bytes) noexcept {
  uintptr_t start;
  size_t length;
  {
    std::lock_guard<std::mutex> guard(g_viewsLock);
    const auto it = ViewAt(reinterpret_cast<uintptr_t>(address));
    if (it == g_views.end()) return Fail(ERROR_INVALID_ADDRESS, false);
    const uintptr_t end = it->first + it->second.length;
    start = reinterpret_cast<uintptr_t>(address);
    length = bytes == 0 || bytes > end - start ? end - start : bytes;
  }
  const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t first = start & ~(page - 1);
  if (msync(reinterpret_cast<void *>(first), length + (start - first), MS_SYNC) != 0) {
    return Fail(Win32ErrorFromErrno(errno), false);
  }
  return true;
}

}  // namespace
}  // namespace qn::posix

extern "C" {

HANDLE WINAPI CreateFileMappingW(HANDLE hFile, struct _SECURITY_ATTRIBUTES *, DWORD flProtect, DWORD dwMaximumSizeHigh,
                                 DWORD dwMaximumSizeLow, LPCWSTR lpName) {
  if (lpName != nullptr) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  try {
    return qn::posix::CreateMapping(hFile, flProtect, static_cast<uint64_t>(dwMaximumSizeHigh) << 32 | dwMaximumSizeLow);
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

LPVOID WINAPI MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                            DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap) {
  return qn::posix::MapView(hFileMappingObject, dwDesiredAccess,
                            static_cast<uint64_t>(dwFileOffsetHigh) << 32 | dwFileOffsetLow, dwNumberOfBytesToMap);
}

BOOL WINAPI UnmapViewOfFile(LPCVOID lpBaseAddress) { return qn::posix::Unmap(lpBaseAddress); }

BOOL WINAPI FlushViewOfFile(LPCVOID lpBaseAddress, SIZE_T dwNumberOfBytesToFlush) {
  return qn::posix::Flush(lpBaseAddress, dwNumberOfBytesToFlush);
}

}  // extern "C"
