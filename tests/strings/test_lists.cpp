// CFstrList and CGuidList: splitting rules, GUID separators, copies, the automation array, and the
// chain left consistent (links, count, no leak) when the heap fails during appends.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/lists.h"
#include "support/heap_faults.h"

namespace {

using qn::AsU;

// The items in order, after checking every invariant of the chain both ways.
std::vector<std::u16string> Items(const CFstrListBase &list) {
  std::vector<std::u16string> items;
  const CFstrNode *prev = nullptr;
  for (const CFstrNode *p = list.Head(); p != nullptr; prev = p, p = p->m_pNext) {
    EXPECT_EQ(p->m_pPrev, prev);
    const unsigned short *text = p->m_fstr;
    EXPECT_NE(text, nullptr);
    items.emplace_back(text ? reinterpret_cast<const char16_t *>(text) : u"");
  }
  EXPECT_EQ(list.Tail(), prev);
  EXPECT_EQ(list.Count(), items.size());
  return items;
}

using Texts = std::vector<std::u16string>;

TEST(FstrList, SplitsAtTheSeparator) {
  struct Row {
    const char16_t *text;
    char16_t separator;
    Texts items;
  } rows[] = {
      {u"a,b,c", u',', {u"a", u"b", u"c"}},
      {u"a,,b", u',', {u"a", u"", u"b"}},
      {u",a", u',', {u"", u"a"}},
      {u"a,  ", u',', {u"a"}},
      {u"a , b", u',', {u"a ", u"b"}},
      {u"\t\r\n a;\v\f b ;", u';', {u"a", u"b "}},
      {u"", u',', {}},
      {u" \t\r\n", u',', {}},
      {u"a  b", u' ', {u"a", u"b"}},
      {u" a,b", 0, {u"a,b"}},
      {u"a,b ", 0, {u"a,b "}},
      {u"a\u00a0,b", u',', {u"a\u00a0", u"b"}},  // only the six blanks are skipped
      {u",", u',', {u""}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(std::string(row.items.size(), '*'));
    CFstrList list;
    EXPECT_EQ(list.FromString(AsU(row.text), row.separator), S_OK);
    EXPECT_EQ(Items(list), row.items);
  }
}

TEST(FstrList, FromStringAppends) {
  CFstrList list;
  list.FromString(AsU(u"a,b"), u',');
  list.FromString(AsU(u"c"), u',');
  EXPECT_EQ(Items(list), (Texts{u"a", u"b", u"c"}));
}

TEST(GuidList, FindsGuidTextsBetweenSeparators) {
  const std::u16string g1 = u"{00000000-0000-0000-C000-000000000046}";
  const std::u16string g2 = u"{b196b283-bab4-101a-b69c-00aa00341d07}";
  const std::u16string x38(38, u'x');
  struct Row {
    std::u16string text;
    HRESULT hr;
    Texts items;
  } rows[] = {
      {g1 + u"," + g2, S_OK, {g1, g2}},
      {g1 + u", " + g2, S_OK, {g1, g2}},
      {u"  " + g1 + u",,,\t" + g2 + u",\r\n", S_OK, {g1, g2}},
      {g1 + u"," + g2 + u" ,", E_INVALIDARG, {g1, g2}},
      {g1 + u" " + g2, S_OK, {g1, g2}},
      {x38, S_OK, {x38}},
      {u"", S_OK, {}},
      {g1.substr(1), E_INVALIDARG, {}},
      {g1 + u"x", E_INVALIDARG, {g1}},
      // A blank before a comma ends the separator: the comma starts the next (too short) piece.
      {g1 + u" ," + g2.substr(0, 36), E_INVALIDARG, {g1}},
      {g1 + u" ," + g2.substr(0, 37), S_OK, {g1, u"," + g2.substr(0, 37)}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(std::string(row.text.begin(), row.text.end()));
    CGuidList list;
    EXPECT_EQ(list.FromString(AsU(row.text.c_str())), row.hr);
    EXPECT_EQ(Items(list), row.items);
  }
}

TEST(Lists, CopiesAreIndependent) {
  CFstrList source;
  source.FromString(AsU(u"one,two,,three"), u',');
  const Texts expected{u"one", u"two", u"", u"three"};

  CFstrList copy(source);
  CFstrList assigned;
  assigned.FromString(AsU(u"old"), u',');
  assigned = source;
  EXPECT_EQ(Items(copy), expected);
  EXPECT_EQ(Items(assigned), expected);
  EXPECT_EQ(Items(source), expected);
  EXPECT_NE(copy.Head(), source.Head());
  EXPECT_NE(static_cast<const unsigned short *>(copy.Head()->m_fstr),
            static_cast<const unsigned short *>(source.Head()->m_fstr));

  copy.FromString(AsU(u"four"), u',');
  EXPECT_EQ(Items(source), expected);

  CFstrList &same = assigned;  // through a reference: the compiler refuses a plain self-assignment
  assigned = same;
  EXPECT_EQ(Items(assigned), expected);

  CGuidList guids;
  guids.FromString(AsU(u"{00000000-0000-0000-C000-000000000046}"));
  CGuidList guidCopy(guids);
  CFstrListBase &base = guidCopy;
  CGuidList empty;
  base = empty;  // the virtual assignment clears
  EXPECT_EQ(guidCopy.Count(), 0u);
  EXPECT_EQ(Items(guids).size(), 1u);
}

TEST(FstrList, BuildsAnArrayOfStrings) {
  CFstrList list;
  list.FromString(AsU(u"alpha,,gamma"), u',');
  SAFEARRAY *psa = reinterpret_cast<SAFEARRAY *>(1);
  ASSERT_EQ(list.BuildVariantSafeArray(&psa), S_OK);
  ASSERT_NE(psa, nullptr);
  LONG lower = -1, upper = -1;
  EXPECT_EQ(SafeArrayGetDim(psa), 1u);
  EXPECT_EQ(SafeArrayGetLBound(psa, 1, &lower), S_OK);
  EXPECT_EQ(SafeArrayGetUBound(psa, 1, &upper), S_OK);
  EXPECT_EQ(lower, 0);
  EXPECT_EQ(upper, 2);
  const Texts expected{u"alpha", u"", u"gamma"};
  for (LONG i = 0; i <= upper; ++i) {
    VARIANT v;
    VariantInit(&v);
    ASSERT_EQ(SafeArrayGetElement(psa, &i, &v), S_OK);
    EXPECT_EQ(V_VT(&v), VT_BSTR);
    ASSERT_NE(V_BSTR(&v), nullptr);
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(V_BSTR(&v)), SysStringLen(V_BSTR(&v))),
              expected[i]);
    VariantClear(&v);
  }
  EXPECT_EQ(SafeArrayDestroy(psa), S_OK);

  CFstrList empty;
  ASSERT_EQ(empty.BuildVariantSafeArray(&psa), S_OK);
  EXPECT_EQ(SafeArrayGetUBound(psa, 1, &upper), S_OK);
  EXPECT_EQ(upper, -1);
  SafeArrayDestroy(psa);
}

// Every allocation of an append failing in turn: the items before it stay, linked both ways and
// counted, and the failed node and its text are gone.
TEST(ListsOutOfMemory, AppendsLeaveConsistentLists) {
  struct Run {
    const char *name;
    std::function<void(CFstrList &, CGuidList &)> op;
    int allocations;
  } runs[] = {
      {"split", [](CFstrList &l, CGuidList &) { l.FromString(AsU(u"a,bb,,ccc"), u','); }, 8},
      {"guids",
       [](CFstrList &, CGuidList &g) {
         g.FromString(AsU(u"{00000000-0000-0000-C000-000000000046},{00020400-0000-0000-C000-000000000046}"));
       },
       4},
      {"assign",
       [](CFstrList &l, CGuidList &) {
         CFstrList source;
         source.FromString(AsU(u"x,y"), u',');
         l = source;
       },
       8},
  };
  for (const Run &run : runs) {
    SCOPED_TRACE(run.name);
    struct State {
      CFstrList fstrs;
      CGuidList guids;
    };
    const int attempts = qntest::RunUntilSuccess(
        [] {
          auto s = std::make_unique<State>();
          s->fstrs.FromString(AsU(u"kept"), u',');
          return s;
        },
        [&](std::unique_ptr<State> &s) { run.op(s->fstrs, s->guids); },
        [](std::unique_ptr<State> &s) {
          Items(s->fstrs);
          Items(s->guids);
        });
    EXPECT_EQ(attempts, run.allocations);
  }
}

}  // namespace
