// One poll of each of many servers, side by side, by the daemon's own protocol: one thread, sockets that
// never block. Keeps nothing between two rounds.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "service/wire/poll_protocol.h"
#include "service/wire/server_entry.h"

namespace nimbolsp::tools {

enum class PollEnd {
  kAnswered,
  kNotConnected,  // refused, unreachable, or no address at all
  kNoReply,       // connected, and broken off before the whole reply had come
  kTimedOut,
  kInterrupted,  // not tried or not finished when the stop came
  kShortage,     // not tried: this program itself lacked a descriptor, memory or a port
};

struct PollResult {
  PollEnd end = PollEnd::kInterrupted;
  int error = 0;                      // errno of all but kAnswered, kTimedOut; 0 for an orderly end
  std::chrono::microseconds took{0};  // from the connect to the end of the poll
  Statistics statistics;              // of kAnswered
};

// What keeps an entry from being polled where it seems to say; empty when nothing does.
std::string faultOf(const ServerEndpoint& endpoint);

// What a result says, in a sentence's part: "answered", "Connection refused", "no answer within 2000 ms".
std::string describe(const PollResult& result, std::chrono::milliseconds timeout);

// The same of an entry's poll: where the entry is at fault for a failure, that.
std::string describe(const ServerEndpoint& endpoint, const PollResult& result,
                     std::chrono::milliseconds timeout);

inline constexpr std::size_t kSideBySide = 512;

// Polls every server once. A server has `timeout` from its own connect on; for a descriptor that others of
// this program may leave it is waited as long.
//   stopDescriptor  ends the round when it becomes readable; -1: none
//   places          how many are polled at a time at most; 1 or more
// Returns a result a server, in the order given.
std::vector<PollResult> pollServers(std::span<const ServerEndpoint> servers,
                                    std::chrono::milliseconds timeout, int stopDescriptor,
                                    std::size_t places = kSideBySide);

}  // namespace nimbolsp::tools
