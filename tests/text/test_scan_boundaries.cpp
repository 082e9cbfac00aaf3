// The UTF-16 searches where their block-wise scan can go wrong: a match or terminator at every
// position across aligned blocks, text that ends on the last unit of a readable page, and the
// case-blind search's first-character filter against the plain search through the same mapping.
#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "platform/sync_helpers.h"
#include "qnutil/text.h"

using qn::AsU;

namespace {

const unsigned short *U(const char16_t *s) { return AsU(s); }

// Room for the start offsets, the match positions and the case-blind search's first plain starts.
constexpr size_t kUnits = 256;

// A text of filler units from start + 0 up to (not including) the terminator at end.
struct AlignedText {
  alignas(64) unsigned short units[kUnits];

  unsigned short *Fill(size_t start, size_t end, unsigned short filler = 'x') {
    // Before the start, terminators: a scan that does not mask them off stops there. After the
    // terminator, units that the scan must never reach.
    for (size_t i = 0; i < start; ++i) units[i] = 0;
    for (size_t i = end; i < kUnits; ++i) units[i] = 0x5A5A;
    for (size_t i = start; i < end; ++i) units[i] = filler;
    units[end] = 0;
    return units + start;
  }
};

// The plain quadratic search ignoring case, straight from its definition.
unsigned Lower(unsigned short c) {
  return LOWORD(reinterpret_cast<ULONG_PTR>(CharLowerW(reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(c)))));
}
const unsigned short *PlainFindIgnoringCase(const unsigned short *text, const unsigned short *pattern) {
  if (*pattern == 0) return text;
  for (const unsigned short *start = text; *start != 0; ++start) {
    const unsigned short *t = start, *q = pattern;
    while (*q != 0 && *t != 0 && Lower(*t) == Lower(*q)) ++t, ++q;
    if (*q == 0) return start;
  }
  return nullptr;
}

}  // namespace

// Starts 0..40 units after a 64-byte boundary, and the stop 0..40 units after the start, cover
// every lane of the first, second and later blocks.
TEST(TextScanBoundaries, CharacterSetsStopAtEveryOffset) {
  AlignedText buf;
  const char16_t *sets[] = {u"@", u"@#", u"#$%@", u"#$%&*+=@", u"#$%&*+=-@"};
  for (size_t s = 0; s <= 40; ++s) {
    for (size_t m = s; m <= s + 40; ++m) {
      SCOPED_TRACE(testing::Message() << "start " << s << " stop " << m);
      for (const char16_t *set : sets) {
        unsigned short *text = buf.Fill(s, m + 20);
        buf.units[m] = '@';
        if (m > s) buf.units[m - 1] = '!';  // just before it: a near miss
        EXPECT_EQ(buf.units + m, StrMultiChr(text, U(set))) << "set of " << std::u16string(set).size();
        text = buf.Fill(s, m);
        EXPECT_EQ(nullptr, StrMultiChr(text, U(set)));
      }
    }
  }
}

TEST(TextScanBoundaries, LinesEndAtEveryOffset) {
  AlignedText buf;
  for (size_t s = 0; s <= 40; ++s) {
    for (size_t m = s; m <= s + 40; ++m) {
      SCOPED_TRACE(testing::Message() << "start " << s << " carriage return " << m);
      unsigned short *text = buf.Fill(s, m + 3);
      buf.units[m] = '\r';
      buf.units[m + 1] = '\n';
      EXPECT_EQ(buf.units + m + 2, PchNextLine(text));
      EXPECT_EQ(0, buf.units[m]);
      EXPECT_EQ('\n', buf.units[m + 1]);
      EXPECT_EQ(m - s, std::u16string(reinterpret_cast<const char16_t *>(text)).size());

      // No carriage return before the terminator: nothing changes, not even past the terminator.
      text = buf.Fill(s, m);
      buf.units[m + 1] = '\r';
      EXPECT_EQ(nullptr, PchNextLine(text));
      EXPECT_EQ(0, buf.units[m]);
      EXPECT_EQ('\r', buf.units[m + 1]);
    }
  }
}

