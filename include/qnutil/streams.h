// Two stream objects the library hands out through factories: a file opened as an IStream, and a
// write buffer in front of any IStream (IBufferedStream) that passes everything written to it on in
// one write when it is committed, sought or released.
//
// Both objects come with one reference and answer E_NOTIMPL to the IStream operations their job
// does not need (Stat, Clone, CopyTo, LockRegion, UnlockRegion; the file stream also SetSize,
// Commit and Revert). Reference counts are plain counters: a caller serialises all use of one
// object. While an object lives it holds one lock on the module record (m_nLockCnt, interlocked).
//
// QueryInterface answers IUnknown and IStream (and IBufferedStream on the buffered object), not
// ISequentialStream; a NULL out pointer gives E_POINTER, an unknown identifier NULL and
// E_NOINTERFACE. No ATL library exists for mingw or the subset, so the library does the interface
// table lookup and the reference-taking pointer assignment itself.
//
// Platform failures of file calls answer HRESULT_FROM_WIN32 of the thread's last error (S_OK when
// the failing call left the last error 0).
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

// {005F2920-6E90-11D2-A7B9-00C04FF010BD}
extern "C" QNUTIL_API const IID IID_IBufferedStream;

// IStream plus access to the stream that receives the gathered bytes.
struct IBufferedStream : public IStream {
  // Stores the target (NULL included) in *ppstm; a non-NULL target gets a reference for the caller
  // and answers S_OK, NULL answers S_FALSE.
  virtual HRESULT STDMETHODCALLTYPE GetTargetStream(IStream **ppstm) = 0;
  // Releases the held target and holds pstm (with a reference of its own; NULL holds none). Bytes
  // waiting are not written first: they go to the new target at the next commit.
  virtual HRESULT STDMETHODCALLTYPE SetTargetStream(IStream *pstm) = 0;
};

// Opens the file pwszName (a file-system path, handed to CreateFileW unchanged) as an IStream.
//
// grfMode: only STGM_WRITE, STGM_READWRITE and STGM_CREATE are looked at. Read-only opens an
// existing file with no sharing and sequential-scan caching; STGM_WRITE opens for writing, shared
// for reading and writing, creating the file when missing but not truncating it; STGM_READWRITE
// opens for both, shared only when STGM_WRITE is set too; STGM_CREATE creates or truncates.
//
// fSeekToEnd: the stream starts at the end of the file and *pliPos (when not NULL) receives that
// offset; otherwise *pliPos receives 0. fDefer (ignored with fSeekToEnd): the file is opened at the
// first Read, Write or Seek; if that open fails, that call answers the platform error and every
// later one E_FAIL.
//
// Answers S_OK and stores a stream with one reference in *ppstm; on failure the folded platform
// error, with nothing stored through ppstm or pliPos. E_POINTER when ppstm is NULL. An exhausted
// library heap throws COOMExcep, with nothing leaked.
//
// Read and Write accept NULL count pointers. Seek maps STREAM_SEEK_SET, _CUR and _END to the file's
// origins (any other value counts from the start).
QNUTIL_API HRESULT CreateStreamFromURL(const unsigned short *pwszName, DWORD grfMode, IStream **ppstm,
                                       bool fSeekToEnd, ULARGE_INTEGER *pliPos, bool fDefer);

// Wraps pstmTarget (NULL allowed; the caller keeps its own reference) in a buffered write stream
// whose buffer starts at 1024 bytes. Answers S_OK with one reference in *ppbs; E_POINTER when ppbs
// is NULL. An exhausted library heap throws COOMExcep.
//
// Write gathers bytes in memory (E_OUTOFMEMORY when the buffer cannot grow, nothing gathered);
// nothing reaches the target until Commit, Seek (which commits first) or the final Release, which
// writes what is waiting and swallows a failure. Commit makes one target Write of all waiting bytes
// and keeps them when it fails; the target's own Commit is not called. Read goes straight to the
// target. Revert drops the waiting bytes. SetSize sets the buffer's capacity, not the target's
// size: E_INVALIDARG above 4 GiB - 1, and a size below the waiting bytes keeps only the first ones.
//
// Without a target: Write, Revert and SetSize work as usual; Commit with bytes waiting, Read and
// Seek answer E_UNEXPECTED and touch nothing (Read sets a non-NULL read count to 0); Commit with
// nothing waiting answers S_OK; the final Release drops waiting bytes.
QNUTIL_API HRESULT CreateBufferedWriteStream(IStream *pstmTarget, IBufferedStream **ppbs);
