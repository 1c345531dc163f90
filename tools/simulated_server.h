// What a simulated server is and decides: who calls, what it answers, what that does to its load. Pure: the
// time comes in milliseconds of any steady clock, bytes come and go as arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "service/wire/poll_protocol.h"
#include "tools/server_options.h"

namespace nimbolsp::tools {

// Who opened a connection.
enum class Caller { kUndecided, kPoll, kVisit };

// Tells a poll from a visit by the first bytes of a connection, however they are cut. Keeps none of them.
class CallReader {
 public:
  // Takes the bytes that came next. What follows a whole poll request does not matter.
  Caller take(std::span<const std::uint8_t> bytes);

 private:
  std::size_t matched_ = 0;  // bytes of the poll request seen so far
};

// What a server does with a connection after the caller is known.
struct Reaction {
  enum class End { kClose, kReset, kKeep };  // kKeep: until the peer closes

  std::vector<std::uint8_t> bytes;  // to send first
  std::int32_t pause = 0;           // milliseconds between two bytes; 0: all at once
  End end = End::kClose;
};

class SimulatedServer {
 public:
  //   start  of the simulation, from which the options count their times
  explicit SimulatedServer(const ServerOptions& options, std::int64_t start = 0);

  // Changes keys of the options. Throws as changed() does.
  void change(const std::string& keys, std::int64_t now);

  const ServerOptions& options() const { return options_; }

  // The reaction to a caller at `now`. A visit counts, and raises the load if that follows the visits.
  Reaction react(Caller caller, std::int64_t now);

  // Tells that the last byte of a reaction of so many bytes has gone: a whole reply answers a poll.
  void sent(std::size_t bytes);

  // What the server says of itself at `now`, which never goes back.
  Statistics statistics(std::int64_t now);

  std::uint64_t pollsAnswered() const { return pollsAnswered_; }
  std::uint64_t visits() const { return visits_; }

 private:
  void addVisit(std::int64_t now);
  std::vector<std::uint8_t> garbage();

  ServerOptions options_;
  const std::int64_t start_;
  std::map<std::int64_t, std::int32_t> finishes_;  // how many visits under way end at a time
  std::int32_t visitsUnderWay_ = 0;
  std::uint64_t visits_ = 0;
  std::uint64_t pollsAnswered_ = 0;
  std::minstd_rand random_;
};

}  // namespace nimbolsp::tools
