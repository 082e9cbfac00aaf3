// A directory of the test's own under the temporary directory, and names in it; the names a test
// asked for are removed (files and empty directories, innermost first) with the directory when the
// test ends. Works the same on Windows and in the subset.
#pragma once

#include <string>
#include <vector>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"

namespace qntest {

class TempDir {
 public:
  TempDir() {
    WCHAR buffer[MAX_PATH + 1];
    const DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
    const std::u16string base(reinterpret_cast<const char16_t *>(buffer), n);
    static unsigned counter = 0;
    for (unsigned attempt = 0; attempt < 1000 && dir_.empty(); ++attempt) {
      const std::u16string candidate = base + u"qnutil_t" + Number(GetCurrentProcessId()) + u"_" + Number(++counter);
      if (CreateDirectoryW(qn::AsW(candidate.c_str()), nullptr)) dir_ = candidate;
    }
  }
  ~TempDir() {
    for (auto it = names_.rbegin(); it != names_.rend(); ++it) {
      const auto *name = qn::AsW(it->c_str());
      SetFileAttributesW(name, FILE_ATTRIBUTE_NORMAL);
      if (!DeleteFileW(name)) RemoveDirectoryW(name);
    }
    if (!dir_.empty()) RemoveDirectoryW(qn::AsW(dir_.c_str()));
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  bool Ok() const { return !dir_.empty(); }
  // The full path of a name in the directory (it may hold separators), removed at the end.
  std::u16string Path(const std::u16string &name) {
    names_.push_back(dir_ + u"\\" + name);
    return names_.back();
  }

 private:
  static std::u16string Number(DWORD v) {
    std::u16string s;
    do {
      s.insert(s.begin(), static_cast<char16_t>(u'0' + v % 10));
      v /= 10;
    } while (v != 0);
    return s;
  }

  std::u16string dir_;
  std::vector<std::u16string> names_;
};

}  // namespace qntest
