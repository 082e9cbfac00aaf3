// qnutil_demo: the smallest application of qnutil. It makes a fresh GUID in a CFixedString and
// prints it, which exercises the library's heap, its string class and the platform's GUID and
// code-page services on every target.
#include <cstdio>

#include "qnutil/qnutil.h"

int main() {
  try {
    CFixedString guid;
    if (!guid.CreateGUID()) {
      std::fprintf(stderr, "qnutil_demo: the platform made no GUID\n");
      return 1;
    }
    char text[64];
    const unsigned short *wide = guid;
    if (WideCharToMultiByte(CP_UTF8, 0, qn::AsW(wide), -1, text, sizeof text, nullptr, nullptr) == 0) {
      std::fprintf(stderr, "qnutil_demo: the GUID did not convert (error %u)\n",
                   static_cast<unsigned>(GetLastError()));
      return 1;
    }
    std::printf("qnutil %s works: a fresh GUID from CFixedString::CreateGUID is %s\n", QNUTIL_VERSION, text);
    return 0;
  } catch (const CException &e) {
    std::fprintf(stderr, "qnutil_demo: exception 0x%08X\n", static_cast<unsigned>(e.Result()));
    return 1;
  }
}
