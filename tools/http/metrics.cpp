#include "tools/http/metrics.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "tools/http/distinct_names.h"

namespace nimbolsp::tools {

namespace {

using Labels = std::string;  // between the braces; empty for none
using Seconds = std::chrono::duration<double>;

// What a family tells of one server, pool or service; nothing when there is nothing to tell just now.
template <typename State>
struct Family {
  const char* name;
  const char* type;
  const char* help;
  std::optional<double> (*value)(const State&);
};

template <typename Duration>
double seconds(Duration duration) {
  return Seconds(duration).count();
}

double sinceEpoch(std::chrono::system_clock::time_point time) {
  return seconds(std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()));
}

std::optional<double> whenAnswers(const ServerState& server, double value) {
  return server.isUp() ? std::optional(value) : std::nullopt;
}

std::optional<double> whenPolled(const ServerState& server, double value) {
  return server.isKnown() ? std::optional(value) : std::nullopt;
}

std::optional<double> whenAsked(const ServiceState& service, double value) {
  return service.isKnown() ? std::optional(value) : std::nullopt;
}

template <typename Condition>
double countOf(const PoolState& pool, Condition condition) {
  return static_cast<double>(std::ranges::count_if(pool.servers, condition));
}

// Nothing while some could not be polled: the count would make them seem dead.
template <typename Condition>
std::optional<double> countWhenPolled(const PoolState& pool, Condition condition) {
  const bool isWhole = std::ranges::none_of(pool.servers, &ServerState::isUnpolled);
  return isWhole ? std::optional(countOf(pool, condition)) : std::nullopt;
}

constexpr Family<ServiceState> kServiceFamilies[] = {
    {"nimbolsp_up", "gauge", "Whether the daemon answered the last ping.",
     [](const ServiceState& s) { return whenAsked(s, s.answers); }},
    {"nimbolsp_up_change_timestamp_seconds", "gauge", "When nimbolsp_up last changed.",
     [](const ServiceState& s) { return whenAsked(s, sinceEpoch(s.since)); }},
    {"nimbolsp_ping_duration_seconds", "gauge", "How long the last ping of the daemon took.",
     [](const ServiceState& s) { return whenAsked(s, seconds(s.last.took)); }},
    {"nimbolsp_pings_total", "counter", "Pings of the daemon by this exporter.",
     [](const ServiceState& s) { return std::optional<double>(s.requests); }},
    {"nimbolsp_ping_failures_total", "counter", "Pings that the daemon did not answer.",
     [](const ServiceState& s) { return std::optional<double>(s.failures); }},
};

constexpr Family<PoolState> kPoolFamilies[] = {
    {"nimbolsp_pool_servers", "gauge", "Servers of the pool.",
     [](const PoolState& p) { return std::optional<double>(p.servers.size()); }},
    {"nimbolsp_pool_servers_up", "gauge", "Servers of the pool that answered their last poll.",
     [](const PoolState& p) { return countWhenPolled(p, [](const ServerState& s) { return s.answers; }); }},
    {"nimbolsp_pool_servers_with_room", "gauge",
     "Servers of the pool that answer and have room: load below 100 %.",
     [](const PoolState& p) {
       return countWhenPolled(p, [](const ServerState& s) { return s.answers && s.standing.hasRoom; });
     }},
    {"nimbolsp_pool_servers_unpolled", "gauge",
     "Servers of the pool that this exporter could not poll for want of descriptors of its own.",
     [](const PoolState& p) { return std::optional(countOf(p, &ServerState::isUnpolled)); }},
    {"nimbolsp_pool_poll_interval_seconds", "gauge", "Time between two polls of a server of the pool.",
     [](const PoolState& p) { return std::optional(seconds(p.interval)); }},
    {"nimbolsp_pool_poll_rounds_total", "counter", "Rounds of polls of the pool by this exporter.",
     [](const PoolState& p) { return std::optional<double>(p.rounds); }},
};

constexpr Family<ServerState> kServerFamilies[] = {
    {"nimbolsp_server_up", "gauge", "Whether the server answered its last poll.",
     [](const ServerState& s) { return whenPolled(s, s.answers); }},
    {"nimbolsp_server_up_change_timestamp_seconds", "gauge", "When nimbolsp_server_up last changed.",
     [](const ServerState& s) { return whenPolled(s, sinceEpoch(s.since)); }},
    {"nimbolsp_server_poll_duration_seconds", "gauge", "How long the last poll took, answered or not.",
     [](const ServerState& s) { return whenPolled(s, seconds(s.last.took)); }},
    {"nimbolsp_server_load_ratio", "gauge", "Load as the daemon counts it; 1 is full.",
     [](const ServerState& s) { return whenAnswers(s, s.standing.load / 100.0); }},
    {"nimbolsp_server_load_used", "gauge", "Third statistic: what of the limit is in use.",
     [](const ServerState& s) { return whenAnswers(s, s.last.statistics.loadUsed); }},
    {"nimbolsp_server_load_limit", "gauge", "Fourth statistic: the limit of what can be in use.",
     [](const ServerState& s) { return whenAnswers(s, s.last.statistics.loadLimit); }},
    {"nimbolsp_server_average", "gauge", "Second statistic by the first, as the daemon counts it.",
     [](const ServerState& s) { return whenAnswers(s, s.standing.average); }},
    {"nimbolsp_server_allocation_list", "gauge", "Allocation list of the server, 0 (searched first) to 9.",
     [](const ServerState& s) { return whenAnswers(s, s.standing.list); }},
    {"nimbolsp_server_has_room", "gauge", "Whether the server has room: its load is below 100 %.",
     [](const ServerState& s) { return whenAnswers(s, s.standing.hasRoom); }},
    {"nimbolsp_server_remarks", "gauge",
     "Odd things about the server's statistics; the status page tells them.",
     [](const ServerState& s) { return whenAnswers(s, static_cast<double>(s.standing.remarks.size())); }},
    {"nimbolsp_server_polls_total", "counter", "Polls of the server by this exporter.",
     [](const ServerState& s) { return std::optional<double>(s.polls); }},
    {"nimbolsp_server_poll_failures_total", "counter", "Polls that the server did not answer.",
     [](const ServerState& s) { return std::optional<double>(s.failures); }},
    {"nimbolsp_server_flaps_total", "counter", "Flaps: how often nimbolsp_server_up changed.",
     [](const ServerState& s) { return std::optional<double>(s.flaps); }},
};

std::string quoted(const std::string& text) {
  std::string value = "\"";
  for (const char c : text) {
    if (c == '\\' || c == '"') value += '\\';
    value += c;
  }
  return value + '"';
}

std::string numberText(double value) {
  char digits[32];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
  return error == std::errc() ? std::string(digits, end) : "NaN";
}

template <typename State>
struct Labelled {
  Labels labels;
  const State* state;
};

template <typename State, std::size_t count>
void addFamilies(std::string& text, const Family<State> (&families)[count],
                 const std::vector<Labelled<State>>& subjects) {
  for (const Family<State>& family : families) {
    const std::string name = family.name;
    text.append("# HELP ").append(name).append(1, ' ').append(family.help).append(1, '\n');
    text.append("# TYPE ").append(name).append(1, ' ').append(family.type).append(1, '\n');
    for (const auto& [labels, state] : subjects) {
      const std::optional<double> value = family.value(*state);
      if (!value) continue;
      text.append(name).append(labels).append(1, ' ').append(numberText(*value)).append(1, '\n');
    }
  }
}

}  // namespace

std::string metricsOf(const Picture& picture) {
  std::vector<std::string> poolTexts;
  for (const PoolState& pool : picture.pools) poolTexts.push_back(pool.name);
  const std::vector<std::string> poolNames = distinctNames(poolTexts);
  std::vector<Labelled<PoolState>> pools;
  std::vector<Labelled<ServerState>> servers;
  for (std::size_t p = 0; p < picture.pools.size(); ++p) {
    const PoolState& pool = picture.pools[p];
    const std::string label = "{pool=" + quoted(poolNames[p]);
    pools.push_back({label + "}", &pool});
    std::vector<std::string> texts;
    for (const ServerState& server : pool.servers) texts.push_back(server.text);
    const std::vector<std::string> names = distinctNames(texts);
    for (std::size_t s = 0; s < names.size(); ++s) {
      servers.push_back({label + ",server=" + quoted(names[s]) + "}", &pool.servers[s]});
    }
  }
  std::string text;
  addFamilies(text, kServiceFamilies, {{"", &picture.service}});
  addFamilies(text, kPoolFamilies, pools);
  addFamilies(text, kServerFamilies, servers);
  return text;
}

}  // namespace nimbolsp::tools
