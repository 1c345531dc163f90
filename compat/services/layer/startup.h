// What stands while the layer is started. It is kept for the services of graphical programs, which start and
// end with the layer; nothing here reads it.
#pragma once

#include "compat/core/call_guard.h"

namespace nimboxi {

struct LayerState {
  bool started = false;
  bool shuttingDown = false;    // from the beginning of LayerShutdown to the next LayerStartup
  char* programPath = nullptr;  // MAX_PATH_BYTES, cut to fit; null while the layer is not started
};
extern LayerState layerState NIMBOXI_GUARDED_BY(layerGuard);

}  // namespace nimboxi
