// Threads and message queues: the cost of a CThread start and stop beside std::thread create and
// join, a cross-thread SendMessageW round trip to a CMsgLoopThread's window beside a round trip on
// a mutex and condition variable, and a PostMessageW to GetMessageW hand-off beside a queue under a
// mutex and condition variable. The message benchmarks report messages per second.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "qnutil/msgloop.h"
#include "qnutil/thread.h"

namespace {

constexpr UINT kMsgPing = WM_APP + 1;
constexpr UINT kMsgBatchEnd = WM_APP + 2;
constexpr int kBatch = 256;  // messages per hand-off, the last of them marking the batch's end

// --- starting and stopping ----------------------------------------------------------------------

class EmptyThread : public CThread {};

void BM_CThreadStartStop(benchmark::State &state) {
  EmptyThread thread;
  for (auto _ : state) {
    if (!thread.FStart() || !thread.FStop(false, INFINITE)) state.SkipWithError("start or stop failed");
  }
}
BENCHMARK(BM_CThreadStartStop)->UseRealTime();

void BM_StdThreadCreateJoin(benchmark::State &state) {
  for (auto _ : state) {
    std::thread thread([] {});
    thread.join();
  }
}
BENCHMARK(BM_StdThreadCreateJoin)->UseRealTime();

// --- a sent message and its answer ---------------------------------------------------------------

LRESULT CALLBACK AnswerProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
  if (msg == kMsgPing) return static_cast<LRESULT>(wParam + 1);
  return DefWindowProcW(hwnd, msg, wParam, lParam);
}

class AnsweringWindow : public ICreateWindow {
 public:
  HWND HCreateWindow() override {
    static const ATOM atom = [] {
      WNDCLASSW wc = {};
      wc.lpfnWndProc = AnswerProc;
      wc.lpszClassName = qn::AsW(u"qnutil_bench_answer");
      return RegisterClassW(&wc);
    }();
    if (atom == 0) return NULL;
    return CreateWindowExW(0, qn::AsW(u"qnutil_bench_answer"), NULL, 0, 0, 0, 0, 0, HWND_MESSAGE, NULL, NULL, NULL);
  }
  void DestroyHWND(HWND hwnd) override {
    if (hwnd != NULL) DestroyWindow(hwnd);
  }
  void OnHWNDDestroyed(HWND) override {}
};

void BM_SendMessageRoundTrip(benchmark::State &state) {
  AnsweringWindow creator;
  CMsgLoopThread loop;
  if (!loop.Start(&creator)) {
    state.SkipWithError("the loop thread has no window");
    return;
  }
  CLockHWND hwnd(&loop);
  WPARAM n = 0;
  for (auto _ : state) {
    if (SendMessageW(hwnd, kMsgPing, n, 0) != static_cast<LRESULT>(n + 1)) state.SkipWithError("wrong answer");
    ++n;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SendMessageRoundTrip)->UseRealTime();

// A request and its answer through one mutex and two conditions, the least a round trip between
// two threads costs with the standard library.
void BM_CondVarRoundTrip(benchmark::State &state) {
  std::mutex lock;
  std::condition_variable requested, answered;
  long request = 0, answer = 0;
  bool done = false;
  std::thread server([&] {
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
      requested.wait(guard, [&] { return done || request != answer; });
      if (done) return;
      answer = request;
      answered.notify_one();
    }
  });
  for (auto _ : state) {
    std::unique_lock<std::mutex> guard(lock);
    ++request;
    requested.notify_one();
    answered.wait(guard, [&] { return answer == request; });
  }
  {
    std::lock_guard<std::mutex> guard(lock);
    done = true;
  }
  requested.notify_one();
  server.join();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CondVarRoundTrip)->UseRealTime();

// --- posted messages taken by GetMessageW ------------------------------------------------------

// A worker that takes its thread's messages with GetMessageW and sets an event at each batch's
// end. It stops on WM_QUIT (posted by Stop) as well as on the stop event's request.
class GetMessageThread : public CThread {
 public:
  GetMessageThread() : m_hevBatch(CreateEventW(NULL, FALSE, FALSE, NULL)), m_hevReady(CreateEventW(NULL, TRUE, FALSE, NULL)) {}
  ~GetMessageThread() override { Stop(); }

  bool Begin() { return FStart() && WaitForSingleObject(m_hevReady, 10000) == WAIT_OBJECT_0; }
  void Stop() {
    if (HThread() != NULL) PostThreadMessageW(ThreadID(), WM_QUIT, 0, 0);
    FStop(true, 10000);
  }
  HANDLE HEvBatch() const { return m_hevBatch; }

 private:
  void ThreadMain() override {
    MSG msg;
    PeekMessageW(&msg, NULL, 0, 0, PM_NOREMOVE);  // the queue exists before the first post
    SetEvent(m_hevReady);
    while (GetMessageW(&msg, NULL, 0, 0) > 0) {
      if (msg.message == kMsgBatchEnd) SetEvent(m_hevBatch);
    }
  }

  CHandle m_hevBatch;
  CHandle m_hevReady;
};

void BM_PostMessageToGetMessage(benchmark::State &state) {
  GetMessageThread receiver;
  if (!receiver.Begin()) {
    state.SkipWithError("no receiver");
    return;
  }
  const DWORD id = receiver.ThreadID();
  for (auto _ : state) {
    for (int i = 1; i < kBatch; ++i) PostThreadMessageW(id, kMsgPing, i, 0);
    PostThreadMessageW(id, kMsgBatchEnd, 0, 0);
    WaitForSingleObject(receiver.HEvBatch(), INFINITE);
  }
  receiver.Stop();
  state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_PostMessageToGetMessage)->UseRealTime();

// The same hand-off through a standard queue under a mutex, the receiver woken by a condition.
void BM_StdQueueHandOff(benchmark::State &state) {
  struct Message {
    UINT message;
    WPARAM wParam;
  };
  std::mutex lock;
  std::condition_variable posted, batchDone;
  std::deque<Message> queue;
  long batches = 0;
  std::thread receiver([&] {
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
      posted.wait(guard, [&] { return !queue.empty(); });
      const Message m = queue.front();
      queue.pop_front();
      if (m.message == WM_QUIT) return;
      if (m.message == kMsgBatchEnd) {
        ++batches;
        batchDone.notify_one();
      }
    }
  });
  long expected = 0;
  for (auto _ : state) {
    for (int i = 1; i < kBatch; ++i) {
      std::lock_guard<std::mutex> guard(lock);
      queue.push_back({kMsgPing, static_cast<WPARAM>(i)});
      posted.notify_one();
    }
    std::unique_lock<std::mutex> guard(lock);
    queue.push_back({kMsgBatchEnd, 0});
    posted.notify_one();
    ++expected;
    batchDone.wait(guard, [&] { return batches == expected; });
  }
  {
    std::lock_guard<std::mutex> guard(lock);
    queue.push_back({WM_QUIT, 0});
  }
  posted.notify_one();
  receiver.join();
  state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_StdQueueHandOff)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
