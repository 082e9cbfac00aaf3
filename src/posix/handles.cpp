// The process's handle table and CloseHandle.
#include <deque>
#include <mutex>
#include <new>
#include <vector>

#include "internal/handles.h"
#include "internal/threads.h"
#include "internal/waitable.h"

namespace qn::posix {
namespace {

// Handle values are (slot + 1) * 4: never 0, never INVALID_HANDLE_VALUE, small multiples of 4.
constexpr uintptr_t kHandleStep = 4;
// A closed slot is issued again only once this many others are waiting to be: a value that a
// careless caller still holds does not name a new object right away.
constexpr size_t kReuseDelay = 32;

class HandleTable {
 public:
  HANDLE Add(ObjectPtr object) noexcept {
    std::lock_guard<std::mutex> guard(lock_);
    try {
      size_t slot;
      if (free_.size() > kReuseDelay) {
        slot = free_.front();
        free_.pop_front();
        slots_[slot] = std::move(object);
      } else {
        slot = slots_.size();
        slots_.push_back(std::move(object));
      }
      return reinterpret_cast<HANDLE>((slot + 1) * kHandleStep);
    } catch (const std::bad_alloc &) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return nullptr;
    }
  }

  ObjectPtr Find(HANDLE handle) noexcept {
    size_t slot;
    if (!SlotOf(handle, &slot)) return nullptr;
    std::lock_guard<std::mutex> guard(lock_);
    return slot < slots_.size() ? slots_[slot] : nullptr;
  }

  // The object leaves the table; the caller drops it outside the lock, since its destructor may
  // come back to the table.
  ObjectPtr Remove(HANDLE handle) noexcept {
    size_t slot;
    if (!SlotOf(handle, &slot)) return nullptr;
    std::lock_guard<std::mutex> guard(lock_);
    if (slot >= slots_.size() || !slots_[slot]) return nullptr;
    ObjectPtr object = std::move(slots_[slot]);
    try {
      free_.push_back(slot);
    } catch (const std::bad_alloc &) {
      // The slot is only lost for reuse; the handle is closed all the same.
    }
    return object;
  }

 private:
  static bool SlotOf(HANDLE handle, size_t *slot) noexcept {
    const uintptr_t value = reinterpret_cast<uintptr_t>(handle);
    if (value == 0 || value % kHandleStep != 0) return false;
    *slot = value / kHandleStep - 1;
    return true;
  }

  std::mutex lock_;
  std::vector<ObjectPtr> slots_;
  std::deque<size_t> free_;
};

// Never destroyed: handles may still be closed by other threads or static destructors while the
// process exits.
HandleTable &Table() noexcept {
  static HandleTable *table = new HandleTable;
  return *table;
}

}  // namespace

HANDLE RegisterHandle(ObjectPtr object) noexcept { return Table().Add(std::move(object)); }

ObjectPtr LookupHandle(HANDLE handle) noexcept {
  if (handle == INVALID_HANDLE_VALUE) return CurrentProcessObject();
  if (handle == CurrentThreadPseudoHandle()) return CurrentThreadObject();
  ObjectPtr object = Table().Find(handle);
  if (!object) SetLastError(ERROR_INVALID_HANDLE);
  return object;
}

}  // namespace qn::posix

extern "C" BOOL WINAPI CloseHandle(HANDLE hObject) {
  // The pseudo-handles of the current process and thread: closing them is accepted and changes
  // nothing.
  if (hObject == INVALID_HANDLE_VALUE || hObject == qn::posix::CurrentThreadPseudoHandle()) return TRUE;
  qn::posix::ObjectPtr object = qn::posix::Table().Remove(hObject);
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}
