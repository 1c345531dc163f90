// The description of one simulated server, as the command line gives it: [ADDRESS:]PORT[,key=value]... Pure.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "service/wire/poll_protocol.h"

namespace nimbolsp::tools {

// What a server does with a poll.
enum class Behaviour {
  kAnswer,
  kRefuse,   // the port is taken, and nobody listens there
  kSilent,   // accepts, never answers, keeps the connection
  kShort,    // sends the first `behaviourNumber` bytes of the reply and closes
  kDribble,  // sends the reply byte by byte with `behaviourNumber` milliseconds between
  kReset,    // resets the connection after the request
  kClose,    // closes as soon as it has accepted
  kGarbage,  // sends as many bytes as a reply has, at random
  kExtra,    // sends the reply and more bytes after it
};

// Where a server listens, always on this machine.
struct SimulatedAddress {
  std::uint32_t ip = 0x7F000001;  // host order, in 127.0.0.0/8
  std::uint16_t port = 0;         // 0: a free one

  auto operator<=>(const SimulatedAddress&) const = default;

  // "ADDRESS:PORT".
  std::string text() const;
};

// Whether an address, in host order, is one that a simulated server may have.
constexpr bool isOnThisMachine(std::uint32_t ip) {
  return ip >> 24 == 127;
}

// Times are milliseconds from the start of the simulation.
struct ServerOptions {
  SimulatedAddress address;
  Statistics statistics{1, 0, 0, 100};
  std::int32_t weight = 100;             // per cent of the strength that the statistics tell
  std::int64_t warmUpStart = 0;          // from then on the load falls from full to its figure,
  std::int64_t warmUpMilliseconds = 0;   // in so long
  std::int64_t drainStart = -1;          // from then on the figures say full; -1: never
  bool follow = false;                   // each visit raises `loadUsed` by 1 as long as it lasts
  std::int32_t holdMilliseconds = 1000;  // how long that is
  Behaviour behaviour = Behaviour::kAnswer;
  std::int32_t behaviourNumber = 0;

  bool operator==(const ServerOptions&) const = default;
};

inline constexpr std::int32_t kMaximumHold = 60 * 60 * 1000;  // milliseconds
inline constexpr std::int32_t kMaximumDribble = 60 * 1000;    // milliseconds between two bytes

// The address that "ADDRESS:PORT" names, or "PORT" with `ip`, host order. Throws std::invalid_argument with a
// sentence for any other text.
SimulatedAddress parseAddress(std::string_view text, std::uint32_t ip);

// The same with 127.0.0.1. Throws for an address that is not in 127.0.0.0/8 too.
SimulatedAddress parseSimulatedAddress(std::string_view text);

// The server that a description describes. Throws std::invalid_argument with a sentence that names the fault:
// an unknown key, one given twice, keys that exclude each other, a number out of its range.
ServerOptions parseServerOptions(std::string_view description);

// A server after a change of keys, key=value[,key=value]..., at a time. Throws as parseServerOptions does.
ServerOptions changed(ServerOptions options, std::string_view keys, std::int64_t time);

// All keys of a description, without the address: what parseServerOptions makes the same server of.
std::string describe(const ServerOptions& options);

// `count` servers like the first, on the ports that follow it; on free ports when its port is 0. Throws
// std::invalid_argument when there are not so many ports.
std::vector<ServerOptions> repeated(const ServerOptions& first, std::int32_t count);

// Throws std::invalid_argument when two servers are to have the same address and port.
void refuseSharedPorts(const std::vector<ServerOptions>& servers);

// The part of a command's help that explains descriptions.
std::string descriptionHelp();

}  // namespace nimbolsp::tools
