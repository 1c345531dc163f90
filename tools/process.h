// What every command does as a process: it prints, it complains, it ends when it is told to.
#pragma once

#include <string>

#include "service/wire/descriptor.h"

namespace nimbolsp::tools {

// Writes to standard output, at once.
void print(const std::string& text);

// Writes a sentence to standard error; bytes that could steer the terminal are made harmless.
void complain(const std::string& sentence);

// A descriptor that becomes readable with SIGINT or SIGTERM, for all threads that start from now on.
Descriptor catchStopSignals();

}  // namespace nimbolsp::tools
