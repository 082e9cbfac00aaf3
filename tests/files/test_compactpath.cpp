// PathCompactPathW against a real device context. The widths are derived from what the context
// measures, so the expected texts hold for any font: the subset's fixed advance and whatever
// Windows draws with alike.

#include <string>

#include <gtest/gtest.h>

#include "files/path_buffer.h"
#include "qnutil/paths.h"

namespace {

using qn::AsU;
using qn::AsW;
using qntest::PathBuffer;

class CompactPath : public testing::Test {
 protected:
  void SetUp() override { m_hdc = CreateCompatibleDC(nullptr); }
  void TearDown() override {
    if (m_hdc) DeleteDC(m_hdc);
  }

  DWORD Measure(const std::u16string &text) {
    SIZE size{};
    EXPECT_TRUE(GetTextExtentPoint32W(m_hdc, AsW(text.c_str()), static_cast<int>(text.size()), &size));
    return static_cast<DWORD>(size.cx);
  }
  // The smallest width at which the proportional estimate for the whole text comes to cchFit
  // characters: ceil(cchFit * measured / length). It is exact as long as the text measures at
  // least one unit per character, which every font does.
  DWORD WidthFitting(const std::u16string &text, DWORD cchFit) {
    const DWORD measured = Measure(text);
    const DWORD cch = static_cast<DWORD>(text.size());
    EXPECT_GE(measured, cch);
    return (cchFit * measured + cch - 1) / cch;
  }

  HDC m_hdc = nullptr;
};

const char16_t kLong[] = u"C:\\Program Files\\Some App\\data\\file.txt";  // 39 characters
const char16_t kShort[] = u"C:\\Program Files\\App\\file.txt";             // 29 characters

TEST_F(CompactPath, APathThatFitsIsLeftAlone) {
  ASSERT_NE(m_hdc, nullptr);
  PathBuffer path(kLong);
  EXPECT_EQ(PathCompactPathW(m_hdc, path.Get(), Measure(kLong)), 1);
  EXPECT_EQ(path.Text(), kLong);
}

TEST_F(CompactPath, KeepsTheEstimatedHeadAndTheTailAfterTheLastBackslash) {
  ASSERT_NE(m_hdc, nullptr);
  // 26 characters fit: 26 - 9 (the tail) - 3 (the ellipsis) = 14 kept.
  PathBuffer longPath(kLong);
  EXPECT_EQ(PathCompactPathW(m_hdc, longPath.Get(), WidthFitting(kLong, 26)), 1);
  EXPECT_EQ(longPath.Text(), u"C:\\Program Fil...\\file.txt");

  // 14 fit: 2 kept.
  PathBuffer shortPath(kShort);
  EXPECT_EQ(PathCompactPathW(m_hdc, shortPath.Get(), WidthFitting(kShort, 14)), 1);
  EXPECT_EQ(shortPath.Text(), u"C:...\\file.txt");
}

TEST_F(CompactPath, TooNarrowForTheTailKeepsNoHeadAndStillAnswersOne) {
  ASSERT_NE(m_hdc, nullptr);
  PathBuffer path(kShort);
  EXPECT_EQ(PathCompactPathW(m_hdc, path.Get(), 1), 1);
  EXPECT_EQ(path.Text(), u"...\\file.txt");
}

TEST_F(CompactPath, ShortDirectoryPartsAreNeverShortened) {
  ASSERT_NE(m_hdc, nullptr);
  for (const char16_t *text : {u"C:\\a\\file.txt", u"abcd\\x", u"\\file.txt"}) {
    PathBuffer path(text);
    EXPECT_EQ(PathCompactPathW(m_hdc, path.Get(), 1), 1);
    EXPECT_EQ(path.Text(), text);
  }
  // Five characters before the backslash are enough to shorten.
  PathBuffer five(u"abcde\\x");
  EXPECT_EQ(PathCompactPathW(m_hdc, five.Get(), 1), 1);
  EXPECT_EQ(five.Text(), u"...\\x");
}

TEST_F(CompactPath, ForwardSlashesAreNoSeparators) {
  ASSERT_NE(m_hdc, nullptr);
  PathBuffer path(u"C:/Program Files/App/file.txt");
  EXPECT_EQ(PathCompactPathW(m_hdc, path.Get(), 1), 0);
  EXPECT_EQ(path.Text(), u"C:/Program Files/App/file.txt");

  // Only the last backslash counts, whatever follows it.
  PathBuffer mixed(u"C:\\Program Files\\App/file.txt");
  EXPECT_EQ(PathCompactPathW(m_hdc, mixed.Get(), 1), 1);
  EXPECT_EQ(mixed.Text(), u"...\\App/file.txt");
}

TEST_F(CompactPath, FailedMeasurementChangesNothing) {
  PathBuffer path(kLong);
  EXPECT_EQ(PathCompactPathW(nullptr, path.Get(), 1), 0);
  EXPECT_EQ(path.Text(), kLong);
}

TEST_F(CompactPath, WidthsFromTwoToTheThirtyFirstNeverLengthenThePath) {
  ASSERT_NE(m_hdc, nullptr);
  // Compared signed, such a width is negative: every path is too wide for it, and the estimate
  // overshoots. The head then keeps all but the three characters before the last backslash.
  PathBuffer path(kShort);
  EXPECT_EQ(PathCompactPathW(m_hdc, path.Get(), 0xFFFFFFFFu), 1);
  EXPECT_EQ(path.Text(), u"C:\\Program Files\\...\\file.txt");
  EXPECT_EQ(path.At(path.Text().size() + 1), qntest::kUnwritten);

  PathBuffer empty(u"");
  EXPECT_EQ(PathCompactPathW(m_hdc, empty.Get(), 0x80000000u), 1);
  EXPECT_EQ(empty.Text(), u"");
}

TEST_F(CompactPath, EveryWidthGivesAHeadEllipsisAndTail) {
  ASSERT_NE(m_hdc, nullptr);
  const std::u16string original = kLong;
  const std::u16string tail = u"\\file.txt";
  const DWORD measured = Measure(original);
  size_t previousHead = 0;
  for (DWORD dx = 0; dx < measured; ++dx) {
    PathBuffer path(original);
    ASSERT_EQ(PathCompactPathW(m_hdc, path.Get(), dx), 1) << "width " << dx;
    const std::u16string result = path.Text();
    ASSERT_GE(result.size(), tail.size() + 3) << "width " << dx;
    const size_t head = result.size() - tail.size() - 3;
    EXPECT_EQ(result.substr(0, head), original.substr(0, head)) << "width " << dx;
    EXPECT_EQ(result.substr(head), u"..." + tail) << "width " << dx;
    EXPECT_LT(result.size(), original.size()) << "width " << dx;
    EXPECT_GE(head, previousHead) << "a wider width kept less, at " << dx;
    previousHead = head;
  }
}

}  // namespace
