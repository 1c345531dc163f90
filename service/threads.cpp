#include "service/threads.h"

#include <unistd.h>

#include "service/wire/numbers.h"

namespace nimbolsp {

HANDLE startThread(THREAD_START_ROUTINE routine, void* argument) {
  uintptr_t identity = 0;
  return CreateThread(nullptr, 0, routine, argument, 0, &identity);
}

void sleepRoundedToSeconds(std::uint32_t milliseconds) {
  const std::uint32_t seconds = roundedSeconds(milliseconds);
  if (seconds != 0) sleep(seconds);
}

}  // namespace nimbolsp
