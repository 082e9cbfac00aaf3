// Files: CreateFileW and the sharing record of the process, reading, writing, positions, sizes, and
// the names of the file system (delete, directories, attributes).
// 64-bit offsets on 32-bit systems too: files and positions of 4 GiB and more.
#define _FILE_OFFSET_BITS 64

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <vector>

#include "internal/errors.h"
#include "internal/files.h"
#include "internal/pathconv.h"

namespace qn::posix {
namespace {

// ---- Sharing ---------------------------------------------------------------------------------

// Every open file object of the process that takes part in sharing. Opens and deletions judge and
// change it under one lock, so that two threads cannot both be granted conflicting opens.
std::mutex g_sharingLock;
std::vector<const FileObject *> g_openFiles;
// Files with live mappings, once per mapping; under g_sharingLock too.
std::vector<std::pair<uint64_t, uint64_t>> g_mappedFiles;

bool IsMapped(const struct stat &st) noexcept {
  return std::find(g_mappedFiles.begin(), g_mappedFiles.end(),
                   std::make_pair(static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino))) != g_mappedFiles.end();
}

// Windows' rule, both ways: what the new open asks for must be shared by each existing one, and
// what each existing one holds must be shared by the new open.
bool Conflicts(const FileAccess &wanted, DWORD share, const FileObject &open) noexcept {
  const FileAccess &held = open.Access();
  const DWORD heldShare = open.ShareMode();
  if ((wanted.read || wanted.execute) && !(heldShare & FILE_SHARE_READ)) return true;
  if (wanted.write && !(heldShare & FILE_SHARE_WRITE)) return true;
  if (wanted.remove && !(heldShare & FILE_SHARE_DELETE)) return true;
  if ((held.read || held.execute) && !(share & FILE_SHARE_READ)) return true;
  if (held.write && !(share & FILE_SHARE_WRITE)) return true;
  if (held.remove && !(share & FILE_SHARE_DELETE)) return true;
  return false;
}

// Under g_sharingLock.
bool SharingAllows(const struct stat &st, const FileAccess &wanted, DWORD share) noexcept {
  if (!wanted.Shares()) return true;
  for (const FileObject *open : g_openFiles) {
    if (open->Device() == st.st_dev && open->Inode() == st.st_ino && Conflicts(wanted, share, *open)) return false;
  }
  return true;
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

FileAccess DeleteAccess() noexcept {
  FileAccess access;
  access.remove = true;
  return access;
}

FileAccess AccessOf(DWORD desired) noexcept {
  FileAccess access;
  access.read = (desired & (GENERIC_READ | GENERIC_ALL | FILE_READ_DATA)) != 0;
  access.write = (desired & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0;
  access.execute = (desired & (GENERIC_EXECUTE | FILE_EXECUTE)) != 0;
  access.remove = (desired & (GENERIC_ALL | DELETE)) != 0;
  return access;
}

// ---- Errors ----------------------------------------------------------------------------------

bool IsDirectoryPath(const std::string &path) noexcept {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The directory that would hold the last component of a path ("." for a bare name).
std::string ParentOf(const std::string &path) {
  size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  const size_t slash = path.rfind('/', end - 1);
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

// Windows tells a missing file (its directory is there) from a missing path (a directory on the
// way is missing or is a file); POSIX says ENOENT or ENOTDIR for either.
DWORD ErrorForPath(const std::string &path, int err) {
  if (err == ENOTDIR) {
    // "file\\" names a file as if it were a directory: Windows calls the name itself invalid.
    struct stat st;
    if (path.size() > 1 && path.back() == '/' && stat(path.substr(0, path.find_last_not_of('/') + 1).c_str(), &st) == 0 &&
        !S_ISDIR(st.st_mode)) {
      return ERROR_INVALID_NAME;
    }
    return ERROR_PATH_NOT_FOUND;
  }
  if (err == ENOENT) {
    if (path.empty()) return ERROR_PATH_NOT_FOUND;
    return IsDirectoryPath(ParentOf(path)) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
  }
  return Win32ErrorFromErrno(err);
}

bool IsReadOnly(const struct stat &st) noexcept { return !S_ISDIR(st.st_mode) && !(st.st_mode & S_IWUSR); }

template <class T>
T Fail(DWORD error, T answer) noexcept {
  SetLastError(error);
  return answer;
}

bool Fail(DWORD error) noexcept { return Fail(error, false); }

// ---- Opening ---------------------------------------------------------------------------------

struct OpenResult {
  int fd = -1;
  bool existed = false;
  DWORD error = ERROR_SUCCESS;
};

// Opens or creates by the disposition, telling whether the file was there before. Directories are
// opened read-only (a descriptor for attributes), since POSIX refuses them any other way.
OpenResult OpenByDisposition(const std::string &path, int accessFlags, DWORD disposition, mode_t mode,
                             bool backupSemantics) {
  OpenResult r;
  const int common = O_CLOEXEC | O_NOCTTY;
  struct stat st;
  const bool there = stat(path.c_str(), &st) == 0;
  if (there && S_ISDIR(st.st_mode)) {
    // Windows opens a directory only for its backup semantics, and never creates or truncates one.
    if (disposition == CREATE_NEW || (backupSemantics && disposition == CREATE_ALWAYS)) {
      r.error = ERROR_FILE_EXISTS;
    } else if (!backupSemantics || disposition == TRUNCATE_EXISTING) {
      r.error = ERROR_ACCESS_DENIED;
    }
    if (r.error != ERROR_SUCCESS) return r;
    r.fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | common);
    r.existed = true;
    if (r.fd < 0) r.error = ErrorForPath(path, errno);
    return r;
  }
  const bool creates = disposition == CREATE_NEW || disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
  // Between the look and the open another process may create or remove the name: try again.
  for (int attempt = 0; attempt < 8; ++attempt) {
    if (creates) {
      r.fd = open(path.c_str(), accessFlags | common | O_CREAT | O_EXCL, mode);
      if (r.fd >= 0) {
        r.existed = false;
        return r;
      }
      if (errno != EEXIST) break;
      if (disposition == CREATE_NEW) {
        r.error = ERROR_FILE_EXISTS;
        return r;
      }
    }
    r.fd = open(path.c_str(), accessFlags | common);
    if (r.fd >= 0) {
      r.existed = true;
      return r;
    }
    if (!creates || errno != ENOENT) break;
  }
  r.error = ErrorForPath(path, errno);
  return r;
}

HANDLE OpenFile(LPCWSTR name, DWORD desired, DWORD share, DWORD disposition, DWORD flags) {
  if (name == nullptr) return Fail(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING) return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  const FileAccess access = AccessOf(desired);
  if (flags & FILE_FLAG_OVERLAPPED) return Fail(ERROR_NOT_SUPPORTED, INVALID_HANDLE_VALUE);

  const std::string path = PathToPosix(name);
  int accessFlags = access.write ? (access.read ? O_RDWR : O_WRONLY) : O_RDONLY;
  if (flags & FILE_FLAG_WRITE_THROUGH) accessFlags |= O_DSYNC;
  const mode_t mode = (flags & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;

  std::shared_ptr<FileObject> file;
  bool existed = false;
  {
    std::lock_guard<std::mutex> guard(g_sharingLock);
    const OpenResult r = OpenByDisposition(path, accessFlags, disposition, mode, (flags & FILE_FLAG_BACKUP_SEMANTICS) != 0);
    if (r.fd < 0) return Fail(r.error, INVALID_HANDLE_VALUE);
    existed = r.existed;
    // Both dispositions cut the file even for a handle that may only read it (Wine does; CREATE_ALWAYS
    // for reading is how a caller asks for a fresh, empty file to read).
    const bool truncates = existed && (disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING);
    struct stat st;
    DWORD error = ERROR_SUCCESS;
    if (fstat(r.fd, &st) != 0) {
      error = Win32ErrorFromErrno(errno);
    } else if (existed && (access.write || truncates) && IsReadOnly(st)) {
      error = ERROR_ACCESS_DENIED;
    } else if (existed && !SharingAllows(st, access, share)) {
      error = ERROR_SHARING_VIOLATION;
    } else if (truncates && st.st_size > 0 && IsMapped(st)) {
      error = ERROR_USER_MAPPED_FILE;
    } else if (truncates && (access.write ? ftruncate(r.fd, 0) : truncate(path.c_str(), 0)) != 0) {
      error = Win32ErrorFromErrno(errno);
    }
    if (error != ERROR_SUCCESS) {
      close(r.fd);
      return Fail(error, INVALID_HANDLE_VALUE);
    }
    if (flags & FILE_FLAG_SEQUENTIAL_SCAN) posix_fadvise(r.fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    if (flags & FILE_FLAG_RANDOM_ACCESS) posix_fadvise(r.fd, 0, 0, POSIX_FADV_RANDOM);
    try {
      g_openFiles.reserve(g_openFiles.size() + 1);
      file = std::make_shared<FileObject>(r.fd, st.st_dev, st.st_ino, access, share, S_ISDIR(st.st_mode),
                                          (flags & FILE_FLAG_DELETE_ON_CLOSE) ? path : std::string());
    } catch (const std::bad_alloc &) {
      close(r.fd);
      if (!existed) unlink(path.c_str());
      return Fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
    }
  }
  const HANDLE handle = RegisterHandle(file);
  if (handle == nullptr) return INVALID_HANDLE_VALUE;
  SetLastError(existed && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS) ? ERROR_ALREADY_EXISTS
                                                                                      : ERROR_SUCCESS);
  return handle;
}

// The open file behind a handle; null with ERROR_INVALID_HANDLE for anything else.
std::shared_ptr<FileObject> FileOf(HANDLE handle) noexcept { return LookupHandleAs<FileObject>(handle); }

// The new position of a move, or -1 with the last error set.
int64_t MovePosition(const FileObject &file, int64_t distance, DWORD method) noexcept {
  int64_t base = 0;
  if (method == FILE_CURRENT) {
    base = lseek(file.Fd(), 0, SEEK_CUR);
  } else if (method == FILE_END) {
    struct stat st;
    base = fstat(file.Fd(), &st) == 0 ? st.st_size : -1;
  } else if (method != FILE_BEGIN) {
    return Fail(ERROR_INVALID_PARAMETER, int64_t{-1});
  }
  if (base < 0) return Fail(Win32ErrorFromErrno(errno), int64_t{-1});
  if (distance > 0 && base > INT64_MAX - distance) return Fail(ERROR_INVALID_PARAMETER, int64_t{-1});
  const int64_t target = base + distance;
  if (target < 0) return Fail(ERROR_NEGATIVE_SEEK, int64_t{-1});
  return target;
}

bool Seek(const FileObject &file, int64_t position) noexcept {
  if (lseek(file.Fd(), position, SEEK_SET) < 0) return Fail(Win32ErrorFromErrno(errno));
  return true;
}

bool SizeOf(HANDLE handle, uint64_t *size) noexcept {
  const std::shared_ptr<FileObject> file = FileOf(handle);
  if (!file) return false;
  struct stat st;
  if (fstat(file->Fd(), &st) != 0) return Fail(Win32ErrorFromErrno(errno));
  *size = static_cast<uint64_t>(st.st_size);
  return true;
}

// DeleteFileW: Windows refuses directories and read-only files, and judges sharing as an open for
// delete that shares everything.
bool DeleteName(const std::string &path) {
  std::lock_guard<std::mutex> guard(g_sharingLock);
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return Fail(ErrorForPath(path, errno));
  if (S_ISDIR(st.st_mode) || (S_ISREG(st.st_mode) && IsReadOnly(st))) return Fail(ERROR_ACCESS_DENIED);
  if (!SharingAllows(st, DeleteAccess(), kShareAll)) return Fail(ERROR_SHARING_VIOLATION);
  if (unlink(path.c_str()) != 0) return Fail(ErrorForPath(path, errno));
  return true;
}

// RemoveDirectoryW: an empty directory that no handle holds without FILE_SHARE_DELETE.
bool RemoveDirectoryName(const std::string &path) {
  std::lock_guard<std::mutex> guard(g_sharingLock);
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return Fail(ErrorForPath(path, errno));
  if (!S_ISDIR(st.st_mode)) return Fail(ERROR_DIRECTORY);
  if (!SharingAllows(st, DeleteAccess(), kShareAll)) return Fail(ERROR_SHARING_VIOLATION);
  if (rmdir(path.c_str()) == 0) return true;
  if (errno == EEXIST || errno == ENOTEMPTY) return Fail(ERROR_DIR_NOT_EMPTY);
  return Fail(ErrorForPath(path, errno));
}

// The answer of a service on a path: Windows reads a null path as a missing one; the conversion
// may run out of memory.
template <class T, class Service>
T WithPath(LPCWSTR name, T failure, Service service) noexcept {
  if (name == nullptr) return Fail(ERROR_PATH_NOT_FOUND, failure);
  try {
    return service(PathToPosix(name));
  } catch (const std::bad_alloc &) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, failure);
  }
}

bool CutOrExtend(const FileObject &file) noexcept {
  std::lock_guard<std::mutex> guard(g_sharingLock);
  const off_t position = lseek(file.Fd(), 0, SEEK_CUR);
  struct stat st;
  if (position < 0 || fstat(file.Fd(), &st) != 0) return Fail(Win32ErrorFromErrno(errno));
  if (position < st.st_size && IsMapped(st)) return Fail(ERROR_USER_MAPPED_FILE);
  if (ftruncate(file.Fd(), position) != 0) return Fail(Win32ErrorFromErrno(errno));
  return true;
}

}  // namespace

bool NoteMappedFile(uint64_t device, uint64_t inode, bool mapped) noexcept {
  std::lock_guard<std::mutex> guard(g_sharingLock);
  const auto key = std::make_pair(device, inode);
  if (mapped) {
    try {
      g_mappedFiles.push_back(key);
    } catch (const std::bad_alloc &) {
      return false;
    }
  } else {
    const auto it = std::find(g_mappedFiles.begin(), g_mappedFiles.end(), key);
    if (it != g_mappedFiles.end()) g_mappedFiles.erase(it);
  }
  return true;
}

FileObject::FileObject(int fd, uint64_t device, uint64_t inode, FileAccess access, DWORD shareMode, bool directory,
                       std::string deleteOnClose)
    : KernelObject(kKind),
      fd_(fd),
      device_(device),
      inode_(inode),
      access_(access),
      shareMode_(shareMode),
      directory_(directory),
      deleteOnClose_(std::move(deleteOnClose)) {
  // The caller holds g_sharingLock and has made room.
  if (access_.Shares()) g_openFiles.push_back(this);
}

FileObject::~FileObject() {
  {
    std::lock_guard<std::mutex> guard(g_sharingLock);
    g_openFiles.erase(std::remove(g_openFiles.begin(), g_openFiles.end(), this), g_openFiles.end());
    if (!deleteOnClose_.empty()) unlink(deleteOnClose_.c_str());
  }
  close(fd_);
}

}  // namespace qn::posix

using qn::posix::Fail;
using qn::posix::FileObject;
using qn::posix::FileOf;
using qn::posix::Win32ErrorFromErrno;

extern "C" {

HANDLE WINAPI CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode, struct _SECURITY_ATTRIBUTES *,
                          DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes, HANDLE) {
  try {
    return qn::posix::OpenFile(lpFileName, dwDesiredAccess, dwShareMode, dwCreationDisposition, dwFlagsAndAttributes);
  } catch (const std::bad_alloc &) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  }
}

