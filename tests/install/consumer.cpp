// An application of qnutil: copies, compares and makes strings through the installed interface,
// and fails (non-zero) when the library does not behave, so that a broken installation shows.
#include <cstdio>
#include <string>

#include "qnutil/qnutil.h"

static int Fail(const char *what) {
  std::fprintf(stderr, "consumer: %s\n", what);
  return 1;
}

int main() {
  CFixedString hello(qn::AsU(u"Hello, qnutil"));
  CFixedString copy(hello);
  if (copy.Length() != 13) return Fail("the copy has the wrong length");
  if (static_cast<const unsigned short *>(copy) == static_cast<const unsigned short *>(hello))
    return Fail("the copy shares the original's block");
  if (!(copy == qn::AsU(u"HELLO, QNUTIL"))) return Fail("the case-insensitive comparison failed");

  CFixedString guid;
  if (!guid.CreateGUID() || guid.Length() != 38) return Fail("CreateGUID made no GUID");
  std::string text;
  for (const unsigned short *p = guid; *p; ++p) text += static_cast<char>(*p);
  if (text.front() != '{' || text.back() != '}') return Fail("the GUID text has no braces");

  std::printf("consumer: qnutil works, GUID %s\n", text.c_str());
  return 0;
}
