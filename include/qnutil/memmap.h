// Memory-mapped files: the whole contents of a file as one block of memory, through one mapping and
// one view that are released together; and text files given as zero-terminated UTF-16 whatever their
// encoding.
//
// Ownership: an object owns the file handle, the mapping handle and the view it holds. Copying
// (construction or assignment) copies the four fields as they are: nothing is duplicated, the target
// releases nothing it held, and afterwards both objects name the same handles and view, of which only
// one may close them. Ownership moves between objects only through Swap.
//
// Sizes are 32 bits: a file is mapped with the low 32 bits of its size; files of 4 GiB or more are
// outside the contract. A file of length 0 cannot be mapped: opening it fails at the mapping step.
//
// Mode flags are the STGM flags of CreateFileStgm (filesys.h); the mapping is writable when
// STGM_WRITE or STGM_READWRITE is set, read-only otherwise.
//
// No operation takes a lock or raises an exception of its own; failures are HRESULTs (the last
// error as HRESULT_FROM_WIN32, or E_FAIL when none is recorded).
#pragma once

#include "qnutil/export.h"
#include "qnutil/handles.h"
#include "qnutil/win32.h"

// A file, or a block backed by the paging file, mapped as one view. Open when the view is not null;
// closed (view null, size 0, no handles) otherwise. Every open operation first closes; success leaves
// it open, failure closed.
class QNUTIL_API CMemMapFile {
 public:
  CMemMapFile();
  CMemMapFile(const CMemMapFile &other);             // memberwise: see Ownership above
  CMemMapFile &operator=(const CMemMapFile &other);  // memberwise; releases nothing
  virtual ~CMemMapFile();                            // as Close

  // Opens the file with CreateFileStgm(pwszPath, grfMode) and maps all of it.
  HRESULT Open(const unsigned short *pwszPath, DWORD grfMode);
  // A fresh, zero-filled, writable block of cb bytes backed by the paging file (cb 0 fails).
  HRESULT OpenNoFile(DWORD cb);
  // Takes over hFile (closed on release from now on, even when the mapping fails) and maps all of
  // it. A handle whose size cannot be read fails with the error of that read and ends closed.
  HRESULT SetFile(HANDLE hFile, DWORD grfMode);
  // Unmaps the view and closes the mapping and the file; harmless when closed already.
  void Close();
  // Exchanges the handles, size and view with the other object; the dynamic types stay.
  void Swap(CMemMapFile &other);

  DWORD DwSize() const { return m_cbSize; }    // bytes mapped; 0 when closed
  operator BYTE *() const { return m_pbView; }  // the view, or null when closed

 protected:
  // Maps what m_hFile designates, m_cbSize bytes from offset 0, read-write or read-only by the flags.
  // On failure releases everything (the file too).
  HRESULT OpenMapping(DWORD grfMode);
  // Releases the view, the mapping and the file, in that order.
  void Release();

  // Field order and sizes are part of the DLL's interface (32-bit first): the virtual table, then
  // these four. m_hFile is INVALID_HANDLE_VALUE for a paging-file block, which CHandle never closes.
  CHandle m_hFile;
  CHandle m_hMapping;
  DWORD m_cbSize;  // for a text file: bytes of UTF-16 text, terminator not counted
  BYTE *m_pbView;
};

// A text file as a zero-terminated UTF-16 string of Cch() characters (DwSize() / 2). Adds no fields.
//
// Open maps the file and asks IsTextUnicode (all tests) about its first min(size, 100) bytes:
// - Not UTF-16: the bytes are taken as ANSI (CP_ACP) text and converted into a private writable block
//   of 2 * size + 10 bytes backed by the paging file; the file and its view are released before Open
//   answers, so others may delete it or open it exclusively. Changes to the text never reach the file.
// - UTF-16: the file's own view is the text, used in place when it can be terminated there; a
//   byte-order mark stays in the text as its first character (0xFEFF) and Cch counts it. Writes to a
//   writable in-place text reach the file.
//
// Terminating UTF-16 text without writing to the file: the terminator (two zero characters) goes in
// the unused tail of the view's last page, beyond the end of the file, which the system fills with
// zeros and never writes back. That tail exists when the size is even and at least 4 bytes remain
// before the next 4 KiB boundary (4 KiB is the smallest page of the supported systems, so the test is
// safe for larger pages too). A writable view gets the zeros written there; a read-only view is
// checked to hold them already. Otherwise (a size at or within 3 bytes below a 4 KiB multiple, an odd
// size, or a read-only tail that is not zero) the text is copied into a private block of
// 2 * Cch + 4 bytes backed by the paging file, and the file is released as for ANSI text: the caller
// always gets a terminated text, at the cost of one copy for those sizes, and its changes then do not
// reach the file. An odd size's last byte is not part of the text.
//
// Failure: when the file itself cannot be opened or mapped the object is closed; when the private
// block cannot be created or the conversion yields nothing, the object stays open on the file's raw
// bytes (DwSize is their count) and the call answers the error.
class QNUTIL_API CMemMapTextFile : public CMemMapFile {
 public:
  CMemMapTextFile();
  CMemMapTextFile(const CMemMapTextFile &other);
  CMemMapTextFile &operator=(const CMemMapTextFile &other);
  ~CMemMapTextFile() override;

  HRESULT Open(const unsigned short *pwszPath, DWORD grfMode);
  DWORD Cch() const { return m_cbSize / 2; }
  operator unsigned short *() { return reinterpret_cast<unsigned short *>(m_pbView); }
  operator const unsigned short *() const { return reinterpret_cast<const unsigned short *>(m_pbView); }
};

// Opens a text file named by a location: a local path (GetURLClass class 0) or a file URL (class 1)
// is opened by file.Open as a path; any other class answers E_FAIL and leaves file untouched. As
// GetURLClass answers class 0 for every text, no scheme is recognised or removed.
QNUTIL_API HRESULT OpenMemMapTextFromURL(const unsigned short *pwszURL, DWORD grfMode, CMemMapTextFile &file);
