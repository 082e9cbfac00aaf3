// Blank tests, character-set, substring and prefix search, line stepping.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qnutil/text.h"

using qn::AsU;

namespace {

const unsigned short *U(const char16_t *s) { return AsU(s); }

}  // namespace

TEST(TextBlank, NullEmptyAndBlankOnlyAreEmpty) {
  EXPECT_EQ(1, BIsEmpty(nullptr));
  EXPECT_EQ(1, BIsEmpty(U(u"")));
  EXPECT_EQ(1, BIsEmpty(U(u"\t\r\n  \v\f")));
  EXPECT_EQ(1, BIsEmptyA(nullptr));
  EXPECT_EQ(1, BIsEmptyA(""));
  EXPECT_EQ(1, BIsEmptyA("\t\r\n  \v\f"));
}

TEST(TextBlank, AnythingElseIsNotBlank) {
  EXPECT_EQ(0, BIsEmpty(U(u"\u00A0")));   // no-break space
  EXPECT_EQ(0, BIsEmpty(U(u"\u3000")));   // ideographic space
  EXPECT_EQ(0, BIsEmpty(U(u"\u0085")));   // next line
  EXPECT_EQ(0, BIsEmpty(U(u"  \t x  ")));
  EXPECT_EQ(0, BIsEmpty(U(u"\x1F")));
  EXPECT_EQ(0, BIsEmptyA("\xA0"));
  EXPECT_EQ(0, BIsEmptyA("\x85"));
  EXPECT_EQ(0, BIsEmptyA("   x"));
}

TEST(TextMultiChr, FindsTheFirstCharacterOfTheSet) {
  const unsigned short *text = U(u"a,b;c");
  EXPECT_EQ(text + 1, StrMultiChr(text, U(u";,")));
  EXPECT_EQ(text + 4, StrMultiChr(text, U(u"c")));
  EXPECT_EQ(nullptr, StrMultiChr(text, U(u"")));
  EXPECT_EQ(nullptr, StrMultiChr(text, U(u"xyz")));
  EXPECT_EQ(nullptr, StrMultiChr(U(u""), U(u";,")));

  const char *a = "a,b;c";
  EXPECT_EQ(a + 1, StrMultiChrA(a, ";,"));
  EXPECT_EQ(nullptr, StrMultiChrA(a, ""));
  EXPECT_EQ(nullptr, StrMultiChrA("", ";,"));
}

TEST(TextMultiChr, ComparesExactly) {
  EXPECT_EQ(nullptr, StrMultiChr(U(u"ABC"), U(u"c")));
  EXPECT_EQ(nullptr, StrMultiChrA("ABC", "c"));
}

TEST(TextStrStr, EmptyAndNullArguments) {
  const unsigned short *text = U(u"abc");
  const unsigned short *empty = U(u"");
  EXPECT_EQ(text, StrStr(text, empty));
  EXPECT_EQ(empty, StrStr(empty, empty));
  EXPECT_EQ(nullptr, StrStr(empty, U(u"a")));
  EXPECT_EQ(nullptr, StrStr(nullptr, U(u"a")));
  EXPECT_EQ(nullptr, StrStrI(nullptr, U(u"a")));
  EXPECT_EQ(empty, StrStrI(empty, empty));
}

TEST(TextStrStr, FindsTheLeftmostOccurrence) {
  const unsigned short *aaa = U(u"aaa");
  EXPECT_EQ(aaa, StrStr(aaa, U(u"aa")));
  const unsigned short *text = U(u"abcabd");
  EXPECT_EQ(text + 3, StrStr(text, U(u"abd")));
  EXPECT_EQ(text + 4, StrStr(text, U(u"bd")));
  EXPECT_EQ(nullptr, StrStr(text, U(u"abdx")));  // runs past the end of the text
  EXPECT_EQ(nullptr, StrStr(text, U(u"ABD")));
}

