// Lists and VARIANT bytes: CFstrList::FromString of a 10,000-item text beside splitting the same
// text into a std::vector<std::u16string>, and LoadVariantToByteBuffer of a 100,000-number text
// beside a plain std::vector<uint8_t> parse of the same text. Each reports items per second.
#include <benchmark/benchmark.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "qnutil/frame.h"
#include "qnutil/lists.h"
#include "qnutil/variant.h"

using qn::AsU;

namespace {

// "item0, item1, ..., item9999": items of 5 to 9 units, each after a blank.
std::u16string ItemText(int items) {
  std::u16string text;
  for (int i = 0; i < items; ++i) {
    if (i != 0) text += u", ";
    text += u"item";
    for (char c : std::to_string(i)) text += static_cast<char16_t>(c);
  }
  return text;
}

// "0,1,...,255,0,...": 100,000 numbers, some with a blank before them.
std::u16string NumberText(int numbers) {
  std::u16string text;
  for (int i = 0; i < numbers; ++i) {
    if (i != 0) text += (i % 7 == 0) ? u", " : u",";
    for (char c : std::to_string(i % 256)) text += static_cast<char16_t>(c);
  }
  return text;
}

bool IsBlank(char16_t c) { return c == 0x20 || (c >= 0x09 && c <= 0x0D); }

constexpr int kItems = 10000;
constexpr int kNumbers = 100000;

void BM_FstrListFromString(benchmark::State &state) {
  const std::u16string text = ItemText(kItems);
  for (auto _ : state) {
    CFstrList list;
    list.FromString(AsU(text.c_str()), u',');
    benchmark::DoNotOptimize(list.Tail());
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_FstrListFromString);

// The same splitting rules into standard strings.
void BM_SplitToVector(benchmark::State &state) {
  const std::u16string text = ItemText(kItems);
  for (auto _ : state) {
    std::vector<std::u16string> items;
    size_t pos = 0;
    for (;;) {
      while (pos < text.size() && IsBlank(text[pos])) ++pos;
      const size_t sep = text.find(u',', pos);
      if (sep == std::u16string::npos) {
        if (pos < text.size()) items.emplace_back(text, pos);
        break;
      }
      items.emplace_back(text, pos, sep - pos);
      pos = sep + 1;
    }
    benchmark::DoNotOptimize(items.data());
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_SplitToVector);

void BM_LoadVariantToByteBuffer(benchmark::State &state) {
  const std::u16string text = NumberText(kNumbers);
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BSTR;
  V_BSTR(&v) = SysAllocString(qn::AsW(text.c_str()));
  for (auto _ : state) {
    BYTE *pb = nullptr;
    DWORD cb = 0;
    if (LoadVariantToByteBuffer(v, &pb, &cb) != S_OK || cb != kNumbers) state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(pb);
    _operator_delete(pb);
  }
  VariantClear(&v);
  state.SetItemsProcessed(state.iterations() * kNumbers);
}
BENCHMARK(BM_LoadVariantToByteBuffer);

// The baseline: the same fields parsed into a vector of bytes.
void BM_ParseNumbersToVector(benchmark::State &state) {
  const std::u16string text = NumberText(kNumbers);
  for (auto _ : state) {
    std::vector<uint8_t> bytes;
    bytes.reserve(kNumbers);
    const char16_t *p = text.c_str();
    for (;;) {
      while (IsBlank(*p)) ++p;
      uint32_t value = 0;
      for (; *p >= u'0' && *p <= u'9'; ++p) value = value * 10 + static_cast<uint32_t>(*p - u'0');
      bytes.push_back(static_cast<uint8_t>(value));
      if (*p != u',') break;
      ++p;
    }
    benchmark::DoNotOptimize(bytes.data());
  }
  state.SetItemsProcessed(state.iterations() * kNumbers);
}
BENCHMARK(BM_ParseNumbersToVector);

}  // namespace

BENCHMARK_MAIN();
