// Test doubles and helpers for streams: a memory IStream that counts the calls it gets and can be
// told to fail its writes, and whole-file reads and writes through the platform.
#pragma once

#include <string.h>

#include <algorithm>

#include <string>
#include <vector>

#include "counted.h"
#include "qnutil/utf16.h"
#include "qnutil/win32.h"

namespace qntest {

// Write appends at the position, Read reads from it, Seek moves it.
class CountingStream : public Counted<IStream> {
 public:
  CountingStream() = default;
  virtual ~CountingStream() = default;
  CountingStream(const CountingStream &) = delete;
  CountingStream &operator=(const CountingStream &) = delete;

  int Writes() const { return writes_; }
  int Seeks() const { return seeks_; }
  // Byte counts of the writes, in order.
  const std::vector<ULONG> &WriteSizes() const { return writeSizes_; }
  std::vector<unsigned char> &Data() { return data_; }
  // Seeks seen, with the data size at the time (to show what was written before).
  const std::vector<size_t> &SizesAtSeek() const { return sizesAtSeek_; }
  void FailWritesWith(HRESULT hr) { writeFailure_ = hr; }


  HRESULT STDMETHODCALLTYPE Read(void *pv, ULONG cb, ULONG *pcbRead) override {
    const size_t n = pos_ < data_.size() ? std::min<size_t>(cb, data_.size() - pos_) : 0;
    if (n) memcpy(pv, data_.data() + pos_, n);
    pos_ += n;
    if (pcbRead) *pcbRead = static_cast<ULONG>(n);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Write(const void *pv, ULONG cb, ULONG *pcbWritten) override {
    ++writes_;
    writeSizes_.push_back(cb);
    if (FAILED(writeFailure_)) return writeFailure_;
    if (data_.size() < pos_ + cb) data_.resize(pos_ + cb);
    if (cb) memcpy(data_.data() + pos_, pv, cb);
    pos_ += cb;
    if (pcbWritten) *pcbWritten = cb;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *pos) override {
    ++seeks_;
    sizesAtSeek_.push_back(data_.size());
    const long long base = origin == STREAM_SEEK_CUR ? static_cast<long long>(pos_)
                           : origin == STREAM_SEEK_END ? static_cast<long long>(data_.size())
                                                       : 0;
    pos_ = static_cast<size_t>(base + move.QuadPart);
    if (pos) pos->QuadPart = pos_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG *, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IStream **) override { return E_NOTIMPL; }

 private:
  const IID &Iid() const override { return IID_IStream; }

  int writes_ = 0;
  int seeks_ = 0;
  size_t pos_ = 0;
  HRESULT writeFailure_ = S_OK;
  std::vector<ULONG> writeSizes_;
  std::vector<size_t> sizesAtSeek_;
  std::vector<unsigned char> data_;
};

// The whole file as bytes; empty when it cannot be opened.
inline std::string ReadWholeFile(const std::u16string &path) {
  std::string out;
  HANDLE h = CreateFileW(qn::AsW(path.c_str()), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return out;
  char chunk[4096];
  DWORD n = 0;
  while (ReadFile(h, chunk, sizeof chunk, &n, nullptr) && n) out.append(chunk, n);
  CloseHandle(h);
  return out;
}

// Creates or truncates the file with the given bytes; false when it cannot.
inline bool WriteWholeFile(const std::u16string &path, const std::string &bytes) {
  HANDLE h = CreateFileW(qn::AsW(path.c_str()), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  DWORD n = 0;
  const BOOL ok = WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &n, nullptr);
  CloseHandle(h);
  return ok && n == bytes.size();
}

}  // namespace qntest
