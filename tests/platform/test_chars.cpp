// Conformance of the character services: CharLowerW/A, CharNextA, IsDBCSLeadByte, the
// IsCharAlpha* tests and GetStringTypeW's CT_CTYPE1, with Windows' answers.
//
// Suites named *Dbcs* run their cases only when the ANSI code page is 932 (natively through
// QNUTIL_ACP=932, under Wine through a Japanese locale); the test registration runs them so.
#include <gtest/gtest.h>

#include <string>

#include "qnutil/win32.h"

namespace {

unsigned LowerW(unsigned c) {
  return static_cast<unsigned>(reinterpret_cast<ULONG_PTR>(CharLowerW(reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(c)))));
}

unsigned LowerA(unsigned c) {
  return static_cast<unsigned>(reinterpret_cast<ULONG_PTR>(CharLowerA(reinterpret_cast<LPSTR>(static_cast<ULONG_PTR>(c)))));
}

WORD Ctype1(WCHAR c) {
  WORD type = 0xEEEE;
  EXPECT_TRUE(GetStringTypeW(CT_CTYPE1, &c, 1, &type));
  return type;
}

}  // namespace

TEST(CharsLower, SingleCharacterFormAnswersTheValueAlone) {
  struct Case {
    unsigned c, lower;
  } const cases[] = {
      {'A', 'a'},       {'Z', 'z'},       {'a', 'a'},       {'1', '1'},       {'[', '['},
      {0xC0, 0xE0},     {0xDE, 0xFE},     {0xD7, 0xD7},     {0x178, 0xFF},    {0x3A3, 0x3C3},
      {0x410, 0x430},   {0xFF21, 0xFF41}, {0x10A0, 0x2D00}, {0x24B6, 0x24D0}, {0, 0},
      // Capitals whose lower case is some other letter's keep their case.
      {0x130, 0x130},   {0x212A, 0x212A}, {0x212B, 0x212B}, {0x2126, 0x2126}, {0x1E9E, 0x1E9E},
      {0x1C5, 0x1C5},   {0x1C4, 0x1C6},   {0x3F4, 0x3F4},
  };
  for (const Case &k : cases) EXPECT_EQ(k.lower, LowerW(k.c)) << std::hex << "U+" << k.c;
}

TEST(CharsLower, StringFormLowersInPlace) {
  char16_t text[] = u"MiXeD \u00C0\u0130\u03A3\uFF21!";
  LPWSTR p = qn::AsW(text);
  EXPECT_EQ(p, CharLowerW(p));
  EXPECT_EQ(std::u16string(u"mixed \u00E0\u0130\u03C3\uFF41!"), text);
}

TEST(CharsLower, AnsiLatin1) {
  if (GetACP() != 1252) return;
  EXPECT_EQ(0x61u, LowerA('A'));
  EXPECT_EQ(0xE0u, LowerA(0xC0));
  EXPECT_EQ(0x9Au, LowerA(0x8A));  // S caron
  EXPECT_EQ(0xFFu, LowerA(0x9F));  // Y diaeresis: U+0178 lowers to U+00FF
  EXPECT_EQ(0xD7u, LowerA(0xD7));
  // Only the low byte counts; nothing above it comes back.
  EXPECT_EQ(0x61u, LowerA(0x4141));
  EXPECT_EQ(0xE1u, LowerA(0x1C1));
  char text[] = "ABC\xC0\xDE\x8Az";
  EXPECT_EQ(text, CharLowerA(text));
  EXPECT_EQ(std::string("abc\xE0\xFE\x9Az"), text);
}

TEST(CharsStepping, SingleBytePages) {
  if (GetACP() != 1252) return;
  for (unsigned b = 0; b < 256; ++b) EXPECT_FALSE(IsDBCSLeadByte(static_cast<BYTE>(b))) << b;
  const char *text = "a\x82\x60";
  EXPECT_EQ(text + 1, CharNextA(text));
  EXPECT_EQ(text + 2, CharNextA(text + 1));
  EXPECT_EQ(text + 3, CharNextA(text + 3));  // never past the terminator
}

