// Conformance of file mappings: views of files and of memory mappings, their sizes, access and
// lifetimes, with Windows' errors.
#include <gtest/gtest.h>

#include <string>

#include "platform/temp_dir.h"

namespace {

using qntest::TempDir;

const WCHAR *W(const std::u16string &s) { return qn::AsW(s.c_str()); }

// A handle or a view released at the end of the scope.
struct Handle {
  HANDLE h;
  explicit Handle(HANDLE value) : h(value) {}
  ~Handle() {
    if (h != nullptr && h != INVALID_HANDLE_VALUE) CloseHandle(h);
  }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
};
struct ViewOf {
  char *p;
  explicit ViewOf(LPVOID value) : p(static_cast<char *>(value)) {}
  ~ViewOf() {
    if (p != nullptr) UnmapViewOfFile(p);
  }
  ViewOf(const ViewOf &) = delete;
  ViewOf &operator=(const ViewOf &) = delete;
};

class Mappings : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.Ok()); }

  // A file holding the bytes, opened with the access (shared for reading and writing).
  HANDLE FileWith(const std::string &bytes, DWORD access = GENERIC_READ, const char16_t *name = u"mapped.bin") {
    const std::u16string path = dir_.Path(name);
    HANDLE h = CreateFileW(W(path), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    if (h == INVALID_HANDLE_VALUE || !WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
      return INVALID_HANDLE_VALUE;
    }
    CloseHandle(h);
    return CreateFileW(W(path), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  }

  TempDir dir_;
};

// Answers the last error of a call that must fail with a null result.
template <class T>
DWORD FailureOf(T result) {
  const DWORD error = GetLastError();
  if (result != nullptr) return 0;
  return error;
}

TEST_F(Mappings, ReadOnlyViewOfAFileIsZeroPastItsEnd) {
  Handle file(FileWith("abc"));
  ASSERT_NE(file.h, INVALID_HANDLE_VALUE);
  Handle mapping(CreateFileMappingW(file.h, nullptr, PAGE_READONLY, 0, 0, nullptr));
  ASSERT_NE(mapping.h, nullptr) << GetLastError();
  ViewOf view(MapViewOfFile(mapping.h, FILE_MAP_READ, 0, 0, 0));
  ASSERT_NE(view.p, nullptr) << GetLastError();
  EXPECT_EQ(std::string(view.p, 3), "abc");
  // The rest of the page reads as zero.
  for (int i = 3; i < 4096; ++i) ASSERT_EQ(view.p[i], 0) << i;
}

TEST_F(Mappings, ViewsKeepTheirMappingAndFileAfterTheHandlesClose) {
  HANDLE file = FileWith("kept", GENERIC_READ, u"kept.bin");
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  ASSERT_NE(mapping, nullptr);
  ViewOf view(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 4));
  ASSERT_NE(view.p, nullptr);
  EXPECT_TRUE(CloseHandle(mapping));
  EXPECT_TRUE(CloseHandle(file));
  // The file's sharing went with its handle; the view still reads the file, even once deleted.
  const std::u16string path = dir_.Path(u"kept.bin");
  Handle exclusive(CreateFileW(W(path), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_NE(exclusive.h, INVALID_HANDLE_VALUE) << GetLastError();
  EXPECT_EQ(std::string(view.p, 4), "kept");
  CloseHandle(exclusive.h);
  exclusive.h = nullptr;
  EXPECT_TRUE(DeleteFileW(W(path))) << GetLastError();
  EXPECT_EQ(std::string(view.p, 4), "kept");
}

TEST_F(Mappings, AMappedFileCannotBeCutShort) {
  Handle file(FileWith("0123456789", GENERIC_READ | GENERIC_WRITE, u"cut.bin"));
  ASSERT_NE(file.h, INVALID_HANDLE_VALUE);
  HANDLE mapping = CreateFileMappingW(file.h, nullptr, PAGE_READONLY, 0, 0, nullptr);
  ASSERT_NE(mapping, nullptr);
  ViewOf view(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  ASSERT_NE(view.p, nullptr);
  ASSERT_TRUE(CloseHandle(mapping));  // the view keeps the mapping
  ASSERT_EQ(SetFilePointer(file.h, 4, nullptr, FILE_BEGIN), 4u);
  SetLastError(0);
  EXPECT_FALSE(SetEndOfFile(file.h));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_USER_MAPPED_FILE));
  SetLastError(0);
  EXPECT_EQ(CreateFileW(W(dir_.Path(u"cut.bin")), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        TRUNCATE_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_USER_MAPPED_FILE));
  ASSERT_EQ(SetFilePointer(file.h, 12, nullptr, FILE_BEGIN), 12u);
  EXPECT_TRUE(SetEndOfFile(file.h));  // growing is allowed
  ASSERT_TRUE(UnmapViewOfFile(view.p));
  view.p = nullptr;
  ASSERT_EQ(SetFilePointer(file.h, 4, nullptr, FILE_BEGIN), 4u);
  EXPECT_TRUE(SetEndOfFile(file.h)) << GetLastError();
  EXPECT_EQ(GetFileSize(file.h, nullptr), 4u);
}

TEST_F(Mappings, WritableViewsReachTheFileAndCopiesDoNot) {
  Handle file(FileWith("0123456789", GENERIC_READ | GENERIC_WRITE));
  ASSERT_NE(file.h, INVALID_HANDLE_VALUE);
  // A writable mapping larger than the file extends it.
  Handle mapping(CreateFileMappingW(file.h, nullptr, PAGE_READWRITE, 0, 16, nullptr));
  ASSERT_NE(mapping.h, nullptr) << GetLastError();
  EXPECT_EQ(GetFileSize(file.h, nullptr), 16u);
  ViewOf writer(MapViewOfFile(mapping.h, FILE_MAP_WRITE, 0, 0, 0));
  ViewOf copy(MapViewOfFile(mapping.h, FILE_MAP_COPY, 0, 0, 0));
  ASSERT_TRUE(writer.p != nullptr && copy.p != nullptr) << GetLastError();
  writer.p[0] = 'A';
  copy.p[1] = 'b';  // private to this view
  EXPECT_EQ(copy.p[0], 'A');  // a page not yet copied still shows the file
  ASSERT_TRUE(FlushViewOfFile(writer.p, 0));
  char buffer[16];
  DWORD n = 0;
  ASSERT_EQ(SetFilePointer(file.h, 0, nullptr, FILE_BEGIN), 0u);
  ASSERT_TRUE(ReadFile(file.h, buffer, 16, &n, nullptr));
  EXPECT_EQ(std::string(buffer, n), std::string("A123456789\0\0\0\0\0\0", 16));
  EXPECT_EQ(writer.p[1], '1');
  // An address inside a view unmaps the whole view.
  EXPECT_TRUE(UnmapViewOfFile(copy.p + 5));
  copy.p = nullptr;
}

TEST_F(Mappings, MemoryMappingsAreZeroedAndSharedBetweenViews) {
  Handle mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 0x30000, nullptr));
  ASSERT_NE(mapping.h, nullptr) << GetLastError();
  ViewOf whole(MapViewOfFile(mapping.h, FILE_MAP_ALL_ACCESS, 0, 0, 0));
  ViewOf tail(MapViewOfFile(mapping.h, FILE_MAP_READ, 0, 0x20000, 0));
  ASSERT_TRUE(whole.p != nullptr && tail.p != nullptr) << GetLastError();
  for (size_t i = 0; i < 0x30000; i += 512) ASSERT_EQ(whole.p[i], 0) << i;
  whole.p[0x20000 + 7] = 'x';
  EXPECT_EQ(tail.p[7], 'x');
}

