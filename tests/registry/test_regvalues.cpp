// CRegString, CRegDword and FDebugClassEnabled against the platform's registry: defaults, type
// tests, data that does not fit the simple scheme, and keys closed on every path.

#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/registry.h"
#include "registry/reg_scratch.h"
#include "support/heap_faults.h"

namespace {

using qn::AsU;
using qntest::Bytes;
using qntest::HeapFaults;
using qntest::KeyCounter;
using qntest::ScratchKey;
using qntest::SetValue;
using qntest::TextBytes;

const DWORD kMissing = 0xFFFFFFFF;  // a value type meaning "write no value"

struct StringCase {
  const char *name;
  DWORD type;
  Bytes data;
  const char16_t *fallback;     // the default; null: none
  const char16_t *expected;     // null: no text
  size_t expectedBlockBytes;    // the block the text lives in; 0: not checked (the default's copy)
};

TEST(RegString, ReadsRegSzAndOtherwiseKeepsTheDefault) {
  const std::u16string abc(u"abc", 3);
  const std::vector<StringCase> cases = {
      {"missing value", kMissing, {}, u"def", u"def", 0},
      {"missing value, no default", kMissing, {}, nullptr, nullptr, 0},
      {"REG_DWORD", REG_DWORD, {7, 0, 0, 0}, u"def", u"def", 0},
      {"REG_EXPAND_SZ", REG_EXPAND_SZ, TextBytes(std::u16string(u"x\0", 2)), u"def", u"def", 0},
      {"REG_MULTI_SZ", REG_MULTI_SZ, TextBytes(std::u16string(u"x\0\0", 3)), u"def", u"def", 0},
      {"abc with terminator", REG_SZ, TextBytes(std::u16string(u"abc\0", 4)), u"def", u"abc", 8},
      {"abc, no default", REG_SZ, TextBytes(std::u16string(u"abc\0", 4)), nullptr, u"abc", 8},
      {"terminator only", REG_SZ, TextBytes(std::u16string(u"\0", 1)), u"def", u"", 2},
      {"zero bytes", REG_SZ, {}, u"def", u"", 2},
      {"no terminator", REG_SZ, TextBytes(abc), u"def", u"abc", 8},
      {"odd byte after the terminator", REG_SZ, [&] { auto b = TextBytes(std::u16string(u"abc\0", 4)); b.push_back('x'); return b; }(), u"def", u"abc", 10},
      {"odd byte, no terminator", REG_SZ, [&] { auto b = TextBytes(abc); b.push_back('x'); return b; }(), u"def", u"abc", 8},
      {"embedded zero", REG_SZ, TextBytes(std::u16string(u"ab\0cd\0", 6)), u"def", u"ab", 12},
  };
  for (const StringCase &c : cases) {
    SCOPED_TRACE(c.name);
    ScratchKey scratch(u"RegString");
    if (c.type != kMissing) SetValue(HKEY_CURRENT_USER, scratch.Path(), u"v", c.type, c.data);
    HeapFaults heap;
    CRegString value(HKEY_CURRENT_USER, AsU(scratch.Path().c_str()), AsU(u"v"), AsU(c.fallback));
    const unsigned short *text = value;
    if (c.expected == nullptr) {
      EXPECT_EQ(text, nullptr);
      continue;
    }
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(text)), c.expected);
    if (c.expectedBlockBytes != 0) {
      ASSERT_FALSE(heap.Requests().empty());
      EXPECT_EQ(heap.Requests().back(), c.expectedBlockBytes);
    }
  }
}

TEST(RegString, MissingKeyKeepsTheDefaultAndCopiesAreDeep) {
  CRegString missing(HKEY_CURRENT_USER, AsU(u"Software\\qnutil-tests\\no such key"), AsU(u"v"), AsU(u"def"));
  CRegString copy(missing);
  const unsigned short *original = missing;
  const unsigned short *copied = copy;
  ASSERT_NE(copied, nullptr);
  EXPECT_NE(copied, original);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(copied)), u"def");

  CRegString none(HKEY_CURRENT_USER, AsU(u"Software\\qnutil-tests\\no such key"), AsU(u"v"), nullptr);
  copy = none;
  EXPECT_EQ(static_cast<const unsigned short *>(copy), nullptr);
}

struct DwordCase {
  const char *name;
  DWORD type;
  Bytes data;
  DWORD fallback;
  DWORD expected;
};

