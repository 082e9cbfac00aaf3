// The subset's one handle table: every kernel object of the process (events, threads, message
// queues, files, mappings) is reached through it.
//
// A handle is a small multiple of 4 cast to HANDLE, as on Windows; 0 is never issued. The table
// holds one reference to its object per open handle, and every operation in progress holds its own
// (LookupHandle answers a shared_ptr), so CloseHandle while another thread still waits on, reads
// from or maps the object is safe: the object goes when its last user lets go. A closed value is
// reused later for a new object, as Windows does, but not at once.
//
// Adding a kind of object: add a value to ObjectKind, derive the object from KernelObject (or from
// Waitable, internal/waitable.h, when a wait can be satisfied by it), give it a static kKind, and
// create it with RegisterHandle(std::make_shared<T>(...)). Its destructor releases what it owns
// (a file descriptor, a mapping); it runs when the last handle is closed and the last operation
// in progress has finished, outside the table's lock, so it may itself use the table.
#pragma once

#include <memory>

#include "qnutil/posix/windows.h"

namespace qn::posix {

enum class ObjectKind {
  Event,
  Thread,
  MessageQueue,
  File,
  FileMapping,
  // The current process, named by the pseudo-handle INVALID_HANDLE_VALUE (GetCurrentProcess()).
  Process,
  // An open registry key (HKEY); the predefined roots are not in the table.
  RegistryKey,
};

class Waitable;

class KernelObject {
 public:
  explicit KernelObject(ObjectKind kind) noexcept : kind_(kind) {}
  KernelObject(const KernelObject &) = delete;
  KernelObject &operator=(const KernelObject &) = delete;
  virtual ~KernelObject() = default;

  ObjectKind Kind() const noexcept { return kind_; }
  // The object as a waitable one, or null when no wait can be satisfied by it (a wait on it then
  // fails as on a bad handle).
  virtual Waitable *AsWaitable() noexcept { return nullptr; }

 private:
  const ObjectKind kind_;
};

using ObjectPtr = std::shared_ptr<KernelObject>;

// A new handle for the object (one more reference to it). NULL with ERROR_NOT_ENOUGH_MEMORY when
// the table cannot grow. An object may be registered more than once: each handle is closed
// separately.
HANDLE RegisterHandle(ObjectPtr object) noexcept;

// The object behind an open handle, whatever its kind; null with ERROR_INVALID_HANDLE for NULL, a
// closed or a never-issued value. INVALID_HANDLE_VALUE answers the current process's object.
ObjectPtr LookupHandle(HANDLE handle) noexcept;

// The object behind an open handle if it is a T (T::kKind); null with ERROR_INVALID_HANDLE
// otherwise, as Windows answers SetEvent on a file handle.
template <class T>
std::shared_ptr<T> LookupHandleAs(HANDLE handle) noexcept {
  ObjectPtr object = LookupHandle(handle);
  if (!object) return nullptr;
  if (object->Kind() != T::kKind) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return std::static_pointer_cast<T>(std::move(object));
}

}  // namespace qn::posix
