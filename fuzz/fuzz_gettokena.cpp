// GetTokenA walked over a whole 8-bit text, in the ANSI code page that QNUTIL_ACP selects: the same
// contract as the UTF-16 form, with cursors on character boundaries. Delimiters are single bytes
// compared before the lead-byte test, so a delimiter set holding a lead byte splits a double-byte
// character by contract; the boundary check leaves such sets out.
#include "fuzz_support.h"
#include "qnutil/text.h"

namespace {

// True when p is reached by stepping through the text character by character.
bool OnCharacterBoundary(const char *text, const char *p) {
  const char *q = text;
  while (q < p && *q) q = CharNextA(q);
  return q == p;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const short cch = in.ConsumeIntegralInRange<short>(-1, 40);
  const bool withDelims = in.ConsumeBool();
  qnfuzz::HeapText<char> delims(qnfuzz::Take8Bit(in, 6));
  qnfuzz::HeapText<char> text(qnfuzz::Take8Bit(in, 4096));
  qnfuzz::OutBuffer<char> token(cch, qnfuzz::kMarkA);
  bool delimsSplitCharacters = false;
  for (size_t i = 0; withDelims && i < delims.Length(); ++i) {
    if (IsDBCSLeadByte(static_cast<BYTE>(delims.Get()[i]))) delimsSplitCharacters = true;
  }

  const char *cursor = text.Get();
  for (size_t step = 0; step <= text.Length() + 1; ++step) {
    token.Reset();
    const char *next = GetTokenA(cursor, token.Get(), cch, withDelims ? delims.Get() : nullptr);
    QN_FUZZ_CHECK(text.Contains(next) && next >= cursor);
    if (!delimsSplitCharacters) QN_FUZZ_CHECK(OnCharacterBoundary(text.Get(), next));
    if (cch < 1) {
      QN_FUZZ_CHECK(token.Untouched());
      break;
    }
    const long len = token.TerminatedLength();
    QN_FUZZ_CHECK(len >= 0);
    QN_FUZZ_CHECK(len <= next - cursor);
    QN_FUZZ_CHECK(std::memcmp(token.Get(), next - len, len) == 0);
    if (*next == 0 && next == cursor) {
      QN_FUZZ_CHECK(len == 0);
      break;
    }
    // A double-byte character needs 3 places (itself and the terminator), so 2 may stall on one.
    if (cch <= 2) break;
    QN_FUZZ_CHECK(next > cursor);
    cursor = next;
  }
  return 0;
}
