// The tag finder, both twins from one description of each case.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qnutil/text.h"

using qn::AsU;

namespace {

struct TagCase {
  const char *text;
  std::vector<const char *> tags;
  int index;
  ptrdiff_t position;  // -1: not found
};

std::u16string Widen(const std::string &s) { return std::u16string(s.begin(), s.end()); }

void Check(const TagCase &c) {
  SCOPED_TRACE(testing::Message() << "text \"" << c.text << "\"");
  // UTF-16.
  const std::u16string text = Widen(c.text);
  std::vector<std::u16string> wideTags;
  for (const char *t : c.tags) wideTags.push_back(Widen(t));
  std::vector<const unsigned short *> tagPtrs;
  for (const std::u16string &t : wideTags) tagPtrs.push_back(AsU(t.c_str()));
  const unsigned short *found = AsU(u"stale");
  const int index = FindTag(AsU(text.c_str()), tagPtrs.data(), static_cast<DWORD>(tagPtrs.size()), found);
  EXPECT_EQ(c.index, index);
  EXPECT_EQ(c.position, found ? found - AsU(text.c_str()) : -1);
  // 8-bit.
  const char *foundA = "stale";
  const int indexA = FindTagA(c.text, c.tags.data(), static_cast<DWORD>(c.tags.size()), foundA);
  EXPECT_EQ(c.index, indexA);
  EXPECT_EQ(c.position, foundA ? foundA - c.text : -1);
}

}  // namespace

TEST(TextTag, EarliestTagAtAWordBoundary) {
  const TagCase cases[] = {
      {"Some <B>bold</b>", {"<b>", "</b>"}, 0, 5},
      {"see <table border=1>", {"<tab", "<table"}, 1, 4},
      {"see <table border=1>", {"<table", "<tab"}, 0, 4},
      {"mytable table", {"table"}, 0, 8},
      {"tables table", {"table"}, 0, 7},
      {"a-b", {"b"}, 0, 2},
      {"foo.bar", {"bar"}, 0, 4},
      {"hello", {"HELLO"}, 0, 0},
      {"x = a//b", {"//", "\\\\"}, 0, 5},
      {"x = a\\\\b//", {"//", "\\\\"}, 1, 5},
      // The earliest position wins over the array order.
      {"one two", {"two", "one"}, 1, 0},
      {"ab c", {"c"}, 0, 3},
  };
  for (const TagCase &c : cases) Check(c);
}

TEST(TextTag, NeverInsideAWord) {
  const TagCase cases[] = {
      {"A1B", {"1"}, -1, -1},
      {"foo.bar", {".b"}, -1, -1},
      {"hello!", {"hell"}, -1, -1},
      {"abc", {"c"}, -1, -1},
      {"tables", {"table"}, -1, -1},
  };
  for (const TagCase &c : cases) Check(c);
}

TEST(TextTag, NothingToFindLeavesThePositionNull) {
  const TagCase cases[] = {
      {"", {"a"}, -1, -1},
      {"   \t ", {"a"}, -1, -1},
      {"foo   ", {"bar"}, -1, -1},
      {"foo bar", {}, -1, -1},
      {"foo", {"foox"}, -1, -1},  // a tag longer than the text
  };
  for (const TagCase &c : cases) Check(c);
}

TEST(TextTag, NonAsciiLettersAreWordCharacters) {
  const std::u16string text = u"\u00E9table table";
  const unsigned short *tags[] = {AsU(u"TABLE")};
  const unsigned short *found = nullptr;
  EXPECT_EQ(0, FindTag(AsU(text.c_str()), tags, 1, found));
  EXPECT_EQ(AsU(text.c_str()) + 7, found);
}
