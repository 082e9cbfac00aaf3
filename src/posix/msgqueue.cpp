// Per-thread message queues: posting, sending across threads, Peek and Get, the quit flag, and
// the waits on input (MsgWaitForMultipleObjects) on the waitable-object core.
#include <algorithm>
#include <new>
#include <unordered_map>

#include "internal/msgqueue.h"

namespace qn::posix {
namespace {

// Every kind of input that a Peek or Get without PM_QS_ bits services.
constexpr DWORD kAllKinds = QS_ALLINPUT | QS_ALLPOSTMESSAGE;
constexpr DWORD kPostedKinds = QS_POSTMESSAGE | QS_ALLPOSTMESSAGE;

// Thread id to queue, for PostThreadMessageW. Never destroyed, so that threads ending during
// static destruction still find it.
struct Registry {
  std::mutex mutex;
  std::unordered_map<DWORD, QueuePtr> queues;
};
Registry &Queues() noexcept {
  static Registry *registry = new Registry;
  return *registry;
}

// The calling thread's queue; its destructor ends the thread's messaging.
struct ThreadMessaging {
  QueuePtr queue;
  ~ThreadMessaging() { EndThreadMessaging(); }
};
thread_local ThreadMessaging t_messaging;

// Messages whose parameters point into the sender's memory: Windows refuses to post them.
bool CarriesPointers(UINT message) noexcept {
  switch (message) {
    case WM_CREATE:
    case WM_NCCREATE:
    case WM_SETTEXT:
    case WM_GETTEXT:
    case WM_GETMINMAXINFO:
    case WM_NCCALCSIZE:
    case WM_WINDOWPOSCHANGING:
    case WM_WINDOWPOSCHANGED:
      return true;
    default:
      return false;
  }
}

MSG MakeMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
  MSG msg{};
  msg.hwnd = hwnd;
  msg.message = message;
  msg.wParam = wParam;
  msg.lParam = lParam;
  msg.time = GetTickCount();
  return msg;
}

// The window filter of a Peek or Get. `hwnds` holds the window and its descendants, looked up
// once before the queue is searched (the window table is never locked under the core lock).
bool MakeFilter(HWND hwnd, UINT first, UINT last, std::vector<HWND> *hwnds, MessageFilter *filter) noexcept {
  filter->first = first;
  filter->last = last;
  if (hwnd == nullptr) return true;
  if (hwnd == reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1))) {
    filter->windows = MessageFilter::Windows::ThreadOnly;
    return true;
  }
  if (!WindowAndDescendants(hwnd, hwnds)) return false;
  filter->windows = MessageFilter::Windows::These;
  filter->hwnds = hwnds->data();
  filter->count = hwnds->size();
  return true;
}

}  // namespace

bool MessageFilter::Accepts(const MSG &msg) const noexcept {
  if (!(first == 0 && last == 0) && (msg.message < first || msg.message > last)) return false;
  switch (windows) {
    case Windows::Any:
      return true;
    case Windows::ThreadOnly:
      return msg.hwnd == nullptr;
    case Windows::These:
      return std::find(hwnds, hwnds + count, msg.hwnd) != hwnds + count;
  }
  return false;
}

DWORD MessageQueue::WakeBitsLocked() const noexcept {
  DWORD bits = 0;
  if (!posted_.empty() || quit_) bits |= kPostedKinds;
  if (!sent_.empty()) bits |= QS_SENDMESSAGE;
  return bits;
}

void MessageQueue::ArrivedLocked(DWORD kinds) noexcept {
  changed_ |= kinds;
  ++arrivals_;
  WakeWaitersLocked();
}

bool MessageQueue::IsSignalledLocked() const noexcept {
  if (!waitForInput_) return arrivals_ != waitArrivals_;
  if ((changed_ & waitMask_) != 0) return true;
  return waitInputAvailable_ && (WakeBitsLocked() & waitMask_) != 0;
}

