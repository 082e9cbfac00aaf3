// Conformance of IsTextUnicode on a corpus of sample buffers: every answer, under each group of
// tests, is what Wine gives (recorded from the Windows build, which runs the same table there).
#include <gtest/gtest.h>

#include <string>

#include "qnutil/win32.h"

namespace {

std::string LE(const std::u16string &s) {
  std::string out;
  for (char16_t c : s) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>(c >> 8);
  }
  return out;
}

std::string BE(const std::u16string &s) {
  std::string out;
  for (char16_t c : s) {
    out += static_cast<char>(c >> 8);
    out += static_cast<char>(c & 0xFF);
  }
  return out;
}

std::string AllBytes() {
  std::string out;
  for (int i = 0; i < 256; ++i) out += static_cast<char>(i);
  return out;
}

// The groups of tests asked for, in the order of Sample::answers; 0 asks for none.
constexpr int kMasks[] = {0xFFFF,
                          IS_TEXT_UNICODE_UNICODE_MASK,
                          IS_TEXT_UNICODE_REVERSE_MASK,
                          IS_TEXT_UNICODE_NOT_UNICODE_MASK,
                          IS_TEXT_UNICODE_NOT_ASCII_MASK,
                          0};

struct Sample {
  const char *name;
  std::string bytes;
  // The answer without a result pointer (every test), then the answer and the matched tests for
  // each of kMasks.
  int answers[1 + 2 * (sizeof kMasks / sizeof kMasks[0])];
};

