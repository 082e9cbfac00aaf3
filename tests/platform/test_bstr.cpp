// Conformance of BSTR: the byte-count prefix, the terminator, NULL as the empty string.
#include <gtest/gtest.h>

#include <string.h>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"

namespace {

DWORD Prefix(BSTR b) {
  DWORD count;
  memcpy(&count, reinterpret_cast<const BYTE *>(b) - sizeof(DWORD), sizeof count);
  return count;
}

TEST(Bstr, PrefixCountsBytesAndTextIsTerminated) {
  BSTR b = SysAllocString(qn::AsW(u"abc\u00e9"));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(Prefix(b), 8u);
  EXPECT_EQ(SysStringLen(b), 4u);
  EXPECT_EQ(SysStringByteLen(b), 8u);
  EXPECT_EQ(b[3], 0xE9);
  EXPECT_EQ(b[4], 0);
  SysFreeString(b);

  // Embedded terminators are kept by the counted forms.
  b = SysAllocStringLen(qn::AsW(u"a\0b"), 3);
  EXPECT_EQ(SysStringLen(b), 3u);
  EXPECT_EQ(b[2], 'b');
  EXPECT_EQ(b[3], 0);
  SysFreeString(b);

  // A NULL source leaves the text to the caller but still terminates it.
  b = SysAllocStringLen(nullptr, 3);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(SysStringByteLen(b), 6u);
  EXPECT_EQ(b[3], 0);
  SysFreeString(b);

  // An odd byte count: the length in characters rounds down.
  b = SysAllocStringByteLen("abc", 3);
  EXPECT_EQ(SysStringByteLen(b), 3u);
  EXPECT_EQ(SysStringLen(b), 1u);
  EXPECT_EQ(memcmp(b, "abc", 4), 0);
  SysFreeString(b);

  b = SysAllocStringLen(qn::AsW(u""), 0);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(SysStringLen(b), 0u);
  EXPECT_EQ(b[0], 0);
  SysFreeString(b);
}

TEST(Bstr, NullIsEmpty) {
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysStringByteLen(nullptr), 0u);
  SysFreeString(nullptr);
}

TEST(Bstr, ReallocationReplacesTheString) {
  BSTR b = SysAllocString(qn::AsW(u"hello"));
  ASSERT_TRUE(SysReAllocString(&b, qn::AsW(u"hi")));
  EXPECT_EQ(SysStringLen(b), 2u);
  EXPECT_EQ(b[1], 'i');
  // The source may be the string's own text.
  ASSERT_TRUE(SysReAllocStringLen(&b, b + 1, 1));
  EXPECT_EQ(SysStringLen(b), 1u);
  EXPECT_EQ(b[0], 'i');
  EXPECT_EQ(b[1], 0);
  SysFreeString(b);
}

}  // namespace
