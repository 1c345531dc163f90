// How the requests of an interval would be shared, by the servers' own figures and the daemon's arithmetic:
// between two polls the daemon only counts what it hands out. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "service/pool_profile.h"
#include "tools/polling/poll_round.h"

namespace nimbolsp::tools {

// How many requests of an interval are looked at.
inline constexpr std::size_t kMostForetold = 200'000;

struct PoolForecast {
  std::string pool;
  std::uint32_t interval = 0;  // seconds between two polls, as the daemon sleeps them
  std::size_t servers = 0;
  std::size_t answered = 0;             // of them
  std::optional<std::int64_t> room;     // requests until every counter is full; none: they never are
  std::optional<double> secondsToFull;  // the same at the rate
  std::size_t requests = 0;             // handed out in the interval, or the first kMostForetold
  std::size_t withoutRoom = 0;          // of them, when every counter was full: all to one server
  std::string busiest;                  // the server that takes most
  double busiestShare = 0;              // of the requests, 0 to 1
  // The longest PollTimer with which a poll comes before every counter is full; 0: 1 s is too long. Up to
  // then no server is handed more than its limit; shares differ all the same, by list and load.
  std::optional<std::uint32_t> longestTimer;

  // What a server takes until its first poll: all count as idle, dead or alive.
  double firstShare() const { return servers == 0 ? 0 : 1.0 / static_cast<double>(servers); }
};

// The first interval behind a poll of all servers.
//   results  one a server of the pool
//   rate     requests a second to this pool, above 0
PoolForecast forecast(const PoolEntry& pool, std::span<const PollResult> results, std::int32_t bucketSize,
                      double rate);

}  // namespace nimbolsp::tools
