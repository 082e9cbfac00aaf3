// PathCompactPathW at every width in the subset's device context: a path is either left as it was
// or becomes a head of itself, three full stops and its part from the last backslash on; it never
// grows, and 0 always means unchanged.
#include "fuzz_support.h"
#include "qnutil/paths.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static HDC hdc = CreateCompatibleDC(nullptr);
  FuzzedDataProvider in(data, size);
  const DWORD dx = in.ConsumeBool() ? in.ConsumeIntegral<DWORD>() : in.ConsumeIntegralInRange<DWORD>(0, 4096);
  const bool nullDc = in.ConsumeIntegralInRange<int>(0, 15) == 0;
  std::vector<unsigned short> units = qnfuzz::TakeUtf16(in, 1024);
  for (unsigned short &u : units) {
    if (u == 0x01) u = u'\\';
  }
  qnfuzz::HeapText<unsigned short> path(units);

  const int answer = PathCompactPathW(nullDc ? nullptr : hdc, path.Get(), dx);
  QN_FUZZ_CHECK(answer == 0 || answer == 1);
  const std::vector<unsigned short> result(path.Get(),
                                           path.Get() + std::char_traits<char16_t>::length(
                                                            reinterpret_cast<const char16_t *>(path.Get())));
  if (answer == 0 || result == units) {
    QN_FUZZ_CHECK(result == units);
    return 0;
  }
  size_t backslash = units.size();
  while (backslash > 0 && units[backslash - 1] != u'\\') --backslash;
  QN_FUZZ_CHECK(backslash > 0);
  const size_t cchTail = units.size() - (backslash - 1);
  QN_FUZZ_CHECK(result.size() <= units.size());
  QN_FUZZ_CHECK(result.size() >= cchTail + 3);
  const size_t cchHead = result.size() - cchTail - 3;
  QN_FUZZ_CHECK(std::equal(result.begin(), result.begin() + cchHead, units.begin()));
  QN_FUZZ_CHECK(result[cchHead] == u'.' && result[cchHead + 1] == u'.' && result[cchHead + 2] == u'.');
  QN_FUZZ_CHECK(std::equal(result.begin() + cchHead + 3, result.end(), units.begin() + (backslash - 1)));
  return 0;
}
