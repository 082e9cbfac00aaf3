// CGuidList::FromString over any text: S_OK or E_INVALIDARG, every item exactly 38 code units
// copied from the text in order, and the chain linked both ways and counted whatever the result.
#include "fuzz_support.h"
#include "qnutil/lists.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  qnfuzz::HeapText<unsigned short> text(qnfuzz::TakeUtf16(in, 4096));

  CGuidList list;
  const HRESULT hr = list.FromString(text.Get());
  QN_FUZZ_CHECK(hr == S_OK || hr == E_INVALIDARG);

  const size_t count = qnfuzz::CheckChainInText(
      list, text.Units(), [](const unsigned short *, size_t len) { QN_FUZZ_CHECK(len == 38); });
  QN_FUZZ_CHECK(count <= text.Length() / 38);
  return 0;
}
