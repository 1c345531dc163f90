// A semaphore of the layer that serves as a lock.
#pragma once

#include "nimboxi/support/thread_annotations.h"
#include "nimboxi/types.h"

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

}  // namespace nimbolsp
