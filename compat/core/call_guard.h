// The layer's one lock as its functions see it: CallGuard in every public function, and the state that the
// guard guards marked GUARDED_BY(layerGuard). Owns the layer lock and the per-thread nesting depth.
#pragma once

#include "nimboxi/layer.h"
#include "nimboxi/synch.h"
#include "nimboxi/thread_annotations.h"

namespace nimboxi {

// Names the layer lock to the compiler's analysis; it holds nothing itself.
class CAPABILITY("layer guard") LayerGuard {};
extern LayerGuard layerGuard;

// Is inside the layer from here to the end of the scope.
class SCOPED_CAPABILITY CallGuard {
 public:
  CallGuard() ACQUIRE(layerGuard) { EnterLayer(); }
  ~CallGuard() RELEASE() {
    if (inside_) LeaveLayer();
  }
  CallGuard(const CallGuard&) = delete;
  CallGuard& operator=(const CallGuard&) = delete;

  // For the one call that blocks without holding the layer.
  void leave() RELEASE() {
    inside_ = false;
    LeaveLayer();
  }
  void enter() ACQUIRE() {
    EnterLayer();
    inside_ = true;
  }

 private:
  bool inside_ = true;
};

// Creates the key of the nesting depth, once a process. Called by LayerStartup before the layer lock.
void createGuardDepthKey();

// Creates the layer lock unless it stands. Called by LayerStartup alone, before other threads use the layer.
void createLayerLock();

// Takes the layer lock away: guards are no-ops from now on. Threads that are inside, or on their way in, keep
// the mutex until they leave; the last one destroys it. Called by LayerShutdown outside the guard.
void retireLayerLock();

// The calling thread's nesting depth; 0 outside the layer or without the lock.
std::uint32_t guardDepth();

}  // namespace nimboxi
