#include "tools/polling/monitor.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "service/wire/descriptor.h"
#include "service/wire/numbers.h"
#include "tools/polling/shortage.h"

namespace nimbolsp::tools {

namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

constexpr milliseconds kServiceInterval{1000};
constexpr std::size_t kOtherDescriptors =
    3;  // the request to the daemon, and what the library opens now and then

// As the daemon rounds it, and one second at least.
milliseconds roundInterval(std::int32_t pollInterval) {
  return std::max(1s, std::chrono::seconds(roundedSeconds(static_cast<std::uint32_t>(pollInterval))));
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
  if (result.end == PollEnd::kShortage) {  // says nothing of the server
    server.last.end = result.end;
    server.last.error = result.error;
    return;
  }
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
  std::size_t places = kSideBySide;                    // of a pool's round; constant once there are threads

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

  // The life of a thread: does the work once an interval, until the monitor ends.
  void repeat(milliseconds interval, const auto& work) {
    auto next = std::chrono::steady_clock::now();
    do {
      try {
        work();
      } catch (const std::exception&) {  // no memory: this round is left out
      }
      next = std::max(next + interval, std::chrono::steady_clock::now());
    } while (pauseUntil(next));
  }

  void pollPool(std::size_t pool) {
    const std::vector<PollResult> results =
        pollServers(endpoints[pool], options.timeout, stop.number(), places);
    std::lock_guard hold(mutex);
    if (stopping) return;
    PoolState& state = now.pools[pool];
    for (std::size_t i = 0; i < results.size(); ++i) file(state.servers[i], results[i], now.bucketSize);
    ++state.rounds;
    tellChange();
  }

  void pingService() {
    const ServiceAnswer answer = askService(options.service, "", options.timeout, stop.number());
    std::lock_guard hold(mutex);
    if (stopping) return;
    ServiceState& service = now.service;
    service.shortage = answer.shortage ? answer.failure : "";
    if (answer.shortage) return tellChange();
    turn(service, answer.answered, service.requests == 0);
    ++service.requests;
    if (!answer.answered) ++service.failures;
    if (answer.answered) service.times.push_back(answer.took);
    if (service.times.size() > kHistory) service.times.pop_front();
    service.last = answer;
    tellChange();
  }
};

Monitor::Monitor(const EffectiveProfile& profile, const MonitorOptions& options) : shared_(new Shared) {
  if (shared_->stop.number() < 0) throw std::runtime_error(std::string("eventfd: ") + std::strerror(errno));
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
}

void Monitor::start() {
  Shared& shared = *shared_;
  const Picture& picture = shared.now;  // which no other thread has yet
  const std::size_t pools = picture.pools.size();
  const std::size_t taken =
      shared.options.keptDescriptors + kOtherDescriptors + pools;  // a pool has one more
  const std::size_t available = std::max(freeDescriptors(), taken) - taken;
  shared.places = std::clamp<std::size_t>(available / std::max<std::size_t>(pools, 1), 1, kSideBySide);
  for (std::size_t pool = 0; pool < picture.pools.size(); ++pool) {
    shared.threads.emplace_back([&shared, pool, interval = picture.pools[pool].interval] {
      shared.repeat(interval, [&shared, pool] { shared.pollPool(pool); });
    });
  }
  shared.threads.emplace_back(
      [&shared] { shared.repeat(kServiceInterval, [&shared] { shared.pingService(); }); });
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
