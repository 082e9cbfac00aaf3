// CString searches, slices, spans, case mapping, reversal, SetAt and trimming: where they stop (the
// first zero code unit or the length), how they clamp, and that changes never reach other holders.

#include <gtest/gtest.h>

#include "qnutil/cstring.h"
#include "support/heap_faults.h"
#include "strings/cstring_probe.h"

namespace {

using qn::AsU;
using qntest::OnSharedEmpty;
using qntest::Ptr;
using qntest::Refs;
using qntest::Text;
using qntest::Unit;

TEST(CStringSlice, Searches) {
  const unsigned short zeroInside[] = {'a', 'b', 0, 'c'};
  const CString s(AsU(u"abcab")), z(zeroInside, 4), empty;
  // Nothing after the first zero code unit is seen; searching for 0 finds that zero.
  const struct {
    const CString &in;
    char16_t unit;
    int find, reverse;
  } units[] = {{s, u'b', 1, 4}, {s, u'z', -1, -1}, {s, 0, 5, 5}, {z, u'c', -1, -1}, {z, 0, 2, 2}, {empty, 0, 0, 0}};
  for (const auto &r : units) {
    EXPECT_EQ(r.in.Find(Unit(r.unit)), r.find) << +r.unit;
    EXPECT_EQ(r.in.ReverseFind(Unit(r.unit)), r.reverse) << +r.unit;
  }
  const struct {
    const char16_t *sub;
    int atS, atEmpty;
  } subs[] = {{u"", 0, -1}, {u"ab", 0, -1}, {u"cab", 2, -1}, {u"abx", -1, -1}, {u"abcabc", -1, -1}};
  for (const auto &row : subs) {
    EXPECT_EQ(s.Find(AsU(row.sub)), row.atS);
    EXPECT_EQ(empty.Find(AsU(row.sub)), row.atEmpty);
  }
  EXPECT_EQ(s.FindOneOf(AsU(u"xc")), 2);
  EXPECT_EQ(s.FindOneOf(AsU(u"")), -1);
  EXPECT_EQ(z.FindOneOf(AsU(u"c")), -1);
}

TEST(CStringSlice, SlicesClampAndNeverShare) {
  const CString s(AsU(u"abcde"));
  const struct {
    int first, count;
    const char16_t *piece;
  } mids[] = {{-3, 2, u"ab"}, {2, -1, u""}, {7, 1, u""}, {1, 0x7FFFFFFF, u"bcde"}, {0, 5, u"abcde"}, {5, 1, u""}};
  for (const auto &m : mids) EXPECT_EQ(Text(s.Mid(m.first, m.count)), m.piece) << m.first << "," << m.count;
  EXPECT_EQ(Text(s.Mid(2)), u"cde");
  EXPECT_EQ(Text(s.Left(-1)), u"");
  EXPECT_EQ(Text(s.Right(99)), u"abcde");
  EXPECT_EQ(Text(s.Right(2)), u"de");
  const CString whole = s.Left(99);
  EXPECT_NE(Ptr(whole), Ptr(s));
  EXPECT_EQ(Refs(s), 1);
  EXPECT_EQ(whole.GetAllocLength(), 5);
  EXPECT_TRUE(OnSharedEmpty(s.Mid(3, 0)));
  const unsigned short zeroInMiddle[] = {'x', 0, 'y'};
  EXPECT_EQ(Text(CString(zeroInMiddle, 3).Right(2)), std::u16string(u"\0y", 2));
}

TEST(CStringSlice, Spans) {
  const CString s(AsU(u"xyzxy"));
  EXPECT_EQ(Text(s.SpanIncluding(AsU(u"xy"))), u"xy");
  EXPECT_EQ(Text(s.SpanExcluding(AsU(u"z"))), u"xy");
  EXPECT_EQ(Text(s.SpanIncluding(AsU(u""))), u"");
  EXPECT_EQ(Text(s.SpanExcluding(AsU(u""))), u"xyzxy");
  const unsigned short zeroInside[] = {'x', 0, 'x'};
  EXPECT_EQ(Text(CString(zeroInside, 3).SpanExcluding(AsU(u"z"))), u"x");
}

TEST(CStringSlice, CaseMappingAndReversalTouchOnlyTheirRangeAndNotOtherHolders) {
  CString s(AsU(u"aZ@[`{\u00e9z")), other(s);
  s.MakeUpper();
  EXPECT_EQ(Text(s), u"AZ@[`{\u00e9Z");
  EXPECT_EQ(Text(other), u"aZ@[`{\u00e9z");
  s.MakeLower();
  EXPECT_EQ(Text(s), u"az@[`{\u00e9z");
  const unsigned short text[] = {'a', 'b', 'c', 0, 'D'};
  CString r(text, 5);
  r.MakeReverse();
  r.MakeLower();
  EXPECT_EQ(Text(r), std::u16string(u"cba\0D", 5));
}

TEST(CStringSlice, Trimming) {
  const struct {
    const char16_t *text, *right, *left;
  } rows[] = {
      {u"  a b \t\n", u"  a b", u"a b \t\n"},
      {u"\v\f\r", u"", u""},
      {u"\u00a0x\u00a0", u"\u00a0x\u00a0", u"\u00a0x\u00a0"},  // no-break space is not white space
      {u"\u3000x\u2003", u"\u3000x", u"x\u2003"},               // ideographic and em space are
      {u"\uffffx\u4e00", u"\uffffx\u4e00", u"\uffffx\u4e00"},
  };
  for (const auto &row : rows) {
    CString right(AsU(row.text)), left(AsU(row.text));
    right.TrimRight();
    left.TrimLeft();
    EXPECT_EQ(Text(right), row.right);
    EXPECT_EQ(Text(left), row.left);
    EXPECT_EQ(left.GetAllocLength(), static_cast<int>(std::char_traits<char16_t>::length(row.text)));  // kept
  }
  const unsigned short zeroInside[] = {'x', ' ', 0, 'y'};
  CString z(zeroInside, 4);
  z.TrimRight();
  EXPECT_EQ(Text(z), u"x");
  CString shared(AsU(u"abc")), holder(shared);
  shared.TrimLeft();
  EXPECT_NE(Ptr(shared), Ptr(holder));  // a private block even with nothing to trim
  EXPECT_EQ(Refs(holder), 1);
  CString empty;
  empty.TrimLeft();
  empty.TrimRight();
  EXPECT_TRUE(OnSharedEmpty(empty));
}

}  // namespace
