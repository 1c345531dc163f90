#include "tools/server_options.h"

#include <charconv>
#include <limits>
#include <set>
#include <stdexcept>

namespace nimbolsp::tools {

namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
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
  refuse("unknown behaviour " + quoted(word));
}

void setKey(ServerOptions& options, std::string_view key, std::string_view value) {
  Statistics& statistics = options.statistics;
  if (key == "divisor") {
    statistics.ratioDivisor = parseNumber(key, value, kLowest, kHighest);
  } else if (key == "dividend") {
    statistics.ratioDividend = parseNumber(key, value, kLowest, kHighest);
  } else if (key == "average") {
    statistics.ratioDivisor = 1;
    statistics.ratioDividend = parseNumber(key, value, kLowest, kHighest);
  } else if (key == "used") {
    statistics.loadUsed = parseNumber(key, value, kLowest, kHighest);
  } else if (key == "limit") {
    statistics.loadLimit = parseNumber(key, value, kLowest, kHighest);
  } else if (key == "hold") {
    options.holdMilliseconds = parseNumber(key, value, 0, kMaximumHold);
  } else if (key == "behave") {
    setBehaviour(options, value);
  } else {
    refuse("unknown key " + quoted(key));
  }
}

}  // namespace

const char* const kDescriptionHelp =
    R"(A DESCRIPTION is PORT[,key=value]...; port 0 takes a free one. Keys:
  divisor=N        first statistic (default 1)
  dividend=N       second statistic (default 0); dividend / divisor is the average that picks the list
  average=N        the same as divisor=1,dividend=N
  used=N           third statistic (default 0)
  limit=N          fourth statistic (default 100); used * 100 / limit is the load in per cent
                   the statistics are any signed 32-bit numbers
  follow           the load follows the visits: each raises "used" by 1 as long as it lasts
  hold=MS          how long a visit lasts, 0 to 3600000 milliseconds (default 1000); needs follow
  behave=answer    answers polls (default)
  behave=refuse    the port is taken, and nobody listens there
  behave=silent    accepts, never answers, keeps the connection
  behave=short=N   sends the first N bytes of a reply, 0 to 33, and closes
  behave=dribble=MS  sends the reply byte by byte, 1 to 60000 milliseconds between two
  behave=reset     resets the connection after the request
  behave=close     closes as soon as it has accepted; polls and visits are not told apart, nor counted
  behave=garbage   sends 34 random bytes
  behave=extra     sends a good reply and more bytes after it
Example: 0,average=250,used=10,limit=50,follow,hold=800
A connection that begins with the poll request is a poll. One that sends anything else, or is closed before,
is a visit: a request that a front end brings to the server.)";

ServerOptions parseServerOptions(std::string_view description) {
  ServerOptions options;
  std::string_view rest = description;
  options.port = static_cast<std::uint16_t>(parseNumber("the port", takeUntil(rest, ','), 0, kHighestPort));
  std::set<std::string_view> keys;
  bool more = description.find(',') != std::string_view::npos;
  while (more) {
    more = rest.find(',') != std::string_view::npos;
    std::string_view value = takeUntil(rest, ',');
    const bool hasValue = value.find('=') != std::string_view::npos;
    const std::string_view key = takeUntil(value, '=');
    if (!keys.insert(key).second) refuse(std::string(key) + " is given twice");
    if (key == "follow" && !hasValue) {
      options.follow = true;
    } else {
      setKey(options, key, value);
    }
  }
  if (keys.contains("average") && (keys.contains("divisor") || keys.contains("dividend"))) {
    refuse("average excludes divisor and dividend");
  }
  if (keys.contains("hold") && !options.follow) refuse("hold needs follow");
  return options;
}

std::string describe(const ServerOptions& options) {
  const Statistics& statistics = options.statistics;
  std::string text = "divisor=" + std::to_string(statistics.ratioDivisor) +
                     ",dividend=" + std::to_string(statistics.ratioDividend) +
                     ",used=" + std::to_string(statistics.loadUsed) +
                     ",limit=" + std::to_string(statistics.loadLimit);
  if (options.follow) text += ",follow,hold=" + std::to_string(options.holdMilliseconds);
  for (const BehaviourWord& known : kBehaviours) {
    if (known.behaviour != options.behaviour) continue;
    text.append(",behave=").append(known.word);
    if (known.highest >= 0) text.append(1, '=').append(std::to_string(options.behaviourNumber));
  }
  return text;
}

std::vector<ServerOptions> repeated(const ServerOptions& first, std::int32_t count) {
  if (first.port != 0 && first.port + count - 1 > kHighestPort) {
    refuse("there are not " + std::to_string(count) + " ports from " + std::to_string(first.port) + " on");
  }
  std::vector<ServerOptions> servers(static_cast<std::size_t>(count), first);
  if (first.port == 0) return servers;
  std::uint16_t port = first.port;
  for (ServerOptions& server : servers) server.port = port++;
  return servers;
}

void refuseSharedPorts(const std::vector<ServerOptions>& servers) {
  std::set<std::uint16_t> ports;
  for (const ServerOptions& server : servers) {
    if (server.port != 0 && !ports.insert(server.port).second) {
      refuse("port " + std::to_string(server.port) + " is given twice");
    }
  }
}

}  // namespace nimbolsp::tools
