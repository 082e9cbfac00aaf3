// The library's one heap: _operator_new and _operator_delete on the process heap, and the global
// operator new and delete of the library's own code, which forward to them.
//
// Rule for the whole library (src/frame, src/strings and every later folder; not the subset in
// src/posix, which is a shared library of its own): never use std::string, iostreams, or any other
// type whose allocations happen inside libstdc++'s own compiled code. That code allocates with the
// runtime's operator new (malloc), while whatever is inlined into the library frees with the
// operators below (HeapFree), or the reverse; the two would not pair up. Keep to types whose
// allocations are compiled here, or to the library's own classes.

#include <stddef.h>

#include "process_heap.h"
#include "qnutil/frame.h"

void *_operator_new(DWORD cb) {
  void *pv = HeapAlloc(qn_frame::g_hProcessHeap, 0, cb);
  if (pv == NULL) throw COOMExcep();
  return pv;
}

void _operator_delete(void *pv) { HeapFree(qn_frame::g_hProcessHeap, 0, pv); }

// The replaceable global allocation functions, for the library's code only. On PE they are simply
// not exported. On ELF the compiler's own declarations of them carry default visibility, which an
// attribute cannot override, so the symbols are hidden at the assembler level: exported, they would
// interpose on every new and delete of the host process.
namespace {

void *NewBlock(size_t cb) {
  // A count the heap's 32-bit interface cannot express is an exhausted heap, not a smaller block.
  if (cb > 0xFFFFFFFFu) throw COOMExcep();
  return _operator_new(static_cast<DWORD>(cb));
}

}  // namespace

void *operator new(size_t cb) { return NewBlock(cb); }
void *operator new[](size_t cb) { return NewBlock(cb); }
void operator delete(void *pv) noexcept { _operator_delete(pv); }
void operator delete[](void *pv) noexcept { _operator_delete(pv); }
void operator delete(void *pv, size_t) noexcept { _operator_delete(pv); }
void operator delete[](void *pv, size_t) noexcept { _operator_delete(pv); }

#if !defined(_WIN32)
#  if __SIZEOF_SIZE_T__ == 8
__asm__(".hidden _Znwm\n .hidden _Znam\n .hidden _ZdlPvm\n .hidden _ZdaPvm");
#  else
__asm__(".hidden _Znwj\n .hidden _Znaj\n .hidden _ZdlPvj\n .hidden _ZdaPvj");
#  endif
__asm__(".hidden _ZdlPv\n .hidden _ZdaPv");
#endif
