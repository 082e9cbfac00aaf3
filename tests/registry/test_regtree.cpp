// CopyRegTree against the platform's registry: whole trees, copies onto existing keys, the limits
// of the fixed buffers, failures folded to HRESULTs, the guard against copying a tree into itself,
// and the order and balance of the library's key operations.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/registry.h"
#include "registry/reg_scratch.h"

namespace {

using qn::AsU;
using qntest::Bytes;
using qntest::KeyCounter;
using qntest::ReadTree;
using qntest::ScratchKey;
using qntest::SetValue;
using qntest::TextBytes;
using qntest::Tree;

HRESULT Copy(const std::u16string &source, const std::u16string &destination) {
  return CopyRegTree(HKEY_CURRENT_USER, AsU(source.c_str()), HKEY_CURRENT_USER, AsU(destination.c_str()));
}

// Values of every type (the default value and data of exactly 1024 bytes among them) and two levels
// of subkeys, names in mixed case.
void FillSource(const ScratchKey &scratch) {
  const std::u16string src = scratch.Path(u"src");
  SetValue(HKEY_CURRENT_USER, src, u"", REG_SZ, TextBytes(std::u16string(u"default\0", 8)));
  SetValue(HKEY_CURRENT_USER, src, u"Text", REG_SZ, TextBytes(std::u16string(u"abc\0", 4)));
  SetValue(HKEY_CURRENT_USER, src, u"Expand", REG_EXPAND_SZ, TextBytes(std::u16string(u"%TEMP%\0", 7)));
  SetValue(HKEY_CURRENT_USER, src, u"Multi", REG_MULTI_SZ, TextBytes(std::u16string(u"a\0b\0\0", 5)));
  SetValue(HKEY_CURRENT_USER, src, u"Number", REG_DWORD, {1, 2, 3, 4});
  SetValue(HKEY_CURRENT_USER, src, u"Quad", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8});
  SetValue(HKEY_CURRENT_USER, src, u"None", REG_NONE, {});
  SetValue(HKEY_CURRENT_USER, src, u"Full", REG_BINARY, Bytes(1024, 0x5A));
  SetValue(HKEY_CURRENT_USER, src + u"\\Child A", u"x", REG_DWORD, {9, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, src + u"\\Child A\\Grand", u"y", REG_SZ, TextBytes(std::u16string(u"deep\0", 5)));
  SetValue(HKEY_CURRENT_USER, src + u"\\child b\\Empty Grand", u"z", REG_BINARY, {7});
  HKEY hkey = NULL;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, qn::AsW(AsU((src + u"\\child b\\No Values").c_str())), 0, NULL, 0,
                            KEY_ALL_ACCESS, NULL, &hkey, NULL),
            ERROR_SUCCESS);
  RegCloseKey(hkey);
}

TEST(RegTree, CopiesEveryKeyValueTypeAndByte) {
  ScratchKey scratch(u"RegTreeCopy");
  FillSource(scratch);
  const Tree source = ReadTree(HKEY_CURRENT_USER, scratch.Path(u"src"));
  ASSERT_EQ(source.size(), 6u);

  EXPECT_EQ(CopyRegTree(HKEY_CURRENT_USER, AsU(scratch.Path(u"src").c_str()), HKEY_CURRENT_USER,
                        AsU(scratch.Path(u"dst\\below").c_str())),
            S_OK);
  EXPECT_EQ(ReadTree(HKEY_CURRENT_USER, scratch.Path(u"dst\\below")), source);
  EXPECT_EQ(ReadTree(HKEY_CURRENT_USER, scratch.Path(u"src")), source);

  // Under another root: through a key opened on the scratch key, which is not the same handle.
  HKEY other = NULL;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, qn::AsW(AsU(scratch.Path().c_str())), 0, KEY_ALL_ACCESS, &other),
            ERROR_SUCCESS);
  EXPECT_EQ(CopyRegTree(HKEY_CURRENT_USER, AsU(scratch.Path(u"src").c_str()), other, AsU(u"elsewhere")), S_OK);
  RegCloseKey(other);
  EXPECT_EQ(ReadTree(HKEY_CURRENT_USER, scratch.Path(u"elsewhere")), source);
}

