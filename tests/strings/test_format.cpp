// The UTF-16 formatter (conversions, bounded output, one-conversion inserts, the length estimate)
// and CString::Format on top of it, also when the heap fails.
//
// The formatter is internal to the library and not exported: its source is compiled into this test
// program as well, as the subset compiles it for its message formatter.

#include <limits.h>
#include <stdarg.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/cstring.h"
#include "qnutil/utf16.h"
#include "support/heap_faults.h"
#include "strings/cstring_probe.h"

#include "../../src/strings/wformat.cpp"

namespace {

using qn::AsU;
using qntest::Text;

std::u16string Fmt(const char16_t *format, ...) {
  unsigned short buf[1024];
  va_list args;
  va_start(args, format);
  const size_t n = qn::format::FormatW(buf, 1024, AsU(format), args);
  va_end(args);
  return std::u16string(reinterpret_cast<const char16_t *>(buf), n < 1024 ? n : 1023);
}

qn::format::Estimate Est(const char16_t *format, ...) {
  va_list args;
  va_start(args, format);
  const qn::format::Estimate e = qn::format::EstimateW(AsU(format), args);
  va_end(args);
  return e;
}

// Two inserts in a row from one argument list: the second must start where the first stopped.
std::u16string TwoSpecs(const char16_t *spec1, const char16_t *spec2, ...) {
  unsigned short buf[64];
  va_list args;
  va_start(args, spec2);
  std::u16string out;
  for (const char16_t *spec : {spec1, spec2}) {
    const size_t n = qn::format::FormatSpecW(buf, 64, AsU(spec), std::char_traits<char16_t>::length(spec), &args);
    out.append(reinterpret_cast<const char16_t *>(buf), n);
  }
  va_end(args);
  return out;
}

double Bits(unsigned long long b) {
  double d;
  memcpy(&d, &b, sizeof d);
  return d;
}

struct Case {
  std::u16string got, want;
};

void ExpectAll(const std::vector<Case> &cases) {
  for (size_t i = 0; i < cases.size(); ++i)
    EXPECT_TRUE(cases[i].got == cases[i].want) << "case " << i;
}

TEST(FormatConversions, Integers) {
  ExpectAll({
      {Fmt(u"%d|%i|%u", INT_MIN, INT_MAX, -1), u"-2147483648|2147483647|4294967295"},
      {Fmt(u"%o|%x|%X|%#o|%#x|%#X", 8, 255, 255, 8, 255, 255), u"10|ff|FF|010|0xff|0XFF"},
      {Fmt(u"%#x|%#o|%#.0o|%.0d|%5.0d|", 0, 0, 0, 0, 0), u"0|0|||     |"},
      {Fmt(u"%05.3d|%08.5x|%#08x|%-05d|", -5, 5, 5, -5), u"-0005|00000005|0x000005|-5   |"},
      {Fmt(u"%+d|% d|%+ d|%+u|%+x|%+5.0d|", 5, 5, 5, 5u, 5, 0), u"+5| 5|+5|5|5|    +|"},
      {Fmt(u"%*d|%-*d|%*d|%.*d|%.*d", 5, 1, 5, 2, -5, 3, 3, 4, -3, 5), u"    1|2    |3    |004|5"},
      {Fmt(u"%hd|%hu|%hhx|%ld", 65537, 65538, 0x12345, 3), u"1|2|2345|3"},
      {Fmt(u"%I64d|%lld|%jx|%I64u", -5000000000LL, -5000000000LL, 0x123456789abcLL, ~0ULL),
       u"-5000000000|-5000000000|123456789abc|18446744073709551615"},
      {Fmt(u"%I32d|%Id|%zu|%td", 7, static_cast<ptrdiff_t>(-1), static_cast<size_t>(5), static_cast<ptrdiff_t>(-3)),
       u"7|-1|5|-3"},
      // A 64-bit size wins wherever it stands; I, z and t are sizes only before an integer conversion.
      {Fmt(u"%I64hd|%hlld|%hlhd|%hI32d|%hld|%I6d|%Is|%zhd", 0x100000001LL, 0x100000001LL, 65537, 65537, 65537),
       u"4294967297|4294967297|1|1|65537|I6d|Is|zhd"},
  });
}

TEST(FormatConversions, FloatingPoint) {
  const double inf = Bits(0x7FF0000000000000ull);
  ExpectAll({
      {Fmt(u"%e|%E|%f|%g|%G", 1.5, 1.5, 1.5, 1.5e-10, 1.5e20), u"1.500000e+000|1.500000E+000|1.500000|1.5e-010|1.5E+020"},
      // Exact values, rounded half away from zero.
      {Fmt(u"%.0f|%.0f|%.1f|%.2f|%.0e|%.0f", 0.5, 2.5, 0.25, 1.005, 25.0, -0.5), u"1|3|0.3|1.00|3e+001|-1"},
      {Fmt(u"%.17g|%.20f", 0.1, 0.1), u"0.10000000000000001|0.10000000000000000555"},
      {Fmt(u"%e|%.3e|%g|%.1f", 9.9999996, 9.9995, 999999.5, 9.96), u"1.000000e+001|9.999e+000|1e+006|10.0"},
      {Fmt(u"%g|%g|%g|%g|%#g|%#.0f", 100000.0, 1e6, 1e-4, 1e-5, 1.0, 3.0), u"100000|1e+006|0.0001|1e-005|1.00000|3."},
      {Fmt(u"%f|%e|%g|%+e", -0.0, 4.9e-324, 0.0, 0.0), u"-0.000000|4.940656e-324|0|+0.000000e+000"},
      {Fmt(u"%.0f|%.3f|%012.3f|%-9.1f|", 1e22, 0.0005, -3.14159, 2.5), u"10000000000000000000000|0.001|-0000003.142|2.5      |"},
      {Fmt(u"%a|%.0a|%.2a|%a|%A", 1.0, 1.5, 1.999, 4.9e-324, 255.0),
       u"0x1.0000000000000p+0|0x2p+0|0x2.00p+0|0x0.0000000000001p-1022|0X1.FE00000000000P+7"},
      {Fmt(u"%f|%e|%g|%f", inf, -inf, Bits(0x7FF8000000000000ull), Bits(0xFFF8000000000000ull)),
       u"1.#INF00|-1.#INF00e+000|1.#QNAN|-1.#IND00"},
      {Fmt(u"%.0f|%.1f|%.2f|%.3f|%010f|%.2g|%.1a", inf, inf, inf, inf, inf, inf, inf), u"1|1.$|1.#J|1.#IO|001.#INF00|1.$|0x1.$p+0"},
      {Fmt(u"%Lf|%*.*f", 1.5, 10, 2, 3.14159), u"1.500000|      3.14"},
  });
}

TEST(FormatConversions, TextCharactersAndPointers) {
  struct Counted {
    unsigned short Length, MaximumLength;
    const void *Buffer;
  };
  const Counted wide = {6, 6, u"abcdef"}, narrow = {2, 2, "xyz"}, none = {0, 0, NULL};
  const std::u16string p1234 = sizeof(void *) == 8 ? u"0000000000001234" : u"00001234";
  ExpectAll({
      {Fmt(u"%s|%S|%ls|%lS|%hs|%hS|%ws|%wS", u"a", "b", u"c", u"d", "e", "f", u"g", u"h"), u"a|b|c|d|e|f|g|h"},
      {Fmt(u"%s|%S|%.3s|%5.1s|%-7s|", nullptr, nullptr, nullptr, nullptr, nullptr), u"(null)|(null)|(nu|    (|(null) |"},
      {Fmt(u"%5.2s|%-*s|%05s|%.0s|", u"abcdef", -6, u"ab", u"ab", u"ab"), u"   ab|ab    |000ab||"},
      {Fmt(u"%S|%hs", "\xe9\x80\xff", "x\xfey"), u"\u00e9\u0080\u00ff|x\u00fey"},
      {Fmt(u"%c|%c|%C|%hc|%wc|%3c|%.0c|%05c", u'a', 0x12345, 0x1e9, 0x1e9, 0x1e9, u'b', u'c', u'z'),
       u"a|\u2345|\u00e9|\u00e9|\u01e9|  b||0000z"},
      {Fmt(u"%Z|%wZ|%hZ|%.2Z|%Z", &wide, &wide, &narrow, &wide, &none), u"abc|abc|xy|ab|(null)"},
      {Fmt(u"%p|%#p|%+p", reinterpret_cast<void *>(0x1234), nullptr, nullptr),
       p1234 + u"|" + std::u16string(sizeof(void *) * 2, u'0') + u"|" + std::u16string(sizeof(void *) * 2, u'0')},
      {Fmt(u"%#p", reinterpret_cast<void *>(0x1234)), u"0X" + p1234},
  });
}

TEST(FormatConversions, PercentUnknownAndUnfinished) {
  ExpectAll({
      {Fmt(u"100%%|%5%|%-%|%h%|"), u"100%||||"},
      {Fmt(u"%y%d|%-5k|%*v%d", 7, 3, 8), u"y7|k|v8"},
      {Fmt(u"abc%"), u"abc"},
      {Fmt(u"abc%-+ 0#"), u"abc"},
      {Fmt(u"abc%5.3"), u"abc"},
      {Fmt(u"abc%I64"), u"abc"},
      {Fmt(u"%l64d|%ll|", 1), u"64d||"},
  });
}

TEST(FormatConversions, CountStores) {
  int n = -1;
  short h = -1;
  long long ll = -1;
  EXPECT_TRUE(Fmt(u"abc%n%s%hn|%lln", &n, u"de", &h, &ll) == u"abcde|");
  EXPECT_EQ(n, 3);
  EXPECT_EQ(h, 5);
  EXPECT_EQ(ll, 6);
  EXPECT_TRUE(Fmt(u"ab%n", nullptr) == u"ab");
}

TEST(FormatConversions, OneSpecificationAtATime) {
  EXPECT_TRUE(TwoSpecs(u"*d", u"%#x", 5, 42, 255) == u"   420xff");
  EXPECT_TRUE(TwoSpecs(u"-*.*s|", u"I64d", -4, 1, u"abc", -5000000000LL) == u"a   |-5000000000");
  EXPECT_TRUE(TwoSpecs(u"5.1f", u"c", 2.25, u'z') == u"  2.3z");
}

// Every capacity from 0 to past the end: nothing written beyond it, the prefix that fits, the
// terminator, and the whole length answered.
std::u16string Bounded(size_t capacity, const char16_t *format, ...) {
  std::vector<unsigned short> buf(capacity + 4, 0xBEEF);
  va_list args;
  va_start(args, format);
  const size_t n = qn::format::FormatW(capacity > 0 ? buf.data() : nullptr, capacity, AsU(format), args);
  va_end(args);
  for (size_t i = capacity; i < buf.size(); ++i) EXPECT_EQ(buf[i], 0xBEEF) << "written past capacity " << capacity;
  std::u16string kept;
  if (capacity > 0) {
    const size_t fit = n < capacity ? n : capacity - 1;
    EXPECT_EQ(buf[fit], 0) << "no terminator at capacity " << capacity;
    kept.assign(reinterpret_cast<const char16_t *>(buf.data()), fit);
  }
  return kept + u"|" + std::u16string(n, u'#');  // the text kept, then the length answered
}

TEST(FormatBounded, NeverPastCapacityAndAlwaysTheWholeLength) {
  const std::u16string full[] = {Fmt(u"%f", 1e300), Fmt(u"x%I64dy", -5000000000LL), Fmt(u"%*s|%-*d|", 9, u"ab", -7, 5),
                                 Fmt(u"%s%c%s", u"ab", 0, u"cd"), Fmt(u"%.40e", 1.0 / 3)};
  for (size_t cap = 0; cap <= full[0].size() + 2; ++cap) {
    const std::u16string texts[] = {Bounded(cap, u"%f", 1e300), Bounded(cap, u"x%I64dy", -5000000000LL),
                                    Bounded(cap, u"%*s|%-*d|", 9, u"ab", -7, 5), Bounded(cap, u"%s%c%s", u"ab", 0, u"cd"),
                                    Bounded(cap, u"%.40e", 1.0 / 3)};
    for (size_t k = 0; k < 5; ++k) {
      const size_t fit = cap == 0 ? 0 : std::min(full[k].size(), cap - 1);
      EXPECT_TRUE(texts[k] == full[k].substr(0, fit) + u"|" + std::u16string(full[k].size(), u'#'))
          << "format " << k << " capacity " << cap;
    }
  }
  EXPECT_EQ(full[0].size(), 308u);
  EXPECT_EQ(full[3].size(), 5u);
}

TEST(FormatEstimate, ItemsByTheRules) {
  const struct {
    qn::format::Estimate got;
    size_t want;
  } cases[] = {
      {Est(u"abc%%"), 4},
      {Est(u"%d", 42), 32},
      {Est(u"%10.5d|%40.5x", 1, 2), 32 + 1 + 45},
      {Est(u"%#x%#o", 1, 2), 2 + 32 + 2 + 32},
      {Est(u"%f|%60.70e", 1.0, 2.0), 128 + 1 + 130},
      {Est(u"%p%n", nullptr, nullptr), 32},
      {Est(u"%c%5c%.1c", u'a', u'b', u'c'), 2 + 5 + 1},
      {Est(u"%s|%s|%S", nullptr, u"", "abcdef"), 6 + 1 + 1 + 1 + 6},
      {Est(u"%10.2s|%.3s|%5.2s", u"abcdef", u"abcdef", u"abcdef"), 10 + 1 + 3 + 1 + 5},
      {Est(u"%-*s|%*.*s", -6, u"ab", 4, -1, u"abcdefgh"), 6 + 1 + 8},
      // The sizes are read as the formatter reads them: the text after a 64-bit value is found.
      {Est(u"%I64d%s%lld%s", 1LL << 40, u"abcdefghij", 1LL << 41, u"xyz"), 32 + 10 + 32 + 3},
      {Est(u"abc%-+ "), 3},
      {Est(u"%5"), 0},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) EXPECT_EQ(cases[i].got.total, cases[i].want) << "case " << i;
}

TEST(FormatEstimate, SaysWhenItMayFallShort) {
  EXPECT_TRUE(Est(u"%d %s %f %e %g", 1, u"ab", 3.25, 1e300, 1e300).covers);
  EXPECT_TRUE(Est(u"%.100f", 1e20).covers);
  EXPECT_FALSE(Est(u"%f", 1e300).covers);
  EXPECT_FALSE(Est(u"%y").covers);
  EXPECT_FALSE(Est(u"%+.40d", 1).covers);
}

TEST(CStringFormat, Results) {
  CString s;
  s.Format(AsU(u"%d"), 42);
  EXPECT_TRUE(Text(s) == u"42");
  EXPECT_GE(s.GetAllocLength(), 32);
  s.Format(AsU(u"%s"), nullptr);
  EXPECT_TRUE(Text(s) == u"(null)");
  s.Format(AsU(u"100%%"));
  EXPECT_TRUE(Text(s) == u"100%");
  s.Format(AsU(u"%c|"), 0);  // the length stops at the first zero
  EXPECT_TRUE(Text(s) == u"");
  s.Format(AsU(u"%5.2s|%-*s|"), u"abcdef", -6, u"ab");
  EXPECT_TRUE(Text(s) == u"   ab|ab    |");
  s.Format(AsU(u"%S|%hs|%lS"), "narrow", "h", u"wide");
  EXPECT_TRUE(Text(s) == u"narrow|h|wide");
}

TEST(CStringFormat, LongerThanTheEstimate) {
  CString s(AsU(u"old"));
  s.Format(AsU(u"%f"), 1e300);
  EXPECT_EQ(s.GetLength(), 308);
  EXPECT_TRUE(Text(s).compare(0, 20, u"10000000000000000525") == 0);
  EXPECT_TRUE(Text(s).compare(298, 10, u"160.000000") == 0);
  s.Format(AsU(u"%I64d|%*s|"), LLONG_MIN, -40, u"x");
  EXPECT_TRUE(Text(s) == u"-9223372036854775808|x" + std::u16string(39, u' ') + u"|");
  const std::u16string wide(300, u'w');
  s.Format(AsU(u"%y%*d%s"), -299, 7, wide.c_str());
  EXPECT_TRUE(Text(s) == u"y7" + std::u16string(298, u' ') + wide);
}

TEST(CStringFormat, SharedAndStringTableForms) {
  CString a(AsU(u"shared text"));
  CString b(a);
  b.Format(AsU(u"%d-%d"), 1, 2);
  EXPECT_TRUE(Text(a) == u"shared text");
  EXPECT_TRUE(Text(b) == u"1-2");
  b.Format(1u, 5);  // the library's module has no string table: an empty format
  EXPECT_TRUE(Text(b) == u"");
}

TEST(CStringFormat, OutOfMemoryKeepsTheOldText) {
  struct Holders {
    CString s, other;
  };
  for (bool shared : {false, true}) {
    for (const char16_t *format : {u"%s %d", u"%s %d %f"}) {
      const int allocations = qntest::RunUntilSuccess(
          [&] {
            auto h = std::make_unique<Holders>();
            h->s = AsU(u"old text");
            if (shared) h->other = h->s;
            return h;
          },
          [&](std::unique_ptr<Holders> &h) { h->s.Format(AsU(format), u"abc", 42, 1e300); },
          [&](std::unique_ptr<Holders> &h) {
            EXPECT_TRUE(Text(h->s) == u"old text");
            if (shared) {
              EXPECT_TRUE(Text(h->other) == u"old text");
            }
          });
      EXPECT_EQ(allocations, 1) << "one reservation, also when the text outgrows the estimate";
    }
  }
}

}  // namespace
