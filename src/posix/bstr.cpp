// BSTR: one task-allocator block holding the byte count, the text and a 2-byte terminator.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "qnutil/posix/windows.h"

namespace {

// The block behind a BSTR of `bytes` bytes; NULL when the count cannot be represented or memory is short.
BSTR AllocBytes(const void *src, UINT bytes) {
  // The prefix holds a 32-bit count, and the block must stay addressable on 32-bit targets.
  if (bytes > 0x7FFFFFF0u) return nullptr;
  size_t total = sizeof(DWORD) + size_t{bytes} + sizeof(OLECHAR) + 1;
  auto *block = static_cast<BYTE *>(CoTaskMemAlloc(total));
  if (!block) return nullptr;
  DWORD count = bytes;
  memcpy(block, &count, sizeof count);
  BYTE *text = block + sizeof(DWORD);
  if (src) memcpy(text, src, bytes);
  // Two zero bytes after the data (three, so that an odd byte count still ends with a whole
  // terminator when read as characters).
  memset(text + bytes, 0, sizeof(OLECHAR) + 1);
  return reinterpret_cast<BSTR>(text);
}

UINT TextLength(const OLECHAR *psz) {
  UINT n = 0;
  while (psz[n]) ++n;
  return n;
}

BYTE *BlockOf(BSTR bstr) { return reinterpret_cast<BYTE *>(bstr) - sizeof(DWORD); }

}  // namespace

extern "C" BSTR WINAPI SysAllocString(const OLECHAR *psz) {
  if (!psz) return nullptr;
  return SysAllocStringLen(psz, TextLength(psz));
}

extern "C" BSTR WINAPI SysAllocStringLen(const OLECHAR *pch, UINT ui) {
  if (ui > 0x3FFFFFF8u) return nullptr;
  return AllocBytes(pch, ui * sizeof(OLECHAR));
}

extern "C" BSTR WINAPI SysAllocStringByteLen(LPCSTR psz, UINT len) { return AllocBytes(psz, len); }

extern "C" INT WINAPI SysReAllocStringLen(BSTR *pbstr, const OLECHAR *psz, UINT len) {
  if (!pbstr) return FALSE;
  // The source may lie inside the old string: copy before freeing.
  BSTR fresh = SysAllocStringLen(psz, len);
  if (!fresh) return FALSE;
  SysFreeString(*pbstr);
  *pbstr = fresh;
  return TRUE;
}

extern "C" INT WINAPI SysReAllocString(BSTR *pbstr, const OLECHAR *psz) {
  if (!pbstr) return FALSE;
  if (!psz) {
    SysFreeString(*pbstr);
    *pbstr = nullptr;
    return TRUE;
  }
  return SysReAllocStringLen(pbstr, psz, TextLength(psz));
}

extern "C" void WINAPI SysFreeString(BSTR bstrString) {
  if (bstrString) CoTaskMemFree(BlockOf(bstrString));
}

extern "C" UINT WINAPI SysStringByteLen(BSTR bstr) {
  if (!bstr) return 0;
  DWORD count;
  memcpy(&count, BlockOf(bstr), sizeof count);
  return count;
}

extern "C" UINT WINAPI SysStringLen(BSTR pbstr) { return SysStringByteLen(pbstr) / sizeof(OLECHAR); }
