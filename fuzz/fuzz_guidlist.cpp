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

  const std::vector<unsigned short> units = text.Units();
  size_t from = 0;
  DWORD count = 0;
  const CFstrNode *prev = nullptr;
  for (const CFstrNode *node = list.Head(); node != nullptr; prev = node, node = node->m_pNext, ++count) {
    QN_FUZZ_CHECK(node->m_pPrev == prev);
    const unsigned short *item = node->m_fstr;
    QN_FUZZ_CHECK(item != nullptr && node->m_fstr.Length() == 38);
    auto at = std::search(units.begin() + from, units.end(), item, item + 38);
    QN_FUZZ_CHECK(at != units.end());
    from = static_cast<size_t>(at - units.begin()) + 38;
  }
  QN_FUZZ_CHECK(list.Tail() == prev && list.Count() == count);
  QN_FUZZ_CHECK(count <= units.size() / 38);
  return 0;
}