template <class Items, class Item>
MessageQueue::Posted MessageQueue::Append(Items &items, const Item &item, DWORD kinds) noexcept {
  auto lock = LockCore();
  if (closed_) return Posted::Closed;
  try {
    items.push_back(item);
  } catch (const std::bad_alloc &) {
    return Posted::NoMemory;
  }
  ArrivedLocked(kinds);
  return Posted::Yes;
}

MessageQueue::Posted MessageQueue::Post(const MSG &msg) noexcept { return Append(posted_, msg, kPostedKinds); }

MessageQueue::Posted MessageQueue::EnqueueSent(const SentPtr &sent) noexcept {
  return Append(sent_, sent, QS_SENDMESSAGE);
}

void MessageQueue::Quit(int exitCode) noexcept {
  auto lock = LockCore();
  quit_ = true;
  quitCode_ = exitCode;
  ArrivedLocked(kPostedKinds);
}

void MessageQueue::CompleteLocked(SentMessage &sent, LRESULT result) noexcept {
  if (sent.done) return;
  sent.result = result;
  sent.done = true;
  if (sent.sender) sent.sender->ArrivedLocked(0);
}

void MessageQueue::DeliverSentMessages() noexcept {
  for (;;) {
    SentPtr sent;
    {
      auto lock = LockCore();
      if (sent_.empty()) return;
      try {
        delivering_.push_back(sent_.front());
      } catch (const std::bad_alloc &) {
        return;  // delivered by a later look, once memory is back
      }
      sent = std::move(sent_.front());
      sent_.pop_front();
    }
    const LRESULT result = CallWindowProcedure(sent->hwnd, sent->message, sent->wParam, sent->lParam);
    auto lock = LockCore();
    CompleteLocked(*sent, result);
    delivering_.erase(std::find(delivering_.begin(), delivering_.end(), sent));
  }
}

MessageQueue::Look MessageQueue::LookForPosted(const MessageFilter &filter, DWORD kinds, bool remove,
                                               bool armForNews, MSG *out) noexcept {
  auto lock = LockCore();
  if ((kinds & QS_SENDMESSAGE) && !sent_.empty()) return Look::SentArrived;
  changed_ &= ~(kinds & QS_POSTMESSAGE ? kinds | QS_ALLPOSTMESSAGE : kinds);
  if (kinds & QS_POSTMESSAGE) {
    for (auto it = posted_.begin(); it != posted_.end(); ++it) {
      if (!filter.Accepts(*it)) continue;
      *out = *it;
      if (remove) posted_.erase(it);
      return Look::Found;
    }
    // The quit flag is seen once nothing posted matches, whatever the filter, as on Windows.
    if (quit_) {
      *out = MakeMessage(nullptr, WM_QUIT, static_cast<WPARAM>(quitCode_), 0);
      if (remove) quit_ = false;
      return Look::Found;
    }
  }
  if (armForNews) {
    waitForInput_ = false;
    waitArrivals_ = arrivals_;
  }
  return Look::Nothing;
}

MessageQueue::Look MessageQueue::ReplyInOrArm(const SentMessage &sent) noexcept {
  auto lock = LockCore();
  if (sent.done) return Look::Found;
  if (!sent_.empty()) return Look::SentArrived;
  waitForInput_ = false;
  waitArrivals_ = arrivals_;
  return Look::Nothing;
}

void MessageQueue::WaitForNews() noexcept {
  Waitable *self = this;
  WaitForWaitables(&self, 1, false, INFINITE);
}

void MessageQueue::DropMessagesOf(HWND hwnd) noexcept {
  auto lock = LockCore();
  posted_.erase(std::remove_if(posted_.begin(), posted_.end(), [hwnd](const MSG &m) { return m.hwnd == hwnd; }),
                posted_.end());
}

DWORD MessageQueue::Status(DWORD flags) noexcept {
  auto lock = LockCore();
  const DWORD status = ((WakeBitsLocked() & flags) << 16) | (changed_ & flags & 0xFFFF);
  changed_ &= ~flags;
  return status;
}

