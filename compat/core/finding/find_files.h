// What the rest of the layer sees of the directory search beyond nimboxi/finding.h.
#pragma once

#include <cstdint>

#include "compat/core/call_guard.h"

namespace nimboxi {

// The number of searches that were started and not ended.
std::int32_t openSearches() NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
