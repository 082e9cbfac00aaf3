// File-system helpers over CreateFileW, CreateDirectoryW and GetFileAttributesW.
#include "qnutil/filesys.h"

#include "files/pathchars.h"
#include "qnutil/utf16.h"

HANDLE CreateFileStgm(const unsigned short *pwszPath, DWORD grfMode) {
  DWORD access = GENERIC_READ;
  if (grfMode & STGM_READWRITE) {
    access = GENERIC_READ | GENERIC_WRITE;
  } else if (grfMode & STGM_WRITE) {
    access = GENERIC_WRITE;
  }
  const DWORD share = (grfMode & STGM_SHARE_DENY_NONE) ? FILE_SHARE_READ | FILE_SHARE_WRITE : 0;
  const DWORD disposition = (grfMode & STGM_CREATE) ? CREATE_ALWAYS : OPEN_EXISTING;
  return CreateFileW(qn::AsW(pwszPath), access, share, nullptr, disposition, 0, nullptr);
}

bool CreateDirIncludingParents(unsigned short *pwszPath) {
  size_t cch = 0;
  while (pwszPath[cch] != 0) ++cch;
  if (cch <= 2) return false;
  // The last character is skipped so that a trailing separator names the same directory; the first
  // is skipped so that a rooted path never reduces to an empty parent.
  size_t i = cch - 2;
  while (i > 0 && !qn::paths::IsSeparator(pwszPath[i])) --i;
  if (i == 0) return false;

  const unsigned short chSeparator = pwszPath[i];
  pwszPath[i] = 0;
  const bool fParentReady = PathIsDirectoryW(pwszPath) || CreateDirIncludingParents(pwszPath);
  pwszPath[i] = chSeparator;
  return fParentReady && CreateDirectoryW(qn::AsW(pwszPath), nullptr) != FALSE;
}

int PathFileExistsW(const unsigned short *pwszPath) {
  return GetFileAttributesW(qn::AsW(pwszPath)) != INVALID_FILE_ATTRIBUTES ? 1 : 0;
}

int PathIsDirectoryW(const unsigned short *pwszPath) {
  const DWORD attributes = GetFileAttributesW(qn::AsW(pwszPath));
  if (attributes == INVALID_FILE_ATTRIBUTES) return 0;
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) ? 1 : 0;
}