TEST_F(Mappings, Refusals) {
  Handle empty(FileWith("", GENERIC_READ | GENERIC_WRITE, u"empty.bin"));
  Handle readable(FileWith("data", GENERIC_READ, u"readable.bin"));
  ASSERT_TRUE(empty.h != INVALID_HANDLE_VALUE && readable.h != INVALID_HANDLE_VALUE);
  const struct {
    HANDLE file;
    DWORD protect, sizeLow;
    DWORD error;
  } creations[] = {
      {empty.h, PAGE_READONLY, 0, ERROR_FILE_INVALID},
      {empty.h, PAGE_READWRITE, 0, ERROR_FILE_INVALID},
      {readable.h, PAGE_READWRITE, 0, ERROR_ACCESS_DENIED},
      {readable.h, PAGE_READONLY, 8, ERROR_NOT_ENOUGH_MEMORY},  // beyond a file it cannot extend
      {INVALID_HANDLE_VALUE, PAGE_READWRITE, 0, ERROR_INVALID_PARAMETER},
      {readable.h, PAGE_NOACCESS, 0, ERROR_INVALID_PARAMETER},
  };
  for (const auto &c : creations) {
    SetLastError(0);
    Handle mapping(CreateFileMappingW(c.file, nullptr, c.protect, 0, c.sizeLow, nullptr));
    EXPECT_EQ(FailureOf(mapping.h), c.error) << c.protect << ' ' << c.sizeLow;
  }

  Handle mapping(CreateFileMappingW(readable.h, nullptr, PAGE_READONLY, 0, 0, nullptr));
  Handle memory(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 0x20000, nullptr));
  ASSERT_TRUE(mapping.h != nullptr && memory.h != nullptr);
  const struct {
    HANDLE mapping;
    DWORD access, offset;
    SIZE_T bytes;
    DWORD error;
  } views[] = {
      {mapping.h, FILE_MAP_WRITE, 0, 0, ERROR_ACCESS_DENIED},
      {mapping.h, FILE_MAP_ALL_ACCESS, 0, 0, ERROR_ACCESS_DENIED},
      {mapping.h, FILE_MAP_READ, 0, 5, ERROR_ACCESS_DENIED},  // more than the mapping
      {memory.h, FILE_MAP_READ, 0x1000, 0, ERROR_MAPPED_ALIGNMENT},
      {memory.h, FILE_MAP_READ, 0x20000, 0, ERROR_INVALID_PARAMETER},  // at the end
      {memory.h, FILE_MAP_READ, 0x30000, 16, ERROR_INVALID_PARAMETER},
      {memory.h, FILE_MAP_READ, 0x10000, 0x10001, ERROR_ACCESS_DENIED},
      {readable.h, FILE_MAP_READ, 0, 0, ERROR_INVALID_HANDLE},
  };
  for (const auto &v : views) {
    SetLastError(0);
    ViewOf view(MapViewOfFile(v.mapping, v.access, 0, v.offset, v.bytes));
    EXPECT_EQ(FailureOf(view.p), v.error) << std::hex << v.access << ' ' << v.offset << ' ' << v.bytes;
  }
  int local = 0;
  SetLastError(0);
  EXPECT_FALSE(UnmapViewOfFile(&local));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_ADDRESS));
}

