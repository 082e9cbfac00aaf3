// The holder of one open registry key inside a registry operation: the key is closed when the
// holder goes, so no path out of an operation (an early return, an exception) leaves it open.
#pragma once

#include "qnutil/win32.h"

namespace qnreg {

class KeyHolder {
 public:
  KeyHolder() : m_hkey(NULL) {}
  ~KeyHolder() { Close(); }
  KeyHolder(const KeyHolder &) = delete;
  KeyHolder &operator=(const KeyHolder &) = delete;

  // RegOpenKeyExW into this (empty) holder; the platform's result.
  LONG Open(HKEY hkeyRoot, const unsigned short *pwszPath, REGSAM samDesired) {
    return RegOpenKeyExW(hkeyRoot, qn::AsW(pwszPath), 0, samDesired, &m_hkey);
  }
  // RegCreateKeyExW (no class, non-volatile, default security) into this (empty) holder.
  LONG Create(HKEY hkeyRoot, const unsigned short *pwszPath, REGSAM samDesired) {
    return RegCreateKeyExW(hkeyRoot, qn::AsW(pwszPath), 0, NULL, REG_OPTION_NON_VOLATILE, samDesired,
                           NULL, &m_hkey, NULL);
  }
  // Closes the key, if any, and leaves the holder empty; the platform's result (ERROR_SUCCESS when
  // there was nothing to close).
  LONG Close() {
    if (m_hkey == NULL) return ERROR_SUCCESS;
    HKEY hkey = m_hkey;
    m_hkey = NULL;
    return RegCloseKey(hkey);
  }

  operator HKEY() const { return m_hkey; }

 private:
  HKEY m_hkey;
};

}  // namespace qnreg
