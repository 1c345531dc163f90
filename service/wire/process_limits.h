// The descriptors that a process starts with and the limit on them, for programs that open many sockets. Call
// the first function before anything is opened.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace nimbolsp {

// Opens on /dev/null those of descriptors 0 to 2 that the program was started without. A socket or the log
// would get their numbers else, and what is meant for the terminal would go there.
inline void openStandardDescriptors() {
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

// Raises the limit on descriptors as far as it goes: every server that is being polled takes one, and the
// service ends when there is none left for a client.
inline void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace nimbolsp
