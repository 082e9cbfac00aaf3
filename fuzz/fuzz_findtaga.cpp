// FindTagA with up to four tags, in the ANSI code page that QNUTIL_ACP selects: a match lies on a
// character boundary inside the text, is the tag it names (ignoring case), starts where a word may
// start and ends at a word boundary; no match leaves the position null.
#include "fuzz_support.h"
#include "qnutil/text.h"

namespace {

bool IsWord(char ch) { return ch != 0 && IsCharAlphaNumericA(ch); }

// The start of the character before p, reached by stepping from the start; null when p is not on a
// character boundary.
const char *CharacterBefore(const char *text, const char *p, bool &onBoundary) {
  const char *prev = nullptr;
  const char *q = text;
  while (q < p && *q) {
    prev = q;
    q = CharNextA(q);
  }
  onBoundary = q == p;
  return prev;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const DWORD cTags = in.ConsumeIntegralInRange<DWORD>(0, 4);
  std::vector<std::unique_ptr<qnfuzz::HeapText<char>>> tags;
  std::vector<const char *> rgTags;
  for (DWORD i = 0; i < cTags; ++i) {
    std::vector<char> units = qnfuzz::Take8Bit(in, 8);
    if (units.empty()) units.push_back('/');  // tags are never empty
    tags.emplace_back(new qnfuzz::HeapText<char>(units));
    rgTags.push_back(tags.back()->Get());
  }
  qnfuzz::HeapText<char> text(qnfuzz::Take8Bit(in, 4096));

  const char *found = text.Get();  // FindTagA must reset it
  const int index = FindTagA(text.Get(), rgTags.data(), cTags, found);
  if (index < 0) {
    QN_FUZZ_CHECK(index == -1 && found == nullptr);
    return 0;
  }
  QN_FUZZ_CHECK(static_cast<DWORD>(index) < cTags);
  QN_FUZZ_CHECK(found && found >= text.Get() && found < text.End());
  bool onBoundary = false;
  const char *before = CharacterBefore(text.Get(), found, onBoundary);
  QN_FUZZ_CHECK(onBoundary);
  const char *tag = rgTags[index];
  QN_FUZZ_CHECK(SubStrCmpiA(found, tag) == 1);
  if (before && IsWord(found[0])) QN_FUZZ_CHECK(!IsWord(*before));
  return 0;
}