BOOL WINAPI ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, LPDWORD lpNumberOfBytesRead,
                     LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesRead != nullptr) *lpNumberOfBytesRead = 0;
  const std::shared_ptr<FileObject> file = FileOf(hFile);
  if (!file) return FALSE;
  if (lpOverlapped != nullptr) return Fail(ERROR_NOT_SUPPORTED);
  if (!file->Access().read) return Fail(ERROR_ACCESS_DENIED);
  if (file->IsDirectory()) return Fail(ERROR_INVALID_FUNCTION);
  DWORD done = 0;
  while (done < nNumberOfBytesToRead) {
    const ssize_t n = read(file->Fd(), static_cast<char *>(lpBuffer) + done, nNumberOfBytesToRead - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      if (lpNumberOfBytesRead != nullptr) *lpNumberOfBytesRead = done;
      return Fail(Win32ErrorFromErrno(errno));
    }
    if (n == 0) break;
    done += static_cast<DWORD>(n);
  }
  if (lpNumberOfBytesRead != nullptr) *lpNumberOfBytesRead = done;
  return TRUE;
}

BOOL WINAPI WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite, LPDWORD lpNumberOfBytesWritten,
                      LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesWritten != nullptr) *lpNumberOfBytesWritten = 0;
  const std::shared_ptr<FileObject> file = FileOf(hFile);
  if (!file) return FALSE;
  if (lpOverlapped != nullptr) return Fail(ERROR_NOT_SUPPORTED);
  if (!file->Access().write) return Fail(ERROR_ACCESS_DENIED);
  if (file->IsDirectory()) return Fail(ERROR_INVALID_FUNCTION);
  DWORD done = 0;
  while (done < nNumberOfBytesToWrite) {
    const ssize_t n = write(file->Fd(), static_cast<const char *>(lpBuffer) + done, nNumberOfBytesToWrite - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (lpNumberOfBytesWritten != nullptr) *lpNumberOfBytesWritten = done;
      return Fail(n == 0 ? ERROR_DISK_FULL : Win32ErrorFromErrno(errno));
    }
    done += static_cast<DWORD>(n);
  }
  if (lpNumberOfBytesWritten != nullptr) *lpNumberOfBytesWritten = done;
  return TRUE;
}

