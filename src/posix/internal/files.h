// Open files as kernel objects of the handle table, for the file services and for the mappings
// made over them. A mapping keeps its own descriptor of the file, not the file object: as on
// Windows, the file's sharing ends when its last handle closes, even while views of it remain.
#pragma once

#include <stdint.h>

#include <string>

#include "internal/handles.h"

namespace qn::posix {

// What an open asked for, in the terms sharing is judged by.
struct FileAccess {
  bool read = false;    // may read the data (ReadFile, a readable mapping)
  bool write = false;   // may write the data
  bool execute = false;  // counts as reading for sharing only
  bool remove = false;   // DELETE
  // Whether the open takes part in sharing at all: attribute-only opens do not.
  bool Shares() const noexcept { return read || write || execute || remove; }
};

class FileObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::File;

  // Takes over the descriptor. Made by CreateFileW only, which enters the object in the process's
  // sharing record; the destructor takes it out, closes the descriptor and performs a
  // delete-on-close.
  FileObject(int fd, uint64_t device, uint64_t inode, FileAccess access, DWORD shareMode, bool directory,
             std::string deleteOnClose);
  ~FileObject() override;

  int Fd() const noexcept { return fd_; }
  const FileAccess &Access() const noexcept { return access_; }
  DWORD ShareMode() const noexcept { return shareMode_; }
  bool IsDirectory() const noexcept { return directory_; }
  uint64_t Device() const noexcept { return device_; }
  uint64_t Inode() const noexcept { return inode_; }

 private:
  const int fd_;
  const uint64_t device_;
  const uint64_t inode_;
  const FileAccess access_;
  const DWORD shareMode_;
  const bool directory_;
  const std::string deleteOnClose_;
};

// The process's count of live mappings per file: Windows refuses to cut short a file that is
// mapped (ERROR_USER_MAPPED_FILE). A mapping object notes its file for its whole life, which
// covers its views, since each view keeps its mapping. Noting a mapping answers false when memory
// is short; ending one always succeeds.
bool NoteMappedFile(uint64_t device, uint64_t inode, bool mapped) noexcept;

}  // namespace qn::posix