TEST(CharsClass, Ctype1OfAsciiAndLatin1) {
  struct Case {
    unsigned c;
    WORD type;
  } const cases[] = {
      {0x00, C1_CNTRL | C1_DEFINED},
      {0x09, C1_SPACE | C1_CNTRL | C1_BLANK | C1_DEFINED},
      {0x0A, C1_SPACE | C1_CNTRL | C1_DEFINED},
      {0x20, C1_SPACE | C1_BLANK | C1_DEFINED},
      {'!', C1_PUNCT | C1_DEFINED},
      {'_', C1_PUNCT | C1_DEFINED},
      {'0', C1_DIGIT | C1_XDIGIT | C1_DEFINED},
      {'A', C1_UPPER | C1_XDIGIT | C1_ALPHA | C1_DEFINED},
      {'G', C1_UPPER | C1_ALPHA | C1_DEFINED},
      {'f', C1_LOWER | C1_XDIGIT | C1_ALPHA | C1_DEFINED},
      {'g', C1_LOWER | C1_ALPHA | C1_DEFINED},
      {0x7F, C1_CNTRL | C1_DEFINED},
      {0x85, C1_SPACE | C1_CNTRL | C1_DEFINED},
      {0xA0, C1_SPACE | C1_BLANK | C1_DEFINED},
      {0xAA, C1_LOWER | C1_PUNCT | C1_ALPHA | C1_DEFINED},
      {0xAD, C1_PUNCT | C1_CNTRL | C1_DEFINED},
      {0xB2, C1_DIGIT | C1_PUNCT | C1_DEFINED},
      {0xB5, C1_LOWER | C1_PUNCT | C1_ALPHA | C1_DEFINED},
      {0xC0, C1_UPPER | C1_ALPHA | C1_DEFINED},
      {0xD7, C1_PUNCT | C1_DEFINED},
      {0xDF, C1_LOWER | C1_ALPHA | C1_DEFINED},
      {0xFF, C1_LOWER | C1_ALPHA | C1_DEFINED},
  };
  for (const auto &k : cases) EXPECT_EQ(k.type, Ctype1(static_cast<WCHAR>(k.c))) << std::hex << "U+" << k.c;
}

TEST(CharsClass, Ctype1BeyondLatin1) {
  struct Case {
    unsigned c;
    WORD type;
  } const cases[] = {
      {0x3A3, C1_UPPER | C1_ALPHA | C1_DEFINED},
      {0x3C3, C1_LOWER | C1_ALPHA | C1_DEFINED},
      {0x4E00, C1_ALPHA | C1_DEFINED},
      {0x3000, C1_SPACE | C1_BLANK | C1_DEFINED},
      {0x2007, C1_SPACE | C1_DEFINED},
      {0x202F, C1_SPACE | C1_DEFINED},
      {0xFF19, C1_DIGIT | C1_XDIGIT | C1_DEFINED},
      {0xFEFF, C1_BLANK | C1_CNTRL | C1_DEFINED},
      {0xFF10, C1_DIGIT | C1_XDIGIT | C1_DEFINED},
      {0xFF21, C1_UPPER | C1_XDIGIT | C1_ALPHA | C1_DEFINED},
      {0xFF47, C1_LOWER | C1_ALPHA | C1_DEFINED},
      {0xD800, C1_DEFINED},
  };
  for (const auto &k : cases) EXPECT_EQ(k.type, Ctype1(static_cast<WCHAR>(k.c))) << std::hex << "U+" << k.c;
}

TEST(CharsClass, GetStringTypeCounts) {
  const WCHAR text[] = {'a', '1', ' ', 0};
  WORD types[4] = {0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE};
  // -1 classifies the terminator too.
  ASSERT_TRUE(GetStringTypeW(CT_CTYPE1, text, -1, types));
  EXPECT_EQ(C1_LOWER | C1_XDIGIT | C1_ALPHA | C1_DEFINED, types[0]);
  EXPECT_EQ(C1_DIGIT | C1_XDIGIT | C1_DEFINED, types[1]);
  EXPECT_EQ(C1_SPACE | C1_BLANK | C1_DEFINED, types[2]);
  EXPECT_EQ(C1_CNTRL | C1_DEFINED, types[3]);
  WORD none = 0xEEEE;
  EXPECT_TRUE(GetStringTypeW(CT_CTYPE1, text, 0, &none));
  EXPECT_EQ(0xEEEE, none);
}

