// The file stream and the buffered write stream: open modes, deferred opens, transfers, the
// operations they do not support, buffering and commits, a missing target, out of memory.
#include <string.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "../platform/temp_dir.h"
#include "../support/heap_faults.h"
#include "../support/import_patch.h"
#include "../support/stream_doubles.h"
#include "qnutil/atlmodule.h"
#include "qnutil/streams.h"
#include "qnutil/utf16.h"

namespace {

const HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002);
const HRESULT kSharingViolation = static_cast<HRESULT>(0x80070020);
const HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005);

LARGE_INTEGER Move(long long n) {
  LARGE_INTEGER li;
  li.QuadPart = n;
  return li;
}

ULARGE_INTEGER USize(unsigned long long n) {
  ULARGE_INTEGER li;
  li.QuadPart = n;
  return li;
}

class FileStreams : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.Ok());
    path_ = dir_.Path(u"ten.txt");
    ASSERT_TRUE(qntest::WriteWholeFile(path_, "0123456789"));
  }
  const unsigned short *Path() const { return qn::AsU(path_.c_str()); }

  qntest::TempDir dir_;
  std::u16string path_;
};

// How each mode opens an existing 10-byte file, and where two written bytes land.
TEST_F(FileStreams, OpenModesAndSeekToEnd) {
  struct Row {
    DWORD mode;
    bool seekToEnd;
    unsigned long long position;
    const char *after;
  };
  const Row rows[] = {
      {STGM_WRITE, false, 0, "AB23456789"},
      {STGM_WRITE | STGM_CREATE, false, 0, "AB"},
      {STGM_WRITE, true, 10, "0123456789AB"},
      {STGM_READWRITE, false, 0, "AB23456789"},
      {STGM_READWRITE | STGM_WRITE | STGM_CREATE, false, 0, "AB"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.mode);
    ASSERT_TRUE(qntest::WriteWholeFile(path_, "0123456789"));
    IStream *stream = nullptr;
    ULARGE_INTEGER position = USize(12345);
    ASSERT_EQ(CreateStreamFromURL(Path(), row.mode, &stream, row.seekToEnd, &position, false), S_OK);
    EXPECT_EQ(position.QuadPart, row.position);
    EXPECT_EQ(stream->Write("AB", 2, nullptr), S_OK);
    EXPECT_EQ(stream->Release(), 0u);
    EXPECT_EQ(qntest::ReadWholeFile(path_), row.after);
  }
  // A write stream creates a missing file.
  IStream *stream = nullptr;
  const std::u16string fresh = dir_.Path(u"fresh.txt");
  ASSERT_EQ(CreateStreamFromURL(qn::AsU(fresh.c_str()), STGM_WRITE, &stream, false, nullptr, false), S_OK);
  ULONG written = 0;
  EXPECT_EQ(stream->Write("xyz", 3, &written), S_OK);
  EXPECT_EQ(written, 3u);
  stream->Release();
  EXPECT_EQ(qntest::ReadWholeFile(fresh), "xyz");
}

TEST_F(FileStreams, ReadAndSeek) {
  IStream *stream = nullptr;
  ASSERT_EQ(CreateStreamFromURL(Path(), STGM_READ, &stream, false, nullptr, false), S_OK);
  char buffer[16] = {};
  EXPECT_EQ(stream->Read(buffer, 4, nullptr), S_OK);  // a NULL count is accepted
  EXPECT_EQ(std::string(buffer, 4), "0123");

  struct Row {
    long long move;
    DWORD origin;
    unsigned long long position;
  };
  const Row rows[] = {{2, STREAM_SEEK_CUR, 6}, {-3, STREAM_SEEK_END, 7}, {1, STREAM_SEEK_SET, 1}, {5, 77, 5}};
  for (const Row &row : rows) {
    ULARGE_INTEGER position = USize(0);
    EXPECT_EQ(stream->Seek(Move(row.move), row.origin, &position), S_OK);
    EXPECT_EQ(position.QuadPart, row.position);
  }
  ULONG read = 99;
  EXPECT_EQ(stream->Read(buffer, sizeof buffer, &read), S_OK);
  EXPECT_EQ(std::string(buffer, read), "56789");
  EXPECT_EQ(stream->Read(buffer, sizeof buffer, &read), S_OK);  // at the end
  EXPECT_EQ(read, 0u);
  // Before the start: the platform's error, and the stream stays usable.
  EXPECT_EQ(stream->Seek(Move(-1), STREAM_SEEK_SET, nullptr), static_cast<HRESULT>(0x80070083));
  EXPECT_EQ(stream->Seek(Move(0), STREAM_SEEK_SET, nullptr), S_OK);
  // Writing to a read-only stream: the platform's refusal.
  EXPECT_EQ(stream->Write("x", 1, nullptr), kAccessDenied);
  EXPECT_EQ(stream->Release(), 0u);
}

