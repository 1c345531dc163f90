#include "tools/http/servers_json.h"

#include <nlohmann/json.hpp>

#include "tools/json_text.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::system_clock;

std::int64_t milliseconds(Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Json jsonOf(const ServiceState& service) {
  const bool known = service.isKnown();
  return {{"address", service.address.text()},
          {"answers", known ? Json(service.answers) : Json()},
          {"sinceMilliseconds", known ? Json(milliseconds(service.since)) : Json()},
          {"failure", jsonText(service.shortage.empty() ? service.last.failure : service.shortage)},
          {"tookMilliseconds", inMilliseconds(service.last.took)},
          {"requests", service.requests},
          {"failures", service.failures}};
}

Json historyOf(const ServerState& server) {
  Json history = Json::array();
  for (const std::int16_t load : server.history) history.push_back(load == kNoLoad ? Json() : Json(load));
  return history;
}

// Of a server that answers.
void addFigures(Json& json, const ServerState& server) {
  const Statistics& statistics = server.last.statistics;
  json["divisor"] = statistics.ratioDivisor;
  json["dividend"] = statistics.ratioDividend;
  json["used"] = statistics.loadUsed;
  json["limit"] = statistics.loadLimit;
  json["loadPercent"] = server.standing.load;
  json["average"] = server.standing.average;
  json["list"] = server.standing.list;
  json["hasRoom"] = server.standing.hasRoom;
  json["remarks"] = server.standing.remarks;
}

Json jsonOf(const ServerState& server, std::chrono::milliseconds timeout) {
  const bool known = server.isKnown();
  Json json = {{"server", jsonText(server.text)},
               {"answers", known ? Json(server.answers) : Json()},
               {"sinceMilliseconds", known ? Json(milliseconds(server.since)) : Json()},
               {"unpolled", server.isUnpolled()},
               {"result", describe(server.endpoint, server.last, timeout)},
               {"tookMilliseconds", inMilliseconds(server.last.took)},
               {"polls", server.polls},
               {"failures", server.failures},
               {"flaps", server.flaps},
               {"historyPercent", historyOf(server)}};
  if (server.isUp()) addFigures(json, server);
  return json;
}

}  // namespace

std::string serversJson(const Picture& picture, Clock::time_point now) {
  Json pools = Json::array();
  for (const PoolState& pool : picture.pools) {
    Json servers = Json::array();
    for (const ServerState& server : pool.servers) servers.push_back(jsonOf(server, picture.timeout));
    pools.push_back({{"pool", jsonText(pool.name)},
                     {"intervalMilliseconds", pool.interval.count()},
                     {"rounds", pool.rounds},
                     {"servers", std::move(servers)}});
  }
  const Json all = {{"version", picture.version},
                    {"timeMilliseconds", milliseconds(now)},
                    {"profile", jsonText(picture.profilePath)},
                    {"bucketSize", picture.bucketSize},
                    {"timeoutMilliseconds", picture.timeout.count()},
                    {"service", jsonOf(picture.service)},
                    {"pools", std::move(pools)}};
  return all.dump(-1, ' ', true);
}

}  // namespace nimbolsp::tools
