// The registry calls over hives shared through .reg files: the hive store (loading, noticing other
// processes' write-backs, writing back under a lock) and the Win32 calls on top of it.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

#include "internal/errors.h"
#include "internal/handles.h"
#include "internal/registry_tree.h"

namespace qn::posix {
namespace {

using reg::Key;
using reg::KeyPtr;

constexpr size_t kMaxKeyName = 256;     // code units in one component of a key path (Wine's limit)
constexpr size_t kMaxValueName = 16383;  // code units in a value name
constexpr double kWriteBackAge = 2.0;  // seconds a change may wait in memory before a call writes it
constexpr double kStatInterval = 1.0;  // seconds between looks at the file when no writer said anything

double Now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// One change not yet written back, replayed on top of the file when another process replaced it.
struct Change {
  enum Kind { MakeKey, SetValue, DeleteValue, DeleteKey, ClearKey } kind;
  std::vector<std::u16string> path;  // names from the root
  std::u16string name;
  DWORD type = 0;
  std::vector<BYTE> data;
};

// What identifies the file's content as last read or written by this process.
struct Stamp {
  bool exists = false;
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = 0;
  timespec mtime{};
  static Stamp Of(const struct stat &st) {
    return Stamp{true, st.st_dev, st.st_ino, st.st_size, st.st_mtim};
  }
  bool operator==(const Stamp &o) const {
    return exists == o.exists && (!exists || (dev == o.dev && ino == o.ino && size == o.size &&
                                              mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec));
  }
};

std::string Utf8(std::u16string_view s) {
  std::string out;
  for (char16_t c : s) out.push_back(static_cast<char>(c));  // root names are ASCII
  return out;
}

std::string RegistryDir() {
  const char *dir = getenv("QNUTIL_REGISTRY_DIR");
  if (dir && *dir) return dir;
  const char *xdg = getenv("XDG_CONFIG_HOME");
  if (xdg && xdg[0] == '/') return std::string(xdg) + "/qnutil/registry";
  const char *home = getenv("HOME");
  return std::string(home && *home ? home : ".") + "/.config/qnutil/registry";
}

DWORD MakeDirs(const std::string &dir) {
  for (size_t pos = 1; pos <= dir.size(); ++pos) {
    if (pos == dir.size() || dir[pos] == '/') {
      const std::string part = dir.substr(0, pos);
      if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return Win32ErrorFromErrno(errno);
    }
  }
  return ERROR_SUCCESS;
}

class Hive {
 public:
  explicit Hive(const char16_t *rootName) : rootName_(rootName), root_(std::make_shared<Key>()) {}

  const KeyPtr &Root() const { return root_; }
  // Counted without the registry's lock: a handle's last reference may go while it is held.
  void AddHandle() { ++handles_; }
  void RemoveHandle() { --handles_; }
  bool HasHandles() const { return handles_ > 0; }

  // Brings the tree up to date with the file; ERROR_BADDB while the file cannot be parsed. Also
  // writes back changes that have waited too long.
  //
  // Looking at the file costs a system call, so a call looks only when a writer of this library
  // has bumped the hive's generation (a counter in the shared mapping of the lock file), or when
  // the last look is a second old (an edit by other means), or when the hive is broken, or when
  // `look` asks for it (opening a key, writing back).
  DWORD Refresh(bool look = false) {
    Paths();
    const double now = Now();
    const bool quiet = !look && generation_ != nullptr && loaded_ && !broken_ &&
                       generation_->load(std::memory_order_acquire) == seenGeneration_ &&
                       now - lastLook_ < kStatInterval;
    if (!quiet) {
      if (generation_) seenGeneration_ = generation_->load(std::memory_order_acquire);
      lastLook_ = now;
      struct stat st;
      const Stamp current = stat(file_.c_str(), &st) == 0 ? Stamp::Of(st) : Stamp{};
      if (!(current == stamp_) || !loaded_) {
        const DWORD result = Reload();
        if (result != ERROR_SUCCESS) return result;
      }
    }
    if (broken_) return ERROR_BADDB;
    if (!changes_.empty() && Now() - firstChange_ > kWriteBackAge) WriteBack();
    return ERROR_SUCCESS;
  }

  void Record(Change change) {
    if (changes_.empty()) firstChange_ = Now();
    changes_.push_back(std::move(change));
  }

