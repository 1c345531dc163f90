#include "service/threads.h"

#include <unistd.h>

namespace nimbolsp {

HANDLE startThread(THREAD_START_ROUTINE routine, void* argument) {
  uintptr_t identity = 0;
  return CreateThread(nullptr, 0, routine, argument, 0, &identity);
}

void sleepRoundedToSeconds(std::uint32_t milliseconds) {
  const auto seconds = static_cast<unsigned int>((std::uint64_t{milliseconds} + 500) / 1000);
  if (seconds != 0) sleep(seconds);
}

}  // namespace nimbolsp
