// The ANSI and OEM code pages, the per-page conversion tables built from iconv, and the two
// conversion services MultiByteToWideChar and WideCharToMultiByte.
#include <errno.h>
#include <iconv.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "internal/codepage.h"
#include "internal/utf8.h"

namespace qn::posix {
namespace {

constexpr UINT kMacCodePage = 10000;
constexpr WCHAR kReplacement = 0xFFFD;

UINT ReadAnsiCodePage() noexcept {
  const char *value = getenv("QNUTIL_ACP");
  if (value == nullptr) return 1252;
  char *end = nullptr;
  const unsigned long cp = strtoul(value, &end, 10);
  if (end == value || *end != 0) return 1252;
  // Only the pages the subset is tested with; anything else is the default rather than a page whose
  // 8-bit services nobody has checked.
  return cp == 932 || cp == 65001 ? static_cast<UINT>(cp) : 1252;
}

// Windows pairs the ANSI page of a US system with OEM 437, and a Japanese or UTF-8 system's with
// itself.
UINT OemCodePage() noexcept { return AnsiCodePage() == 1252 ? 437 : AnsiCodePage(); }

UINT Resolve(UINT cp) noexcept {
  switch (cp) {
    case CP_ACP:
    case CP_THREAD_ACP: return AnsiCodePage();
    case CP_OEMCP: return OemCodePage();
    case CP_MACCP: return kMacCodePage;
    default: return cp;
  }
}

// The iconv name of a Windows code page; false for the pages that are not byte encodings (UTF-16,
// UTF-32) and for UTF-7, which the subset does not convert.
bool IconvName(UINT cp, char *name, size_t size) noexcept {
  switch (cp) {
    case 1200: case 1201: case 12000: case 12001: case CP_UTF7: return false;
    case kMacCodePage: snprintf(name, size, "MACINTOSH"); return true;
    case 20866: snprintf(name, size, "KOI8-R"); return true;
    case 21866: snprintf(name, size, "KOI8-U"); return true;
    case 28603: snprintf(name, size, "ISO-8859-13"); return true;
    case 28605: snprintf(name, size, "ISO-8859-15"); return true;
    default: break;
  }
  if (cp >= 28591 && cp <= 28599) {
    snprintf(name, size, "ISO-8859-%u", cp - 28590);
  } else {
    snprintf(name, size, "CP%u", cp);
  }
  return true;
}

enum class Decoded { Char, Invalid, Incomplete, Other };

class Iconv {
 public:
  Iconv(const char *to, const char *from) noexcept : cd_(iconv_open(to, from)) {}
  ~Iconv() {
    if (ok()) iconv_close(cd_);
  }
  Iconv(const Iconv &) = delete;
  Iconv &operator=(const Iconv &) = delete;
  bool ok() const noexcept { return cd_ != reinterpret_cast<iconv_t>(-1); }

  // Converts all of in, from the initial state; answers the bytes written or -1 with errno.
  long Convert(const char *in, size_t inSize, char *out, size_t outSize) noexcept {
    iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    char *ip = const_cast<char *>(in);
    char *op = out;
    if (iconv(cd_, &ip, &inSize, &op, &outSize) == static_cast<size_t>(-1)) return -1;
    if (inSize != 0) {
      errno = EINVAL;
      return -1;
    }
    return static_cast<long>(op - out);
  }

