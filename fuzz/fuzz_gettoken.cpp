// GetToken walked over a whole text: every token terminated within its capacity and copied from the
// text just consumed, every cursor inside the text and never moving back, progress whenever the
// capacity allows it, and nothing written for capacities below 1.
#include "fuzz_support.h"
#include "qnutil/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const short cch = in.ConsumeIntegralInRange<short>(-1, 40);
  const bool withDelims = in.ConsumeBool();
  qnfuzz::HeapText<unsigned short> delims(qnfuzz::TakeUtf16(in, 6));
  qnfuzz::HeapText<unsigned short> text(qnfuzz::TakeUtf16(in, 4096));
  qnfuzz::OutBuffer<unsigned short> token(cch, qnfuzz::kMarkW);

  const unsigned short *cursor = text.Get();
  for (size_t step = 0; step <= text.Length() + 1; ++step) {
    token.Reset();
    const unsigned short *next = GetToken(cursor, token.Get(), cch, withDelims ? delims.Get() : nullptr);
    QN_FUZZ_CHECK(text.Contains(next) && next >= cursor);
    if (cch < 1) {
      QN_FUZZ_CHECK(token.Untouched());
      break;
    }
    const long len = token.TerminatedLength();
    QN_FUZZ_CHECK(len >= 0);
    QN_FUZZ_CHECK(len <= next - cursor);
    QN_FUZZ_CHECK(std::memcmp(token.Get(), next - len, len * sizeof(unsigned short)) == 0);
    if (*next == 0 && next == cursor) {
      QN_FUZZ_CHECK(len == 0);
      break;
    }
    if (cch == 1) break;  // an empty token each time: no progress by contract
    QN_FUZZ_CHECK(next > cursor);
    cursor = next;
  }
  return 0;
}
