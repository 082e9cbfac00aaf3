// Conformance of the lstr* services: lengths, copies and comparisons.
#include <gtest/gtest.h>

#include <string>

#include "qnutil/win32.h"

namespace {

std::u16string Text(const WCHAR *p) { return std::u16string(reinterpret_cast<const char16_t *>(p)); }

int Sign(int v) { return (v > 0) - (v < 0); }

TEST(Lstr, Lengths) {
  EXPECT_EQ(lstrlenW(qn::AsW(u"")), 0);
  EXPECT_EQ(lstrlenW(qn::AsW(u"abc\u00E9")), 4);
  EXPECT_EQ(lstrlenA("abc\xE9"), 4);
}

TEST(Lstr, CopiesAnswerTheDestinationAndBoundedOnesCountTheTerminator) {
  WCHAR buffer[8];
  auto fill = [&] {
    for (WCHAR &w : buffer) w = 0xCCCC;
  };
  fill();
  EXPECT_EQ(lstrcpyW(buffer, qn::AsW(u"abc")), buffer);
  EXPECT_EQ(Text(buffer), u"abc");
  EXPECT_EQ(buffer[4], 0xCCCC);

  fill();
  EXPECT_EQ(lstrcpynW(buffer, qn::AsW(u"abcdef"), 3), buffer);
  EXPECT_EQ(Text(buffer), u"ab");
  EXPECT_EQ(buffer[3], 0xCCCC);

  fill();
  EXPECT_EQ(lstrcpynW(buffer, qn::AsW(u"abc"), 8), buffer);
  EXPECT_EQ(Text(buffer), u"abc");
  EXPECT_EQ(buffer[4], 0xCCCC);

  fill();
  EXPECT_EQ(lstrcpynW(buffer, qn::AsW(u"abc"), 1), buffer);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[1], 0xCCCC);

  // 0 writes nothing at all; a negative bound is no bound.
  fill();
  EXPECT_EQ(lstrcpynW(buffer, qn::AsW(u"abc"), 0), buffer);
  EXPECT_EQ(buffer[0], 0xCCCC);
  fill();
  EXPECT_EQ(lstrcpynW(buffer, qn::AsW(u"abc"), -1), buffer);
  EXPECT_EQ(Text(buffer), u"abc");
}

TEST(Lstr, CaseInsensitiveComparison) {
  EXPECT_EQ(lstrcmpiW(qn::AsW(u"abc"), qn::AsW(u"ABC")), 0);
  EXPECT_EQ(lstrcmpiW(qn::AsW(u"\u00E9t\u00E9"), qn::AsW(u"\u00C9T\u00C9")), 0);
  EXPECT_EQ(lstrcmpiW(qn::AsW(u"\u03B1\u03B2"), qn::AsW(u"\u0391\u0392")), 0);
  EXPECT_EQ(lstrcmpiW(qn::AsW(u"\u0436"), qn::AsW(u"\u0416")), 0);
  EXPECT_EQ(lstrcmpiW(qn::AsW(u"k"), qn::AsW(u"\u212A")), 0);  // the Kelvin sign

  EXPECT_EQ(Sign(lstrcmpiW(qn::AsW(u"ABC"), qn::AsW(u"abd"))), -1);
  EXPECT_EQ(Sign(lstrcmpiW(qn::AsW(u"Z"), qn::AsW(u"a"))), 1);
  EXPECT_EQ(Sign(lstrcmpiW(qn::AsW(u"abc"), qn::AsW(u"AB"))), 1);
  EXPECT_EQ(Sign(lstrcmpiW(qn::AsW(u"1"), qn::AsW(u"a"))), -1);
}

TEST(Lstr, CaseSensitiveComparisonPutsCaseLast) {
  EXPECT_EQ(lstrcmpW(qn::AsW(u"abc"), qn::AsW(u"abc")), 0);
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u"a"), qn::AsW(u"A"))), -1);
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u"A"), qn::AsW(u"a"))), 1);
  // Letters first, case only between equal letters.
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u"a"), qn::AsW(u"B"))), -1);
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u"B"), qn::AsW(u"a"))), 1);
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u"ab"), qn::AsW(u"b"))), -1);
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u"abc"), qn::AsW(u"abd"))), -1);
}

TEST(Lstr, NullSortsFirst) {
  EXPECT_EQ(Sign(lstrcmpiW(nullptr, qn::AsW(u"a"))), -1);
  EXPECT_EQ(Sign(lstrcmpiW(qn::AsW(u"a"), nullptr)), 1);
  EXPECT_EQ(Sign(lstrcmpiW(nullptr, qn::AsW(u""))), -1);
  EXPECT_EQ(lstrcmpiW(nullptr, nullptr), 0);
  EXPECT_EQ(Sign(lstrcmpW(nullptr, qn::AsW(u"a"))), -1);
  EXPECT_EQ(Sign(lstrcmpW(qn::AsW(u""), nullptr)), 1);
}

// Windows catches the fault of a NULL argument: a length of 0, a copy answering NULL. (The fault
// inside Wine is what 32-bit Wine under qemu cannot survive.)
TEST(LstrFaulting, NullArgumentsAreCaught) {
  EXPECT_EQ(lstrlenW(nullptr), 0);
  EXPECT_EQ(lstrlenA(nullptr), 0);
  WCHAR buffer[4];
  EXPECT_EQ(lstrcpyW(nullptr, qn::AsW(u"a")), nullptr);
  EXPECT_EQ(lstrcpyW(buffer, nullptr), nullptr);
  EXPECT_EQ(lstrcpynW(nullptr, qn::AsW(u"a"), 3), nullptr);
}

}  // namespace
