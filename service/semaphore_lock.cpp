#include "service/semaphore_lock.h"

#include <unistd.h>

#include "nimboxi/handles.h"

namespace nimbolsp {

void SemaphoreLock::create() {
  handle_ = CreateSemaphore(nullptr, 1, 1, nullptr);
}

void SemaphoreLock::close() {
  if (handle_ != nullptr) CloseHandle(handle_);
  handle_ = nullptr;
}

// The analysis cannot see that a place of the semaphore is the lock.
void SemaphoreLock::take() NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
  WaitForSingleObject(handle_, INFINITE);
}
void SemaphoreLock::release() NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
  ReleaseSemaphore(handle_, 1, nullptr);
}

HANDLE startThread(THREAD_START_ROUTINE routine, void* argument) {
  uintptr_t identity = 0;
  return CreateThread(nullptr, 0, routine, argument, 0, &identity);
}

void sleepSeconds(std::uint32_t milliseconds) {
  const auto seconds = static_cast<unsigned int>((std::uint64_t{milliseconds} + 500) / 1000);
  if (seconds != 0) sleep(seconds);
}

}  // namespace nimbolsp