 private:
  iconv_t cd_;
};

// One byte sequence to one code unit, the way iconv sees it.
Decoded DecodeOne(Iconv &toUtf16, const unsigned char *bytes, size_t n, WCHAR *unit) noexcept {
  char out[16];
  const long written = toUtf16.Convert(reinterpret_cast<const char *>(bytes), n, out, sizeof out);
  if (written < 0) return errno == EILSEQ ? Decoded::Invalid : errno == EINVAL ? Decoded::Incomplete : Decoded::Other;
  if (written != 2) return Decoded::Other;
  *unit = static_cast<WCHAR>(static_cast<unsigned char>(out[0]) | static_cast<unsigned char>(out[1]) << 8);
  return Decoded::Char;
}

// The code unit the page's own tables give for a byte or a pair; 0 for none.
WCHAR ForwardOf(const CodePage &page, unsigned seq) noexcept {
  if (seq < 0x100) return page.lead[seq] || !page.defined[seq] ? 0 : page.single[seq];
  return page.pairs.empty() ? 0 : page.pairs[seq];
}

void AddReverse(CodePage &page, Iconv &fromUtf16, unsigned seq, WCHAR unit) noexcept {
  if (unit == 0 || page.reverse[unit] != 0) return;
  // Where several byte sequences give one character (932's duplicated NEC and IBM rows), iconv
  // knows which one Windows writes back.
  const unsigned char in[2] = {static_cast<unsigned char>(unit & 0xFF), static_cast<unsigned char>(unit >> 8)};
  unsigned char out[8];
  const long n = fromUtf16.Convert(reinterpret_cast<const char *>(in), 2, reinterpret_cast<char *>(out), sizeof out);
  unsigned chosen = seq;
  if (n == 1 || n == 2) {
    const unsigned candidate = n == 1 ? out[0] : (static_cast<unsigned>(out[0]) << 8 | out[1]);
    if (ForwardOf(page, candidate) == unit) chosen = candidate;
  }
  page.reverse[unit] = static_cast<WORD>(chosen);
}

std::unique_ptr<CodePage> BuildFromIconv(UINT cp) {
  char name[32];
  if (!IconvName(cp, name, sizeof name)) return nullptr;
  Iconv toUtf16("UTF-16LE", name);
  Iconv fromUtf16(name, "UTF-16LE");
  if (!toUtf16.ok() || !fromUtf16.ok()) return nullptr;

  auto page = std::make_unique<CodePage>();
  page->id = cp;
  page->defaultUnicode = cp == 932 ? 0x30FB : '?';
  bool anyLead = false;
  for (unsigned b = 0; b < 256; ++b) {
    const unsigned char byte = static_cast<unsigned char>(b);
    WCHAR unit = 0;
    switch (DecodeOne(toUtf16, &byte, 1, &unit)) {
      case Decoded::Char:
        page->single[b] = unit;
        page->defined[b] = true;
        break;
      case Decoded::Incomplete:
        page->lead[b] = true;
        anyLead = true;
        break;
      case Decoded::Invalid:
        page->single[b] = static_cast<WCHAR>(b);
        page->defined[b] = b >= 0x80 && b <= 0x9F;
        break;
      case Decoded::Other:
        // A shift byte (the stateful EBCDIC pages) or a byte of several characters: not a page of
        // Windows' single-byte or double-byte kind.
        return nullptr;
    }
  }
  if (anyLead) {
    page->kind = CodePageKind::DoubleByte;
    page->pairs.assign(65536, 0);
    for (unsigned lead = 0; lead < 256; ++lead) {
      if (!page->lead[lead]) continue;
      for (unsigned trail = 1; trail < 256; ++trail) {
        const unsigned char pair[2] = {static_cast<unsigned char>(lead), static_cast<unsigned char>(trail)};
        WCHAR unit = 0;
        if (DecodeOne(toUtf16, pair, 2, &unit) == Decoded::Char) page->pairs[lead << 8 | trail] = unit;
      }
    }
  }
  page->reverse.assign(65536, 0);
  for (unsigned b = 1; b < 256; ++b) {
    if (!page->lead[b] && page->defined[b]) AddReverse(*page, fromUtf16, b, page->single[b]);
  }
  if (anyLead) {
    for (unsigned seq = 0x100; seq < 0x10000; ++seq) {
      if (page->pairs[seq] != 0) AddReverse(*page, fromUtf16, seq, page->pairs[seq]);
    }
  }
  return page;
}

const CodePage &Utf8Page() noexcept {
  static const CodePage page = [] {
    CodePage p;
    p.id = CP_UTF8;
    p.kind = CodePageKind::Utf8;
    p.defaultUnicode = kReplacement;
    return p;
  }();
  return page;
}

std::mutex g_pagesLock;
std::atomic<const CodePage *> g_ansiPage{nullptr};

const CodePage *FindOrBuild(UINT cp) noexcept {
  // Pages live as long as the process: callers keep pointers into them without a lock.
  static auto *pages = new std::map<UINT, std::unique_ptr<CodePage>>;
  std::lock_guard<std::mutex> lock(g_pagesLock);
  auto it = pages->find(cp);
  if (it == pages->end()) {
    std::unique_ptr<CodePage> built;
    try {
      built = BuildFromIconv(cp);
      it = pages->emplace(cp, std::move(built)).first;
    } catch (...) {
      return nullptr;  // Out of memory: this call fails, a later one tries again.
    }
  }
  return it->second.get();
}

// Where a conversion writes: counts always, stores while there is room, and remembers running out.
template <typename Unit>
class Sink {
 public:
  Sink(Unit *out, size_t capacity) noexcept : out_(out), capacity_(capacity) {}
  // Puts the units of one character, all or none.
  bool Put(const Unit *units, size_t n) noexcept {
    if (out_ != nullptr) {
      if (count_ + n > capacity_) return false;
      for (size_t i = 0; i < n; ++i) out_[count_ + i] = units[i];
    }
    count_ += n;
    return true;
  }
  bool Put(Unit u) noexcept { return Put(&u, 1); }
  size_t count() const noexcept { return count_; }

