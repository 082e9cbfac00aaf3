// Hundreds of worker and message-loop threads started and stopped while their windows and workers
// send to a window of the owning thread: FStop's servicing must answer every send (a miss is a
// deadlock, which the 10 s time-outs turn into a failure), and nothing may be left behind.

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "support/heap_faults.h"
#include "threads/thread_probes.h"

#if !defined(_WIN32)
#  include <dirent.h>
#endif

namespace qntest {
namespace {

// What a leaked thread would keep: the handle count on Windows; natively the OS threads (a subset
// thread object that has ended holds none).
long ProcessResources() {
#if defined(_WIN32)
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return static_cast<long>(count);
#else
  long threads = 0;
  if (DIR *dir = opendir("/proc/self/task")) {
    while (const dirent *entry = readdir(dir)) threads += entry->d_name[0] != '.';
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
    // Fewer than before is fine: threads that earlier tests left to end may have gone meanwhile.
    EXPECT_TRUE(EventuallyTrue([&] { return ProcessResources() <= resourcesBefore_; }))
        << ProcessResources() << " against " << resourcesBefore_ << " before";
    EXPECT_EQ(HeapFaults::ProcessLiveBlocks(), heapBefore_);
    EXPECT_EQ(faults_.LiveBlocks(), 0);
  }

  // A loop whose window sends to the owner when destroyed, and a worker that sends once started
  // (answered by whichever FStop comes first) and once asked to stop.
  std::unique_ptr<ProbeCreator> NewCreator() {
    auto creator = std::make_unique<ProbeCreator>();
    creator->probe.sendOnDestroy = owner_;
    return creator;
  }
  std::unique_ptr<ProbeThread> NewWorker() {
    auto worker = std::make_unique<ProbeThread>();
    worker->main = [this](ProbeThread &self) {
      SendMessageW(owner_, kMsgThreadId, 0, 0);
      WaitForSingleObject(self.HEvStop(), INFINITE);
      SendMessageW(owner_, kMsgCount, 0, 0);
    };
    return worker;
  }

  HeapFaults faults_;
  WindowProbe ownerProbe_;
  HWND owner_ = NULL;
  long resourcesBefore_ = 0, heapBefore_ = 0;
};

// One pair at a time, the loop ending in turn by FStop, by its window going, by its destructor.
TEST_F(ThreadStressConcurrent, StartAndStopOneAfterAnother) {
  const int kRounds = 150;
  for (int i = 0; i < kRounds; ++i) {
    auto worker = NewWorker();
    ASSERT_TRUE(worker->FStart());
    auto creator = NewCreator();
    auto loop = std::make_unique<CMsgLoopThread>();
    ASSERT_TRUE(loop->Start(creator.get()));
    if (i % 3 == 1) {
      ASSERT_TRUE(PostMessageW(creator->created.load(), kMsgDestroySelf, 0, 0));
    }
    if (i % 3 != 2) {
      ASSERT_TRUE(loop->FStop(false, 10000));
    }
    loop.reset();
    ASSERT_TRUE(worker->FStop(false, 10000));
    ASSERT_EQ(creator->destroyCalls.load(), 1);
    ASSERT_EQ(ownerProbe_.counted.load(), 2 * (i + 1)) << "round " << i;
  }
}

// Many at once: every thread runs when the stopping begins, so each FStop also answers the sends
// of threads other than the one it stops.
TEST_F(ThreadStressConcurrent, ManyRunningAtOnceThenStopped) {
  const int kBatches = 5, kThreads = 24;
  for (int batch = 0; batch < kBatches; ++batch) {
    std::vector<std::unique_ptr<ProbeCreator>> creators;
    std::vector<std::unique_ptr<CMsgLoopThread>> loops;
    std::vector<std::unique_ptr<ProbeThread>> workers;
    for (int i = 0; i < kThreads; ++i) {
      creators.push_back(NewCreator());
      loops.push_back(std::make_unique<CMsgLoopThread>());
      ASSERT_TRUE(loops.back()->Start(creators.back().get()));
      workers.push_back(NewWorker());
      ASSERT_TRUE(workers.back()->FStart());
    }
    for (int i = 0; i < kThreads; ++i) {
      ASSERT_TRUE(workers[i]->FStop(false, 10000));
      if (i % 2 == 0) {
        ASSERT_TRUE(loops[i]->FStop(false, 10000));
      }
      loops[i].reset();
    }
    for (const auto &creator : creators) ASSERT_EQ(creator->destroyCalls.load(), 1);
    ASSERT_EQ(ownerProbe_.counted.load(), 2 * kThreads * (batch + 1)) << "batch " << batch;
  }
}

}  // namespace
}  // namespace qntest
