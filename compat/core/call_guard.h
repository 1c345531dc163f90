// The layer's one lock as its functions see it: CallGuard in every public function, and the state that the
// guard guards marked NIMBOXI_GUARDED_BY(layerGuard). Owns the layer lock and the per-thread nesting depth.
#pragma once

#include "nimboxi/call_guard.h"
#include "nimboxi/support/thread_annotations.h"

namespace nimboxi {

// Names the layer lock to the compiler's analysis; it holds nothing itself.
class NIMBOXI_CAPABILITY("layer guard") LayerGuard {};
extern LayerGuard layerGuard;

// Is inside the layer from here to the end of the scope.
class NIMBOXI_SCOPED_CAPABILITY CallGuard {
 public:
  CallGuard() NIMBOXI_ACQUIRE(layerGuard) { EnterLayer(); }
  ~CallGuard() NIMBOXI_RELEASE() {
    if (inside_) LeaveLayer();
  }
  CallGuard(const CallGuard&) = delete;
  CallGuard& operator=(const CallGuard&) = delete;

  // For the one call that blocks without holding the layer.
  void leave() NIMBOXI_RELEASE() {
    inside_ = false;
    LeaveLayer();
  }
  void enter() NIMBOXI_ACQUIRE() {
    EnterLayer();
    inside_ = true;
  }

 private:
  bool inside_ = true;
};

// Creates the layer lock unless it stands. Called by LayerStartup alone, before other threads use the layer.
void createLayerLock();

// Destroys the layer lock if it stands: guards are no-ops from now on. Called by LayerShutdown outside the
// guard, while no other thread is in the layer or on its way in.
void destroyLayerLock();

// The calling thread's nesting depth; 0 outside the layer or without the lock.
std::uint32_t guardDepth();

}  // namespace nimboxi
