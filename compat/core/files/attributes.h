// The attributes of files, for calls that ask without touching the last error.
#pragma once

#include "nimboxi/types.h"

namespace nimboxi {

// The attributes of what stands at `path`, which may be null; 0 when there is nothing. Leaves the last error
// alone.
DWORD attributesOf(const char* path);

}  // namespace nimboxi
