// CString's printf-style formatting: the length estimate reserves the string's own block, and the
// library's formatter (strings/wformat.h) writes into it, bounded by what was reserved.
//
// The block is written only once its capacity is known to hold the whole text, so that a
// COOMExcep from a reservation always finds the old text still in place: when the estimate cannot
// vouch for some conversion (a %f of 1e300, an unknown conversion character), the text is measured
// with a counting pass first and the reservation is the larger of the two.

#include <stdarg.h>
#include <stddef.h>

#include "qnutil/cstring.h"
#include "qnutil/frame.h"
#include "strings/wformat.h"

void CString::FormatV(const unsigned short *lpszFormat, va_list argList) {
  // Each pass below takes its own copy of the arguments (FormatW and EstimateW va_copy them).
  const qn::format::Estimate estimate = qn::format::EstimateW(lpszFormat, argList);
  size_t reserve = estimate.total;
  if (!estimate.covers) {
    const size_t needed = qn::format::FormatW(NULL, 0, lpszFormat, argList);
    if (needed > reserve) reserve = needed;
  }
  // A text longer than a block can hold is reported as the heap reports what it cannot give.
  if (reserve > 0x7FFFFFFF) throw COOMExcep();
  unsigned short *pch = GetBuffer(static_cast<int>(reserve));
  // The shared empty block (nothing reserved, nothing to write) is never written, not even its
  // terminator; the pass still runs for the stores of %n.
  size_t capacity = GetAllocLength() > 0 ? static_cast<size_t>(GetAllocLength()) + 1 : 0;
  size_t written = qn::format::FormatW(capacity > 0 ? pch : NULL, capacity, lpszFormat, argList);
  if (written >= capacity && written > 0) {
    // The estimate vouched for a text that came out longer. Keep the string whole (the cut text)
    // while the exact reservation is asked for, then format again.
    ReleaseBuffer(-1);
    if (written > 0x7FFFFFFF) throw COOMExcep();
    pch = GetBuffer(static_cast<int>(written));
    capacity = static_cast<size_t>(GetAllocLength()) + 1;
    qn::format::FormatW(pch, capacity, lpszFormat, argList);
  }
  ReleaseBuffer(-1);
}

void CString::Format(const unsigned short *lpszFormat, ...) {
  va_list argList;
  va_start(argList, lpszFormat);
  FormatV(lpszFormat, argList);
  va_end(argList);
}

void CString::Format(unsigned int nFormatID, ...) {
  CString strFormat;
  strFormat.LoadStringW(nFormatID);
  va_list argList;
  va_start(argList, nFormatID);
  FormatV(strFormat, argList);
  va_end(argList);
}
