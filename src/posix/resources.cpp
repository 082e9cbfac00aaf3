// String tables: none exist on POSIX (see resources.h).
#include "qnutil/posix/resources.h"

#include "qnutil/posix/sync.h"
#include "qnutil/posix/winerror.h"

QN_WIN32_API int WINAPI LoadStringW(HINSTANCE, UINT, LPWSTR lpBuffer, int) {
  // Windows looks for the module's resources only once it has somewhere to put the text.
  if (lpBuffer != nullptr) SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
  return 0;
}
