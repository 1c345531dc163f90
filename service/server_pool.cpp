#include "service/server_pool.h"

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

// Whether a list index names an allocation list; -1, as an unsigned number, does not.
bool isAllocationList(std::int16_t index) {
  return static_cast<std::uint16_t>(index) < kAllocationLists;
}

// Unlinks an item from a list and returns what followed it, where a walk over the list would go on; null, and
// nothing changed, when it is not in it.
PoolServer* unlinkFromList(PoolServer** head, PoolServer* item) NIMBOXI_REQUIRES(poolGuard) {
  for (PoolServer** link = head; *link != nullptr; link = &(*link)->next) {
    if (*link != item) continue;
    PoolServer* following = item->next;
    *link = following;
    item->next = nullptr;
    return following;
  }
  return nullptr;
}

// Takes a server out of its allocation list; `listIndex` becomes -1.
void removeFromList(ServerPool* pool, PoolServer* server) NIMBOXI_REQUIRES(poolGuard) {
  if (!isAllocationList(server->listIndex)) return;
  PoolServer** head = &pool->allocationLists[server->listIndex];
  server->listIndex = -1;
  unlinkFromList(head, server);
}

// Nobody waits for a polling thread: it may sit in a connect or a receive for as long as its server likes,
// and keeps the pool's memory alive meanwhile.
void waitForPollingThreads(ServerPool*) {
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
  CharUpper(pool->name);
  pool->nameLength = lstrlen(pool->name);
  pool->serverCount = serverCount;
  pool->servers = std::make_unique<PoolServer[]>(static_cast<std::size_t>(serverCount));
  for (int i = 0; i < serverCount; ++i) pool->servers[static_cast<std::size_t>(i)].pool = pool;
  pool->pollInterval = pollInterval;
  pool->pollRequest = encodePollRequest();
  pool->lock.create();
  pool->users.open();
  pool->next = poolList;
  poolList = pool;
  return pool;
}

void letGoOfPool(ServerPool* pool) {
  if (pool->users.letGo()) delete pool;
}

void destroyAllPools() {
  stopPolling = true;
  closeLayerGate();
  while (ServerPool* pool = poolList) {
    poolList = pool->next;
    waitForPollingThreads(pool);
    closeHandles(pool);
    letGoOfPool(pool);
  }
}

ServerPool* findPool(char* name, std::size_t length) {
  CharUpperBuff(name, static_cast<DWORD>(length));
  for (ServerPool* pool = poolList; pool != nullptr; pool = pool->next) {
    if (static_cast<std::size_t>(pool->nameLength) == length && std::memcmp(pool->name, name, length) == 0) {
      return pool;
    }
  }
  return nullptr;
}

void pushToList(PoolServer** head, PoolServer* server) {
  server->next = *head;
  *head = server;
}

void markUnavailable(PoolServer* server) {
  if (server->unavailable) return;
  ServerPool* pool = server->pool;
  PoolHold hold(pool);
  server->unavailable = true;
  removeFromList(pool, server);
  pushToList(&pool->unallocatedList, server);
}

void placeServer(ServerPool* pool, PoolServer* server, std::int16_t list) {
  server->unavailable = false;
  if (list != server->listIndex) {
    unlinkFromList(server->listIndex < 0 ? &pool->unallocatedList : &pool->allocationLists[server->listIndex],
                   server);
    server->listIndex = list;
    pushToList(&pool->allocationLists[list], server);
  }
  // Never written, and kept on purpose: a server that has been placed is in a list; the line would tell of a
  // broken record.
  if (settings().debugLevel != 0 && server->listIndex < 0) {
    debugLog("Server is not allocated", server->ipAddress, server->port);
  }
}

}  // namespace nimbolsp
