// Registry helpers over the platform's registry: CopyRegTree of 1,000 keys with 10 values each
// beside a read-only walk of the same tree; 10,000 RegSetValueExW calls with one flush beside the
// same writes into a standard map; FDebugClassEnabled per call beside getenv; and how the cost of
// FDebugClassEnabled and of one write and flush grows with the hive's size (10, 1,000, 10,000
// keys). Natively the program keeps its hives in a fresh temporary directory of its own.
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <stdlib.h>

#include <map>
#include <string>
#include <vector>

#include "qnutil/registry.h"

namespace {

const std::u16string kRoot = u"Software\\qnutil-bench";
const std::u16string kDebug = u"Software\\Corvanta\\Debug";

std::u16string Number(int n) {
  std::u16string s;
  do {
    s.insert(s.begin(), static_cast<char16_t>(u'0' + n % 10));
    n /= 10;
  } while (n != 0);
  return s;
}

#define QW(s) qn::AsW(qn::AsU((s).c_str()))

HKEY Create(HKEY root, const std::u16string &path) {
  HKEY hkey = NULL;
  if (RegCreateKeyExW(root, QW(path), 0, NULL, 0, KEY_ALL_ACCESS, NULL, &hkey, NULL) != ERROR_SUCCESS) return NULL;
  return hkey;
}

// Ten values of the usual kinds: numbers and short texts.
void FillValues(HKEY hkey) {
  for (int v = 0; v < 10; ++v) {
    const std::u16string name = u"value" + Number(v);
    if (v % 2 == 0) {
      const DWORD number = static_cast<DWORD>(v * 1000);
      RegSetValueExW(hkey, QW(name), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), sizeof(number));
    } else {
      const std::u16string text = u"text of value " + Number(v);
      RegSetValueExW(hkey, QW(name), 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                     static_cast<DWORD>((text.size() + 1) * 2));
    }
  }
}

// 10 children of 99 grandchildren each below the source key: 1,000 keys, 10 values in each.
void BuildSourceTree(const std::u16string &source) {
  RegDeleteTreeW(HKEY_CURRENT_USER, QW(source));
  for (int child = 0; child < 10; ++child) {
    const std::u16string childPath = source + u"\\child" + Number(child);
    HKEY hkey = Create(HKEY_CURRENT_USER, childPath);
    FillValues(hkey);
    RegCloseKey(hkey);
    for (int grand = 0; grand < 99; ++grand) {
      hkey = Create(HKEY_CURRENT_USER, childPath + u"\\grand" + Number(grand));
      FillValues(hkey);
      RegCloseKey(hkey);
    }
  }
  HKEY hkey = Create(HKEY_CURRENT_USER, source);
  RegFlushKey(hkey);
  RegCloseKey(hkey);
}

void BM_CopyRegTree1000Keys(benchmark::State &state) {
  const std::u16string source = kRoot + u"\\copy-src", destination = kRoot + u"\\copy-dst";
  BuildSourceTree(source);
  for (auto _ : state) {
    state.PauseTiming();
    RegDeleteTreeW(HKEY_CURRENT_USER, QW(destination));
    state.ResumeTiming();
    if (CopyRegTree(HKEY_CURRENT_USER, qn::AsU(source.c_str()), HKEY_CURRENT_USER, qn::AsU(destination.c_str())) != S_OK)
      state.SkipWithError("copy failed");
  }
  RegDeleteTreeW(HKEY_CURRENT_USER, QW(destination));
  RegDeleteTreeW(HKEY_CURRENT_USER, QW(source));
}
BENCHMARK(BM_CopyRegTree1000Keys)->Unit(benchmark::kMillisecond)->UseRealTime();

// The baseline: the same enumeration and reads, without creating or writing anything.
void WalkTree(HKEY hkey, long &bytes) {
  unsigned short name[512];
  BYTE data[1024];
  for (DWORD i = 0;; ++i) {
    DWORD cchName = 512, cbData = 1024, type = 0;
    if (RegEnumValueW(hkey, i, qn::AsW(name), &cchName, NULL, &type, data, &cbData) != ERROR_SUCCESS) break;
    bytes += static_cast<long>(cbData);
  }
  for (DWORD i = 0; RegEnumKeyW(hkey, i, qn::AsW(name), 512) == ERROR_SUCCESS; ++i) {
    HKEY sub = NULL;
    if (RegOpenKeyExW(hkey, qn::AsW(name), 0, KEY_READ, &sub) != ERROR_SUCCESS) continue;
    WalkTree(sub, bytes);
    RegCloseKey(sub);
  }
}