// Files that cannot be opened: nothing is stored through the out pointers.
TEST_F(FileStreams, UnopenableFiles) {
  HANDLE locker = CreateFileW(qn::AsW(Path()), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(locker, INVALID_HANDLE_VALUE);
  const std::u16string missing = dir_.Path(u"missing.txt");
  const std::u16string directory = dir_.Path(u"sub");
  ASSERT_TRUE(CreateDirectoryW(qn::AsW(directory.c_str()), nullptr));
  struct Row {
    const char16_t *name;
    DWORD mode;
    bool seekToEnd, defer;
    HRESULT expected;
  };
  const Row rows[] = {
      {missing.c_str(), STGM_READ, false, false, kFileNotFound},
      {missing.c_str(), STGM_READ, true, true, kFileNotFound},  // seekToEnd opens at once
      {directory.c_str(), STGM_READ, false, false, kAccessDenied},
      {path_.c_str(), STGM_READ, false, false, kSharingViolation},
      {path_.c_str(), STGM_WRITE, false, false, kSharingViolation},
  };
  for (const Row &row : rows) {
    IStream *stream = reinterpret_cast<IStream *>(0x1234);
    ULARGE_INTEGER position = USize(77);
    EXPECT_EQ(CreateStreamFromURL(qn::AsU(row.name), row.mode, &stream, row.seekToEnd, &position, row.defer),
              row.expected);
    EXPECT_EQ(stream, reinterpret_cast<IStream *>(0x1234));
    EXPECT_EQ(position.QuadPart, 77u);
  }
  CloseHandle(locker);
  EXPECT_EQ(CreateStreamFromURL(Path(), STGM_READ, nullptr, false, nullptr, false), E_POINTER);
}

TEST_F(FileStreams, DeferredOpen) {
  const std::u16string missing = dir_.Path(u"missing.txt");
  IStream *stream = nullptr;
  ULARGE_INTEGER position = USize(77);
  ASSERT_EQ(CreateStreamFromURL(qn::AsU(missing.c_str()), STGM_READ, &stream, false, &position, true), S_OK);
  EXPECT_EQ(position.QuadPart, 0u);
  char c;
  EXPECT_EQ(stream->Read(&c, 1, nullptr), kFileNotFound);
  EXPECT_EQ(stream->Read(&c, 1, nullptr), E_FAIL);
  EXPECT_EQ(stream->Seek(Move(0), STREAM_SEEK_SET, nullptr), E_FAIL);
  stream->Release();

  // The file is not touched until the first transfer: a writer that comes first is not refused.
  ASSERT_EQ(CreateStreamFromURL(Path(), STGM_READ, &stream, false, nullptr, true), S_OK);
  ASSERT_TRUE(qntest::WriteWholeFile(path_, "later"));
  char buffer[8] = {};
  ULONG read = 0;
  EXPECT_EQ(stream->Read(buffer, sizeof buffer, &read), S_OK);
  EXPECT_EQ(std::string(buffer, read), "later");
  stream->Release();

  // Empty names never open.
  ASSERT_EQ(CreateStreamFromURL(qn::AsU(u" \t"), STGM_READ, &stream, false, nullptr, true), S_OK);
  EXPECT_EQ(stream->Write("x", 1, nullptr), E_FAIL);
  stream->Release();
}

// What both objects answer to QueryInterface and to the operations they leave out, and the module
// lock each holds while it lives.
TEST_F(FileStreams, InterfacesAndUnsupportedOperations) {
  const LONG locksBefore = _pModule->m_nLockCnt;
  IStream *file = nullptr;
  ASSERT_EQ(CreateStreamFromURL(Path(), STGM_READ, &file, false, nullptr, false), S_OK);
  qntest::CountingStream target;
  IBufferedStream *buffered = nullptr;
  ASSERT_EQ(CreateBufferedWriteStream(&target, &buffered), S_OK);
  EXPECT_EQ(_pModule->m_nLockCnt, locksBefore + 2);

  struct Row {
    IStream *stream;
    bool isBuffered;
  };
  for (const Row &row : {Row{file, false}, Row{buffered, true}}) {
    IStream *s = row.stream;
    SCOPED_TRACE(row.isBuffered);
    void *p = reinterpret_cast<void *>(0x1);
    EXPECT_EQ(s->QueryInterface(IID_IUnknown, &p), S_OK);
    EXPECT_EQ(p, static_cast<void *>(s));
    EXPECT_EQ(s->QueryInterface(IID_IStream, &p), S_OK);
    EXPECT_EQ(p, static_cast<void *>(s));
    EXPECT_EQ(s->QueryInterface(IID_ISequentialStream, &p), E_NOINTERFACE);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(s->QueryInterface(IID_IBufferedStream, &p), row.isBuffered ? S_OK : E_NOINTERFACE);
    EXPECT_EQ(s->QueryInterface(IID_IStream, nullptr), E_POINTER);
    EXPECT_EQ(s->Release(), row.isBuffered ? 3u : 2u);  // the references QueryInterface added
    EXPECT_EQ(s->Release(), row.isBuffered ? 2u : 1u);
    if (row.isBuffered) s->Release();

    STATSTG stat;
    IStream *clone = nullptr;
    EXPECT_EQ(s->Stat(&stat, STATFLAG_NONAME), E_NOTIMPL);
    EXPECT_EQ(s->Clone(&clone), E_NOTIMPL);
    EXPECT_EQ(s->CopyTo(&target, USize(1), nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(s->LockRegion(USize(0), USize(1), 1), E_NOTIMPL);
    EXPECT_EQ(s->UnlockRegion(USize(0), USize(1), 1), E_NOTIMPL);
    if (!row.isBuffered) {
      EXPECT_EQ(s->SetSize(USize(1)), E_NOTIMPL);
      EXPECT_EQ(s->Commit(STGC_DEFAULT), E_NOTIMPL);
      EXPECT_EQ(s->Revert(), E_NOTIMPL);
    }
  }
  EXPECT_EQ(file->Release(), 0u);
  EXPECT_EQ(buffered->Release(), 0u);
  EXPECT_EQ(_pModule->m_nLockCnt, locksBefore);
  EXPECT_EQ(target.Refs(), 1u);
}

TEST(BufferedStreams, GathersUntilCommit) {
  qntest::CountingStream target;
  IBufferedStream *stream = nullptr;
  ASSERT_EQ(CreateBufferedWriteStream(&target, &stream), S_OK);
  EXPECT_EQ(target.Refs(), 2u);
  const std::string bytes(3000, 'q');
  for (int i = 0; i < 3; ++i) {
    ULONG written = 0;
    ASSERT_EQ(stream->Write(bytes.data(), 1000, &written), S_OK);
    EXPECT_EQ(written, 1000u);
  }
  EXPECT_EQ(target.Writes(), 0);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  ASSERT_EQ(target.WriteSizes(), std::vector<ULONG>{3000});
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_EQ(target.Writes(), 1);

  // Read sees the target as it is, without the waiting bytes; Seek writes them first.
  ASSERT_EQ(stream->Write("tail", 4, nullptr), S_OK);
  ASSERT_EQ(stream->Seek(Move(0), STREAM_SEEK_SET, nullptr), S_OK);  // via the target: writes first
  EXPECT_EQ(target.SizesAtSeek(), std::vector<size_t>{3004});
  ASSERT_EQ(stream->Write("more", 4, nullptr), S_OK);
  char buffer[4];
  ULONG read = 0;
  EXPECT_EQ(stream->Read(buffer, 4, &read), S_OK);
  EXPECT_EQ(std::string(buffer, read), "qqqq");
  EXPECT_EQ(target.Data().size(), 3004u);

  // Revert drops the waiting bytes; the last release writes what waits, then lets the target go.
  EXPECT_EQ(stream->Revert(), S_OK);
  ASSERT_EQ(stream->Write("end", 3, nullptr), S_OK);
  const int writesBefore = target.Writes();
  EXPECT_EQ(stream->Release(), 0u);
  EXPECT_EQ(target.Writes(), writesBefore + 1);
  EXPECT_EQ(std::string(target.Data().begin() + 4, target.Data().begin() + 7), "end");
  EXPECT_EQ(target.Refs(), 1u);
}

TEST(BufferedStreams, FailedTargetWriteKeepsBytes) {
  qntest::CountingStream target;
  target.FailWritesWith(STG_E_MEDIUMFULL);
  IBufferedStream *stream = nullptr;
  ASSERT_EQ(CreateBufferedWriteStream(&target, &stream), S_OK);
  ASSERT_EQ(stream->Write("abc", 3, nullptr), S_OK);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), STG_E_MEDIUMFULL);
  EXPECT_EQ(stream->Seek(Move(0), STREAM_SEEK_SET, nullptr), STG_E_MEDIUMFULL);
  EXPECT_EQ(target.Seeks(), 0);
  target.FailWritesWith(S_OK);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_EQ(std::string(target.Data().begin(), target.Data().end()), "abc");
  // On the last release a failure is swallowed and the bytes are lost.
  target.FailWritesWith(STG_E_MEDIUMFULL);
  ASSERT_EQ(stream->Write("def", 3, nullptr), S_OK);
  EXPECT_EQ(stream->Release(), 0u);
  EXPECT_EQ(target.Writes(), 4);
  EXPECT_EQ(target.Refs(), 1u);
}

// SetSize sets the buffer's capacity only; above 4 GiB - 1 it is refused.
TEST(BufferedStreams, SetSizeAndTargets) {
  qntest::CountingStream first, second;
  IBufferedStream *stream = nullptr;
  ASSERT_EQ(CreateBufferedWriteStream(&first, &stream), S_OK);
  ASSERT_EQ(stream->Write("abcdef", 6, nullptr), S_OK);
  EXPECT_EQ(stream->SetSize(USize(0x100000000ull)), E_INVALIDARG);
  EXPECT_EQ(stream->SetSize(USize(4)), S_OK);  // keeps the first four waiting bytes

  IStream *held = nullptr;
  EXPECT_EQ(stream->GetTargetStream(&held), S_OK);
  EXPECT_EQ(held, &first);
  EXPECT_EQ(first.Refs(), 3u);
  held->Release();
  // A new target gets the waiting bytes at the next commit.
  EXPECT_EQ(stream->SetTargetStream(&second), S_OK);
  EXPECT_EQ(first.Refs(), 1u);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_EQ(first.Writes(), 0);
  EXPECT_EQ(std::string(second.Data().begin(), second.Data().end()), "abcd");
  EXPECT_EQ(stream->Release(), 0u);
  EXPECT_EQ(second.Refs(), 1u);
}

// Without a target: what can work works, the rest answers E_UNEXPECTED, nothing is called.
TEST(BufferedStreams, WithoutTarget) {
  IBufferedStream *stream = nullptr;
  ASSERT_EQ(CreateBufferedWriteStream(nullptr, &stream), S_OK);
  IStream *held = reinterpret_cast<IStream *>(0x1);
  EXPECT_EQ(stream->GetTargetStream(&held), S_FALSE);
  EXPECT_EQ(held, nullptr);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);  // nothing waiting
  ASSERT_EQ(stream->Write("abc", 3, nullptr), S_OK);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), E_UNEXPECTED);
  EXPECT_EQ(stream->Seek(Move(0), STREAM_SEEK_SET, nullptr), E_UNEXPECTED);
  char c;
  ULONG read = 9;
  EXPECT_EQ(stream->Read(&c, 1, &read), E_UNEXPECTED);
  EXPECT_EQ(read, 0u);
  // The bytes were kept: a target set later receives them.
  qntest::CountingStream target;
  ASSERT_EQ(stream->SetTargetStream(&target), S_OK);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_EQ(std::string(target.Data().begin(), target.Data().end()), "abc");
  ASSERT_EQ(stream->SetTargetStream(nullptr), S_OK);
  EXPECT_EQ(target.Refs(), 1u);
  ASSERT_EQ(stream->Write("lost", 4, nullptr), S_OK);
  EXPECT_EQ(stream->Release(), 0u);
  EXPECT_EQ(CreateBufferedWriteStream(&target, nullptr), E_POINTER);
  EXPECT_EQ(target.Refs(), 1u);
}

