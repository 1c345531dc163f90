// The rule of choosing a server as one would tell it: records chained by pointers, one walk for the
// candidates and one for the least recent. What the daemon does with rows side by side must be the same, line
// by line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/balance.h"

namespace nimbolsp {

struct PlainServer {
  Statistics statistics;
  std::int16_t load = 0, listIndex = 0;  // -1: withheld
  std::int32_t lastAllocation = 0, candidateMark = 0;
  PlainServer* next = nullptr;
};

class PlainPool {
 public:
  // All servers in list 0, the last one at its head.
  PlainPool(std::size_t servers, std::int32_t sequence, bool tells);

  void withhold(std::size_t server);
  void place(std::size_t server, const Statistics& statistics, std::int32_t bucketSize);

  // The number of the server that is handed out. Adds the debug lines if it tells them.
  std::size_t allocate();
  std::vector<std::string> lines;

  std::int32_t sequence;
  std::vector<PlainServer> servers;
  PlainServer* heads[kAllocationLists + 1] = {};  // the last: the unallocated list

 private:
  const bool tells_;
  PlainServer*& headOf(int list) { return heads[list < 0 ? kAllocationLists : list]; }
  void move(PlainServer& server, int list);
  template <typename... Parts>
  void tell(const PlainServer* server, Parts... parts);
  PlainServer* search();
};

// A debug line: a server's number, or -1, and the text.
std::string debugLine(std::int64_t server, const std::string& text);

}  // namespace nimbolsp
