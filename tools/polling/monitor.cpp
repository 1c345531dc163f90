#include "tools/polling/monitor.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "service/wire/descriptor.h"

namespace nimbolsp::tools {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kServiceInterval{1000};

// As the service rounds it, and one second at least.
milliseconds roundInterval(std::int32_t pollInterval) {
  const auto wrapped = static_cast<std::uint32_t>(pollInterval);
  return std::max(milliseconds(1000), milliseconds((std::uint64_t{wrapped} + 500) / 1000 * 1000));
}

// Files a new result. Returns whether `answers` has changed.
template <typename State>
bool turn(State& state, bool answers, bool isFirst) {
  const bool changed = isFirst || state.answers != answers;
  if (changed) state.since = std::chrono::system_clock::now();
  state.answers = answers;
  return changed && !isFirst;
}

void file(ServerState& server, const PollResult& result, std::int32_t bucketSize) {
  const bool answers = result.end == PollEnd::kAnswered;
  if (turn(server, answers, server.polls == 0)) ++server.flaps;
  ++server.polls;
  if (!answers) ++server.failures;
  server.last = result;
  if (answers) server.standing = standingOf(result.statistics, bucketSize);
  server.history.push_back(answers ? server.standing.load : kNoLoad);
  if (server.history.size() > kHistory) server.history.pop_front();
}

}  // namespace

struct Monitor::Shared {
  Descriptor stop{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};  // readable once the monitor ends
  MonitorOptions options;
  std::vector<std::vector<ServerEndpoint>> endpoints;  // by pool; constant

  mutable std::mutex mutex;  // guards what follows
  mutable std::condition_variable changed;
  bool stopping = false;
  Picture now;
  mutable std::shared_ptr<const Picture> shown;  // a copy of `now`; null when that has changed since

  std::vector<std::jthread> threads;  // last: they are waited for before the rest goes

  // Also when not all threads could be started.
  ~Shared() {
    {
      std::lock_guard hold(mutex);
      stopping = true;
    }
    changed.notify_all();
    eventfd_write(stop.number(), 1);
  }

  void tellChange() {
    ++now.version;
    shown.reset();
    changed.notify_all();
  }

  // Waits until then. False when the monitor ends.
  bool pauseUntil(std::chrono::steady_clock::time_point time) {
    std::unique_lock hold(mutex);
    changed.wait_until(hold, time, [this] { return stopping; });
    return !stopping;
  }

  void watchPool(std::size_t pool, milliseconds interval) {
    const milliseconds timeout = options.timeout;
    auto next = std::chrono::steady_clock::now();
    do {
      const std::vector<PollResult> results = pollServers(endpoints[pool], timeout, stop.number());
      std::lock_guard hold(mutex);
      if (stopping) return;
      PoolState& state = now.pools[pool];
      for (std::size_t i = 0; i < results.size(); ++i) file(state.servers[i], results[i], now.bucketSize);
      ++state.rounds;
      tellChange();
      next = std::max(next + interval, std::chrono::steady_clock::now());
    } while (pauseUntil(next));
  }

  void watchService() {
    auto next = std::chrono::steady_clock::now();
    do {
      const ServiceAnswer answer =
          askService(options.service, "", std::min(options.timeout, kServiceInterval), stop.number());
      std::lock_guard hold(mutex);
      if (stopping) return;
      ServiceState& service = now.service;
      turn(service, answer.answered, service.requests == 0);
      ++service.requests;
      if (!answer.answered) ++service.failures;
      if (answer.answered) service.times.push_back(answer.took);
      if (service.times.size() > kHistory) service.times.pop_front();
      service.last = answer;
      tellChange();
      next = std::max(next + kServiceInterval, std::chrono::steady_clock::now());
    } while (pauseUntil(next));
  }
};

Monitor::Monitor(const EffectiveProfile& profile, const MonitorOptions& options) : shared_(new Shared) {
  if (shared_->stop.number() < 0) throw std::runtime_error("no descriptor is left");
  shared_->options = options;
  Picture& picture = shared_->now;
  picture.profilePath = profile.settings.profilePath;
  picture.bucketSize = profile.settings.bucketSize;
  picture.timeout = options.timeout;
  picture.service.address = options.service;
  for (const PoolEntry& pool : profile.pools) {
    const milliseconds own = roundInterval(pool.pollInterval);
    PoolState state{pool.name, options.interval.count() > 0 ? options.interval : own, 0, {}};
    std::vector<ServerEndpoint>& endpoints = shared_->endpoints.emplace_back();
    for (const ServerEntry& server : pool.servers) {
      endpoints.push_back(server.endpoint);
      ServerState& added = state.servers.emplace_back();
      added.text = server.text;
      added.endpoint = server.endpoint;
    }
    picture.pools.push_back(std::move(state));
  }
  Shared& shared = *shared_;
  for (std::size_t pool = 0; pool < picture.pools.size(); ++pool) {
    shared.threads.emplace_back(
        [&shared, pool, interval = picture.pools[pool].interval] { shared.watchPool(pool, interval); });
  }
  shared.threads.emplace_back([&shared] { shared.watchService(); });
}

Monitor::~Monitor() = default;

std::shared_ptr<const Picture> Monitor::picture() const {
  std::lock_guard hold(shared_->mutex);
  if (shared_->shown == nullptr) shared_->shown = std::make_shared<const Picture>(shared_->now);
  return shared_->shown;
}

void Monitor::waitForChange(std::uint64_t version, milliseconds limit) const {
  std::unique_lock hold(shared_->mutex);
  shared_->changed.wait_for(hold, limit,
                            [&] { return shared_->now.version != version || shared_->stopping; });
}

}  // namespace nimbolsp::tools
