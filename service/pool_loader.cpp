#include "service/pool_loader.h"

#include <cstring>

#include "service/poller.h"
#include "service/pool_profile.h"
#include "service/resources/string_table.h"
#include "service/server_pool.h"

namespace nimbolsp {

namespace {

// Until the first polls have filed the servers by load they all stand in list 0, the last one at the head.
void fileServers(ServerPool* pool) {
  PoolHold hold(pool);
  for (std::int16_t i = 0; i < pool->serverCount; ++i) pool->allocationLists[0].pushToHead({i});
}

void fillServer(PoolServer* server, const ServerEntry& entry) {
  std::strncpy(server->address, entry.text.c_str(), kNameSize - 1);
  server->addressLength = static_cast<std::int32_t>(std::strlen(server->address));
  server->ipAddress = entry.endpoint.ipAddress;
  server->port = entry.endpoint.port;
}

std::uint32_t loadPool(const PoolEntry& entry) {
  const auto count = static_cast<std::int16_t>(entry.servers.size());
  ServerPool* pool = createPool(entry.name.c_str(), count, entry.pollInterval);
  fileServers(pool);
  for (std::size_t i = 0; i < entry.servers.size(); ++i) {
    PoolServer* server = &pool->servers[i];
    fillServer(server, entry.servers[i]);
    if (!startPolling(server)) return kStringThreadFailed;
  }
  return 0;
}

}  // namespace

std::uint32_t loadPools() {
  return readPools(loadPool);
}

}  // namespace nimbolsp
