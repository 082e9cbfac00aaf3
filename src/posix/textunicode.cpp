// IsTextUnicode: the statistical guess whether bytes are UTF-16LE text (see textunicode.h for the
// tests and their limits).
#include "qnutil/posix/windows.h"

namespace {

constexpr int kAllTests = IS_TEXT_UNICODE_UNICODE_MASK | IS_TEXT_UNICODE_REVERSE_MASK |
                          IS_TEXT_UNICODE_NOT_UNICODE_MASK | IS_TEXT_UNICODE_NOT_ASCII_MASK;

bool IsControl(unsigned c) noexcept {
  return c == 0 || c == u'\t' || c == u'\n' || c == u'\r' || c == u' ' || c == 0x3000;
}

bool IsReversedControl(unsigned c) noexcept {
  return c == 0 || c == 0x0900 || c == 0x0A00 || c == 0x0D00 || c == 0x2000;
}

int MatchedTests(const unsigned char *bytes, size_t size) noexcept {
  if (size < 2) return 0;
  int found = size % 2 != 0 ? IS_TEXT_UNICODE_ODD_LENGTH : 0;
  // A terminator at the end says nothing about the text before it.
  if (size % 2 == 0 && bytes[size - 2] == 0 && bytes[size - 1] == 0) {
    size -= 2;
  } else if (bytes[size - 1] == 0) {
    size -= 1;
  }
  for (size_t i = 0; i < size; ++i) {
    if (bytes[i] == 0) {
      found |= IS_TEXT_UNICODE_NULL_BYTES;
      break;
    }
  }
  const size_t chars = size / 2;
  size_t asciiLike = 0;
  for (size_t i = 0; i < chars; ++i) {
    const unsigned c = bytes[2 * i] | static_cast<unsigned>(bytes[2 * i + 1]) << 8;
    if (i == 0 && c == 0xFEFF) found |= IS_TEXT_UNICODE_SIGNATURE;
    if (i == 0 && c == 0xFFFE) found |= IS_TEXT_UNICODE_REVERSE_SIGNATURE;
    if (IsControl(c)) found |= IS_TEXT_UNICODE_CONTROLS;
    if (IsReversedControl(c)) found |= IS_TEXT_UNICODE_REVERSE_CONTROLS;
    if (c >> 8 == 0) ++asciiLike;
  }
  if (chars > 0 && asciiLike * 2 > chars) found |= IS_TEXT_UNICODE_STATISTICS;
  return found;
}

}  // namespace

extern "C" BOOL WINAPI IsTextUnicode(const void *lpv, int iSize, LPINT lpiResult) {
  const int asked = lpiResult != nullptr ? *lpiResult : kAllTests;
  const size_t size = lpv != nullptr && iSize > 0 ? static_cast<size_t>(iSize) : 0;
  const int matched = MatchedTests(static_cast<const unsigned char *>(lpv), size) & asked;
  if (lpiResult != nullptr) *lpiResult = matched;
  if (matched & (IS_TEXT_UNICODE_REVERSE_MASK | IS_TEXT_UNICODE_NOT_UNICODE_MASK)) return FALSE;
  return (matched & (IS_TEXT_UNICODE_UNICODE_MASK | IS_TEXT_UNICODE_NOT_ASCII_MASK)) != 0;
}
