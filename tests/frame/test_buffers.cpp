// CBuf and CTextBuf: sizes and growth, text termination, assignment, growth failure, DumpFile.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "../platform/temp_dir.h"
#include "../support/import_patch.h"
#include "../support/stream_doubles.h"
#include "qnutil/buffers.h"
#include "qnutil/utf16.h"

namespace {

const BYTE kBytes[] = "0123456789abcdefghijklmnopqrstuvwxyz";

std::string Used(const CBuf &buf) {
  return buf.Content() ? std::string(reinterpret_cast<const char *>(buf.Content()), buf.BytesUsed()) : std::string();
}

TEST(Buffers, EmptyAndInitialStates) {
  CBuf none;
  EXPECT_EQ(none.Content(), nullptr);
  EXPECT_EQ(none.Size(), 0u);
  EXPECT_EQ(none.BytesUsed(), 0u);
  EXPECT_EQ(none.SetSize(0), S_OK);

  CBuf sized(100);
  ASSERT_NE(sized.Content(), nullptr);
  EXPECT_EQ(sized.Size(), 100u);
  EXPECT_EQ(sized.BytesUsed(), 0u);
  EXPECT_EQ(sized.Content()[99], 0);  // fresh blocks come zero-filled
  BYTE b = 0;
  EXPECT_EQ(sized.Set(0, &b, 1), E_NOTIMPL);
  EXPECT_EQ(sized.Set(5, nullptr, 0), E_NOTIMPL);

  CTextBuf noText;
  EXPECT_EQ(static_cast<const unsigned short *>(noText), nullptr);
  EXPECT_EQ(noText.Cch(), 0u);
  CTextBuf five(5);
  ASSERT_NE(static_cast<const unsigned short *>(five), nullptr);
  EXPECT_EQ(static_cast<const unsigned short *>(five)[0], 0);
  EXPECT_EQ(five.Size(), 6u);
  EXPECT_EQ(five.Cch(), 0u);
  EXPECT_EQ(five.BytesUsed(), 0u);
}

// Growth doubles from the present size or goes straight to what is needed; SetSize is exact and
// moves the data; a size below the bytes in use cuts them.
TEST(Buffers, GrowthAndResizing) {
  CBuf buf;
  ASSERT_EQ(buf.Append(kBytes, 10), S_OK);
  EXPECT_EQ(buf.Size(), 10u);
  ASSERT_EQ(buf.Append(kBytes + 10, 1), S_OK);
  EXPECT_EQ(buf.Size(), 20u);
  EXPECT_EQ(Used(buf), "0123456789a");
  ASSERT_EQ(buf.Append(kBytes + 11, 25), S_OK);  // doubling (40) is more than needed (36)
  EXPECT_EQ(buf.Size(), 40u);
  ASSERT_EQ(buf.Append(kBytes, 0), S_OK);
  EXPECT_EQ(buf.Size(), 40u);

  const BYTE *block = buf.Content();
  EXPECT_EQ(buf.EnsureSize(40), S_OK);
  EXPECT_EQ(buf.Content(), block);
  EXPECT_EQ(buf.EnsureSize(41), S_OK);
  EXPECT_EQ(buf.Size(), 80u);
  EXPECT_EQ(buf.EnsureSize(500), S_OK);
  EXPECT_EQ(buf.Size(), 500u);
  EXPECT_EQ(Used(buf), std::string(reinterpret_cast<const char *>(kBytes), 36));

  ASSERT_EQ(buf.SetSize(5), S_OK);
  EXPECT_EQ(buf.Size(), 5u);
  EXPECT_EQ(Used(buf), "01234");
  buf.Clear();
  EXPECT_EQ(buf.BytesUsed(), 0u);
  EXPECT_EQ(buf.Size(), 5u);
  ASSERT_EQ(buf.SetSize(0), S_OK);
  EXPECT_EQ(buf.Content(), nullptr);
}

TEST(Buffers, TextAppendKeepsOneTerminator) {
  CTextBuf text;
  ASSERT_EQ(text.Append(qn::AsU(u"ab")), S_OK);
  ASSERT_EQ(text.Append(qn::AsU(u"cdef"), 1), S_OK);
  EXPECT_EQ(text.BytesUsed(), 8u);
  EXPECT_EQ(text.Cch(), 3u);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(static_cast<const unsigned short *>(text))), u"abc");

  // Embedded zeros are copied verbatim; NULL with a measured count appends an empty text.
  ASSERT_EQ(text.Append(qn::AsU(u"x\0y"), 3), S_OK);
  ASSERT_EQ(text.Append(nullptr), S_OK);
  EXPECT_EQ(text.Cch(), 6u);
  EXPECT_EQ(memcmp(text.Content(), u"abcx\0y\0", 14), 0);

  const unsigned short *block = text;
  text.Clear();
  EXPECT_EQ(text.Cch(), 0u);
  EXPECT_EQ(static_cast<const unsigned short *>(text), block);
  EXPECT_EQ(block[0], 0);

  CTextBuf empty;
  ASSERT_EQ(empty.Append(qn::AsU(u""), 0), S_OK);
  EXPECT_EQ(empty.BytesUsed(), 2u);
  EXPECT_EQ(empty.Cch(), 0u);
  ASSERT_EQ(empty.SetSize(7), S_OK);
  EXPECT_EQ(empty.Size(), 8u);
}

