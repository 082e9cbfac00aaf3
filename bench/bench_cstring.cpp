// CString beside std::u16string: copying a string of 1 KiB and of 64 KiB (a shared block, one
// interlocked increment and, on destruction, one interlocked decrement, against an allocation, a copy
// of the text and a release), and searching a text for a substring that occurs only at its end
// (CString::Find against std::u16string::find). Each copy is destroyed in the same iteration, so both
// sides pay for their release too. BM_InterlockedPair is the floor of any counted copy: the
// increment and decrement alone, on a count of its own.
#include <benchmark/benchmark.h>

#include <string>

#include "qnutil/cstring.h"

using qn::AsU;

namespace {

// Mostly-ASCII text of n code units from a fixed list of words, then the tail.
std::u16string MakeText(size_t n, const std::u16string &tail) {
  static const char16_t *const kWords[] = {u"the ", u"quick ", u"brown ", u"fox ", u"jumps ", u"over ",
                                           u"a ", u"lazy ", u"dog, ", u"then ", u"takes ", u"tea. "};
  std::u16string text;
  for (size_t i = 0; text.size() + tail.size() < n; ++i) text += kWords[(i * 7) % 12];
  text.resize(n - tail.size());
  return text + tail;
}

// Range: the size in bytes, terminator not counted.
std::u16string CopiedText(const benchmark::State &state) {
  return MakeText(static_cast<size_t>(state.range(0)) / 2, u"end");
}

void BM_CopyCString(benchmark::State &state) {
  const CString source(AsU(CopiedText(state).c_str()));
  for (auto _ : state) {
    CString copy(source);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_CopyCString)->Arg(1 << 10)->Arg(1 << 16);

void BM_CopyU16String(benchmark::State &state) {
  const std::u16string source = CopiedText(state);
  for (auto _ : state) {
    std::u16string copy(source);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_CopyU16String)->Arg(1 << 10)->Arg(1 << 16);

void BM_InterlockedPair(benchmark::State &state) {
  LONG volatile refs = 1;
  for (auto _ : state) {
    InterlockedIncrement(&refs);
    benchmark::DoNotOptimize(InterlockedDecrement(&refs));
  }
}
BENCHMARK(BM_InterlockedPair);

constexpr char16_t kPattern[] = u"lazy dogma";

const std::u16string &SearchedText(size_t units) {
  static std::u16string text;
  text = MakeText(units, kPattern);
  return text;
}

void BM_FindCString(benchmark::State &state) {
  const CString text(AsU(SearchedText(static_cast<size_t>(state.range(0))).c_str()));
  for (auto _ : state) benchmark::DoNotOptimize(text.Find(AsU(kPattern)));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}
BENCHMARK(BM_FindCString)->Arg(1 << 10)->Arg(1 << 16);

void BM_FindU16String(benchmark::State &state) {
  const std::u16string text = SearchedText(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(text.find(kPattern));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}
BENCHMARK(BM_FindU16String)->Arg(1 << 10)->Arg(1 << 16);

}  // namespace

BENCHMARK_MAIN();
