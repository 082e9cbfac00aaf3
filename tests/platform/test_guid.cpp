// Conformance of the GUID services: the null GUID, random GUIDs and their registry text form.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "qnutil/win32.h"

namespace {

std::u16string Text(const WCHAR *p) { return std::u16string(reinterpret_cast<const char16_t *>(p)); }

std::u16string ToText(const GUID &guid) {
  WCHAR buffer[39];
  return StringFromGUID2(guid, buffer, 39) == 39 ? Text(buffer) : std::u16string();
}

TEST(GuidText, RegistryFormInUpperCase) {
  const GUID guid = {0x12345678, 0x9ABC, 0xDEF0, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0xAB, 0xCD}};
  WCHAR buffer[50];
  for (WCHAR &w : buffer) w = 0xCCCC;
  EXPECT_EQ(StringFromGUID2(guid, buffer, 50), 39);
  EXPECT_EQ(Text(buffer), u"{12345678-9ABC-DEF0-0102-03040506ABCD}");
  EXPECT_EQ(buffer[39], 0xCCCC);
  EXPECT_EQ(ToText(GUID_NULL), u"{00000000-0000-0000-0000-000000000000}");
}

TEST(GuidText, ShortBufferGetsNothing) {
  const GUID guid = {0x12345678, 0x9ABC, 0xDEF0, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0xAB, 0xCD}};
  WCHAR buffer[50];
  for (WCHAR &w : buffer) w = 0xCCCC;
  EXPECT_EQ(StringFromGUID2(guid, buffer, 38), 0);
  EXPECT_EQ(StringFromGUID2(guid, buffer, 0), 0);
  EXPECT_EQ(buffer[0], 0xCCCC);
}

TEST(GuidCreation, RandomVersion4GuidsAreDistinct) {
  std::set<std::u16string> seen;
  for (int i = 0; i < 1000; ++i) {
    GUID guid = GUID_NULL;
    ASSERT_EQ(CoCreateGuid(&guid), S_OK);
    EXPECT_FALSE(IsEqualGUID(guid, GUID_NULL));
    EXPECT_EQ(guid.Data3 >> 12, 4) << "version";
    EXPECT_EQ(guid.Data4[0] & 0xC0, 0x80) << "variant";
    EXPECT_TRUE(seen.insert(ToText(guid)).second);
  }
  EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
}

}  // namespace
