// CFixedString: its states, block sizes, assignments (also from its own text), comparisons, GUID
// text, and what every operation leaves behind when the heap fails.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/fixedstring.h"
#include "qnutil/frame.h"
#include "support/heap_faults.h"

namespace {

using qn::AsU;
using qntest::HeapFaults;

std::u16string Text(const CFixedString &s) {
  const unsigned short *p = s;
  return p ? std::u16string(reinterpret_cast<const char16_t *>(p)) : u"<invalid>";
}

std::vector<size_t> Bytes(std::initializer_list<size_t> sizes) { return std::vector<size_t>(sizes); }

TEST(CFixedString, StartsInvalid) {
  CFixedString s;
  EXPECT_EQ(s.BValid(), 0);
  EXPECT_EQ(s.Length(), 0);
  EXPECT_EQ(static_cast<const unsigned short *>(s), nullptr);
}

TEST(CFixedString, Utf16AssignmentCopiesIntoABlockOfLengthPlusOne) {
  HeapFaults faults;
  {
    const unsigned short *source = AsU(u"hello");
    CFixedString s;
    EXPECT_EQ(s = source, source);  // answers its argument, not the block
    EXPECT_NE(static_cast<const unsigned short *>(s), source);
    EXPECT_EQ(Text(s), u"hello");
    EXPECT_EQ(s.Length(), 5);
    EXPECT_EQ(s.BValid(), 1);
    s = AsU(u"");
    EXPECT_EQ(s.BValid(), 1);
    EXPECT_EQ(s.Length(), 0);
    EXPECT_EQ(faults.Requests(), Bytes({12, 2}));
    EXPECT_EQ(faults.LiveBlocks(), 1);  // the first block went with the second assignment
    EXPECT_EQ(s = static_cast<const unsigned short *>(nullptr), nullptr);
    EXPECT_EQ(s.BValid(), 0);
    EXPECT_EQ(faults.LiveBlocks(), 0);
  }
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

TEST(CFixedString, EightBitAssignmentWidensThroughTheAnsiCodePage) {
  HeapFaults faults;
  CFixedString s(AsU(u"previous"));
  const unsigned short *result = (s = "abc");
  EXPECT_EQ(result, static_cast<const unsigned short *>(s));  // answers the new block
  EXPECT_EQ(Text(s), u"abc");
  EXPECT_EQ(faults.Requests(), Bytes({18, 8}));
  EXPECT_EQ(s = static_cast<const char *>(nullptr), nullptr);
  EXPECT_EQ(s.BValid(), 0);
  EXPECT_EQ(faults.LiveBlocks(), 0);
  CFixedString constructed("xyz");
  EXPECT_EQ(Text(constructed), u"xyz");
  EXPECT_EQ(CFixedString(static_cast<const char *>(nullptr)).BValid(), 0);
}

TEST(CFixedString, EightBitTextAboveAsciiFollowsCodePage1252) {
  if (GetACP() != 1252) return;  // the expectation below is that code page's
  CFixedString s("caf\xE9 \x80");
  EXPECT_EQ(Text(s), u"caf\u00E9 \u20AC");
}

TEST(CFixedString, CopiesAreDeepAndOfInvalidStringsInvalid) {
  CFixedString invalid;
  CFixedString copyOfInvalid(invalid);
  EXPECT_EQ(copyOfInvalid.BValid(), 0);

  CFixedString original(AsU(u"abc"));
  CFixedString copy(original);
  EXPECT_NE(static_cast<const unsigned short *>(copy), static_cast<const unsigned short *>(original));
  copy[0] = u'X';
  EXPECT_EQ(Text(copy), u"Xbc");
  EXPECT_EQ(Text(original), u"abc");

  CFixedString assigned(AsU(u"something else"));
  assigned = original;
  EXPECT_EQ(Text(assigned), u"abc");
  assigned = invalid;
  EXPECT_EQ(assigned.BValid(), 0);
}

// Freed blocks get reused and overwritten by the heap's own bookkeeping, so reading the source
// after releasing it would show here (and under ASan always).
TEST(CFixedString, AssigningItsOwnTextReadsNoReleasedMemory) {
  HeapFaults faults;
  {
    CFixedString s(AsU(u"a string long enough to span several heap words"));
    const CFixedString &same = s;
    s = same;
    EXPECT_EQ(Text(s), u"a string long enough to span several heap words");
    s = static_cast<const unsigned short *>(s) + 2;  // a pointer into its own block
    EXPECT_EQ(Text(s), u"string long enough to span several heap words");
    EXPECT_EQ(s.CopyLen(s, 7), 1);  // a prefix of its own text
    EXPECT_EQ(Text(s), u"string");
    EXPECT_EQ(faults.LiveBlocks(), 1);
  }
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

TEST(CFixedString, ComparisonIgnoresCase) {
  CFixedString abc(AsU(u"abc")), apple(AsU(u"apple")), banana(AsU(u"Banana"));
  EXPECT_EQ(abc == AsU(u"ABC"), 1);
  EXPECT_EQ(abc == AsU(u"abd"), 0);
  EXPECT_EQ(abc == AsU(u"ab"), 0);
  EXPECT_LT(CFixedString::Compare(apple, banana), 0);
  EXPECT_GT(CFixedString::Compare(banana, apple), 0);
  EXPECT_EQ(CFixedString::Compare(abc, CFixedString(AsU(u"AbC"))), 0);
  CFixedString *pApple = &apple, *pBanana = &banana;
  EXPECT_LT(CFixedString::Compare(pApple, pBanana), 0);
  EXPECT_GT(CFixedString::Compare(pBanana, pApple), 0);
}

TEST(CFixedString, ReservedBlocksHoldTheEmptyTextInTheCapacityAsked) {
  HeapFaults faults;
  CFixedString constructed(DWORD(10));
  CFixedString s(AsU(u"old"));
  EXPECT_EQ(s.ClearSetLength(10), 1);
  for (CFixedString *p : {&constructed, &s}) {
    EXPECT_EQ(p->BValid(), 1);
    EXPECT_EQ(p->Length(), 0);
  }
  // The whole block is the writer's: nine code units and the terminator.
  for (int i = 0; i < 9; ++i) s[i] = static_cast<unsigned short>(u'0' + i);
  s[9] = 0;
  EXPECT_EQ(Text(s), u"012345678");
  EXPECT_EQ(faults.Requests(), Bytes({20, 8, 20}));
}

TEST(CFixedString, CopyLenCopiesABoundedPrefixIntoTheCapacityAsked) {
  HeapFaults faults;
  CFixedString s;
  EXPECT_EQ(s.CopyLen(AsU(u"abcdef"), 4), 1);
  EXPECT_EQ(Text(s), u"abc");
  EXPECT_EQ(s.Length(), 3);
  EXPECT_EQ(s.CopyLen(AsU(u"ab"), 10), 1);
  EXPECT_EQ(Text(s), u"ab");
  for (DWORD i = 0; i < 9; ++i) s[i] = u'x';
  s[DWORD(9)] = 0;
  EXPECT_EQ(s.Length(), 9);
  EXPECT_EQ(faults.Requests(), Bytes({8, 20}));
  EXPECT_EQ(faults.LiveBlocks(), 1);
}

TEST(CFixedString, CapacityZeroStillHoldsATerminatedEmptyText) {
  HeapFaults faults;
  CFixedString constructed(DWORD(0));
  CFixedString reserved;
  reserved.ClearSetLength(0);
  CFixedString copied;
  EXPECT_EQ(copied.CopyLen(AsU(u"abc"), 0), 1);
  for (CFixedString *p : {&constructed, &reserved, &copied}) {
    EXPECT_EQ(p->BValid(), 1);
    EXPECT_EQ(p->Length(), 0);
  }
  // One code unit each: room for the terminator and nothing else to write into.
  EXPECT_EQ(faults.Requests(), Bytes({2, 2, 2}));
}

bool IsUpperHex(unsigned short c) { return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F'); }

TEST(CFixedString, CreateGUIDWritesTheRegistryFormInABlockOf39) {
  HeapFaults faults;
  CFixedString first(AsU(u"old text")), second;
  ASSERT_EQ(first.CreateGUID(), 1);
  ASSERT_EQ(second.CreateGUID(), 1);
  EXPECT_EQ(faults.Requests(), Bytes({18, 78, 78}));
  for (CFixedString *g : {&first, &second}) {
    ASSERT_EQ(g->Length(), 38);
    CFixedString &s = *g;
    EXPECT_EQ(s[0], u'{');
    EXPECT_EQ(s[37], u'}');
    for (int i = 1; i < 37; ++i) {
      if (i == 9 || i == 14 || i == 19 || i == 24)
        EXPECT_EQ(s[i], u'-') << i;
      else
        EXPECT_TRUE(IsUpperHex(s[i])) << "code unit " << i << " of " << testing::PrintToString(Text(s));
    }
  }
  EXPECT_NE(Text(first), Text(second));
}

// Every allocating operation, failed at each of its allocations: the string is left invalid and
// nothing is leaked (RunUntilSuccess checks the counts after every attempt).
TEST(CFixedString, EveryOperationLeavesTheStringInvalidWhenTheHeapFails) {
  auto invalid = [](CFixedString &s) { EXPECT_EQ(s.BValid(), 0); };
  auto old = [] { return CFixedString(AsU(u"old text")); };
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s = AsU(u"new"); }, invalid), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s = "new"; }, invalid), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s = static_cast<const CFixedString &>(s); }, invalid), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s = static_cast<const unsigned short *>(s) + 4; }, invalid), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s.ClearSetLength(5); }, invalid), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s.CopyLen(s, 4); }, invalid), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s.CreateGUID(); }, invalid), 1);
  // Releasing allocates nothing.
  EXPECT_EQ(qntest::RunUntilSuccess(old, [](CFixedString &s) { s = static_cast<const char *>(nullptr); }, invalid), 0);
}

TEST(CFixedString, AFailedCopyOrConstructionLeavesTheSourceAndLeaksNothing) {
  auto unchanged = [](CFixedString &s) { EXPECT_EQ(Text(s), u"source"); };
  auto source = [] { return CFixedString(AsU(u"source")); };
  EXPECT_EQ(qntest::RunUntilSuccess(source, [](CFixedString &s) { CFixedString copy(s); }, unchanged), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(source, [](CFixedString &) { CFixedString made(AsU(u"made")); }, unchanged), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(source, [](CFixedString &) { CFixedString made("made"); }, unchanged), 1);
  EXPECT_EQ(qntest::RunUntilSuccess(source, [](CFixedString &) { CFixedString made(DWORD(8)); }, unchanged), 1);
}

}  // namespace
