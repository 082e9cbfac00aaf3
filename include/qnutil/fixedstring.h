// CFixedString: one pointer to one heap block of zero-terminated UTF-16 text, or NULL for "no text"
// (an invalid string). No reference count, no stored length, no spare room: every assignment
// releases the old block and allocates exactly what the new text needs, so the object embeds in
// others as a single pointer.
//
// Allocation goes through _operator_new; when it throws COOMExcep the string is left invalid, its
// old block released, with nothing leaked.
//
// Block sizes, in code units: the source's length + 1 for UTF-16 text and copies; what the code-page
// conversion produces, terminator included, for 8-bit text; n for ClearSetLength(n), CFixedString(n)
// and CopyLen(source, n); 39 for CreateGUID.
//
// Decisions of this implementation:
// - A capacity of 0 (CFixedString(DWORD(0)), ClearSetLength(0), CopyLen(src, 0)) gives a valid
//   block of one code unit holding the empty text: the promised terminator always has room, and
//   nothing is written outside the block.
// - Assigning a string to itself, or a pointer into its own block (also CopyLen from its own text),
//   never reads released memory: the pointer is nulled before the new block is allocated, but the
//   old block is released only once the source has been copied, or as COOMExcep passes.
// - 8-bit text that the ANSI code page cannot convert at all gives the empty text.
// - Comparisons are lstrcmpiW; on POSIX that is the subset's comparison, which compares after the
//   single-character lower-case mapping (see qnutil/posix/text.h).
// - operator[] also takes an int, so that s[0] is unambiguous on every target.
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

class QNUTIL_API CFixedString {
 public:
  CFixedString();                                // invalid
  explicit CFixedString(DWORD cch);              // empty text in a block of cch code units
  CFixedString(const char *psz);                 // widened through the ANSI code page; NULL: invalid
  CFixedString(const unsigned short *pwsz);      // NULL: invalid
  CFixedString(const CFixedString &other);       // deep copy; an invalid source gives an invalid copy
  ~CFixedString();

  int BValid() const;                            // 1 when there is text, else 0
  void Clear();                                  // releases the block; invalid afterwards
  LONG Length() const;                           // code units before the terminator; 0 when invalid

  // The i-th code unit of the block, unchecked. Writers keep a terminator inside the block.
  unsigned short &operator[](DWORD i);
  unsigned short &operator[](int i);
  // The block itself (NULL when invalid).
  operator unsigned short *() const;
  operator const unsigned short *() const;

  CFixedString &operator=(const CFixedString &other);
  const unsigned short *operator=(const unsigned short *pwsz);  // answers its argument
  const unsigned short *operator=(const char *psz);             // answers the new block (or NULL)

  // 1 when lstrcmpiW finds both texts equal, else 0.
  int operator==(const unsigned short *pwsz) const;
  // lstrcmpiW(a, b): negative, 0 or positive.
  static LONG Compare(const CFixedString &a, const CFixedString &b);
  static LONG Compare(CFixedString *const &a, CFixedString *const &b);

  // A block of cch code units holding the empty text, for a writer to fill. Answers 1.
  int ClearSetLength(DWORD cch);
  // A block of cch code units holding at most cch - 1 code units of the source. Answers 1, or 0
  // when the source cannot be read. The source must not be NULL.
  int CopyLen(const unsigned short *pwszSource, unsigned int cch);
  // A fresh GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in a block of 39 code units. Answers 1,
  // or 0 with the empty text when no GUID could be made.
  int CreateGUID();

 private:
  // Exception objects set their message with a block of their own, allocated without throwing.
  friend class CException;

  void Assign(const unsigned short *pwsz);
  unsigned short *m_pwsz;
};
