// Conformance of the message formatter (FormatMessageW and the LocalFree of its buffers) and of
// LoadStringW for a text a module does not have: the services CString's message formatting and
// string tables stand on.
#include <stdarg.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/atlmodule.h"
#include "qnutil/win32.h"

#ifndef ERROR_NO_WORK_DONE
#  define ERROR_NO_WORK_DONE 235L  // what Windows reports for an empty message; not in every SDK
#endif

namespace {

using namespace std::string_literals;

const DWORD kIgnore = FORMAT_MESSAGE_IGNORE_INSERTS;

struct Result {
  DWORD length;
  DWORD error;        // 0 when the call succeeded
  std::u16string text;
};

// One call with FORMAT_MESSAGE_ALLOCATE_BUFFER; the block it answers is checked and freed with
// LocalFree.
Result Allocated(DWORD flags, LPCVOID source, DWORD id, va_list *args) {
  LPWSTR buffer = reinterpret_cast<LPWSTR>(1);
  SetLastError(0);
  const DWORD n = FormatMessageW(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, source, id, 0, reinterpret_cast<LPWSTR>(&buffer), 0, args);
  Result r{n, n == 0 ? GetLastError() : 0, u""};
  if (n == 0) {
    EXPECT_EQ(buffer, nullptr) << "a failed call leaves no buffer";
    return r;
  }
  r.text.assign(reinterpret_cast<const char16_t *>(buffer), n);
  EXPECT_EQ(buffer[n], 0);
  EXPECT_EQ(LocalFree(buffer), nullptr);
  return r;
}

// From a string, with the arguments that follow as a va_list.
Result FormatV(DWORD flags, const char16_t *format, ...) {
  va_list args;
  va_start(args, format);
  const Result r = Allocated(flags | FORMAT_MESSAGE_FROM_STRING, qn::AsW(format), 0, &args);
  va_end(args);
  return r;
}

Result FormatArray(DWORD flags, const char16_t *format, const std::vector<DWORD_PTR> &array) {
  return Allocated(flags | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, qn::AsW(format), 0,
                   array.empty() ? nullptr : reinterpret_cast<va_list *>(const_cast<DWORD_PTR *>(array.data())));
}

DWORD_PTR Arg(const char16_t *text) { return reinterpret_cast<DWORD_PTR>(text); }

struct Case {
  DWORD flags;
  const char16_t *format;
  std::vector<DWORD_PTR> args;
  std::u16string expected;
  DWORD error;  // nonzero: the call fails with it
};

void Check(const std::vector<Case> &cases) {
  for (const Case &c : cases) {
    const Result r = FormatArray(c.flags, c.format, c.args);
    const std::string format = testing::PrintToString(std::u16string(c.format));
    EXPECT_EQ(r.text, c.expected) << format;
    EXPECT_EQ(r.length, c.expected.size()) << format;
    EXPECT_EQ(r.error, c.error) << format;
  }
}

TEST(FormatMessagePlatform, InsertsEscapesAndTypes) {
  const DWORD_PTR x = Arg(u"x"), y = Arg(u"y");
  Check({
      {0, u"%1 and %2", {x, y}, u"x and y", 0},
      {0, u"%2%1%2", {x, y}, u"yxy", 0},
      {0, u"[%10]%100", {x, x, x, x, x, x, x, x, x, y}, u"[y]y0", 0},  // two digits at most
      {0, u"ab%0cd", {}, u"ab", 0},
      {0, u"a%%b%nc%.d%!e% f%tg%rh%qi", {}, u"a%b\r\nc.d!e f\tg\rhqi", 0},
      {0, u"a\r\nb\nc\rd", {}, u"a\r\nb\r\nc\r\nd", 0},
      {0, u"[%1][%2!s!]", {0, y}, u"[(null)][y]", 0},
      {0, u"%1!d!|%2!04x!|%3!-5s!|%4!X!|%5!u!", {42, 255, y, 0xbeef, DWORD_PTR(-3)},
       u"42|00ff|y    |BEEF|4294967293", 0},
      {0, u"%1!hd!|%2!hu!|%3!+d!|%4!#o!", {0x18000, 0x18000, 7, 8}, u"-32768|32768|+7|010", 0},
      {0, u"%1!S!|%2!hs!|%3!c!|%4!C!|%5!ls!", {DWORD_PTR("ab"), DWORD_PTR("cd"), 'e', 'f', Arg(u"g")}, u"ab|cd|e|f|g", 0},
      {0, u"[%1!*s!][%2][%3!.*s!]", {5, Arg(u"ab"), 2, Arg(u"xyz")}, u"[   ab][ab][xy]", 0},
      {0, u"[%1!5.2f!][%2!q!][%3!5!]d", {1, 2, 3}, u"[f][q][]d", 0},  // no floating point
      {0, u"a%1!c!b", {0}, u"a\0b"s, 0},  // a zero code unit counts
  });
  std::u16string pointer(2 * sizeof(void *) - 4, u'0');
  EXPECT_EQ(FormatArray(0, u"%1!p!", {0x12AB}).text, pointer + u"12AB");
}

TEST(FormatMessagePlatform, MalformedTextsAndMissingArguments) {
  // Types of 31 and 30 code units between the marks.
  const std::u16string longType = u"%1!" + std::u16string(30, u'0') + u"d!", fits = u"%1!" + std::u16string(29, u'0') + u"d!";
  Check({
      {0, u"ab%", {}, u"", ERROR_INVALID_PARAMETER},
      {kIgnore, u"ab%", {}, u"", ERROR_INVALID_PARAMETER},
      {0, u"%1!d", {7}, u"", ERROR_INVALID_PARAMETER},
      {0, longType.c_str(), {7}, u"", ERROR_INVALID_PARAMETER},
      {0, u"a %1 b", {}, u"", ERROR_INVALID_PARAMETER},  // no arguments at all
      {0, u"", {}, u"", ERROR_NO_WORK_DONE},
      {0, u"%0abc", {}, u"", ERROR_NO_WORK_DONE},
      {0, u"%1!!", {7}, u"", ERROR_NO_WORK_DONE},
      {0, u"a %% b", {}, u"a % b", 0},  // no arguments are needed without inserts
      {0, fits.c_str(), {7}, u"7", 0},
  });
}

TEST(FormatMessagePlatform, IgnoringInsertsKeepsEscapesButBreaksLines) {
  Check({
      {kIgnore, u"%1 %% %n %0 x", {}, u"%1 %% \r\n ", 0},
      {kIgnore, u"a%.b%!c% d%re%qf%%g%th", {}, u"a%.b%!c% d\re%qf%%g\th", 0},
  });
}

// A va_list is read as Windows reads it: pointer-sized values in order, kept once read, stars and
// values of starred inserts afresh from the list.
TEST(FormatMessagePlatform, VaListArgumentsAreFetchedAsOnWindows) {
  EXPECT_EQ(FormatV(0, u"%3 %1 %2 %1", u"x", u"y", u"z").text, u"z x y x");
  EXPECT_EQ(FormatV(0, u"%1!*d!|%1!d!|%2!d!|%3!d!", 2, 3, 11, 12, 13).text, u" 3|3|11|12");
  EXPECT_EQ(FormatV(0, u"%1!*.*d!|%1!d!|%2!d!|%3!d!", 2, 3, 11, 12, 13).text, u"011|2|11|12");
  EXPECT_EQ(FormatV(0, u"%2!d!|%1!*d!|%1!d!|%2!d!|%3!d!", 2, 3, 11, 12, 13).text, u"3|11|2|11|12");
  EXPECT_EQ(FormatV(0, u"%4!d!|%1!*.*d!|%4!d!|%5!d!", 2, 3, 11, 12, 13, 14, 15).text, u"12|0000000000014|12|14");
  // I64 reads 64 bits for its own insert only; the others stay pointer-sized.
  EXPECT_EQ(FormatV(0, u"[%1!I64d!][%2!d!]", -5LL, 7).text, u"[-5][7]");
  EXPECT_EQ(FormatV(0, u"[%2!d!][%1!I64d!][%3!d!]", 9LL, 6, 7).text,
            sizeof(void *) == 8 ? u"[6][9][7]" : u"[0][9][6]");
  // An array takes a starred insert's value from the next element.
  EXPECT_EQ(FormatArray(0, u"%1!*d!|%1!d!|%2!d!", {2, 3}).text, u" 3|2|3");
}

TEST(FormatMessagePlatform, LineWidth) {
  const DWORD_PTR line = Arg(u"aaaa bbbb cccc");
  Check({
      {10, u"aaaa bbbb cccc dddd eeeeeeeeeeeeeeeeee ff", {}, u"aaaa bbbb\r\ncccc dddd\r\neeeeeeeeee\r\neeeeeeee\r\nff", 0},
      {5, u"abcde", {}, u"abcde\r\n", 0},            // a full line breaks at once
      {5, u"abc      ", {}, u"abc\r\n    ", 0},      // the run of spaces becomes the break
      {5, u"%1 abc", {Arg(u"xy  ")}, u"xy\r\nabc", 0},
      {10, u"%1 %2", {line, Arg(u"dd")}, u"aaaa bbbb cccc\r\n dd", 0},  // inserts are not split
      {6, u"abc %1 d", {Arg(u"xxxxxx")}, u"abc\r\nxxxxxx\r\nd", 0},
      {5, u"abcde%nf", {}, u"abcde\r\n\r\nf", 0},
      {5, u"ab% % cde", {}, u"ab  c\r\nde", 0},       // escaped spaces are no place to break
      {5, u"abc%rdefghij", {}, u"abc\rdefgh\r\nij", 0},
      {kIgnore | 5, u"abcd%%ef", {}, u"abcd%%\r\nef", 0},
      {0xFF, u"a b\r\nc\nd\r\r\ne  f%ng", {}, u"a b c d  e  f\r\ng", 0},
  });
}

TEST(FormatMessagePlatform, CallersBuffer) {
  WCHAR buffer[8];
  auto call = [&](const char16_t *format, DWORD size) {
    for (WCHAR &w : buffer) w = '#';
    SetLastError(0);
    return FormatMessageW(FORMAT_MESSAGE_FROM_STRING, qn::AsW(format), 0, 0, buffer, size, nullptr);
  };
  EXPECT_EQ(call(u"abcd", 5), 4u);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(buffer)), u"abcd");
  // No room for the terminator: what fits stays, terminated.
  EXPECT_EQ(call(u"abcde%n", 5), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(buffer)), u"abcd");
  EXPECT_EQ(call(u"abc", 0), 0u);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(call(u"", 5), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_WORK_DONE));
  EXPECT_EQ(buffer[0], 0);

  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, qn::AsW(u"abc"), 0, 0,
                           nullptr, 0, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(FormatMessagePlatform, SystemTextsAndModules) {
  const Result r = Allocated(FORMAT_MESSAGE_FROM_SYSTEM | kIgnore, nullptr, ERROR_FILE_NOT_FOUND, nullptr);
  ASSERT_GT(r.length, 2u);
  EXPECT_EQ(r.text.substr(r.length - 2), u"\r\n");
  EXPECT_EQ(Allocated(FORMAT_MESSAGE_FROM_SYSTEM | kIgnore | 0xFF, nullptr, ERROR_FILE_NOT_FOUND, nullptr).text,
            r.text.substr(0, r.length - 2) + u" ");
  EXPECT_EQ(Allocated(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 0x7654321, nullptr).error,
            static_cast<DWORD>(ERROR_MR_MID_NOT_FOUND));
  EXPECT_EQ(Allocated(FORMAT_MESSAGE_FROM_HMODULE, _pModule->m_hInstResource, 1, nullptr).error,
            static_cast<DWORD>(ERROR_RESOURCE_DATA_NOT_FOUND))
      << "no message table";
  EXPECT_EQ(Allocated(0, qn::AsW(u"abc"), 0, nullptr).error, static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << "no source";
  // A string source wins over the others.
  EXPECT_EQ(FormatArray(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE, u"abc", {}).text, u"abc");
}

// The library's module carries no string table: every text is missing, and the caller's buffer is
// left as it was.
TEST(LoadStringPlatform, MissingTextLeavesTheBuffer) {
  for (int capacity : {8, 1}) {
    WCHAR buffer[8] = {'#', '#', 0};
    SetLastError(0);
    EXPECT_EQ(LoadStringW(_pModule->m_hInstResource, 7, buffer, capacity), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_DATA_NOT_FOUND));
    EXPECT_EQ(buffer[0], '#');
  }
}

}  // namespace
