// The reading of processor information.
#pragma once

#include <cstdio>

#include "nimboxi/system.h"

namespace nimboxi {

// Reads a whole processor list. A line counts up to its 4095th byte; one without a colon tells nothing.
//   processorsOnline  what any line with a colon sets the processor count to
SystemInfo readProcessorList(std::FILE* list, DWORD processorsOnline);

}  // namespace nimboxi
