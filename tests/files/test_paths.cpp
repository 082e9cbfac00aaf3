// The small path functions: completeness, separator style, trailing separators, extensions and
// the file part.

#include <string>

#include <gtest/gtest.h>

#include "files/path_buffer.h"
#include "qnutil/paths.h"

namespace {

using qn::AsU;
using qntest::PathBuffer;
using qntest::Text;

struct TextCase {
  const char16_t *text;
  bool expected;
};

TEST(PathCompleteness, DoubleSeparatorWithinTenCharactersOrDriveColon) {
  const TextCase cases[] = {
      {u"ftp://srv/x", true},
      {u"\\\\server\\share", true},
      {u"C:\\x", true},
      {u"C:", true},
      {u"c:relative", true},
      {u"ab:x", true},          // colon as the third character
      {u"abcdefgh//x", true},   // double slash at index 8
      {u"abcdefghi\\\\x", true},  // double backslash at index 9
      {u"  //x", true},         // the tag search skips blanks itself
      {u"abcdefghij//x", false},  // index 10 is too far
      {u"/x", false},
      {u"\\x", false},
      {u"1:\\x", false},         // a digit is no drive letter
      {u"abc:x", false},         // colon as the fourth character
      {u"  C:\\x", false},       // the drive test reads the text as passed
      {u"a/b\\c", false},
      {u"C", false},
      {u"", false},
  };
  for (const TextCase &c : cases) {
    EXPECT_EQ(FIsCompletePath(AsU(c.text)), c.expected) << "case index " << (&c - cases);
  }
}

TEST(PathSeparators, AddSlashFollowsThePathsStyle) {
  const struct {
    const char16_t *before, *after;
  } cases[] = {
      {u"C:\\dir", u"C:\\dir\\"}, {u"a/b", u"a/b/"},      {u"dir", u"dir/"},
      {u"a/b\\c", u"a/b\\c\\"},   {u"x/", u"x/"},         {u"x\\", u"x\\"},
      {u"", u"/"},                {u"a\\b/", u"a\\b/"},
  };
  for (const auto &c : cases) {
    PathBuffer path(c.before);
    PathAddSlash(path.Get());
    EXPECT_EQ(path.Text(), c.after) << "from index " << (&c - cases);
    // One character added at most, and nothing beyond the new terminator.
    EXPECT_EQ(path.At(path.Text().size() + 1), qntest::kUnwritten);
  }
}

TEST(PathSeparators, AddBackslashKnowsOnlyTheBackslash) {
  PathBuffer forward(u"a/b/");
  EXPECT_EQ(PathAddBackslashW(forward.Get()), forward.Get());  // the start, not the end
  EXPECT_EQ(forward.Text(), u"a/b/\\");

  PathBuffer done(u"C:\\dir\\");
  EXPECT_EQ(PathAddBackslashW(done.Get()), done.Get());
  EXPECT_EQ(done.Text(), u"C:\\dir\\");

  PathBuffer empty(u"");
  PathAddBackslashW(empty.Get());
  EXPECT_EQ(empty.Text(), u"\\");
  EXPECT_EQ(empty.At(2), qntest::kUnwritten);
}

TEST(PathSeparators, SwapStylesInPlace) {
  PathBuffer path(u"\\\\srv/share\\dir/f.txt");
  UseBackslashes(path.Get());
  EXPECT_EQ(path.Text(), u"\\\\srv\\share\\dir\\f.txt");
  UseForwardSlashes(path.Get());
  EXPECT_EQ(path.Text(), u"//srv/share/dir/f.txt");
}

TEST(PathSeparators, EightBitSwapIsByteByByte) {
  // 0x83 0x5C is one double-byte character in code page 932; the swap does not know that.
  char path[] = "a\\\x83\x5C\\b";
  UseForwardSlashes(path);
  EXPECT_STREQ(path, "a/\x83/" "/b");
}

TEST(PathExtension, ReplacesAfterTheLastFullStopOfTheLastComponent) {
  const struct {
    const char16_t *path, *ext, *after;
  } cases[] = {
      {u"dir/file.txt", u".htm", u"dir/file.htm"},
      {u"dir/file.txt", u"htm", u"dir/file.htm"},
      {u"dir/file.txt", u"..htm", u"dir/file.htm"},
      {u"C:\\d.x\\file.c", u"cpp", u"C:\\d.x\\file.cpp"},  // the new one may be longer
      {u"a.b.c", u"d", u"a.b.d"},
      {u".profile", u"x", u".x"},
      {u"file.", u"txt", u"file.txt"},
      {u"file.txt", u"", u"file."},
      {u"file.txt", u"...", u"file."},
  };
  for (const auto &c : cases) {
    PathBuffer path(c.path);
    EXPECT_TRUE(ReplaceFileExtension(path.Get(), AsU(c.ext))) << "index " << (&c - cases);
    EXPECT_EQ(path.Text(), c.after) << "index " << (&c - cases);
  }
}

TEST(PathExtension, NoFullStopInTheLastComponentChangesNothing) {
  for (const char16_t *text : {u"dir.x/file", u"dir.x\\file", u"noext", u"", u"dir.x/"}) {
    PathBuffer path(text);
    EXPECT_FALSE(ReplaceFileExtension(path.Get(), AsU(u"htm")));
    EXPECT_EQ(path.Text(), text);
  }
}

TEST(PathFilePart, StartsAfterTheLastSeparatorOfEitherKind) {
  const unsigned short *full = AsU(u"C:\\dir\\file.txt");
  EXPECT_EQ(FilePartOfPath(full), full + 7);
  const unsigned short *mixed = AsU(u"a\\b/c");
  EXPECT_EQ(FilePartOfPath(mixed), mixed + 4);
  const unsigned short *rooted = AsU(u"\\file");
  EXPECT_EQ(FilePartOfPath(rooted), rooted + 1);
}

TEST(PathFilePart, NoSeparatorOrATrailingOneMeansAnEmptyFilePart) {
  for (const char16_t *text : {u"file.txt", u"dir/", u"dir\\", u""}) {
    const unsigned short *path = AsU(text);
    unsigned short *part = FilePartOfPath(path);
    EXPECT_EQ(part, path + Text(path).size()) << "length " << Text(path).size();
    EXPECT_EQ(*part, 0);
  }
}

}  // namespace
