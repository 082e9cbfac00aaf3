// BuildPath with every capacity: the output is terminated within the capacity and is the prefix of
// the result that a large buffer receives; a refusal writes nothing; the result never holds more
// than the base and the relative path together.
#include "fuzz_support.h"
#include "qnutil/paths.h"

namespace {

// Separators and full stops, so that the fuzzer meets roots, parent groups and double separators
// at once rather than by chance.
std::vector<unsigned short> TakePath(FuzzedDataProvider &in, size_t cchMax) {
  std::vector<unsigned short> units = qnfuzz::TakeUtf16(in, cchMax);
  for (unsigned short &u : units) {
    switch (u) {
      case 0x01: u = u'/'; break;
      case 0x02: u = u'\\'; break;
      case 0x03: u = u'.'; break;
      case 0x04: u = u':'; break;
      default: break;
    }
  }
  return units;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const int cch = in.ConsumeIntegralInRange<int>(-1, 300);
  const bool nullBase = in.ConsumeIntegralInRange<int>(0, 15) == 0;
  qnfuzz::HeapText<unsigned short> base(TakePath(in, 256));
  qnfuzz::HeapText<unsigned short> rel(TakePath(in, 256));
  const unsigned short *pwszBase = nullBase ? nullptr : base.Get();

  qnfuzz::OutBuffer<unsigned short> out(cch, qnfuzz::kMarkW);
  const HRESULT hr = BuildPath(pwszBase, rel.Get(), out.Get(), cch);
  QN_FUZZ_CHECK(hr == S_OK || hr == E_INVALIDARG);

  const int cchFull = static_cast<int>(base.Length() + rel.Length() + 1);
  qnfuzz::OutBuffer<unsigned short> full(cchFull, qnfuzz::kMarkW);
  const HRESULT hrFull = BuildPath(pwszBase, rel.Get(), full.Get(), cchFull);
  if (cch >= 1) QN_FUZZ_CHECK(hr == hrFull);

  if (hr != S_OK) {
    QN_FUZZ_CHECK(out.Untouched());
    return 0;
  }
  const long len = out.TerminatedLength();
  const long lenFull = full.TerminatedLength();
  QN_FUZZ_CHECK(len >= 0 && lenFull >= 0);
  QN_FUZZ_CHECK(len == std::min<long>(lenFull, cch - 1));
  QN_FUZZ_CHECK(std::memcmp(out.Get(), full.Get(), len * sizeof(unsigned short)) == 0);
  return 0;
}