TEST(CharsClass, GetStringTypeRejects) {
  const WCHAR text[] = {'a', 0};
  WORD type = 0;
  for (DWORD bad : {DWORD{0}, DWORD{8}, DWORD{CT_CTYPE1 | CT_CTYPE2}}) {
    SetLastError(0);
    EXPECT_FALSE(GetStringTypeW(bad, text, 1, &type)) << bad;
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
  }
  SetLastError(0);
  EXPECT_FALSE(GetStringTypeW(CT_CTYPE1, nullptr, 1, &type));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(CharsClass, LetterAndDigitTests) {
  struct Case {
    unsigned c;
    bool alpha, alnum;
  } const cases[] = {
      {'a', true, true},    {'Z', true, true},     {'5', false, true},    {'_', false, false},
      {' ', false, false},  {0xB2, false, true},   {0xC0, true, true},    {0xAA, true, true},
      {0xD7, false, false}, {0x3A3, true, true},   {0x4E00, true, true},  {0xFF10, false, true},
      {0xA0, false, false}, {0x2014, false, false},
  };
  for (const auto &k : cases) {
    EXPECT_EQ(k.alpha, IsCharAlphaW(static_cast<WCHAR>(k.c)) != FALSE) << std::hex << "U+" << k.c;
    EXPECT_EQ(k.alnum, IsCharAlphaNumericW(static_cast<WCHAR>(k.c)) != FALSE) << std::hex << "U+" << k.c;
  }
}

TEST(CharsClass, AnsiLetterAndDigitTestLatin1) {
  if (GetACP() != 1252) return;
  EXPECT_TRUE(IsCharAlphaNumericA('A'));
  EXPECT_TRUE(IsCharAlphaNumericA('7'));
  EXPECT_FALSE(IsCharAlphaNumericA('_'));
  EXPECT_TRUE(IsCharAlphaNumericA('\xC0'));
  EXPECT_TRUE(IsCharAlphaNumericA('\x8A'));  // S caron, from the 0x80 row
  EXPECT_TRUE(IsCharAlphaNumericA('\xB2'));
  EXPECT_FALSE(IsCharAlphaNumericA('\xA0'));
  EXPECT_FALSE(IsCharAlphaNumericA('\0'));
}

TEST(CharsDbcs, LeadBytesAndStepping) {
  if (GetACP() != 932) return;
  for (unsigned b = 0; b < 256; ++b) {
    const bool lead = (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC);
    EXPECT_EQ(lead, IsDBCSLeadByte(static_cast<BYTE>(b)) != FALSE) << std::hex << b;
  }
  const char *text = "a\x82\x60" "b\x82";
  EXPECT_EQ(text + 1, CharNextA(text));
  EXPECT_EQ(text + 3, CharNextA(text + 1));  // lead and trail together
  EXPECT_EQ(text + 4, CharNextA(text + 3));
  EXPECT_EQ(text + 5, CharNextA(text + 4));  // a lead byte before the terminator stands alone
  EXPECT_EQ(text + 5, CharNextA(text + 5));
}

TEST(CharsDbcs, LowerCase) {
  if (GetACP() != 932) return;
  // The single-character form looks at the low byte: a lead byte comes back as it is.
  EXPECT_EQ(0x82u, LowerA(0x6082));  // full-width A as lead low, trail high
  EXPECT_EQ(0x82u, LowerA(0x8182));
  EXPECT_EQ(0x61u, LowerA(0x6041));
  EXPECT_EQ(0xB1u, LowerA(0xB1));    // half-width katakana
  // The string form lowers double-byte letters to their double-byte lower case.
  char text[] = "AB\x82\x60\x83\x9F\x84\x40Z\xB1";
  EXPECT_EQ(text, CharLowerA(text));
  EXPECT_EQ(std::string("ab\x82\x81\x83\xBF\x84\x70z\xB1"), text);
  char lone[] = "A\x82";
  CharLowerA(lone);
  EXPECT_EQ(std::string("a\x82"), lone);
}

TEST(CharsDbcs, AnsiLetterAndDigitTest) {
  if (GetACP() != 932) return;
  EXPECT_TRUE(IsCharAlphaNumericA('A'));
  EXPECT_TRUE(IsCharAlphaNumericA('\xB1'));   // half-width katakana A
  EXPECT_FALSE(IsCharAlphaNumericA('\x82'));  // a lead byte alone is no character
  EXPECT_FALSE(IsCharAlphaNumericA('\x81'));
  EXPECT_FALSE(IsCharAlphaNumericA('_'));
}
