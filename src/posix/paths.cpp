// Path conversion between the Win32 and POSIX forms, and the temporary directory.
#include <stdlib.h>
#include <unistd.h>

#include <new>

#include "internal/pathconv.h"
#include "internal/utf8.h"

namespace qn::posix {
namespace {

bool IsSeparator(char16_t c) noexcept { return c == u'\\' || c == u'/'; }
bool IsDriveLetter(char16_t c) noexcept { return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z'); }

void AppendUtf8(std::string &out, unsigned cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | cp >> 6);
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | cp >> 12);
    out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | cp >> 18);
    out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// The length of the well-formed UTF-8 sequence at s (at most n bytes) and its code point; 0 when
// the bytes there are not one.
size_t DecodeUtf8(const unsigned char *s, size_t n, unsigned *cp) noexcept {
  const unsigned b = s[0];
  if (b < 0x80) {
    *cp = b;
    return 1;
  }
  const Utf8Lead lead = qn::posix::Utf8LeadOf(b);
  const size_t len = lead.length;
  if (len == 0 || n < len || s[1] < lead.lo || s[1] > lead.hi) return 0;
  unsigned value = b & (0x7F >> len);
  for (size_t i = 1; i < len; ++i) {
    if (s[i] < 0x80 || s[i] > 0xBF) return 0;
    value = value << 6 | (s[i] & 0x3F);
  }
  *cp = value;
  return len;
}

}  // namespace

std::string PathToPosix(LPCWSTR path, int length) {
  const char16_t *p = reinterpret_cast<const char16_t *>(path);
  size_t n = 0;
  if (length < 0) {
    while (p[n] != 0) ++n;
  } else {
    n = static_cast<size_t>(length);
  }
  const char16_t *end = p + n;
  std::string out;
  out.reserve(n);

  // "\\?\" only asks Windows not to parse the rest; what follows is an ordinary path.
  if (n >= 4 && p[0] == u'\\' && p[1] == u'\\' && p[2] == u'?' && p[3] == u'\\') {
    p += 4;
    if (end - p >= 4 && (p[0] == u'U' || p[0] == u'u') && (p[1] == u'N' || p[1] == u'n') &&
        (p[2] == u'C' || p[2] == u'c') && p[3] == u'\\') {
      p += 3;  // Keeps the separator: "UNC\srv" is "\\srv".
      out += '/';
    }
  }
  if (end - p >= 2 && IsDriveLetter(p[0]) && p[1] == u':') {
    p += 2;
    if (p == end) out += '.';
  }
  for (; p < end; ++p) {
    const unsigned c = *p;
    if (IsSeparator(static_cast<char16_t>(c))) {
      out += '/';
    } else if (c >= 0xD800 && c <= 0xDBFF && p + 1 < end && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
      AppendUtf8(out, 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00));
      ++p;
    } else if (c >= 0xDC80 && c <= 0xDCFF) {
      out += static_cast<char>(c - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      AppendUtf8(out, 0xFFFD);
    } else {
      AppendUtf8(out, c);
    }
  }
  return out;
}

std::u16string PathFromPosix(const char *path, size_t length) {
  const auto *s = reinterpret_cast<const unsigned char *>(path);
  std::u16string out;
  out.reserve(length);
  for (size_t i = 0; i < length;) {
    unsigned cp = 0;
    const size_t len = DecodeUtf8(s + i, length - i, &cp);
    if (len == 0) {
      out += static_cast<char16_t>(0xDC00 + s[i]);
      ++i;
      continue;
    }
    if (cp >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
    i += len;
  }
  return out;
}

DWORD CopyPathOut(const std::u16string &path, LPWSTR buffer, DWORD size) noexcept {
  const size_t length = path.size();
  if (buffer == nullptr || length >= size) return static_cast<DWORD>(length + 1);
  for (size_t i = 0; i < length; ++i) buffer[i] = static_cast<WCHAR>(path[i]);
  buffer[length] = 0;
  return static_cast<DWORD>(length);
}

}  // namespace qn::posix

extern "C" {

// Like Windows, a relative $TMPDIR is taken from the current directory, and a buffer that is too
// short is cleared, so that it never holds part of a path.
DWORD WINAPI GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer) {
  try {
    const char *env = getenv("TMPDIR");
    std::string dir = env != nullptr && env[0] != 0 ? env : "/tmp";
    if (dir[0] != '/') {
      char cwd[4096];
      if (getcwd(cwd, sizeof cwd) != nullptr) dir = std::string(cwd) + "/" + dir;
    }
    if (dir.back() != '/') dir += '/';
    const DWORD answer = qn::posix::CopyPathOut(qn::posix::PathFromPosix(dir), lpBuffer, nBufferLength);
    if (answer >= nBufferLength && lpBuffer != nullptr) {
      for (DWORD i = 0; i < nBufferLength; ++i) lpBuffer[i] = 0;
    }
    return answer;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
}

}  // extern "C"
