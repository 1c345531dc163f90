#include "tools/server_options.h"

#include <arpa/inet.h>

#include <charconv>
#include <limits>
#include <set>
#include <stdexcept>

#include "tools/nearest.h"

namespace nimbolsp::tools {

namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMaximumWeight = 10'000;
constexpr std::int32_t kMaximumSeconds = 24 * 60 * 60;
constexpr std::int32_t kHighestPort = std::numeric_limits<std::uint16_t>::max();

struct BehaviourWord {
  std::string_view word;
  Behaviour behaviour;
  std::int32_t lowest;   // of its number
  std::int32_t highest;  // -1: it takes no number
};

constexpr BehaviourWord kBehaviours[] = {
    {"answer", Behaviour::kAnswer, 0, -1},
    {"refuse", Behaviour::kRefuse, 0, -1},
    {"silent", Behaviour::kSilent, 0, -1},
    {"short", Behaviour::kShort, 0, static_cast<std::int32_t>(kPollReplySize) - 1},
    {"dribble", Behaviour::kDribble, 1, kMaximumDribble},
    {"reset", Behaviour::kReset, 0, -1},
    {"close", Behaviour::kClose, 0, -1},
    {"garbage", Behaviour::kGarbage, 0, -1},
    {"extra", Behaviour::kExtra, 0, -1},
};

[[noreturn]] void refuse(const std::string& sentence) {
  throw std::invalid_argument(sentence);
}

std::string quoted(std::string_view text) {
  return std::string(1, '"').append(text).append(1, '"');
}

// The text up to a separator, which is taken away with it.
std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view front = text.substr(0, end);
  text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
  return front;
}

std::int32_t parseNumber(std::string_view name, std::string_view text, std::int32_t lowest,
                         std::int32_t highest) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size() || number < lowest || number > highest) {
    refuse(std::string(name) + " is a number from " + std::to_string(lowest) + " to " +
           std::to_string(highest) + ", not " + quoted(text));
  }
  return number;
}

void setBehaviour(ServerOptions& options, std::string_view value) {
  const bool hasNumber = value.find('=') != std::string_view::npos;
  const std::string_view word = takeUntil(value, '=');
  for (const BehaviourWord& known : kBehaviours) {
    if (known.word != word) continue;
    if (hasNumber != (known.highest >= 0)) {
      refuse("behave=" + std::string(word) +
             (hasNumber ? " takes no number" : " needs a number, behave=" + std::string(word) + "=NUMBER"));
    }
    options.behaviour = known.behaviour;
    if (hasNumber) options.behaviourNumber = parseNumber(word, value, known.lowest, known.highest);
    return;
  }
  std::vector<std::string> words;
  for (const BehaviourWord& known : kBehaviours) words.emplace_back(known.word);
  refuse("unknown behaviour " + quoted(word) + suggestion(word, words));
}

struct NumberKey {
  const char* name;
  std::int32_t lowest;
  std::int32_t highest;
  void (*set)(ServerOptions& options, std::int32_t number, std::int64_t time);
};

constexpr NumberKey kNumberKeys[] = {
    {"divisor", kLowest, kHighest,
     [](ServerOptions& options, std::int32_t number, std::int64_t) {
       options.statistics.ratioDivisor = number;
     }},
    {"dividend", kLowest, kHighest,
     [](ServerOptions& options, std::int32_t number, std::int64_t) {
       options.statistics.ratioDividend = number;
     }},
    {"average", kLowest, kHighest,
     [](ServerOptions& options, std::int32_t number, std::int64_t) {
       options.statistics.ratioDivisor = 1;
       options.statistics.ratioDividend = number;
     }},
    {"used", kLowest, kHighest,
     [](ServerOptions& options, std::int32_t number, std::int64_t) { options.statistics.loadUsed = number; }},
    {"limit", kLowest, kHighest,
     [](ServerOptions& options, std::int32_t number, std::int64_t) {
       options.statistics.loadLimit = number;
     }},
    {"weight", 1, kMaximumWeight,
     [](ServerOptions& options, std::int32_t number, std::int64_t) { options.weight = number; }},
    {"hold", 0, kMaximumHold,
     [](ServerOptions& options, std::int32_t number, std::int64_t) { options.holdMilliseconds = number; }},
    {"warmup", 0, kMaximumSeconds,
     [](ServerOptions& options, std::int32_t number, std::int64_t time) {
       options.warmUpStart = time;
       options.warmUpMilliseconds = std::int64_t{number} * 1000;
     }},
    {"drain", 0, kMaximumSeconds,
     [](ServerOptions& options, std::int32_t number, std::int64_t time) {
       options.drainStart = time + std::int64_t{number} * 1000;
     }},
};

