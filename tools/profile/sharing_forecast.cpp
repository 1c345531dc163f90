#include "tools/profile/sharing_forecast.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "service/balance.h"
#include "service/server_list.h"
#include "service/wire/numbers.h"

namespace nimbolsp::tools {

namespace {

constexpr double kLongestTimer = 4'294'967;  // seconds; beyond that it wraps

struct Share {
  const ServerEntry* server;
  Statistics statistics;
  std::int16_t load;
  std::int16_t list;  // -1: withheld
  std::size_t requests = 0;
};

// The servers in the order in which a list has them: the one filed last in front.
std::vector<Share> sharesOf(const PoolEntry& pool, std::span<const PollResult> results,
                            std::int32_t bucketSize) {
  std::vector<Share> shares;
  for (std::size_t i = pool.servers.size(); i-- > 0;) {
    const Statistics& now = results[i].statistics;
    const bool answered = results[i].end == PollEnd::kAnswered;
    shares.push_back(
        {&pool.servers[i], now, loadPercent(now.loadUsed, now.loadLimit),
         answered ? allocationListOf(now.ratioDivisor, now.ratioDividend, bucketSize) : std::int16_t{-1}});
  }
  return shares;
}

// The allocation lists of a pool, and behind them the unallocated one.
using Lists = std::array<ServerList, kAllocationLists + 1>;

Lists listsOf(const std::vector<Share>& shares) {
  Lists lists;
  for (std::size_t i = shares.size(); i-- > 0;) {
    ServerList& list = shares[i].list < 0 ? lists.back() : lists[static_cast<std::size_t>(shares[i].list)];
    list.pushToHead({.number = static_cast<std::int16_t>(i), .load = shares[i].load});
  }
  return lists;
}

// Hands out one request. False when every counter is full, and some server had to do.
bool handOut(std::vector<Share>& shares, Lists& lists, std::int32_t sequence) {
  const auto shareAt = [&](const ServerList& list, std::size_t place) -> Share& {
    return shares[static_cast<std::size_t>(list.number(place))];
  };
  for (ServerList& list : std::span(lists).first(kAllocationLists)) {
    const Choice choice = list.choose(sequence);
    if (choice.candidates == 0) continue;
    Share& chosen = shareAt(list, choice.chosen);
    list.countRequest(choice.chosen, chosen.statistics, sequence);
    ++chosen.requests;
    return true;
  }
  const auto holding = std::ranges::find_if(lists, [](const ServerList& list) { return !list.empty(); });
  ++shareAt(*holding, 0).requests;
  return false;
}

// How many requests it takes until the server is full; none when its counter never gets there.
std::optional<std::int64_t> roomOf(const Share& share) {
  if (share.list < 0 || share.load >= kFullLoad) return 0;
  const std::int64_t used = share.statistics.loadUsed, limit = share.statistics.loadLimit;
  if (limit <= 0 || limit > INT32_MAX / 100 || used < -(INT32_MAX / 100)) return {};
  return std::max<std::int64_t>(limit - used, 0);
}

std::optional<std::int64_t> roomOf(const std::vector<Share>& shares) {
  std::int64_t room = 0;
  for (const Share& share : shares) {
    const auto one = roomOf(share);
    if (!one) return {};
    room += *one;
  }
  return room;
}

}  // namespace

PoolForecast forecast(const PoolEntry& pool, std::span<const PollResult> results, std::int32_t bucketSize,
                      double rate) {
  PoolForecast told;
  told.pool = pool.name;
  told.interval = roundedSeconds(static_cast<std::uint32_t>(pool.pollInterval));
  told.servers = pool.servers.size();
  const auto hasAnswered = [](const PollResult& result) { return result.end == PollEnd::kAnswered; };
  told.answered = static_cast<std::size_t>(std::ranges::count_if(results, hasAnswered));
  std::vector<Share> shares = sharesOf(pool, results, bucketSize);
  told.room = roomOf(shares);
  if (told.room) {
    const double seconds = static_cast<double>(*told.room) / rate;
    told.secondsToFull = seconds;
    told.longestTimer = static_cast<std::uint32_t>(std::min(std::floor(seconds), kLongestTimer));
  }
  told.requests =
      static_cast<std::size_t>(std::min(std::ceil(rate * told.interval), static_cast<double>(kMostForetold)));
  Lists lists = listsOf(shares);
  for (std::size_t i = 0; i < told.requests; ++i) {
    if (!handOut(shares, lists, static_cast<std::int32_t>(i + 1))) ++told.withoutRoom;
  }
  const auto busiest = std::ranges::max_element(shares, {}, &Share::requests);
  told.busiest = busiest->server->text;
  if (told.requests > 0)
    told.busiestShare = static_cast<double>(busiest->requests) / static_cast<double>(told.requests);
  return told;
}

}  // namespace nimbolsp::tools
