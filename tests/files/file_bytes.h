// Writing and reading back whole files for the file-system and mapping tests.
#pragma once

#include <string>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"

namespace qntest {

inline const unsigned short *U(const std::u16string &s) { return qn::AsU(s.c_str()); }

// Creates or truncates the file and writes the bytes; false when that fails.
inline bool WriteBytes(const std::u16string &path, const std::string &bytes) {
  HANDLE h = CreateFileW(qn::AsW(path.c_str()), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const BOOL ok = bytes.empty() || WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(h);
  return ok && written == bytes.size();
}

// The file's bytes; "<unreadable>" when it cannot be opened for shared reading.
inline std::string ReadBytes(const std::u16string &path) {
  HANDLE h = CreateFileW(qn::AsW(path.c_str()), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return "<unreadable>";
  std::string bytes(GetFileSize(h, nullptr), '\0');
  DWORD n = 0;
  if (!bytes.empty()) ReadFile(h, &bytes[0], static_cast<DWORD>(bytes.size()), &n, nullptr);
  CloseHandle(h);
  bytes.resize(n);
  return bytes;
}

}  // namespace qntest
