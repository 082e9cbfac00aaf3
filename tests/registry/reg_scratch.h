// Registry scaffolding for the registry tests: a scratch key of the test's own, deleted with its
// tree afterwards, value writers, a tree reader for comparisons, and counters of the library's key
// opens and closes (through its imports), so that tests can show every key it opened was closed.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/win32.h"
#include "support/import_patch.h"

namespace qntest {

using Bytes = std::vector<unsigned char>;

inline Bytes TextBytes(const std::u16string &text) {
  const auto *p = reinterpret_cast<const unsigned char *>(text.data());
  return Bytes(p, p + text.size() * 2);
}

// HKEY_CURRENT_USER\Software\qnutil-tests\<name>, empty at the start and deleted at the end.
class ScratchKey {
 public:
  explicit ScratchKey(const std::u16string &name) : m_path(u"Software\\qnutil-tests\\" + name) {
    RegDeleteTreeW(HKEY_CURRENT_USER, qn::AsW(m_path.c_str()));
    HKEY hkey = NULL;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, qn::AsW(m_path.c_str()), 0, NULL, 0, KEY_ALL_ACCESS, NULL, &hkey,
                              NULL),
              ERROR_SUCCESS);
    if (hkey != NULL) RegCloseKey(hkey);
  }
  ~ScratchKey() { RegDeleteTreeW(HKEY_CURRENT_USER, qn::AsW(m_path.c_str())); }
  ScratchKey(const ScratchKey &) = delete;
  ScratchKey &operator=(const ScratchKey &) = delete;

  // The path of a key below the scratch key (the scratch key itself for an empty relative path).
  std::u16string Path(const std::u16string &relative = u"") const {
    return relative.empty() ? m_path : m_path + u"\\" + relative;
  }

 private:
  std::u16string m_path;
};

// Writes one value, creating its key; a failure is a test failure. The bytes are followed by a
// non-zero code unit: Windows reads the unit after counted text to decide whether to count a
// terminator the caller left out, so the data must not end the caller's memory.
inline void SetValue(HKEY root, const std::u16string &path, const std::u16string &name, DWORD type,
                     const Bytes &data) {
  HKEY hkey = NULL;
  ASSERT_EQ(RegCreateKeyExW(root, qn::AsW(path.c_str()), 0, NULL, 0, KEY_ALL_ACCESS, NULL, &hkey, NULL),
            ERROR_SUCCESS);
  Bytes padded(data);
  padded.insert(padded.end(), {0xEE, 0xEE});
  EXPECT_EQ(RegSetValueExW(hkey, qn::AsW(name.c_str()), 0, type, data.empty() ? NULL : padded.data(),
                           static_cast<DWORD>(data.size())),
            ERROR_SUCCESS);
  RegCloseKey(hkey);
}

inline bool KeyExists(HKEY root, const std::u16string &path) {
  HKEY hkey = NULL;
  if (RegOpenKeyExW(root, qn::AsW(path.c_str()), 0, KEY_READ, &hkey) != ERROR_SUCCESS) return false;
  RegCloseKey(hkey);
  return true;
}

// A key's values and subkeys, for whole-tree comparisons: "sub\\sub" paths (relative to the key read,
// "" for the key itself), each with its values' names, types and bytes.
struct Value {
  DWORD type;
  Bytes data;
  bool operator==(const Value &o) const { return type == o.type && data == o.data; }
};
using Tree = std::map<std::u16string, std::map<std::u16string, Value>>;

inline void ReadTree(HKEY hkey, const std::u16string &relative, Tree &tree) {
  auto &values = tree[relative];
  for (DWORD i = 0;; ++i) {
    char16_t name[16384];
    unsigned char data[8192];
    DWORD cchName = 16384, cbData = sizeof(data), type = 0;
    if (RegEnumValueW(hkey, i, qn::AsW(qn::AsU(name)), &cchName, NULL, &type, data, &cbData) != ERROR_SUCCESS) break;
    values[std::u16string(name, cchName)] = Value{type, Bytes(data, data + cbData)};
  }
  for (DWORD i = 0;; ++i) {
    char16_t name[256];
    if (RegEnumKeyW(hkey, i, qn::AsW(qn::AsU(name)), 256) != ERROR_SUCCESS) break;
    HKEY sub = NULL;
    if (RegOpenKeyExW(hkey, qn::AsW(qn::AsU(name)), 0, KEY_READ, &sub) != ERROR_SUCCESS) {
      ADD_FAILURE() << "cannot open an enumerated subkey";
      continue;
    }
    ReadTree(sub, relative.empty() ? std::u16string(name) : relative + u"\\" + name, tree);
    RegCloseKey(sub);
  }
}

