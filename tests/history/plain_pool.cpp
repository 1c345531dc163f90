#include "tests/history/plain_pool.h"

#include <sstream>

#include "service/wire/numbers.h"

namespace nimbolsp {

std::string debugLine(std::int64_t server, const std::string& text) {
  return std::to_string(server) + " " + text;
}

PlainPool::PlainPool(std::size_t count, std::int32_t first, bool tells)
    : sequence(first), servers(count), tells_(tells) {
  for (PlainServer& server : servers) {
    server.next = heads[0];
    heads[0] = &server;
  }
}

void PlainPool::move(PlainServer& server, int list) {
  PlainServer** link = &headOf(server.listIndex);
  while (*link != &server) link = &(*link)->next;
  *link = server.next;
  server.listIndex = static_cast<std::int16_t>(list);
  server.next = headOf(list);
  headOf(list) = &server;
}

void PlainPool::withhold(std::size_t server) {
  if (servers[server].listIndex >= 0) move(servers[server], -1);
}

void PlainPool::place(std::size_t number, const Statistics& statistics, std::int32_t bucketSize) {
  PlainServer& server = servers[number];
  server.statistics = statistics;
  server.load = loadPercent(statistics.loadUsed, statistics.loadLimit);
  const auto list = allocationListOf(statistics.ratioDivisor, statistics.ratioDividend, bucketSize);
  if (list != server.listIndex) move(server, list);
}

template <typename... Parts>
void PlainPool::tell(const PlainServer* server, Parts... parts) {
  if (!tells_) return;
  std::ostringstream text;
  (text << ... << parts);
  lines.push_back(debugLine(server == nullptr ? -1 : server - servers.data(), text.str()));
}

PlainServer* PlainPool::search() {
  for (int list = 0; list < kAllocationLists; ++list) {
    PlainServer* best = nullptr;
    std::int16_t lowest = 100;
    int count = 0;
    for (PlainServer* server = heads[list]; server != nullptr; server = server->next) {
      tell(server, "Server assigned to allocation list ", list, " with load ", server->load, "%");
      if (server->load < lowest) {
        best = server;
        lowest = server->load;
        count = 0;
      } else if (count == 0 || server->load != lowest) {
        continue;
      }
      ++count;
      server->candidateMark = sequence;
    }
    tell(nullptr, "Found ", count, " servers as possible candidates to take the request");
    if (count == 0) continue;
    if (count == 1) return best;
    PlainServer* chosen = best;
    for (PlainServer* server = best->next; server != nullptr; server = server->next) {
      if (server->candidateMark != sequence || server->lastAllocation >= chosen->lastAllocation) continue;
      tell(server,
           "Because multiple possible server candidates have been found, we prefer the least recently used "
           "server (smallest allocation sequence number)");
      chosen = server;
    }
    return chosen;
  }
  return nullptr;
}

std::size_t PlainPool::allocate() {
  PlainServer* chosen = search();
  if (chosen != nullptr) {
    tell(chosen, "This server will be allocated to handle this request");
    Statistics& now = chosen->statistics;
    now.loadUsed = wrapAdd(now.loadUsed, 1);
    if (now.loadLimit != 0) chosen->load = loadPercent(now.loadUsed, now.loadLimit);
    chosen->lastAllocation = sequence;
  } else {
    for (PlainServer* head : heads) {
      if (chosen == nullptr) chosen = head;
    }
    tell(chosen,
         "Failed to allocate the least busy server so we will allocate any server to handle the request");
  }
  sequence = wrapAdd(sequence, 1);
  return static_cast<std::size_t>(chosen - servers.data());
}

}  // namespace nimbolsp
