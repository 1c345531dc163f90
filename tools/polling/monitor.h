// Watches all servers of a profile, and the daemon itself: polls each pool once an interval, however many
// look on. A thread a pool, and one for the daemon; none of them holds another up. What they found is a
// picture that anyone may look at, from any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tools/polling/poll_round.h"
#include "tools/polling/standing.h"
#include "tools/profile/effective_profile.h"
#include "tools/service_client.h"

namespace nimbolsp::tools {

inline constexpr std::size_t kHistory = 60;         // polls, and answers, that a history holds
inline constexpr std::int16_t kNoLoad = INT16_MIN;  // in a history: the poll failed

struct ServerState {
  std::string text;  // as configured
  ServerEndpoint endpoint;
  bool answers = false;  // the last poll was good
  std::chrono::system_clock::time_point
      since;                // when `answers` became what it is; of the first poll at first
  PollResult last;          // of the last poll
  Standing standing;        // of the last good poll
  std::uint64_t polls = 0;  // that have ended
  std::uint64_t failures = 0;
  std::uint64_t flaps = 0;           // how often `answers` changed, the first poll apart
  std::deque<std::int16_t> history;  // loads, the newest last

  // Whether the last round told anything of the server; `last` tells what was lacking else. What is told of
  // polls and answers above is from before that.
  bool isKnown() const { return polls > 0 && !isUnpolled(); }
  bool isUnpolled() const { return last.end == PollEnd::kShortage; }
  bool isUp() const { return isKnown() && answers; }
};

struct PoolState {
  std::string name;                       // as the profile has it
  std::chrono::milliseconds interval{0};  // between two rounds
  std::uint64_t rounds = 0;               // that have ended
  std::vector<ServerState> servers;
};

struct ServiceState {
  ServiceAddress address;
  bool answers = false;
  std::chrono::system_clock::time_point since;
  ServiceAnswer last;
  std::uint64_t requests = 0;  // of this monitor
  std::uint64_t failures = 0;
  std::deque<std::chrono::microseconds> times;  // of its latest answers, the newest last
  std::string shortage;  // why it could not even be asked the last time, a sentence; empty when it was asked

  bool isKnown() const { return requests > 0 && shortage.empty(); }
};

struct Picture {
  std::uint64_t version = 0;  // rises with every change
  std::string profilePath;
  std::int32_t bucketSize = 0;
  std::chrono::milliseconds timeout{0};  // of one poll
  ServiceState service;
  std::vector<PoolState> pools;
};

struct MonitorOptions {
  ServiceAddress service;
  std::chrono::milliseconds timeout{2000};  // of one poll, and of one request to the daemon
  std::chrono::milliseconds interval{0};    // instead of the profile's; 0: the profile's, 1 s at least
  std::size_t keptDescriptors = 0;          // that the polls leave to others, where they can
};

class Monitor {
 public:
  // Watches nothing yet.
  Monitor(const EffectiveProfile& profile, const MonitorOptions& options);
  // Ends the threads, and the polls under way.
  ~Monitor();
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

  // Starts the threads; each begins with a round at once. What else wants descriptors should have them by
  // now. Throws std::system_error when they cannot be started.
  void start();

  // The present picture, which never changes; the next one is another.
  std::shared_ptr<const Picture> picture() const;

  // Waits until the picture is another one than `version`, for `limit` at most.
  void waitForChange(std::uint64_t version, std::chrono::milliseconds limit) const;

 private:
  struct Shared;
  std::unique_ptr<Shared> shared_;
};

}  // namespace nimbolsp::tools
