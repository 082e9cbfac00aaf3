// The unit scan: SSE2 kernels on x86 and x86-64, a plain loop elsewhere.
//
// The kernels load aligned 64-byte blocks (four 16-byte vectors). A block never straddles a page,
// so reading the whole block that holds a terminator is as safe as reading the terminator. The
// units of the first block that lie before the start are loaded too and masked off. On 32-bit x86
// the compiler may not assume SSE2: the kernels are compiled for it by a target attribute and
// used only when the processor reports it.
//
// Most stops are ASCII (a carriage return, punctuation, the first letter of a pattern). Then two
// vectors of units are narrowed to one vector of bytes with signed saturation, which keeps 0..0x7F
// as they are and turns every other unit into 0x7F or 0x80: a byte compare is then exact for the
// stops 1..0x7E, and half the compares of a 16-bit one.
#include "text/unitscan.h"

#include <stdint.h>

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define QN_SCAN_SSE2 1
#include <emmintrin.h>
#if !defined(__SSE2__)
#include <cpuid.h>
#define QN_SCAN_RUNTIME_CHECK 1
#endif
#endif

namespace qn::text {
namespace {

UnitHits ScanPlain(const unsigned short *p, const UnitStops &stops) {
  for (;; ++p) {
    const unsigned short c = *p;
    bool stop = c == 0 || (stops.nonAscii && c >= 0x7F);
    for (int i = 0; i < stops.count && !stop; ++i) stop = c == stops.units[i];
    if (stop) return UnitHits{p, 1, p + 1};
  }
}

#if QN_SCAN_SSE2

// The kernels read past the terminator within its block on purpose: an address sanitizer would
// report the bytes beyond the end of the object.
#if defined(QN_SCAN_RUNTIME_CHECK)
#define QN_SCAN_FN __attribute__((target("sse2"), no_sanitize_address))
#else
#define QN_SCAN_FN __attribute__((no_sanitize_address))
#endif

// A unit as the narrowing sees it.
inline unsigned char Narrowed(unsigned short unit) {
  return static_cast<unsigned char>(unit < 0x80 ? unit : unit < 0x8000 ? 0x7F : 0x80);
}

// One bit per unit of a 32-unit block, from two vectors of one byte per unit.
QN_SCAN_FN inline uint32_t BlockMask(__m128i low, __m128i high) {
  return static_cast<uint32_t>(_mm_movemask_epi8(low)) | static_cast<uint32_t>(_mm_movemask_epi8(high)) << 16;
}

// The lanes of sixteen narrowed units that are in the set (or, with NonAscii, from 0x7F up). The
// set's units are 1..0x7E, or NonAscii covers whatever a larger one matches as a byte.
template <int N, bool NonAscii>
QN_SCAN_FN inline __m128i InSet(__m128i bytes, const __m128i *want) {
  __m128i hit = _mm_cmpeq_epi8(bytes, want[0]);
  for (int i = 1; i < N; ++i) hit = _mm_or_si128(hit, _mm_cmpeq_epi8(bytes, want[i]));
  if (NonAscii) {
    // From 0x7F up, as an unsigned byte.
    const __m128i del = _mm_set1_epi8(0x7F);
    hit = _mm_or_si128(hit, _mm_cmpeq_epi8(_mm_max_epu8(bytes, del), bytes));
  }
  return hit;
}

// The lanes of the second test, moved down by Offset lanes across the block of 32 (low, high), so
// that each lines up with the position it decides about. The last Offset lanes would need the next
// block: they pass.
template <int Offset>
QN_SCAN_FN inline void LineUp(__m128i &low, __m128i &high) {
  const __m128i ones = _mm_cmpeq_epi8(low, low);
  low = _mm_or_si128(_mm_srli_si128(low, Offset), _mm_slli_si128(high, 16 - Offset));
  high = _mm_or_si128(_mm_srli_si128(high, Offset), _mm_slli_si128(ones, 16 - Offset));
}

// The stops of the aligned block of 32 units, narrowed: the terminators and the units in the set.
template <int N, bool NonAscii>
QN_SCAN_FN inline uint32_t NarrowStops(uintptr_t address, const __m128i *want) {
  const __m128i *v = reinterpret_cast<const __m128i *>(address);
  const __m128i low = _mm_packs_epi16(_mm_load_si128(v), _mm_load_si128(v + 1));
  const __m128i high = _mm_packs_epi16(_mm_load_si128(v + 2), _mm_load_si128(v + 3));
  const __m128i zero = _mm_setzero_si128();
  const __m128i stopLow = _mm_or_si128(InSet<N, NonAscii>(low, want), _mm_cmpeq_epi8(low, zero));
  const __m128i stopHigh = _mm_or_si128(InSet<N, NonAscii>(high, want), _mm_cmpeq_epi8(high, zero));
  if (_mm_movemask_epi8(_mm_or_si128(stopLow, stopHigh)) == 0) return 0;
  return BlockMask(stopLow, stopHigh);
}

// A set of one unit, or of two that differ in bit 0x20 alone (the two cases of an ASCII letter):
// the bytes b with (b | fold) == value. Narrowed bytes from 0x7F become 0x7F or 0xA0, which equal
// no value of such a set below 0x7F.
struct FoldedSet {
  __m128i fold, value;
};

// The lanes that pass a folded test or, with NonAscii, are among the lanes given as nonAscii.
template <bool NonAscii>
QN_SCAN_FN inline __m128i InFoldedSet(__m128i bytes, const FoldedSet &set, __m128i nonAscii) {
  const __m128i hit = _mm_cmpeq_epi8(_mm_or_si128(bytes, set.fold), set.value);
  return NonAscii ? _mm_or_si128(hit, nonAscii) : hit;
}

// The stops of the aligned block of 32 units for a substring search: the terminators, and the
// units that pass the first test and whose unit Offset places on passes the second.
template <int Offset, bool NonAscii>
QN_SCAN_FN inline uint32_t PairStops(__m128i low, __m128i high, const FoldedSet &first, const FoldedSet &second) {
  const __m128i zero = _mm_setzero_si128();
  __m128i nonAsciiLow = zero, nonAsciiHigh = zero;
  if (NonAscii) {
    // From 0x7F up, as an unsigned byte.
    const __m128i del = _mm_set1_epi8(0x7F);
    nonAsciiLow = _mm_cmpeq_epi8(_mm_max_epu8(low, del), low);
    nonAsciiHigh = _mm_cmpeq_epi8(_mm_max_epu8(high, del), high);
  }
  __m128i secondLow = InFoldedSet<NonAscii>(low, second, nonAsciiLow);
  __m128i secondHigh = InFoldedSet<NonAscii>(high, second, nonAsciiHigh);
  LineUp<Offset>(secondLow, secondHigh);
  const __m128i stopLow = _mm_or_si128(_mm_and_si128(InFoldedSet<NonAscii>(low, first, nonAsciiLow), secondLow),
                                       _mm_cmpeq_epi8(low, zero));
  const __m128i stopHigh = _mm_or_si128(_mm_and_si128(InFoldedSet<NonAscii>(high, first, nonAsciiHigh), secondHigh),
                                        _mm_cmpeq_epi8(high, zero));
  if (_mm_movemask_epi8(_mm_or_si128(stopLow, stopHigh)) == 0) return 0;
  return BlockMask(stopLow, stopHigh);
}

template <int Offset, bool NonAscii>
QN_SCAN_FN inline uint32_t PairStops(uintptr_t address, const FoldedSet &first, const FoldedSet &second) {
  const __m128i *v = reinterpret_cast<const __m128i *>(address);
  const __m128i low = _mm_packs_epi16(_mm_load_si128(v), _mm_load_si128(v + 1));
  const __m128i high = _mm_packs_epi16(_mm_load_si128(v + 2), _mm_load_si128(v + 3));
  if (NonAscii) {
    // Most blocks of most text are ASCII alone (bytes up to 0x7E): they take the shorter test.
    const __m128i top = _mm_adds_epu8(_mm_max_epu8(low, high), _mm_set1_epi8(1));
    if (_mm_movemask_epi8(top) == 0) return PairStops<Offset, false>(low, high, first, second);
  }
  return PairStops<Offset, NonAscii>(low, high, first, second);
}

// Scans block by block with the block test given: the first block from p on, moved down so that
// bit 0 stands for p, then whole blocks until one has a stop.
template <class BlockTest>
QN_SCAN_FN inline UnitHits ScanBlocks(const unsigned short *p, const BlockTest &test) {
  const uintptr_t start = reinterpret_cast<uintptr_t>(p);
  uintptr_t address = start & ~static_cast<uintptr_t>(63);
  const unsigned skipped = static_cast<unsigned>(start - address) / 2;
  const uint32_t first = test(address) >> skipped;
  const unsigned short *next = p + (32 - skipped);
  if (first != 0) return UnitHits{p, first, next};
  for (;; next += 32) {
    address += 64;
    const uint32_t mask = test(address);
    if (mask != 0) return UnitHits{next, mask, next + 32};
  }
}

template <int N, bool NonAscii>
struct NarrowTest {
  __m128i want[N];
  QN_SCAN_FN uint32_t operator()(uintptr_t address) const { return NarrowStops<N, NonAscii>(address, want); }
};

template <int N, bool NonAscii>
QN_SCAN_FN UnitHits ScanNarrow(const unsigned short *p, const UnitStops &stops) {
  NarrowTest<N, NonAscii> test;
  for (int i = 0; i < N; ++i) test.want[i] = _mm_set1_epi8(static_cast<char>(Narrowed(stops.units[i])));
  return ScanBlocks(p, test);
}

template <int Offset, bool NonAscii>
struct PairTest {
  FoldedSet first, second;
  QN_SCAN_FN uint32_t operator()(uintptr_t address) const {
    return PairStops<Offset, NonAscii>(address, first, second);
  }
};

// The folded form of a list of units, if it has one: a unit, or a letter in both cases.
bool Folded(const unsigned short *units, int count, unsigned char &fold, unsigned char &value) {
  if (count == 1 && units[0] < 0x7F) {
    fold = 0;
    value = static_cast<unsigned char>(units[0]);
    return true;
  }
  if (count == 2 && units[0] < 0x7F && units[1] < 0x7F && (units[0] ^ units[1]) == 0x20) {
    fold = 0x20;
    value = static_cast<unsigned char>(units[0] | 0x20);
    return true;
  }
  return false;
}

template <int Offset, bool NonAscii>
QN_SCAN_FN UnitHits ScanPair(const unsigned short *p, unsigned char fold0, unsigned char value0,
                             unsigned char fold1, unsigned char value1) {
  PairTest<Offset, NonAscii> test;
  test.first = FoldedSet{_mm_set1_epi8(static_cast<char>(fold0)), _mm_set1_epi8(static_cast<char>(value0))};
  test.second = FoldedSet{_mm_set1_epi8(static_cast<char>(fold1)), _mm_set1_epi8(static_cast<char>(value1))};
  return ScanBlocks(p, test);
}

// Stops that do not narrow (from 0x7F, without nonAscii), compared as 16-bit units; the second test
// is left out. One byte per unit out, as from the narrow tests.
template <int N>
QN_SCAN_FN inline __m128i WideStops(const __m128i *v, const __m128i *want) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i a = _mm_load_si128(v);
  const __m128i b = _mm_load_si128(v + 1);
  __m128i hitA = _mm_cmpeq_epi16(a, zero);
  __m128i hitB = _mm_cmpeq_epi16(b, zero);
  for (int i = 0; i < N; ++i) {
    hitA = _mm_or_si128(hitA, _mm_cmpeq_epi16(a, want[i]));
    hitB = _mm_or_si128(hitB, _mm_cmpeq_epi16(b, want[i]));
  }
  // All-ones and all-zero 16-bit lanes narrow to all-ones and all-zero bytes.
  return _mm_packs_epi16(hitA, hitB);
}

template <int N>
struct WideTest {
  __m128i want[N];
  QN_SCAN_FN uint32_t operator()(uintptr_t address) const {
    const __m128i *v = reinterpret_cast<const __m128i *>(address);
    const __m128i low = WideStops<N>(v, want);
    const __m128i high = WideStops<N>(v + 2, want);
    if (_mm_movemask_epi8(_mm_or_si128(low, high)) == 0) return 0;
    return BlockMask(low, high);
  }
};

template <int N>
QN_SCAN_FN UnitHits ScanWide(const unsigned short *p, const UnitStops &stops) {
  WideTest<N> test;
  for (int i = 0; i < N; ++i) test.want[i] = _mm_set1_epi16(static_cast<short>(stops.units[i]));
  return ScanBlocks(p, test);
}

bool VectorUsable() {
#if defined(QN_SCAN_RUNTIME_CHECK)
  static const bool usable = [] {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (edx & bit_SSE2) != 0;
  }();
  return usable;
#else
  return true;
#endif
}

// The kernel for the count: unused places hold 0, so the widest kernel that a count needs serves
// it.
template <bool NonAscii>
UnitHits ScanNarrowFor(const unsigned short *p, const UnitStops &stops) {
  if (stops.count <= 1) return ScanNarrow<1, NonAscii>(p, stops);
  if (stops.count <= 2) return ScanNarrow<2, NonAscii>(p, stops);
  if (stops.count <= 4) return ScanNarrow<4, NonAscii>(p, stops);
  return ScanNarrow<8, NonAscii>(p, stops);
}

// The scan with the second test, when both lists have a folded form; an exact search (without
// nonAscii) folds nothing. False when the scan has to do without the second test.
template <bool NonAscii>
bool ScanPairFor(const unsigned short *p, const UnitStops &stops, UnitHits &hits) {
  unsigned char fold0, value0, fold1, value1;
  if (!Folded(stops.units, stops.count, fold0, value0) ||
      !Folded(stops.following, stops.followingCount, fold1, value1) ||
      (!NonAscii && (fold0 != 0 || fold1 != 0))) {
    return false;
  }
  switch (stops.offset) {
    case 1: hits = ScanPair<1, NonAscii>(p, fold0, value0, fold1, value1); return true;
    case 2: hits = ScanPair<2, NonAscii>(p, fold0, value0, fold1, value1); return true;
    case 3: hits = ScanPair<3, NonAscii>(p, fold0, value0, fold1, value1); return true;
    default: return false;
  }
}

UnitHits ScanWideFor(const unsigned short *p, const UnitStops &stops) {
  if (stops.count <= 1) return ScanWide<1>(p, stops);
  if (stops.count <= 2) return ScanWide<2>(p, stops);
  if (stops.count <= 4) return ScanWide<4>(p, stops);
  return ScanWide<8>(p, stops);
}

bool AllBelowDel(const unsigned short *units, int count) {
  for (int i = 0; i < count; ++i) {
    if (units[i] >= 0x7F) return false;
  }
  return true;
}

#endif  // QN_SCAN_SSE2

}  // namespace

UnitHits ScanForStops(const unsigned short *p, const UnitStops &stops) {
#if QN_SCAN_SSE2
  // A unit at an odd address would straddle the kernels' lanes; such text takes the plain loop.
  if ((reinterpret_cast<uintptr_t>(p) & 1) == 0 && VectorUsable()) {
    if (!stops.nonAscii && !AllBelowDel(stops.units, stops.count)) return ScanWideFor(p, stops);
    if (stops.offset > 0) {
      UnitHits hits;
      if (stops.nonAscii ? ScanPairFor<true>(p, stops, hits) : ScanPairFor<false>(p, stops, hits)) return hits;
    }
    return stops.nonAscii ? ScanNarrowFor<true>(p, stops) : ScanNarrowFor<false>(p, stops);
  }
#endif
  return ScanPlain(p, stops);
}

}  // namespace qn::text
