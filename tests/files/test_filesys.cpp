// CreateFileStgm's access, sharing and creation; directories created with their parents; the two
// attribute tests.
#include <gtest/gtest.h>

#include <string>

#include "files/file_bytes.h"
#include "platform/temp_dir.h"
#include "qnutil/filesys.h"

namespace {

using qntest::TempDir;
using qntest::U;
using qntest::WriteBytes;

class FileSys : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.Ok()); }
  TempDir dir_;
};

struct StgmCase {
  DWORD mode;
  bool canRead, canWrite, othersMayOpen;
};

TEST_F(FileSys, CreateFileStgmTakesAccessSharingAndCreationFromFourBits) {
  const StgmCase cases[] = {
      {STGM_READ, true, false, false},
      {STGM_WRITE, false, true, false},
      {STGM_READWRITE, true, true, false},
      {STGM_READWRITE | STGM_WRITE, true, true, false},
      {STGM_READ | STGM_SHARE_DENY_NONE, true, false, true},
      {STGM_READWRITE | STGM_SHARE_DENY_NONE, true, true, true},
      {STGM_READ | STGM_SHARE_DENY_WRITE, true, false, false},  // any other sharing is exclusive
      {STGM_READ | STGM_SHARE_EXCLUSIVE | STGM_TRANSACTED, true, false, false},
  };
  const std::u16string path = dir_.Path(u"stgm.txt");
  for (const StgmCase &c : cases) {
    SCOPED_TRACE(c.mode);
    ASSERT_TRUE(WriteBytes(path, "abc"));
    HANDLE h = CreateFileStgm(U(path), c.mode);
    ASSERT_NE(h, INVALID_HANDLE_VALUE) << GetLastError();
    char ch = 0;
    DWORD n = 0;
    EXPECT_EQ(ReadFile(h, &ch, 1, &n, nullptr) != FALSE, c.canRead);
    EXPECT_EQ(WriteFile(h, "x", 1, &n, nullptr) != FALSE, c.canWrite);
    HANDLE other = CreateFileW(qn::AsW(path.c_str()), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                               OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(other != INVALID_HANDLE_VALUE, c.othersMayOpen);
    if (other == INVALID_HANDLE_VALUE) {
      EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    } else {
      CloseHandle(other);
    }
    CloseHandle(h);
  }
}

TEST_F(FileSys, CreateFileStgmCreatesOrTruncatesOnlyWithStgmCreate) {
  const std::u16string path = dir_.Path(u"created.txt");
  SetLastError(0);
  EXPECT_EQ(CreateFileStgm(U(path), STGM_READWRITE), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

  ASSERT_TRUE(WriteBytes(path, "old contents"));
  HANDLE h = CreateFileStgm(U(path), STGM_CREATE);  // created or truncated, for reading
  ASSERT_NE(h, INVALID_HANDLE_VALUE) << GetLastError();
  EXPECT_EQ(GetFileSize(h, nullptr), 0u);
  DWORD n = 0;
  EXPECT_FALSE(WriteFile(h, "x", 1, &n, nullptr));
  CloseHandle(h);
}

TEST_F(FileSys, CreateDirIncludingParentsCreatesTopDownAndOnlyOnce) {
  dir_.Path(u"p");
  dir_.Path(u"p\\q");
  std::u16string path = dir_.Path(u"p\\q\\r");
  EXPECT_TRUE(CreateDirIncludingParents(qn::AsU(&path[0])));
  EXPECT_EQ(PathIsDirectoryW(U(path)), 1);
  EXPECT_FALSE(CreateDirIncludingParents(qn::AsU(&path[0])));  // exists already
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));

  // A trailing separator names the same directory; mixed separators both count.
  dir_.Path(u"a");
  std::u16string trailing = dir_.Path(u"a/b") + u"\\";
  EXPECT_TRUE(CreateDirIncludingParents(qn::AsU(&trailing[0])));
  EXPECT_EQ(PathIsDirectoryW(U(dir_.Path(u"a/b"))), 1);
}

TEST_F(FileSys, CreateDirIncludingParentsRefusesAndLeavesTheBufferAsPassed) {
  ASSERT_TRUE(WriteBytes(dir_.Path(u"file"), "in the way"));
  const std::u16string cases[] = {
      u"newdir",                     // no separator: never created
      u"\\x",                        // the only separator is the first character
      u"ab",                         // two characters
      dir_.Path(u"file\\sub\\leaf"),  // a parent cannot be created
  };
  for (const std::u16string &c : cases) {
    std::u16string buffer = c;
    EXPECT_FALSE(CreateDirIncludingParents(qn::AsU(&buffer[0]))) << std::string(c.begin(), c.end());
    EXPECT_EQ(buffer, c);
    EXPECT_EQ(PathFileExistsW(U(c)), 0);
  }
}

TEST_F(FileSys, AttributeTestsAnswerZeroOrOne) {
  const std::u16string file = dir_.Path(u"plain.txt");
  ASSERT_TRUE(WriteBytes(file, "x"));
  ASSERT_TRUE(SetFileAttributesW(qn::AsW(file.c_str()), FILE_ATTRIBUTE_READONLY));
  std::u16string dir = dir_.Path(u"dir");
  ASSERT_TRUE(CreateDirectoryW(qn::AsW(dir.c_str()), nullptr));
  const struct {
    std::u16string path;
    int exists, isDirectory;
  } cases[] = {{file, 1, 0}, {dir, 1, 1}, {dir + u"\\", 1, 1}, {dir_.Path(u"missing"), 0, 0}, {u"", 0, 0}};
  for (const auto &c : cases) {
    EXPECT_EQ(PathFileExistsW(U(c.path)), c.exists) << std::string(c.path.begin(), c.path.end());
    EXPECT_EQ(PathIsDirectoryW(U(c.path)), c.isDirectory) << std::string(c.path.begin(), c.path.end());
  }
}

}  // namespace
