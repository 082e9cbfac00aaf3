// Hundreds of worker and message-loop threads started and stopped, whose windows and workers send
// to a window of the owning thread while they stop: FStop's servicing must answer every one of
// them (a miss is a deadlock, which the 10 s time-outs turn into a failure), and nothing may be
// left behind (threads, handles, heap blocks).

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "support/heap_faults.h"
#include "threads/thread_probes.h"

#if defined(_WIN32)
#else
#  include <dirent.h>
#endif

namespace qntest {
namespace {

// What the process holds that a leaked thread would keep: its OS threads natively (a subset
// handle lives as long as its object, and an ended thread object holds no OS thread), its handle
// count on Windows.
long ProcessResources() {
#if defined(_WIN32)
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return static_cast<long>(count);
#else
  long threads = 0;
  if (DIR *dir = opendir("/proc/self/task")) {
    while (const dirent *entry = readdir(dir))
      if (entry->d_name[0] != '.') ++threads;
    closedir(dir);
  }
  return threads;
#endif
}

class ThreadStressConcurrent : public ::testing::Test {
 protected:
  void SetUp() override {
    owner_ = CreateProbeWindow(&ownerProbe_);
    ASSERT_NE(owner_, nullptr);
    resourcesBefore_ = ProcessResources();
    heapBefore_ = HeapFaults::ProcessLiveBlocks();
  }
  void TearDown() override {
    DestroyWindow(owner_);
    // Thread ends are reported before the last of their clean-up: give it a moment. Fewer than
    // before is fine: threads that earlier tests left to end on their own may have gone meanwhile.
    EXPECT_TRUE(EventuallyTrue([&] { return ProcessResources() <= resourcesBefore_; }))
        << ProcessResources() << " against " << resourcesBefore_ << " before";
    EXPECT_EQ(HeapFaults::ProcessLiveBlocks(), heapBefore_);
    EXPECT_EQ(faults_.LiveBlocks(), 0);
  }

  // A creator whose window sends to the owner's window when it is destroyed.
  std::unique_ptr<ProbeCreator> NewCreator() {
    auto creator = std::make_unique<ProbeCreator>();
    creator->probe.sendOnDestroy = owner_;
    return creator;
  }

  HeapFaults faults_;
  WindowProbe ownerProbe_;
  HWND owner_ = NULL;
  long resourcesBefore_ = 0;
  long heapBefore_ = 0;
};

// One at a time, alternating the ways a loop can end: FStop, the destructor, its window going.
TEST_F(ThreadStressConcurrent, StartAndStopOneAfterAnother) {
  const int kRounds = 150;
  int expected = 0;
  for (int i = 0; i < kRounds; ++i) {
    ProbeThread worker;
    worker.main = [&](ProbeThread &self) {
      WaitForSingleObject(self.HEvStop(), INFINITE);
      SendMessageW(owner_, kMsgCount, 0, 0);
    };
    ASSERT_TRUE(worker.FStart());

    auto creator = NewCreator();
    {
      CMsgLoopThread loop;
      ASSERT_TRUE(loop.Start(creator.get()));
      switch (i % 3) {
        case 0:
          ASSERT_TRUE(loop.FStop(false, 10000));
          break;
        case 1:
          ASSERT_TRUE(PostMessageW(creator->created.load(), kMsgDestroySelf, 0, 0));
          ASSERT_TRUE(loop.FStop(false, 10000));
          break;
        case 2:
          break;  // the destructor stops it
      }
    }
    ASSERT_TRUE(worker.FStop(false, 10000));
    ASSERT_EQ(creator->destroyCalls.load(), 1);
    expected += 2;
    ASSERT_EQ(ownerProbe_.counted.load(), expected) << "round " << i;
  }
}

// Many at once: every loop and worker is running when the stopping begins, so the owner services
// sends from threads other than the one it is stopping.
TEST_F(ThreadStressConcurrent, ManyRunningAtOnceThenStopped) {
  const int kBatches = 5;
  const int kThreads = 24;
  int expected = 0;
  for (int batch = 0; batch < kBatches; ++batch) {
    std::vector<std::unique_ptr<ProbeCreator>> creators;
    std::vector<std::unique_ptr<CMsgLoopThread>> loops;
    std::vector<std::unique_ptr<ProbeThread>> workers;
    for (int i = 0; i < kThreads; ++i) {
      creators.push_back(NewCreator());
      loops.push_back(std::make_unique<CMsgLoopThread>());
      ASSERT_TRUE(loops.back()->Start(creators.back().get()));
      workers.push_back(std::make_unique<ProbeThread>());
      workers.back()->main = [&](ProbeThread &self) {
        SendMessageW(owner_, kMsgThreadId, 0, 0);  // answered by whichever FStop comes first
        WaitForSingleObject(self.HEvStop(), INFINITE);
        SendMessageW(owner_, kMsgCount, 0, 0);
      };
      ASSERT_TRUE(workers.back()->FStart());
    }
    for (int i = 0; i < kThreads; ++i) {
      ASSERT_TRUE(workers[i]->FStop(false, 10000));
      if (i % 2 == 0) {
        ASSERT_TRUE(loops[i]->FStop(false, 10000));
      } else {
        loops[i].reset();
      }
    }
    loops.clear();
    for (const auto &creator : creators) ASSERT_EQ(creator->destroyCalls.load(), 1);
    expected += 2 * kThreads;
    ASSERT_EQ(ownerProbe_.counted.load(), expected) << "batch " << batch;
  }
}

}  // namespace
}  // namespace qntest
