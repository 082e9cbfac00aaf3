// Conformance of the file services: opening by disposition, sharing among the process's handles,
// reading, writing, positions and sizes, and the names of the file system, with Windows' errors.
#include <gtest/gtest.h>

#include <string>

#include "platform/temp_dir.h"

namespace {

using qntest::TempDir;

const WCHAR *W(const std::u16string &s) { return qn::AsW(s.c_str()); }

// An open handle closed at the end of the scope.
class File {
 public:
  explicit File(HANDLE h = INVALID_HANDLE_VALUE) : h_(h) {}
  ~File() { Reset(); }
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  void Reset(HANDLE h = INVALID_HANDLE_VALUE) {
    if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
    h_ = h;
  }
  HANDLE get() const { return h_; }
  bool ok() const { return h_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE h_;
};

HANDLE Open(const std::u16string &path, DWORD access, DWORD share, DWORD disposition, DWORD flags = 0) {
  return CreateFileW(W(path), access, share, nullptr, disposition, flags, nullptr);
}

// Opens and answers the last error (0 on success); the handle goes to *file when given.
DWORD OpenError(const std::u16string &path, DWORD access, DWORD share, DWORD disposition, File *file = nullptr,
                DWORD flags = 0) {
  SetLastError(0xDEAD);
  const HANDLE h = Open(path, access, share, disposition, flags);
  const DWORD error = GetLastError();
  if (h == INVALID_HANDLE_VALUE) return error == 0 ? 0xBAD : error;
  if (file != nullptr) {
    file->Reset(h);
  } else {
    CloseHandle(h);
  }
  return error;
}

void WriteAll(HANDLE h, const std::string &bytes) {
  DWORD written = 0xDEAD;
  ASSERT_TRUE(WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
  ASSERT_EQ(written, bytes.size());
}

void MakeFile(const std::u16string &path, const std::string &bytes) {
  File f(Open(path, GENERIC_WRITE, 0, CREATE_ALWAYS));
  ASSERT_TRUE(f.ok()) << GetLastError();
  WriteAll(f.get(), bytes);
}

std::string ReadUpTo(HANDLE h, DWORD n) {
  std::string out(n, '\0');
  DWORD read = 0xDEAD;
  if (!ReadFile(h, &out[0], n, &read, nullptr)) return "<failed " + std::to_string(GetLastError()) + ">";
  out.resize(read);
  return out;
}

std::string Contents(const std::u16string &path) {
  File f(Open(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING));
  if (!f.ok()) return "<missing>";
  return ReadUpTo(f.get(), 4096);
}

class Files : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.Ok()); }
  TempDir dir_;
};

