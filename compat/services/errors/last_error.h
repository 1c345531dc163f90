// The last error and its text, per thread. Owns the key under which each thread's record is stored.
#pragma once

namespace nimboxi {

// Creates the key, once a process, and drops the error text that all threads shared until now. Called by
// LayerStartup.
void createErrorStateKey();

}  // namespace nimboxi
