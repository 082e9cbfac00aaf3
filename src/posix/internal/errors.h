// The subset's last-error slot and its one translation from errno to Win32 error codes. Every
// service that fails on a POSIX call reports through here, so that the same errno always reads as
// the same Win32 code.
#pragma once

#include "qnutil/posix/windows.h"

namespace qn::posix {

// The Win32 code that stands for an errno value; 0 for 0. A few errnos mean different things to
// different Win32 calls (EEXIST is ERROR_FILE_EXISTS for CreateFileW(CREATE_NEW) but
// ERROR_ALREADY_EXISTS for CreateDirectoryW): this answers the common reading, and a service that
// needs the other one says so itself.
DWORD Win32ErrorFromErrno(int err) noexcept;

// SetLastError(Win32ErrorFromErrno(err)).
void SetLastErrorFromErrno(int err) noexcept;

}  // namespace qn::posix
