#include "tools/process.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <system_error>
#include <utility>

#include "tools/text_table.h"

namespace nimbolsp::tools {

void print(const std::string& text) {
  const std::size_t written = std::fwrite(text.data(), 1, text.size(), stdout);
  if (std::fflush(stdout) != 0 || written != text.size()) throw OutputFailed(std::strerror(errno));
}

void complain(const std::string& sentence) {
  std::fprintf(stderr, "nimbolspctl: %s\n", printable(sentence).c_str());
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
  return descriptor;
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
