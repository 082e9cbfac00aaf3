// Tokens (both twins, from one description of each case) and name/value pairs.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qnutil/text.h"

using qn::AsU;

namespace {

using Steps = std::vector<std::pair<std::string, ptrdiff_t>>;

std::u16string Widen(const std::string &s) { return std::u16string(s.begin(), s.end()); }

std::string Narrow(const unsigned short *s) {
  std::string out;
  for (; *s != 0; ++s) out += static_cast<char>(*s);
  return out;
}

// Calls GetToken `calls` times, each from where the previous one stopped: token and offset each time.
Steps Tokens16(const std::string &source, short cch, const char *delims, int calls) {
  const std::u16string src = Widen(source);
  const std::u16string del = delims ? Widen(delims) : std::u16string();
  const unsigned short *base = AsU(src.c_str());
  const unsigned short *p = base;
  Steps steps;
  for (int i = 0; i < calls; ++i) {
    std::vector<unsigned short> token(static_cast<size_t>(cch) + 1, '#');
    p = GetToken(p, token.data(), cch, delims ? AsU(del.c_str()) : nullptr);
    EXPECT_EQ('#', token[static_cast<size_t>(cch)]) << "wrote past the capacity";
    token[static_cast<size_t>(cch)] = 0;
    steps.emplace_back(Narrow(token.data()), p - base);
  }
  return steps;
}

Steps Tokens8(const std::string &source, short cch, const char *delims, int calls) {
  const char *p = source.c_str();
  Steps steps;
  for (int i = 0; i < calls; ++i) {
    std::string token(static_cast<size_t>(cch) + 1, '#');
    p = GetTokenA(p, &token[0], cch, delims);
    EXPECT_EQ('#', token[static_cast<size_t>(cch)]) << "wrote past the capacity";
    steps.emplace_back(std::string(token.c_str()), p - source.c_str());
  }
  return steps;
}

struct TokenCase {
  const char *source;
  short cch;
  const char *delims;
  Steps expected;
};

}  // namespace

TEST(TextToken, SequencesOfCallsOnBothTwins) {
  const TokenCase cases[] = {
      {"  alpha beta", 32, nullptr, {{"alpha", 7}, {"beta", 12}, {"", 12}, {"", 12}}},
      {"a=b,c", 32, "=,", {{"a=", 2}, {"b,", 4}, {"c", 5}, {"", 5}}},
      {"=b", 32, "=", {{"=", 1}, {"b", 2}}},
      {"abcdef", 4, nullptr, {{"abc", 3}, {"def", 6}, {"", 6}}},
      // No room for the delimiter after abc: it becomes a token of its own.
      {"abc,d", 4, ",", {{"abc", 3}, {",", 4}, {"d", 5}}},
      {"ab,d", 4, ",", {{"ab,", 3}, {"d", 4}}},
      // Capacity 1: an empty token each time, no progress past the first non-blank.
      {"  abc", 1, nullptr, {{"", 2}, {"", 2}}},
      {"   ", 8, nullptr, {{"", 3}}},
      {"", 8, ",", {{"", 0}}},
      {"a\tb\r\nc", 8, nullptr, {{"a", 1}, {"b", 3}, {"c", 6}}},
      // Delimiters are single characters, blanks still end a token before them.
      {"key : value;", 16, ":;", {{"key", 3}, {":", 5}, {"value;", 12}}},
  };
  for (const TokenCase &c : cases) {
    SCOPED_TRACE(testing::Message() << "source \"" << c.source << "\" capacity " << c.cch);
    EXPECT_EQ(c.expected, Tokens16(c.source, c.cch, c.delims, static_cast<int>(c.expected.size())));
    EXPECT_EQ(c.expected, Tokens8(c.source, c.cch, c.delims, static_cast<int>(c.expected.size())));
  }
}

TEST(TextToken, CapacityBelowOneWritesNothing) {
  unsigned short token[2] = {'#', '#'};
  const std::u16string src = u"  abc";
  EXPECT_EQ(AsU(src.c_str()) + 2, GetToken(AsU(src.c_str()), token, 0, nullptr));
  EXPECT_EQ('#', token[0]);
  char narrow[2] = {'#', '#'};
  const char *a = "  abc";
  EXPECT_EQ(a + 2, GetTokenA(a, narrow, -5, nullptr));
  EXPECT_EQ('#', narrow[0]);
}

TEST(TextToken, NonAsciiCharactersAreOrdinary) {
  const std::u16string src = u"\u00E9t\u00E9\u00A0x y";  // the no-break space is no blank
  unsigned short token[16];
  const unsigned short *next = GetToken(AsU(src.c_str()), token, 16, nullptr);
  EXPECT_EQ(std::u16string(u"\u00E9t\u00E9\u00A0x"), reinterpret_cast<const char16_t *>(token));
  EXPECT_EQ(AsU(src.c_str()) + 5, next);
}

