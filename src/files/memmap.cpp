// CMemMapFile and CMemMapTextFile: one mapping and one view per object; text files decoded or
// terminated as memmap.h describes.
#include "qnutil/memmap.h"

#include <string.h>

#include "qnutil/filesys.h"
#include "qnutil/paths.h"
#include "qnutil/utf16.h"

namespace {

// The size of CMemMapFile is part of the 32-bit DLL's interface: a virtual table and four fields.
static_assert(sizeof(CHandle) == sizeof(HANDLE), "CHandle must hold only the handle");
static_assert(sizeof(CMemMapFile) == (sizeof(void *) == 4 ? 20 : 40), "CMemMapFile's layout changed");
static_assert(sizeof(CMemMapTextFile) == sizeof(CMemMapFile), "CMemMapTextFile adds no fields");

// The smallest page of the supported systems: a tail inside a 4 KiB page is inside the real page.
constexpr DWORD kPageFloor = 4096;
constexpr DWORD kTerminatorBytes = 4;

HRESULT LastErrorOrFail() {
  const DWORD error = GetLastError();
  return error != ERROR_SUCCESS ? HRESULT_FROM_WIN32(error) : E_FAIL;
}

bool IsWritable(DWORD grfMode) { return (grfMode & (STGM_WRITE | STGM_READWRITE)) != 0; }

// Copies a handle value into a CHandle field without releasing what the field held.
void CopyHandleValue(CHandle &target, const CHandle &source) { *&target = source(); }

}  // namespace

CMemMapFile::CMemMapFile() : m_hFile(NULL), m_hMapping(NULL), m_cbSize(0), m_pbView(nullptr) {}

CMemMapFile::CMemMapFile(const CMemMapFile &other)
    : m_hFile(other.m_hFile()), m_hMapping(other.m_hMapping()), m_cbSize(other.m_cbSize), m_pbView(other.m_pbView) {}

CMemMapFile &CMemMapFile::operator=(const CMemMapFile &other) {
  CopyHandleValue(m_hFile, other.m_hFile);
  CopyHandleValue(m_hMapping, other.m_hMapping);
  m_cbSize = other.m_cbSize;
  m_pbView = other.m_pbView;
  return *this;
}

CMemMapFile::~CMemMapFile() { Release(); }

void CMemMapFile::Release() {
  if (m_pbView != nullptr) UnmapViewOfFile(m_pbView);
  m_cbSize = 0;
  m_pbView = nullptr;
  m_hMapping.CloseHandle();
  m_hFile.CloseHandle();
  *&m_hFile = NULL;  // a paging-file block's INVALID_HANDLE_VALUE is not closed, only forgotten
}

void CMemMapFile::Close() { Release(); }

HRESULT CMemMapFile::OpenMapping(DWORD grfMode) {
  const bool fWritable = IsWritable(grfMode);
  m_hMapping = CreateFileMappingW(m_hFile(), nullptr, fWritable ? PAGE_READWRITE : PAGE_READONLY, 0, m_cbSize, nullptr);
  if (!!m_hMapping) {
    m_pbView = static_cast<BYTE *>(MapViewOfFile(m_hMapping(), fWritable ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, m_cbSize));
    if (m_pbView != nullptr) return S_OK;
  }
  const HRESULT hr = LastErrorOrFail();
  Release();
  return hr;
}

HRESULT CMemMapFile::Open(const unsigned short *pwszPath, DWORD grfMode) {
  Release();
  m_hFile = CreateFileStgm(pwszPath, grfMode);
  if (!!m_hFile) {
    m_cbSize = GetFileSize(m_hFile(), nullptr);
    if (m_cbSize != INVALID_FILE_SIZE) return OpenMapping(grfMode);
  }
  const HRESULT hr = LastErrorOrFail();
  Release();
  return hr;
}

HRESULT CMemMapFile::OpenNoFile(DWORD cb) {
  Release();
  *&m_hFile = INVALID_HANDLE_VALUE;
  m_cbSize = cb;
  return OpenMapping(STGM_READWRITE);
}

HRESULT CMemMapFile::SetFile(HANDLE hFile, DWORD grfMode) {
  Release();
  *&m_hFile = hFile;
  // INVALID_FILE_SIZE is also the size of a file of 4 GiB - 1 bytes; only the last error tells.
  SetLastError(ERROR_SUCCESS);
  m_cbSize = GetFileSize(hFile, nullptr);
  if (m_cbSize == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS) {
    const HRESULT hr = LastErrorOrFail();
    Release();
    return hr;
  }
  return OpenMapping(grfMode);
}

