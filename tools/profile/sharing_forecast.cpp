#include "tools/profile/sharing_forecast.h"

#include <algorithm>
#include <cmath>

#include "service/balance.h"
#include "service/wire/numbers.h"

namespace nimbolsp::tools {

namespace {

constexpr double kLongestTimer = 4'294'967;  // seconds; beyond that it wraps

struct Share {
  const ServerEntry* server;
  Statistics statistics;
  std::int16_t load;
  std::int16_t list;  // -1: withheld
  std::int32_t lastAllocation = 0;
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

Share* leastLoaded(std::vector<Share>& shares, int list) {
  Candidates candidates;
  Share* first = nullptr;
  for (Share& share : shares) {
    if (share.list == list && candidates.judge(share.load) == Candidates::kFirst) first = &share;
  }
  if (first == nullptr || candidates.count() == 1) return first;
  Share* chosen = first;
  LeastRecent order(first->lastAllocation);
  for (Share* share = first + 1; share != shares.data() + shares.size(); ++share) {
    if (share->list == list && share->load == first->load && order.prefers(share->lastAllocation))
      chosen = share;
  }
  return chosen;
}

// Hands out one request. False when every counter is full, and some server had to do.
bool handOut(std::vector<Share>& shares, std::int32_t sequence) {
  for (int list = 0; list < kAllocationLists; ++list) {
    Share* chosen = leastLoaded(shares, list);
    if (chosen == nullptr) continue;
    Statistics& now = chosen->statistics;
    now.loadUsed = wrapAdd(now.loadUsed, 1);
    if (now.loadLimit != 0) chosen->load = loadPercent(now.loadUsed, now.loadLimit);
    chosen->lastAllocation = sequence;
    ++chosen->requests;
    return true;
  }
  // A withheld one comes behind all lists: as an unsigned number its list is the highest.
  const auto place = [](const Share& share) { return static_cast<std::uint16_t>(share.list); };
  ++std::ranges::min_element(shares, {}, place)->requests;
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
  for (std::size_t i = 0; i < told.requests; ++i) {
    if (!handOut(shares, static_cast<std::int32_t>(i + 1))) ++told.withoutRoom;
  }
  const auto busiest = std::ranges::max_element(shares, {}, &Share::requests);
  told.busiest = busiest->server->text;
  if (told.requests > 0)
    told.busiestShare = static_cast<double>(busiest->requests) / static_cast<double>(told.requests);
  return told;
}

}  // namespace nimbolsp::tools