namespace {

struct PairCase {
  const char *text;
  const char *name;
  char separator;
  short cch;
  const char *stop;
  bool stopIsString;
  bool strip;
  int result;
  const char *value;  // null: the buffer is left as it was
  ptrdiff_t cursor;
  ptrdiff_t namePos;  // -1: not written
};

constexpr const char *kUnchanged = nullptr;

}  // namespace

TEST(TextNameValPair, ExamplesTable) {
  const PairCase cases[] = {
      {"width = 20 height=5", "width", '=', 16, nullptr, false, false, 1, "20", 10, 0},
      {"width = 20 height=5", "height", '=', 16, nullptr, false, false, 1, "5", 19, 11},
      {"title=\"Hello World\" x=1", "TITLE", '=', 16, nullptr, false, false, 1, "Hello World", 19, 0},
      {"title=\"Hello World\" x=1", "title", '=', 16, nullptr, false, true, 1, "HelloWorld", 19, 0},
      {"alt=\"a b\" src=x.gif>", "src", '=', 16, ">", false, false, 1, "x.gif", 19, 10},
      {"a=1> b=2", "b", '=', 16, ">", false, false, 0, kUnchanged, 3, -1},
      {"srcset=1 src=2", "src", '=', 16, nullptr, false, false, 0, kUnchanged, 3, 0},
      {"name \"x\"", "name", '=', 16, nullptr, false, false, 0, kUnchanged, 5, 0},
      {"name=\"abc", "name", '=', 16, nullptr, false, false, 0, kUnchanged, 5, 0},
      {"name=abcdef", "name", '=', 4, nullptr, false, false, 1, "abc", 8, 0},
      {"name=\"abcdef\"", "name", '=', 4, nullptr, false, false, 1, "abc", 13, 0},
      {"\"name=1\" name=2", "name", '=', 16, nullptr, false, false, 1, "2", 15, 9},
      {"name=", "name", '=', 16, nullptr, false, false, 1, "", 5, 0},
      {"x1name=5", "name", '=', 16, nullptr, false, false, 1, "5", 8, 2},
      {"a=b/>c", "a", '=', 16, "/>", true, false, 1, "b", 3, 0},
      {"Name:Value", "name", ':', 16, nullptr, false, false, 1, "Value", 10, 0},
      {"id=7 ID=8", "id", '=', 16, nullptr, false, false, 1, "7", 4, 0},
      {"name=a\"b\"", "name", '=', 16, nullptr, false, false, 1, "a\"b\"", 9, 0},
      {"name = \"\" rest", "name", '=', 16, nullptr, false, false, 1, "", 9, 0},
      {"\"unclosed name=3", "name", '=', 16, nullptr, false, false, 0, kUnchanged, 0, -1},
      // Not inside a longer word, but right after punctuation.
      {"rename=1 -name=2", "name", '=', 16, nullptr, false, false, 1, "2", 16, 10},
      {"  name ; x", "name", '=', 16, nullptr, false, false, 0, kUnchanged, 7, 2},
  };
  for (const PairCase &c : cases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << "\" name \"" << c.name << "\"");
    const std::u16string text = Widen(c.text);
    const std::u16string name = Widen(c.name);
    const std::u16string stop = c.stop ? Widen(c.stop) : std::u16string();
    std::vector<unsigned short> value(static_cast<size_t>(c.cch) + 1, '#');
    value[static_cast<size_t>(c.cch)] = 0;
    const unsigned short *const base = AsU(text.c_str());
    const unsigned short *cursor = base;
    const unsigned short *namePos = nullptr;
    const int result = BGetNameValPair(cursor, AsU(name.c_str()), static_cast<unsigned short>(c.separator),
                                       value.data(), c.cch, c.stop ? AsU(stop.c_str()) : nullptr,
                                       c.stopIsString, c.strip, &namePos);
    EXPECT_EQ(c.result, result);
    EXPECT_EQ(c.value ? std::string(c.value) : std::string(static_cast<size_t>(c.cch), '#'), Narrow(value.data()));
    EXPECT_EQ(c.cursor, cursor - base);
    EXPECT_EQ(c.namePos, namePos ? namePos - base : -1);
  }
}

