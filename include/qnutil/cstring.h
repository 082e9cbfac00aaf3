// CString: the library's shared copy-on-write UTF-16 string. The text lives in one heap block right
// after a small header (CStringData); copies share the block by reference count and a holder takes a
// block of its own only when it is about to change the text.
//
// Conditions of a string, read from its block:
//   empty-shared  the process-wide empty block (refs -1, never freed, recognised by its address);
//                 every empty string without a block of its own points there, so empty strings
//                 allocate nothing
//   owned         refs 1: this string alone holds the block
//   shared        refs 2 or more: copies hold it too; the first one to write gets a block of its own
//   locked        refs -1 on any other block: one owner that may hand the text pointer to code that
//                 writes in place; copies from a locked string get a copy of its text
//
// Blocks are sized exactly: a block for n code units is one _operator_new of the header and n + 1
// code units, without rounding or pools; spare room comes only from GetBuffer, GetBufferSetLength,
// a shorter assignment into an owned block, or double-byte 8-bit text, and FreeExtra gives it back.
// An append that does not fit reallocates to exactly the new length (no growth factor): reserve room
// with GetBuffer or GetBufferSetLength before a loop of appends.
//
// Out of memory: every allocation is _operator_new, which throws COOMExcep. What a string holds when
// it passes:
//   - assignments (every operator= that copies text, AssignCopy, AllocBeforeWrite) release the old
//     block before asking for the new one: the string is left empty;
//   - concatenation, GetBuffer, GetBufferSetLength, FreeExtra, LockBuffer and every change built on
//     CopyBeforeWrite (MakeUpper, MakeLower, MakeReverse, SetAt, TrimLeft, TrimRight, ReleaseBuffer)
//     ask for the new block first: the string is left as it was;
//   - constructors: no object comes into being; nothing leaks.
//
// Threads: counts change only by interlocked increments and decrements, so distinct CString objects
// that share a block may be copied, assigned, changed and destroyed on different threads at once. One
// CString object must not be used by two threads at once.
//
// Text may hold zero code units inside its length where a length-driven operation put them (the
// (text, length) constructor, operator+= of 0, copies of such strings, slices). Searches, spans, case
// mapping, reversal, trimming and comparisons look only up to the first zero; slicing, copying and
// appending work on the length.
//
// Decisions of this implementation:
// - A single 8-bit character (operator=(char), operator+=(char), operator+ with a char) is widened
//   through the ANSI code page, exactly as a one-byte 8-bit string would be, so that s = '\xE9' and
//   s = "\xE9" give the same text (U+00E9 in code page 1252, not 0xFFE9). A byte the code page cannot read on its own (a lone
//   double-byte lead byte) gives whatever the code page answers for it, or U+FFFD when it answers
//   nothing.
// - Arguments outside the string are clamped rather than trusted, in every build, at the price of a
//   compare or two:
//     GetAt, operator[]  an index below 0 or above length reads 0 (as the terminator at length does);
//     SetAt              an index below 0 or not below length changes nothing (no copy is taken);
//     ReleaseBuffer      any negative length measures the text (up to the first zero, but never
//                        past allocLength); a length above allocLength becomes allocLength;
//     GetBufferSetLength a negative length is 0;
//     CString(text, n)   a negative length gives the empty string.
// - 8-bit text that the code page cannot convert at all gives the empty text (in the block that was
//   sized for it).
// - Sizes whose block the 32-bit heap interface cannot express (more than about 2^31 code units, or
//   lengths whose sum overflows an int) throw COOMExcep, as an exhausted heap does.
// - The shared empty block is library data with internal linkage: nothing inline needs its address.
#pragma once

#include <stdarg.h>

#include "qnutil/export.h"
#include "qnutil/win32.h"

// The header in front of every string's text. The text follows directly: allocLength + 1 code units.
struct CStringData {
  LONG refs;        // holders (1 or more); -1: locked, or the shared empty block
  int length;       // code units of text, the terminator not counted
  int allocLength;  // code units the block can hold, the terminator's slot not counted

