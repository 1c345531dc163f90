// The servers of a daemon's profile as simulated ones, on the ports that it names. Pure.
#pragma once

#include <vector>

#include "tools/profile/effective_profile.h"
#include "tools/server_options.h"

namespace nimbolsp::tools {

// A server for every one that the profile names, once however often it is named; but for the address all are
// like `each`. Throws std::invalid_argument with a sentence that names those that cannot be simulated: at
// addresses beyond 127.0.0.0/8, or without a port.
std::vector<ServerOptions> simulatedServers(const EffectiveProfile& profile, const ServerOptions& each);

}  // namespace nimbolsp::tools
