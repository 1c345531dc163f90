// Loads the pools and their servers from the service's profile, and starts a polling thread for every server.
#pragma once

#include <cstdint>
#include <string>

#include "service/server_pool.h"

namespace nimbolsp {

// Where a server listens, as its entry "address:port" or "port" says.
struct ServerEndpoint {
  std::uint32_t ipAddress = 0;  // network order; 0 without an address; all ones for one that is none
  std::int32_t port = 0;
};

// Splits a server's entry at its first colon. Pure.
ServerEndpoint parseServerEntry(const std::string& entry);

// The service's port: the number that `Port` of section "Setup" holds.
std::int32_t readServicePort();

// Loads everything. Returns 0, or the string id of the first error; what was loaded until then stays.
std::uint32_t loadPools();

}  // namespace nimbolsp
