// One of a pool's lists of servers: what a search reads of each, side by side in the order from the head.
// Pure; in the daemon guarded by the pool's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "service/choice.h"
#include "service/wire/poll_protocol.h"

namespace nimbolsp {

// What a list holds of a server, and takes along when the server moves.
struct ServerRow {
  std::int16_t number = 0;          // of the server in its pool, from 0
  std::int16_t load = 0;            // per cent
  std::int32_t lastAllocation = 0;  // sequence number; 0 before any
  std::int32_t candidateMark = 0;   // that of the search that marked it
};

// Places count from the head, 0. All calls that take a place want one below size().
class ServerList {
 public:
  // Gets memory for so many servers. Up to then nothing fails for want of it.
  void reserve(std::size_t servers);

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  ServerRow row(std::size_t place) const;
  std::int16_t number(std::size_t place) const { return numbers_[place]; }
  std::optional<std::size_t> placeOf(std::int16_t number) const;

  void pushToHead(const ServerRow& row);
  ServerRow take(std::size_t place);
  void setLoad(std::size_t place, std::int16_t load) { loads_[place] = load; }

  // Counts a request against a server at once, so that a burst spreads before the next poll brings fresh
  // figures. `statistics` are the server's own.
  void countRequest(std::size_t place, Statistics& statistics, std::int32_t sequence);

  // Chooses a server and marks the candidates.
  Choice choose(std::int32_t sequence) {
    return chooseServer({loads_.data(), lastAllocations_.data(), candidateMarks_.data(), loads_.size()},
                        sequence);
  }

 private:
  template <typename Change>
  void forEachColumn(Change change);

  // Filled up to whole steps of a search with rows of no server.
  std::vector<std::int16_t> numbers_, loads_;
  std::vector<std::int32_t> lastAllocations_, candidateMarks_;
  std::size_t size_ = 0;
};

}  // namespace nimbolsp
