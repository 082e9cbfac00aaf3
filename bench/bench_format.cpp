// CString::Format of "%d %s %f" beside the C library's snprintf of the same format into a char
// buffer that is then widened to UTF-16 code units, the cheapest way to the same text without the
// library. Both format the same rotation of values; every benchmark reports items (formats) per
// second.
//
// The string is reused from one format to the next, as a caller formatting in a loop would: after
// the first round its block is large enough and Format allocates nothing.
#include <benchmark/benchmark.h>
#include <stdio.h>

#include "qnutil/cstring.h"
#include "qnutil/utf16.h"

namespace {

// Integers of several lengths, texts of several lengths and doubles whose digits run out at
// different places, so that no single fast path decides the result.
const int kInts[] = {0, 42, -7, 123456, 2147483647, -65536, 999, 31};
const char16_t *const kWide[] = {u"a", u"qnutil", u"formatting", u"", u"x y z", u"UTF-16 text", u"ok", u"zz"};
const char *const kNarrow[] = {"a", "qnutil", "formatting", "", "x y z", "UTF-16 text", "ok", "zz"};
const double kDoubles[] = {3.14159, 0.1, 12345.678, 1e6 / 7, -2.5, 0.0, 1e-7, 65536.0};

void CStringFormat(benchmark::State &state) {
  CString s;
  unsigned i = 0;
  for (auto _ : state) {
    const unsigned k = i++ & 7;
    s.Format(qn::AsU(u"%d %s %f"), kInts[k], kWide[k], kDoubles[k]);
    benchmark::DoNotOptimize(static_cast<const unsigned short *>(s));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void SnprintfThenWiden(benchmark::State &state) {
  char narrow[128];
  unsigned short wide[128];
  unsigned i = 0;
  for (auto _ : state) {
    const unsigned k = i++ & 7;
    const int n = snprintf(narrow, sizeof narrow, "%d %s %f", kInts[k], kNarrow[k], kDoubles[k]);
    for (int j = 0; j <= n; ++j) wide[j] = static_cast<unsigned char>(narrow[j]);
    benchmark::DoNotOptimize(wide);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

}  // namespace

BENCHMARK(SnprintfThenWiden);
BENCHMARK(CStringFormat);

BENCHMARK_MAIN();
