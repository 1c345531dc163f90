#include "tools/process.h"

#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>

#include "tools/text_table.h"

namespace nimbolsp::tools {

void print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
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
  return Descriptor(signalfd(-1, &stop, SFD_CLOEXEC | SFD_NONBLOCK));
}

}  // namespace nimbolsp::tools