void setKey(ServerOptions& options, std::string_view key, std::string_view value, std::int64_t time) {
  if (key == "behave") return setBehaviour(options, value);
  if (key == "follow" && value == "off") {
    options.follow = false;
    return;
  }
  if (key == "drain" && value == "off") {
    options.drainStart = -1;
    return;
  }
  std::vector<std::string> names{"behave", "follow"};
  for (const NumberKey& known : kNumberKeys) {
    if (known.name == key) {
      return known.set(options, parseNumber(key, value, known.lowest, known.highest), time);
    }
    names.emplace_back(known.name);
  }
  refuse("unknown key " + quoted(key) + suggestion(key, names));
}

// The range of a number key's values, for the help.
std::string range(std::int64_t lowest, std::int64_t highest) {
  return std::to_string(lowest) + " to " + std::to_string(highest);
}

}  // namespace

std::string descriptionHelp() {
  return R"(A DESCRIPTION is [ADDRESS:]PORT[,key=value]...; port 0 takes a free one, the address is one of 127.0.0.0/8
(default 127.0.0.1). Keys:
  divisor=N        first statistic (default 1)
  dividend=N       second statistic (default 0); dividend / divisor is the average that picks the list
  average=N        the same as divisor=1,dividend=N
  used=N           third statistic (default 0)
  limit=N          fourth statistic (default 100); used * 100 / limit is the load in per cent
                   the statistics are any signed 32-bit numbers
  weight=N         a server of N per cent of that strength, )" +
         range(1, kMaximumWeight) + R"( (default 100): "limit" grows
                   with it, "dividend" shrinks
  follow           the load follows the visits: each raises "used" by 1 as long as it lasts; follow=off: no longer
  hold=MS          how long a visit lasts, )" +
         range(0, kMaximumHold) + R"( milliseconds (default 1000); needs follow
  warmup=S         from the start the load falls from full to its figure within S seconds
  drain=S          S seconds after the start the figures begin to say full; drain=off: never (default)
  behave=answer    answers polls (default)
  behave=refuse    the port is taken, and nobody listens there
  behave=silent    accepts, never answers, keeps the connection
  behave=short=N   sends the first N bytes of a reply, )" +
         range(0, kPollReplySize - 1) + R"(, and closes
  behave=dribble=MS  sends the reply byte by byte, )" +
         range(1, kMaximumDribble) + R"( milliseconds between two
  behave=reset     resets the connection after the request
  behave=close     closes as soon as it has accepted; polls and visits are not told apart, nor counted
  behave=garbage   sends )" +
         std::to_string(kPollReplySize) + R"( random bytes
  behave=extra     sends a good reply and more bytes after it
A connection that begins with the poll request is a poll. One that sends anything else, or is closed before,
is a visit: a request that a front end brings to the server.)";
}

std::string SimulatedAddress::text() const {
  const in_addr network{htonl(ip)};
  char dotted[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &network, dotted, sizeof dotted);
  return dotted + (":" + std::to_string(port));
}

