// GetCurrentProcess and DuplicateHandle: more handles to the objects of the one handle table.
#include "internal/handles.h"

namespace {

// The current process, by its pseudo-handle or by a real handle to it.
bool NamesThisProcess(HANDLE hProcess) {
  const qn::posix::ObjectPtr object = qn::posix::LookupHandle(hProcess);
  return object && object->Kind() == qn::posix::ObjectKind::Process;
}

}  // namespace

extern "C" {

HANDLE WINAPI GetCurrentProcess(void) { return INVALID_HANDLE_VALUE; }

BOOL WINAPI DuplicateHandle(HANDLE hSourceProcessHandle, HANDLE hSourceHandle, HANDLE hTargetProcessHandle,
                            LPHANDLE lpTargetHandle, DWORD, BOOL, DWORD dwOptions) {
  BOOL ok = FALSE;
  if (!NamesThisProcess(hSourceProcessHandle) || !NamesThisProcess(hTargetProcessHandle)) {
    SetLastError(ERROR_INVALID_HANDLE);
  } else if (lpTargetHandle == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
  } else if (qn::posix::ObjectPtr object = qn::posix::LookupHandle(hSourceHandle)) {
    const HANDLE duplicate = qn::posix::RegisterHandle(std::move(object));
    if (duplicate != nullptr) {
      *lpTargetHandle = duplicate;
      ok = TRUE;
    }
  }
  if (dwOptions & DUPLICATE_CLOSE_SOURCE) {
    const DWORD error = GetLastError();
    CloseHandle(hSourceHandle);
    SetLastError(error);
  }
  return ok;
}

}  // extern "C"
