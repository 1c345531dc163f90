#include "service/semaphore_lock.h"

#include <new>

#include "nimboxi/handles.h"
#include "nimboxi/synch.h"

namespace nimbolsp {

void SemaphoreLock::create() {
  handle_ = CreateSemaphore(nullptr, 1, 1, nullptr);
  if (handle_ == nullptr) throw std::bad_alloc();  // it would let everybody in
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

}  // namespace nimbolsp
