// Conformance of the registry calls: keys, values of every type with their bytes, enumeration,
// short buffers, handles and deletion, with the results Wine's registry gives. Natively the tests
// run against the test program's own registry directory (support/registry_env.cpp); under Wine
// against Wine's registry, below a key that each test removes again.
#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"

namespace {

const WCHAR *W(const char16_t *s) { return qn::AsW(s); }
const WCHAR *W(const std::u16string &s) { return qn::AsW(s.c_str()); }
std::u16string U(const WCHAR *s) { return reinterpret_cast<const char16_t *>(s); }

using Bytes = std::vector<BYTE>;

Bytes BytesOf(const char16_t *text, size_t units) {
  const auto *p = reinterpret_cast<const BYTE *>(text);
  return Bytes(p, p + units * 2);
}

// A fresh key HKEY_CURRENT_USER\Software\qnutil-tests\<test>, removed with everything under it.
class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto *info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = u"Software\\qnutil-tests\\";
    for (const char *c = info->name(); *c; ++c) path_.push_back(static_cast<char16_t>(*c));
    RegDeleteTreeW(HKEY_CURRENT_USER, W(path_));
    DWORD disposition = 0;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, W(path_), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, &disposition),
              ERROR_SUCCESS);
    ASSERT_EQ(disposition, REG_CREATED_NEW_KEY);
  }
  void TearDown() override {
    if (key_) RegCloseKey(key_);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, W(path_)), ERROR_SUCCESS);
    RegDeleteKeyW(HKEY_CURRENT_USER, W(u"Software\\qnutil-tests"));
  }

  HKEY Create(const char16_t *sub, DWORD *disposition = nullptr, HKEY parent = nullptr) {
    HKEY k = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent ? parent : key_, W(sub), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, disposition),
              ERROR_SUCCESS);
    return k;
  }
  // Sets the bytes followed by a non-zero code unit, so that Windows counts no terminator for them.
  LSTATUS Set(const char16_t *name, DWORD type, const Bytes &data, HKEY k = nullptr) {
    Bytes padded(data);
    padded.insert(padded.end(), {0xEE, 0xEE});
    return RegSetValueExW(k ? k : key_, W(name), 0, type, padded.data(), static_cast<DWORD>(data.size()));
  }
  // The value's type and bytes, read with a buffer of the exact size.
  LSTATUS Get(const char16_t *name, DWORD *type, Bytes *data) {
    DWORD size = 0;
    LSTATUS r = RegQueryValueExW(key_, W(name), nullptr, type, nullptr, &size);
    if (r != ERROR_SUCCESS) return r;
    data->assign(size + 1, 0xCC);
    r = RegQueryValueExW(key_, W(name), nullptr, type, data->data(), &size);
    data->resize(size);
    return r;
  }
  std::vector<std::u16string> Subkeys(HKEY k) {
    std::vector<std::u16string> names;
    WCHAR name[300];
    LSTATUS r;
    for (DWORD i = 0; (r = RegEnumKeyW(k, i, name, 300)) == ERROR_SUCCESS; ++i) names.push_back(U(name));
    EXPECT_EQ(r, ERROR_NO_MORE_ITEMS);
    return names;
  }

  std::u16string path_;
  HKEY key_ = nullptr;
};

