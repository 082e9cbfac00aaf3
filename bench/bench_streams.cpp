// Streams and buffers: ten million 16-byte writes through a CBufferedWriteStream over a file stream
// with one commit, beside fwrite of the same writes; and CBuf::Append growth beside appends to a
// std::vector<char>. Files go to the temporary directory (TMPDIR, TEMP, else /tmp).
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "qnutil/buffers.h"
#include "qnutil/streams.h"

namespace {

constexpr int kWrites = 10000000;
constexpr unsigned kRecord = 16;
const char kBytes[kRecord + 1] = "0123456789abcdef";

std::string TempFile(const char *name) {
  const char *dir = getenv("TMPDIR");
  if (!dir) dir = getenv("TEMP");
  if (!dir) dir = "/tmp";
  return std::string(dir) + "/" + name;
}

std::u16string Widen(const std::string &s) { return std::u16string(s.begin(), s.end()); }

void BM_BufferedStreamToFile(benchmark::State &state) {
  const std::string path = TempFile("qnutil_bench_buffered.bin");
  const std::u16string wide = Widen(path);
  for (auto _ : state) {
    IStream *file = nullptr;
    IBufferedStream *buffered = nullptr;
    if (FAILED(CreateStreamFromURL(reinterpret_cast<const unsigned short *>(wide.c_str()), STGM_WRITE | STGM_CREATE,
                                   &file, false, nullptr, false))) {
      state.SkipWithError("cannot create the file");
      break;
    }
    CreateBufferedWriteStream(file, &buffered);
    file->Release();
    for (int i = 0; i < kWrites; ++i) buffered->Write(kBytes, kRecord, nullptr);
    if (FAILED(buffered->Commit(STGC_DEFAULT))) state.SkipWithError("commit failed");
    buffered->Release();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kWrites) * kRecord);
  remove(path.c_str());
}
BENCHMARK(BM_BufferedStreamToFile)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

void BM_FwriteToFile(benchmark::State &state) {
  const std::string path = TempFile("qnutil_bench_fwrite.bin");
  for (auto _ : state) {
    FILE *f = fopen(path.c_str(), "wb");
    if (!f) {
      state.SkipWithError("cannot create the file");
      break;
    }
    for (int i = 0; i < kWrites; ++i) fwrite(kBytes, 1, kRecord, f);
    fclose(f);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kWrites) * kRecord);
  remove(path.c_str());
}
BENCHMARK(BM_FwriteToFile)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// Appends of 16 bytes each from an empty buffer, state.range(0) of them.
void BM_CBufAppend(benchmark::State &state) {
  for (auto _ : state) {
    CBuf buf;
    for (int64_t i = 0; i < state.range(0); ++i) buf.Append(reinterpret_cast<const BYTE *>(kBytes), kRecord);
    benchmark::DoNotOptimize(buf.Content());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * kRecord);
}
BENCHMARK(BM_CBufAppend)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20);

void BM_VectorAppend(benchmark::State &state) {
  for (auto _ : state) {
    std::vector<char> v;
    for (int64_t i = 0; i < state.range(0); ++i) v.insert(v.end(), kBytes, kBytes + kRecord);
    benchmark::DoNotOptimize(v.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * kRecord);
}
BENCHMARK(BM_VectorAppend)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
