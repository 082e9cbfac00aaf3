// What the fuzz targets share: texts cut from the fuzzer's bytes into heap blocks of exactly their
// size (so that AddressSanitizer reports a read one past the terminator), output buffers of exactly
// their capacity filled with a marker, and a check that stops the run with a message.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qnutil/win32.h"

#define QN_FUZZ_CHECK(cond)                                                          \
  do {                                                                               \
    if (!(cond)) {                                                                   \
      std::fprintf(stderr, "%s:%d: contract broken: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                  \
    }                                                                                \
  } while (0)

namespace qnfuzz {

constexpr unsigned short kMarkW = 0xFDFD;
constexpr char kMarkA = '\x7F';

// Code units worth meeting more often than chance gives them: separators, full stops, quotes,
// blanks, no-break space, letters whose lower case is special, a surrogate, the last code unit.
inline unsigned short UnitFromByte(unsigned char b) {
  static const unsigned short kSpecial[16] = {0x00A0, 0x0130, 0x212A, 0x00C4, 0x00E4, 0x0391, 0x03B1,
                                              0x3000, 0xD800, 0xFFFF, 0x2028, 0x0660, 0x00DF, 0x1E9E,
                                              0xFF21, 0x0410};
  return b >= 0xF0 ? kSpecial[b - 0xF0] : b;
}

// A zero-terminated text in a heap block of exactly its size.
template <typename T>
class HeapText {
 public:
  explicit HeapText(const std::vector<T> &units) : m_cch(units.size()), m_p(new T[units.size() + 1]) {
    if (!units.empty()) std::memcpy(m_p.get(), units.data(), units.size() * sizeof(T));
    m_p[m_cch] = 0;
  }
  T *Get() const { return m_p.get(); }
  T *End() const { return m_p.get() + m_cch; }
  size_t Length() const { return m_cch; }
  bool Contains(const T *p) const { return p >= m_p.get() && p <= End(); }  // the terminator too
  std::vector<T> Units() const { return std::vector<T>(m_p.get(), End()); }

 private:
  size_t m_cch;
  std::unique_ptr<T[]> m_p;
};

// Text of up to cchMax characters with no embedded terminator. Empty texts are common.
inline std::vector<unsigned short> TakeUtf16(FuzzedDataProvider &in, size_t cchMax) {
  std::vector<unsigned short> units;
  std::string bytes = in.ConsumeRandomLengthString(cchMax);
  for (unsigned char b : bytes) {
    if (b) units.push_back(UnitFromByte(b));
  }
  return units;
}

inline std::vector<char> Take8Bit(FuzzedDataProvider &in, size_t cchMax) {
  std::vector<char> units;
  for (char b : in.ConsumeRandomLengthString(cchMax)) {
    if (b) units.push_back(b);
  }
  return units;
}

// An output buffer of exactly cch code units (at least one, so that "untouched" can be checked
// for capacities below 1 too), every unit the marker.
template <typename T>
class OutBuffer {
 public:
  OutBuffer(int cch, T mark) : m_cch(cch > 0 ? static_cast<size_t>(cch) : 1), m_mark(mark), m_p(new T[m_cch]) {
    for (size_t i = 0; i < m_cch; ++i) m_p[i] = mark;
  }
  T *Get() const { return m_p.get(); }
  size_t Size() const { return m_cch; }
  // The length of the text when a terminator lies within the buffer, else -1.
  long TerminatedLength() const {
    for (size_t i = 0; i < m_cch; ++i) {
      if (m_p[i] == 0) return static_cast<long>(i);
    }
    return -1;
  }
  bool Untouched() const {
    for (size_t i = 0; i < m_cch; ++i) {
      if (m_p[i] != m_mark) return false;
    }
    return true;
  }
  void Reset() {
    for (size_t i = 0; i < m_cch; ++i) m_p[i] = m_mark;
  }

 private:
  size_t m_cch;
  T m_mark;
  std::unique_ptr<T[]> m_p;
};

// Walks a list's chain and stops the run unless it is linked both ways, its tail and count agree
// with the walk, and every item occurs in the text after the previous one (an empty item may stand
// anywhere). itemCheck(item, length) adds the target's own conditions. Answers the count.
template <class List, class ItemCheck>
size_t CheckChainInText(const List &list, const std::vector<unsigned short> &units, ItemCheck itemCheck) {
  size_t from = 0, count = 0;
  decltype(list.Head()) prev = nullptr;
  for (auto node = list.Head(); node != nullptr; prev = node, node = node->m_pNext, ++count) {
    QN_FUZZ_CHECK(node->m_pPrev == prev);
    const unsigned short *item = node->m_fstr;
    QN_FUZZ_CHECK(item != nullptr);
    const size_t len = static_cast<size_t>(node->m_fstr.Length());
    itemCheck(item, len);
    auto at = std::search(units.begin() + from, units.end(), item, item + len);
    QN_FUZZ_CHECK(at != units.end() || len == 0);
    from = std::min(units.size(), static_cast<size_t>(at - units.begin()) + len);
  }
  QN_FUZZ_CHECK(list.Tail() == prev && list.Count() == count);
  return count;
}

}  // namespace qnfuzz
