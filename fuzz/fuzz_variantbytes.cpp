// LoadVariantToByteBuffer over any text: the result equals a plain re-reading of the rules (one byte
// per comma-separated field, blanks skipped before a field, the low 8 bits of the decimal number
// saturated at 32 bits, E_INVALIDARG for a blank text or a field that starts with anything but a
// digit, a comma or the end), and after a failure the out-parameters are clear.
#include "fuzz_support.h"
#include "qnutil/frame.h"
#include "qnutil/variant.h"

namespace {

bool IsBlank(unsigned short c) { return c == 0x20 || (c >= 0x09 && c <= 0x0D); }

// The rules written out again, independently of the library's code.
HRESULT Expected(const std::vector<unsigned short> &u, std::vector<BYTE> *out) {
  size_t i = 0;
  while (i < u.size() && IsBlank(u[i])) ++i;
  if (i == u.size()) return E_INVALIDARG;
  const size_t fields = 1 + static_cast<size_t>(std::count(u.begin(), u.end(), u','));
  i = 0;
  for (size_t f = 0; f < fields; ++f) {
    while (i < u.size() && IsBlank(u[i])) ++i;
    const unsigned c = i < u.size() ? u[i] : 0;
    if (c != 0 && c != ',' && (c < '0' || c > '9')) return E_INVALIDARG;
    uint64_t value = 0;
    while (i < u.size() && u[i] >= '0' && u[i] <= '9') {
      value = std::min<uint64_t>(value * 10 + (u[i] - '0'), 0x1FFFFFFFFull);
      ++i;
    }
    out->push_back(static_cast<BYTE>(value > 0xFFFFFFFFull ? 0xFF : value & 0xFF));
    if (i < u.size() && u[i] == ',') ++i;
  }
  return S_OK;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  // Digits, commas and blanks are what the parser branches on: map most bytes onto them.
  std::vector<unsigned short> units;
  for (unsigned char b : in.ConsumeRemainingBytesAsString()) {
    static const char kCommon[] = "0123456789,, \t-+";
    if (b == 0) continue;
    units.push_back(b < 0xC0 ? static_cast<unsigned short>(kCommon[b % 16]) : qnfuzz::UnitFromByte(b));
  }
  qnfuzz::HeapText<unsigned short> text(units);

  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BSTR;
  V_BSTR(&v) = SysAllocStringLen(qn::AsW(text.Get()), static_cast<UINT>(text.Length()));
  BYTE *pb = reinterpret_cast<BYTE *>(1);
  DWORD cb = 7;
  const HRESULT hr = LoadVariantToByteBuffer(v, &pb, &cb);
  std::vector<BYTE> expected;
  QN_FUZZ_CHECK(hr == Expected(units, &expected));
  if (hr == S_OK) {
    QN_FUZZ_CHECK(cb == expected.size() && std::memcmp(pb, expected.data(), cb) == 0);
    _operator_delete(pb);
  } else {
    QN_FUZZ_CHECK(pb == nullptr && cb == 0);
  }
  VariantClear(&v);
  return 0;
}
