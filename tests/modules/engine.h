// What the test library "engine" notes of the layer's calls into it.
#pragma once

#include "nimboxi/modules.h"

struct EngineCalls {
  char order[32] =
      {};  // DllMain at the load and unload: L, U; attach, detach: A, D; l: load, f: free, "." another
  intptr_t last[4] = {};  // arguments, of DllMain (module, reason, load, 0) or the resource function
};

// The type of the exported "reportCallsTo": from now on the library notes in `calls`, beginning with what it
// noted so far, so that it can be read after the library was unloaded.
extern "C" typedef void (*ReportCallsTo)(EngineCalls* calls);
