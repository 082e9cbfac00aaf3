// The library's heap and its exceptions: _operator_new/_operator_delete, COOMExcep on an exhausted
// heap, and exception objects that copy without ever throwing.

#include <string>

#include <gtest/gtest.h>

#include "qnutil/frame.h"
#include "support/heap_faults.h"

namespace {

std::u16string Text(const unsigned short *p) { return p ? std::u16string(reinterpret_cast<const char16_t *>(p)) : u"<null>"; }

TEST(OperatorNew, OneHeapBlockPerCallOfExactlyTheSizeAsked) {
  qntest::HeapFaults faults;
  unsigned char *p = static_cast<unsigned char *>(_operator_new(37));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 37; ++i) p[i] = static_cast<unsigned char>(i);  // all of it is ours
  void *empty1 = _operator_new(0);
  void *empty2 = _operator_new(0);
  EXPECT_NE(empty1, nullptr);
  EXPECT_NE(empty2, nullptr);
  EXPECT_NE(empty1, empty2);
  EXPECT_EQ(faults.Requests(), (std::vector<size_t>{37, 0, 0}));
  EXPECT_EQ(faults.LiveBlocks(), 3);
  _operator_delete(empty2);
  _operator_delete(empty1);
  _operator_delete(p);
  _operator_delete(nullptr);  // handed to the heap, which ignores it
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

TEST(OutOfMemory, AFailedAllocationThrowsCOOMExcepWithItsMessage) {
  qntest::HeapFaults faults;
  faults.FailOnly(1);
  bool caught = false;
  try {
    _operator_new(64);
  } catch (CException &e) {  // the base class catches it
    caught = true;
    EXPECT_EQ(e.Result(), E_OUTOFMEMORY);
    EXPECT_EQ(Text(e.Message()), u"Out-of-memory exception");
  }
  EXPECT_TRUE(caught);
  EXPECT_EQ(faults.Allocations(), 2);  // the failed block, then the message
  EXPECT_EQ(faults.LiveBlocks(), 0);   // the message went with the exception
}

TEST(OutOfMemory, AnExhaustedHeapStillDeliversCOOMExcepWithoutMessage) {
  qntest::HeapFaults faults;
  faults.FailAfter(1);
  bool caught = false;
  try {
    _operator_new(64);
  } catch (COOMExcep &e) {
    caught = true;
    EXPECT_EQ(e.Result(), E_OUTOFMEMORY);
    EXPECT_EQ(e.Message(), nullptr);
    // Copying it, as a handler that rethrows by value would, must not throw either.
    COOMExcep copy(e);
    EXPECT_EQ(copy.Result(), E_OUTOFMEMORY);
    EXPECT_EQ(copy.Message(), nullptr);
  }
  EXPECT_TRUE(caught);
  EXPECT_EQ(faults.Allocations(), 2);  // the block and the message; a null message copies as null
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

TEST(Exceptions, CopiesOwnTheirMessage) {
  qntest::HeapFaults faults;
  {
    CException original(qn::AsU(u"disk on fire"), E_FAIL);
    CException copy(original);
    EXPECT_EQ(Text(copy.Message()), u"disk on fire");
    EXPECT_NE(copy.Message(), original.Message());
    EXPECT_EQ(copy.Result(), E_FAIL);

    CException assigned(qn::AsU(u"old"), S_OK);
    assigned = original;
    EXPECT_EQ(Text(assigned.Message()), u"disk on fire");
    EXPECT_NE(assigned.Message(), original.Message());
    EXPECT_EQ(assigned.Result(), E_FAIL);
    const CException &same = assigned;
    assigned = same;
    EXPECT_EQ(Text(assigned.Message()), u"disk on fire");

    CException none;
    assigned = none;  // a null message stays null
    EXPECT_EQ(assigned.Message(), nullptr);
    EXPECT_EQ(assigned.Result(), S_OK);
  }
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

TEST(Exceptions, CopyingOnAnExhaustedHeapKeepsTheCodeAndDropsTheMessage) {
  CException original(qn::AsU(u"message"), E_INVALIDARG);
  qntest::HeapFaults faults;
  faults.FailAfter(1);
  CException copy(original);
  EXPECT_EQ(copy.Message(), nullptr);
  EXPECT_EQ(copy.Result(), E_INVALIDARG);
  CException assigned(qn::AsU(u"made while failing"), S_OK);
  EXPECT_EQ(assigned.Message(), nullptr);
  faults.Disarm();
  CException target(qn::AsU(u"to be replaced"), S_OK);
  faults.FailAfter(1);
  target = original;  // the old message is released, the new one cannot be held
  EXPECT_EQ(target.Message(), nullptr);
  EXPECT_EQ(target.Result(), E_INVALIDARG);
  faults.Disarm();
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

TEST(Exceptions, ThrownByValueAndCaughtByValueLeakNothing) {
  qntest::HeapFaults faults;
  try {
    CException local(qn::AsU(u"thrown"), E_NOTIMPL);
    throw local;
  } catch (CException e) {
    EXPECT_EQ(Text(e.Message()), u"thrown");
    EXPECT_EQ(e.Result(), E_NOTIMPL);
  }
  EXPECT_EQ(faults.LiveBlocks(), 0);
}

}  // namespace
