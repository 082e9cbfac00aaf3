// Conformance of GetTempPathW, and through it the conversion of POSIX paths to UTF-16.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>

#include "qnutil/win32.h"

namespace {

TEST(TempPath, EndsWithASeparatorAndCountsWithoutTheTerminator) {
  WCHAR buffer[MAX_PATH + 1];
  const DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
  ASSERT_GT(n, 0u);
  ASSERT_LT(n, static_cast<DWORD>(MAX_PATH + 1));
  EXPECT_EQ(lstrlenW(buffer), static_cast<int>(n));
  EXPECT_TRUE(buffer[n - 1] == '\\' || buffer[n - 1] == '/') << buffer[n - 1];
}

TEST(TempPath, ShortBufferAnswersTheSizeNeeded) {
  WCHAR buffer[MAX_PATH + 1];
  const DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
  ASSERT_GT(n, 1u);
  EXPECT_EQ(GetTempPathW(0, nullptr), n + 1);
  for (WCHAR &w : buffer) w = 0xCCCC;
  EXPECT_EQ(GetTempPathW(n, buffer), n + 1);
  // No part of the path is left in the buffer, and nothing is written past it.
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[n], 0xCCCC);
  EXPECT_EQ(GetTempPathW(n + 1, buffer), n);
}

#if !defined(_WIN32)
std::u16string Text(const WCHAR *p) { return std::u16string(reinterpret_cast<const char16_t *>(p)); }

// The subset reads $TMPDIR; these restore it afterwards.
class TempPathFromEnvironment : public ::testing::Test {
 protected:
  void SetUp() override {
    const char *old = getenv("TMPDIR");
    hadValue_ = old != nullptr;
    if (hadValue_) saved_ = old;
  }
  void TearDown() override {
    if (hadValue_) {
      setenv("TMPDIR", saved_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  static std::u16string TempPath() {
    WCHAR buffer[512];
    const DWORD n = GetTempPathW(512, buffer);
    return n > 0 && n < 512 ? Text(buffer) : u"<failed>";
  }

 private:
  bool hadValue_ = false;
  std::string saved_;
};

TEST_F(TempPathFromEnvironment, UsesTmpdirOrTmp) {
  unsetenv("TMPDIR");
  EXPECT_EQ(TempPath(), u"/tmp/");
  setenv("TMPDIR", "", 1);
  EXPECT_EQ(TempPath(), u"/tmp/");
  setenv("TMPDIR", "/var/tmp", 1);
  EXPECT_EQ(TempPath(), u"/var/tmp/");
  setenv("TMPDIR", "/var/tmp/", 1);
  EXPECT_EQ(TempPath(), u"/var/tmp/");
}

TEST_F(TempPathFromEnvironment, DecodesUtf8AndEscapesOtherBytes) {
  setenv("TMPDIR", "/t\xC3\xA9mp\xF0\x9F\x98\x80", 1);
  EXPECT_EQ(TempPath(), u"/t\u00E9mp\xD83D\xDE00/");
  // A byte that is not UTF-8 becomes U+DC00 + the byte, so that the name converts back to it.
  setenv("TMPDIR", "/x\xFF\xC3y", 1);
  EXPECT_EQ(TempPath(), u"/x\xDCFF\xDCC3y/");
}
#endif

}  // namespace