TEST(TextStrStr, IgnoringCaseThroughTheSingleCharacterMapping) {
  const unsigned short *hello = U(u"Hello");
  EXPECT_EQ(hello + 2, StrStrI(hello, U(u"LL")));
  const unsigned short *greek = U(u"x\u03A3\u00C0y");
  EXPECT_EQ(greek + 1, StrStrI(greek, U(u"\u03C3\u00E0")));
  // The Kelvin sign is not lowered by the single-character mapping, so it is not 'k' here.
  EXPECT_EQ(nullptr, StrStrI(U(u"\u212A"), U(u"k")));
}

TEST(TextPrefix, ExactAndIgnoringCase) {
  struct Case {
    const char16_t *text, *prefix;
    int exact, ignoringCase;
  } const cases[] = {
      {u"abc", u"ab", 1, 1},   {u"abc", u"", 1, 1},    {u"", u"", 1, 1},   {u"ab", u"abc", 0, 0},
      {u"", u"a", 0, 0},       {u"Abc", u"aB", 0, 1},  {u"abc", u"abd", 0, 0},
      {u"\u00C9t\u00E9", u"\u00E9T", 0, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "case " << (&c - cases));
    EXPECT_EQ(c.exact, SubStrCmp(U(c.text), U(c.prefix)));
    EXPECT_EQ(c.ignoringCase, SubStrCmpi(U(c.text), U(c.prefix)));
  }
  EXPECT_EQ(1, SubStrCmpiA("Abc", "aB"));
  EXPECT_EQ(1, SubStrCmpiA("abc", ""));
  EXPECT_EQ(1, SubStrCmpiA("", ""));
  EXPECT_EQ(0, SubStrCmpiA("", "a"));
  EXPECT_EQ(0, SubStrCmpiA("ab", "abc"));
  EXPECT_EQ(0, SubStrCmpiA("abc", "abd"));
}

TEST(TextPrefix, AnsiLatin1FoldsThroughTheCodePage) {
  if (GetACP() != 1252) return;
  EXPECT_EQ(1, SubStrCmpiA("\xC0\x8A" "b", "\xE0\x9A"));  // A-grave, S-caron
  EXPECT_EQ(0, SubStrCmpiA("\xC0", "\xC1"));
}

namespace {

// Walks a text with PchNextLine the way a caller does and answers the lines seen.
std::vector<std::u16string> Lines(std::u16string text) {
  std::vector<std::u16string> lines;
  unsigned short *line = AsU(&text[0]);
  for (;;) {
    unsigned short *next = PchNextLine(line);
    lines.emplace_back(reinterpret_cast<const char16_t *>(line));
    if (next == nullptr) break;
    line = next;
  }
  return lines;
}

}  // namespace

TEST(TextNextLine, EndsTheLineAtTheCarriageReturn) {
  char16_t text[] = u"one\r\ntwo";
  unsigned short *line = AsU(text);
  EXPECT_EQ(line + 5, PchNextLine(line));
  EXPECT_EQ(std::u16string(u"one"), text);
  EXPECT_EQ(u'\n', text[4]);  // the line feed stays in the text
}

TEST(TextNextLine, LineFeedAloneTrailingCarriageReturnAndEmptyLines) {
  char16_t lf[] = u"one\ntwo";
  EXPECT_EQ(nullptr, PchNextLine(AsU(lf)));
  EXPECT_EQ(std::u16string(u"one\ntwo"), lf);

  char16_t one[] = u"one\r";
  EXPECT_EQ(nullptr, PchNextLine(AsU(one)));
  EXPECT_EQ(std::u16string(u"one"), one);

  char16_t text[] = u"a\r\rb";
  unsigned short *line = AsU(text);
  unsigned short *empty = PchNextLine(line);
  EXPECT_EQ(line + 2, empty);
  EXPECT_EQ(line + 3, PchNextLine(empty));
  EXPECT_EQ(0, *empty);
}

TEST(TextNextLine, WalkingATextYieldsEveryLine) {
  EXPECT_EQ((std::vector<std::u16string>{u"first", u"", u"third\nstill", u"last"}),
            Lines(u"first\r\n\r\nthird\nstill\rlast"));
  EXPECT_EQ((std::vector<std::u16string>{u"only"}), Lines(u"only"));
  EXPECT_EQ((std::vector<std::u16string>{u""}), Lines(u""));
}