void BM_WalkTree1000KeysBaseline(benchmark::State &state) {
  const std::u16string source = kRoot + u"\\walk-src";
  BuildSourceTree(source);
  for (auto _ : state) {
    long bytes = 0;
    HKEY hkey = NULL;
    RegOpenKeyExW(HKEY_CURRENT_USER, QW(source), 0, KEY_READ, &hkey);
    WalkTree(hkey, bytes);
    RegCloseKey(hkey);
    benchmark::DoNotOptimize(bytes);
  }
  RegDeleteTreeW(HKEY_CURRENT_USER, QW(source));
}
BENCHMARK(BM_WalkTree1000KeysBaseline)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SetValue10000ThenFlush(benchmark::State &state) {
  const std::u16string path = kRoot + u"\\set";
  std::vector<std::u16string> names;
  for (int i = 0; i < 10000; ++i) names.push_back(u"value" + Number(i));
  for (auto _ : state) {
    state.PauseTiming();
    RegDeleteTreeW(HKEY_CURRENT_USER, QW(path));
    HKEY hkey = Create(HKEY_CURRENT_USER, path);
    state.ResumeTiming();
    for (int i = 0; i < 10000; ++i) {
      const DWORD number = static_cast<DWORD>(i);
      RegSetValueExW(hkey, QW(names[i]), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), sizeof(number));
    }
    RegFlushKey(hkey);
    RegCloseKey(hkey);
  }
  RegDeleteTreeW(HKEY_CURRENT_USER, QW(path));
}
BENCHMARK(BM_SetValue10000ThenFlush)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_StdMap10000Baseline(benchmark::State &state) {
  std::vector<std::u16string> names;
  for (int i = 0; i < 10000; ++i) names.push_back(u"value" + Number(i));
  for (auto _ : state) {
    std::map<std::u16string, std::vector<BYTE>> values;
    for (int i = 0; i < 10000; ++i) {
      const DWORD number = static_cast<DWORD>(i);
      const BYTE *p = reinterpret_cast<const BYTE *>(&number);
      values[names[i]] = std::vector<BYTE>(p, p + sizeof(number));
    }
    benchmark::DoNotOptimize(values);
  }
}
BENCHMARK(BM_StdMap10000Baseline)->Unit(benchmark::kMillisecond)->UseRealTime();

// Grows both hives to the given number of keys (arguments come in rising order, so each step only
// adds keys); the keys carry one value each.
void GrowHives(int keys) {
  static int s_keys = 0;
  // A handle held open on each root for the whole growth: closing the last handle of a root writes
  // the hive back, which would make every step cost the whole file.
  HKEY holders[] = {Create(HKEY_CURRENT_USER, kRoot), Create(HKEY_LOCAL_MACHINE, kRoot)};
  for (; s_keys < keys; ++s_keys) {
    const std::u16string path = kRoot + u"\\fill\\group" + Number(s_keys / 100) + u"\\key" + Number(s_keys);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      HKEY hkey = Create(root, path);
      const DWORD number = static_cast<DWORD>(s_keys);
      RegSetValueExW(hkey, QW(std::u16string(u"n")), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number),
                     sizeof(number));
      RegCloseKey(hkey);
    }
  }
  for (HKEY holder : holders) {
    RegFlushKey(holder);
    RegCloseKey(holder);
  }
}

void BM_FDebugClassEnabled(benchmark::State &state) {
  GrowHives(static_cast<int>(state.range(0)));
  HKEY hkey = Create(HKEY_LOCAL_MACHINE, kDebug);
  const DWORD on = 1;
  RegSetValueExW(hkey, QW(std::u16string(u"Bench")), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&on), sizeof(on));
  RegCloseKey(hkey);
  for (auto _ : state) benchmark::DoNotOptimize(FDebugClassEnabled(qn::AsU(u"Bench")));
  state.counters["hive_keys"] = static_cast<double>(state.range(0));
}

void BM_GetenvBaseline(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(getenv("QNUTIL_BENCH_SWITCH"));
}
BENCHMARK(BM_GetenvBaseline);

void BM_SetValueAndFlush(benchmark::State &state) {
  GrowHives(static_cast<int>(state.range(0)));
  HKEY hkey = Create(HKEY_CURRENT_USER, kRoot + u"\\one");
  DWORD number = 0;
  for (auto _ : state) {
    ++number;
    RegSetValueExW(hkey, QW(std::u16string(u"v")), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number),
                   sizeof(number));
    RegFlushKey(hkey);
  }
  RegCloseKey(hkey);
  state.counters["hive_keys"] = static_cast<double>(state.range(0));
}
// Both by hive size, the sizes rising: the hives only grow, so each size is measured for both
// before the next is reached.
BENCHMARK(BM_FDebugClassEnabled)->Arg(10);
BENCHMARK(BM_SetValueAndFlush)->Arg(10)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FDebugClassEnabled)->Arg(1000);
BENCHMARK(BM_SetValueAndFlush)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FDebugClassEnabled)->Arg(10000);
BENCHMARK(BM_SetValueAndFlush)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char **argv) {
#if !defined(_WIN32)
  // A registry of the benchmark's own, chosen before the first registry call.
  char dir[] = "/tmp/qnutil-bench-registry-XXXXXX";
  if (mkdtemp(dir) == NULL) return 1;
  setenv("QNUTIL_REGISTRY_DIR", dir, 1);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  RegDeleteTreeW(HKEY_CURRENT_USER, QW(kRoot));
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, QW(kRoot));
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, QW(kDebug));
#if !defined(_WIN32)
  const std::string command = std::string("rm -rf ") + dir;
  if (system(command.c_str()) != 0) fprintf(stderr, "could not remove %s\n", dir);
#endif
  return 0;
}
