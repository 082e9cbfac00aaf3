// The unit scan: SSE2 kernels on x86 and x86-64, a plain loop elsewhere.
//
// The kernels load aligned 32-byte blocks (two 16-byte vectors). A block never straddles a page,
// so reading the whole block that holds a terminator is as safe as reading the terminator. The
// bytes of the first block that lie before the start are loaded too and masked off. On 32-bit x86
// the compiler may not assume SSE2: the kernels are compiled for it by a target attribute and
// used only when the processor reports it.
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

const unsigned short *ScanPlain(const unsigned short *p, const UnitStops &stops) {
  for (;; ++p) {
    const unsigned short c = *p;
    if (c == 0) return p;
    if (stops.nonAscii && c >= 0x80) return p;
    for (int i = 0; i < stops.count; ++i) {
      if (c == stops.units[i]) return p;
    }
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

// Two mask bits per unit of the 16-byte vector, set for a terminator or a stop.
template <int N, bool NonAscii>
QN_SCAN_FN inline uint32_t VectorHits(__m128i v, const __m128i *want) {
  const __m128i zero = _mm_setzero_si128();
  __m128i hit = _mm_cmpeq_epi16(v, zero);
  for (int i = 0; i < N; ++i) hit = _mm_or_si128(hit, _mm_cmpeq_epi16(v, want[i]));
  uint32_t mask = static_cast<uint32_t>(_mm_movemask_epi8(hit));
  if (NonAscii) {
    // A unit below 0x80 becomes 0 when 0x7F is taken off it with unsigned saturation.
    const __m128i ascii = _mm_cmpeq_epi16(_mm_subs_epu16(v, _mm_set1_epi16(0x7F)), zero);
    mask |= ~static_cast<uint32_t>(_mm_movemask_epi8(ascii)) & 0xFFFFu;
  }
  return mask;
}

// Two mask bits per unit of the aligned 32-byte block.
template <int N, bool NonAscii>
QN_SCAN_FN inline uint32_t BlockHits(uintptr_t block, const __m128i *want) {
  const __m128i *v = reinterpret_cast<const __m128i *>(block);
  return VectorHits<N, NonAscii>(_mm_load_si128(v), want) |
         VectorHits<N, NonAscii>(_mm_load_si128(v + 1), want) << 16;
}

template <int N, bool NonAscii>
QN_SCAN_FN const unsigned short *ScanVector(const unsigned short *p, const unsigned short *units) {
  __m128i want[N];
  for (int i = 0; i < N; ++i) want[i] = _mm_set1_epi16(static_cast<short>(units[i]));
  const uintptr_t start = reinterpret_cast<uintptr_t>(p);
  uintptr_t block = start & ~static_cast<uintptr_t>(31);
  uint32_t hits = BlockHits<N, NonAscii>(block, want) & (~uint32_t{0} << (start - block));
  while (hits == 0) {
    block += 32;
    hits = BlockHits<N, NonAscii>(block, want);
  }
  // Both bytes of a unit that hits are set, so the lowest set bit is the unit's first byte.
  return p + (block + static_cast<uintptr_t>(__builtin_ctz(hits)) - start) / 2;
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

template <bool NonAscii>
const unsigned short *ScanVectorFor(const unsigned short *p, const UnitStops &stops) {
  // The unused places hold 0, so the widest kernel that the count needs serves every count.
  if (stops.count <= 1) return ScanVector<1, NonAscii>(p, stops.units);
  if (stops.count <= 2) return ScanVector<2, NonAscii>(p, stops.units);
  if (stops.count <= 4) return ScanVector<4, NonAscii>(p, stops.units);
  return ScanVector<8, NonAscii>(p, stops.units);
}

#endif  // QN_SCAN_SSE2

}  // namespace

const unsigned short *ScanToStop(const unsigned short *p, const UnitStops &stops) {
#if QN_SCAN_SSE2
  // A unit at an odd address would straddle the kernels' lanes; such text takes the plain loop.
  if ((reinterpret_cast<uintptr_t>(p) & 1) == 0 && VectorUsable()) {
    return stops.nonAscii ? ScanVectorFor<true>(p, stops) : ScanVectorFor<false>(p, stops);
  }
#endif
  return ScanPlain(p, stops);
}

}  // namespace qn::text
