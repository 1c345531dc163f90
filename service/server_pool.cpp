#include "service/server_pool.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "nimboxi/handles.h"
#include "nimboxi/text.h"
#include "service/layer_gate.h"
#include "service/reports.h"
#include "service/settings.h"

namespace nimbolsp {

PoolGuard poolGuard;
constinit ServerPool* poolList = nullptr;
constinit std::atomic<bool> stopPolling{false};

namespace {

// The pools by their names' hashes, the newest of a hash first: a request does not compare all names. The
// main thread's alone, as `poolList` is.
constexpr std::size_t kHashes = 256;
constinit ServerPool* poolsByHash[kHashes] = {};

// Converts a name to upper case in place and returns its hash. The layer is asked once for each of the 256
// bytes, not at every request.
std::size_t foldName(char* name, std::size_t length) {
  static const std::array<char, 256> upperCase = [] {
    std::array<char, 256> all;
    for (std::size_t byte = 0; byte < all.size(); ++byte) all[byte] = static_cast<char>(byte);
    CharUpperBuff(all.data(), static_cast<DWORD>(all.size()));
    return all;
  }();
  unsigned int hash = 0;
  for (std::size_t i = 0; i < length; ++i) {
    name[i] = upperCase[static_cast<unsigned char>(name[i])];
    hash = hash * 31 + static_cast<unsigned char>(name[i]);
  }
  return hash % kHashes;
}

// Whether a list index names an allocation list; -1, as an unsigned number, does not.
bool isAllocationList(std::int16_t index) {
  return static_cast<std::uint16_t>(index) < kAllocationLists;
}

// Takes a server out of a list; a new row, and nothing changed, when it is not in it, which does not happen.
ServerRow unlinkFromList(ServerList& list, const PoolServer* server) NIMBOXI_REQUIRES(poolGuard) {
  const std::int16_t number = numberOf(server);
  const auto place = list.placeOf(number);
  return place ? list.take(*place) : ServerRow{number};
}

// Takes a server out of its allocation list; `listIndex` becomes -1.
ServerRow removeFromList(ServerPool* pool, PoolServer* server) NIMBOXI_REQUIRES(poolGuard) {
  if (!isAllocationList(server->listIndex)) return {numberOf(server)};
  ServerList& list = pool->allocationLists[server->listIndex];
  server->listIndex = -1;
  return unlinkFromList(list, server);
}

// Nobody waits for a polling thread: it may sit in a connect or a receive for as long as its server likes,
// and keeps the pool's memory alive meanwhile.
void waitForPollingThreads(ServerPool*) {
}

// Every list can hold every server, so that no poll needs memory. Nobody else knows the pool yet.
void reserveLists(ServerPool* pool, std::size_t servers) NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
  for (ServerList& list : pool->allocationLists) list.reserve(servers);
  pool->unallocatedList.reserve(servers);
}

// Closes what the layer holds for a pool.
void closeHandles(ServerPool* pool) {
  for (int i = 0; i < pool->serverCount; ++i) {
    if (HANDLE thread = pool->servers[static_cast<std::size_t>(i)].thread) CloseHandle(thread);
  }
  pool->lock.close();
}

}  // namespace

ServerPool::ServerPool() = default;
ServerPool::~ServerPool() = default;

ServerPool* createPool(const char* name, std::int16_t serverCount, std::int32_t pollInterval) {
  auto* pool = new ServerPool;
  std::strncpy(pool->name, name, kNameSize - 1);
  pool->nameLength = lstrlen(pool->name);
  ServerPool*& newestAlike = poolsByHash[foldName(pool->name, static_cast<std::size_t>(pool->nameLength))];
  pool->serverCount = serverCount;
  const auto count = static_cast<std::size_t>(serverCount);
  pool->servers = std::make_unique<PoolServer[]>(count);
  for (std::size_t i = 0; i < count; ++i) pool->servers[i].pool = pool;
  pool->pollInterval = pollInterval;
  pool->pollRequest = encodePollRequest();
  pool->lock.create();
  reserveLists(pool, count);
  pool->users.open();
  pool->next = poolList;
  poolList = pool;
  pool->nextAlike = newestAlike;
  newestAlike = pool;
  return pool;
}

void letGoOfPool(ServerPool* pool) {
  if (pool->users.letGo()) delete pool;
}

void destroyAllPools() {
  stopPolling = true;
  closeLayerGate();
  std::ranges::fill(poolsByHash, nullptr);
  while (ServerPool* pool = poolList) {
    poolList = pool->next;
    waitForPollingThreads(pool);
    closeHandles(pool);
    letGoOfPool(pool);
  }
}

ServerPool* findPool(char* name, std::size_t length) {
  for (ServerPool* pool = poolsByHash[foldName(name, length)]; pool != nullptr; pool = pool->nextAlike) {
    if (static_cast<std::size_t>(pool->nameLength) == length && std::memcmp(pool->name, name, length) == 0) {
      return pool;
    }
  }
  return nullptr;
}

std::int16_t numberOf(const PoolServer* server) {
  return static_cast<std::int16_t>(server - server->pool->servers.get());
}

ServerList& listOf(PoolServer* server) {
  ServerPool* pool = server->pool;
  return server->listIndex < 0 ? pool->unallocatedList : pool->allocationLists[server->listIndex];
}

void setLoad(PoolServer* server, std::int16_t load) {
  ServerList& list = listOf(server);
  if (const auto place = list.placeOf(numberOf(server))) list.setLoad(*place, load);
}

void markUnavailable(PoolServer* server) {
  if (server->unavailable) return;
  ServerPool* pool = server->pool;
  PoolHold hold(pool);
  server->unavailable = true;
  pool->unallocatedList.pushToHead(removeFromList(pool, server));
}

void placeServer(ServerPool* pool, PoolServer* server, std::int16_t list) {
  server->unavailable = false;
  if (list != server->listIndex) {
    const ServerRow row = unlinkFromList(listOf(server), server);
    server->listIndex = list;
    pool->allocationLists[list].pushToHead(row);
  }
  // Never written, and kept on purpose: a server that has been placed is in a list; the line would tell of a
  // broken record.
  if (settings().debugLevel != 0 && server->listIndex < 0) {
    debugLog("Server is not allocated", server->ipAddress, server->port);
  }
}

}  // namespace nimbolsp
