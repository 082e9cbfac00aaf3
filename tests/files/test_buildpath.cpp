// BuildPath: resolution of relative paths against bases of both separator styles, the failures
// that write nothing, and what capacities do to the output.

#include <string>

#include <gtest/gtest.h>

#include "files/path_buffer.h"
#include "qnutil/paths.h"

namespace {

using qn::AsU;
using qntest::kUnwritten;
using qntest::PathBuffer;

struct Resolution {
  const char16_t *base;
  const char16_t *rel;
  int cch;
  HRESULT hr;
  const char16_t *out;  // null: nothing may be written
};

// Runs one resolution into a buffer whose every code unit starts as kUnwritten, and checks the
// answer, the text, and that nothing was written at or after the capacity.
void ExpectResolution(const Resolution &r) {
  PathBuffer out(u"");
  unsigned short *pwszOut = out.Get();
  pwszOut[0] = kUnwritten;
  const unsigned short *base = r.base ? AsU(r.base) : nullptr;
  EXPECT_EQ(BuildPath(base, AsU(r.rel), pwszOut, r.cch), r.hr);
  size_t firstUntouched = 0;  // nothing may be written on failure
  if (r.out) {
    EXPECT_EQ(out.Text(), r.out);
    firstUntouched = static_cast<size_t>(r.cch);
  }
  for (size_t i = firstUntouched; i < PathBuffer::Capacity(); ++i) {
    ASSERT_EQ(out.At(i), kUnwritten) << "written at " << i;
  }
}

#define BASE u"ftp://srv/a/b/page.htm"

TEST(BuildPathTable, ResolvesUrlDriveAndNetworkBases) {
  const Resolution table[] = {
      {BASE, u"img/x.gif", 260, S_OK, u"ftp://srv/a/b/img/x.gif"},
      {BASE, u"/img/x.gif", 260, S_OK, u"ftp://srv/img/x.gif"},
      {BASE, u"../x.htm", 260, S_OK, u"ftp://srv/a/x.htm"},
      {BASE, u"../../x.htm", 260, S_OK, u"ftp://srv/x.htm"},
      {BASE, u"./x.htm", 260, S_OK, u"ftp://srv/a/b/x.htm"},
      {BASE, u".", 260, S_OK, u"ftp://srv/a/b/"},
      {BASE, u"..", 260, S_OK, u"ftp://srv/a/"},
      {BASE, u"", 260, S_OK, u"ftp://srv/a/b/"},
      {BASE, u"..x", 260, E_INVALIDARG, nullptr},
      {BASE, u".x", 260, E_INVALIDARG, nullptr},
      {BASE, u"  news:c/d", 260, S_OK, u"ftp://srv/a/b/news:c/d"},
      {BASE, u"C:\\d\\f.txt", 260, S_OK, u"C:\\d\\f.txt"},
      {BASE, u"a//b", 260, S_OK, u"a//b"},
      {BASE, u"img/x.gif", 20, S_OK, u"ftp://srv/a/b/img/x"},
      {u"C:\\dir\\sub\\file.txt", u"..\\other\\x.txt", 260, S_OK, u"C:\\dir\\other\\x.txt"},
      {u"C:\\dir\\sub\\file.txt", u"\\root.txt", 260, S_OK, u"C:\\root.txt"},
      {u"C:\\dir\\sub\\", u"x.txt", 260, S_OK, u"C:\\dir\\sub\\x.txt"},
      {u"\\\\server\\share\\dir\\f", u"\\x", 260, S_OK, u"\\\\server\\x"},
      {u"\\\\server\\share\\dir\\f", u"y", 260, S_OK, u"\\\\server\\share\\dir\\y"},
      {u"file.txt", u"x", 260, E_INVALIDARG, nullptr},
      {u" \t ", u"x", 260, E_INVALIDARG, nullptr},
  };
  for (const Resolution &r : table) {
    SCOPED_TRACE(testing::Message() << "row " << (&r - table));
    ExpectResolution(r);
  }
}

TEST(BuildPath, DotGroupsCountOnlyAsALeadingRun) {
  const Resolution table[] = {
      {BASE, u"./../x", 260, S_OK, u"ftp://srv/a/b/../x"},  // one "." group, then text
      {BASE, u"../.x", 260, S_OK, u"ftp://srv/a/.x"},
      {BASE, u"../", 260, S_OK, u"ftp://srv/a/"},
      {BASE, u"..\\../x", 260, S_OK, u"ftp://srv/x"},     // either separator ends a group
      {BASE, u"./", 260, S_OK, u"ftp://srv/a/b/"},
      {BASE, u"...", 260, E_INVALIDARG, nullptr},
      {BASE, u"../..x", 260, E_INVALIDARG, nullptr},
      {BASE, u"../x/../y", 260, S_OK, u"ftp://srv/a/x/../y"},  // inner groups are text
  };
  for (const Resolution &r : table) {
    SCOPED_TRACE(testing::Message() << "row " << (&r - table));
    ExpectResolution(r);
  }
}

TEST(BuildPath, EachSideKeepsItsSeparatorStyle) {
  ExpectResolution({u"C:\\dir\\sub\\file.txt", u"../a/b", 260, S_OK, u"C:\\dir\\a/b"});
  ExpectResolution({u"http://srv/a/f", u"x\\y", 260, S_OK, u"http://srv/a/x\\y"});
  ExpectResolution({u"http://srv/a/f", u"\\x", 260, S_OK, u"http://srv\\x"});
}

TEST(BuildPath, CompleteRelativePathsNeedNoBase) {
  // Completeness is decided after the leading blanks are skipped.
  ExpectResolution({nullptr, u"  C:\\x", 260, S_OK, u"C:\\x"});
  ExpectResolution({u"", u"\\\\srv\\share", 260, S_OK, u"\\\\srv\\share"});
  ExpectResolution({nullptr, u"x", 260, E_INVALIDARG, nullptr});
  ExpectResolution({u"", u"", 260, E_INVALIDARG, nullptr});
}

TEST(BuildPath, BasesWithoutARootSeparatorAreRefused) {
  ExpectResolution({u"ftp://srv", u"x", 260, E_INVALIDARG, nullptr});
  ExpectResolution({u"C:", u"x", 260, E_INVALIDARG, nullptr});
  ExpectResolution({u"\\\\server", u"\\x", 260, E_INVALIDARG, nullptr});
  // A root that is the base's first character is a root all the same.
  ExpectResolution({u"/dir/f", u"x", 260, S_OK, u"/dir/x"});
  ExpectResolution({u"/dir/f", u"/x", 260, S_OK, u"/x"});
}

TEST(BuildPath, ParentLevelsStopAtTheRoot) {
  ExpectResolution({u"ftp://srv/p", u"../../../z", 260, S_OK, u"ftp://srv/z"});
  ExpectResolution({u"C:\\a\\b", u"..\\..\\..\\z", 260, S_OK, u"C:\\z"});
  ExpectResolution({u"C:\\file.txt", u"..\\x", 260, S_OK, u"C:\\x"});
  ExpectResolution({u"\\\\server\\share\\dir\\f", u"..\\..\\..\\x", 260, S_OK, u"\\\\server\\x"});
  ExpectResolution({u"/f", u"..", 260, S_OK, u"/"});
}

TEST(BuildPath, OutputIsCutToTheCapacity) {
  // A capacity of 1 holds the terminator only, whichever way the result is built.
  ExpectResolution({BASE, u"C:\\x", 1, S_OK, u""});
  ExpectResolution({BASE, u"/x", 1, S_OK, u""});
  ExpectResolution({BASE, u"x", 1, S_OK, u""});
  // Shorter than the part of the base that is kept: the same answer, cut.
  ExpectResolution({BASE, u"x", 5, S_OK, u"ftp:"});
  ExpectResolution({BASE, u"/x", 10, S_OK, u"ftp://srv"});
  // Exactly enough, and one short.
  ExpectResolution({BASE, u"x", 16, S_OK, u"ftp://srv/a/b/x"});
  ExpectResolution({BASE, u"x", 15, S_OK, u"ftp://srv/a/b/"});
  // Refusals still come first: a capacity never turns a bad call into S_OK.
  ExpectResolution({u"file.txt", u"x", 1, E_INVALIDARG, nullptr});
}

TEST(BuildPath, CapacityWithoutRoomForTheTerminatorIsRefused) {
  ExpectResolution({BASE, u"x", 0, E_INVALIDARG, nullptr});
  ExpectResolution({BASE, u"C:\\x", -1, E_INVALIDARG, nullptr});
}

#undef BASE

}  // namespace
