// CMemMapFile and CMemMapTextFile: opening, failures and the state they leave, ownership through
// Swap, ANSI conversion, UTF-16 in place or copied when the view has no room for the terminator.
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>

#include "files/file_bytes.h"
#include "platform/temp_dir.h"
#include "qnutil/memmap.h"
#include "support/heap_faults.h"

namespace {

using qntest::ReadBytes;
using qntest::TempDir;
using qntest::U;
using qntest::WriteBytes;

class MemMap : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.Ok()); }
  std::u16string FileWith(const std::string &bytes, const char16_t *name = u"mapped.txt") {
    const std::u16string path = dir_.Path(name);
    EXPECT_TRUE(WriteBytes(path, bytes));
    return path;
  }
  static void ExpectClosed(const CMemMapFile &file) {
    EXPECT_EQ(static_cast<BYTE *>(file), nullptr);
    EXPECT_EQ(file.DwSize(), 0u);
  }
  TempDir dir_;
};

// The field order of the DLL's interface: virtual table, file, mapping, size, view.
struct LayoutProbe : CMemMapFile {
  size_t Offset(const void *field) const {
    return static_cast<size_t>(static_cast<const char *>(field) - reinterpret_cast<const char *>(this));
  }
  size_t File() const { return Offset(std::addressof(m_hFile)); }
  size_t Mapping() const { return Offset(std::addressof(m_hMapping)); }
  size_t Size() const { return Offset(&m_cbSize); }
  size_t View() const { return Offset(&m_pbView); }
};

TEST(MemMapLayout, FieldsFollowTheVirtualTableInOrder) {
  const LayoutProbe probe;
  const size_t p = sizeof(void *);
  EXPECT_EQ(probe.File(), p);
  EXPECT_EQ(probe.Mapping(), 2 * p);
  EXPECT_EQ(probe.Size(), 3 * p);
  EXPECT_EQ(probe.View(), p == 4 ? 16u : 32u);
}

TEST_F(MemMap, OpenFailuresLeaveTheObjectClosed) {
  const std::u16string locked = FileWith("locked");
  HANDLE exclusive = CreateFileW(qn::AsW(locked.c_str()), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(exclusive, INVALID_HANDLE_VALUE);
  std::u16string directory = dir_.Path(u"dir");
  ASSERT_TRUE(CreateDirectoryW(qn::AsW(directory.c_str()), nullptr));
  const struct {
    std::u16string path;
    HRESULT expected;
  } cases[] = {
      {dir_.Path(u"missing.txt"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)},
      {FileWith("", u"empty.txt"), HRESULT_FROM_WIN32(ERROR_FILE_INVALID)},
      {locked, HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION)},
      {directory, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.path.begin(), c.path.end()));
    CMemMapFile file;
    ASSERT_EQ(file.OpenNoFile(16), S_OK);  // an open object is closed first
    EXPECT_EQ(file.Open(U(c.path), STGM_READ), c.expected);
    ExpectClosed(file);
    CMemMapTextFile text;
    EXPECT_EQ(text.Open(U(c.path), STGM_READ), c.expected);
    ExpectClosed(text);
    EXPECT_EQ(text.Cch(), 0u);
  }
  CloseHandle(exclusive);
}

