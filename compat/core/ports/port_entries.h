// The seam to section "Ports" of the layer profile. Ports and handles ask it; the profile room fills it, so
// that opening and closing a file never reaches up into profiles.
#pragma once

#include "compat/core/call_guard.h"
#include "nimboxi/types.h"

namespace nimboxi {

// Reads the value of a key of that section, cut to `size` bytes with its NUL; empty without such a key.
using PortEntryReader = void (*)(const char* key, char* value, DWORD size);

// From now on `reader` answers. Returns true.
bool setPortEntryReader(PortEntryReader reader);

// As PortEntryReader, `size` at least 1. The value is empty as long as nobody has filled the seam.
void readPortEntry(const char* key, char* value, DWORD size) NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
