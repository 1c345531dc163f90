// A semaphore of the layer that serves as a lock, the start of a thread, and a sleep in whole seconds.
#pragma once

#include <cstdint>

#include "nimboxi/support/thread_annotations.h"
#include "nimboxi/synch.h"

namespace nimbolsp {

// Holders take it through a scoped class (PoolHold, LogWriter), never directly. It has no destructor: whoever
// owns it says when no thread can use it any more.
class NIMBOXI_CAPABILITY("semaphore") SemaphoreLock {
 public:
  void create();
  void close();  // does nothing for a lock that was not created

  // Blocks without limit until the lock is free.
  void take() NIMBOXI_ACQUIRE();
  void release() NIMBOXI_RELEASE();

 private:
  HANDLE handle_ = nullptr;
};

// Starts a detached thread. Returns its handle, which the caller closes; null when it cannot be started.
HANDLE startThread(THREAD_START_ROUTINE routine, void* argument);

// Sleeps (milliseconds + 500) / 1000 whole seconds: below 500 ms not at all.
void sleepSeconds(std::uint32_t milliseconds);

}  // namespace nimbolsp