void CMemMapFile::Swap(CMemMapFile &other) {
  m_hFile.Swap(other.m_hFile);
  m_hMapping.Swap(other.m_hMapping);
  const DWORD cb = m_cbSize;
  m_cbSize = other.m_cbSize;
  other.m_cbSize = cb;
  BYTE *pb = m_pbView;
  m_pbView = other.m_pbView;
  other.m_pbView = pb;
}

namespace {

// Room for the terminator in the zero-filled tail of the view's last page, beyond the file's end.
bool HasTailRoom(DWORD cb) {
  const DWORD inPage = cb % kPageFloor;
  return cb % 2 == 0 && inPage != 0 && inPage <= kPageFloor - kTerminatorBytes;
}

bool TailIsZero(const BYTE *pbEnd) {
  for (DWORD i = 0; i < kTerminatorBytes; ++i) {
    if (pbEnd[i] != 0) return false;
  }
  return true;
}

// Fills a fresh paging-file block of cbBlock bytes with fill(block), which answers the bytes of text
// it wrote (0 for failure, the last error saying why). On success the block replaces what `file`
// holds, whose file, mapping and view are released, and the text's byte count is answered in cbText.
// On failure `file` is left as it was.
template <class Fill>
HRESULT MoveToPrivateBlock(CMemMapFile &file, DWORD cbBlock, Fill fill, DWORD &cbText) {
  CMemMapTextFile block;
  const HRESULT hr = block.OpenNoFile(cbBlock);
  if (FAILED(hr)) return hr;
  SetLastError(ERROR_SUCCESS);
  cbText = fill(static_cast<BYTE *>(block));
  if (cbText == 0) return LastErrorOrFail();
  file.Swap(block);
  return S_OK;  // block, now holding the file, releases it here
}

}  // namespace

CMemMapTextFile::CMemMapTextFile() = default;
CMemMapTextFile::CMemMapTextFile(const CMemMapTextFile &other) = default;
CMemMapTextFile &CMemMapTextFile::operator=(const CMemMapTextFile &other) = default;
CMemMapTextFile::~CMemMapTextFile() = default;

HRESULT CMemMapTextFile::Open(const unsigned short *pwszPath, DWORD grfMode) {
  HRESULT hr = CMemMapFile::Open(pwszPath, grfMode);
  if (FAILED(hr)) return hr;

  const DWORD cbFile = m_cbSize;
  const BYTE *pbFile = m_pbView;
  const int cbTest = static_cast<int>(cbFile < 100 ? cbFile : 100);
  DWORD cbText = 0;
  if (IsTextUnicode(pbFile, cbTest, nullptr)) {
    if (HasTailRoom(cbFile) && (IsWritable(grfMode) || TailIsZero(pbFile + cbFile))) {
      cbText = cbFile;
    } else {
      const DWORD cbWhole = cbFile & ~static_cast<DWORD>(1);
      hr = MoveToPrivateBlock(*this, cbWhole + kTerminatorBytes, [&](BYTE *pbBlock) {
        memcpy(pbBlock, pbFile, cbWhole);
        return cbWhole;
      }, cbText);
    }
  } else {
    hr = MoveToPrivateBlock(*this, 2 * cbFile + 10, [&](BYTE *pbBlock) {
      const int cch = MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<LPCSTR>(pbFile), static_cast<int>(cbFile),
                                          reinterpret_cast<LPWSTR>(pbBlock), static_cast<int>(cbFile));
      return static_cast<DWORD>(cch) * 2;
    }, cbText);
  }
  if (FAILED(hr)) return hr;

  m_cbSize = cbText;
  // Inside the view when in place (the page's tail) or inside the block's spare bytes otherwise; a
  // read-only in-place tail was checked to be zero already and is not written.
  if (IsWritable(grfMode) || m_hFile() == INVALID_HANDLE_VALUE) {
    for (DWORD i = 0; i < kTerminatorBytes; ++i) m_pbView[m_cbSize + i] = 0;
  }
  return S_OK;
}

HRESULT OpenMemMapTextFromURL(const unsigned short *pwszURL, DWORD grfMode, CMemMapTextFile &file) {
  const EUrlClasses urlClass = GetURLClass(pwszURL);
  if (urlClass != eucLocalPath && urlClass != eucFileURL) return E_FAIL;
  return file.Open(pwszURL, grfMode);
}