TEST_F(RegistryTest, CreateOpenAndPaths) {
  DWORD disposition = 0;
  HKEY deep = Create(u"One\\Two\\Three", &disposition);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  RegCloseKey(deep);
  HKEY again = Create(u"one\\TWO\\three", &disposition);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  RegCloseKey(again);
  EXPECT_EQ(Subkeys(key_), std::vector<std::u16string>{u"One"});  // the case first written

  HKEY k = reinterpret_cast<HKEY>(1);
  EXPECT_EQ(RegOpenKeyExW(key_, W(u"One\\Missing"), 0, KEY_READ, &k), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(k, nullptr);
  EXPECT_EQ(RegOpenKeyExW(key_, W(u"\\One"), 0, KEY_READ, &k), ERROR_BAD_PATHNAME);
  EXPECT_EQ(RegCreateKeyExW(key_, W(u"\\One"), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr), ERROR_BAD_PATHNAME);
  // Empty components and a trailing separator are skipped.
  RegCloseKey(Create(u"A\\\\B\\"));
  ASSERT_EQ(RegOpenKeyExW(key_, W(u"a\\b\\"), 0, KEY_READ, &k), ERROR_SUCCESS);
  RegCloseKey(k);
  HKEY a = nullptr;
  ASSERT_EQ(RegOpenKeyExW(key_, W(u"A"), 0, KEY_READ, &a), ERROR_SUCCESS);
  EXPECT_EQ(Subkeys(a), std::vector<std::u16string>{u"B"});
  RegCloseKey(a);

  // A NULL or empty subkey opens the key again: a new handle, except for a root.
  ASSERT_EQ(RegOpenKeyExW(key_, nullptr, 0, KEY_READ, &k), ERROR_SUCCESS);
  EXPECT_NE(k, key_);
  RegCloseKey(k);
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, &k), ERROR_SUCCESS);
  EXPECT_EQ(k, HKEY_CURRENT_USER);

  const std::u16string longest(256, u'k'), tooLong(257, u'k');
  RegCloseKey(Create(longest.c_str()));
  EXPECT_EQ(RegCreateKeyExW(key_, W(tooLong), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr),
            ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryTest, EveryTypeKeepsItsBytes) {
  const char16_t text[] = u"caf\u00e9";
  const char16_t multi[] = {u'a', 0, u'b', u'c', 0, 0};
  const char16_t unterminated[] = {u'x', u'y', u'z'};
  struct Case {
    const char16_t *name;
    DWORD type;
    Bytes data;
  } cases[] = {
      {u"sz", REG_SZ, BytesOf(text, 5)},
      {u"sz empty", REG_SZ, {}},
      {u"sz odd", REG_SZ, {0x41, 0x00, 0x42}},
      {u"sz inner zero", REG_SZ, BytesOf(multi, 4)},
      {u"sz unterminated", REG_SZ, BytesOf(unterminated, 3)},
      {u"expand", REG_EXPAND_SZ, BytesOf(u"%TEMP%\\x", 9)},
      {u"multi", REG_MULTI_SZ, BytesOf(multi, 6)},
      {u"dword", REG_DWORD, {0x78, 0x56, 0x34, 0x12}},
      {u"dword short", REG_DWORD, {0x01, 0x02}},
      {u"qword", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 0x88}},
      {u"binary", REG_BINARY, {0x00, 0xFF, 0x10, 0x00, 0x7F}},
      {u"binary empty", REG_BINARY, {}},
      {u"none", REG_NONE, {0xAB}},
      {u"none empty", REG_NONE, {}},
      {u"own type", 0x1234, {9, 8, 7}},
  };
  for (const Case &c : cases) ASSERT_EQ(Set(c.name, c.type, c.data), ERROR_SUCCESS);
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.name, c.name + std::char_traits<char16_t>::length(c.name)));
    DWORD type = 0xDEAD;
    Bytes data;
    ASSERT_EQ(Get(c.name, &type, &data), ERROR_SUCCESS);
    EXPECT_EQ(type, c.type);
    EXPECT_EQ(data, c.data);
  }
  // Replacing keeps one value and takes the new type.
  ASSERT_EQ(Set(u"DWORD", REG_SZ, BytesOf(u"new", 4)), ERROR_SUCCESS);
  DWORD type = 0;
  Bytes data;
  ASSERT_EQ(Get(u"dword", &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(data, BytesOf(u"new", 4));
}

TEST_F(RegistryTest, StringTerminatorsAsWindowsCountsThem) {
  // Counted text without its zero: the zero is counted when it follows, not otherwise.
  const char16_t followedByZero[] = {u'a', u'b', u'c', 0};
  const char16_t followedByText[] = {u'a', u'b', u'c', u'd', 0};
  ASSERT_EQ(RegSetValueExW(key_, W(u"s1"), 0, REG_SZ, reinterpret_cast<const BYTE *>(followedByZero), 6), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueExW(key_, W(u"s2"), 0, REG_SZ, reinterpret_cast<const BYTE *>(followedByText), 6), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueExW(key_, W(u"b2"), 0, REG_BINARY, reinterpret_cast<const BYTE *>(followedByZero), 6),
            ERROR_SUCCESS);
  DWORD type = 0, size = 0;
  ASSERT_EQ(RegQueryValueExW(key_, W(u"s1"), nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 8u);
  ASSERT_EQ(RegQueryValueExW(key_, W(u"b2"), nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 6u);

  // Reading unterminated text into a larger buffer adds an uncounted zero after it; one byte of
  // room is not enough, and binary data gets none.
  for (DWORD capacity : {6u, 7u, 8u, 64u}) {
    SCOPED_TRACE(capacity);
    for (const char16_t *name : {u"s2", u"b2"}) {
      BYTE buffer[64];
      memset(buffer, 0xCC, sizeof buffer);
      size = capacity;
      ASSERT_EQ(RegQueryValueExW(key_, W(name), nullptr, &type, buffer, &size), ERROR_SUCCESS);
      EXPECT_EQ(size, 6u);
      const bool zero = capacity >= 8 && name[0] == u's';
      EXPECT_EQ(buffer[6], zero ? 0 : 0xCC);
      EXPECT_EQ(buffer[7], zero ? 0 : 0xCC);
    }
  }
  EXPECT_EQ(RegSetValueExW(key_, W(u"null"), 0, REG_BINARY, nullptr, 4), ERROR_NOACCESS);
  EXPECT_EQ(RegSetValueExW(key_, W(u"null"), 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
}

TEST_F(RegistryTest, QueryResultsAndShortBuffers) {
  ASSERT_EQ(Set(u"v", REG_BINARY, {1, 2, 3, 4, 5, 6}), ERROR_SUCCESS);
  DWORD type = 0, size = 0;
  BYTE buffer[8] = {};
  EXPECT_EQ(RegQueryValueExW(key_, W(u"v"), nullptr, &type, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  size = 2;
  EXPECT_EQ(RegQueryValueExW(key_, W(u"v"), nullptr, &type, buffer, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(buffer[0], 0);  // nothing copied
  EXPECT_EQ(RegQueryValueExW(key_, W(u"v"), nullptr, &type, buffer, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(key_, W(u"missing"), nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);

  // The default value answers to NULL and to "".
  ASSERT_EQ(RegSetValueExW(key_, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(u"def"), 8), ERROR_SUCCESS);
  size = sizeof buffer;
  ASSERT_EQ(RegQueryValueExW(key_, W(u""), nullptr, &type, buffer, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(RegDeleteValueW(key_, W(u"")), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key_, nullptr, nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);

  const std::u16string longest(16383, u'v'), tooLong(16384, u'v');
  EXPECT_EQ(Set(longest.c_str(), REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  EXPECT_EQ(Set(tooLong.c_str(), REG_DWORD, {1, 0, 0, 0}), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryTest, EnumerationOrderAndEnd) {
  // Subkeys and values both come sorted by their lower-case names, whatever the order of creation.
  for (const char16_t *name : {u"b", u"A", u"c", u"_x", u"Z", u"a1", u"E"}) RegCloseKey(Create(name));
  EXPECT_EQ(Subkeys(key_), (std::vector<std::u16string>{u"_x", u"A", u"a1", u"b", u"c", u"E", u"Z"}));
  for (const char16_t *name : {u"t6", u"T5", u"term", u"b6"}) ASSERT_EQ(Set(name, REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  ASSERT_EQ(Set(u"t5", REG_BINARY, {7}), ERROR_SUCCESS);  // replaced: keeps "T5"
  std::vector<std::u16string> names;
  std::vector<DWORD> types;
  WCHAR name[32];
  DWORD cch = 32, type = 0;
  LSTATUS r;
  for (DWORD i = 0; (r = RegEnumValueW(key_, i, name, &cch, nullptr, &type, nullptr, nullptr)) == ERROR_SUCCESS; ++i) {
    names.push_back(U(name));
    types.push_back(type);
    EXPECT_EQ(cch, names.back().size());
    cch = 32;
  }
  EXPECT_EQ(r, ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"b6", u"T5", u"t6", u"term"}));
  EXPECT_EQ(types, (std::vector<DWORD>{REG_DWORD, REG_BINARY, REG_DWORD, REG_DWORD}));
}

TEST_F(RegistryTest, EnumerationShortBuffers) {
  RegCloseKey(Create(u"Subkey"));
  WCHAR name[8] = {u'Q', u'Q'};
  EXPECT_EQ(RegEnumKeyW(key_, 0, name, 6), ERROR_MORE_DATA);  // no room for the zero
  EXPECT_EQ(name[0], u'Q');
  DWORD cch = 6;
  EXPECT_EQ(RegEnumKeyExW(key_, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(cch, 6u);
  EXPECT_EQ(RegEnumKeyW(key_, 1, name, 8), ERROR_NO_MORE_ITEMS);

  ASSERT_EQ(Set(u"Name", REG_SZ, BytesOf(u"xy", 3)), ERROR_SUCCESS);
  struct Case {
    DWORD cch, cb;
    LSTATUS result;
    DWORD cchAfter, cbAfter;
    bool nameCopied;
  } cases[] = {
      {8, 64, ERROR_SUCCESS, 4, 6, true},
      {4, 64, ERROR_MORE_DATA, 4, 6, false},  // the name's zero does not fit
      {2, 64, ERROR_MORE_DATA, 2, 6, false},
      {8, 2, ERROR_MORE_DATA, 4, 6, true},    // the name is answered, the data is not
      {2, 2, ERROR_MORE_DATA, 2, 6, false},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << c.cch << " " << c.cb);
    WCHAR valueName[8] = {u'Q'};
    BYTE data[64];
    memset(data, 0xCC, sizeof data);
    DWORD cchIo = c.cch, cb = c.cb, type = 0;
    EXPECT_EQ(RegEnumValueW(key_, 0, valueName, &cchIo, nullptr, &type, data, &cb), c.result);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(cchIo, c.cchAfter);
    EXPECT_EQ(cb, c.cbAfter);
    EXPECT_EQ(valueName[0], c.nameCopied ? u'N' : u'Q');
    EXPECT_EQ(data[0], c.result == ERROR_SUCCESS ? u'x' : 0xCC);
  }
  DWORD cchIo = 8, cb = 0;
  EXPECT_EQ(RegEnumValueW(key_, 0, name, &cchIo, nullptr, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 6u);
  EXPECT_EQ(RegEnumValueW(key_, 1, name, &cchIo, nullptr, nullptr, nullptr, &cb), ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryTest, ClosedDeletedAndLimitedHandles) {
  HKEY sub = Create(u"Sub");
  ASSERT_EQ(RegCloseKey(sub), ERROR_SUCCESS);
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(sub, W(u"x"), nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(sub), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS);

  // A handle on a key deleted through another handle answers ERROR_KEY_DELETED until closed.
  sub = Create(u"Sub");
  ASSERT_EQ(RegDeleteKeyW(key_, W(u"SUB")), ERROR_SUCCESS);
  EXPECT_EQ(Set(u"x", REG_DWORD, {1, 0, 0, 0}, sub), ERROR_KEY_DELETED);
  EXPECT_EQ(RegQueryValueExW(sub, W(u"x"), nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(sub), ERROR_SUCCESS);

  // Rights: a read-only handle cannot change values (but may create subkeys, as Wine allows); a
  // write-only one cannot read or enumerate.
  HKEY k = nullptr;
  ASSERT_EQ(Set(u"v", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, W(path_), 0, KEY_READ, &k), ERROR_SUCCESS);
  EXPECT_EQ(Set(u"v", REG_DWORD, {2, 0, 0, 0}, k), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueW(k, W(u"v")), ERROR_ACCESS_DENIED);
  RegCloseKey(k);
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, W(path_), 0, KEY_SET_VALUE, &k), ERROR_SUCCESS);
  WCHAR name[8];
  DWORD cch = 8;
  EXPECT_EQ(RegQueryValueExW(k, W(u"v"), nullptr, nullptr, nullptr, &size), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegEnumValueW(k, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegEnumKeyW(k, 0, name, 8), ERROR_ACCESS_DENIED);
  RegCloseKey(k);
}

TEST_F(RegistryTest, Deletion) {
  HKEY a = Create(u"A\\B\\C");
  ASSERT_EQ(Set(u"v", REG_DWORD, {1, 0, 0, 0}, a), ERROR_SUCCESS);
  RegCloseKey(a);
  EXPECT_EQ(RegDeleteKeyW(key_, W(u"A")), ERROR_ACCESS_DENIED);  // it has subkeys
  EXPECT_EQ(RegDeleteKeyW(key_, W(u"Missing")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueW(key_, W(u"Missing")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(key_, W(u"a\\b\\c")), ERROR_SUCCESS);
  EXPECT_EQ(RegOpenKeyExW(key_, W(u"A\\B\\C"), 0, KEY_READ, &a), ERROR_FILE_NOT_FOUND);

  RegCloseKey(Create(u"A\\B\\C"));
  ASSERT_EQ(Set(u"top", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteTreeW(key_, W(u"A")), ERROR_SUCCESS);
  EXPECT_TRUE(Subkeys(key_).empty());
  RegCloseKey(Create(u"X\\Y"));
  // Without a subkey the tree call empties the key and keeps it.
  EXPECT_EQ(RegDeleteTreeW(key_, nullptr), ERROR_SUCCESS);
  EXPECT_TRUE(Subkeys(key_).empty());
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(key_, W(u"top"), nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Set(u"again", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
}

}  // namespace
