// The reading of processor information.
#pragma once

#include <cstdio>

#include "nimboxi/system.h"

namespace nimboxi {

// Takes what one line of the system's processor list tells into `info`; a line without a colon tells nothing.
//   processorsOnline  what any line with a colon sets the processor count to
// Pure.
void readProcessorLine(const char* line, DWORD processorsOnline, SystemInfo* info);

// Reads a whole processor list. A line counts up to its 4095th byte.
SystemInfo readProcessorList(std::FILE* list, DWORD processorsOnline);

}  // namespace nimboxi
