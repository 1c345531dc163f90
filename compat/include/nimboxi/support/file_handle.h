// A file handle of the layer that closes itself.
#pragma once

#include <cstdio>

#include "nimboxi/files.h"
#include "nimboxi/handles.h"

namespace nimboxi {

// Closes a file's handle and frees it in any case: a close that fails, as on a full disk, leaves the handle
// to be closed once more. False when what was written last did not reach the disk. Sets the last error.
inline bool closeFile(HANDLE file) {
  const bool closed = CloseHandle(file);
  if (!closed) CloseHandle(file);
  return closed;
}

// An open file, or none when it could not be opened: CreateFile has said why then. Closed at the end of the
// scope at the latest. Closing sets the last error: close before that is set.
class OpenFile {
 public:
  OpenFile(const char* name, DWORD access, DWORD disposition)
      : handle_(CreateFile(name, access, 0, nullptr, disposition, 0, nullptr)) {}
  ~OpenFile() { close(); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE handle() const { return handle_; }

  // Null when the file is not open; the last error is 31 then.
  std::FILE* stream() const { return LookupFileHandle(handle_); }

  // As closeFile; true when the file is not open.
  bool close() {
    if (!isOpen()) return true;
    const bool closed = closeFile(handle_);
    handle_ = INVALID_HANDLE_VALUE;
    return closed;
  }

 private:
  HANDLE handle_;
};

}  // namespace nimboxi