  bool Pending() const { return !changes_.empty(); }

  // Writes the tree back under the hive's lock, on top of whatever another process wrote.
  DWORD WriteBack() {
    Paths();
    if (broken_) return ERROR_BADDB;
    if (changes_.empty()) return ERROR_SUCCESS;
    DWORD result = MakeDirs(dir_);
    if (result != ERROR_SUCCESS) return result;
    const int lock = open((file_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (lock < 0) return Win32ErrorFromErrno(errno);
    while (flock(lock, LOCK_EX) != 0 && errno == EINTR) {
    }
    result = WriteBackLocked();
    close(lock);
    return result;
  }

 private:
  // Settles the file names at the first use, and maps the generation counter (the first 4 bytes
  // of the lock file, made with the directory when missing). Without the mapping every call looks
  // at the file.
  void Paths() {
    if (!file_.empty()) return;
    dir_ = RegistryDir();
    file_ = dir_ + "/" + Utf8(rootName_) + ".reg";
    if (MakeDirs(dir_) != ERROR_SUCCESS) return;
    const int fd = open((file_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return;
    struct stat st;
    if (fstat(fd, &st) == 0 && (st.st_size >= 4 || ftruncate(fd, 4) == 0)) {
      void *map = mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
      if (map != MAP_FAILED) generation_ = static_cast<std::atomic<uint32_t> *>(map);
    }
    close(fd);
  }

  // Reads the file into a fresh tree, replays the pending changes on it and merges it into the
  // live tree. A file that cannot be parsed leaves the live tree as it was and the hive broken.
  DWORD Reload() {
    std::string bytes;
    Stamp read;
    const int fd = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
      struct stat st;
      if (fstat(fd, &st) == 0) read = Stamp::Of(st);
      char buffer[65536];
      ssize_t n;
      while ((n = ::read(fd, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR)) {
        if (n > 0) bytes.append(buffer, static_cast<size_t>(n));
      }
      close(fd);
    } else if (errno != ENOENT) {
      return Win32ErrorFromErrno(errno);
    }
    stamp_ = read;
    loaded_ = true;
    Key fresh;
    reg::ParseError error;
    if (!reg::ParseHive(bytes, rootName_, fresh, error)) {
      broken_ = true;
      std::string message = file_ + ":" + std::to_string(error.line) + ": " + error.reason;
      if (message != reported_) {
        fprintf(stderr, "qnutil registry: %s; the hive is left as it is and its keys answer ERROR_BADDB\n",
                message.c_str());
        reported_ = std::move(message);
      }
      return ERROR_BADDB;
    }
    broken_ = false;
    reported_.clear();
    for (const Change &change : changes_) Replay(fresh, change);
    reg::MergeInto(*root_, fresh);
    return ERROR_SUCCESS;
  }

  static void Replay(Key &root, const Change &change) {
    Key *key = &root;
    const bool make = change.kind == Change::MakeKey || change.kind == Change::SetValue;
    const size_t depth = change.kind == Change::DeleteKey ? change.path.size() - 1 : change.path.size();
    for (size_t i = 0; i < depth && key; ++i) {
      key = make ? key->MakeSubkey(change.path[i]) : key->FindSubkey(reg::FoldName(change.path[i]));
    }
    if (!key) return;
    switch (change.kind) {
      case Change::MakeKey: break;
      case Change::SetValue: key->SetValue(change.name, change.type, change.data.data(), change.data.size()); break;
      case Change::DeleteValue: key->DeleteValue(reg::FoldName(change.name)); break;
      case Change::DeleteKey: key->RemoveSubkey(reg::FoldName(change.path.back())); break;
      case Change::ClearKey: key->Clear(); break;
    }
  }

  DWORD WriteBackLocked() {
    struct stat st;
    const Stamp now = stat(file_.c_str(), &st) == 0 ? Stamp::Of(st) : Stamp{};
    if (!(now == stamp_)) {
      const DWORD result = Reload();
      if (result != ERROR_SUCCESS) return result;
    }
    const std::string bytes = reg::WriteHive(*root_, rootName_);
    const std::string temp = file_ + ".tmp" + std::to_string(getpid());
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) return Win32ErrorFromErrno(errno);
    size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        const int err = errno;
        close(fd);
        unlink(temp.c_str());
        return Win32ErrorFromErrno(err);
      }
      done += static_cast<size_t>(n);
    }
    if (fsync(fd) != 0 || fstat(fd, &st) != 0 || close(fd) != 0 || rename(temp.c_str(), file_.c_str()) != 0) {
      const int err = errno;
      unlink(temp.c_str());
      return Win32ErrorFromErrno(err);
    }
    const int dirFd = open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
      fsync(dirFd);
      close(dirFd);
    }
    stamp_ = Stamp::Of(st);
    if (generation_) seenGeneration_ = generation_->fetch_add(1, std::memory_order_acq_rel) + 1;
    changes_.clear();
    return ERROR_SUCCESS;
  }