 private:
  Unit *out_;
  size_t capacity_;
  size_t count_ = 0;
};

// How a conversion ended, before it becomes a count and a last error.
enum class Outcome { Done, Overflow, Invalid };

int Finish(Outcome outcome, size_t count) noexcept {
  switch (outcome) {
    case Outcome::Done:
      if (count > 0x7FFFFFFF) break;
      return static_cast<int>(count);
    case Outcome::Overflow: SetLastError(ERROR_INSUFFICIENT_BUFFER); return 0;
    case Outcome::Invalid: SetLastError(ERROR_NO_UNICODE_TRANSLATION); return 0;
  }
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return 0;
}

// UTF-8 to UTF-16. Ill-formed input becomes U+FFFD the way Windows' decoder cuts it:
// - a byte that starts no sequence (0x80-0xC1, 0xF5-0xFF) is one U+FFFD;
// - a lead byte whose sequence would run past the end of the input makes the whole rest one U+FFFD;
// - a lead byte and a continuation byte that the lead does not allow next (an overlong form, a
//   surrogate, a value above U+10FFFF) are one U+FFFD together;
// - a sequence cut short by a byte that is no continuation byte is one U+FFFD, and decoding goes on
//   at that byte.
Outcome DecodeUtf8(const unsigned char *s, size_t n, bool strict, Sink<WCHAR> &out) noexcept {
  size_t i = 0;
  while (i < n) {
    const unsigned b = s[i];
    if (b < 0x80) {
      if (!out.Put(static_cast<WCHAR>(b))) return Outcome::Overflow;
      ++i;
      continue;
    }
    const Utf8Lead lead = Utf8LeadOf(b);
    const size_t len = lead.length;
    const unsigned lo = lead.lo, hi = lead.hi;
    size_t bad = 0;  // Bytes that one U+FFFD replaces.
    unsigned cp = 0;
    if (len == 0) {
      bad = 1;
    } else if (n - i < len) {
      bad = n - i;
    } else if (s[i + 1] < 0x80 || s[i + 1] > 0xBF) {
      bad = 1;
    } else if (s[i + 1] < lo || s[i + 1] > hi) {
      bad = 2;
    } else {
      cp = b & (0x7F >> len);
      size_t j = 1;
      for (; j < len && s[i + j] >= 0x80 && s[i + j] <= 0xBF; ++j) cp = cp << 6 | (s[i + j] & 0x3F);
      if (j < len) bad = j;
    }
    if (bad != 0) {
      if (strict) return Outcome::Invalid;
      if (!out.Put(kReplacement)) return Outcome::Overflow;
      i += bad;
      continue;
    }
    if (cp >= 0x10000) {
      const WCHAR pair[2] = {static_cast<WCHAR>(0xD800 + ((cp - 0x10000) >> 10)),
                             static_cast<WCHAR>(0xDC00 + (cp & 0x3FF))};
      // Windows writes the high surrogate when only it fits: so does the subset, and still fails.
      if (!out.Put(pair[0]) || !out.Put(pair[1])) return Outcome::Overflow;
    } else if (!out.Put(static_cast<WCHAR>(cp))) {
      return Outcome::Overflow;
    }
    i += len;
  }
  return Outcome::Done;
}

// A single-byte or double-byte page to UTF-16. A lead byte takes the next byte with it, whatever it
// is, unless it is the last byte or followed by a zero; a pair that is no character becomes the
// page's default character.
Outcome DecodeTable(const CodePage &page, const unsigned char *s, size_t n, bool strict,
                    Sink<WCHAR> &out) noexcept {
  size_t i = 0;
  while (i < n) {
    const unsigned b = s[i];
    WCHAR unit;
    bool valid;
    if (!page.lead[b]) {
      unit = page.single[b];
      valid = page.defined[b];
      i += 1;
    } else if (i + 1 < n && s[i + 1] != 0) {
      unit = page.pairs[b << 8 | s[i + 1]];
      valid = unit != 0;
      if (!valid) unit = page.defaultUnicode;
      i += 2;
    } else {
      unit = page.defaultUnicode;
      valid = false;
      i += 1;
    }
    if (!valid && strict) return Outcome::Invalid;
    if (!out.Put(unit)) return Outcome::Overflow;
  }
  return Outcome::Done;
}

bool IsHighSurrogate(unsigned u) noexcept { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLowSurrogate(unsigned u) noexcept { return u >= 0xDC00 && u <= 0xDFFF; }

// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
Outcome EncodeUtf8(const WCHAR *s, size_t n, bool strict, Sink<char> &out) noexcept {
  for (size_t i = 0; i < n; ++i) {
    unsigned cp = s[i];
    if (IsHighSurrogate(cp) && i + 1 < n && IsLowSurrogate(s[i + 1])) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
      ++i;
    } else if (IsHighSurrogate(cp) || IsLowSurrogate(cp)) {
      if (strict) return Outcome::Invalid;
      cp = kReplacement;
    }
    char bytes[4];
    size_t len;
    if (cp < 0x80) {
      bytes[0] = static_cast<char>(cp);
      len = 1;
    } else if (cp < 0x800) {
      bytes[0] = static_cast<char>(0xC0 | cp >> 6);
      bytes[1] = static_cast<char>(0x80 | (cp & 0x3F));
      len = 2;
    } else if (cp < 0x10000) {
      bytes[0] = static_cast<char>(0xE0 | cp >> 12);
      bytes[1] = static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      bytes[2] = static_cast<char>(0x80 | (cp & 0x3F));
      len = 3;
    } else {
      bytes[0] = static_cast<char>(0xF0 | cp >> 18);
      bytes[1] = static_cast<char>(0x80 | (cp >> 12 & 0x3F));
      bytes[2] = static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      bytes[3] = static_cast<char>(0x80 | (cp & 0x3F));
      len = 4;
    }
    if (!out.Put(bytes, len)) return Outcome::Overflow;
  }
  return Outcome::Done;
}

// UTF-16 to a single-byte or double-byte page. Every code unit the page cannot hold, each half of
// a surrogate pair included, becomes the default character.
Outcome EncodeTable(const CodePage &page, const WCHAR *s, size_t n, LPCSTR defaultChar, bool *usedDefault,
                    Sink<char> &out) noexcept {
  char fallback[2] = {'?', 0};
  size_t fallbackLen = 1;
  if (defaultChar != nullptr) {
    fallback[0] = defaultChar[0];
    if (page.kind == CodePageKind::DoubleByte && page.lead[static_cast<unsigned char>(defaultChar[0])] &&
        defaultChar[1] != 0) {
      fallback[1] = defaultChar[1];
      fallbackLen = 2;
    }
  }
  for (size_t i = 0; i < n; ++i) {
    const WCHAR u = s[i];
    const unsigned seq = u == 0 ? 0 : page.reverse[u];
    if (u != 0 && seq == 0) {
      if (!out.Put(fallback, fallbackLen)) return Outcome::Overflow;
      *usedDefault = true;
      continue;
    }
    const char bytes[2] = {static_cast<char>(seq >> 8), static_cast<char>(seq & 0xFF)};
    const bool ok = seq > 0xFF ? out.Put(bytes, 2) : out.Put(bytes[1]);
    if (!ok) return Outcome::Overflow;
  }
  return Outcome::Done;
}

}  // namespace

UINT AnsiCodePage() noexcept {
  static const UINT acp = ReadAnsiCodePage();
  return acp;
}

const CodePage *FindCodePage(UINT codePage) noexcept {
  const UINT cp = Resolve(codePage);
  if (cp == CP_UTF8) return &Utf8Page();
  if (cp == AnsiCodePage()) {
    const CodePage *page = g_ansiPage.load(std::memory_order_acquire);
    if (page == nullptr) {
      page = FindOrBuild(cp);
      g_ansiPage.store(page, std::memory_order_release);
    }
    return page;
  }
  return FindOrBuild(cp);
}

}  // namespace qn::posix