TEST(RegTree, OverwritesSameNamedValuesAndKeepsTheRest) {
  ScratchKey scratch(u"RegTreeOnto");
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"src"), u"shared", REG_DWORD, {1, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"src\\sub"), u"shared", REG_SZ, TextBytes(std::u16string(u"new\0", 4)));
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"dst"), u"SHARED", REG_BINARY, {9, 9});
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"dst"), u"own", REG_DWORD, {2, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"dst\\sub"), u"own", REG_DWORD, {3, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"dst\\other"), u"own", REG_DWORD, {4, 0, 0, 0});

  EXPECT_EQ(Copy(scratch.Path(u"src"), scratch.Path(u"dst")), S_OK);
  Tree dst = ReadTree(HKEY_CURRENT_USER, scratch.Path(u"dst"));
  ASSERT_EQ(dst.size(), 3u);
  // The existing name keeps its case; the data and type are the source's.
  ASSERT_EQ(dst[u""].count(u"SHARED"), 1u);
  EXPECT_EQ(dst[u""][u"SHARED"].type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(dst[u""][u"SHARED"].data, (Bytes{1, 0, 0, 0}));
  EXPECT_EQ(dst[u""][u"own"].data, (Bytes{2, 0, 0, 0}));
  EXPECT_EQ(dst[u"sub"][u"shared"].data, TextBytes(std::u16string(u"new\0", 4)));
  EXPECT_EQ(dst[u"sub"][u"own"].data, (Bytes{3, 0, 0, 0}));
  EXPECT_EQ(dst[u"other"][u"own"].data, (Bytes{4, 0, 0, 0}));
}

// A value the fixed buffers cannot hold (data over 1024 bytes, a name over 511 code units) ends the
// copy of its key's values at its enumeration index, silently; the subkeys are still copied.
TEST(RegTree, OversizedValueEndsThatKeysValues) {
  const std::u16string longName(512, u'n');
  struct Case {
    const char *name;
    std::u16string valueName;
    Bytes data;
  };
  for (const Case &c : {Case{"1025 bytes", u"big", Bytes(1025, 1)}, Case{"512-unit name", longName, Bytes{1}}}) {
    SCOPED_TRACE(c.name);
    ScratchKey scratch(u"RegTreeOversized");
    const std::u16string src = scratch.Path(u"src");
    SetValue(HKEY_CURRENT_USER, src, u"before", REG_DWORD, {1, 0, 0, 0});
    SetValue(HKEY_CURRENT_USER, src, c.valueName, REG_BINARY, c.data);
    SetValue(HKEY_CURRENT_USER, src, u"after", REG_DWORD, {2, 0, 0, 0});
    SetValue(HKEY_CURRENT_USER, src + u"\\sub", u"kept", REG_DWORD, {3, 0, 0, 0});

    // What comes before the oversized value is decided by the platform's enumeration order.
    std::vector<std::u16string> expected;
    HKEY hkey = NULL;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, qn::AsW(AsU(src.c_str())), 0, KEY_READ, &hkey), ERROR_SUCCESS);
    for (DWORD i = 0;; ++i) {
      char16_t name[1024];
      DWORD cch = 1024;
      if (RegEnumValueW(hkey, i, qn::AsW(AsU(name)), &cch, NULL, NULL, NULL, NULL) != ERROR_SUCCESS) break;
      if (std::u16string(name, cch) == c.valueName) break;
      expected.push_back(std::u16string(name, cch));
    }
    RegCloseKey(hkey);

    EXPECT_EQ(Copy(src, scratch.Path(u"dst")), S_OK);
    Tree dst = ReadTree(HKEY_CURRENT_USER, scratch.Path(u"dst"));
    std::vector<std::u16string> copied;
    for (const auto &value : dst[u""]) copied.push_back(value.first);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(copied, expected);
    EXPECT_EQ(dst[u"sub"].count(u"kept"), 1u);
  }
}

