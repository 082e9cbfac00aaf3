// BGetNameValPair called again and again from where the last call left the cursor: the cursor and
// the name position stay inside the text, a value read is terminated within its capacity, and a
// failed call leaves the value buffer as it was.
#include "fuzz_support.h"
#include "qnutil/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  const short cch = in.ConsumeIntegralInRange<short>(-1, 40);
  const unsigned short separator = qnfuzz::UnitFromByte(in.ConsumeIntegral<uint8_t>());
  const bool withStop = in.ConsumeBool();
  const bool stopIsString = in.ConsumeBool();
  const bool stripQuotedBlanks = in.ConsumeBool();
  const bool wantNamePos = in.ConsumeBool();
  qnfuzz::HeapText<unsigned short> name(qnfuzz::TakeUtf16(in, 12));
  qnfuzz::HeapText<unsigned short> stop(qnfuzz::TakeUtf16(in, 4));
  qnfuzz::HeapText<unsigned short> text(qnfuzz::TakeUtf16(in, 4096));
  qnfuzz::OutBuffer<unsigned short> value(cch, qnfuzz::kMarkW);

  const unsigned short *cursor = text.Get();
  for (size_t call = 0; call <= text.Length() + 1; ++call) {
    value.Reset();
    const unsigned short *before = cursor;
    const unsigned short *namePos = nullptr;
    const int found = BGetNameValPair(cursor, name.Get(), separator, value.Get(), cch,
                                      withStop ? stop.Get() : nullptr, stopIsString,
                                      stripQuotedBlanks, wantNamePos ? &namePos : nullptr);
    QN_FUZZ_CHECK(found == 0 || found == 1);
    QN_FUZZ_CHECK(text.Contains(cursor) && cursor >= before);
    if (namePos) QN_FUZZ_CHECK(text.Contains(namePos) && namePos >= before && namePos <= cursor);
    if (!found) {
      QN_FUZZ_CHECK(value.Untouched());
      break;
    }
    QN_FUZZ_CHECK(cch >= 1);
    const long len = value.TerminatedLength();
    QN_FUZZ_CHECK(len >= 0 && len < cch);
    QN_FUZZ_CHECK(len <= cursor - before);
    if (cursor == before) break;  // an empty name and an empty value at the cursor: no progress
  }
  return 0;
}
