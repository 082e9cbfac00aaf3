// CString's string-table loading (LoadStringW, the identifier constructor, Format and FormatMessageW
// by identifier) against a string table that stands in for the library's own module, and its
// message formatting through the platform's FormatMessageW.
#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/cstring.h"
#include "strings/cstring_probe.h"
#include "support/heap_faults.h"
#include "support/import_patch.h"

namespace {

using qn::AsU;
using qntest::HeapFaults;
using qntest::Text;

// A string table for the library while the object lives: the library's import of LoadStringW
// answers from it as Windows answers from a module's table, and records the capacities asked for.
// Tables nest: the latest one answers until it ends.
class FakeStringTable {
 public:
  explicit FakeStringTable(std::map<UINT, std::u16string> texts)
      : m_texts(std::move(texts)), m_outer(s_current), m_redirect("LoadStringW", reinterpret_cast<void *>(&Load)) {
    s_current = this;
    EXPECT_TRUE(m_redirect.Installed()) << "the library does not import LoadStringW";
  }
  ~FakeStringTable() { s_current = m_outer; }

  std::vector<int> TakeCapacities() { return std::move(m_capacities); }

 private:
  static int WINAPI Load(HINSTANCE, UINT id, LPWSTR buffer, int capacity) {
    FakeStringTable *table = s_current;
    table->m_capacities.push_back(capacity);
    const auto it = table->m_texts.find(id);
    if (it == table->m_texts.end() || capacity <= 0) {
      SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
      return 0;
    }
    const int n = std::min(static_cast<int>(it->second.size()), capacity - 1);
    std::copy(it->second.begin(), it->second.begin() + n, reinterpret_cast<char16_t *>(buffer));
    buffer[n] = 0;
    return n;
  }

  static FakeStringTable *s_current;
  std::map<UINT, std::u16string> m_texts;
  std::vector<int> m_capacities;
  FakeStringTable *m_outer;
  qntest::ImportRedirect m_redirect;
};

FakeStringTable *FakeStringTable::s_current = nullptr;

// Distinct texts of a given length, so that a text cut or read from the wrong buffer shows.
std::u16string TextOf(size_t length) {
  std::u16string s;
  for (size_t i = 0; i < length; ++i) s.push_back(static_cast<char16_t>(u'a' + i % 26));
  return s;
}

// The first attempt holds 254 code units; a text that fills it is read again at 512, 768, ... A
// missing text (length 0 here) leaves the empty string.
TEST(CStringResources, LoadStringGrowsPastTheFirstAttempt) {
  struct Row {
    size_t length;
    std::vector<int> capacities;
    int allocLength;  // the string's block afterwards (the old one, 3, keeps the empty text)
    long allocations;
  };
  const Row rows[] = {
      {0, {256}, 3, 0}, {254, {256}, 254, 1}, {255, {256, 512}, 511, 1}, {256, {256, 512}, 511, 1}, {600, {256, 512, 768}, 767, 2},
  };
  for (const Row &row : rows) {
    FakeStringTable table(row.length ? std::map<UINT, std::u16string>{{7, TextOf(row.length)}} : std::map<UINT, std::u16string>{});
    CString s(AsU(u"old"));
    HeapFaults faults;
    EXPECT_EQ(s.LoadStringW(7), row.length ? 1 : 0) << row.length;
    EXPECT_EQ(Text(s), TextOf(row.length)) << row.length;
    EXPECT_EQ(table.TakeCapacities(), row.capacities) << row.length;
    EXPECT_EQ(s.GetAllocLength(), row.allocLength) << row.length;
    EXPECT_EQ(faults.Allocations(), row.allocations) << row.length;
  }
}

TEST(CStringResources, ConstructsAndFormatsFromTheTable) {
  FakeStringTable table({{1, u"%d-%s"}, {2, u"%1 and %2"}, {3, u"%1!d!|%2!-3s!|"}});
  EXPECT_EQ(Text(CString(reinterpret_cast<const unsigned short *>(2))), u"%1 and %2");
  CString s;
  s.Format(1u, 42, AsU(u"x"));
  EXPECT_EQ(Text(s), u"42-x");
  s.Format(9u, 42);
  EXPECT_EQ(Text(s), u"");
  s.FormatMessageW(2u, AsU(u"x"), AsU(u"y"));
  EXPECT_EQ(Text(s), u"x and y");
  s.FormatMessageW(3u, 5, AsU(u"z"));
  EXPECT_EQ(Text(s), u"5|z  |");
}

// Any failure of the platform's formatter is an out-of-memory exception that leaves the string as
// it was: an empty format, a missing format identifier, a malformed format.
TEST(CStringResources, FormatMessageThrowsOnAnyFormatterFailure) {
  FakeStringTable table({{2, u"%1 and %2"}});
  CString s(AsU(u"old"));
  CString other(s);
  const HeapFaults faults;
  const std::vector<std::function<void()>> failing = {
      [&] { s.FormatMessageW(AsU(u"")); },
      [&] { s.FormatMessageW(AsU(u"50%")); },
      [&] { s.FormatMessageW(8u, AsU(u"x")); },
  };
  for (const auto &call : failing) {
    try {
      call();
      ADD_FAILURE() << "no exception";
    } catch (const COOMExcep &e) {
      EXPECT_EQ(e.Result(), E_OUTOFMEMORY);
    }
    EXPECT_EQ(Text(s), u"old");
  }
  EXPECT_EQ(faults.LiveBlocks(), 0);
  s.FormatMessageW(AsU(u"%1 and %2%n%3!04x!"), AsU(u"x"), AsU(u"y"), 0x2a);
  EXPECT_EQ(Text(s), u"x and y\r\n002a");
  EXPECT_EQ(Text(other), u"old");
}

// Heap exhaustion in the identifier form: loading the format fails before anything changes; the
// assignment of the result, like every assignment, releases the old block first. Neither leaks the
// format or the platform's buffer.
TEST(CStringResources, OutOfMemoryInFormatMessage) {
  FakeStringTable table({{2, u"%1 and %2"}});
  const int allocations = qntest::RunUntilSuccess(
      [] { return CString(AsU(u"o")); }, [](CString &s) { s.FormatMessageW(2u, AsU(u"x"), AsU(u"y")); },
      [](CString &s) { EXPECT_TRUE(Text(s) == u"o" || Text(s) == u""); });
  EXPECT_EQ(allocations, 2);

  HeapFaults faults;
  CString s(AsU(u"o"));
  faults.FailOnly(1);
  EXPECT_THROW(s.FormatMessageW(2u, AsU(u"x"), AsU(u"y")), COOMExcep);
  EXPECT_EQ(Text(s), u"o");
  faults.FailOnly(2);
  EXPECT_THROW(s.FormatMessageW(2u, AsU(u"x"), AsU(u"y")), COOMExcep);
  EXPECT_EQ(Text(s), u"");
}

}  // namespace
