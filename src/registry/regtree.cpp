// CopyRegTree: the depth-first copy of a key's values and subkeys, and the guard against a
// destination inside the source tree.

#include "qnutil/registry.h"
#include "qnutil/text.h"
#include "registry/regkey.h"

namespace {

const DWORD kCchName = 512;
const DWORD kCbData = 1024;

HRESULT Fold(LONG error) { return error == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(error)); }

// Writes the key's values into the destination until one cannot be read or written; the rest of
// this key's values are left behind on purpose, without a report.
void CopyValues(HKEY hkeySource, HKEY hkeyDestination) {
  unsigned short wszName[kCchName];
  // Room for one code unit past the data: the platform reads the unit after counted text to
  // decide whether to count a terminator, and a full buffer must not send it past the array.
  BYTE rgbData[kCbData + sizeof(WCHAR)];
  rgbData[kCbData] = rgbData[kCbData + 1] = 0;
  for (DWORD index = 0;; ++index) {
    DWORD cchName = kCchName;
    DWORD cbData = kCbData;
    DWORD type = REG_NONE;
    if (RegEnumValueW(hkeySource, index, qn::AsW(wszName), &cchName, NULL, &type, rgbData, &cbData) !=
        ERROR_SUCCESS)
      return;
    if (RegSetValueExW(hkeyDestination, qn::AsW(wszName), 0, type, rgbData, cbData) != ERROR_SUCCESS) return;
  }
}

HRESULT CopyTree(HKEY hkeySourceRoot, const unsigned short *pwszSourcePath, HKEY hkeyDestinationRoot,
                 const unsigned short *pwszDestinationPath) {
  qnreg::KeyHolder source;
  LONG error = source.Open(hkeySourceRoot, pwszSourcePath, KEY_ALL_ACCESS);
  if (error != ERROR_SUCCESS) return Fold(error);
  qnreg::KeyHolder destination;
  error = destination.Create(hkeyDestinationRoot, pwszDestinationPath, KEY_ALL_ACCESS);
  if (error != ERROR_SUCCESS) return Fold(error);

  CopyValues(source, destination);

  unsigned short wszSubkey[kCchName];
  for (DWORD index = 0;; ++index) {
    error = RegEnumKeyW(source, index, qn::AsW(wszSubkey), kCchName);
    if (error == ERROR_NO_MORE_ITEMS) return S_OK;
    if (error != ERROR_SUCCESS) return Fold(error);
    const HRESULT hr = CopyTree(source, wszSubkey, destination, wszSubkey);
    if (FAILED(hr)) return hr;
  }
}

bool IsEmptyPath(const unsigned short *pwsz) { return pwsz == NULL || *pwsz == 0; }

// Whether the destination path names the source key or a key below it, under the same root.
bool DestinationInsideSource(HKEY hkeySourceRoot, const unsigned short *pwszSourcePath, HKEY hkeyDestinationRoot,
                             const unsigned short *pwszDestinationPath) {
  if (hkeySourceRoot != hkeyDestinationRoot) return false;
  if (IsEmptyPath(pwszSourcePath)) return true;
  if (IsEmptyPath(pwszDestinationPath) || !SubStrCmpi(pwszDestinationPath, pwszSourcePath)) return false;
  DWORD cchSource = 0;
  while (pwszSourcePath[cchSource] != 0) ++cchSource;
  const unsigned short chAfter = pwszDestinationPath[cchSource];
  return chAfter == 0 || chAfter == '\\';
}

}  // namespace

HRESULT CopyRegTree(HKEY hkeySourceRoot, const unsigned short *pwszSourcePath, HKEY hkeyDestinationRoot,
                    const unsigned short *pwszDestinationPath) {
  if (DestinationInsideSource(hkeySourceRoot, pwszSourcePath, hkeyDestinationRoot, pwszDestinationPath))
    return E_INVALIDARG;
  return CopyTree(hkeySourceRoot, pwszSourcePath, hkeyDestinationRoot, pwszDestinationPath);
}
