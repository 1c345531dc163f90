#include "service/pool_loader.h"

#include <arpa/inet.h>

#include <cstring>

#include "service/poller.h"
#include "service/resources/string_table.h"
#include "service/settings.h"
#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

constexpr int kMaximumPools = 64;
constexpr int kMaximumServers = 256;  // of a pool
constexpr std::int32_t kMillisecondsPerSecond = 1000;
constexpr std::int32_t kDefaultPollInterval = 30 * kMillisecondsPerSecond;

// Value `number`, from 1, of the keys "Pool1", "Pool2", ... or "Server1", "Server2", ...
std::string readNumbered(const char* section, const char* stem, int number) {
  return readProfile(section, (stem + std::to_string(number)).c_str());
}

// How many of the numbered keys there are; the first missing or empty one ends the count.
int countNumbered(const char* section, const char* stem, int maximum) {
  int count = 0;
  while (count < maximum && !readNumbered(section, stem, count + 1).empty()) ++count;
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
  const int count = countNumbered(section, "Server", kMaximumServers);
  if (count == 0) return kStringEmptyPool;
  const std::int32_t interval = pollIntervalOf(parseDecimal(readProfile(section, "PollTimer")));
  ServerPool* pool = createPool(section, static_cast<std::int16_t>(count), interval);
  chainServers(pool);
  for (int i = 0; i < count; ++i) {
    PoolServer* server = &pool->servers[static_cast<std::size_t>(i)];
    fillServer(server, readNumbered(section, "Server", i + 1));
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

std::int32_t pollIntervalOf(std::int32_t seconds) {
  const std::int32_t interval = wrapMultiply(seconds, kMillisecondsPerSecond);
  return interval == 0 ? kDefaultPollInterval : interval;
}

std::int32_t readServicePort() {
  return readSetupNumber("Port");
}

std::uint32_t loadPools() {
  if (readServicePort() == 0) return kStringNoPort;
  const int count = countNumbered("Setup", "Pool", kMaximumPools);
  if (count == 0) return kStringNoPools;
  for (int i = 1; i <= count; ++i) {
    if (const std::uint32_t error = loadPool(readNumbered("Setup", "Pool", i))) return error;
  }
  return 0;
}

}  // namespace nimbolsp