TEST_F(MemMap, BytesAreTheFilesOwnAndWritableViewsReachIt) {
  const std::u16string path = FileWith("0123456789");
  {
    CMemMapFile file;
    ASSERT_EQ(file.Open(U(path), STGM_READWRITE), S_OK);
    ASSERT_EQ(file.DwSize(), 10u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(static_cast<BYTE *>(file)), 10), "0123456789");
    static_cast<BYTE *>(file)[0] = 'X';
    // The object holds the file without sharing.
    EXPECT_EQ(CreateFileW(qn::AsW(path.c_str()), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                          OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE);
  }
  EXPECT_EQ(ReadBytes(path), "X123456789");

  HANDLE h = CreateFileW(qn::AsW(path.c_str()), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  CMemMapFile taken;
  ASSERT_EQ(taken.SetFile(h, STGM_READ), S_OK);
  EXPECT_EQ(taken.DwSize(), 10u);
  taken.Close();
  ExpectClosed(taken);
  taken.Close();
  EXPECT_EQ(ReadBytes(path), "X123456789");  // the handle was closed with the object
}

TEST_F(MemMap, PagingFileBlocksAreZeroWritableAndMoveOnlyBySwap) {
  CMemMapFile block;
  EXPECT_TRUE(FAILED(block.OpenNoFile(0)));
  ExpectClosed(block);
  ASSERT_EQ(block.OpenNoFile(8192), S_OK);
  BYTE *pb = block;
  for (DWORD i = 0; i < 8192; ++i) ASSERT_EQ(pb[i], 0) << i;
  pb[8191] = 7;

  CMemMapFile other;
  block.Swap(other);
  ExpectClosed(block);
  EXPECT_EQ(static_cast<BYTE *>(other), pb);
  EXPECT_EQ(other.DwSize(), 8192u);

  CMemMapFile alias(other);  // shares the view; only `other` releases it
  EXPECT_EQ(static_cast<BYTE *>(alias), pb);
  alias.Swap(block);
  EXPECT_EQ(static_cast<BYTE *>(block)[8191], 7);
  block = CMemMapFile();  // forget the alias without releasing it (assignment releases nothing)
  EXPECT_EQ(static_cast<BYTE *>(other)[8191], 7);
}

TEST_F(MemMap, AnsiTextIsConvertedIntoAPrivateBlockAndTheFileLetGo) {
  const std::u16string path = FileWith("name=value\r\nx=\"y z\"");
  for (DWORD mode : {STGM_READ, STGM_READWRITE}) {
    CMemMapTextFile text;
    ASSERT_EQ(OpenMemMapTextFromURL(U(path), mode, text), S_OK);
    ASSERT_EQ(text.Cch(), 19u);
    EXPECT_EQ(text.DwSize(), 38u);
    const unsigned short *pwsz = text;
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(pwsz)), u"name=value\r\nx=\"y z\"");
    static_cast<unsigned short *>(text)[0] = u'N';  // private: never reaches the file
    // The file is no longer held: it can be opened exclusively.
    HANDLE h = CreateFileW(qn::AsW(path.c_str()), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(h, INVALID_HANDLE_VALUE);
    CloseHandle(h);
  }
  EXPECT_EQ(ReadBytes(path), "name=value\r\nx=\"y z\"");
}

// UTF-16 text with a byte-order mark, of the given byte size, whose code units are all non-zero.
std::string Utf16Bytes(size_t cb) {
  std::string bytes = "\xFF\xFE";
  for (size_t i = 2; i < cb; ++i) bytes += (i % 2 == 0) ? static_cast<char>('A' + (i / 2) % 26) : '\x04';
  return bytes;
}

TEST_F(MemMap, Utf16TextIsTerminatedAtEverySizeWithoutTouchingTheFile) {
  const size_t sizes[] = {2000, 4090, 4092, 4093, 4094, 4096, 4098, 8192, 65530, 65532, 65534, 65536, 65538};
  for (size_t cb : sizes) {
    const std::string bytes = Utf16Bytes(cb);
    const std::u16string path = FileWith(bytes, u"wide.txt");
    for (DWORD mode : {STGM_READ, STGM_READWRITE}) {
      SCOPED_TRACE(testing::Message() << cb << " bytes, mode " << mode);
      CMemMapTextFile text;
      ASSERT_EQ(text.Open(U(path), mode), S_OK);
      ASSERT_EQ(text.Cch(), cb / 2);
      const unsigned short *pwsz = text;
      EXPECT_EQ(pwsz[0], 0xFEFF);
      const size_t last = 2 * (text.Cch() - 1);
      EXPECT_EQ(pwsz[text.Cch() - 1], static_cast<unsigned char>(bytes[last]) | static_cast<unsigned char>(bytes[last + 1]) << 8);
      EXPECT_EQ(pwsz[text.Cch()], 0);
      EXPECT_EQ(std::char_traits<char16_t>::length(reinterpret_cast<const char16_t *>(pwsz)), cb / 2);
    }
    EXPECT_EQ(ReadBytes(path), bytes);
  }
}

TEST_F(MemMap, InPlaceUtf16TextWritesReachTheFileWhenWritable) {
  const std::u16string path = FileWith(Utf16Bytes(100), u"inplace.txt");
  {
    CMemMapTextFile text;
    ASSERT_EQ(text.Open(U(path), STGM_READWRITE), S_OK);
    static_cast<unsigned short *>(text)[1] = u'z';
  }
  EXPECT_EQ(ReadBytes(path).substr(0, 4), std::string("\xFF\xFEz\0", 4));
}

TEST_F(MemMap, TextConversionMakesNoHeapAllocationsAndLeaksNothing) {
  const std::u16string path = FileWith(std::string(5000, 'a'));
  // Held by value in a plain struct: the class's own operator new would put it on the library heap
  // before the counting starts, and its deletion would then count as a free of an uncounted block.
  struct Held {
    CMemMapTextFile text;
  };
  const int allocations = qntest::RunUntilSuccess(
      [] { return std::make_unique<Held>(); },
      [&](std::unique_ptr<Held> &held) { ASSERT_EQ(held->text.Open(U(path), STGM_READ), S_OK); },
      [](std::unique_ptr<Held> &) {});
  EXPECT_EQ(allocations, 0);
}

}  // namespace
