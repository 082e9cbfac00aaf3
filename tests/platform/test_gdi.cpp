// Conformance of the device-context services used to measure text.
#include <gtest/gtest.h>

#include "qnutil/win32.h"

namespace {

SIZE Extent(HDC dc, const char16_t *text, int count) {
  SIZE size = {-7, -7};
  EXPECT_TRUE(GetTextExtentPoint32W(dc, qn::AsW(text), count, &size)) << count;
  return size;
}

}  // namespace

TEST(GdiTextExtent, GrowsWithTheCountAndIsZeroForNoCharacters) {
  HDC dc = CreateCompatibleDC(nullptr);
  ASSERT_NE(nullptr, dc);
  const char16_t *text = u"WWii mm.";
  const SIZE none = Extent(dc, text, 0);
  EXPECT_EQ(0, none.cx);
  EXPECT_EQ(0, none.cy);
  LONG previous = 0;
  for (int n = 1; n <= 8; ++n) {
    const SIZE s = Extent(dc, text, n);
    EXPECT_GT(s.cx, previous) << n;
    EXPECT_GT(s.cy, 0) << n;
    previous = s.cx;
  }
  // The count decides what is measured, not the terminator.
  EXPECT_EQ(Extent(dc, u"ab", 2).cx, Extent(dc, u"abcd", 2).cx);
  EXPECT_LT(Extent(dc, u"abcd", 2).cx, Extent(dc, u"abcd", 4).cx);
  EXPECT_TRUE(DeleteDC(dc));
}

TEST(GdiTextExtent, RefusesBadContextsAndCounts) {
  HDC dc = CreateCompatibleDC(nullptr);
  ASSERT_NE(nullptr, dc);
  SIZE size = {-7, -7};
  EXPECT_FALSE(GetTextExtentPoint32W(dc, qn::AsW(u"abc"), -1, &size));
  EXPECT_FALSE(GetTextExtentPoint32W(nullptr, qn::AsW(u"abc"), 3, &size));
  EXPECT_EQ(-7, size.cx);
  EXPECT_TRUE(DeleteDC(dc));
  EXPECT_FALSE(GetTextExtentPoint32W(dc, qn::AsW(u"abc"), 3, &size));
  SetLastError(0);
  EXPECT_FALSE(DeleteDC(dc));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
  SetLastError(0);
  EXPECT_FALSE(DeleteDC(nullptr));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
}

TEST(GdiTextExtent, ContextsAreDistinctAndCanDeriveFromAnother) {
  HDC a = CreateCompatibleDC(nullptr);
  HDC b = CreateCompatibleDC(a);
  ASSERT_NE(nullptr, a);
  ASSERT_NE(nullptr, b);
  EXPECT_NE(a, b);
  EXPECT_TRUE(DeleteDC(a));
  EXPECT_GT(Extent(b, u"abc", 3).cx, 0);  // outlives the one it was made from
  EXPECT_TRUE(DeleteDC(b));
}

#if !defined(_WIN32)
// The subset's fixed cell: every code unit is as wide as any other.
TEST(GdiTextExtent, SubsetMeasuresAFixedCell) {
  HDC dc = CreateCompatibleDC(nullptr);
  ASSERT_NE(nullptr, dc);
  for (int n : {1, 2, 7, 100}) {
    const SIZE s = Extent(dc, u"Wi\u4E00\t.................................................................................................", n);
    EXPECT_EQ(n * QN_GDI_CHAR_WIDTH, s.cx);
    EXPECT_EQ(QN_GDI_CHAR_HEIGHT, s.cy);
  }
  EXPECT_TRUE(DeleteDC(dc));
}
#endif
