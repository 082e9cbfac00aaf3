// A path in a writable buffer with room to grow, for the functions that rewrite paths in place.
// The code units after the text are filled with a marker, so that a test sees what was written
// past the terminator.
#pragma once

#include <algorithm>
#include <array>
#include <string>

#include "qnutil/utf16.h"

namespace qntest {

constexpr unsigned short kUnwritten = 0xFDFD;

class PathBuffer {
 public:
  explicit PathBuffer(const std::u16string &text) {
    m_units.fill(kUnwritten);
    std::copy(text.begin(), text.end(), m_units.begin());
    m_units[text.size()] = 0;
  }
  unsigned short *Get() { return m_units.data(); }
  std::u16string Text() const { return std::u16string(reinterpret_cast<const char16_t *>(m_units.data())); }
  // The code unit at index i, also past the terminator.
  unsigned short At(size_t i) const { return m_units[i]; }
  static constexpr size_t Capacity() { return 128; }

 private:
  std::array<unsigned short, 128> m_units;
};

inline std::u16string Text(const unsigned short *pwsz) {
  return std::u16string(reinterpret_cast<const char16_t *>(pwsz));
}

}  // namespace qntest
