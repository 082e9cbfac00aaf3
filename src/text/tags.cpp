// The tag finder: the earliest of several tags at a word boundary, ignoring case.
#include "qnutil/text.h"
#include "text/stepping.h"

int FindTag(const unsigned short *pwszText, const unsigned short *const *rgpwszTags, DWORD cTags,
            const unsigned short *&pwszFound) {
  return qn::text::FindFirstTag<qn::text::Utf16>(pwszText, rgpwszTags, cTags, pwszFound);
}

int FindTagA(const char *pszText, const char *const *rgpszTags, DWORD cTags, const char *&pszFound) {
  return qn::text::FindFirstTag<qn::text::Ansi>(pszText, rgpszTags, cTags, pszFound);
}
