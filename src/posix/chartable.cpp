// Builds the per-code-unit case and class tables from the C library's UTF-8 locale.
#include <locale.h>
#include <wctype.h>

#include "internal/chartable.h"

namespace qn::posix {
namespace {

// glibc spells it "C.UTF-8" and also accepts "C.utf8"; older systems only have a language's UTF-8
// locale. The "C" locale always exists and knows ASCII.
locale_t OpenUtf8Locale() noexcept {
  static const char *const kNames[] = {"C.UTF-8", "C.utf8", "en_US.UTF-8"};
  for (const char *name : kNames) {
    locale_t loc = newlocale(LC_ALL_MASK, name, static_cast<locale_t>(0));
    if (loc != static_cast<locale_t>(0)) return loc;
  }
  return newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
}

bool IsSurrogate(unsigned c) noexcept { return c >= 0xD800 && c <= 0xDFFF; }

void Fill(CharTable *t) noexcept {
  locale_t loc = OpenUtf8Locale();
  for (unsigned c = 0; c < 65536; ++c) {
    WORD bits = 0;
    WCHAR lower = static_cast<WCHAR>(c);
    if (!IsSurrogate(c) && loc != static_cast<locale_t>(0)) {
      const wint_t w = static_cast<wint_t>(c);
      const wint_t l = towlower_l(w, loc);
      // A mapping out of the BMP (none exists today) cannot be one code unit: keep the character.
      if (l < 0x10000 && !IsSurrogate(static_cast<unsigned>(l))) lower = static_cast<WCHAR>(l);
      if (iswupper_l(w, loc)) bits |= kCharUpper;
      if (iswlower_l(w, loc)) bits |= kCharLower;
      if (iswdigit_l(w, loc)) bits |= kCharDigit;
      if (iswspace_l(w, loc)) bits |= kCharSpace;
      if (iswpunct_l(w, loc)) bits |= kCharPunct;
      if (iswcntrl_l(w, loc)) bits |= kCharCntrl;
      if (iswblank_l(w, loc)) bits |= kCharBlank;
      if (iswxdigit_l(w, loc)) bits |= kCharXDigit;
      if (iswalpha_l(w, loc)) bits |= kCharAlpha;
      if (iswalnum_l(w, loc)) bits |= kCharAlnum;
      if (bits != 0 || iswprint_l(w, loc)) bits |= kCharDefined;
    }
    t->lower[c] = lower;
    t->classes[c] = bits;
  }
  if (loc != static_cast<locale_t>(0)) freelocale(loc);
}

}  // namespace

const CharTable &Chars() noexcept {
  // Static storage (256 KiB, untouched until the first call), filled exactly once; a thread that
  // comes while another fills it waits for the end.
  static CharTable table;
  static const bool filled = (Fill(&table), true);
  (void)filled;
  return table;
}

}  // namespace qn::posix