  const char16_t *rootName_;
  KeyPtr root_;
  std::string dir_, file_;
  Stamp stamp_;
  bool loaded_ = false;
  bool broken_ = false;
  std::string reported_;
  std::vector<Change> changes_;
  double firstChange_ = 0;
  std::atomic<int> handles_{0};
  std::atomic<uint32_t> *generation_ = nullptr;  // shared by every process that uses the hive
  uint32_t seenGeneration_ = 0;
  double lastLook_ = 0;
};

struct Registry {
  std::mutex lock;
  Hive hives[4] = {Hive(u"HKEY_CLASSES_ROOT"), Hive(u"HKEY_CURRENT_USER"), Hive(u"HKEY_LOCAL_MACHINE"),
                   Hive(u"HKEY_USERS")};
};

// Never destroyed: key handles may outlive static destruction. Changes still in memory at a normal
// exit are written back.
Registry &TheRegistry() {
  static Registry *registry = [] {
    auto *r = new Registry;
    atexit([] {
      Registry &self = TheRegistry();
      std::lock_guard<std::mutex> guard(self.lock);
      for (Hive &hive : self.hives) hive.WriteBack();
    });
    return r;
  }();
  return *registry;
}

class KeyObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::RegistryKey;
  KeyObject(Hive &hive, KeyPtr key, REGSAM access) : KernelObject(kKind), hive(hive), key(std::move(key)), access(access) {
    hive.AddHandle();
  }
  ~KeyObject() override { hive.RemoveHandle(); }
  Hive &hive;
  const KeyPtr key;
  const REGSAM access;
};

// The key an HKEY names, brought up to date; call with the registry's lock held.
struct Target {
  Hive *hive = nullptr;
  Key *key = nullptr;
  REGSAM access = 0;
  bool root = false;  // named by a predefined root, not by a handle
};

DWORD Resolve(HKEY hKey, Target &target, std::shared_ptr<KeyObject> &holder, bool look = false) {
  const auto value = reinterpret_cast<ULONG_PTR>(hKey);
  const auto first = reinterpret_cast<ULONG_PTR>(HKEY_CLASSES_ROOT);
  if (value - first < 4) {
    target.hive = &TheRegistry().hives[value - first];
    target.access = KEY_ALL_ACCESS;
    target.root = true;
    const DWORD result = target.hive->Refresh(look);
    target.key = target.hive->Root().get();
    return result;
  }
  const DWORD saved = GetLastError();
  holder = LookupHandleAs<KeyObject>(reinterpret_cast<HANDLE>(hKey));
  SetLastError(saved);
  if (!holder) return ERROR_INVALID_HANDLE;
  target.hive = &holder->hive;
  target.access = holder->access;
  target.key = holder->key.get();
  const DWORD result = target.hive->Refresh(look);
  if (result != ERROR_SUCCESS) return result;
  return target.key->deleted ? ERROR_KEY_DELETED : ERROR_SUCCESS;
}

// Splits a subkey path at its backslashes.
DWORD SplitPath(LPCWSTR subKey, std::vector<std::u16string> &names) {
  if (subKey == nullptr) return ERROR_SUCCESS;
  const auto *p = reinterpret_cast<const char16_t *>(subKey);
  if (*p == u'\\') return ERROR_BAD_PATHNAME;
  std::u16string name;
  for (;; ++p) {
    if (*p == u'\\' || *p == 0) {
      if (name.size() > kMaxKeyName) return ERROR_INVALID_PARAMETER;
      // A line break cannot stand in a hive file's key line.
      if (name.find_first_of(u"\r\n") != std::u16string::npos) return ERROR_INVALID_PARAMETER;
      if (!name.empty()) names.push_back(std::move(name));
      name.clear();
      if (*p == 0) break;
    } else {
      name.push_back(*p);
    }
  }
  return ERROR_SUCCESS;
}

std::u16string NameOf(LPCWSTR name) {
  return name ? std::u16string(reinterpret_cast<const char16_t *>(name)) : std::u16string();
}

LSTATUS OpenHandle(Target &target, Key *key, REGSAM access, PHKEY result) {
  // The handle holds the key by its shared pointer: find it in its parent's map.
  KeyPtr pointer;
  if (key == target.hive->Root().get()) {
    pointer = target.hive->Root();
  } else {
    pointer = key->parent->subkeys.at(reg::FoldName(key->name));
  }
  const DWORD saved = GetLastError();
  HANDLE handle = RegisterHandle(std::make_shared<KeyObject>(*target.hive, std::move(pointer), access));
  SetLastError(saved);
  if (!handle) return ERROR_NOT_ENOUGH_MEMORY;
  *result = reinterpret_cast<HKEY>(handle);
  return ERROR_SUCCESS;
}

// Copies a value's bytes out; string data without a terminator gets a zero code unit after it
// (not counted) when the buffer has room, as Windows does.
void CopyData(const reg::Value &value, LPBYTE out, DWORD capacity) {
  const size_t size = value.data.size();
  if (size == 0) return;
  memcpy(out, value.data.data(), size);
  const bool text = value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
  if (text && size >= 2 && capacity >= size + 2 && (value.data[size - 2] != 0 || value.data[size - 1] != 0)) {
    out[size] = 0;
    out[size + 1] = 0;
  }
}

template <class Body>
LSTATUS Guarded(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

// Runs `body` on the key an HKEY names, up to date, under the registry's lock; `look` makes the
// hive look at its file whatever the generation says.
template <class Body>
LSTATUS OnKey(HKEY hKey, bool look, Body body) {
  return Guarded([&]() -> LSTATUS {
    std::lock_guard<std::mutex> guard(TheRegistry().lock);
    Target target;
    std::shared_ptr<KeyObject> holder;
    const DWORD result = Resolve(hKey, target, holder, look);
    if (result != ERROR_SUCCESS) return result;
    return body(target);
  });
}

// The key at the end of `names` below `key`, or null.
Key *FindPath(Key *key, const std::vector<std::u16string> &names) {
  for (const auto &name : names) {
    if (!key) break;
    key = key->FindSubkey(reg::FoldName(name));
  }
  return key;
}

}  // namespace
}  // namespace qn::posix