  unsigned short *data() { return reinterpret_cast<unsigned short *>(this + 1); }
};

class QNUTIL_API CString {
 public:
  // ---- Construction and destruction

  CString();                                   // empty-shared; allocates nothing
  // Shares an owned or shared source's block (one interlocked increment). A locked or empty source
  // is copied up to its first zero code unit instead.
  CString(const CString &stringSrc);
  // NULL: empty. A value below 0x10000 is a string-table identifier, loaded as LoadStringW does.
  // Otherwise the text up to its terminator, in a block of exactly its length.
  CString(const unsigned short *lpsz);
  // 8-bit text through the ANSI code page; the block holds as many code units as the text has bytes.
  // NULL or "": empty.
  CString(const char *lpsz);
  CString(const unsigned char *lpsz);
  // nRepeat copies of ch; a count below 1 gives the empty string.
  CString(unsigned short ch, int nRepeat);
  // nLength code units copied verbatim, zero code units included; 0 or negative: empty.
  CString(const unsigned short *lpch, int nLength);
  ~CString();

  // ---- Assignment and concatenation

  // Shares the source's block unless this string is locked or the source is locked or empty; then
  // copies all of the source's length, zero code units included.
  CString &operator=(const CString &stringSrc);
  CString &operator=(const unsigned short *lpsz);  // NULL: empty; no string-table identifiers here
  CString &operator=(const char *lpsz);            // through the ANSI code page; NULL: empty
  CString &operator=(const unsigned char *lpsz);
  CString &operator=(unsigned short ch);           // reuses an owned or locked block with room for 1
  CString &operator=(char ch);                     // widened through the ANSI code page

  // Appends in place when the block is this string's own and has room; otherwise moves to a new block
  // of exactly the new length (a locked string ends owned). The source may be this string's own text.
  CString &operator+=(const unsigned short *lpsz);  // NULL appends nothing
  CString &operator+=(unsigned short ch);           // 0 is appended as a code unit: length grows by 1
  CString &operator+=(char ch);                     // widened through the ANSI code page
  CString &operator+=(const CString &string);       // all of its length, zero code units included

  // New strings of exactly the combined length; an empty result allocates nothing.
  friend QNUTIL_API CString operator+(const CString &string1, const CString &string2);
  friend QNUTIL_API CString operator+(const CString &string, const unsigned short *lpsz);
  friend QNUTIL_API CString operator+(const unsigned short *lpsz, const CString &string);
  friend QNUTIL_API CString operator+(const CString &string, unsigned short ch);
  friend QNUTIL_API CString operator+(unsigned short ch, const CString &string);
  friend QNUTIL_API CString operator+(const CString &string, char ch);
  friend QNUTIL_API CString operator+(char ch, const CString &string);

  // Length 0 afterwards. An owned or shared string lets its block go (empty-shared); a locked one
  // keeps its block, its capacity and its lock.
  void Empty();

  // ---- Access and comparison

  int GetLength() const { return GetData()->length; }
  int GetAllocLength() const;  // code units the block can hold without moving
  int IsEmpty() const;         // 1 when the length is 0, else 0

  unsigned short GetAt(int nIndex) const;       // 0 for an index outside [0, length]
  unsigned short operator[](int nIndex) const;  // as GetAt
  // The text, zero-terminated; never NULL. Valid until the string next changes or is destroyed.
  operator const unsigned short *() const { return pchText; }

  // -1, 0 or 1 by unsigned code units, up to the first difference or the end of both texts.
  int Compare(const unsigned short *lpsz) const;
  // The difference of the first differing code units after folding A..Z (only those) to a..z; any
  // negative or positive int.
  int CompareNoCase(const unsigned short *lpsz) const;
  int Collate(const unsigned short *lpsz) const;  // exactly Compare: no locale-aware collation

