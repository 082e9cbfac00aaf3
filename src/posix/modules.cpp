// Modules on the dynamic loader: loading by Windows' names, lookup, file names, reference counts.
//
// An HMODULE is the handle dlopen answers, which glibc makes the object's link_map: the same value
// for every load of one object, and the same node that the loader's list of objects holds, so a
// handle can be checked against that list before it is used. Reference counts are dlopen's own.
#include <dlfcn.h>
#include <link.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

#include <new>
#include <string>
#include <vector>

#include "internal/pathconv.h"

namespace qn::posix {
namespace {

// The main program: dlopen(NULL) answers its link_map, whose name is empty.
void *MainProgram() noexcept {
  static void *const handle = dlopen(nullptr, RTLD_NOW);
  return handle;
}

std::string ExecutablePath() {
  std::vector<char> buf(PATH_MAX);
  for (;;) {
    const ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size());
    if (n < 0) return std::string();
    if (static_cast<size_t>(n) < buf.size()) return std::string(buf.data(), static_cast<size_t>(n));
    buf.resize(buf.size() * 2);
  }
}

std::string DirectoryOf(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash == 0 ? 1 : slash);
}

std::string BaseName(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool EqualsIgnoringAsciiCase(const std::string &a, const std::string &b) noexcept {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
    if (x >= 'A' && x <= 'Z') x = static_cast<unsigned char>(x + 32);
    if (y >= 'A' && y <= 'Z') y = static_cast<unsigned char>(y + 32);
    if (x != y) return false;
  }
  return true;
}

// Whether a loaded object's file name is the file name asked for: the same ignoring case, or its
// versioned form ("libx.so.0" or "libx.so.0.1.0" for "libx.so"), which is the name a shared
// library is loaded by when a program was linked with it.
bool IsFileOrVersionOf(const std::string &loaded, const std::string &file) noexcept {
  if (EqualsIgnoringAsciiCase(loaded, file)) return true;
  if (file.size() < 3 || file.compare(file.size() - 3, 3, ".so") != 0) return false;
  if (loaded.size() < file.size() + 2 || loaded[file.size()] != '.') return false;
  if (!EqualsIgnoringAsciiCase(loaded.substr(0, file.size()), file)) return false;
  for (size_t i = file.size() + 1; i < loaded.size(); ++i) {
    if (loaded[i] != '.' && (loaded[i] < '0' || loaded[i] > '9')) return false;
  }
  return true;
}

// The file names that one module name stands for, in the order they are tried. Windows appends
// ".dll" to a name without an extension, and a trailing dot means "no extension, and none added".
// "x.dll" is also the shared object that the same project builds on POSIX: "libx.so", "x.so".
std::vector<std::string> FileNamesFor(const std::string &name) {
  const size_t slash = name.rfind('/');
  const std::string dir = slash == std::string::npos ? std::string() : name.substr(0, slash + 1);
  std::string file = slash == std::string::npos ? name : name.substr(slash + 1);
  if (!file.empty() && file.back() == '.') {
    file.pop_back();
  } else if (file.find('.') == std::string::npos) {
    file += ".dll";
  }
  std::vector<std::string> names{dir + file};
  if (file.size() > 4 && EqualsIgnoringAsciiCase(file.substr(file.size() - 4), ".dll")) {
    const std::string stem = file.substr(0, file.size() - 4);
    names.push_back(dir + "lib" + stem + ".so");
    names.push_back(dir + stem + ".so");
  }
  return names;
}

bool HasDirectory(const std::string &name) noexcept { return name.find('/') != std::string::npos; }

std::string Absolute(const std::string &path) {
  if (!path.empty() && path[0] == '/') return path;
  char cwd[PATH_MAX];
  if (getcwd(cwd, sizeof cwd) == nullptr) return path;
  return std::string(cwd) + "/" + path;
}

// Calls f with the loader's list of objects held still: dl_iterate_phdr runs its callback under
// the lock that dlclose takes to unlink an object.
template <typename F>
void WithLoadedObjects(F f) {
  struct Context {
    F *f;
    bool done;
  } context{&f, false};
  dl_iterate_phdr(
      [](dl_phdr_info *, size_t, void *data) -> int {
        auto *c = static_cast<Context *>(data);
        if (!c->done) {
          c->done = true;
          (*c->f)(_r_debug.r_map);
        }
        return 1;
      },
      &context);
}

// The link_map behind a handle, or null when no loaded object has it.
link_map *LoadedObject(HMODULE module) noexcept {
  link_map *found = nullptr;
  WithLoadedObjects([&](link_map *map) {
    for (; map != nullptr; map = map->l_next) {
      if (static_cast<void *>(map) == static_cast<void *>(module)) {
        found = map;
        return;
      }
    }
  });
  return found;
}

// The module for a handle argument, with NULL for the main program; null (and ERROR_MOD_NOT_FOUND)
// for a value that is no loaded module.
link_map *ModuleArgument(HMODULE module) noexcept {
  link_map *map = LoadedObject(module != nullptr ? module : static_cast<HMODULE>(MainProgram()));
  if (map == nullptr) SetLastError(ERROR_MOD_NOT_FOUND);
  return map;
}

HMODULE Open(const std::string &file, int flags) noexcept {
  return static_cast<HMODULE>(dlopen(file.c_str(), flags));
}

