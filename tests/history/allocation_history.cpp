#include "tests/history/allocation_history.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "compat/core/call_guard.h"
#include "compat/services/errors/last_error.h"
#include "service/allocation.h"
#include "service/layer_gate.h"
#include "service/reports.h"
#include "service/settings.h"
#include "service/wire/numbers.h"
#include "tests/history/plain_pool.h"

namespace nimbolsp {

namespace {

std::vector<std::string> daemonLines;

// Numbers from bytes; zeros once they have run out.
class Story {
 public:
  explicit Story(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  bool over() const { return rest_.empty(); }
  std::uint32_t below(std::uint32_t limit) { return next(limit <= 256 ? 1 : 2) % limit; }

  // Numbers at which sums, products and signs turn, and others.
  std::int32_t number() {
    constexpr std::int32_t kTurns[] = {0,      1,      -1,    99,       100,       101,
                                       0x7FFF, 0x8000, 40000, 21474836, INT32_MAX, INT32_MIN};
    const std::uint32_t kind = below(24);
    if (kind < std::size(kTurns)) return kTurns[kind];
    if (kind < 20) return static_cast<std::int32_t>(below(16));
    return static_cast<std::int32_t>(next(4));
  }

 private:
  std::uint32_t next(std::size_t count) {
    std::uint32_t value = 0;
    for (; count > 0; --count) {
      value = value << 8 | (over() ? 0U : rest_.front());
      if (!over()) rest_ = rest_.subspan(1);
    }
    return value;
  }

  std::span<const std::uint8_t> rest_;
};

// The daemon's pool as its threads use it. Its servers' ports and texts are their numbers.
class DaemonPool {
 public:
  DaemonPool(std::size_t servers, std::int32_t sequence) NIMBOXI_NO_THREAD_SAFETY_ANALYSIS
      : pool_(createPool("Web", static_cast<std::int16_t>(servers), 1000)) {
    pool_->allocationSequence = sequence;
    for (std::size_t i = 0; i < servers; ++i) {
      PoolServer& server = pool_->servers[i];
      server.port = static_cast<std::int32_t>(i);
      server.addressLength = std::snprintf(server.address, kNameSize, "%zu", i);
      pool_->allocationLists[0].pushToHead({static_cast<std::int16_t>(i)});
    }
  }
  ~DaemonPool() {
    destroyAllPools();
    openLayerGate();
  }

  void withhold(std::size_t server) { markUnavailable(&pool_->servers[server]); }
  void place(std::size_t number, const Statistics& statistics, std::int32_t bucketSize) {
    PoolServer* server = &pool_->servers[number];
    PoolHold hold(pool_);
    server->statistics = statistics;
    setLoad(server, loadPercent(statistics.loadUsed, statistics.loadLimit));
    placeServer(pool_, server,
                allocationListOf(statistics.ratioDivisor, statistics.ratioDividend, bucketSize));
  }
  std::size_t allocate() {
    char text[kNameSize] = "none";
    allocateServer(pool_, text);
    return std::strtoul(text, nullptr, 10);
  }
  void leapTo(std::int32_t sequence) {
    PoolHold hold(pool_);
    pool_->allocationSequence = sequence;
  }

  // Everything that a later request may depend on.
  bool equals(const PlainPool& plain) {
    PoolHold hold(pool_);
    if (pool_->allocationSequence != plain.sequence) return false;
    for (int i = 0; i <= kAllocationLists; ++i) {
      const ServerList& list = i < kAllocationLists ? pool_->allocationLists[i] : pool_->unallocatedList;
      const PlainServer* server = plain.heads[i];
      for (std::size_t place = 0; place < list.size(); ++place, server = server->next) {
        const ServerRow row = list.row(place);
        if (server != plain.servers.data() + row.number || row.load != server->load ||
            row.lastAllocation != server->lastAllocation || row.candidateMark != server->candidateMark ||
            pool_->servers[static_cast<std::size_t>(row.number)].statistics != server->statistics)
          return false;
      }
      if (server != nullptr) return false;
    }
    return true;
  }

 private:
  ServerPool* pool_;
};

}  // namespace

// In place of the one that writes the log.
void debugLog(std::string_view text, std::uint32_t, std::int32_t port) {
  const bool ofServer = !text.starts_with("Found ");
  daemonLines.push_back(debugLine(ofServer ? port : -1, std::string(text)));
}

void prepareHistories() {
  nimboxi::createErrorStateKey();
  nimboxi::createLayerLock();
  openLayerGate();
}

std::string differenceIn(std::span<const std::uint8_t> bytes) {
  Story story(bytes);
  Settings all;
  all.debugLevel = story.below(8) == 0 ? 2 : 0;
  setSettings(all);
  // Many servers are slow, and their debug lines slower still.
  const std::uint32_t size = story.below(64);
  const std::size_t servers = all.debugLevel == 2 || size < 56 ? 1 + size % 7
                              : size < 63                      ? 10 + story.below(30)
                                                               : 200 + story.below(100);
  std::int32_t sequence = story.number();
  PlainPool plain(servers, sequence, all.debugLevel == 2);
  DaemonPool daemon(servers, sequence);
  for (int step = 0; !story.over(); ++step) {
    const std::string where = "step " + std::to_string(step) + ": ";
    const std::uint32_t kind = story.below(16);
    const std::size_t server = story.below(static_cast<std::uint32_t>(servers));
    if (kind < 3) {
      plain.withhold(server);
      daemon.withhold(server);
    } else if (kind < 7) {
      const Statistics statistics{story.number(), story.number(), story.number(), story.number()};
      const std::int32_t bucket = story.below(4) == 0 ? 1 : 100;
      plain.place(server, statistics, bucket);
      daemon.place(server, statistics, bucket);
    } else if (kind == 7) {
      // As after as many requests as bring it there: marks of that time count again.
      plain.sequence = story.below(2) == 0
                           ? wrapAdd(plain.sequence, -1 - static_cast<std::int32_t>(story.below(8)))
                           : story.number();
      daemon.leapTo(plain.sequence);
    } else {
      plain.lines.clear();
      daemonLines.clear();
      const std::size_t expected = plain.allocate(), chosen = daemon.allocate();
      if (chosen != expected) return where + std::to_string(chosen) + " for " + std::to_string(expected);
      if (all.debugLevel == 2 && daemonLines != plain.lines) return where + "the debug lines differ";
    }
  }
  return daemon.equals(plain) ? "" : "the lists differ";
}

}  // namespace nimbolsp