  // ---- Searching (no allocation, no unsharing; the argument text must not be NULL)

  // First index of ch before the first zero code unit; -1 when absent. Searching for 0 answers the
  // index of the first zero code unit.
  int Find(unsigned short ch) const;
  // First index where the whole text occurs; an empty text answers 0, or -1 on an empty string.
  int Find(const unsigned short *lpszSub) const;
  int ReverseFind(unsigned short ch) const;  // last index of ch; 0 as Find
  // First index of a code unit that is in the set; an empty set answers -1.
  int FindOneOf(const unsigned short *lpszCharSet) const;

  // ---- Slicing: always a new block of exactly the piece (never shared with this string), or the
  // empty string, which allocates nothing. Code units are copied verbatim, zeros included.

  // nCount code units from nFirst, with nFirst below 0 taken as 0, nCount below 0 as 0, and the
  // piece cut at the end of the string.
  CString Mid(int nFirst, int nCount) const;
  CString Mid(int nFirst) const;      // from nFirst to the end
  CString Left(int nCount) const;     // nCount clamped to [0, length]
  CString Right(int nCount) const;    // the last nCount, clamped the same way
  // The leading code units that are (are not) in the set, up to the first zero code unit.
  CString SpanIncluding(const unsigned short *lpszCharSet) const;
  CString SpanExcluding(const unsigned short *lpszCharSet) const;

  // ---- Changes in place: each first makes the block this string's own (CopyBeforeWrite), even when
  // nothing will change, and works up to the first zero code unit.

  void MakeUpper();    // a..z to A..Z only
  void MakeLower();    // A..Z to a..z only
  void MakeReverse();  // the order of the code units before the first zero
  void SetAt(int nIndex, unsigned short ch);  // length unchanged, also for 0
  // White space: 0x09..0x0D and 0x20 below 0x100; above, what GetStringTypeW(CT_CTYPE1) calls
  // C1_SPACE (0xFFFF never). Neither gives memory back (FreeExtra does).
  void TrimRight();
  void TrimLeft();

  // ---- Buffer access

  // A buffer that can hold at least nMinBufLength code units plus a terminator, keeping the text and
  // length. Moves to a new block (exactly the larger of nMinBufLength and length) when the block is
  // shared or too small. Write at most GetAllocLength() code units, then call ReleaseBuffer.
  unsigned short *GetBuffer(int nMinBufLength);
  // Ends a GetBuffer: sets the length (negative: measured) and writes the terminator.
  void ReleaseBuffer(int nNewLength = -1);
  // GetBuffer(nNewLength), then the length set to it; the code units between the old terminator and
  // the new length hold whatever the block held.
  unsigned short *GetBufferSetLength(int nNewLength);
  // Moves to a block of exactly the length when there is spare room; the string ends owned.
  void FreeExtra();
  // GetBuffer(0), then locks the block (refs -1) so it is never shared; the empty-shared string stays
  // as it is. Answers the text pointer.
  unsigned short *LockBuffer();
  void UnlockBuffer();  // a locked string becomes owned (refs 1); any other is left as it is

  // ---- Formatting and string tables

  // printf-style formatting into the string's own block; the format and text arguments must not lie
  // inside this string's block.
  void FormatV(const unsigned short *lpszFormat, va_list argList);
  void Format(const unsigned short *lpszFormat, ...);
  void Format(unsigned int nFormatID, ...);  // the format from the string table
  // Formatting by the platform's message formatter; any failure of it throws COOMExcep.
  void FormatMessageW(const unsigned short *lpszFormat, ...);
  void FormatMessageW(unsigned int nFormatID, ...);
  // Replaces the text by the string table's text nID of the library's resource module (the empty
  // text when there is none). Answers 1 when a non-empty text was loaded, else 0. Texts of up to 254
  // code units cost one block of their own size; longer ones are read again into buffers growing by
  // 256 code units. Out of memory leaves the string empty, as an assignment does.
  int LoadStringW(unsigned int nID);

