#include "service/allocation.h"

#include <cstdio>
#include <cstring>

#include "service/balance.h"
#include "service/reports.h"
#include "service/settings.h"
#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

constexpr int kDetailLevel = 2;           // of the debug lines of this file
constexpr std::size_t kDetailBytes = 64;  // of one with numbers, its NUL included

constexpr const char* kPreferredText =
    "Because multiple possible server candidates have been found, we prefer the least recently used "
    "server (smallest allocation sequence number)";

bool detailed() {
  return settings().debugLevel >= kDetailLevel;
}

void detail(std::string_view text, const PoolServer* server) {
  if (detailed()) debugLog(text, server->ipAddress, server->port);
}

PoolServer* serverAt(const ServerPool* pool, const ServerList& list, std::size_t place)
    NIMBOXI_REQUIRES(poolGuard) {
  return &pool->servers[static_cast<std::size_t>(list.number(place))];
}

// What the walk over a list sees: every server, and how many candidates there are.
void detailSearch(const ServerPool* pool, int index, const Choice& choice) NIMBOXI_REQUIRES(poolGuard) {
  const ServerList& list = pool->allocationLists[index];
  char text[kDetailBytes];
  for (std::size_t place = 0; place < list.size(); ++place) {
    std::snprintf(text, sizeof text, "Server assigned to allocation list %i with load %i%%",
                  static_cast<std::int16_t>(index), list.row(place).load);
    detail(text, serverAt(pool, list, place));
  }
  std::snprintf(text, sizeof text, "Found %i servers as possible candidates to take the request",
                choice.candidates);
  debugLog(text, 0, 0);
}

// Every candidate that was handed out longer ago than all before it; the last of them is the chosen one.
void detailPreferred(const ServerPool* pool, const ServerList& list, const Choice& choice)
    NIMBOXI_REQUIRES(poolGuard) {
  std::int32_t lowest = list.row(choice.first).lastAllocation;
  for (std::size_t place = choice.first + 1; place <= choice.chosen; ++place) {
    const ServerRow row = list.row(place);
    if (row.candidateMark != pool->allocationSequence || row.lastAllocation >= lowest) continue;
    lowest = row.lastAllocation;
    detail(kPreferredText, serverAt(pool, list, place));
  }
}

// The search: the lowest list with a candidate wins, whatever the loads in later lists. Counts the request
// against the server it finds; null when no list has one below 100 %.
PoolServer* searchLists(ServerPool* pool) NIMBOXI_REQUIRES(poolGuard) {
  for (int index = 0; index < kAllocationLists; ++index) {
    ServerList& list = pool->allocationLists[index];
    const Choice choice = list.choose(pool->allocationSequence);
    if (detailed()) detailSearch(pool, index, choice);
    if (choice.candidates == 0) continue;
    if (detailed()) detailPreferred(pool, list, choice);
    PoolServer* chosen = serverAt(pool, list, choice.chosen);
    detail("This server will be allocated to handle this request", chosen);
    list.countRequest(choice.chosen, chosen->statistics, pool->allocationSequence);
    return chosen;
  }
  return nullptr;
}

// Some server when all are full or withheld: the head of the lowest list that has any, else the
// one withheld last. Null for a pool without any.
PoolServer* anyServer(ServerPool* pool) NIMBOXI_REQUIRES(poolGuard) {
  for (const ServerList& list : pool->allocationLists) {
    if (!list.empty()) return serverAt(pool, list, 0);
  }
  return pool->unallocatedList.empty() ? nullptr : serverAt(pool, pool->unallocatedList, 0);
}

}  // namespace

std::int32_t allocateServer(ServerPool* pool, char* replyBuffer) {
  PoolHold hold(pool);
  PoolServer* chosen = searchLists(pool);
  pool->allocationSequence = wrapAdd(pool->allocationSequence, 1);
  if (chosen == nullptr) {
    chosen = anyServer(pool);
    if (chosen == nullptr) return 0;
    detail("Failed to allocate the least busy server so we will allocate any server to handle the request",
           chosen);
  }
  std::memcpy(replyBuffer, chosen->address, static_cast<std::size_t>(chosen->addressLength) + 1);
  return chosen->addressLength;
}

}  // namespace nimbolsp
