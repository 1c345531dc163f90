// Changing a file in its place, by POSIX calls. The lock is that of flock: it belongs to this open file
// alone, so that it does not meet the range locks that the program may hold; closing the file ends those
// (POSIX).
#include "compat/services/profile/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace nimboxi {
namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kNewFileMode = 0666;
constexpr std::chrono::seconds kLongestWait{2};
constexpr std::chrono::milliseconds kRetryInterval{1};

// The last wait for a lock was in vain.
bool lockGivenUp NIMBOXI_GUARDED_BY(layerGuard) = false;

// Waits for the lock, or does without: also on a file system that has none.
void lock(int descriptor) NIMBOXI_REQUIRES(layerGuard) {
  const Clock::time_point end = Clock::now() + (lockGivenUp ? Clock::duration::zero() : kLongestWait);
  lockGivenUp = false;
  while (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EINTR)) {
    lockGivenUp = Clock::now() >= end;
    if (lockGivenUp) return;
    std::this_thread::sleep_for(kRetryInterval);
  }
}

}  // namespace

LockedFile::LockedFile(const char* path) {
  constexpr int kMostOpened = 10;
  for (int opened = 1;; ++opened) {
    descriptor_ = open(path, O_RDWR | O_CREAT | O_NOCTTY | O_NONBLOCK | O_CLOEXEC, kNewFileMode);
    struct stat status;
    ordinary_ = isOpen() && fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    if (!ordinary_) return;
    lock(descriptor_);
    // Who held the lock may have put another file in its place: what is written here would be lost.
    struct stat named;
    const bool isNamed =
        stat(path, &named) == 0 && named.st_dev == status.st_dev && named.st_ino == status.st_ino;
    if (isNamed || opened == kMostOpened) return;
    release();
  }
}

LockedFile::~LockedFile() {
  if (isOpen()) release();
}

void LockedFile::release() {
  flock(descriptor_, LOCK_UN);  // a child that was forked meanwhile has the open file too
  close(descriptor_);
  descriptor_ = -1;
}

bool LockedFile::read(std::string& contents, std::size_t most) const {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > most) {
    errno = EFBIG;
    return false;
  }
  contents.resize(size);
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = pread(descriptor_, contents.data() + done, size - done, static_cast<off_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) errno = EIO;  // somebody has cut it
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

// 1. Room: what the file grows by is written as NULs. They end the text for every reader, so nothing changes
//    if it stops here.
// 2. The text, with NULs in place of what the file shrinks by, in one call that the system hardly interrupts.
// 3. The cut.
bool LockedFile::replace(std::string_view contents, std::size_t kept, std::string changed) const {
  const std::size_t oldSize = contents.size();
  const std::size_t newSize = kept + changed.size();
  const std::string room(newSize > oldSize ? newSize - oldSize : 0, '\0');
  if (newSize < oldSize) changed.append(oldSize - newSize, '\0');
  const bool hasRoom = write(oldSize, room);
  const bool written = hasRoom && write(kept, changed);
  const int error = errno;
  // A file system that writes what it changes to a new place can find itself full in the second step.
  if (hasRoom && !written) write(kept, contents.substr(kept));
  static_cast<void>(ftruncate(descriptor_, static_cast<off_t>(written ? newSize : oldSize)) == 0);
  errno = error;
  return written;
}

bool LockedFile::write(std::size_t offset, std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    offset += static_cast<std::size_t>(count);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace nimboxi