namespace {

// One call with the usual arguments (separator '=', no stop marker, no stripping).
struct Pair {
  int result;
  std::u16string value;
  ptrdiff_t cursor;
};

Pair Get(const std::u16string &text, ptrdiff_t from, const char16_t *name, short cch = 16,
         const char16_t *stop = nullptr, bool stopIsString = false, bool strip = false) {
  unsigned short value[64] = {'#', 0};
  const unsigned short *cursor = AsU(text.c_str()) + from;
  const int result = BGetNameValPair(cursor, AsU(name), '=', value, cch, stop ? AsU(stop) : nullptr,
                                     stopIsString, strip, nullptr);
  return {result, reinterpret_cast<const char16_t *>(value), cursor - AsU(text.c_str())};
}

}  // namespace

TEST(TextNameValPair, NothingToFind) {
  for (const char16_t *text : {u"", u"   \t", u"a=1 b=2  ", u"xname=1"}) {
    const std::u16string t = text;
    const Pair r = Get(t, 0, u"name");
    EXPECT_EQ(0, r.result);
    EXPECT_EQ(u"#", r.value);
    EXPECT_EQ(static_cast<ptrdiff_t>(t.size()), r.cursor);
  }
}

TEST(TextNameValPair, CallingAgainFindsTheNextEntry) {
  const std::u16string text = u"id=7 ID=8";
  Pair r = Get(text, 0, u"id");
  EXPECT_EQ(u"7", r.value);
  r = Get(text, r.cursor, u"id");
  EXPECT_EQ(1, r.result);
  EXPECT_EQ(u"8", r.value);
  r = Get(text, r.cursor, u"id");
  EXPECT_EQ(0, r.result);
  EXPECT_EQ(static_cast<ptrdiff_t>(text.size()), r.cursor);
}

TEST(TextNameValPair, StopMarkers) {
  // A stop string is matched ignoring case, also inside an unquoted value; a stop set exactly.
  const std::u16string text = u"a=1END b=2";
  Pair r = Get(text, 0, u"a", 16, u"end", true);
  EXPECT_EQ(u"1", r.value);
  EXPECT_EQ(3, r.cursor);
  r = Get(text, 0, u"b", 16, u"end", true);
  EXPECT_EQ(0, r.result);
  EXPECT_EQ(3, r.cursor);
  r = Get(u"a=1xX", 0, u"a", 16, u"X", false);
  EXPECT_EQ(u"1x", r.value);
  EXPECT_EQ(4, r.cursor);
  // The name is tried before the stop marker at each position.
  r = Get(u"b=1", 0, u"b", 16, u"b", false);
  EXPECT_EQ(1, r.result);
  EXPECT_EQ(u"1", r.value);
  // A stop marker inside quotes is stepped over with the quoted run during the search.
  r = Get(u"t=\">\" v=2>", 0, u"v", 16, u">", false);
  EXPECT_EQ(u"2", r.value);
  EXPECT_EQ(9, r.cursor);
}

TEST(TextNameValPair, SmallCapacities) {
  // Capacity 1: an empty value, still a success; the cursor stays on the unquoted value, or moves
  // past the closing quote.
  Pair r = Get(u"n=abc", 0, u"n", 1);
  EXPECT_EQ(1, r.result);
  EXPECT_EQ(u"", r.value);
  EXPECT_EQ(2, r.cursor);
  r = Get(u"n=\"abc\" x", 0, u"n", 1);
  EXPECT_EQ(1, r.result);
  EXPECT_EQ(u"", r.value);
  EXPECT_EQ(7, r.cursor);
  // Below 1: a failure on the value, nothing written.
  r = Get(u"n = abc", 0, u"n", 0);
  EXPECT_EQ(0, r.result);
  EXPECT_EQ(u"#", r.value);
  EXPECT_EQ(4, r.cursor);
}

TEST(TextNameValPair, StrippedBlanksDoNotCountTowardsTheLimit) {
  const Pair r = Get(u"v=\" a b\tc d \"", 0, u"v", 4, nullptr, false, true);
  EXPECT_EQ(u"abc", r.value);
  EXPECT_EQ(13, r.cursor);
}

TEST(TextNameValPair, EmptyNameMatchesAtOnce) {
  const Pair r = Get(u"  =v", 0, u"");
  EXPECT_EQ(1, r.result);
  EXPECT_EQ(u"v", r.value);
}

TEST(TextNameValPair, TerminatorAsSeparatorNeverMatches) {
  const std::u16string text = u"name";
  const unsigned short *cursor = AsU(text.c_str());
  unsigned short value[4] = {'#', 0};
  EXPECT_EQ(0, BGetNameValPair(cursor, AsU(u"name"), 0, value, 4, nullptr, false, false, nullptr));
  EXPECT_EQ(AsU(text.c_str()) + 4, cursor);
  EXPECT_EQ('#', value[0]);
}
