// What the layer profile says of the layer's settings: read into them, and completed. Called by LayerStartup.
#pragma once

#include "compat/core/call_guard.h"

namespace nimboxi {

// Reads the override flag and the printer margins.
void readSetupSettings() NIMBOXI_REQUIRES(layerGuard);

// Reads all other settings and the localised texts, and writes to the profile what is missing or refused
// there.
void ReadLayerSettings() NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
