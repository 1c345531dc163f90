// What a simulated server says of itself as time goes by: its figures, their weight, the visits under way,
// the warm-up and the drain. Pure.
#pragma once

#include <cstdint>

#include "tools/server_options.h"

namespace nimbolsp::tools {

// The statistics at `time`, milliseconds from the start of the simulation.
//   visits  under way, which count as used
Statistics figuresAt(const ServerOptions& options, std::int32_t visits, std::int64_t time);

}  // namespace nimbolsp::tools
