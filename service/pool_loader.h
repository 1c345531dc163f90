// Makes pools and servers of what the profile says of them, and starts a polling thread for every server.
#pragma once

#include <cstdint>

namespace nimbolsp {

// Loads everything. Returns 0, or the string id of the first error; what was loaded until then stays.
std::uint32_t loadPools();

}  // namespace nimbolsp