TEST(RegDword, DataLandsInTheLowOrderBytes) {
  const std::vector<DwordCase> cases = {
      {"REG_DWORD 7", REG_DWORD, {7, 0, 0, 0}, 5, 7},
      {"REG_SZ \"1\"", REG_SZ, TextBytes(std::u16string(u"1\0", 2)), 5, 0x31},
      {"one byte", REG_BINARY, {0x01}, 0x100, 0x101},
      {"three bytes", REG_BINARY, {1, 2, 3}, 0xAABBCCDD, 0xAA030201},
      {"zero bytes", REG_BINARY, {}, 0x1234, 0x1234},
      {"missing value", kMissing, {}, 42, 42},
      {"REG_QWORD is too long", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}, 42, 42},
      {"REG_SZ of several characters is too long", REG_SZ, TextBytes(std::u16string(u"12\0", 3)), 42, 42},
  };
  for (const DwordCase &c : cases) {
    SCOPED_TRACE(c.name);
    ScratchKey scratch(u"RegDword");
    if (c.type != kMissing) SetValue(HKEY_CURRENT_USER, scratch.Path(), u"v", c.type, c.data);
    CRegDword value(HKEY_CURRENT_USER, AsU(scratch.Path().c_str()), AsU(u"v"), c.fallback);
    EXPECT_EQ(static_cast<DWORD>(value), c.expected);
  }
  CRegDword missingKey(HKEY_CURRENT_USER, AsU(u"Software\\qnutil-tests\\no such key"), AsU(u"v"), 9);
  EXPECT_EQ(static_cast<DWORD>(missingKey), 9u);
}

// The debug key is the library's own, under HKEY_LOCAL_MACHINE: the test creates it and deletes it
// again, and leaves alone a machine that already has one.
TEST(DebugClass, KeyTurnsSwitchesOnUnlessTheyReadAsZero) {
  const std::u16string debugPath = u"Software\\Corvanta\\Debug";
  if (qntest::KeyExists(HKEY_LOCAL_MACHINE, debugPath)) {
    ADD_FAILURE() << "this machine has debug switches of its own; the test would change them";
    return;
  }
  EXPECT_FALSE(FDebugClassEnabled(AsU(u"Anything")));

  struct SwitchCase {
    const char *name;
    DWORD type;
    Bytes data;
    bool expected;
  };
  const std::vector<SwitchCase> cases = {
      {"missing value", kMissing, {}, true},
      {"0", REG_DWORD, {0, 0, 0, 0}, false},
      {"1", REG_DWORD, {1, 0, 0, 0}, true},
      {"high byte only", REG_DWORD, {0, 0, 0, 1}, true},
      {"one zero byte", REG_BINARY, {0}, false},
      {"REG_SZ of several characters", REG_SZ, TextBytes(std::u16string(u"abc\0", 4)), true},
      {"REG_SZ empty", REG_SZ, TextBytes(std::u16string(u"\0", 1)), false},
  };
  for (const SwitchCase &c : cases) {
    SCOPED_TRACE(c.name);
    std::u16string name = u"Switch ";
    name += std::u16string(c.name, c.name + strlen(c.name));
    if (c.type != kMissing) SetValue(HKEY_LOCAL_MACHINE, debugPath, name, c.type, c.data);
    else SetValue(HKEY_LOCAL_MACHINE, debugPath, u"other", REG_DWORD, {0, 0, 0, 0});
    EXPECT_EQ(FDebugClassEnabled(AsU(name.c_str())), c.expected);
  }
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, qn::AsW(AsU(u"Software\\Corvanta\\Debug")));
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, qn::AsW(AsU(u"Software\\Corvanta")));  // only when left empty
  EXPECT_FALSE(FDebugClassEnabled(AsU(u"Switch 1")));
}

// Every key the value classes open is closed, also when the text allocation fails, and the text
// block (with the default's copy) is released as COOMExcep passes.
TEST(RegStringOOM, ClosesItsKeyAndLeaksNothing) {
  ScratchKey scratch(u"RegStringOOM");
  SetValue(HKEY_CURRENT_USER, scratch.Path(), u"terminated", REG_SZ, TextBytes(std::u16string(u"abc\0", 4)));
  SetValue(HKEY_CURRENT_USER, scratch.Path(), u"unterminated", REG_SZ, TextBytes(u"abc"));
  const std::u16string path = scratch.Path();
  struct Case {
    const char16_t *valueName;
    int allocations;  // at least the default's copy and the block
  };
  // Wine answers an unterminated REG_SZ with a terminator added; a platform that does not makes the
  // library allocate a longer block, a third allocation.
  for (const Case &c : {Case{u"terminated", 2}, Case{u"unterminated", 2}}) {
    SCOPED_TRACE(std::string(c.valueName, c.valueName + std::char_traits<char16_t>::length(c.valueName)));
    KeyCounter keys;
    const int failures = qntest::RunUntilSuccess(
        [] { return 0; },
        [&](int &) {
          CRegString value(HKEY_CURRENT_USER, AsU(path.c_str()), AsU(c.valueName), AsU(u"default"));
          EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(static_cast<const unsigned short *>(value))),
                    u"abc");
        },
        [&](int &) { EXPECT_EQ(keys.Closed(), keys.Opened()); });
    if (std::u16string(c.valueName) == u"terminated") EXPECT_EQ(failures, c.allocations);
    else EXPECT_GE(failures, c.allocations);
    EXPECT_EQ(keys.Closed(), keys.Opened());
    EXPECT_GT(keys.Opened(), 0);
  }
  KeyCounter keys;
  CRegDword number(HKEY_CURRENT_USER, AsU(path.c_str()), AsU(u"terminated"), 0);
  EXPECT_EQ(keys.Opened(), 1);
  EXPECT_EQ(keys.Closed(), 1);
}

}  // namespace
