// Finding the first of a few UTF-16 code units in terminated text: the scan under the line,
// character-set and substring searches. Sixteen units at a time where the processor has SSE2, one
// at a time elsewhere; both answer the same position.
#pragma once

namespace qn::text {

// What a scan stops on besides the terminator, which always stops it: up to kMax listed code units
// and, with nonAscii, every unit from 0x80. Unused places hold 0 (the terminator again), so a
// shorter list costs nothing to pad.
struct UnitStops {
  static constexpr int kMax = 8;
  unsigned short units[kMax] = {};
  int count = 0;
  bool nonAscii = false;

  // False, leaving the list as it was, when it is full.
  bool Add(unsigned short unit) {
    if (count == kMax) return false;
    units[count++] = unit;
    return true;
  }
};

// The first position at or after p whose unit is the terminator or one of the stops.
// The vector form reads whole aligned 32-byte blocks, from the one that holds p to the one that holds
// the answer: it may read up to 30 bytes before p and after the answer, never outside those blocks,
// so never on a page the text does not touch.
const unsigned short *ScanToStop(const unsigned short *p, const UnitStops &stops);

}  // namespace qn::text