// The buffer cannot grow: Write answers E_OUTOFMEMORY and leaves the written count alone.
TEST(BufferedStreams, WriteWhenBufferCannotGrow) {
  qntest::CountingStream target;
  IBufferedStream *stream = nullptr;
  ASSERT_EQ(CreateBufferedWriteStream(&target, &stream), S_OK);
  ASSERT_EQ(stream->Write("abc", 3, nullptr), S_OK);
  {
    qntest::ImportRedirect fail("VirtualAlloc", reinterpret_cast<void *>(+[](LPVOID, SIZE_T, DWORD, DWORD) WINAPI -> LPVOID {
                                  return nullptr;
                                }));
    ASSERT_TRUE(fail.Installed());
    const std::string big(2000, 'x');
    ULONG written = 77;
    EXPECT_EQ(stream->Write(big.data(), 2000, &written), E_OUTOFMEMORY);
    EXPECT_EQ(written, 77u);
  }
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_EQ(target.WriteSizes(), std::vector<ULONG>{3});
  stream->Release();
}

// Out of memory in the factories: COOMExcep leaves with nothing stored and nothing leaked.
TEST_F(FileStreams, FactoriesOutOfMemory) {
  struct State {
    IStream *stream = nullptr;
    ~State() {
      if (stream) stream->Release();
    }
  };
  const std::u16string path = path_;
  for (bool defer : {false, true}) {
    const int allocations = qntest::RunUntilSuccess(
        [] { return std::make_unique<State>(); },
        [&](std::unique_ptr<State> &s) {
          ASSERT_EQ(CreateStreamFromURL(qn::AsU(path.c_str()), STGM_READ, &s->stream, false, nullptr, defer), S_OK);
          char c;
          EXPECT_EQ(s->stream->Read(&c, 1, nullptr), S_OK);
        },
        [](std::unique_ptr<State> &s) { EXPECT_EQ(s->stream, nullptr); });
    EXPECT_GE(allocations, defer ? 2 : 1);
  }
  qntest::CountingStream target;
  const int allocations = qntest::RunUntilSuccess(
      [] { return std::make_unique<State>(); },
      [&](std::unique_ptr<State> &s) {
        IBufferedStream *p = nullptr;
        ASSERT_EQ(CreateBufferedWriteStream(&target, &p), S_OK);
        s->stream = p;
      },
      [](std::unique_ptr<State> &s) { EXPECT_EQ(s->stream, nullptr); });
  EXPECT_GE(allocations, 1);
  EXPECT_EQ(target.Refs(), 1u);
}

}  // namespace
