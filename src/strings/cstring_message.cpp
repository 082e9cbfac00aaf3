// CString's formatting through the platform's message formatter (FormatMessageW), with the format
// given as text or as a string-table identifier.
#include "qnutil/cstring.h"
#include "qnutil/frame.h"

namespace {

// Gives the formatter's block back to the platform however the assignment ends.
class LocalBlock {
 public:
  explicit LocalBlock(LPWSTR p) : m_p(p) {}
  ~LocalBlock() { ::LocalFree(m_p); }
  LocalBlock(const LocalBlock &) = delete;
  LocalBlock &operator=(const LocalBlock &) = delete;

 private:
  LPWSTR m_p;
};

// Ends a variable-argument list however the formatting ends.
class VaListEnd {
 public:
  explicit VaListEnd(va_list &args) : m_args(args) {}
  ~VaListEnd() { va_end(m_args); }
  VaListEnd(const VaListEnd &) = delete;
  VaListEnd &operator=(const VaListEnd &) = delete;

 private:
  va_list &m_args;
};

// Formats with the platform's formatter into str. Every failure of the formatter, an empty result
// included, throws COOMExcep before str is touched: callers cannot tell the causes apart, and the
// library reports no other kind of failure by exception.
void FormatMessageInto(CString &str, const unsigned short *lpszFormat, va_list *pArgs) {
  LPWSTR pBuffer = NULL;
  const DWORD nLength = ::FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER,
                                         qn::AsW(lpszFormat), 0, 0, reinterpret_cast<LPWSTR>(&pBuffer), 0, pArgs);
  LocalBlock block(pBuffer);
  if (nLength == 0 || pBuffer == NULL) throw COOMExcep();
  str = qn::AsU(pBuffer);
}

}  // namespace

void CString::FormatMessageW(const unsigned short *lpszFormat, ...) {
  va_list args;
  va_start(args, lpszFormat);
  const VaListEnd end(args);
  FormatMessageInto(*this, lpszFormat, &args);
}

void CString::FormatMessageW(unsigned int nFormatID, ...) {
  CString strFormat;
  strFormat.LoadStringW(nFormatID);
  va_list args;
  va_start(args, nFormatID);
  const VaListEnd end(args);
  FormatMessageInto(*this, strFormat, &args);
}