void MessageQueue::ArmForInput(DWORD wakeMask, bool inputAvailable) noexcept {
  auto lock = LockCore();
  waitForInput_ = true;
  waitMask_ = wakeMask;
  waitInputAvailable_ = inputAvailable;
}

void MessageQueue::Close() noexcept {
  auto lock = LockCore();
  closed_ = true;
  for (const SentPtr &sent : sent_) CompleteLocked(*sent, 0);
  for (const SentPtr &sent : delivering_) CompleteLocked(*sent, 0);
  sent_.clear();
  delivering_.clear();
  posted_.clear();
  quit_ = false;
}

QueuePtr CurrentQueue() noexcept {
  ThreadMessaging &messaging = t_messaging;
  if (messaging.queue) return messaging.queue;
  try {
    auto queue = std::make_shared<MessageQueue>(GetCurrentThreadId());
    Registry &registry = Queues();
    std::lock_guard<std::mutex> lock(registry.mutex);
    registry.queues[queue->ThreadId()] = queue;
    messaging.queue = queue;
    return queue;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

QueuePtr QueueOfThread(DWORD threadId) noexcept {
  Registry &registry = Queues();
  std::lock_guard<std::mutex> lock(registry.mutex);
  auto it = registry.queues.find(threadId);
  return it == registry.queues.end() ? nullptr : it->second;
}

void EndThreadMessaging() noexcept {
  ThreadMessaging &messaging = t_messaging;
  if (!messaging.queue) return;
  ForgetThreadWindows(messaging.queue->ThreadId());
  messaging.queue->Close();
  {
    Registry &registry = Queues();
    std::lock_guard<std::mutex> lock(registry.mutex);
    auto it = registry.queues.find(messaging.queue->ThreadId());
    if (it != registry.queues.end() && it->second == messaging.queue) registry.queues.erase(it);
  }
  messaging.queue.reset();
}

}  // namespace qn::posix

using qn::posix::CurrentQueue;
using qn::posix::MessageFilter;
using qn::posix::MessageQueue;
using qn::posix::QueuePtr;

extern "C" {

BOOL WINAPI PostMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
  if (qn::posix::CarriesPointers(Msg)) {
    SetLastError(ERROR_MESSAGE_SYNC_ONLY);
    return FALSE;
  }
  const MSG msg = qn::posix::MakeMessage(hWnd, Msg, wParam, lParam);
  if (hWnd != nullptr) return qn::posix::PostToWindow(msg) ? TRUE : FALSE;
  QueuePtr queue = CurrentQueue();
  if (!queue) return FALSE;
  if (queue->Post(msg) != MessageQueue::Posted::Yes) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  return TRUE;
}

BOOL WINAPI PostThreadMessageW(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam) {
  if (qn::posix::CarriesPointers(Msg)) {
    SetLastError(ERROR_MESSAGE_SYNC_ONLY);
    return FALSE;
  }
  QueuePtr queue = qn::posix::QueueOfThread(idThread);
  const MessageQueue::Posted posted =
      queue ? queue->Post(qn::posix::MakeMessage(nullptr, Msg, wParam, lParam)) : MessageQueue::Posted::Closed;
  if (posted == MessageQueue::Posted::Yes) return TRUE;
  SetLastError(posted == MessageQueue::Posted::NoMemory ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_THREAD_ID);
  return FALSE;
}

LRESULT WINAPI SendMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
  DWORD owner = 0;
  QueuePtr target;
  if (!qn::posix::WindowOwner(hWnd, &owner, &target)) return 0;
  if (owner == GetCurrentThreadId()) return qn::posix::CallWindowProcedure(hWnd, Msg, wParam, lParam);

  QueuePtr self = CurrentQueue();
  if (!self) return 0;
  qn::posix::SentPtr sent;
  try {
    sent = std::make_shared<qn::posix::SentMessage>(qn::posix::SentMessage{hWnd, Msg, wParam, lParam, self});
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  if (target->EnqueueSent(sent) != MessageQueue::Posted::Yes) return 0;
  // While the receiver works, answer what others send to this thread, or two threads sending to
  // each other would wait for ever.
  for (;;) {
    self->DeliverSentMessages();
    const MessageQueue::Look look = self->ReplyInOrArm(*sent);
    if (look == MessageQueue::Look::Found) return sent->result;
    if (look == MessageQueue::Look::Nothing) self->WaitForNews();
  }
}

void WINAPI PostQuitMessage(int nExitCode) {
  if (QueuePtr queue = CurrentQueue()) queue->Quit(nExitCode);
}

BOOL WINAPI PeekMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax, UINT wRemoveMsg) {
  QueuePtr queue = CurrentQueue();
  if (!queue) return FALSE;
  std::vector<HWND> hwnds;
  MessageFilter filter;
  if (!qn::posix::MakeFilter(hWnd, wMsgFilterMin, wMsgFilterMax, &hwnds, &filter)) return FALSE;
  const DWORD kinds = (wRemoveMsg >> 16) != 0 ? (wRemoveMsg >> 16) : qn::posix::kAllKinds;
  for (;;) {
    if (kinds & QS_SENDMESSAGE) queue->DeliverSentMessages();
    const MessageQueue::Look look = queue->LookForPosted(filter, kinds, (wRemoveMsg & PM_REMOVE) != 0, false, lpMsg);
    if (look != MessageQueue::Look::SentArrived) return look == MessageQueue::Look::Found ? TRUE : FALSE;
  }
}