// Each buffer owns its own block after assignment; a target big enough keeps its block.
TEST(Buffers, AssignmentCopiesIntoOwnBlock) {
  CBuf source;
  ASSERT_EQ(source.Append(kBytes, 12), S_OK);
  CBuf small;
  small = source;
  EXPECT_NE(small.Content(), source.Content());
  EXPECT_EQ(Used(small), Used(source));
  EXPECT_EQ(small.Size(), source.Size());

  CBuf big(4096);
  const BYTE *bigBlock = big.Content();
  big = source;
  EXPECT_EQ(big.Content(), bigBlock);
  EXPECT_EQ(Used(big), Used(source));

  const CBuf &same = big;  // through a reference: the compiler refuses a plain self-assignment
  big = same;
  EXPECT_EQ(Used(big), Used(source));
  CBuf none;
  big = none;
  EXPECT_EQ(big.Content(), nullptr);
  EXPECT_EQ(big.BytesUsed(), 0u);

  CTextBuf text;
  ASSERT_EQ(text.Append(qn::AsU(u"hello")), S_OK);
  CTextBuf copy;
  copy = text;
  ASSERT_EQ(copy.Append(qn::AsU(u"!")), S_OK);
  EXPECT_EQ(text.Cch(), 5u);
  EXPECT_EQ(copy.Cch(), 6u);
}

// Fails every VirtualAlloc of the library while it lives.
class FailingVirtualAlloc {
 public:
  FailingVirtualAlloc() : m_redirect("VirtualAlloc", reinterpret_cast<void *>(&Fail)) {}
  bool Installed() const { return m_redirect.Installed(); }

 private:
  static LPVOID WINAPI Fail(LPVOID, SIZE_T, DWORD, DWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  qntest::ImportRedirect m_redirect;
};

TEST(Buffers, FailedGrowthKeepsData) {
  CBuf buf;
  ASSERT_EQ(buf.Append(kBytes, 10), S_OK);
  CTextBuf text;
  ASSERT_EQ(text.Append(qn::AsU(u"abc")), S_OK);
  const BYTE *block = buf.Content();
  {
    FailingVirtualAlloc fail;
    ASSERT_TRUE(fail.Installed());
    EXPECT_EQ(buf.Append(kBytes, 1), E_OUTOFMEMORY);
    EXPECT_EQ(buf.EnsureSize(11), E_OUTOFMEMORY);
    EXPECT_EQ(buf.SetSize(3), E_OUTOFMEMORY);
    EXPECT_EQ(text.Append(qn::AsU(u"defghijk")), E_OUTOFMEMORY);
    CBuf empty;
    EXPECT_EQ(empty.Append(kBytes, 1), E_OUTOFMEMORY);
    EXPECT_EQ(empty.Content(), nullptr);
    EXPECT_EQ(empty.Size(), 0u);
    CBuf target;
    target = buf;  // no block for the copy: the target stays as it was
    EXPECT_EQ(target.Content(), nullptr);
  }
  EXPECT_EQ(buf.Content(), block);
  EXPECT_EQ(buf.Size(), 10u);
  EXPECT_EQ(Used(buf), "0123456789");
  EXPECT_EQ(text.Cch(), 3u);
  EXPECT_EQ(text.BytesUsed(), 8u);
}

TEST(Buffers, DumpFileWritesUsedBytes) {
  qntest::TempDir dir;
  ASSERT_TRUE(dir.Ok());
  const std::u16string path = dir.Path(u"dump.bin");
  ASSERT_TRUE(qntest::WriteWholeFile(path, std::string(100, 'z')));
  CTextBuf text;
  ASSERT_EQ(text.Append(qn::AsU(u"abc")), S_OK);
  ASSERT_EQ(text.DumpFile(qn::AsU(path.c_str())), S_OK);
  EXPECT_EQ(qntest::ReadWholeFile(path), std::string("a\0b\0c\0\0\0", 8));

  CBuf none;
  ASSERT_EQ(none.DumpFile(qn::AsU(path.c_str())), S_OK);
  EXPECT_EQ(qntest::ReadWholeFile(path), "");

  const std::u16string missing = dir.Path(u"no_such_dir\\dump.bin");
  EXPECT_EQ(text.DumpFile(qn::AsU(missing.c_str())), E_INVALIDARG);
  EXPECT_EQ(text.DumpFile(qn::AsU(dir.Path(u"").c_str())), E_INVALIDARG);  // a directory
}

}  // namespace
