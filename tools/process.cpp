#include "tools/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

// The descriptor of catchStopSignals; -1 while none are caught, which then end the process wherever it waits.
std::atomic<int> stopSignals = -1;

// Writes all of it in pieces that a pipe takes whole or not at all. False with errno.
bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    pollfd watched[] = {{descriptor, POLLOUT, 0}, {stopSignals, POLLIN, 0}};
    if (poll(watched, std::size(watched), -1) < 0 && errno != EINTR) return false;
    if (watched[0].revents == 0) {
      if (watched[1].revents != 0) throw StoppedInOutput();
      continue;
    }
    const ssize_t written = write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written < 0 && errno != EINTR && errno != EAGAIN) return false;
    text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  return true;
}

}  // namespace

void openClosedOutput() {
  if (fcntl(STDOUT_FILENO, F_GETFD) >= 0) return;
  const int readable = open("/dev/null", O_RDONLY);  // 0, when that is closed too, and stays then
  if (readable != STDOUT_FILENO) dup2(readable, STDOUT_FILENO);
}

void print(const std::string& text) {
  if (writeAll(STDOUT_FILENO, text)) return;
  if (errno == EPIPE) throw ReaderLeft(std::strerror(errno));
  throw OutputFailed(errno == EBADF ? "it is closed" : std::strerror(errno));
}

void complain(const std::string& sentence) {
  try {
    writeAll(STDERR_FILENO, "nimbolspctl: " + printable(sentence) + "\n");
  } catch (const StoppedInOutput&) {
    // Nobody reads it.
  }
}

Descriptor catchStopSignals() {
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGINT);
  sigaddset(&stop, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);
  Descriptor descriptor(signalfd(-1, &stop, SFD_CLOEXEC | SFD_NONBLOCK));
  if (descriptor.number() < 0)
    throw std::system_error(errno, std::generic_category(), "signals cannot be caught");
  stopSignals = descriptor.number();
  return descriptor;
}

StopSignalsHeld::StopSignalsHeld() {
  sigset_t stop;
  sigemptyset(&stop);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&stop, signal);
  pthread_sigmask(SIG_BLOCK, &stop, &former_);
}

StopSignalsHeld::~StopSignalsHeld() {
  pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

SlowWork::SlowWork(std::string sentence)
    : teller_([sentence = std::move(sentence)](const std::stop_token& ended) {
        try {
          std::mutex mutex;
          std::unique_lock hold(mutex);
          std::condition_variable_any wake;
          const bool inTime =
              wake.wait_for(hold, ended, std::chrono::seconds(1), [&] { return ended.stop_requested(); });
          if (!inTime) complain(sentence);
        } catch (const std::exception&) {
          // Without memory the work goes on untold.
        }
      }) {
}

}  // namespace nimbolsp::tools
