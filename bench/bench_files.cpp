// Mapped text files: CMemMapTextFile::Open of a 256 MiB ANSI text file (map, detect, convert into a
// private UTF-16 block) beside reading the same file with read() into a buffer and widening every
// byte into a second one. The file is written once into the temporary directory (TMPDIR, else /tmp)
// and removed at the end.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "qnutil/memmap.h"

namespace {

constexpr size_t kFileBytes = size_t{256} << 20;

const std::string &SampleFile() {
  static const std::string path = [] {
    const char *dir = getenv("TMPDIR");
    std::string p = std::string(dir ? dir : "/tmp") + "/qnutil_bench_text.ini";
    FILE *f = fopen(p.c_str(), "wb");
    if (!f) return std::string();
    // Lines of name=value text with a few bytes above 0x7F, as an ANSI file has them.
    const std::string line = "entry_name = \"some value with caf\xE9 and na\xEFve words\" ; comment\r\n";
    std::string block;
    while (block.size() < (1 << 20)) block += line;
    block.resize(1 << 20);
    for (size_t written = 0; written < kFileBytes; written += block.size()) fwrite(block.data(), 1, block.size(), f);
    fclose(f);
    return p;
  }();
  return path;
}

void BM_MemMapTextFileOpen(benchmark::State &state) {
  const std::string &path = SampleFile();
  const std::u16string wide(path.begin(), path.end());
  for (auto _ : state) {
    CMemMapTextFile text;
    if (FAILED(text.Open(reinterpret_cast<const unsigned short *>(wide.c_str()), STGM_READ))) {
      state.SkipWithError("cannot open the file");
      break;
    }
    benchmark::DoNotOptimize(static_cast<const unsigned short *>(text)[text.Cch() / 2]);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFileBytes));
}
BENCHMARK(BM_MemMapTextFileOpen)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

void BM_ReadAndWiden(benchmark::State &state) {
  const std::string &path = SampleFile();
  for (auto _ : state) {
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
      state.SkipWithError("cannot open the file");
      break;
    }
    const off_t size = lseek(fd, 0, SEEK_END);
    lseek(fd, 0, SEEK_SET);
    std::vector<unsigned char> bytes(static_cast<size_t>(size));
    for (size_t got = 0; got < bytes.size();) {
      const ssize_t n = read(fd, bytes.data() + got, bytes.size() - got);
      if (n <= 0) break;
      got += static_cast<size_t>(n);
    }
    close(fd);
    std::vector<unsigned short> text(bytes.size() + 1);
    for (size_t i = 0; i < bytes.size(); ++i) text[i] = bytes[i];
    benchmark::DoNotOptimize(text[text.size() / 2]);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFileBytes));
}
BENCHMARK(BM_ReadAndWiden)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (SampleFile().empty()) {
    fprintf(stderr, "qnutil_bench_files: cannot write the sample file\n");
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  remove(SampleFile().c_str());
  return 0;
}