TEST_F(Files, WriteThenReadBackWithCountsAndEnd) {
  const std::u16string path = dir_.Path(u"data.bin");
  File f(Open(path, GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW));
  ASSERT_TRUE(f.ok()) << GetLastError();
  WriteAll(f.get(), std::string("hello\0world", 11));
  DWORD written = 0xDEAD;
  EXPECT_TRUE(WriteFile(f.get(), "x", 0, &written, nullptr));  // 0 bytes: nothing changes
  EXPECT_EQ(written, 0u);
  DWORD high = 0xDEAD;
  EXPECT_EQ(GetFileSize(f.get(), &high), 11u);
  EXPECT_EQ(high, 0u);
  // Reading at the end succeeds with nothing.
  EXPECT_EQ(ReadUpTo(f.get(), 4), "");
  EXPECT_EQ(SetFilePointer(f.get(), 0, nullptr, FILE_BEGIN), 0u);
  EXPECT_EQ(ReadUpTo(f.get(), 5), "hello");
  EXPECT_EQ(ReadUpTo(f.get(), 100), std::string("\0world", 6));
  // Writing past the end leaves a gap of zeros.
  EXPECT_EQ(SetFilePointer(f.get(), 3, nullptr, FILE_END), 14u);
  WriteAll(f.get(), "!");
  EXPECT_EQ(GetFileSize(f.get(), nullptr), 15u);
  EXPECT_EQ(SetFilePointer(f.get(), -4, nullptr, FILE_CURRENT), 11u);
  EXPECT_EQ(ReadUpTo(f.get(), 8), std::string("\0\0\0!", 4));
  // A duplicate is the same open file: it shares the position.
  HANDLE dup = nullptr;
  ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), f.get(), GetCurrentProcess(), &dup, 0, FALSE, DUPLICATE_SAME_ACCESS));
  EXPECT_EQ(SetFilePointer(dup, 6, nullptr, FILE_BEGIN), 6u);
  EXPECT_EQ(ReadUpTo(f.get(), 5), "world");
  EXPECT_TRUE(CloseHandle(dup));
  SetLastError(0);
  EXPECT_FALSE(ReadFile(dup, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST_F(Files, CreationDispositions) {
  struct Case {
    DWORD disposition;
    bool exists;
    DWORD error;            // last error after the call (0 when it succeeded without remark)
    const char *contents;   // afterwards
  };
  const Case cases[] = {
      {CREATE_NEW, false, 0, ""},
      {CREATE_NEW, true, ERROR_FILE_EXISTS, "old"},
      {CREATE_ALWAYS, false, 0, ""},
      {CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, ""},
      {OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, "<missing>"},
      {OPEN_EXISTING, true, 0, "old"},
      {OPEN_ALWAYS, false, 0, ""},
      {OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, "old"},
      {TRUNCATE_EXISTING, false, ERROR_FILE_NOT_FOUND, "<missing>"},
      {TRUNCATE_EXISTING, true, 0, ""},
      {0, true, ERROR_INVALID_PARAMETER, "old"},
      {6, true, ERROR_INVALID_PARAMETER, "old"},
  };
  int i = 0;
  for (const Case &c : cases) {
    const std::u16string path = dir_.Path(u"disp" + std::u16string(1, static_cast<char16_t>(u'a' + i++)));
    if (c.exists) MakeFile(path, "old");
    EXPECT_EQ(OpenError(path, GENERIC_READ | GENERIC_WRITE, 0, c.disposition), c.error)
        << "disposition " << c.disposition << " exists " << c.exists;
    EXPECT_EQ(Contents(path), c.contents) << "disposition " << c.disposition << " exists " << c.exists;
  }
  // Truncation follows the disposition, not the access: a handle that may only read gets an
  // empty file too.
  for (DWORD disposition : {DWORD{CREATE_ALWAYS}, DWORD{TRUNCATE_EXISTING}}) {
    const std::u16string path = dir_.Path(u"readonly_truncate" + std::u16string(1, static_cast<char16_t>(u'0' + disposition)));
    MakeFile(path, "old");
    File f;
    EXPECT_EQ(OpenError(path, GENERIC_READ, 0, disposition, &f), disposition == CREATE_ALWAYS ? static_cast<DWORD>(ERROR_ALREADY_EXISTS) : 0u);
    EXPECT_EQ(GetFileSize(f.get(), nullptr), 0u);
  }
}

TEST_F(Files, SharingAmongTheProcesssHandles) {
  constexpr DWORD R = GENERIC_READ, Wr = GENERIC_WRITE, RW = R | Wr;
  constexpr DWORD SR = FILE_SHARE_READ, SW = FILE_SHARE_WRITE, SD = FILE_SHARE_DELETE;
  struct Case {
    DWORD access1, share1, access2, share2;
    bool allowed;
  };
  const Case cases[] = {
      {R, SR, R, SR, true},
      {R, SR, Wr, SR | SW, false},     // the first does not share writing
      {R, SR | SW, Wr, SR | SW, true},
      {R, SR | SW, RW, SW, false},    // the second does not share the first's reading
      {Wr, SR | SW, R, SR, false},     // nor the first's writing
      {Wr, SW, Wr, SW, true},
      {R, 0, R, SR | SW | SD, false},
      {0, 0, RW, 0, true},            // attribute-only opens take no part
      {RW, 0, 0, 0, true},
      {DELETE, SR, R, SR, false},     // the second must share deletion
      {DELETE, SR, R, SR | SD, true},
      {R, SR, DELETE, SR | SW | SD, false},
  };
  const std::u16string path = dir_.Path(u"shared.txt");
  MakeFile(path, "x");
  for (const Case &c : cases) {
    File first;
    ASSERT_EQ(OpenError(path, c.access1, c.share1, OPEN_EXISTING, &first), 0u);
    File second;
    EXPECT_EQ(OpenError(path, c.access2, c.share2, OPEN_EXISTING, &second),
              c.allowed ? 0u : static_cast<DWORD>(ERROR_SHARING_VIOLATION))
        << std::hex << c.access1 << '/' << c.share1 << " then " << c.access2 << '/' << c.share2;
  }
  // A refused CREATE_ALWAYS leaves the file as it was; closing the conflicting handle frees it.
  File exclusive;
  ASSERT_EQ(OpenError(path, R, 0, OPEN_EXISTING, &exclusive), 0u);
  EXPECT_EQ(OpenError(path, Wr, SR | SW, CREATE_ALWAYS), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  SetLastError(0);
  EXPECT_FALSE(DeleteFileW(W(path)));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  exclusive.Reset();
  EXPECT_EQ(Contents(path), "x");
  EXPECT_TRUE(DeleteFileW(W(path))) << GetLastError();
}

TEST_F(Files, AccessRightsOfAHandle) {
  const std::u16string path = dir_.Path(u"access.txt");
  MakeFile(path, "abc");
  char buffer[4];
  DWORD n = 0xDEAD;
  File readOnly(Open(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING));
  SetLastError(0);
  EXPECT_FALSE(WriteFile(readOnly.get(), "z", 1, &n, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(n, 0u);
  File writeOnly(Open(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING));
  SetLastError(0);
  EXPECT_FALSE(ReadFile(writeOnly.get(), buffer, 3, &n, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  // An attribute-only open still answers the size.
  File attributes(Open(path, 0, 0, OPEN_EXISTING));
  ASSERT_TRUE(attributes.ok());
  EXPECT_EQ(GetFileSize(attributes.get(), nullptr), 3u);
}

TEST_F(Files, PositionsWithTheHighHalf) {
  File f(Open(dir_.Path(u"sparse.bin"), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW));
  ASSERT_TRUE(f.ok());
  LONG high = 1;
  SetLastError(0xDEAD);
  EXPECT_EQ(SetFilePointer(f.get(), 16, &high, FILE_BEGIN), 16u);  // 4 GiB + 16
  EXPECT_EQ(high, 1);
  EXPECT_EQ(GetLastError(), 0xDEADu);  // success leaves it alone
  high = -1;  // -1 as a 64-bit distance
  EXPECT_EQ(SetFilePointer(f.get(), -1, &high, FILE_CURRENT), 15u);
  EXPECT_EQ(high, 1);
  // 0xFFFFFFFF is a valid low half: only the last error tells success.
  high = 0;
  SetLastError(0xDEAD);
  EXPECT_EQ(SetFilePointer(f.get(), -1, &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 0u);
  // Before the start: refused, the position stays.
  high = -1;
  EXPECT_EQ(SetFilePointer(f.get(), -1, &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
  EXPECT_EQ(SetFilePointer(f.get(), -5, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
  high = 0;
  EXPECT_EQ(SetFilePointer(f.get(), 0, &high, FILE_CURRENT), 0xFFFFFFFFu);
  EXPECT_EQ(SetFilePointer(f.get(), 7, nullptr, 3), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  // Seeking alone does not grow the file; a write there does, and the size has a high half.
  DWORD sizeHigh = 0xDEAD;
  EXPECT_EQ(GetFileSize(f.get(), &sizeHigh), 0u);
  EXPECT_EQ(sizeHigh, 0u);
  high = 1;
  ASSERT_EQ(SetFilePointer(f.get(), 2, &high, FILE_BEGIN), 2u);
  WriteAll(f.get(), "z");
  EXPECT_EQ(GetFileSize(f.get(), &sizeHigh), 3u);
  EXPECT_EQ(sizeHigh, 1u);
  ASSERT_TRUE(SetFilePointer(f.get(), 1, nullptr, FILE_BEGIN) == 1u && SetEndOfFile(f.get()));
  EXPECT_EQ(GetFileSize(f.get(), &sizeHigh), 1u);
  EXPECT_EQ(sizeHigh, 0u);
}

TEST_F(Files, MissingNamesAndDirectories) {
  const std::u16string file = dir_.Path(u"plain.txt");
  MakeFile(file, "x");
  const std::u16string sub = dir_.Path(u"sub");
  ASSERT_TRUE(CreateDirectoryW(W(sub), nullptr));
  const std::u16string missing = dir_.Path(u"missing");
  struct Case {
    std::u16string path;
    DWORD error;
  };
  const Case opens[] = {
      {missing, ERROR_FILE_NOT_FOUND},
      {missing + u"\\x.txt", ERROR_PATH_NOT_FOUND},
      {file + u"\\x.txt", ERROR_PATH_NOT_FOUND},
      {sub, ERROR_ACCESS_DENIED},  // a directory, opened as a file
  };
  for (const Case &c : opens) {
    EXPECT_EQ(OpenError(c.path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), c.error);
    SetLastError(0);
    EXPECT_EQ(GetFileAttributesW(W(c.path)), c.error == ERROR_ACCESS_DENIED ? FILE_ATTRIBUTE_DIRECTORY : INVALID_FILE_ATTRIBUTES);
    if (c.error != ERROR_ACCESS_DENIED) {
      EXPECT_EQ(GetLastError(), c.error);
    }
    SetLastError(0);
    EXPECT_FALSE(DeleteFileW(W(c.path)));
    EXPECT_EQ(GetLastError(), c.error);
  }
  EXPECT_EQ(OpenError(sub, GENERIC_READ, FILE_SHARE_READ, CREATE_NEW), static_cast<DWORD>(ERROR_FILE_EXISTS));
  // With backup semantics a directory opens, but is no file to read.
  File d;
  ASSERT_EQ(OpenError(sub, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, &d, FILE_FLAG_BACKUP_SEMANTICS), 0u);
  char buffer[4];
  DWORD n = 0;
  SetLastError(0);
  EXPECT_FALSE(ReadFile(d.get(), buffer, 4, &n, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_FUNCTION));
  // While that handle, which does not share deletion, is open, the directory stays.
  SetLastError(0);
  EXPECT_FALSE(RemoveDirectoryW(W(sub)));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  d.Reset();
  EXPECT_EQ(OpenError(file + u"\\", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), static_cast<DWORD>(ERROR_INVALID_NAME));

  SetLastError(0);
  EXPECT_FALSE(CreateDirectoryW(W(sub), nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_FALSE(CreateDirectoryW(W(file), nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_FALSE(CreateDirectoryW(W(missing + u"\\deeper"), nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));

  MakeFile(dir_.Path(u"sub\\inner.txt"), "y");
  SetLastError(0);
  EXPECT_FALSE(RemoveDirectoryW(W(sub)));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DIR_NOT_EMPTY));
  EXPECT_FALSE(RemoveDirectoryW(W(file)));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DIRECTORY));
  EXPECT_FALSE(RemoveDirectoryW(W(missing)));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(Files, ReadOnlyAttribute) {
  const std::u16string path = dir_.Path(u"ro.txt");
  {
    // The creating handle may write even though the file is created read-only.
    File f(Open(path, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_READONLY));
    ASSERT_TRUE(f.ok()) << GetLastError();
    WriteAll(f.get(), "kept");
  }
  EXPECT_EQ(GetFileAttributesW(W(path)) & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY),
            FILE_ATTRIBUTE_READONLY);
#if !defined(_WIN32)
  // Windows refuses these; Wine, running as root here, asks the POSIX permissions, which do not
  // refuse root. The subset refuses them even to root.
  EXPECT_EQ(OpenError(path, GENERIC_WRITE, 0, OPEN_EXISTING), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(OpenError(path, GENERIC_WRITE, 0, CREATE_ALWAYS), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  SetLastError(0);
  EXPECT_FALSE(DeleteFileW(W(path)));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(Contents(path), "kept");
#endif
  ASSERT_TRUE(SetFileAttributesW(W(path), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(GetFileAttributesW(W(path)) & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_EQ(OpenError(path, GENERIC_WRITE, 0, OPEN_EXISTING), 0u);
}

}  // namespace
