// FDebugClassEnabled: the library's debug switches, read afresh on every call.

#include "qnutil/registry.h"
#include "registry/regkey.h"

bool FDebugClassEnabled(const unsigned short *pwszName) {
  qnreg::KeyHolder key;
  if (key.Open(HKEY_LOCAL_MACHINE, qn::AsU(u"Software\\Corvanta\\Debug"), KEY_ALL_ACCESS) != ERROR_SUCCESS)
    return false;
  DWORD dw = 0;
  DWORD cb = sizeof(dw);
  // A missing value, or one too long to read as a number, leaves the switch on.
  if (RegQueryValueExW(key, qn::AsW(pwszName), NULL, NULL, reinterpret_cast<BYTE *>(&dw), &cb) != ERROR_SUCCESS)
    return true;
  return dw != 0;
}
