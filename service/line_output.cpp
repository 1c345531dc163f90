#include "service/line_output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <thread>

#include "service/wire/descriptor.h"

namespace nimbolsp {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{5};  // between two attempts

// Writes to a descriptor without blocking, whose flags are not ours to change: pipes and terminals are opened
// once more for it, and where that is refused they are asked before every write. That write blocks in one
// rare case: another process takes the room between the answer and the write.
class NonBlockingWriter {
 public:
  explicit NonBlockingWriter(int descriptor) : shared_(descriptor) {
    struct stat status {};
    fstat(descriptor, &status);
    kind_ = status.st_mode & S_IFMT;
    if (kind_ != S_IFIFO && kind_ != S_IFCHR) return;
    own_.replace(open(("/proc/self/fd/" + std::to_string(descriptor)).c_str(),
                      O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  }

  // As write: how much was taken; -1 with errno, EAGAIN when nothing is taken at present.
  ssize_t write(std::string_view text) const {
    if (kind_ == S_IFSOCK) return send(shared_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (kind_ == S_IFREG) return ::write(shared_, text.data(), text.size());
    if (own_.number() >= 0) return ::write(own_.number(), text.data(), text.size());
    pollfd question{shared_, POLLOUT, 0};
    if (poll(&question, 1, 0) == 0) {
      errno = EAGAIN;
      return -1;
    }
    // So much is taken at once by what is ready: of a terminal nothing more is known.
    const std::size_t most = kind_ == S_IFIFO ? PIPE_BUF : 1;
    return ::write(shared_, text.data(), std::min(text.size(), most));
  }

 private:
  int shared_;
  mode_t kind_ = 0;
  Descriptor own_;
};

// Returns how much of the text was taken until the deadline, or until an error.
std::size_t writeUntil(Clock::time_point deadline, const NonBlockingWriter& writer, std::string_view text) {
  std::size_t taken = 0;
  while (taken < text.size()) {
    const ssize_t count = writer.write(text.substr(taken));
    if (count > 0) {
      taken += static_cast<std::size_t>(count);
    } else if (count == -1 && errno == EAGAIN && Clock::now() < deadline) {
      std::this_thread::sleep_for(kPause);
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return taken;
}

}  // namespace

void LineOutput::write(int descriptor, std::string_view lines) {
  const NonBlockingWriter writer(descriptor);
  const Clock::time_point deadline = stuck_ ? Clock::time_point::min() : Clock::now() + patience_;
  stuck_ = true;
  rest_.erase(0, writeUntil(deadline, writer, rest_));
  if (!rest_.empty()) return;
  const std::size_t taken = writeUntil(deadline, writer, lines);
  stuck_ = taken < lines.size();
  if (taken == 0 || lines[taken - 1] == '\n') return;
  rest_ = lines.substr(taken, lines.find('\n', taken) + 1 - taken);
}

}  // namespace nimbolsp
