// The font service's start and end: the font configuration. Text measurement is not part of this build.
#pragma once

#include <cstdint>

#include "compat/core/call_guard.h"

namespace nimboxi {

// Loads the font configuration. Returns 0, or LAYER_FONTS_FAILED.
int32_t startFonts() NIMBOXI_REQUIRES(layerGuard);

// Frees the font configuration if it was loaded.
void stopFonts() NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