inline Tree ReadTree(HKEY root, const std::u16string &path) {
  Tree tree;
  HKEY hkey = NULL;
  if (RegOpenKeyExW(root, qn::AsW(path.c_str()), 0, KEY_READ, &hkey) != ERROR_SUCCESS) return tree;
  ReadTree(hkey, u"", tree);
  RegCloseKey(hkey);
  return tree;
}

// Counts the keys the library opens or creates and the keys it closes, while the object lives, and
// records the order of its key creations ("+name") and value writes ("=name"). One at a time: a
// second counter alive at once would forward to the first one's replacements.
class KeyCounter {
 public:
  KeyCounter()
      : m_open("RegOpenKeyExW", reinterpret_cast<void *>(&Open)),
        m_create("RegCreateKeyExW", reinterpret_cast<void *>(&Create)),
        m_set("RegSetValueExW", reinterpret_cast<void *>(&Set)),
        m_close("RegCloseKey", reinterpret_cast<void *>(&Close)) {
    s_current = this;
    s_realOpen = m_open.Real<decltype(&Open)>();
    s_realCreate = m_create.Real<decltype(&Create)>();
    s_realSet = m_set.Real<decltype(&Set)>();
    s_realClose = m_close.Real<decltype(&Close)>();
    EXPECT_TRUE(m_open.Installed() && m_close.Installed()) << "the library does not import the key calls";
  }
  ~KeyCounter() { s_current = nullptr; }
  KeyCounter(const KeyCounter &) = delete;
  KeyCounter &operator=(const KeyCounter &) = delete;

  int Opened() const { return m_opened; }
  int Closed() const { return m_closed; }
  const std::vector<std::u16string> &Events() const { return m_events; }

 private:
  static LONG WINAPI Open(HKEY root, LPCWSTR path, DWORD options, REGSAM sam, PHKEY result) {
    const LONG r = s_realOpen(root, path, options, sam, result);
    if (r == ERROR_SUCCESS && s_current) ++s_current->m_opened;
    return r;
  }
  static LONG WINAPI Create(HKEY root, LPCWSTR path, DWORD reserved, LPWSTR cls, DWORD options, REGSAM sam,
                            LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition) {
    const LONG r = s_realCreate(root, path, reserved, cls, options, sam, security, result, disposition);
    if (s_current) {
      if (r == ERROR_SUCCESS) ++s_current->m_opened;
      s_current->m_events.push_back(u"+" + std::u16string(reinterpret_cast<const char16_t *>(path)));
    }
    return r;
  }
  static LONG WINAPI Set(HKEY hkey, LPCWSTR name, DWORD reserved, DWORD type, const BYTE *data, DWORD cb) {
    if (s_current) s_current->m_events.push_back(u"=" + std::u16string(reinterpret_cast<const char16_t *>(name)));
    return s_realSet(hkey, name, reserved, type, data, cb);
  }
  static LONG WINAPI Close(HKEY hkey) {
    if (s_current) ++s_current->m_closed;
    return s_realClose(hkey);
  }

  static inline KeyCounter *s_current = nullptr;
  static inline decltype(&Open) s_realOpen = nullptr;
  static inline decltype(&Create) s_realCreate = nullptr;
  static inline decltype(&Set) s_realSet = nullptr;
  static inline decltype(&Close) s_realClose = nullptr;
  int m_opened = 0;
  int m_closed = 0;
  std::vector<std::u16string> m_events;
  ImportRedirect m_open, m_create, m_set, m_close;
};

}  // namespace qntest
