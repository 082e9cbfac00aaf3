// The small path functions: completeness, separator style and trailing separators, extensions and
// the file part. Each is one pass over the caller's text.
#include "qnutil/paths.h"

#include "files/pathchars.h"
#include "qnutil/text.h"

namespace qn {
namespace paths {

const unsigned short *const kSeparatorTable[3] = {AsU(u"//"), AsU(u"\\\\"), AsU(u"/\\")};

const unsigned short *FindDoubleSeparator(const unsigned short *pwsz) {
  const unsigned short *pwszFound;
  return FindTag(pwsz, kSeparatorTable, kDoubleSeparatorCount, pwszFound) >= 0 ? pwszFound : nullptr;
}

}  // namespace paths
}  // namespace qn

using qn::paths::IsSeparator;

namespace {

// A scheme://, \\server or a//b prefix: the double separator has to start within this many
// characters, so that a double slash deep inside a relative path does not make it complete.
constexpr long kCompletePrefixLength = 10;

bool HasDriveColon(const unsigned short *pwsz) {
  if (!IsCharAlphaW(static_cast<WCHAR>(pwsz[0]))) return false;  // the terminator is no letter
  return pwsz[1] == u':' || (pwsz[1] != 0 && pwsz[2] == u':');
}

size_t Length(const unsigned short *pwsz) {
  const unsigned short *p = pwsz;
  while (*p) ++p;
  return static_cast<size_t>(p - pwsz);
}

}  // namespace

EUrlClasses GetURLClass(const unsigned short * /*pwszURL*/) { return eucLocalPath; }

bool FIsCompletePath(const unsigned short *pwszPath) {
  const unsigned short *pwszDouble = qn::paths::FindDoubleSeparator(pwszPath);
  if (pwszDouble && pwszDouble - pwszPath < kCompletePrefixLength) return true;
  return HasDriveColon(pwszPath);
}

bool FUsesForwardSlashes(const unsigned short *pwszPath) {
  for (const unsigned short *p = pwszPath; *p; ++p) {
    if (*p == u'\\') return false;
  }
  return true;
}

void PathAddSlash(unsigned short *pwszPath) {
  size_t cch = Length(pwszPath);
  if (cch > 0 && IsSeparator(pwszPath[cch - 1])) return;
  pwszPath[cch] = FUsesForwardSlashes(pwszPath) ? u'/' : u'\\';
  pwszPath[cch + 1] = 0;
}

unsigned short *PathAddBackslashW(unsigned short *pwszPath) {
  size_t cch = Length(pwszPath);
  if (cch == 0 || pwszPath[cch - 1] != u'\\') {
    pwszPath[cch] = u'\\';
    pwszPath[cch + 1] = 0;
  }
  return pwszPath;
}

void UseBackslashes(unsigned short *pwszPath) {
  for (unsigned short *p = pwszPath; *p; ++p) {
    if (*p == u'/') *p = u'\\';
  }
}

void UseForwardSlashes(unsigned short *pwszPath) {
  for (unsigned short *p = pwszPath; *p; ++p) {
    if (*p == u'\\') *p = u'/';
  }
}

void UseForwardSlashes(char *pszPath) {
  for (char *p = pszPath; *p; ++p) {
    if (*p == '\\') *p = '/';
  }
}

bool ReplaceFileExtension(unsigned short *pwszPath, const unsigned short *pwszExt) {
  unsigned short *pchDot = nullptr;
  for (unsigned short *p = pwszPath + Length(pwszPath); p != pwszPath;) {
    --p;
    if (*p == u'.') {
      pchDot = p;
      break;
    }
    if (IsSeparator(*p)) return false;
  }
  if (!pchDot) return false;
  while (*pwszExt == u'.') ++pwszExt;
  unsigned short *pchOut = pchDot + 1;
  while (*pwszExt) *pchOut++ = *pwszExt++;
  *pchOut = 0;
  return true;
}

unsigned short *FilePartOfPath(const unsigned short *pwszPath) {
  const unsigned short *pchEnd = pwszPath + Length(pwszPath);
  for (const unsigned short *p = pchEnd; p != pwszPath;) {
    --p;
    if (IsSeparator(*p)) return const_cast<unsigned short *>(p + 1);
  }
  return const_cast<unsigned short *>(pchEnd);
}
