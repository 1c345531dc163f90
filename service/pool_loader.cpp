#include "service/pool_loader.h"

#include <arpa/inet.h>

#include <cstring>

#include "service/poller.h"
#include "service/resources/string_table.h"
#include "service/settings.h"
#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

// How many of the numbered keys there are; the first missing or empty one ends the count.
int countNumbered(const char* section, KeyId key) {
  int count = 0;
  while (count < kProfileKeys[key].highest && !readText(section, key, count + 1).empty()) ++count;
  return count;
}

// Until the first polls have filed the servers by load they all stand in list 0, the last one at the head.
void chainServers(ServerPool* pool) {
  PoolHold hold(pool);
  for (int i = 0; i < pool->serverCount; ++i) {
    pushToList(&pool->allocationLists[0], &pool->servers[static_cast<std::size_t>(i)]);
  }
}

void fillServer(PoolServer* server, const std::string& entry) {
  std::strncpy(server->address, entry.c_str(), kNameSize - 1);
  server->addressLength = static_cast<std::int32_t>(std::strlen(server->address));
  const ServerEndpoint endpoint = parseServerEntry(entry);
  server->ipAddress = endpoint.ipAddress;
  server->port = endpoint.port;
}

std::uint32_t loadPool(const std::string& name) {
  const char* section = name.c_str();
  const int count = countNumbered(section, kServer);
  if (count == 0) return kStringEmptyPool;
  ServerPool* pool = createPool(section, static_cast<std::int16_t>(count), readNumber(section, kPollTimer));
  chainServers(pool);
  for (int i = 0; i < count; ++i) {
    PoolServer* server = &pool->servers[static_cast<std::size_t>(i)];
    fillServer(server, readText(section, kServer, i + 1));
    if (!startPolling(server)) return kStringThreadFailed;
  }
  return 0;
}

}  // namespace

ServerEndpoint parseServerEntry(const std::string& entry) {
  const std::size_t colon = entry.find(':');
  if (colon == std::string::npos) return {0, parseDecimal(entry)};
  return {inet_addr(entry.substr(0, colon).c_str()), parseDecimal(entry.substr(colon + 1))};
}

std::int32_t readServicePort() {
  return readNumber(kSetupSection, kPort);
}

std::uint32_t loadPools() {
  if (readServicePort() == 0) return kStringNoPort;
  const int count = countNumbered(kSetupSection, kPool);
  if (count == 0) return kStringNoPools;
  for (int i = 1; i <= count; ++i) {
    if (const std::uint32_t error = loadPool(readText(kSetupSection, kPool, i))) return error;
  }
  return 0;
}

}  // namespace nimbolsp
