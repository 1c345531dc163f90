// One poll of each of many servers, side by side, by the service's own protocol: one thread, sockets that
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
};

struct PollResult {
  PollEnd end = PollEnd::kInterrupted;
  int error = 0;                      // errno of kNotConnected and kNoReply; 0 for an orderly end
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

// Polls every server once, at most 512 at a time. A server has `timeout` from its own connect on.
//   stopDescriptor  ends the round when it becomes readable; -1: none
// Returns a result a server, in the order given. One for which there is no descriptor at all is not
// connected.
std::vector<PollResult> pollServers(std::span<const ServerEndpoint> servers,
                                    std::chrono::milliseconds timeout, int stopDescriptor);

}  // namespace nimbolsp::tools
