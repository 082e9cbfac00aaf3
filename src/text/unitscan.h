// Finding the first of a few UTF-16 code units in terminated text: the scan under the line,
// character-set and substring searches. A block of 32 units at a time where the processor has SSE2,
// one unit at a time elsewhere; both find the same first stop.
#pragma once

#include <stdint.h>

namespace qn::text {

// What a scan stops on besides the terminator, which always stops it: up to kMax listed code units
// and, with nonAscii, every unit from 0x7F (DEL, then everything that is not ASCII). Unused places
// hold 0 (the terminator again), so a shorter list costs nothing to pad.
//
// Substring searches add a second test, on the unit `offset` (1..3) places after a position that
// passes the first: a scan may pass over the position when the text ends before that unit or the
// unit is neither in `following` nor (with nonAscii) from 0x7F. It may also stop there all the
// same; the second test only saves a searcher from looking at starts that cannot match.
struct UnitStops {
  static constexpr int kMax = 8;
  unsigned short units[kMax] = {};
  int count = 0;
  bool nonAscii = false;
  int offset = 0;
  unsigned short following[kMax] = {};
  int followingCount = 0;

  // False, leaving the list as it was, when it is full.
  bool Add(unsigned short unit) { return Append(units, count, unit); }
  bool AddFollowing(unsigned short unit) { return Append(following, followingCount, unit); }

 private:
  static bool Append(unsigned short *list, int &n, unsigned short unit) {
    if (n == kMax) return false;
    list[n++] = unit;
    return true;
  }
};

// The stops in a stretch of text: bit i of mask stands for base[i]. The mask is never empty, and
// its first bit is the first stop at or after where the scan started. A caller that wants further
// stops takes them from the mask in order, and scans again from end once the mask is spent; it
// stops at the terminator, so never uses the bits after it.
struct UnitHits {
  const unsigned short *base;
  uint32_t mask;
  const unsigned short *end;

  // The first stop left in the mask, taken out of it.
  const unsigned short *Take() {
    const unsigned short *p = base + LowestBit(mask);
    mask &= mask - 1;
    return p;
  }

 private:
  static int LowestBit(uint32_t m) {
#if defined(__GNUC__)
    return __builtin_ctz(m);
#else
    int i = 0;
    while ((m & 1) == 0) m >>= 1, ++i;
    return i;
#endif
  }
};

// The stops from p on, in the first stretch of text that holds one.
// The vector form reads whole aligned 64-byte blocks, from the one that holds p to the one that holds
// the first stop: it may read up to 62 bytes before p and after the terminator, never outside those
// blocks, so never on a page the text does not touch.
UnitHits ScanForStops(const unsigned short *p, const UnitStops &stops);

// The first position at or after p whose unit is the terminator or one of the stops.
inline const unsigned short *ScanToStop(const unsigned short *p, const UnitStops &stops) {
  return ScanForStops(p, stops).Take();
}

}  // namespace qn::text