TEST(TextUnicode, CorpusAnswersAsWineDoes) {
  const Sample samples[] = {
      {"empty", "",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"one byte", "A",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"ascii pair", "ab",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"ascii sentence, odd", "Hello, world. This is plain ASCII text.\r\n",
       {0, 0, 0x0200, 0, 0x0000, 0, 0x0000, 0, 0x0200, 0, 0x0000, 0, 0x0000}},
      {"ascii with digits and CRLF", "Version 1.0 of 2020 at 10:00\r\n",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"ascii with NUL inside", std::string("abc\0def\0", 8),
       {1, 1, 0x1000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"ascii with NUL terminator", std::string("Hello world\0", 12),
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"ansi high bytes", "Caf\xe9 na\xefve r\xe9sum\xe9 \xe0 la cr\xe8me\r\n",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-8 with bom", "\xEF\xBB\xBFHello",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-8 text", "na\xC3\xAFve caf\xC3\xA9 \xE2\x82\xAC 100",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"shift-jis bytes", "\x93\xfa\x96\x7b\x8c\xea\x82\xcc\x83\x65\x83\x4c\x83\x58\x83\x67",
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-16le ascii with CRLF", LE(u"Hello, world.\r\n"),
       {1, 1, 0x1006, 1, 0x0006, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le two letters", LE(u"Hi"),
       {1, 1, 0x1002, 1, 0x0002, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le one letter", LE(u"A"),
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-16le bom and letters", LE(u"\xFEFFHello"),
       {1, 1, 0x100A, 1, 0x000A, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le bom alone", LE(u"\xFEFF"),
       {1, 1, 0x0008, 1, 0x0008, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-16le tab and spaces", LE(u"a\tb c d"),
       {1, 1, 0x1006, 1, 0x0006, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le cyrillic with space", LE(u"\u041f\u0440\u0438\u0432\u0435\u0442 \u043c\u0438\u0440"),
       {1, 1, 0x1004, 1, 0x0004, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le cjk", LE(u"\u65e5\u672c\u8a9e\u306e\u30c6\u30ad\u30b9\u30c8"),
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-16le cjk with ideographic space", LE(u"\u65e5\u672c\u3000\u8a9e"),
       {1, 1, 0x1004, 1, 0x0004, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le latin and cjk", LE(u"Hello \u4e16\u754c"),
       {1, 1, 0x1006, 1, 0x0006, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le odd length", LE(u"Hello") + "x",
       {0, 0, 0x1202, 1, 0x0002, 0, 0x0000, 0, 0x0200, 1, 0x1000, 0, 0x0000}},
      {"utf-16le with U+FFFF", LE(u"ab\xFFFF" u"cd"),
       {1, 1, 0x1002, 1, 0x0002, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le with U+0000 inside", LE(std::u16string(u"ab\0cd", 5)),
       {0, 0, 0x1046, 1, 0x0006, 0, 0x0040, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le with two terminators", LE(std::u16string(u"\u4142\u4344\0\0", 4)),
       {0, 0, 0x1044, 1, 0x0004, 0, 0x0040, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16le space last", LE(u"\u4142\u4344\u0020"),
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-16be bom and letters", BE(u"\xFEFFHello"),
       {0, 0, 0x1080, 0, 0x0000, 0, 0x0080, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16be bom alone", BE(u"\xFEFF"),
       {0, 0, 0x0080, 0, 0x0000, 0, 0x0080, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"utf-16be ascii with CRLF", BE(u"Hello, world.\r\n"),
       {0, 0, 0x1040, 0, 0x0000, 0, 0x0040, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16be letters only", BE(u"Hello"),
       {1, 1, 0x1000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"utf-16be cjk", BE(u"\u65e5\u672c\u8a9e\u306e\u30c6\u30ad\u30b9\u30c8"),
       {0, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 0, 0x0000}},
      {"bom then reversed space", std::string("\xff\xfe\x00\x20", 4),
       {0, 0, 0x1048, 1, 0x0008, 0, 0x0040, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"bytes 0 to 255", AllBytes(),
       {1, 1, 0x1000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"zeros", std::string(16, '\0'),
       {0, 0, 0x1046, 1, 0x0006, 0, 0x0040, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"high half zero in 3 of 4", LE(u"abc\u0432"),
       {1, 1, 0x1002, 1, 0x0002, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
      {"high half zero in 2 of 4", LE(u"ab\u0432\u0433"),
       {1, 1, 0x1000, 0, 0x0000, 0, 0x0000, 0, 0x0000, 1, 0x1000, 0, 0x0000}},
  };
  for (const Sample &s : samples) {
    const int size = static_cast<int>(s.bytes.size());
    EXPECT_EQ(IsTextUnicode(s.bytes.data(), size, nullptr), s.answers[0]) << s.name;
    for (size_t m = 0; m < sizeof kMasks / sizeof kMasks[0]; ++m) {
      int tests = kMasks[m];
      EXPECT_EQ(IsTextUnicode(s.bytes.data(), size, &tests), s.answers[1 + 2 * m]) << s.name << " mask " << std::hex << kMasks[m];
      EXPECT_EQ(tests, s.answers[2 + 2 * m]) << s.name << " mask " << std::hex << kMasks[m];
    }
  }
}

// Where zero bytes sit in short buffers decides NULL_BYTES, CONTROLS and STATISTICS: each buffer
// of 2 to 4 bytes made of 'A' and zero bytes (bit i of the pattern: byte i is zero), with the
// tests Wine reports for it when asked for all.
TEST(TextUnicode, ZeroBytePlacesInShortBuffers) {
  struct Case {
    int size;
    const int *flags;  // by pattern
  };
  static const int k2[] = {0x0000, 0x1000, 0x0000, 0x0000};
  static const int k3[] = {0x0200, 0x1200, 0x1202, 0x1246, 0x0200, 0x1200, 0x1202, 0x1246};
  static const int k4[] = {0x0000, 0x1000, 0x1000, 0x1044, 0x1000, 0x1000, 0x1000, 0x1044,
                           0x0000, 0x1000, 0x1002, 0x1046, 0x0000, 0x1000, 0x1002, 0x1046};
  const Case cases[] = {{2, k2}, {3, k3}, {4, k4}};
  for (const Case &c : cases) {
    for (int pattern = 0; pattern < (1 << c.size); ++pattern) {
      std::string bytes(static_cast<size_t>(c.size), 'A');
      for (int i = 0; i < c.size; ++i) {
        if (pattern & (1 << i)) bytes[static_cast<size_t>(i)] = 0;
      }
      int tests = 0xFFFF;
      IsTextUnicode(bytes.data(), c.size, &tests);
      EXPECT_EQ(tests, c.flags[pattern]) << "size " << c.size << " pattern " << pattern;
    }
  }
}

}  // namespace
