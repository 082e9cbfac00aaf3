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

// The case-blind search filters only after its first few hundred starts, one by one: its matches
// are put beyond those.
constexpr size_t kFilteredFrom = 300;
// Room for the start offsets, the first plain starts and the match positions.
constexpr size_t kUnits = 512;

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

// Starts 0..40 units after a 64-byte boundary, and the stop 0..72 units after the start, put the
// start and the stop in every lane of a block and the stop in the start's block and the two after.
TEST(TextScanBoundaries, CharacterSetsStopAtEveryOffset) {
  AlignedText buf;
  // The last member of each set is the one put in the text.
  const char16_t *sets[] = {u"@", u"@#", u"#$%@", u"#$%&*+=@", u"#$%&*+=-@",
                            u"\x7F", u"#\u00E9", u"\u4E00", u"#$%&*+=-\uFFFF"};
  for (size_t s = 0; s <= 40; ++s) {
    for (size_t m = s; m <= s + 72; ++m) {
      SCOPED_TRACE(testing::Message() << "start " << s << " stop " << m);
      for (const char16_t *set : sets) {
        const std::u16string members(set);
        const unsigned short member = members.back();
        unsigned short *text = buf.Fill(s, m + 20);
        buf.units[m] = member;
        // Just before it, a near miss: the same low byte.
        if (m > s) buf.units[m - 1] = static_cast<unsigned short>(member ^ 0x100);
        EXPECT_EQ(buf.units + m, StrMultiChr(text, U(set))) << "set " << std::hex << member;
        text = buf.Fill(s, m);
        EXPECT_EQ(nullptr, StrMultiChr(text, U(set)));
      }
    }
  }
}

