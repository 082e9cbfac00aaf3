// String tables: none exist on POSIX (see resources.h).
#include "qnutil/posix/resources.h"

#include "qnutil/posix/sync.h"
#include "qnutil/posix/winerror.h"

QN_WIN32_API int WINAPI LoadStringW(HINSTANCE, UINT, LPWSTR lpBuffer, int cchBufferMax) {
  if (lpBuffer != nullptr && cchBufferMax > 0) lpBuffer[0] = 0;
  SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
  return 0;
}
