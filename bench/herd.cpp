// Several daemons over the same servers, each with counters of its own: how far the busiest server stands
// above the average one. Simulated time, the service's own pools, polls and allocation; prints CSV, a row a
// run.
//   herd [SECONDS]      default: 110 simulated seconds a run, of which the first 10 are not counted
// Requests come at random and stay at a server for an exponential time; each asks one of the daemons, any of
// them. The last column is the same without a daemon: every request to any server.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <iterator>
#include <optional>
#include <queue>
#include <random>
#include <vector>

#include "compat/core/call_guard.h"
#include "compat/services/errors/last_error.h"
#include "service/allocation.h"
#include "service/layer_gate.h"
#include "service/server_pool.h"
#include "service/settings.h"

namespace {

using namespace nimbolsp;

constexpr int kServers = 10;
constexpr int kLimit = 200;     // requests at once that a server does well
constexpr double kRate = 1000;  // requests a second, at all daemons together
constexpr double kStay = 1;     // seconds, on average: 100 at once at each server, half of its limit
constexpr double kWarmUp = 10;  // seconds

// What the servers have to do, now and as it was.
class Servers {
 public:
  using Used = std::array<int, kServers>;

  const Used& used() const { return history_.back().used; }
  int busiest() const { return *std::ranges::max_element(used()); }

  // What they had at a time that is no longer ago than `forget` last said.
  const Used& usedAt(double time) const {
    return std::prev(std::ranges::upper_bound(history_, time, {}, &Moment::time))->used;
  }

  // Ends the requests whose time has come.
  void advance(double now) {
    for (; !ends_.empty() && ends_.top().time <= now; ends_.pop())
      add(ends_.top().time, ends_.top().server, -1);
  }
  void take(double now, std::size_t server, double end) {
    add(now, server, 1);
    ends_.push({end, server});
  }
  void forget(double before) {
    while (history_.size() > 1 && history_[1].time <= before) history_.pop_front();
  }

 private:
  struct Moment {
    double time;
    Used used;
  };
  struct End {
    double time;
    std::size_t server;
    bool operator>(const End& other) const { return time > other.time; }
  };

  void add(double time, std::size_t server, int difference) {
    history_.push_back({time, used()});
    history_.back().used[server] += difference;
  }

  std::deque<Moment> history_{{0, {}}};
  std::priority_queue<End, std::vector<End>, std::greater<>> ends_;
};

// A daemon without its threads: a pool whose servers' texts are their numbers.
class Daemon {
 public:
  Daemon() NIMBOXI_NO_THREAD_SAFETY_ANALYSIS : pool_(createPool("Web", kServers, 1000)) {
    for (int i = kServers; i-- > 0;) {
      PoolServer* server = serverAt(i);
      server->address[0] = static_cast<char>('0' + i);
      server->addressLength = 1;
      pool_->allocationLists[0].pushToHead({static_cast<std::int16_t>(i)});
    }
  }

  // Polls at a time, unless it has done so; nobody has asked it since then.
  void pollAt(double time, const Servers& servers) {
    if (time < 0 || time == polled_) return;
    polled_ = time;
    const Servers::Used& used = servers.usedAt(time);
    for (int i = 0; i < kServers; ++i) {
      PoolServer* server = serverAt(i);
      markUnavailable(server);
      PoolHold hold(pool_);
      server->statistics = {1, 0, used[static_cast<std::size_t>(i)], kLimit};
      setLoad(server, loadPercent(server->statistics.loadUsed, kLimit));
      placeServer(pool_, server, allocationListOf(1, 0, settings().bucketSize));
    }
  }

  std::size_t choose() {
    char text[kNameSize];
    allocateServer(pool_, text);
    return static_cast<std::size_t>(text[0] - '0');
  }

 private:
  PoolServer* serverAt(int number) { return &pool_->servers[static_cast<std::size_t>(number)]; }

  ServerPool* pool_;
  double polled_ = -1;
};

struct Outcome {
  double busiest = 0;  // of the 99 % of requests that met it lowest, in average servers
  double full = 0;     // the share of requests that came to a server at its limit or above
};

Outcome outcomeOf(std::vector<int>& busiest, int full) {
  const auto place = busiest.begin() + static_cast<std::ptrdiff_t>(busiest.size() * 99 / 100);
  std::ranges::nth_element(busiest, place);
  return {*place / (kRate * kStay / kServers), full / static_cast<double>(busiest.size())};
}

// A run. Daemons that poll together all do at the same moment; otherwise they are spread over the interval.
// Only those that are asked are made, and poll, when they are.
Outcome run(int count, double interval, bool together, double seconds, unsigned seed) {
  openLayerGate();
  stopPolling = false;
  std::mt19937_64 random(seed);
  std::exponential_distribution<double> gap(kRate), stay(1 / kStay);
  std::uniform_int_distribution<std::size_t> anyDaemon(0, static_cast<std::size_t>(std::max(count, 1)) - 1),
      anyServer(0, kServers - 1);
  Servers servers;
  std::vector<std::optional<Daemon>> daemons(static_cast<std::size_t>(count));
  std::vector<int> busiest;
  int full = 0;
  for (double now = gap(random); now < seconds; now += gap(random)) {
    servers.advance(now);
    std::size_t server = anyServer(random);
    if (count > 0) {
      const std::size_t number = anyDaemon(random);
      const double phase = together ? 0 : interval * static_cast<double>(number) / count;
      auto& daemon = daemons[number];
      if (!daemon) daemon.emplace();
      daemon->pollAt(std::floor((now - phase) / interval) * interval + phase, servers);
      server = daemon->choose();
    }
    servers.take(now, server, now + stay(random));
    servers.forget(now - 2 * interval);
    if (now < kWarmUp) continue;
    busiest.push_back(servers.busiest());
    full += servers.used()[server] > kLimit;
  }
  destroyAllPools();
  return outcomeOf(busiest, full);
}

void printRows(int count, double interval, bool together, double seconds) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    const auto [busiest, full] = run(count, interval, together, seconds, seed);
    std::printf("%d,%g,%s,%u,%.3f,%.4f\n", count, interval, together ? "together" : "spread", seed, busiest,
                full);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 110;
  if (seconds <= kWarmUp) return 2;
  nimboxi::createErrorStateKey();
  nimboxi::createLayerLock();
  setSettings({});
  std::printf("daemons,poll_seconds,polls,seed,busiest_p99,full_share\n");
  printRows(0, 1, true, seconds);
  for (const bool together : {false, true}) {
    for (const double interval : {1., 3., 10.}) {
      for (const int count : {1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 10'000, 100'000}) {
        printRows(count, interval, together, seconds);
      }
    }
  }
  return 0;
}