TEST(TextScanBoundaries, LinesEndAtEveryOffset) {
  AlignedText buf;
  for (size_t s = 0; s <= 40; ++s) {
    for (size_t m = s; m <= s + 72; ++m) {
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
  for (size_t s = 0; s <= 40; ++s) {
    for (size_t d = 0; d <= 72; ++d) {
      SCOPED_TRACE(testing::Message() << "start " << s << " match " << d << " units after it");
      size_t m = s + d;
      unsigned short *text = buf.Fill(s, m + 24);
      memcpy(buf.units + m, U(u"@@!"), 3 * sizeof(unsigned short));
      if (m >= s + 2) buf.units[m - 2] = '@';  // a first character that starts no match
      EXPECT_EQ(buf.units + m, StrStr(text, U(u"@@!")));
      EXPECT_EQ(nullptr, StrStr(text, U(u"@@?")));

      m = s + kFilteredFrom + d;
      text = buf.Fill(s, m + 24);
      memcpy(buf.units + m, U(u"qQ\u00C9x"), 4 * sizeof(unsigned short));
      // Near misses: the first character, the first three, and a unit that is not ASCII.
      buf.units[m - 2] = 'Q';
      memcpy(buf.units + m - 9, U(u"QqEy"), 4 * sizeof(unsigned short));
      buf.units[m - 11] = 0xE9;
      EXPECT_EQ(buf.units + m, StrStrI(text, U(u"Qq\u00E9X")));
      EXPECT_EQ(nullptr, StrStrI(text, U(u"Qq\u00E9z")));

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
// that the filter is used, and patterns of every length it looks into and longer.
TEST(TextScanBoundaries, CaseBlindFilterAnswersAsThePlainSearch) {
  const char16_t alphabet[] = u"aAkKiIxX\u0130\u0131\u212A\u00E9\u00C9\u03A3\u03C3\u03C2 \r\x7F";
  const size_t letters = sizeof alphabet / sizeof alphabet[0] - 1;
  std::mt19937 rng(20240607);
  for (int round = 0; round < 3000; ++round) {
    // A start of nothing that matches, then the letters, where the search filters.
    std::u16string text(kFilteredFrom, u'-');
    for (size_t n = 1 + rng() % 200; n != 0; --n) text += rng() % 2 ? alphabet[rng() % letters] : u'x';
    std::u16string pattern(1 + rng() % 6, u'x');
    if (rng() % 2 != 0 && text.size() >= kFilteredFrom + pattern.size()) {
      // A piece of the text in other cases, sometimes with one letter changed: a match or a near miss.
      pattern = text.substr(kFilteredFrom + rng() % (text.size() - kFilteredFrom - pattern.size() + 1), pattern.size());
      for (char16_t &c : pattern) {
        const bool letter = (c | 0x20) >= u'a' && (c | 0x20) <= u'z';
        if (letter && rng() % 2 != 0) c = static_cast<char16_t>(c ^ 0x20);
      }
      if (rng() % 2 != 0) pattern[rng() % pattern.size()] = alphabet[rng() % letters];
    } else {
      for (char16_t &c : pattern) c = alphabet[rng() % letters];
    }
    const unsigned short *t = AsU(text.c_str());
    const unsigned short *expected = PlainFindIgnoringCase(t, AsU(pattern.c_str()));
    ASSERT_EQ(expected, StrStrI(t, AsU(pattern.c_str())))
        << "round " << round << " pattern starting with U+" << std::hex << unsigned(pattern[0]);
  }
}

// Differential: the exact searches against the standard library's over an alphabet of units that
// narrow alike (DEL, 0x17F and 0x4E00 all narrow to one byte value; 0x8000 up to another), letters
// in both cases, and the terminator's neighbours; sets of every size, patterns of every length
// that the second test looks into and longer.
TEST(TextScanBoundaries, ExactSearchesAnswerAsTheStandardLibrary) {
  const char16_t alphabet[] = u"aAbB\x7F\x80\u017F\u4E00\u8000\uFFFF\x01\r@`";
  const size_t letters = sizeof alphabet / sizeof alphabet[0] - 1;
  std::mt19937 rng(4021);
  for (int round = 0; round < 3000; ++round) {
    std::u16string text;
    for (size_t n = rng() % 300; n != 0; --n) text += rng() % 4 == 0 ? alphabet[rng() % letters] : u'x';
    std::u16string pattern(1 + rng() % 6, u'x');
    if (rng() % 2 != 0 && text.size() >= pattern.size()) {
      // A piece of the text, sometimes with one unit changed: a match or a near miss.
      pattern = text.substr(rng() % (text.size() - pattern.size() + 1), pattern.size());
      if (rng() % 2 != 0) pattern[rng() % pattern.size()] = alphabet[rng() % letters];
    } else {
      for (char16_t &c : pattern) c = alphabet[rng() % letters];
    }
    const std::u16string_view view(text);
    const unsigned short *t = AsU(text.c_str());
    const size_t at = view.find(pattern);
    ASSERT_EQ(at == view.npos ? nullptr : t + at, StrStr(t, AsU(pattern.c_str()))) << "round " << round;

    std::u16string set;
    for (size_t n = 1 + rng() % 10; n != 0; --n) set += alphabet[rng() % letters];
    const size_t member = view.find_first_of(set);
    ASSERT_EQ(member == view.npos ? nullptr : t + member, StrMultiChr(t, AsU(set.c_str()))) << "round " << round;
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
  for (size_t n = kFilteredFrom; n <= kFilteredFrom + 40; ++n) lengths.push_back(n);
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
    EXPECT_EQ(nullptr, StrStrI(text, U(u"@@@@")));
    EXPECT_EQ(nullptr, StrStr(text, U(u"@@@@")));
    if (n >= 4) {
      memcpy(end - 4, U(u"@xyz"), 4 * sizeof(unsigned short));
      EXPECT_EQ(end - 4, StrStr(text, U(u"@xyz")));
      EXPECT_EQ(end - 4, StrStrI(text, U(u"@XYZ")));
      EXPECT_EQ(nullptr, StrStr(text, U(u"@xyz!")));
      memcpy(end - 4, U(u"xxxx"), 4 * sizeof(unsigned short));
    }
    end[-1] = '\r';
    EXPECT_EQ(nullptr, PchNextLine(text));
    EXPECT_EQ(0, end[-1]);
  }
  EXPECT_TRUE(VirtualFree(base, 0, MEM_RELEASE));
}
