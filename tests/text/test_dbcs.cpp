// The 8-bit twins over double-byte text (code page 932): a lead byte and its trail byte are one
// character, and trail bytes that look like ASCII (0x5C, the backslash, in 0x95 0x5C) are never
// taken for characters of their own. The cases run only when GetACP() is 932.
#include <gtest/gtest.h>

#include <string>

#include "qnutil/text.h"

namespace {

bool Is932() { return GetACP() == 932; }

// A double-byte character whose trail byte is a backslash, and one whose trail byte is '|'.
const char kHyou[] = "\x95\x5C";
const char kBar[] = "\x83\x7C";

}  // namespace

TEST(TextDbcs, TrailBytesAreNeverSetMembers) {
  if (!Is932()) return;
  const std::string text = std::string(kHyou) + "\\x";
  EXPECT_EQ(text.c_str() + 2, StrMultiChrA(text.c_str(), "\\"));
  EXPECT_EQ(nullptr, StrMultiChrA(kHyou, "\\"));
  EXPECT_EQ(nullptr, StrMultiChrA(kBar, "|"));
  // The lead byte is the first byte of its character, so it can be found.
  EXPECT_EQ(kHyou, StrMultiChrA(kHyou, "\x95"));
}

TEST(TextDbcs, DoubleByteSpacesAreNotBlank) {
  if (!Is932()) return;
  EXPECT_EQ(0, BIsEmptyA("\x81\x40"));  // the ideographic space
  EXPECT_EQ(1, BIsEmptyA(" \t "));
}

TEST(TextDbcs, PrefixStepsOverWholeCharacters) {
  if (!Is932()) return;
  const std::string text = std::string(kHyou) + "Abc";
  EXPECT_EQ(1, SubStrCmpiA(text.c_str(), (std::string(kHyou) + "aB").c_str()));
  EXPECT_EQ(1, SubStrCmpiA(text.c_str(), kHyou));
  EXPECT_EQ(0, SubStrCmpiA(kHyou, text.c_str()));
  EXPECT_EQ(0, SubStrCmpiA("\\\\", kHyou));
  // The platform lowers a double-byte value by its low byte, the lead byte: two characters with
  // one lead byte compare equal (full-width A and B here).
  EXPECT_EQ(1, SubStrCmpiA("\x82\x60", "\x82\x61"));
  EXPECT_EQ(0, SubStrCmpiA("\x82\x60", "\x83\x60"));
}

TEST(TextDbcs, TokensKeepCharactersWhole) {
  if (!Is932()) return;
  const std::string text = std::string(kHyou) + kHyou + " x";
  char token[8];
  // Capacity 4: one character, then there are only 2 places left, not more than 2.
  const char *next = GetTokenA(text.c_str(), token, 4, nullptr);
  EXPECT_EQ(std::string(kHyou), token);
  EXPECT_EQ(text.c_str() + 2, next);
  next = GetTokenA(next, token, 4, nullptr);
  EXPECT_EQ(std::string(kHyou), token);
  EXPECT_EQ(text.c_str() + 4, next);
  // Capacity 2: a double-byte character never fits; no progress.
  EXPECT_EQ(text.c_str(), GetTokenA(text.c_str(), token, 2, nullptr));
  EXPECT_EQ(std::string(), token);
  // A delimiter that equals a trail byte does not split the character.
  const std::string delimited = std::string(kHyou) + "\\b";
  next = GetTokenA(delimited.c_str(), token, 8, "\\");
  EXPECT_EQ(std::string(kHyou) + "\\", token);
  EXPECT_EQ(delimited.c_str() + 3, next);
  // A lead byte right before the terminator is a character of one byte.
  next = GetTokenA("a\x95", token, 8, nullptr);
  EXPECT_EQ(std::string("a\x95"), token);
}

TEST(TextDbcs, TagsAreFoundOnCharacterBoundaries) {
  if (!Is932()) return;
  // Byte by byte, the trail 0x5C and the next backslash would make a double backslash at 1.
  const std::string text = std::string(kHyou) + "\\\\x";
  const char *tags[] = {"\\\\"};
  const char *found = nullptr;
  EXPECT_EQ(0, FindTagA(text.c_str(), tags, 1, found));
  EXPECT_EQ(text.c_str() + 2, found);
  // Half-width katakana are word characters: a tag does not match inside their run.
  const char *word[] = {"a"};
  EXPECT_EQ(-1, FindTagA("\xB1" "a", word, 1, found));
  EXPECT_EQ(nullptr, found);
}
