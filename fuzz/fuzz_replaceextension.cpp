// ReplaceFileExtension in a buffer with exactly the room the contract asks for (the path and the
// new extension): false leaves the path as it was; true leaves the path up to a full stop of its
// last component, after which comes the new extension without its leading full stops.
#include "fuzz_support.h"
#include "qnutil/paths.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider in(data, size);
  std::vector<unsigned short> ext = qnfuzz::TakeUtf16(in, 16);
  std::vector<unsigned short> units = qnfuzz::TakeUtf16(in, 1024);
  for (auto *v : {&ext, &units}) {
    for (unsigned short &u : *v) {
      if (u == 0x01) u = u'.';
      if (u == 0x02) u = u'\\';
    }
  }
  qnfuzz::HeapText<unsigned short> extension(ext);
  std::vector<unsigned short> room(units);
  room.resize(units.size() + ext.size(), qnfuzz::kMarkW);  // the terminator is the block's last unit
  qnfuzz::HeapText<unsigned short> path(room);
  path.Get()[units.size()] = 0;

  const bool replaced = ReplaceFileExtension(path.Get(), extension.Get());
  const std::vector<unsigned short> result(path.Get(),
                                           path.Get() + std::char_traits<char16_t>::length(
                                                            reinterpret_cast<const char16_t *>(path.Get())));
  if (!replaced) {
    QN_FUZZ_CHECK(result == units);
    return 0;
  }
  size_t skipped = 0;
  while (skipped < ext.size() && ext[skipped] == u'.') ++skipped;
  const size_t cchNewExt = ext.size() - skipped;
  QN_FUZZ_CHECK(result.size() >= cchNewExt + 1);
  const size_t dot = result.size() - cchNewExt - 1;
  QN_FUZZ_CHECK(result[dot] == u'.' && dot < units.size() && units[dot] == u'.');
  QN_FUZZ_CHECK(std::equal(result.begin(), result.begin() + dot, units.begin()));
  QN_FUZZ_CHECK(std::equal(result.begin() + dot + 1, result.end(), ext.begin() + skipped));
  // The full stop was the last one of the last component.
  for (size_t i = dot + 1; i < units.size(); ++i) {
    QN_FUZZ_CHECK(units[i] != u'.' && units[i] != u'/' && units[i] != u'\\');
  }
  return 0;
}