TEST(RegTree, MissingSourceFailsFoldedAndCreatesNothing) {
  ScratchKey scratch(u"RegTreeMissing");
  EXPECT_EQ(Copy(scratch.Path(u"nothing"), scratch.Path(u"dst")), static_cast<HRESULT>(0x80070002));
  EXPECT_FALSE(qntest::KeyExists(HKEY_CURRENT_USER, scratch.Path(u"dst")));
}

TEST(RegTree, RefusesADestinationInsideTheSource) {
  ScratchKey scratch(u"RegTreeInside");
  SetValue(HKEY_CURRENT_USER, scratch.Path(u"Src\\sub"), u"v", REG_DWORD, {1, 0, 0, 0});
  struct Case {
    const char16_t *destination;  // below the scratch key
    HRESULT expected;
  };
  const Case cases[] = {
      {u"Src", E_INVALIDARG},
      {u"sRC", E_INVALIDARG},
      {u"Src\\sub", E_INVALIDARG},
      {u"src\\new\\deeper", E_INVALIDARG},
      {u"Src2", S_OK},  // shares the prefix only
      {u"Sr", S_OK},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.destination, c.destination + std::char_traits<char16_t>::length(c.destination)));
    const Tree before = ReadTree(HKEY_CURRENT_USER, scratch.Path());
    EXPECT_EQ(Copy(scratch.Path(u"Src"), scratch.Path(c.destination)), c.expected);
    if (c.expected == E_INVALIDARG) EXPECT_EQ(ReadTree(HKEY_CURRENT_USER, scratch.Path()), before);
    else EXPECT_EQ(ReadTree(HKEY_CURRENT_USER, scratch.Path(c.destination))[u"sub"].count(u"v"), 1u);
  }
  // An empty source path is the root itself: everything under it lies inside.
  EXPECT_EQ(CopyRegTree(HKEY_CURRENT_USER, AsU(u""), HKEY_CURRENT_USER, AsU(scratch.Path(u"x").c_str())), E_INVALIDARG);
  EXPECT_FALSE(qntest::KeyExists(HKEY_CURRENT_USER, scratch.Path(u"x")));
}

// Depth-first and pre-order: a key's values are written before its first subkey is created, one
// subkey's tree is finished before the next begins; every key opened or created is closed.
TEST(RegTree, WritesValuesBeforeSubkeysAndClosesEveryKey) {
  ScratchKey scratch(u"RegTreeOrder");
  const std::u16string src = scratch.Path(u"src");
  SetValue(HKEY_CURRENT_USER, src, u"v0", REG_DWORD, {0, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, src + u"\\a", u"va", REG_DWORD, {0, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, src + u"\\a\\aa", u"vaa", REG_DWORD, {0, 0, 0, 0});
  SetValue(HKEY_CURRENT_USER, src + u"\\b", u"vb", REG_DWORD, {0, 0, 0, 0});

  {
    KeyCounter keys;
    EXPECT_EQ(Copy(src, scratch.Path(u"dst")), S_OK);
    const std::vector<std::u16string> expected = {u"+" + scratch.Path(u"dst"), u"=v0", u"+a", u"=va", u"+aa",
                                                  u"=vaa", u"+b", u"=vb"};
    EXPECT_EQ(keys.Events(), expected);
    EXPECT_EQ(keys.Opened(), 8);
    EXPECT_EQ(keys.Closed(), 8);
  }
  KeyCounter failing;
  EXPECT_EQ(Copy(scratch.Path(u"missing"), scratch.Path(u"dst2")), static_cast<HRESULT>(0x80070002));
  EXPECT_EQ(failing.Closed(), failing.Opened());
}

}  // namespace
