// Descriptors 0 to 2, for a program that opens sockets and files.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace nimbolsp {

// Opens on /dev/null those that the program was started without. A socket or the log would get their numbers
// else, and what is meant for the terminal would go there. Call it first thing.
inline void openStandardDescriptors() {
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

}  // namespace nimbolsp
