// CRegString and CRegDword: registry values read once, at construction, over a caller's default.

#include "qnutil/registry.h"
#include "registry/regkey.h"

namespace {

// Replaces the text by the REG_SZ data of cbStored bytes, terminated inside the block whatever
// the data looks like (see the header's decisions).
void ReadStoredText(HKEY hkey, const unsigned short *pwszValueName, DWORD cbStored, CFixedString &str) {
  const DWORD cchBlock = cbStored / 2 + (cbStored & 1);
  str.ClearSetLength(cchBlock);
  unsigned short *pwsz = str;
  if (cchBlock != 0) pwsz[cchBlock - 1] = 0;  // the high half of an odd last byte
  DWORD type = REG_NONE;
  DWORD cbRead = cbStored;
  if (RegQueryValueExW(hkey, qn::AsW(pwszValueName), NULL, &type, reinterpret_cast<BYTE *>(pwsz), &cbRead) !=
          ERROR_SUCCESS ||
      type != REG_SZ) {
    pwsz[0] = 0;
    return;
  }
  const DWORD cchRead = cbRead / 2;
  for (DWORD i = 0; i < cchRead; ++i) {
    if (pwsz[i] == 0) return;
  }
  if (cchRead < cchBlock) {
    pwsz[cchRead] = 0;
    return;
  }
  // No terminator stored: keep every code unit, in a block with room for one.
  str.CopyLen(pwsz, cchRead + 1);
}

}  // namespace

CRegString::CRegString(HKEY hkeyRoot, const unsigned short *pwszSubkey, const unsigned short *pwszValueName,
                       const unsigned short *pwszDefault)
    : m_str(pwszDefault) {
  qnreg::KeyHolder key;
  if (key.Open(hkeyRoot, pwszSubkey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return;
  DWORD type = REG_NONE;
  DWORD cbStored = 0;
  if (RegQueryValueExW(key, qn::AsW(pwszValueName), NULL, &type, NULL, &cbStored) != ERROR_SUCCESS ||
      type != REG_SZ)
    return;
  ReadStoredText(key, pwszValueName, cbStored, m_str);
}

CRegString::CRegString(const CRegString &other) : m_str(other.m_str) {}

CRegString &CRegString::operator=(const CRegString &other) {
  m_str = other.m_str;
  return *this;
}

CRegString::~CRegString() {}

CRegString::operator const unsigned short *() { return m_str; }

CRegDword::CRegDword(HKEY hkeyRoot, const unsigned short *pwszSubkey, const unsigned short *pwszValueName,
                     DWORD dwDefault)
    : m_dw(dwDefault) {
  qnreg::KeyHolder key;
  if (key.Open(hkeyRoot, pwszSubkey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return;
  // The platform may scribble on the buffer when the data does not fit, so read into a copy.
  DWORD dw = dwDefault;
  DWORD cb = sizeof(dw);
  if (RegQueryValueExW(key, qn::AsW(pwszValueName), NULL, NULL, reinterpret_cast<BYTE *>(&dw), &cb) ==
      ERROR_SUCCESS)
    m_dw = dw;
}

CRegDword &CRegDword::operator=(const CRegDword &other) {
  m_dw = other.m_dw;
  return *this;
}

CRegDword::operator DWORD() { return m_dw; }
