// An ordinary file while a profile call changes it: opened or created, locked against other processes that
// change it the same way, read, and written anew in its place. Used under the layer guard.
#pragma once

#include <string>
#include <string_view>

#include "compat/core/call_guard.h"

namespace nimboxi {

class LockedFile {
 public:
  // Opens the file for reading and writing, follows links, and makes a new file with mode 0666 less the
  // umask. Blocks until it has the lock, for two seconds at most: it then goes on without. What holds a lock
  // so long has hung, or is the program's own caller, which waits for the program; and the next files do not
  // wait again until some lock is free, so that a whole start of the layer waits once. A file that another
  // one has replaced meanwhile is left for that, ten times at most.
  explicit LockedFile(const char* path) NIMBOXI_REQUIRES(layerGuard);
  ~LockedFile();
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  // False with errno: there is no such file, and none can be made, or it cannot be read and written.
  bool isOpen() const { return descriptor_ >= 0; }

  // False for anything but an ordinary file: it is not locked, and can neither be read nor replaced.
  bool isOrdinary() const { return ordinary_; }

  // Reads the whole file. False with errno when it cannot be read to its end, or holds more than `most`
  // bytes.
  bool read(std::string& contents, std::size_t most) const;

  // Makes `changed` all that stands behind the first `kept` bytes; `contents` is what the file holds. The
  // owner and the mode stay as they are. Returns false with errno, and the file as it was, when there is no
  // room. A process that ends half-way leaves the old or the new text, with NULs behind it at worst; the
  // system may end it between two pages of the one write of the text.
  bool replace(std::string_view contents, std::size_t kept, std::string changed) const;

 private:
  void release();
  bool write(std::size_t offset, std::string_view bytes) const;

  int descriptor_ = -1;
  bool ordinary_ = false;
};

}  // namespace nimboxi