using qn::posix::CodePageKind;
using qn::posix::Outcome;
using qn::posix::Sink;

extern "C" {

UINT WINAPI GetACP(void) { return qn::posix::AnsiCodePage(); }

UINT WINAPI GetOEMCP(void) { return qn::posix::OemCodePage(); }

// Flags accepted and not acted on: MB_PRECOMPOSED (the output is what the page's table gives),
// MB_COMPOSITE (no decomposition), MB_USEGLYPHCHARS (control bytes stay control characters).
int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                               LPWSTR lpWideCharStr, int cchWideChar) {
  if (lpMultiByteStr == nullptr || cbMultiByte == 0 || cchWideChar < 0 ||
      (cchWideChar != 0 && lpWideCharStr == nullptr) ||
      (cchWideChar != 0 && static_cast<const void *>(lpMultiByteStr) == static_cast<const void *>(lpWideCharStr))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const qn::posix::CodePage *page = qn::posix::FindCodePage(CodePage);
  if (page == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const DWORD allowed = page->kind == CodePageKind::Utf8
                            ? MB_ERR_INVALID_CHARS
                            : MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS;
  if ((dwFlags & ~allowed) != 0) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
  }
  // Any negative length means "through the terminator", as on Windows.
  const size_t n = cbMultiByte < 0 ? strlen(lpMultiByteStr) + 1 : static_cast<size_t>(cbMultiByte);
  const auto *bytes = reinterpret_cast<const unsigned char *>(lpMultiByteStr);
  const bool strict = (dwFlags & MB_ERR_INVALID_CHARS) != 0;
  Sink<WCHAR> out(cchWideChar != 0 ? lpWideCharStr : nullptr, static_cast<size_t>(cchWideChar));
  const Outcome outcome = page->kind == CodePageKind::Utf8 ? qn::posix::DecodeUtf8(bytes, n, strict, out)
                                                           : qn::posix::DecodeTable(*page, bytes, n, strict, out);
  return qn::posix::Finish(outcome, out.count());
}

// Flags accepted and not acted on: WC_COMPOSITECHECK, WC_DISCARDNS, WC_SEPCHARS and WC_DEFAULTCHAR
// (no composition), WC_NO_BEST_FIT_CHARS (never a best fit anyway), WC_ERR_INVALID_CHARS outside
// UTF-8.
int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                               LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                               LPBOOL lpUsedDefaultChar) {
  if (lpWideCharStr == nullptr || cchWideChar == 0 || cbMultiByte < 0 ||
      (cbMultiByte != 0 && lpMultiByteStr == nullptr) ||
      (cbMultiByte != 0 && static_cast<const void *>(lpWideCharStr) == static_cast<const void *>(lpMultiByteStr))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const qn::posix::CodePage *page = qn::posix::FindCodePage(CodePage);
  if (page == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const bool utf8 = page->kind == CodePageKind::Utf8;
  const DWORD allowed = utf8 ? WC_ERR_INVALID_CHARS
                             : WC_COMPOSITECHECK | WC_DISCARDNS | WC_SEPCHARS | WC_DEFAULTCHAR |
                                   WC_ERR_INVALID_CHARS | WC_NO_BEST_FIT_CHARS;
  if ((dwFlags & ~allowed) != 0) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
  }
  // Every character has a UTF-8 form: a default character means nothing there.
  if (utf8 && (lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  size_t n = static_cast<size_t>(cchWideChar);
  if (cchWideChar < 0) {
    n = 0;
    while (lpWideCharStr[n] != 0) ++n;
    ++n;
  }
  Sink<char> out(cbMultiByte != 0 ? lpMultiByteStr : nullptr, static_cast<size_t>(cbMultiByte));
  bool usedDefault = false;
  const Outcome outcome =
      utf8 ? qn::posix::EncodeUtf8(lpWideCharStr, n, (dwFlags & WC_ERR_INVALID_CHARS) != 0, out)
           : qn::posix::EncodeTable(*page, lpWideCharStr, n, lpDefaultChar, &usedDefault, out);
  if (lpUsedDefaultChar != nullptr) *lpUsedDefaultChar = usedDefault ? TRUE : FALSE;
  return qn::posix::Finish(outcome, out.count());
}

}  // extern "C"
