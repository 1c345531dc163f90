// Threads of the layer, and their sleep.
#pragma once

#include <cstdint>

#include "nimboxi/synch.h"

namespace nimbolsp {

// Starts a detached thread. Returns its handle, which the caller closes; null when it cannot be started.
HANDLE startThread(THREAD_START_ROUTINE routine, void* argument);

// Sleeps (milliseconds + 500) / 1000 whole seconds: below 500 ms not at all.
void sleepRoundedToSeconds(std::uint32_t milliseconds);

}  // namespace nimbolsp