DWORD WINAPI SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh, DWORD dwMoveMethod) {
  const std::shared_ptr<FileObject> file = FileOf(hFile);
  if (!file) return INVALID_SET_FILE_POINTER;
  const int64_t distance = lpDistanceToMoveHigh != nullptr
                               ? static_cast<int64_t>(static_cast<uint64_t>(static_cast<DWORD>(*lpDistanceToMoveHigh)) << 32 |
                                                      static_cast<DWORD>(lDistanceToMove))
                               : static_cast<int64_t>(lDistanceToMove);
  const int64_t target = qn::posix::MovePosition(*file, distance, dwMoveMethod);
  if (target < 0) return INVALID_SET_FILE_POINTER;
  if (lpDistanceToMoveHigh == nullptr && target > static_cast<int64_t>(UINT32_MAX)) {
    return Fail(ERROR_INVALID_PARAMETER, INVALID_SET_FILE_POINTER);
  }
  if (!qn::posix::Seek(*file, target)) return INVALID_SET_FILE_POINTER;
  if (lpDistanceToMoveHigh != nullptr) *lpDistanceToMoveHigh = static_cast<LONG>(static_cast<uint64_t>(target) >> 32);
  if (static_cast<DWORD>(target) == INVALID_SET_FILE_POINTER) SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(target);
}

