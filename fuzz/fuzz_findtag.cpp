// FindTag with up to four tags: a match lies inside the text, is the tag it names (ignoring case),
// starts where a word may start and ends at a word boundary; no match leaves the position null.
#include "fuzz_support.h"
#include "qnutil/text.h"

namespace {

bool IsWord(unsigned short ch) { return ch != 0 && IsCharAlphaNumericW(static_cast<WCHAR>(ch)); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const DWORD cTags = in.ConsumeIntegralInRange<DWORD>(0, 4);
  std::vector<std::unique_ptr<qnfuzz::HeapText<unsigned short>>> tags;
  std::vector<const unsigned short *> rgTags;
  for (DWORD i = 0; i < cTags; ++i) {
    std::vector<unsigned short> units = qnfuzz::TakeUtf16(in, 8);
    if (units.empty()) units.push_back(u'/');  // tags are never empty
    tags.emplace_back(new qnfuzz::HeapText<unsigned short>(units));
    rgTags.push_back(tags.back()->Get());
  }
  qnfuzz::HeapText<unsigned short> text(qnfuzz::TakeUtf16(in, 4096));

  const unsigned short *found = text.Get();  // FindTag must reset it
  const int index = FindTag(text.Get(), rgTags.data(), cTags, found);
  if (index < 0) {
    QN_FUZZ_CHECK(index == -1 && found == nullptr);
    return 0;
  }
  QN_FUZZ_CHECK(static_cast<DWORD>(index) < cTags);
  QN_FUZZ_CHECK(found && found >= text.Get() && found < text.End());
  const unsigned short *tag = rgTags[index];
  QN_FUZZ_CHECK(SubStrCmpi(found, tag) == 1);
  const size_t cchTag = std::char_traits<char16_t>::length(reinterpret_cast<const char16_t *>(tag));
  QN_FUZZ_CHECK(found + cchTag <= text.End());
  QN_FUZZ_CHECK(!IsWord(found[cchTag - 1]) || !IsWord(found[cchTag]));
  if (found > text.Get() && IsWord(found[0])) QN_FUZZ_CHECK(!IsWord(found[-1]));
  return 0;
}
