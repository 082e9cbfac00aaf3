// The thread-local last error and the errno translation table.
#include <errno.h>

#include "internal/errors.h"

namespace qn::posix {
namespace {

thread_local DWORD t_lastError = ERROR_SUCCESS;

struct ErrnoMapping {
  int err;
  DWORD code;
};

// What Windows answers where POSIX says errno. Several errnos have no exact twin; each maps to the
// code that a Windows caller would test for in the same situation.
constexpr ErrnoMapping kErrnoTable[] = {
    {EPERM, ERROR_ACCESS_DENIED},
    {EACCES, ERROR_ACCESS_DENIED},
    // Opening a directory as a file is access denied on Windows.
    {EISDIR, ERROR_ACCESS_DENIED},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENXIO, ERROR_FILE_NOT_FOUND},
    {ENODEV, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EIO, ERROR_GEN_FAILURE},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    // Mostly "out of some resource" (threads, locked pages); lock conflicts are reported by the
    // file services themselves.
    {EAGAIN, ERROR_NOT_ENOUGH_MEMORY},
    {EFAULT, ERROR_NOACCESS},
    {EBUSY, ERROR_BUSY},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {E2BIG, ERROR_INVALID_PARAMETER},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {ESPIPE, ERROR_SEEK_ON_DEVICE},
    {EROFS, ERROR_WRITE_PROTECT},
    {EMLINK, ERROR_TOO_MANY_LINKS},
    {EPIPE, ERROR_BROKEN_PIPE},
    {ERANGE, ERROR_INSUFFICIENT_BUFFER},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {ENOTSUP, ERROR_NOT_SUPPORTED},
#if EOPNOTSUPP != ENOTSUP
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
#endif
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
    {ETIMEDOUT, ERROR_TIMEOUT},
    {EILSEQ, ERROR_NO_UNICODE_TRANSLATION},
    {EINTR, ERROR_OPERATION_ABORTED},
    {ECANCELED, ERROR_OPERATION_ABORTED},
    {EOVERFLOW, ERROR_ARITHMETIC_OVERFLOW},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
};

}  // namespace

DWORD Win32ErrorFromErrno(int err) noexcept {
  if (err == 0) return ERROR_SUCCESS;
  for (const ErrnoMapping &m : kErrnoTable) {
    if (m.err == err) return m.code;
  }
  // An errno with no Windows reading is still a failure; this is Windows' catch-all.
  return ERROR_GEN_FAILURE;
}

void SetLastErrorFromErrno(int err) noexcept { t_lastError = Win32ErrorFromErrno(err); }

}  // namespace qn::posix

extern "C" {

DWORD WINAPI GetLastError(void) { return qn::posix::t_lastError; }

void WINAPI SetLastError(DWORD dwErrCode) { qn::posix::t_lastError = dwErrCode; }

}  // extern "C"
