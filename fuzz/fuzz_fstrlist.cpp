// CFstrList::FromString over any text and separator: the chain linked both ways and counted, every
// item a piece of the text in order that starts after the blanks and holds no separator, no more
// items than separators plus one, and a copy of the list equal to it.
#include "fuzz_support.h"
#include "qnutil/lists.h"

namespace {

bool IsBlank(unsigned short c) { return c == 0x20 || (c >= 0x09 && c <= 0x0D); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const unsigned short separator = qnfuzz::UnitFromByte(in.ConsumeIntegral<uint8_t>());
  qnfuzz::HeapText<unsigned short> text(qnfuzz::TakeUtf16(in, 4096));

  CFstrList list;
  QN_FUZZ_CHECK(list.FromString(text.Get(), separator) == S_OK);
  size_t separators = 0;
  for (const unsigned short *p = text.Get(); *p != 0; ++p) separators += (separator != 0 && *p == separator);
  QN_FUZZ_CHECK(list.Count() <= separators + 1);

  qnfuzz::CheckChainInText(list, text.Units(), [&](const unsigned short *item, size_t len) {
    QN_FUZZ_CHECK(len == 0 || !IsBlank(item[0]));
    for (size_t i = 0; i < len; ++i) QN_FUZZ_CHECK(separator == 0 || item[i] != separator);
  });

  CFstrList copy(list);
  const CFstrNode *a = list.Head();
  const CFstrNode *b = copy.Head();
  for (; a != nullptr && b != nullptr; a = a->m_pNext, b = b->m_pNext) {
    const unsigned short *ta = a->m_fstr;
    const unsigned short *tb = b->m_fstr;
    QN_FUZZ_CHECK(ta != tb && a->m_fstr.Length() == b->m_fstr.Length());
    QN_FUZZ_CHECK(std::memcmp(ta, tb, static_cast<size_t>(a->m_fstr.Length()) * 2) == 0);
  }
  QN_FUZZ_CHECK(a == nullptr && b == nullptr);
  return 0;
}
