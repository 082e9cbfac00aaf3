// Blank tests, character-set, substring and prefix search, and line stepping.
#include "qnutil/text.h"
#include "text/stepping.h"

using qn::text::Ansi;
using qn::text::Exact;
using qn::text::IgnoreCase;
using qn::text::Utf16;

int BIsEmpty(const unsigned short *pwsz) { return qn::text::IsEmpty<Utf16>(pwsz); }

int BIsEmptyA(const char *psz) { return qn::text::IsEmpty<Ansi>(psz); }

unsigned short *StrMultiChr(const unsigned short *pwsz, const unsigned short *pwszSet) {
  return const_cast<unsigned short *>(qn::text::MultiChr<Utf16>(pwsz, pwszSet));
}

char *StrMultiChrA(const char *psz, const char *pszSet) {
  return const_cast<char *>(qn::text::MultiChr<Ansi>(psz, pszSet));
}

unsigned short *StrStr(const unsigned short *pwszText, const unsigned short *pwszPattern) {
  return const_cast<unsigned short *>(qn::text::Find<Utf16, Exact>(pwszText, pwszPattern));
}

unsigned short *StrStrI(const unsigned short *pwszText, const unsigned short *pwszPattern) {
  return const_cast<unsigned short *>(qn::text::Find<Utf16, IgnoreCase>(pwszText, pwszPattern));
}

int SubStrCmp(const unsigned short *pwszText, const unsigned short *pwszPrefix) {
  return qn::text::IsPrefix<Utf16, Exact>(pwszText, pwszPrefix);
}

int SubStrCmpi(const unsigned short *pwszText, const unsigned short *pwszPrefix) {
  return qn::text::IsPrefix<Utf16, IgnoreCase>(pwszText, pwszPrefix);
}

int SubStrCmpiA(const char *pszText, const char *pszPrefix) {
  return qn::text::IsPrefix<Ansi, IgnoreCase>(pszText, pszPrefix);
}

unsigned short *PchNextLine(unsigned short *pwszLine) {
  unsigned short *p = pwszLine;
  while (*p != 0 && *p != 0x0D) ++p;
  if (*p == 0) return nullptr;
  *p++ = 0;
  if (*p == 0x0A) ++p;
  return *p != 0 ? p : nullptr;
}
