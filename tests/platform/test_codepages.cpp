// Conformance of the code-page services: GetACP, GetOEMCP, MultiByteToWideChar and
// WideCharToMultiByte, with Windows' results and last errors.
//
// Suites that depend on the ANSI code page check GetACP() first and return when it is not theirs;
// the test registration runs the CodePage* suites again with QNUTIL_ACP=932 and QNUTIL_ACP=65001.
#include <gtest/gtest.h>

#include <string>

#include "qnutil/win32.h"

using namespace std::string_literals;

namespace {

constexpr DWORD kUntouched = 0xDEADu;

// What MultiByteToWideChar makes of all of `bytes`; the size query and the conversion must agree.
std::u16string Widen(UINT cp, const std::string &bytes, DWORD flags = 0) {
  const int n = MultiByteToWideChar(cp, flags, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  if (n <= 0) return u"<failed>";
  std::u16string out(static_cast<size_t>(n), u'\0');
  EXPECT_EQ(n, MultiByteToWideChar(cp, flags, bytes.data(), static_cast<int>(bytes.size()), qn::AsW(&out[0]), n));
  return out;
}

// What WideCharToMultiByte makes of all of `text`, with the default character used reported.
std::string Narrow(UINT cp, const std::u16string &text, BOOL *used = nullptr, LPCSTR defaultChar = nullptr,
                   DWORD flags = 0) {
  const int n = WideCharToMultiByte(cp, flags, qn::AsW(text.data()), static_cast<int>(text.size()), nullptr, 0,
                                    defaultChar, used);
  if (n <= 0) return "<failed>";
  std::string out(static_cast<size_t>(n), '\0');
  EXPECT_EQ(n, WideCharToMultiByte(cp, flags, qn::AsW(text.data()), static_cast<int>(text.size()), &out[0], n,
                                   defaultChar, used));
  return out;
}

// The last error a failed MultiByteToWideChar leaves, or kUntouched when it did not fail.
DWORD WidenError(UINT cp, DWORD flags, LPCSTR in, int inSize, LPWSTR out, int outSize) {
  SetLastError(kUntouched);
  return MultiByteToWideChar(cp, flags, in, inSize, out, outSize) == 0 ? GetLastError() : kUntouched;
}

DWORD NarrowError(UINT cp, DWORD flags, LPCWSTR in, int inSize, LPSTR out, int outSize, LPCSTR defaultChar = nullptr,
                  LPBOOL used = nullptr) {
  SetLastError(kUntouched);
  return WideCharToMultiByte(cp, flags, in, inSize, out, outSize, defaultChar, used) == 0 ? GetLastError()
                                                                                         : kUntouched;
}

TEST(CodePageSetting, AnsiAndOemPagesArePaired) {
  const UINT acp = GetACP();
  EXPECT_TRUE(acp == 1252 || acp == 932 || acp == 65001) << acp;
  EXPECT_EQ(GetOEMCP(), acp == 1252 ? 437u : acp);
}

TEST(CodePageContract, RejectsBadArguments) {
  WCHAR wide[8];
  char narrow[8];
  EXPECT_EQ(WidenError(1252, 0, nullptr, 3, wide, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(WidenError(1252, 0, "abc", 0, wide, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(WidenError(1252, 0, "abc", 3, wide, -1), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(WidenError(1252, 0, "abc", 3, nullptr, 5), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(WidenError(12345, 0, "abc", 3, wide, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(WidenError(1200, 0, "abc", 3, wide, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  const WCHAR abc[] = {'a', 'b', 'c', 0};
  EXPECT_EQ(NarrowError(1252, 0, nullptr, 3, narrow, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(NarrowError(1252, 0, abc, 0, narrow, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(NarrowError(1252, 0, abc, 3, narrow, -1), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(NarrowError(1252, 0, abc, 3, nullptr, 5), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(NarrowError(12345, 0, abc, 3, narrow, 8), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(CodePageContract, RejectsUnknownFlags) {
  WCHAR wide[8];
  char narrow[8];
  const WCHAR abc[] = {'a', 'b', 'c', 0};
  EXPECT_EQ(WidenError(1252, 0x10, "abc", 3, wide, 8), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  EXPECT_EQ(WidenError(CP_UTF8, 0x10, "abc", 3, wide, 8), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  EXPECT_EQ(NarrowError(1252, 0x1, abc, 3, narrow, 8), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  EXPECT_EQ(NarrowError(1252, 0x800, abc, 3, narrow, 8), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  // Flags that change nothing for a single-byte page are accepted.
  EXPECT_EQ(WidenError(1252, MB_PRECOMPOSED | MB_ERR_INVALID_CHARS, "abc", 3, wide, 8), kUntouched);
  EXPECT_EQ(NarrowError(1252, WC_NO_BEST_FIT_CHARS | WC_COMPOSITECHECK, abc, 3, narrow, 8), kUntouched);
}

#if !defined(_WIN32)
// Windows documents these refusals; Wine 8 accepts all of them, so they are checked on the subset only.
TEST(CodePageContract, RefusesWhatWindowsRefusesBeyondWine) {
  char buffer[16] = "abcdef";
  EXPECT_EQ(WidenError(1252, 0, buffer, 3, reinterpret_cast<LPWSTR>(buffer), 3),
            static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  WCHAR wide[8] = {'a', 'b', 'c', 0};
  EXPECT_EQ(NarrowError(1252, 0, wide, 3, reinterpret_cast<LPSTR>(wide), 6),
            static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  WCHAR out[8];
  EXPECT_EQ(WidenError(CP_UTF8, MB_PRECOMPOSED, "abc", 3, out, 8), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  char narrow[8];
  BOOL used = FALSE;
  EXPECT_EQ(NarrowError(CP_UTF8, WC_NO_BEST_FIT_CHARS, wide, 3, narrow, 8), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  EXPECT_EQ(NarrowError(CP_UTF8, 0, wide, 3, narrow, 8, "?"), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(NarrowError(CP_UTF8, 0, wide, 3, narrow, 8, nullptr, &used), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}
#endif

TEST(CodePageContract, TerminatorAndSizeQueries) {
  // -1 converts through the terminator and counts it; any negative length means the same.
  WCHAR wide[8];
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", -1, nullptr, 0), 4);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", -1, wide, 8), 4);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(wide), 4), u"abc\0"s);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", -2, nullptr, 0), 4);
  // An explicit length converts embedded zeros like any byte and adds no terminator.
  EXPECT_EQ(Widen(1252, "a\0b"s), u"a\0b"s);

  const WCHAR text[] = {'x', 0xE9, 0x20AC, 0};
  char narrow[8];
  EXPECT_EQ(WideCharToMultiByte(1252, 0, text, -1, nullptr, 0, nullptr, nullptr), 4);
  EXPECT_EQ(WideCharToMultiByte(1252, 0, text, -1, narrow, 8, nullptr, nullptr), 4);
  EXPECT_EQ(std::string(narrow, 4), "x\xE9\x80\0"s);
}

TEST(CodePageContract, ShortBufferFailsAndWritesNothingPastIt) {
  WCHAR wide[8];
  for (WCHAR &w : wide) w = 0xCCCC;
  EXPECT_EQ(WidenError(1252, 0, "abcdef", 6, wide, 3), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(wide[3], 0xCCCC);
  // The terminator needs room too.
  EXPECT_EQ(WidenError(1252, 0, "abc", -1, wide, 3), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(wide[3], 0xCCCC);
  // A surrogate pair that does not fit whole fails. (Wine 8 answers success without the low half
  // when the pair ends the input; the subset, like Windows, fails there too.)
  for (WCHAR &w : wide) w = 0xCCCC;
  EXPECT_EQ(WidenError(CP_UTF8, 0, "a\xF0\x9F\x98\x80z", 6, wide, 2), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(wide[2], 0xCCCC);

  char narrow[8];
  memset(narrow, 0xCC, sizeof narrow);
  const WCHAR euro[] = {'a', 0x20AC};
  // A character's bytes are written whole or not at all.
  EXPECT_EQ(NarrowError(CP_UTF8, 0, euro, 2, narrow, 3), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(narrow[0], 'a');
  EXPECT_EQ(narrow[1], '\xCC');
  EXPECT_EQ(narrow[3], '\xCC');
  const WCHAR hiragana[] = {'a', 0x3042};
  memset(narrow, 0xCC, sizeof narrow);
  EXPECT_EQ(NarrowError(932, 0, hiragana, 2, narrow, 2), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(narrow[1], '\xCC');
  EXPECT_EQ(narrow[2], '\xCC');
}

TEST(CodePage1252, ConvertsBothWays) {
  EXPECT_EQ(Widen(1252, "a\x80\xE9\x9F\xFF"), u"a\u20AC\u00E9\u0178\u00FF");
  BOOL used = TRUE;
  EXPECT_EQ(Narrow(1252, u"a\u20AC\u00E9\u0178\u00FF", &used), "a\x80\xE9\x9F\xFF");
  EXPECT_FALSE(used);
}

TEST(CodePage1252, BytesTheTableLeavesOpenAreTheirOwnCodeUnits) {
  EXPECT_EQ(Widen(1252, "\x81\x8D\x8F\x90\x9D"), u"\u0081\u008D\u008F\u0090\u009D");
  // They count as defined: no error even when errors are asked for.
  EXPECT_EQ(Widen(1252, "\x81\x8D", MB_ERR_INVALID_CHARS), u"\u0081\u008D");
  EXPECT_EQ(Narrow(1252, u"\u0081\u008D\u008F\u0090\u009D"), "\x81\x8D\x8F\x90\x9D");
}

TEST(CodePage1252, EveryByteSurvivesTheRoundTrip) {
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  const std::u16string wide = Widen(1252, all);
  ASSERT_EQ(wide.size(), 256u);
  BOOL used = TRUE;
  EXPECT_EQ(Narrow(1252, wide, &used), all);
  EXPECT_FALSE(used);
}

TEST(CodePage1252, CharactersItCannotHoldBecomeTheDefault) {
  BOOL used = FALSE;
  EXPECT_EQ(Narrow(1252, u"a\u4E00z", &used), "a?z");
  EXPECT_TRUE(used);
  used = FALSE;
  EXPECT_EQ(Narrow(1252, u"a\u4E00z", &used, "*"), "a*z");
  EXPECT_TRUE(used);
  // Only the first byte of a longer default counts on a single-byte page.
  EXPECT_EQ(Narrow(1252, u"\u4E00", nullptr, "xy"), "x");
  // Each half of a surrogate pair, and a lone surrogate, is a character of its own here.
  EXPECT_EQ(Narrow(1252, u"a\xD83D\xDE00z\xD800"), "a??z?");
  // No best fit: the flag that turns it off on Windows makes both agree.
  used = FALSE;
  EXPECT_EQ(Narrow(1252, u"\u0100\uFF21", &used, nullptr, WC_NO_BEST_FIT_CHARS), "??");
  EXPECT_TRUE(used);
}

TEST(CodePageUtf8, ConvertsEveryPlane) {
  const std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBF\xEF\xBB\xBF";
  const std::u16string text = u"a\u00E9\u20AC\xD83D\xDE00\uFFFF\uFEFF";
  EXPECT_EQ(Widen(CP_UTF8, bytes), text);
  EXPECT_EQ(Narrow(CP_UTF8, text), bytes);
  EXPECT_EQ(Widen(CP_UTF8, bytes, MB_ERR_INVALID_CHARS), text);
}

TEST(CodePageUtf8, IllFormedInputBecomesReplacementCharacters) {
  struct Case {
    std::string bytes;
    std::u16string text;
  };
  const Case cases[] = {
      {"\x80\x80", u"\uFFFD\uFFFD"},                 // continuation bytes alone
      {"\xC0\x80", u"\uFFFD\uFFFD"},                 // bytes that start no sequence
      {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xFE\xFF", u"\uFFFD\uFFFD"},
      {"\xE0\x80\x80", u"\uFFFD\uFFFD"},             // overlong: lead and second byte go together
      {"\xED\xA0\x80", u"\uFFFD\uFFFD"},             // an encoded surrogate
      {"\xF0\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD"},   // above U+10FFFF
      {"\xE2\x82x", u"\uFFFDx"},                     // cut short: decoding resumes at the byte
      {"\xE2\x82\xE2\x82\xAC", u"\uFFFD\u20AC"},
      {"\xC3\xC3\xA9", u"\uFFFD\u00E9"},
      {"\xF0\x9F\x98x", u"\uFFFDx"},
      {"a\xE2\x82", u"a\uFFFD"},                     // cut short by the end
      {"\xF0\x9Fx", u"\uFFFD"},                      // a sequence longer than the rest takes it all
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Widen(CP_UTF8, c.bytes), c.text) << "bytes of length " << c.bytes.size() << ": " << c.bytes;
    WCHAR out[16];
    EXPECT_EQ(WidenError(CP_UTF8, MB_ERR_INVALID_CHARS, c.bytes.data(), static_cast<int>(c.bytes.size()), out, 16),
              static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
  }
  // The size query reports the error too.
  EXPECT_EQ(WidenError(CP_UTF8, MB_ERR_INVALID_CHARS, "a\x80", 2, nullptr, 0),
            static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
}

TEST(CodePageUtf8, LoneSurrogatesBecomeReplacementCharacters) {
  EXPECT_EQ(Narrow(CP_UTF8, u"a\xD800z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(Narrow(CP_UTF8, u"\xDC00\xD800"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(Narrow(CP_UTF8, u"a\xD800"), "a\xEF\xBF\xBD");
  const WCHAR lone[] = {'a', 0xD800, 'z'};
  char out[16];
  EXPECT_EQ(NarrowError(CP_UTF8, WC_ERR_INVALID_CHARS, lone, 3, out, 16),
            static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
}

TEST(CodePage932, ConvertsSingleAndDoubleBytes) {
  // ASCII, hiragana A, half-width katakana A, a kanji.
  EXPECT_EQ(Widen(932, "a\x82\xA0\xB1\x88\x9F"), u"a\u3042\uFF71\u4E9C");
  BOOL used = TRUE;
  EXPECT_EQ(Narrow(932, u"a\u3042\uFF71\u4E9C", &used), "a\x82\xA0\xB1\x88\x9F");
  EXPECT_FALSE(used);
  // Windows' 932 keeps 0x5C and 0x7E as ASCII, and 0x80 as U+0080.
  EXPECT_EQ(Widen(932, "\x5C\x7E\x80"), u"\\~\u0080");
  EXPECT_EQ(Narrow(932, u"\u0080"), "\x80");
  // A character with two byte forms (the NEC and IBM rows) is written back in the first.
  EXPECT_EQ(Widen(932, "\x87\x90\x81\xE0"), u"\u2252\u2252");
  EXPECT_EQ(Narrow(932, u"\u2252\u2235\uFFE2"), "\x81\xE0\x81\xE6\x81\xCA");
}

TEST(CodePage932, BrokenPairsBecomeTheKatakanaMiddleDot) {
  // A lead byte takes the next byte with it, whatever it is, unless it is a zero or the end.
  EXPECT_EQ(Widen(932, "\x81\x20z"), u"\u30FBz");
  EXPECT_EQ(Widen(932, "\x81\xFFz"), u"\u30FBz");
  EXPECT_EQ(Widen(932, "\x85\x40z"), u"\u30FBz");  // a pair that is no character
  EXPECT_EQ(Widen(932, "\x81\0z"s), u"\u30FB\0z"s);
  EXPECT_EQ(Widen(932, "a\x82"), u"a\u30FB");
  WCHAR out[8];
  EXPECT_EQ(MultiByteToWideChar(932, 0, "a\x82", -1, out, 8), 3);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(out), 3), u"a\u30FB\0"s);
  // A lead byte followed by a lead byte is a pair like any other.
  EXPECT_EQ(Widen(932, "\x81\x81\x40"), u"\uFF1D@");

  for (const std::string &bad : {"\x81\x20"s, "a\x82"s, "\x85\x40"s, "\xA0"s}) {
    EXPECT_EQ(WidenError(932, MB_ERR_INVALID_CHARS, bad.data(), static_cast<int>(bad.size()), out, 8),
              static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION))
        << bad;
  }
  EXPECT_EQ(Widen(932, "\x80", MB_ERR_INVALID_CHARS), u"\u0080");
}

TEST(CodePage932, DefaultCharacters) {
  BOOL used = FALSE;
  EXPECT_EQ(Narrow(932, u"a\u00E9z", &used, nullptr, WC_NO_BEST_FIT_CHARS), "a?z");
  EXPECT_TRUE(used);
  // A default that is a whole double-byte character is written whole.
  EXPECT_EQ(Narrow(932, u"a\u00E9z", nullptr, "\x81\x45", WC_NO_BEST_FIT_CHARS), "a\x81\x45z");
  EXPECT_EQ(Narrow(932, u"a\xD83D\xDE00z", nullptr, nullptr, WC_NO_BEST_FIT_CHARS), "a??z");
  // Characters that convert only by a best fit are defaults when best fit is off.
  EXPECT_EQ(Narrow(932, u"\u00A5\u203E\u301C", nullptr, nullptr, WC_NO_BEST_FIT_CHARS), "???");
}

TEST(CodePage932, DecodingIsStableThroughTheReverseMapping) {
  // For every pair: bytes -> text -> bytes -> text gives the same text. This holds on Windows even
  // where two pairs give one character, and it checks the whole reverse table.
  int pairs = 0;
  for (int lead = 0x81; lead <= 0xFC; ++lead) {
    if (lead >= 0xA0 && lead < 0xE0) continue;
    for (int trail = 0x40; trail <= 0xFC; ++trail) {
      const char bytes[2] = {static_cast<char>(lead), static_cast<char>(trail)};
      WCHAR unit = 0;
      if (MultiByteToWideChar(932, MB_ERR_INVALID_CHARS, bytes, 2, &unit, 1) != 1) continue;
      ++pairs;
      char back[2];
      ASSERT_EQ(WideCharToMultiByte(932, WC_NO_BEST_FIT_CHARS, &unit, 1, back, 2, nullptr, nullptr), 2)
          << std::hex << lead << " " << trail;
      WCHAR again = 0;
      ASSERT_EQ(MultiByteToWideChar(932, MB_ERR_INVALID_CHARS, back, 2, &again, 1), 1);
      ASSERT_EQ(again, unit) << std::hex << lead << " " << trail;
    }
  }
  // Windows' 932 has 7915 pairs (JIS X 0208, NEC and IBM rows) plus 1880 user-defined ones.
  EXPECT_GT(pairs, 9000);
}

TEST(CodePageOthers, PagesTheCLibraryKnows) {
  EXPECT_EQ(Widen(1251, "\xC0\xE0"), u"\u0410\u0430");
  EXPECT_EQ(Narrow(1251, u"\u0410\u0430"), "\xC0\xE0");
  EXPECT_EQ(Widen(437, "\x80\xB0\xFF"), u"\u00C7\u2591\u00A0");
  EXPECT_EQ(Widen(936, "\xC4\xE3\xBA\xC3"), u"\u4F60\u597D");
  EXPECT_EQ(Narrow(936, u"\u4F60\u597D"), "\xC4\xE3\xBA\xC3");
  EXPECT_EQ(Widen(28591, "\xE9\x80"), u"\u00E9\u0080");
  EXPECT_EQ(Widen(CP_OEMCP, "a"), u"a");
}

// The ANSI code page through CP_ACP, once per page the subset offers.
TEST(CodePageAcp1252, AnsiConversionsUse1252) {
  if (GetACP() != 1252) return;
  EXPECT_EQ(Widen(CP_ACP, "\x80\xE9"), u"\u20AC\u00E9");
  EXPECT_EQ(Narrow(CP_ACP, u"\u20AC\u00E9"), "\x80\xE9");
  EXPECT_EQ(Widen(CP_OEMCP, "\x82"), u"\u00E9");
  EXPECT_EQ(Widen(CP_THREAD_ACP, "\xE9"), u"\u00E9");
  EXPECT_EQ(Widen(CP_MACCP, "\xE9"), u"\u00C8");  // Mac Roman goes with a Western ANSI page
}

TEST(CodePageAcp932, AnsiConversionsUse932) {
  if (GetACP() != 932) return;
  EXPECT_EQ(Widen(CP_ACP, "a\x82\xA0\xB1"), u"a\u3042\uFF71");
  EXPECT_EQ(Narrow(CP_ACP, u"a\u3042\uFF71"), "a\x82\xA0\xB1");
  EXPECT_EQ(Widen(CP_ACP, "\x81\x20"), u"\u30FB");
  EXPECT_EQ(Widen(CP_OEMCP, "\x82\xA0"), u"\u3042");
}

TEST(CodePageAcp65001, AnsiConversionsUseUtf8) {
  if (GetACP() != CP_UTF8) return;
  EXPECT_EQ(Widen(CP_ACP, "\xC3\xA9\xF0\x9F\x98\x80"), u"\u00E9\xD83D\xDE00");
  EXPECT_EQ(Narrow(CP_ACP, u"\u00E9\xD83D\xDE00"), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(Widen(CP_ACP, "\x80"), u"\uFFFD");
  EXPECT_EQ(Widen(CP_OEMCP, "\xC3\xA9"), u"\u00E9");
}

}  // namespace
