// The commands that start and stop a service from the command line.
#pragma once

#include <cstdint>

namespace nimbolsp {

// Launches a copy of the program in the background with the run keyword. False when it cannot be launched.
bool startProcess(const char* runKeyword);

// Whether a result of WinExec counts as launched. Pure.
bool isLaunched(std::int32_t result);

// Tells the service that runs on this machine to stop, and reports what went wrong. False when it did not.
bool stopProcess();

}  // namespace nimbolsp
