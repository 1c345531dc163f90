// The description of one simulated server, as the command line gives it: PORT[,key=value]... Pure.
#pragma once

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

struct ServerOptions {
  std::uint16_t port = 0;  // 0: a free one
  Statistics statistics{1, 0, 0, 100};
  bool follow = false;                   // each visit raises `loadUsed` by 1 as long as it lasts
  std::int32_t holdMilliseconds = 1000;  // how long that is
  Behaviour behaviour = Behaviour::kAnswer;
  std::int32_t behaviourNumber = 0;

  bool operator==(const ServerOptions&) const = default;
};

inline constexpr std::int32_t kMaximumHold = 60 * 60 * 1000;  // milliseconds
inline constexpr std::int32_t kMaximumDribble = 60 * 1000;    // milliseconds between two bytes

// The server that a description describes. Throws std::invalid_argument with a sentence that names the fault:
// an unknown key, one given twice, keys that exclude each other, a number out of its range.
ServerOptions parseServerOptions(std::string_view description);

// All keys of a description, without the port: what parseServerOptions makes the same server of.
std::string describe(const ServerOptions& options);

// `count` servers like the first, on the ports that follow it; on free ports when its port is 0. Throws
// std::invalid_argument when there are not so many ports.
std::vector<ServerOptions> repeated(const ServerOptions& first, std::int32_t count);

// Throws std::invalid_argument when two servers are to have the same port.
void refuseSharedPorts(const std::vector<ServerOptions>& servers);

// The part of a command's help that explains descriptions.
extern const char* const kDescriptionHelp;

}  // namespace nimbolsp::tools