SimulatedAddress parseAddress(std::string_view text, std::uint32_t ip) {
  SimulatedAddress address{ip};
  if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) {
    in_addr network{};
    const std::string dotted(takeUntil(text, ':'));
    if (inet_pton(AF_INET, dotted.c_str(), &network) != 1) refuse(quoted(dotted) + " is no IPv4 address");
    address.ip = ntohl(network.s_addr);
  }
  address.port = static_cast<std::uint16_t>(parseNumber("the port", text, 0, kHighestPort));
  return address;
}

SimulatedAddress parseSimulatedAddress(std::string_view text) {
  const SimulatedAddress address = parseAddress(text, INADDR_LOOPBACK);
  if (!isOnThisMachine(address.ip)) {
    refuse(std::string(text.substr(0, text.find(':'))) +
           " is not on this machine: simulated servers have addresses of 127.0.0.0/8");
  }
  return address;
}

ServerOptions parseServerOptions(std::string_view description) {
  ServerOptions options;
  const std::size_t comma = description.find(',');
  options.address = parseSimulatedAddress(description.substr(0, comma));
  if (comma == std::string_view::npos) return options;
  const std::string_view keys = description.substr(comma + 1);
  options = changed(options, keys, 0);
  if (keys.find("hold=") != std::string_view::npos && !options.follow) refuse("hold needs follow");
  return options;
}

ServerOptions changed(ServerOptions options, std::string_view keys, std::int64_t time) {
  std::set<std::string_view> seen;
  bool more = true;
  while (more) {
    more = keys.find(',') != std::string_view::npos;
    std::string_view value = takeUntil(keys, ',');
    const bool hasValue = value.find('=') != std::string_view::npos;
    const std::string_view key = takeUntil(value, '=');
    if (!seen.insert(key).second) refuse(std::string(key) + " is given twice");
    if (key == "follow" && !hasValue) {
      options.follow = true;
    } else {
      setKey(options, key, value, time);
    }
  }
  if (seen.contains("average") && (seen.contains("divisor") || seen.contains("dividend"))) {
    refuse("average excludes divisor and dividend");
  }
  return options;
}

std::string describe(const ServerOptions& options) {
  const Statistics& statistics = options.statistics;
  std::string text = "divisor=" + std::to_string(statistics.ratioDivisor) +
                     ",dividend=" + std::to_string(statistics.ratioDividend) +
                     ",used=" + std::to_string(statistics.loadUsed) +
                     ",limit=" + std::to_string(statistics.loadLimit);
  if (options.weight != 100) text += ",weight=" + std::to_string(options.weight);
  if (options.warmUpMilliseconds > 0) text += ",warmup=" + std::to_string(options.warmUpMilliseconds / 1000);
  if (options.drainStart >= 0) text += ",drain=" + std::to_string(options.drainStart / 1000);
  if (options.follow) text += ",follow,hold=" + std::to_string(options.holdMilliseconds);
  for (const BehaviourWord& known : kBehaviours) {
    if (known.behaviour != options.behaviour) continue;
    text.append(",behave=").append(known.word);
    if (known.highest >= 0) text.append(1, '=').append(std::to_string(options.behaviourNumber));
  }
  return text;
}

std::vector<ServerOptions> repeated(const ServerOptions& first, std::int32_t count) {
  std::uint16_t port = first.address.port;
  if (port != 0 && port + count - 1 > kHighestPort) {
    refuse("there are not " + std::to_string(count) + " ports from " + std::to_string(port) + " on");
  }
  std::vector<ServerOptions> servers(static_cast<std::size_t>(count), first);
  if (port == 0) return servers;
  for (ServerOptions& server : servers) server.address.port = port++;
  return servers;
}

void refuseSharedPorts(const std::vector<ServerOptions>& servers) {
  std::set<SimulatedAddress> seen;
  for (const ServerOptions& server : servers) {
    if (server.address.port != 0 && !seen.insert(server.address).second) {
      refuse(server.address.text() + " is given twice");
    }
  }
}

}  // namespace nimbolsp::tools
