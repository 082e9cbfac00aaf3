// The lstr* family: lengths, copies and comparisons of zero-terminated text.
#include <string.h>

#include "internal/chartable.h"

namespace qn::posix {
namespace {

int Sign(int d) noexcept { return (d > 0) - (d < 0); }

// Windows orders a NULL string before every other one, the empty string included.
bool CompareNulls(LPCWSTR a, LPCWSTR b, int *result) noexcept {
  if (a != nullptr && b != nullptr) return false;
  *result = a == b ? 0 : (a == nullptr ? -1 : 1);
  return true;
}

}  // namespace
}  // namespace qn::posix

using qn::posix::Chars;
using qn::posix::CharTable;

extern "C" {

int WINAPI lstrlenW(LPCWSTR lpString) {
  if (lpString == nullptr) return 0;
  LPCWSTR p = lpString;
  while (*p != 0) ++p;
  return static_cast<int>(p - lpString);
}

int WINAPI lstrlenA(LPCSTR lpString) { return lpString == nullptr ? 0 : static_cast<int>(strlen(lpString)); }

// Windows answers NULL where a pointer faults; NULL is the one bad pointer the subset can see.
LPWSTR WINAPI lstrcpyW(LPWSTR lpString1, LPCWSTR lpString2) {
  if (lpString1 == nullptr || lpString2 == nullptr) return nullptr;
  LPWSTR d = lpString1;
  while ((*d++ = *lpString2++) != 0) {
  }
  return lpString1;
}

// A negative iMaxLength is taken as unsigned, as Windows does: no bound. 0 writes nothing.
LPWSTR WINAPI lstrcpynW(LPWSTR lpString1, LPCWSTR lpString2, int iMaxLength) {
  if (lpString1 == nullptr || lpString2 == nullptr) return nullptr;
  if (iMaxLength == 0) return lpString1;
  size_t room = static_cast<unsigned>(iMaxLength) - 1u;
  LPWSTR d = lpString1;
  while (room != 0 && *lpString2 != 0) {
    *d++ = *lpString2++;
    --room;
  }
  *d = 0;
  return lpString1;
}

int WINAPI lstrcmpiW(LPCWSTR lpString1, LPCWSTR lpString2) {
  int result;
  if (qn::posix::CompareNulls(lpString1, lpString2, &result)) return result;
  const CharTable &t = Chars();
  for (;; ++lpString1, ++lpString2) {
    const int a = t.lower[*lpString1];
    const int b = t.lower[*lpString2];
    if (a != b) return qn::posix::Sign(a - b);
    if (a == 0) return 0;
  }
}

// Case is the weakest difference, as in Windows' word order: strings that differ only in case
// compare by the first code unit where they differ, lower case first ("a" < "A" < "b").
int WINAPI lstrcmpW(LPCWSTR lpString1, LPCWSTR lpString2) {
  int result = lstrcmpiW(lpString1, lpString2);
  if (result != 0 || lpString1 == nullptr || lpString2 == nullptr) return result;
  const CharTable &t = Chars();
  for (; *lpString1 != 0; ++lpString1, ++lpString2) {
    const WCHAR a = *lpString1;
    const WCHAR b = *lpString2;
    if (a == b) continue;
    if (t.lower[a] == a && t.lower[b] != b) return -1;
    if (t.lower[b] == b && t.lower[a] != a) return 1;
    // Two different capitals of one letter (the Kelvin sign and 'K'): by code unit.
    return qn::posix::Sign(static_cast<int>(a) - static_cast<int>(b));
  }
  return 0;
}

}  // extern "C"