TEST(TextScanBoundaries, SubstringsAtEveryOffset) {
  AlignedText buf;
  // The case-blind search filters only after its first plain starts: the matches lie beyond them.
  for (size_t s = 0; s <= 40; ++s) {
    for (size_t m = s; m <= s + 40 + 80; ++m) {
      SCOPED_TRACE(testing::Message() << "start " << s << " match " << m);
      unsigned short *text = buf.Fill(s, m + 24);
      memcpy(buf.units + m, U(u"@@!"), 3 * sizeof(unsigned short));
      if (m >= s + 2) buf.units[m - 2] = '@';  // a first character that starts no match
      EXPECT_EQ(buf.units + m, StrStr(text, U(u"@@!")));
      EXPECT_EQ(nullptr, StrStr(text, U(u"@@?")));

      text = buf.Fill(s, m + 24);
      memcpy(buf.units + m, U(u"qQ\u00C9"), 3 * sizeof(unsigned short));
      if (m >= s + 2) buf.units[m - 2] = 'Q';
      if (m >= s + 3) buf.units[m - 3] = 0xE9;  // not ASCII: a candidate that fails
      EXPECT_EQ(buf.units + m, StrStrI(text, U(u"Qq\u00E9")));
      EXPECT_EQ(nullptr, StrStrI(text, U(u"Qqz")));

      // The pattern runs into the terminator.
      text = buf.Fill(s, m + 2);
      buf.units[m] = 'q';
      buf.units[m + 1] = 'Q';
      EXPECT_EQ(nullptr, StrStrI(text, U(u"QQQ")));
      EXPECT_EQ(nullptr, StrStr(text, U(u"qQQ")));
    }
  }
}

// Differential: texts and patterns from an alphabet of letters that the mapping folds together in
// ASCII, Latin-1, Greek and the special cases (dotted and dotless i, the Kelvin sign), long enough
// that the filter is used, and patterns that start with each of them.
TEST(TextScanBoundaries, CaseBlindFilterAnswersAsThePlainSearch) {
  const char16_t alphabet[] = u"aAkKiI\u0130\u0131\u212A\u00E9\u00C9\u03A3\u03C3\u03C2 \r\x7F";
  const size_t letters = sizeof alphabet / sizeof alphabet[0] - 1;
  std::mt19937 rng(20240607);
  for (int round = 0; round < 3000; ++round) {
    std::u16string text(64 + rng() % 200, u'x');
    for (char16_t &c : text) {
      if (rng() % 8 == 0) c = alphabet[rng() % letters];
    }
    std::u16string pattern(1 + rng() % 3, u'x');
    for (char16_t &c : pattern) c = alphabet[rng() % letters];
    const unsigned short *t = AsU(text.c_str());
    const unsigned short *expected = PlainFindIgnoringCase(t, AsU(pattern.c_str()));
    ASSERT_EQ(expected, StrStrI(t, AsU(pattern.c_str())))
        << "round " << round << " pattern starting with U+" << std::hex << unsigned(pattern[0]);
  }
}

// Text whose terminator is the last unit of a readable page, before an inaccessible one: a scan
// that read ahead past its block would fault.
TEST(TextScanFaulting, TextEndingAtAnInaccessiblePage) {
  using qntest::kPage;
  char *base = static_cast<char *>(VirtualAlloc(nullptr, 2 * kPage, MEM_COMMIT, PAGE_READWRITE));
  ASSERT_NE(nullptr, base);
  DWORD old = 0;
  ASSERT_TRUE(VirtualProtect(base + kPage, kPage, PAGE_NOACCESS, &old));
  unsigned short *end = reinterpret_cast<unsigned short *>(base + kPage) - 1;

  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 40; ++n) lengths.push_back(n);
  for (size_t n = 64; n <= 104; ++n) lengths.push_back(n);
  for (size_t n : lengths) {
    SCOPED_TRACE(testing::Message() << "length " << n);
    unsigned short *text = end - n;
    for (size_t i = 0; i < n; ++i) text[i] = 'x';
    *end = 0;
    EXPECT_EQ(nullptr, StrMultiChr(text, U(u"@")));
    EXPECT_EQ(nullptr, StrMultiChr(text, U(u"#$%@")));
    EXPECT_EQ(nullptr, StrStr(text, U(u"xy")));
    EXPECT_EQ(nullptr, StrStrI(text, U(u"XY")));
    EXPECT_EQ(nullptr, PchNextLine(text));
    if (n == 0) continue;

    end[-1] = '@';
    EXPECT_EQ(end - 1, StrMultiChr(text, U(u"@")));
    EXPECT_EQ(end - 1, StrMultiChr(text, U(u"#$%@")));
    EXPECT_EQ(end - 1, StrStr(text, U(u"@")));
    EXPECT_EQ(end - 1, StrStrI(text, U(u"@")));
    EXPECT_EQ(nullptr, StrStrI(text, U(u"@@")));
    end[-1] = '\r';
    EXPECT_EQ(nullptr, PchNextLine(text));
    EXPECT_EQ(0, end[-1]);
  }
  EXPECT_TRUE(VirtualFree(base, 0, MEM_RELEASE));
}
