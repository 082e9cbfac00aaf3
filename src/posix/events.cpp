// Events: manual- and auto-reset, unnamed, on the waitable-object core.
#include <new>

#include "internal/waitable.h"

namespace qn::posix {
namespace {

class Event final : public Waitable {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Event;

  Event(bool manualReset, bool signalled) noexcept
      : Waitable(kKind), manualReset_(manualReset), signalled_(signalled) {}

  bool IsSignalledLocked() const noexcept override { return signalled_; }
  // An auto-reset event is consumed by the one wait that it satisfies.
  void OnWaitSatisfiedLocked() noexcept override {
    if (!manualReset_) signalled_ = false;
  }

  void Set() noexcept {
    auto lock = LockCore();
    signalled_ = true;
    WakeWaitersLocked();
  }

  void Reset() noexcept {
    auto lock = LockCore();
    signalled_ = false;
  }

 private:
  const bool manualReset_;
  bool signalled_;  // under the core lock
};

}  // namespace
}  // namespace qn::posix

using qn::posix::Event;

extern "C" {

HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCWSTR lpName) {
  // Named events are shared between processes by name; the subset has no such namespace. An
  // empty name is no name, as on Windows.
  if (lpName && lpName[0] != 0) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  std::shared_ptr<Event> event;
  try {
    event = std::make_shared<Event>(bManualReset != FALSE, bInitialState != FALSE);
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  HANDLE handle = qn::posix::RegisterHandle(std::move(event));
  // Windows clears the last error when it creates an event (it would say ERROR_ALREADY_EXISTS
  // for a named one that existed).
  if (handle) SetLastError(ERROR_SUCCESS);
  return handle;
}

BOOL WINAPI SetEvent(HANDLE hEvent) {
  std::shared_ptr<Event> event = qn::posix::LookupHandleAs<Event>(hEvent);
  if (!event) return FALSE;
  event->Set();
  return TRUE;
}

BOOL WINAPI ResetEvent(HANDLE hEvent) {
  std::shared_ptr<Event> event = qn::posix::LookupHandleAs<Event>(hEvent);
  if (!event) return FALSE;
  event->Reset();
  return TRUE;
}

}  // extern "C"