HMODULE Load(const std::string &name) {
  if (name.empty()) return nullptr;
  const std::vector<std::string> files = FileNamesFor(name);
  if (HasDirectory(name)) {
    for (const std::string &file : files) {
      if (HMODULE h = Open(Absolute(file), RTLD_NOW | RTLD_LOCAL)) return h;
    }
    return nullptr;
  }
  const std::string exe = ExecutablePath();
  if (!exe.empty()) {
    const std::string dir = DirectoryOf(exe) + "/";
    for (const std::string &file : files) {
      const std::string path = dir + file;
      if (access(path.c_str(), F_OK) != 0) continue;
      if (HMODULE h = Open(path, RTLD_NOW | RTLD_LOCAL)) return h;
    }
  }
  for (const std::string &file : files) {
    if (HMODULE h = Open(file, RTLD_NOW | RTLD_LOCAL)) return h;
  }
  return nullptr;
}

// Windows finds a loaded module by its file name wherever it was loaded from, ignoring case.
HMODULE FindLoaded(const std::string &name) {
  if (name.empty()) return nullptr;
  const std::vector<std::string> files = FileNamesFor(name);
  if (HasDirectory(name)) {
    for (const std::string &file : files) {
      if (HMODULE h = Open(Absolute(file), RTLD_NOW | RTLD_NOLOAD)) {
        dlclose(h);  // RTLD_NOLOAD still counts a reference; this lookup must not.
        return h;
      }
    }
    return nullptr;
  }
  // A POSIX program's file has no extension to imply: its name is also taken as it is.
  const std::string exe = BaseName(ExecutablePath());
  if (EqualsIgnoringAsciiCase(name, exe)) return static_cast<HMODULE>(MainProgram());
  for (const std::string &file : files) {
    if (EqualsIgnoringAsciiCase(file, exe)) return static_cast<HMODULE>(MainProgram());
  }
  HMODULE found = nullptr;
  WithLoadedObjects([&](link_map *map) {
    for (; map != nullptr && found == nullptr; map = map->l_next) {
      if (map->l_name == nullptr || map->l_name[0] == 0) continue;
      const std::string base = BaseName(map->l_name);
      for (const std::string &file : files) {
        if (IsFileOrVersionOf(base, file)) {
          found = reinterpret_cast<HMODULE>(map);
          break;
        }
      }
    }
  });
  return found;
}

}  // namespace
}  // namespace qn::posix

using qn::posix::MainProgram;

extern "C" {

HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName) {
  if (lpLibFileName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  try {
    if (HMODULE h = qn::posix::Load(qn::posix::PathToPosix(lpLibFileName))) return h;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

HMODULE WINAPI LoadLibraryA(LPCSTR lpLibFileName) {
  if (lpLibFileName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const int n = MultiByteToWideChar(CP_ACP, 0, lpLibFileName, -1, nullptr, 0);
  if (n <= 0) return nullptr;
  std::vector<WCHAR> wide;
  try {
    wide.resize(static_cast<size_t>(n));
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  MultiByteToWideChar(CP_ACP, 0, lpLibFileName, -1, wide.data(), n);
  return LoadLibraryW(wide.data());
}

// FALSE with ERROR_INVALID_HANDLE for NULL and ERROR_MOD_NOT_FOUND for a value that is no module,
// as Windows answers.
BOOL WINAPI FreeLibrary(HMODULE hLibModule) {
  if (hLibModule == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (qn::posix::ModuleArgument(hLibModule) == nullptr) return FALSE;
  // The main program is never unloaded; dlclose on it only drops the count dlopen(NULL) raised.
  if (hLibModule == MainProgram()) return TRUE;
  dlclose(hLibModule);
  return TRUE;
}

// Names only: an ordinal (a "name" below 0x10000) finds nothing on POSIX. Only the module's own
// definitions count, not those of the objects it depends on, as Windows looks at one export table.
FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
  link_map *map = qn::posix::ModuleArgument(hModule);
  if (map == nullptr) return nullptr;
  if (reinterpret_cast<uintptr_t>(lpProcName) < 0x10000 || lpProcName[0] == 0) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  void *symbol = dlsym(map, lpProcName);
  Dl_info info;
  void *owner = nullptr;
  if (symbol == nullptr || dladdr1(symbol, &info, &owner, RTLD_DL_LINKMAP) == 0 || owner != map) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<FARPROC>(symbol);
}

HMODULE WINAPI GetModuleHandleW(LPCWSTR lpModuleName) {
  if (lpModuleName == nullptr) return static_cast<HMODULE>(MainProgram());
  try {
    if (HMODULE h = qn::posix::FindLoaded(qn::posix::PathToPosix(lpModuleName))) return h;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

// Success sets the last error to 0, as Windows does. A short buffer gets nSize - 1 characters and a
// terminator (Windows since Vista; XP left it unterminated).
DWORD WINAPI GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
  link_map *map = qn::posix::ModuleArgument(hModule);
  if (map == nullptr) return 0;
  std::u16string path;
  try {
    const bool isMain = map->l_name == nullptr || map->l_name[0] == 0;
    path = qn::posix::PathFromPosix(isMain ? qn::posix::ExecutablePath() : std::string(map->l_name));
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  if (nSize == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  const size_t copied = path.size() < nSize ? path.size() : nSize - 1;
  for (size_t i = 0; i < copied; ++i) lpFilename[i] = static_cast<WCHAR>(path[i]);
  lpFilename[copied] = 0;
  if (copied < path.size()) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return nSize;
  }
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(copied);
}

BOOL WINAPI DisableThreadLibraryCalls(HMODULE hLibModule) {
  if (hLibModule == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  return qn::posix::ModuleArgument(hLibModule) != nullptr ? TRUE : FALSE;
}

}  // extern "C"
