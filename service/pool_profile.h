// What the service's profile says of the pools and their servers: all of it, in the service's order, up to
// the first error that ends a start.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "service/wire/server_entry.h"

namespace nimbolsp {

struct ServerEntry {
  std::string text;  // as front ends are given it
  ServerEndpoint endpoint;
};

struct PoolEntry {
  std::string name;                  // as written; also that of its section
  std::int32_t pollInterval = 0;     // milliseconds
  std::vector<ServerEntry> servers;  // one at least
};

// Hands out one pool after another, from the first to the last or to the one that `take` does not return 0
// for. Returns that, or the string id of the first error; 0 when all were taken.
std::uint32_t readPools(const std::function<std::uint32_t(const PoolEntry&)>& take);

}  // namespace nimbolsp
