// CBuf: a growable byte buffer that owns one region of committed virtual memory and counts how many
// bytes at its start hold data. CTextBuf: the same buffer holding zero-terminated UTF-16 text, with
// sizes in characters.
//
// Unlike the rest of the library these buffers do not use the library heap: every block is its own
// region from VirtualAlloc (MEM_COMMIT, PAGE_READWRITE), whole pages, zero-filled when obtained, and
// goes back with VirtualFree (MEM_RELEASE). Nothing here throws: a failed growth answers
// E_OUTOFMEMORY and leaves the buffer as it was (an empty buffer stays empty).
//
// Every change of size moves the data to a fresh region of exactly the size asked for; Append and
// EnsureSize grow to at least twice the present size, so a run of appends costs amortised linear
// time. One thread at a time may use a buffer.
//
// Decisions of this implementation:
// - SetSize below the bytes in use keeps the first new-size bytes and cuts the used count down to
//   the new size, so used never exceeds size.
// - Assignment keeps single ownership by copying: the target gets the source's used bytes in a
//   block of its own (its present block when that is large enough, else a fresh one of the
//   source's size). When the fresh block cannot be had the target is left exactly as it was; a
//   caller that must know compares BytesUsed afterwards. Assigning a buffer to itself does nothing.
// - CTextBuf derives publicly from CBuf, so Content, BytesUsed and DumpFile are available on text
//   too; its own Size, SetSize, EnsureSize, Append and Clear (in characters) hide CBuf's.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

class QNUTIL_API CBuf {
 public:
  // Starts empty, then SetSize(cbInitial); a failure there leaves the buffer empty, unreported.
  explicit CBuf(DWORD cbInitial = 0);
  ~CBuf();
  CBuf(const CBuf &) = delete;
  CBuf &operator=(const CBuf &other);

  // A block of exactly cb bytes holding the first bytes in use (0 releases the block). S_OK or
  // E_OUTOFMEMORY; on failure the old block, size and used count are untouched.
  HRESULT SetSize(DWORD cb);
  // S_OK when cbMin is not above Size(); else SetSize(max(2 * Size(), cbMin)).
  HRESULT EnsureSize(DWORD cbMin);
  // Copies cb bytes after the ones in use, growing first when needed. On failure nothing is
  // appended. cb == 0 appends nothing and never grows.
  HRESULT Append(const BYTE *pb, DWORD cb);
  // Forgets the data (used = 0); keeps the block and its contents.
  void Clear() { m_cbUsed = 0; }
  // Creates or truncates the file (written with no sharing) and writes the bytes in use with one
  // WriteFile. E_INVALIDARG when the file cannot be opened, whatever the reason;
  // HRESULT_FROM_WIN32 of the last error when the write fails. The buffer is not changed.
  HRESULT DumpFile(const unsigned short *pwszPath) const;

  const BYTE *Content() const { return m_pb; }   // NULL when there is no block
  DWORD Size() const { return m_cb; }            // bytes the last successful SetSize asked for
  DWORD BytesUsed() const { return m_cbUsed; }
  // Not supported: E_NOTIMPL, nothing changes.
  HRESULT Set(DWORD ib, BYTE *pb, DWORD cb);

 protected:
  BYTE *m_pb;
  DWORD m_cb;
  DWORD m_cbUsed;
};

// Text in a CBuf. Used counts bytes and, once anything was appended, includes the terminator.
class QNUTIL_API CTextBuf : public CBuf {
 public:
  // cch != 0: a block for cch characters and a terminator; it reads as the empty text (used 0).
  explicit CTextBuf(DWORD cch = 0);
  CTextBuf(const CTextBuf &) = delete;
  CTextBuf &operator=(const CTextBuf &other);

  HRESULT SetSize(DWORD cch) { return CBuf::SetSize(cch * 2 + 2); }
  HRESULT EnsureSize(DWORD cch) { return CBuf::EnsureSize(cch * 2 + 2); }
  // Capacity in characters, the terminator's slot included: SetSize(n) gives n + 1.
  DWORD Size() const { return m_cb / 2; }
  // Characters before the terminator.
  DWORD Cch() const { return m_cbUsed / 2 ? m_cbUsed / 2 - 1 : 0; }
  // Appends cch characters verbatim (embedded zeros too) over the old terminator and writes a new
  // one; cch == 0xFFFFFFFF measures pwsz with lstrlenW (NULL measures 0). On failure nothing
  // changes.
  HRESULT Append(const unsigned short *pwsz, DWORD cch = 0xFFFFFFFF);
  // Empties the text; keeps the block, whose first character becomes 0.
  void Clear();
  operator const unsigned short *() const { return reinterpret_cast<const unsigned short *>(m_pb); }
};
