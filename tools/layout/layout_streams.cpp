// Layout: the stream interfaces. Slot numbers (from 1) of every IBufferedStream operation, which
// include IUnknown's and IStream's, and the interface identifiers.
#include <cstring>

#include "layout.h"
#if defined(QNUTIL_LAYOUT_LIBRARY)
#include "qnutil/streams.h"
#endif

namespace {

// The slot a pointer to a virtual member names. Every target builds with the Itanium C++ ABI (g++,
// clang, mingw), where such a pointer holds 1 + the slot's byte offset in the table.
template <class F>
unsigned long long SlotOf(F f) {
  static_assert(sizeof(F) == 2 * sizeof(void *), "a member pointer is a pointer and an adjustment");
  struct {
    std::uintptr_t ptr;
    std::ptrdiff_t adj;
  } raw;
  std::memcpy(&raw, &f, sizeof raw);
  return (raw.ptr - 1) / sizeof(void *) + 1;
}

#if defined(QNUTIL_LAYOUT_LIBRARY)
void Iid(const char *name, const IID &iid) {
  std::cout << name << ' ' << std::hex << iid.Data1 << ' ' << iid.Data2 << ' ' << iid.Data3;
  for (unsigned char b : iid.Data4) std::cout << ' ' << static_cast<unsigned>(b);
  std::cout << std::dec << '\n';
}
#endif

}  // namespace

#define SLOT(I, m) Line("slot." #I "." #m, SlotOf(&I::m))

QN_LAYOUT_GROUP(Streams) {
  TYPE(STATSTG);
  OFFSET(STATSTG, cbSize);
  OFFSET(STATSTG, grfMode);
  OFFSET(STATSTG, clsid);
#if defined(QNUTIL_LAYOUT_LIBRARY)
  Iid("IID_ISequentialStream", IID_ISequentialStream);
  Iid("IID_IStream", IID_IStream);
  Iid("IID_IBufferedStream", IID_IBufferedStream);
  SLOT(IBufferedStream, QueryInterface);
  SLOT(IBufferedStream, AddRef);
  SLOT(IBufferedStream, Release);
  SLOT(IBufferedStream, Read);
  SLOT(IBufferedStream, Write);
  SLOT(IBufferedStream, Seek);
  SLOT(IBufferedStream, SetSize);
  SLOT(IBufferedStream, CopyTo);
  SLOT(IBufferedStream, Commit);
  SLOT(IBufferedStream, Revert);
  SLOT(IBufferedStream, LockRegion);
  SLOT(IBufferedStream, UnlockRegion);
  SLOT(IBufferedStream, Stat);
  SLOT(IBufferedStream, Clone);
  SLOT(IBufferedStream, GetTargetStream);
  SLOT(IBufferedStream, SetTargetStream);
#endif
}