BOOL WINAPI SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove, PLARGE_INTEGER lpNewFilePointer,
                             DWORD dwMoveMethod) {
  const std::shared_ptr<FileObject> file = FileOf(hFile);
  if (!file) return FALSE;
  const int64_t target = qn::posix::MovePosition(*file, liDistanceToMove.QuadPart, dwMoveMethod);
  if (target < 0 || !qn::posix::Seek(*file, target)) return FALSE;
  if (lpNewFilePointer != nullptr) lpNewFilePointer->QuadPart = target;
  return TRUE;
}

DWORD WINAPI GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
  uint64_t size = 0;
  if (!qn::posix::SizeOf(hFile, &size)) return INVALID_FILE_SIZE;
  if (lpFileSizeHigh != nullptr) *lpFileSizeHigh = static_cast<DWORD>(size >> 32);
  if (static_cast<DWORD>(size) == INVALID_FILE_SIZE) SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(size);
}

BOOL WINAPI GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) {
  uint64_t size = 0;
  if (!qn::posix::SizeOf(hFile, &size)) return FALSE;
  if (lpFileSize == nullptr) return Fail(ERROR_NOACCESS);
  lpFileSize->QuadPart = static_cast<LONGLONG>(size);
  return TRUE;
}

BOOL WINAPI SetEndOfFile(HANDLE hFile) {
  const std::shared_ptr<FileObject> file = FileOf(hFile);
  if (!file) return FALSE;
  if (!file->Access().write) return Fail(ERROR_ACCESS_DENIED);
  return qn::posix::CutOrExtend(*file);
}

