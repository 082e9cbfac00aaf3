// CString: the shared empty block, exact block sizes, sharing and copy-on-write, locking, buffers,
// comparisons, 8-bit text and the clamped arguments.

#include <stdint.h>

#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

#include "qnutil/cstring.h"
#include "support/heap_faults.h"
#include "strings/cstring_probe.h"

namespace {

using qn::AsU;
using qntest::HeapFaults;
using qntest::OnSharedEmpty;
using qntest::Ptr;
using qntest::Refs;
using qntest::Text;
using qntest::Unit;

const unsigned short kZeroInside[] = {'a', 0, 'c', 0};

TEST(CString, EmptyStringsShareOneBlockAndAllocateNothing) {
  HeapFaults faults;
  const CString empties[] = {CString(), CString(static_cast<const unsigned short *>(nullptr)), CString(AsU(u"")),
                             CString(""), CString(u'x', 0), CString(kZeroInside, 0), CString(kZeroInside, -3),
                             CString(reinterpret_cast<const unsigned short *>(uintptr_t{1}))};  // no string table
  for (const CString &s : empties) {
    CString copy(s), assigned;
    assigned = s;
    copy.LockBuffer();
    EXPECT_TRUE(OnSharedEmpty(s) && OnSharedEmpty(copy) && OnSharedEmpty(assigned));
    EXPECT_EQ(Refs(copy), -1);
    EXPECT_EQ(copy.GetAllocLength(), 0);
  }
  EXPECT_EQ(faults.Allocations(), 0);
}

TEST(CString, BlocksHoldTheHeaderAndExactlyTheTextAndItsTerminator) {
  HeapFaults faults;
  CString a(AsU(u"abc")), b("hello"), c(u'z', 4), d(kZeroInside, 3);
  EXPECT_EQ(faults.Requests(), (std::vector<size_t>{12 + 8, 12 + 12, 12 + 10, 12 + 8}));
  EXPECT_EQ(Text(c), u"zzzz");
  EXPECT_EQ(Text(d), std::u16string(u"a\0c", 3));
}

TEST(CString, CopiesShareUntilOneOfThemWrites) {
  CString first(AsU(u"abc")), second(first), third;
  EXPECT_EQ(Refs(first), 2);
  second += Unit(u'd');
  EXPECT_EQ(Refs(first), 1);
  EXPECT_EQ(Text(second), u"abcd");
  EXPECT_EQ(second.GetAllocLength(), 4);
  third = second;
  const CString &alias = third;
  third = alias;
  EXPECT_EQ(Refs(second), 2);
  third = first;  // gives up one block, shares the other
  EXPECT_EQ(Refs(second), 1);
  EXPECT_EQ(Refs(first), 2);
  // An owned block that is large enough takes the assignment in place.
  CString s(AsU(u"0123456789"));
  const unsigned short *block = s;
  s = AsU(u"ab");
  s = static_cast<const unsigned short *>(s) + 1;  // a source inside the block itself
  EXPECT_EQ(Ptr(s), block);
  EXPECT_EQ(Text(s), u"b");
  EXPECT_EQ(s.GetAllocLength(), 10);
}

TEST(CString, LengthDrivenOperationsKeepZeroCodeUnits) {
  CString s(kZeroInside, 3), assigned;
  s += Unit(0);
  assigned = s;
  s += s;  // the source is the string's own text, read before its block goes
  EXPECT_EQ(Text(s), std::u16string(u"a\0c\0a\0c\0", 8));
  s.LockBuffer();
  CString copied(s);  // from a locked string: up to its first zero
  assigned = s;       // also copied, but all of its length
  EXPECT_EQ(copied.GetLength(), 1);
  EXPECT_EQ(assigned.GetLength(), 8);
  EXPECT_EQ(Refs(s), -1);
}

TEST(CString, LockingKeepsABlockPrivateUntilItMoves) {
  CString s(AsU(u"text")), other(s);
  s.LockBuffer();
  EXPECT_EQ(Refs(other), 1);  // a shared string first takes a block of its own
  s.Empty();
  EXPECT_EQ(s.GetAllocLength(), 4);
  EXPECT_EQ(Refs(s), -1);
  s.UnlockBuffer();
  EXPECT_EQ(Refs(s), 1);
  s.LockBuffer();
  s += AsU(u"longer");  // does not fit: a new block, unlocked
  EXPECT_EQ(Refs(s), 1);
  s = AsU(u"ab");
  s.LockBuffer();
  s.FreeExtra();
  EXPECT_EQ(Refs(s), 1);
  EXPECT_EQ(s.GetAllocLength(), 2);
}

TEST(CString, GetBufferAndReleaseBuffer) {
  CString s(AsU(u"ab")), other(s);
  unsigned short *buffer = s.GetBuffer(10);
  EXPECT_EQ(Text(other), u"ab");
  EXPECT_EQ(s.GetAllocLength(), 10);
  const unsigned short written[] = {'v', 'w', 0, 'y', 'z'};
  std::copy(std::begin(written), std::end(written), buffer);
  // Requested length, resulting length: negative measures, beyond the block is clamped.
  const int releases[][2] = {{-1, 2}, {4, 4}, {-7, 2}, {99, 10}, {0, 0}};
  for (const auto &r : releases) {
    s.ReleaseBuffer(r[0]);
    EXPECT_EQ(s.GetLength(), r[1]) << r[0];
    EXPECT_EQ(s[s.GetLength()], 0);
  }
  EXPECT_EQ(s.GetBufferSetLength(-5), buffer);
  EXPECT_EQ(s.GetLength(), 0);
  s.GetBufferSetLength(3);
  s.FreeExtra();
  EXPECT_EQ(s.GetAllocLength(), 3);
  EXPECT_NE(Ptr(s), buffer);
}

TEST(CString, ComparisonsByCodeUnit) {
  const struct {
    const char16_t *a, *b;
    int compare, noCase;
  } rows[] = {{u"b", u"a", 1, 1},   {u"x", u"Z", 1, -2},        {u"ABC", u"abc", -1, 0},
              {u"[", u"a", -1, -6}, {u"ab", u"abc", -1, -'c'},  {u"\xFFFF", u"a", 1, 0xFFFF - 'a'}};
  for (const auto &r : rows) {
    const CString s(AsU(r.a));
    EXPECT_EQ(s.Compare(AsU(r.b)), r.compare);
    EXPECT_EQ(s.Collate(AsU(r.b)), r.compare);
    EXPECT_EQ(s.CompareNoCase(AsU(r.b)), r.noCase);
    EXPECT_EQ(AsU(r.b) < s, r.compare > 0);
  }
}

TEST(CString, ConcatenationMakesExactBlocksOrAppendsInReservedRoom) {
  const CString ab(AsU(u"ab"));
  EXPECT_EQ(Text(Unit(u'-') + ab + AsU(u"") + ab + 'c'), u"-ababc");
  EXPECT_EQ((AsU(u"x") + ab).GetAllocLength(), 3);
  EXPECT_TRUE(OnSharedEmpty(CString() + AsU(u"")));
  CString s(ab);
  s.GetBuffer(8);
  s.ReleaseBuffer();
  const unsigned short *block = s;
  s += 'c';
  s += CString(AsU(u"de"));
  EXPECT_EQ(Ptr(s), block);
  EXPECT_EQ(Text(s), u"abcde");
}

TEST(CString, EightBitTextGoesThroughTheAnsiCodePage) {
  CString s(reinterpret_cast<const unsigned char *>("hello"));
  EXPECT_EQ(s.GetAllocLength(), 5);
  s = static_cast<const char *>(nullptr);
  EXPECT_EQ(s.IsEmpty(), 1);
  // A single character widens as the one-byte string of it does, whatever the code page.
  for (const char *byte : {"A", "\xE9", "\x80", "\xFF"}) {
    CString fromChar, fromText(byte);
    fromChar = byte[0];
    fromText += byte[0];
    EXPECT_EQ(Text(fromChar) + Text(fromChar), Text(fromText)) << +static_cast<unsigned char>(byte[0]);
  }
}

TEST(CStringDbcs, DoubleByteTextLeavesSpareCapacity) {
  if (GetACP() != 932) return;
  CString s("a\x82\xa0");  // a and hiragana A: three bytes, two code units
  EXPECT_EQ(Text(s), u"a\u3042");
  EXPECT_EQ(s.GetAllocLength(), 3);
}

TEST(CString, ArgumentsOutsideTheStringAreClamped) {
  CString s(AsU(u"abc")), other(s);
  for (int index : {-1, 3, 4, 1000}) EXPECT_EQ(s.GetAt(index), 0) << index;
  s.SetAt(3, u'x');
  s.SetAt(-1, u'x');
  EXPECT_EQ(Refs(s), 2);  // nothing written, nothing copied
  s.SetAt(1, 0);
  EXPECT_EQ(Text(s), std::u16string(u"a\0c", 3));
  EXPECT_EQ(Text(other), u"abc");
}

}  // namespace
