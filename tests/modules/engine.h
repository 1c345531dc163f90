// What the test library "engine" notes of the layer's calls into it.
#pragma once

#include <array>

#include "nimboxi/modules.h"

using CallArguments = std::array<intptr_t, 4>;

struct EngineCalls {
  char order[32] = {};      // loaded, unloaded: L, U; attach, detach: A, D; load, free: l, f; "." another
  int frees = 0;            // so often it frees itself while it is being unloaded
  CallArguments last = {};  // of DllMain (module, reason, load, 0) or the resource function
};

// The type of the exported "reportCallsTo": the library goes on to note in `calls`, which may outlive it.
extern "C" typedef void (*ReportCallsTo)(EngineCalls* calls);