// The probe reads the process's memory map natively; Windows' probe faults on purpose.
class MappingsFaulting : public Mappings {};

TEST_F(MappingsFaulting, ReadOnlyAndCopyViews) {
  Handle file(FileWith(std::string(5000, 'z')));
  ASSERT_NE(file.h, INVALID_HANDLE_VALUE);
  Handle mapping(CreateFileMappingW(file.h, nullptr, PAGE_WRITECOPY, 0, 0, nullptr));
  ASSERT_NE(mapping.h, nullptr) << GetLastError();
  ViewOf readOnly(MapViewOfFile(mapping.h, FILE_MAP_READ, 0, 0, 0));
  ViewOf copy(MapViewOfFile(mapping.h, FILE_MAP_COPY, 0, 0, 0));
  ASSERT_TRUE(readOnly.p != nullptr && copy.p != nullptr);
  EXPECT_FALSE(IsBadReadPtr(readOnly.p, 5000));
  EXPECT_TRUE(IsBadWritePtr(readOnly.p, 1));
  EXPECT_TRUE(IsBadWritePtr(readOnly.p + 4999, 1));
  EXPECT_FALSE(IsBadWritePtr(copy.p, 5000));
  copy.p[4999] = 'c';
  EXPECT_EQ(readOnly.p[4999], 'z');
}

}  // namespace
