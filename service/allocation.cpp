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

void detailVisited(const PoolServer* server, std::int16_t list) NIMBOXI_REQUIRES(poolGuard) {
  if (!detailed()) return;
  char text[kDetailBytes];
  std::snprintf(text, sizeof text, "Server assigned to allocation list %i with load %i%%", list,
                server->load);
  detail(text, server);
}

void detailFound(int count) {
  if (!detailed()) return;
  char text[kDetailBytes];
  std::snprintf(text, sizeof text, "Found %i servers as possible candidates to take the request", count);
  debugLog(text, 0, 0);
}

struct Found {
  PoolServer* first = nullptr;  // of the candidates
  int count = 0;
};

// Finds the candidates of a list and marks each with the search's sequence number.
Found findCandidates(ServerPool* pool, int list) NIMBOXI_REQUIRES(poolGuard) {
  PoolServer* first = nullptr;
  Candidates candidates;
  for (PoolServer* server = pool->allocationLists[list]; server != nullptr; server = server->next) {
    detailVisited(server, static_cast<std::int16_t>(list));
    const Candidates::Verdict verdict = candidates.judge(server->load);
    if (verdict == Candidates::kPassedOver) continue;
    if (verdict == Candidates::kFirst) first = server;
    server->candidateMark = pool->allocationSequence;
  }
  detailFound(candidates.count());
  return {first, candidates.count()};
}

// Of several candidates the one handed out longest ago; the first of them when that is equal.
PoolServer* leastRecent(ServerPool* pool, PoolServer* first) NIMBOXI_REQUIRES(poolGuard) {
  PoolServer* chosen = first;
  LeastRecent order(first->lastAllocation);
  for (PoolServer* server = first->next; server != nullptr; server = server->next) {
    if (server->candidateMark != pool->allocationSequence) continue;
    if (!order.prefers(server->lastAllocation)) continue;
    detail(kPreferredText, server);
    chosen = server;
  }
  return chosen;
}

// The search: the lowest list with a candidate wins, whatever the loads in later lists. Null when no list has
// a server below 100 %.
PoolServer* searchLists(ServerPool* pool) NIMBOXI_REQUIRES(poolGuard) {
  for (int list = 0; list < kAllocationLists; ++list) {
    const Found found = findCandidates(pool, list);
    if (found.first != nullptr) return found.count == 1 ? found.first : leastRecent(pool, found.first);
  }
  return nullptr;
}

// Some server when all are full or withheld: the head of the lowest list that has any, else the
// one withheld last. Null for a pool without any.
PoolServer* anyServer(ServerPool* pool) NIMBOXI_REQUIRES(poolGuard) {
  for (PoolServer* head : pool->allocationLists) {
    if (head != nullptr) return head;
  }
  return pool->unallocatedList;
}

// Counts the request at once, so that a burst spreads before the next poll brings fresh figures.
void countRequest(ServerPool* pool, PoolServer* chosen) NIMBOXI_REQUIRES(poolGuard) {
  Statistics& statistics = chosen->statistics;
  statistics.loadUsed = wrapAdd(statistics.loadUsed, 1);
  if (statistics.loadLimit != 0) chosen->load = loadPercent(statistics.loadUsed, statistics.loadLimit);
  chosen->lastAllocation = pool->allocationSequence;
}

}  // namespace

std::int32_t allocateServer(ServerPool* pool, char* replyBuffer) {
  PoolHold hold(pool);
  PoolServer* chosen = searchLists(pool);
  if (chosen != nullptr) {
    detail("This server will be allocated to handle this request", chosen);
    countRequest(pool, chosen);
  }
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
