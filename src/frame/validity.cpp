// Pointer and string validity tests: thin, ordered questions to the platform's probes, which answer
// without faulting.

#include "qnutil/frame.h"

bool IsValidAddress(const void *lp, DWORD nBytes, int bReadWrite) {
  if (lp == NULL) return false;
  if (IsBadReadPtr(lp, nBytes)) return false;
  if (bReadWrite != 0 && IsBadWritePtr(const_cast<void *>(lp), nBytes)) return false;
  return true;
}

// The count goes to the platform as an unsigned value, so -1 means "up to the terminator".
bool IsValidString(const unsigned short *psz, int nLength) {
  if (psz == NULL) return false;
  return !IsBadStringPtrW(qn::AsW(psz), static_cast<UINT>(nLength));
}

bool IsValidString(const char *psz, int nLength) {
  if (psz == NULL) return false;
  return !IsBadStringPtrA(psz, static_cast<UINT>(nLength));
}