BOOL WINAPI GetMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax) {
  QueuePtr queue = CurrentQueue();
  if (!queue) return -1;
  std::vector<HWND> hwnds;
  MessageFilter filter;
  if (!qn::posix::MakeFilter(hWnd, wMsgFilterMin, wMsgFilterMax, &hwnds, &filter)) return -1;
  for (;;) {
    queue->DeliverSentMessages();
    const MessageQueue::Look look = queue->LookForPosted(filter, qn::posix::kAllKinds, true, true, lpMsg);
    if (look == MessageQueue::Look::Found) return lpMsg->message == WM_QUIT ? FALSE : TRUE;
    if (look == MessageQueue::Look::Nothing) queue->WaitForNews();
  }
}

DWORD WINAPI GetQueueStatus(UINT flags) {
  QueuePtr queue = CurrentQueue();
  return queue ? queue->Status(flags) : 0;
}

DWORD WINAPI MsgWaitForMultipleObjectsEx(DWORD nCount, const HANDLE *pHandles, DWORD dwMilliseconds,
                                         DWORD dwWakeMask, DWORD dwFlags) {
  // One slot of a wait is the queue's.
  if (nCount > MAXIMUM_WAIT_OBJECTS - 1) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (nCount > 0 && !pHandles) {
    SetLastError(ERROR_NOACCESS);
    return WAIT_FAILED;
  }
  qn::posix::WaitHolds holds;
  qn::posix::Waitable *objects[MAXIMUM_WAIT_OBJECTS];
  if (!qn::posix::LookupWaitables(nCount, pHandles, holds, objects)) return WAIT_FAILED;
  {
    // Kept by the holds, not by this frame, which a terminated thread leaves without unwinding.
    QueuePtr queue = CurrentQueue();
    if (!queue) return WAIT_FAILED;
    queue->ArmForInput(dwWakeMask, (dwFlags & MWMO_INPUTAVAILABLE) != 0);
    objects[nCount] = queue.get();
    if (!holds.Keep(std::move(queue))) return WAIT_FAILED;
  }
  return qn::posix::WaitForWaitables(objects, nCount + 1, (dwFlags & MWMO_WAITALL) != 0, dwMilliseconds);
}

DWORD WINAPI MsgWaitForMultipleObjects(DWORD nCount, const HANDLE *pHandles, BOOL fWaitAll, DWORD dwMilliseconds,
                                       DWORD dwWakeMask) {
  return MsgWaitForMultipleObjectsEx(nCount, pHandles, dwMilliseconds, dwWakeMask, fWaitAll ? MWMO_WAITALL : 0);
}

}  // extern "C"
