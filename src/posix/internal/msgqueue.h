// The message queues of the subset, and what the queue side and the window side (windows.cpp) ask
// of each other.
//
// A queue is a Waitable of the core (internal/waitable.h) that belongs to one thread. All of its
// state is guarded by the core lock, so that a wait mixing kernel objects and input looks at both
// at the same instant, and so that posting, sending and waking are one short critical section.
// Window procedures are never called with a lock held.
//
// What input means to a wait, as Windows defines it (checked against Wine): a queue keeps two
// sets of QS_ bits. The wake bits say what is in it now; the changed bits say what arrived since
// the owner last looked. PeekMessageW and GetMessageW clear the changed bits of the kinds that they
// service (whether or not they find something), GetQueueStatus those it is asked for, and
// MsgWaitForMultipleObjects clears nothing: it answers "input" while a changed bit of its mask is
// set (or, with MWMO_INPUTAVAILABLE, a wake bit).
//
// The owner thread's own waits (GetMessageW for a message, SendMessageW for its reply) wait for
// news instead: any arrival at all, after which they look again.
//
// Lock order: the window table's lock (windows.cpp), then the queue registry's, then the core
// lock. A queue never takes the window table's lock while it holds the core lock.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "internal/waitable.h"

namespace qn::posix {

class MessageQueue;
using QueuePtr = std::shared_ptr<MessageQueue>;

// A message sent from one thread to a window of another, waiting for its answer.
struct SentMessage {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  QueuePtr sender;     // woken when the answer is in
  LRESULT result = 0;  // under the core lock, as is done
  bool done = false;
};
using SentPtr = std::shared_ptr<SentMessage>;

// Which posted messages a Peek or Get accepts. Windows is null (any of the thread's), the window
// and its descendants, or only thread messages.
struct MessageFilter {
  enum class Windows { Any, ThreadOnly, These } windows = Windows::Any;
  const HWND *hwnds = nullptr;  // Windows::These: the window and its descendants
  size_t count = 0;
  UINT first = 0;  // first == last == 0: every message
  UINT last = 0;

  bool Accepts(const MSG &msg) const noexcept;
};

class MessageQueue final : public Waitable {
 public:
  static constexpr ObjectKind kKind = ObjectKind::MessageQueue;

  explicit MessageQueue(DWORD threadId) noexcept : Waitable(kKind), threadId_(threadId) {}

  DWORD ThreadId() const noexcept { return threadId_; }

  // Any thread. Closed: the queue's thread has ended and the message is dropped.
  enum class Posted { Yes, Closed, NoMemory };
  Posted Post(const MSG &msg) noexcept;
  Posted EnqueueSent(const SentPtr &sent) noexcept;

  // The owner thread.
  void Quit(int exitCode) noexcept;
  // Runs the procedures of every message sent to this thread, in order of arrival.
  void DeliverSentMessages() noexcept;
  enum class Look { Found, Nothing, SentArrived };
  // One look for a posted message (or WM_QUIT) of the kinds in `kinds` (QS_ bits); clears the
  // changed bits of those kinds. With armForNews, a look that finds nothing prepares the next
  // WaitForNews in the same critical section, so that nothing arriving in between is missed.
  Look LookForPosted(const MessageFilter &filter, DWORD kinds, bool remove, bool armForNews, MSG *out) noexcept;
  // Sleeps until something arrives after the last armed look.
  void WaitForNews() noexcept;
  // Found when the answer is in; SentArrived when a message sent to this thread waits; otherwise
  // Nothing, and the next WaitForNews is armed.
  Look ReplyInOrArm(const SentMessage &sent) noexcept;
  // Drops the posted messages of a window that is being destroyed.
  void DropMessagesOf(HWND hwnd) noexcept;
  // GetQueueStatus.
  DWORD Status(DWORD flags) noexcept;
  // Prepares a MsgWaitForMultipleObjects: the queue is then signalled by input of these kinds.
  void ArmForInput(DWORD wakeMask, bool inputAvailable) noexcept;
  // The thread is ending: refuses further messages and answers 0 to every sender still waiting.
  void Close() noexcept;

  bool IsSignalledLocked() const noexcept override;

 private:
  DWORD WakeBitsLocked() const noexcept;
  // Adds a posted or sent message unless the queue is closed.
  template <class Items, class Item>
  Posted Append(Items &items, const Item &item, DWORD kinds) noexcept;
  // An arrival: the changed bits rise, the owner's waits look again.
  void ArrivedLocked(DWORD kinds) noexcept;
  void CompleteLocked(SentMessage &sent, LRESULT result) noexcept;

  const DWORD threadId_;
  // Under the core lock.
  std::deque<MSG> posted_;
  std::deque<SentPtr> sent_;
  // Taken by DeliverSentMessages and not answered yet: Close answers them if the thread ends
  // inside a procedure.
  std::vector<SentPtr> delivering_;
  bool quit_ = false;
  int quitCode_ = 0;
  bool closed_ = false;
  DWORD changed_ = 0;
  unsigned long long arrivals_ = 0;
  // The wait in progress on the owner thread.
  bool waitForInput_ = false;
  DWORD waitMask_ = 0;
  bool waitInputAvailable_ = false;
  unsigned long long waitArrivals_ = 0;
};

// The calling thread's queue, made on first use; null with ERROR_NOT_ENOUGH_MEMORY when it cannot
// be made.
QueuePtr CurrentQueue() noexcept;
// The queue of a thread, or null when the thread has none (or does not exist).
QueuePtr QueueOfThread(DWORD threadId) noexcept;

// Destroys the calling thread's windows without a message (as Windows does for a thread that
// ended) and closes its queue. A thread-local destructor calls it as every thread ends; for the
// threads that _beginthreadex started it runs before their thread object is signalled, since that
// object's thread-local record is made first and so destroyed last. Harmless to repeat.
void EndThreadMessaging() noexcept;

// --- The window side (windows.cpp) ---

// Calls the window's procedure on the calling thread; 0 when hwnd names no window.
LRESULT CallWindowProcedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
// The thread and the queue of a window; false with ERROR_INVALID_WINDOW_HANDLE.
bool WindowOwner(HWND hwnd, DWORD *threadId, QueuePtr *queue) noexcept;
// Posts msg to the queue of msg.hwnd's thread, under the window table's lock so that a window
// being destroyed cannot receive it after its messages were dropped. False with
// ERROR_INVALID_WINDOW_HANDLE or ERROR_NOT_ENOUGH_MEMORY.
bool PostToWindow(const MSG &msg) noexcept;
// Fills `hwnds` with hwnd and its descendants; false with ERROR_INVALID_WINDOW_HANDLE.
bool WindowAndDescendants(HWND hwnd, std::vector<HWND> *hwnds) noexcept;
// Removes the windows of a thread that ended, without messages.
void ForgetThreadWindows(DWORD threadId) noexcept;

}  // namespace qn::posix