using namespace qn::posix;

LSTATUS WINAPI RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, REGSAM samDesired, PHKEY phkResult) {
  if (phkResult == nullptr) return ERROR_INVALID_PARAMETER;
  *phkResult = nullptr;
  return OnKey(hKey, true, [&](Target &target) -> LSTATUS {
    DWORD result;
    std::vector<std::u16string> names;
    if ((result = SplitPath(lpSubKey, names)) != ERROR_SUCCESS) return result;
    if (names.empty() && target.root) {
      *phkResult = hKey;  // a root opened again is the root itself
      return ERROR_SUCCESS;
    }
    Key *key = FindPath(target.key, names);
    if (!key) return ERROR_FILE_NOT_FOUND;
    return OpenHandle(target, key, samDesired, phkResult);
  });
}

LSTATUS WINAPI RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, LPWSTR, DWORD, REGSAM samDesired,
                               LPSECURITY_ATTRIBUTES, PHKEY phkResult, LPDWORD lpdwDisposition) {
  if (phkResult == nullptr) return ERROR_INVALID_PARAMETER;
  *phkResult = nullptr;
  return OnKey(hKey, true, [&](Target &target) -> LSTATUS {
    DWORD result;
    std::vector<std::u16string> names;
    if ((result = SplitPath(lpSubKey, names)) != ERROR_SUCCESS) return result;
    Key *key = target.key;
    size_t existing = 0;
    while (existing < names.size()) {
      Key *next = key->FindSubkey(reg::FoldName(names[existing]));
      if (!next) break;
      key = next;
      ++existing;
    }
    const bool create = existing < names.size();
    if (create) {
      for (size_t i = existing; i < names.size(); ++i) key = key->MakeSubkey(names[i]);
      Change change{Change::MakeKey, reg::PathOf(*key), {}, 0, {}};
      target.hive->Record(std::move(change));
    }
    result = OpenHandle(target, key, samDesired, phkResult);
    if (result == ERROR_SUCCESS && lpdwDisposition) {
      *lpdwDisposition = create ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    return result;
  });
}

LSTATUS WINAPI RegCloseKey(HKEY hKey) {
  const auto value = reinterpret_cast<ULONG_PTR>(hKey);
  if (value - reinterpret_cast<ULONG_PTR>(HKEY_CLASSES_ROOT) < 4) return ERROR_SUCCESS;
  Hive *hive;
  {
    const DWORD saved = GetLastError();
    auto holder = LookupHandleAs<KeyObject>(reinterpret_cast<HANDLE>(hKey));
    if (!holder) {
      SetLastError(saved);
      return ERROR_INVALID_HANDLE;
    }
    hive = &holder->hive;
    holder.reset();
    CloseHandle(reinterpret_cast<HANDLE>(hKey));
    SetLastError(saved);
  }
  return Guarded([&]() -> LSTATUS {
    std::lock_guard<std::mutex> guard(TheRegistry().lock);
    if (!hive->HasHandles() && hive->Pending()) return hive->WriteBack();
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegFlushKey(HKEY hKey) {
  return OnKey(hKey, true, [&](Target &target) -> LSTATUS {
    return target.hive->WriteBack();
  });
}

LSTATUS WINAPI RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
                                LPDWORD lpcbData) {
  if (lpReserved != nullptr || (lpData != nullptr && lpcbData == nullptr)) return ERROR_INVALID_PARAMETER;
  return OnKey(hKey, false, [&](Target &target) -> LSTATUS {
    if ((target.access & KEY_QUERY_VALUE) == 0) return ERROR_ACCESS_DENIED;
    const reg::Value *value = target.key->FindValue(reg::FoldName(NameOf(lpValueName)));
    if (!value) return ERROR_FILE_NOT_FOUND;
    if (lpType) *lpType = value->type;
    if (lpcbData == nullptr) return ERROR_SUCCESS;
    const auto size = static_cast<DWORD>(value->data.size());
    if (lpData != nullptr) {
      if (*lpcbData < size) {
        *lpcbData = size;
        return ERROR_MORE_DATA;
      }
      CopyData(*value, lpData, *lpcbData);
    }
    *lpcbData = size;
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD, DWORD dwType, const BYTE *lpData, DWORD cbData) {
  if (lpData == nullptr && cbData != 0) return ERROR_NOACCESS;
  return OnKey(hKey, false, [&](Target &target) -> LSTATUS {
    if ((target.access & KEY_SET_VALUE) == 0) return ERROR_ACCESS_DENIED;
    DWORD size = cbData;
    if ((dwType == REG_SZ || dwType == REG_EXPAND_SZ || dwType == REG_MULTI_SZ) && size >= 2) {
      // Windows counts a terminator the caller left out when one follows the counted text.
      const WCHAR *text = reinterpret_cast<const WCHAR *>(lpData);
      const size_t last = size / sizeof(WCHAR) - 1;
      WCHAR unit;
      memcpy(&unit, text + last, sizeof unit);
      if (unit != 0) {
        memcpy(&unit, text + last + 1, sizeof unit);
        if (unit == 0) size += sizeof(WCHAR);
      }
    }
    const std::u16string name = NameOf(lpValueName);
    if (name.size() > kMaxValueName) return ERROR_INVALID_PARAMETER;
    target.key->SetValue(name, dwType, lpData, size);
    Change change{Change::SetValue, reg::PathOf(*target.key), name, dwType, {}};
    change.data.assign(lpData, lpData + size);
    target.hive->Record(std::move(change));
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  return OnKey(hKey, false, [&](Target &target) -> LSTATUS {
    if ((target.access & KEY_SET_VALUE) == 0) return ERROR_ACCESS_DENIED;
    const std::u16string name = NameOf(lpValueName);
    if (!target.key->DeleteValue(reg::FoldName(name))) return ERROR_FILE_NOT_FOUND;
    target.hive->Record(Change{Change::DeleteValue, reg::PathOf(*target.key), name, 0, {}});
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName, LPDWORD lpReserved,
                             LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
  if (lpReserved != nullptr || lpcchValueName == nullptr || (lpData != nullptr && lpcbData == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  return OnKey(hKey, false, [&](Target &target) -> LSTATUS {
    if ((target.access & KEY_QUERY_VALUE) == 0) return ERROR_ACCESS_DENIED;
    const reg::Value *value = target.key->ValueAt(dwIndex);
    if (!value) return ERROR_NO_MORE_ITEMS;
    const auto length = static_cast<DWORD>(value->name.size());
    const auto size = static_cast<DWORD>(value->data.size());
    if (lpType) *lpType = value->type;
    // The name is checked first and left alone when it does not fit; the size needed for the
    // data is answered either way.
    if (*lpcchValueName <= length) {
      if (lpcbData) *lpcbData = size;
      return ERROR_MORE_DATA;
    }
    memcpy(lpValueName, value->name.c_str(), (length + 1) * sizeof(WCHAR));
    *lpcchValueName = length;
    if (lpData != nullptr) {
      if (*lpcbData < size) {
        *lpcbData = size;
        return ERROR_MORE_DATA;
      }
      CopyData(*value, lpData, *lpcbData);
    }
    if (lpcbData) *lpcbData = size;
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved,
                             LPWSTR lpClass, LPDWORD lpcchClass, struct _FILETIME *lpftLastWriteTime) {
  if (lpReserved != nullptr || lpcchName == nullptr) return ERROR_INVALID_PARAMETER;
  return OnKey(hKey, false, [&](Target &target) -> LSTATUS {
    if ((target.access & KEY_ENUMERATE_SUB_KEYS) == 0) return ERROR_ACCESS_DENIED;
    const Key *subkey = target.key->SubkeyAt(dwIndex);
    if (!subkey) return ERROR_NO_MORE_ITEMS;
    const std::u16string &name = subkey->name;
    const auto length = static_cast<DWORD>(name.size());
    if (*lpcchName <= length) return ERROR_MORE_DATA;
    memcpy(lpName, name.c_str(), (length + 1) * sizeof(WCHAR));
    *lpcchName = length;
    if (lpClass && lpcchClass && *lpcchClass > 0) lpClass[0] = 0;
    if (lpcchClass) *lpcchClass = 0;
    if (lpftLastWriteTime) *lpftLastWriteTime = FILETIME{0, 0};
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegEnumKeyW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, DWORD cchName) {
  DWORD length = cchName;
  return RegEnumKeyExW(hKey, dwIndex, lpName, &length, nullptr, nullptr, nullptr, nullptr);
}

namespace {

// Deletes the subkey `lpSubKey` of hKey (hKey itself when it is NULL or empty): only a key
// without subkeys unless `tree`; with `tree` and no subkey, hKey is emptied and kept.
LSTATUS DeleteKey(HKEY hKey, LPCWSTR lpSubKey, bool tree) {
  return OnKey(hKey, false, [&](Target &target) -> LSTATUS {
    DWORD result;
    std::vector<std::u16string> names;
    if ((result = SplitPath(lpSubKey, names)) != ERROR_SUCCESS) return result;
    Key *key = FindPath(target.key, names);
    if (!key) return ERROR_FILE_NOT_FOUND;
    if (tree && names.empty()) {
      key->Clear();
      target.hive->Record(Change{Change::ClearKey, reg::PathOf(*key), {}, 0, {}});
      return ERROR_SUCCESS;
    }
    if (key->parent == nullptr) return ERROR_ACCESS_DENIED;  // a root
    if (!tree && !key->subkeys.empty()) return ERROR_ACCESS_DENIED;
    Change change{Change::DeleteKey, reg::PathOf(*key), {}, 0, {}};
    key->parent->RemoveSubkey(reg::FoldName(key->name));
    target.hive->Record(std::move(change));
    return ERROR_SUCCESS;
  });
}

}  // namespace

LSTATUS WINAPI RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) { return DeleteKey(hKey, lpSubKey, false); }

LSTATUS WINAPI RegDeleteTreeW(HKEY hKey, LPCWSTR lpSubKey) { return DeleteKey(hKey, lpSubKey, true); }