BOOL WINAPI FlushFileBuffers(HANDLE hFile) {
  const std::shared_ptr<FileObject> file = FileOf(hFile);
  if (!file) return FALSE;
  if (!file->Access().write) return Fail(ERROR_ACCESS_DENIED);
  if (fsync(file->Fd()) != 0 && errno != EINVAL) return Fail(Win32ErrorFromErrno(errno));
  return TRUE;
}

}  // extern "C"

extern "C" {

BOOL WINAPI DeleteFileW(LPCWSTR lpFileName) {
  return qn::posix::WithPath(lpFileName, FALSE, [](const std::string &path) -> BOOL { return qn::posix::DeleteName(path); });
}

BOOL WINAPI CreateDirectoryW(LPCWSTR lpPathName, struct _SECURITY_ATTRIBUTES *) {
  return qn::posix::WithPath(lpPathName, FALSE, [](const std::string &path) -> BOOL {
    if (mkdir(path.c_str(), 0777) == 0) return TRUE;
    // EEXIST comes before a missing parent is noticed, so it is always ERROR_ALREADY_EXISTS.
    return Fail(errno == ENOENT || errno == ENOTDIR ? ERROR_PATH_NOT_FOUND : Win32ErrorFromErrno(errno));
  });
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR lpPathName) {
  return qn::posix::WithPath(lpPathName, FALSE,
                             [](const std::string &path) -> BOOL { return qn::posix::RemoveDirectoryName(path); });
}

DWORD WINAPI GetFileAttributesW(LPCWSTR lpFileName) {
  return qn::posix::WithPath(lpFileName, INVALID_FILE_ATTRIBUTES, [](const std::string &path) -> DWORD {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return Fail(qn::posix::ErrorForPath(path, errno), INVALID_FILE_ATTRIBUTES);
    if (S_ISDIR(st.st_mode)) return FILE_ATTRIBUTE_DIRECTORY;
    return FILE_ATTRIBUTE_ARCHIVE | (qn::posix::IsReadOnly(st) ? FILE_ATTRIBUTE_READONLY : 0);
  });
}

BOOL WINAPI SetFileAttributesW(LPCWSTR lpFileName, DWORD dwFileAttributes) {
  return qn::posix::WithPath(lpFileName, FALSE, [dwFileAttributes](const std::string &path) -> BOOL {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return Fail(qn::posix::ErrorForPath(path, errno));
    if (S_ISDIR(st.st_mode)) return TRUE;
    mode_t mode = st.st_mode & 07777;
    mode = (dwFileAttributes & FILE_ATTRIBUTE_READONLY) ? (mode & ~0222) : (mode | S_IWUSR);
    if (chmod(path.c_str(), mode) != 0) return Fail(Win32ErrorFromErrno(errno));
    return TRUE;
  });
}

}  // extern "C"
