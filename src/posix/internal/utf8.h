// The shape of a UTF-8 sequence, known from its first byte: the one place that says which lead
// bytes exist and which second bytes each allows (ruling out overlong forms, surrogates and values
// past U+10FFFF). The code-page decoder and the path conversion both decide well-formedness by it.
#pragma once

#include <stddef.h>

namespace qn::posix {

struct Utf8Lead {
  size_t length;     // bytes in the sequence; 1 for ASCII, 0 when the byte starts no sequence
  unsigned lo, hi;   // the range the second byte must fall in
};

inline Utf8Lead Utf8LeadOf(unsigned b) noexcept {
  if (b < 0x80) return {1, 0, 0};
  if (b >= 0xC2 && b <= 0xDF) return {2, 0x80, 0xBF};
  if (b >= 0xE0 && b <= 0xEF) return {3, b == 0xE0 ? 0xA0u : 0x80u, b == 0xED ? 0x9Fu : 0xBFu};
  if (b >= 0xF0 && b <= 0xF4) return {4, b == 0xF0 ? 0x90u : 0x80u, b == 0xF4 ? 0x8Fu : 0xBFu};
  return {0, 0, 0};
}

}  // namespace qn::posix
