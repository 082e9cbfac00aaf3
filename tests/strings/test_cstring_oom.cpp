// CString when the heap fails: assignments leave the string empty, every other change leaves it as
// it was (text, block and count), the other holder of a shared block never notices, and nothing leaks.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/cstring.h"
#include "support/heap_faults.h"
#include "strings/cstring_probe.h"

namespace {

using qn::AsU;
using qntest::OnSharedEmpty;
using qntest::Ptr;
using qntest::Refs;
using qntest::Text;
using qntest::Unit;

// A string whose block is shared with a second holder, or owned, or locked with spare room.
struct Holders {
  CString s, other;
};

enum class Start { Shared, Owned, Locked };

// On the heap of the test program, so that handing the state around never copies a string.
std::unique_ptr<Holders> Make(Start start) {
  auto h = std::make_unique<Holders>(Holders{CString(AsU(u"original")), CString()});
  if (start == Start::Shared) h->other = h->s;
  if (start == Start::Locked) {
    h->s.GetBuffer(20);
    h->s.ReleaseBuffer();
    h->s.LockBuffer();
  }
  return h;
}

using Op = std::function<void(CString &)>;

struct Case {
  const char *name;
  Start start;
  Op op;
  int allocations;
};

void RunCases(const std::vector<Case> &cases, bool leavesEmpty) {
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const unsigned short *block = nullptr;
    LONG refs = 0;
    auto make = [&] {
      auto h = Make(c.start);
      block = h->s;
      refs = Refs(h->s);
      return h;
    };
    auto op = [&](std::unique_ptr<Holders> &h) { c.op(h->s); };
    auto check = [&](std::unique_ptr<Holders> &h) {
      if (leavesEmpty) {
        EXPECT_TRUE(OnSharedEmpty(h->s));
      } else {
        EXPECT_EQ(Text(h->s), u"original");
        EXPECT_EQ(Ptr(h->s), block);
        EXPECT_EQ(Refs(h->s), refs);
      }
      if (c.start == Start::Shared) {
        EXPECT_EQ(Text(h->other), u"original");
      }
    };
    EXPECT_EQ(qntest::RunUntilSuccess(make, op, check), c.allocations);
  }
}

TEST(CStringOom, AssignmentsLeaveTheStringEmpty) {
  CString locked(AsU(u"locked source"));
  locked.LockBuffer();
  RunCases({{"text into a shared block", Start::Shared, [](CString &s) { s = AsU(u"new"); }, 1},
            {"longer text", Start::Owned, [](CString &s) { s = AsU(u"a longer text than before"); }, 1},
            {"8-bit text", Start::Shared, [](CString &s) { s = "new"; }, 1},
            {"a character", Start::Shared, [](CString &s) { s = static_cast<unsigned short>('c'); }, 1},
            {"from a locked string", Start::Shared, [&](CString &s) { s = locked; }, 1}},
           true);
}

TEST(CStringOom, OtherChangesLeaveTheStringAsItWas) {
  RunCases({{"append, shared", Start::Shared, [](CString &s) { s += AsU(u"x"); }, 1},
            {"append, owned", Start::Owned, [](CString &s) { s += s; }, 1},
            {"append, locked", Start::Locked, [](CString &s) { s += CString(Unit(u'x'), 30); }, 2},
            {"GetBuffer", Start::Owned, [](CString &s) { s.GetBuffer(50); }, 1},
            {"GetBufferSetLength", Start::Shared, [](CString &s) { s.GetBufferSetLength(3); }, 1},
            {"FreeExtra", Start::Locked, [](CString &s) { s.FreeExtra(); }, 1},
            {"LockBuffer", Start::Shared, [](CString &s) { s.LockBuffer(); }, 1},
            {"ReleaseBuffer", Start::Shared, [](CString &s) { s.ReleaseBuffer(3); }, 1},
            {"MakeUpper", Start::Shared, [](CString &s) { s.MakeUpper(); }, 1},
            {"MakeReverse", Start::Shared, [](CString &s) { s.MakeReverse(); }, 1},
            {"TrimLeft", Start::Shared, [](CString &s) { s.TrimLeft(); }, 1},
            {"TrimRight", Start::Shared, [](CString &s) { s.TrimRight(); }, 1},
            {"SetAt", Start::Shared, [](CString &s) { s.SetAt(0, Unit(u'O')); }, 1},
            {"slices", Start::Owned, [](CString &s) { CString piece = s.Mid(1, 3) + s.Left(2) + s.Right(1); }, 5},
            {"copy of a locked string", Start::Locked, [](CString &s) { CString copy(s); }, 1},
            {"construction", Start::Owned, [](CString &) { CString made(u'x', 5), more("more"); }, 2}},
           false);
}

}  // namespace
