// Layout: the stream interfaces. Slot numbers (from 1) of every IBufferedStream operation, which
// include IUnknown's and IStream's, and the interface identifiers.
#include "layout.h"
#if defined(QNUTIL_LAYOUT_LIBRARY)
#include "qnutil/streams.h"
#endif

QN_LAYOUT_GROUP(Streams) {
  TYPE(STATSTG);
  OFFSET(STATSTG, cbSize);
  OFFSET(STATSTG, grfMode);
  OFFSET(STATSTG, clsid);
#if defined(QNUTIL_LAYOUT_LIBRARY)
  IidLine("IID_ISequentialStream", IID_ISequentialStream);
  IidLine("IID_IStream", IID_IStream);
  IidLine("IID_IBufferedStream", IID_IBufferedStream);
  // Windows' IUnknown also has a template QueryInterface: name the virtual one by its type.
  Line("slot.IBufferedStream.QueryInterface",
       VirtualSlot(static_cast<HRESULT (STDMETHODCALLTYPE IUnknown::*)(REFIID, void **)>(
           &IBufferedStream::QueryInterface)));
  VIRTUAL_SLOT(IBufferedStream, AddRef);
  VIRTUAL_SLOT(IBufferedStream, Release);
  VIRTUAL_SLOT(IBufferedStream, Read);
  VIRTUAL_SLOT(IBufferedStream, Write);
  VIRTUAL_SLOT(IBufferedStream, Seek);
  VIRTUAL_SLOT(IBufferedStream, SetSize);
  VIRTUAL_SLOT(IBufferedStream, CopyTo);
  VIRTUAL_SLOT(IBufferedStream, Commit);
  VIRTUAL_SLOT(IBufferedStream, Revert);
  VIRTUAL_SLOT(IBufferedStream, LockRegion);
  VIRTUAL_SLOT(IBufferedStream, UnlockRegion);
  VIRTUAL_SLOT(IBufferedStream, Stat);
  VIRTUAL_SLOT(IBufferedStream, Clone);
  VIRTUAL_SLOT(IBufferedStream, GetTargetStream);
  VIRTUAL_SLOT(IBufferedStream, SetTargetStream);
#endif
}