 protected:
  // ---- Internal operations, for derived classes and the library's own members

  void Init();                        // points at the shared empty block; releases nothing
  CStringData *GetData() const { return reinterpret_cast<CStringData *>(pchText) - 1; }
  static int SafeStrlen(const unsigned short *lpsz);  // 0 for NULL, else lstrlenW
  // Points at a new block of exactly nLen code units (n = 0: the shared empty block); releases
  // nothing. The text is not initialised; the terminator at nLen is written.
  void AllocBuffer(int nLen);
  void Release();                     // gives up this string's block, then Init
  static void Release(CStringData *pData);  // gives up one reference to that block
  // Room for nLen code units, text not kept: a new block when shared or too small.
  void AllocBeforeWrite(int nLen);
  // A block of this string's own, text kept; a copy only when the block is shared.
  void CopyBeforeWrite();
  void AssignCopy(int nSrcLen, const unsigned short *lpszSrcData);
  // Gives dest (a freshly constructed string) a block of nCopyLen + nExtraLen code units holding
  // nCopyLen of this string's from nCopyIndex; the extra ones are left for the caller to fill.
  void AllocCopy(CString &dest, int nCopyLen, int nCopyIndex, int nExtraLen) const;
  // A new block (total 0: nothing at all) holding the two sources one after the other.
  void ConcatCopy(int nSrc1Len, const unsigned short *lpszSrc1Data, int nSrc2Len,
                  const unsigned short *lpszSrc2Data);
  void ConcatInPlace(int nSrcLen, const unsigned short *lpszSrcData);

  unsigned short *pchText;  // the text inside the block, header just before it; never NULL
};

static_assert(sizeof(CString) == sizeof(void *), "a CString is exactly one pointer");
static_assert(sizeof(CStringData) == 12, "the block header is three 32-bit fields");

// Comparisons by Compare: code unit by code unit, unsigned, up to the first zero of either text.
inline bool operator==(const CString &s1, const CString &s2) { return s1.Compare(s2) == 0; }
inline bool operator==(const CString &s1, const unsigned short *s2) { return s1.Compare(s2) == 0; }
inline bool operator==(const unsigned short *s1, const CString &s2) { return s2.Compare(s1) == 0; }
inline bool operator!=(const CString &s1, const CString &s2) { return s1.Compare(s2) != 0; }
inline bool operator!=(const CString &s1, const unsigned short *s2) { return s1.Compare(s2) != 0; }
inline bool operator!=(const unsigned short *s1, const CString &s2) { return s2.Compare(s1) != 0; }
inline bool operator<(const CString &s1, const CString &s2) { return s1.Compare(s2) < 0; }
inline bool operator<(const CString &s1, const unsigned short *s2) { return s1.Compare(s2) < 0; }
inline bool operator<(const unsigned short *s1, const CString &s2) { return s2.Compare(s1) > 0; }
inline bool operator>(const CString &s1, const CString &s2) { return s1.Compare(s2) > 0; }
inline bool operator>(const CString &s1, const unsigned short *s2) { return s1.Compare(s2) > 0; }
inline bool operator>(const unsigned short *s1, const CString &s2) { return s2.Compare(s1) < 0; }
inline bool operator<=(const CString &s1, const CString &s2) { return s1.Compare(s2) <= 0; }
inline bool operator<=(const CString &s1, const unsigned short *s2) { return s1.Compare(s2) <= 0; }
inline bool operator<=(const unsigned short *s1, const CString &s2) { return s2.Compare(s1) >= 0; }
inline bool operator>=(const CString &s1, const CString &s2) { return s1.Compare(s2) >= 0; }
inline bool operator>=(const CString &s1, const unsigned short *s2) { return s1.Compare(s2) >= 0; }
inline bool operator>=(const unsigned short *s1, const CString &s2) { return s2.Compare(s1) <= 0; }
