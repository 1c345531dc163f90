#include "tools/polling/survey.h"

#include <algorithm>
#include <map>
#include <utility>

#include "service/balance.h"
#include "tools/profile/effective_profile.h"

namespace nimbolsp::tools {

namespace {

// Where the daemon connects to.
using Place = std::pair<std::uint32_t, std::uint16_t>;

Place placeOf(const ServerEndpoint& endpoint) {
  return {endpoint.destination(), static_cast<std::uint16_t>(endpoint.port)};
}

}  // namespace

bool SurveyedServer::isWell() const {
  return answered() && !hasNegative(result.statistics);
}

std::size_t Survey::answered() const {
  return static_cast<std::size_t>(std::ranges::count_if(servers, &SurveyedServer::answered));
}

std::size_t Survey::well() const {
  return static_cast<std::size_t>(std::ranges::count_if(servers, &SurveyedServer::isWell));
}

std::size_t Survey::unpolled() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      servers, [](const SurveyedServer& server) { return server.result.end == PollEnd::kShortage; }));
}

bool Survey::interrupted() const {
  return std::ranges::any_of(
      servers, [](const SurveyedServer& server) { return server.result.end == PollEnd::kInterrupted; });
}

std::vector<std::string> remarksOf(const ServerEndpoint& endpoint, const PollResult& result,
                                   const Standing& standing, std::chrono::milliseconds timeout) {
  if (result.end == PollEnd::kAnswered) return standing.remarks;
  return {describe(endpoint, result, timeout)};
}

Survey takeSurvey(const std::vector<PoolEntry>& pools, std::int32_t bucketSize,
                  std::chrono::milliseconds timeout, int stopDescriptor) {
  std::map<Place, std::size_t> places;  // to the poll's number
  std::vector<ServerEndpoint> endpoints;
  std::vector<int> entriesOf;
  for (const PoolEntry& pool : pools) {
    for (const ServerEntry& server : pool.servers) {
      const auto [at, isNew] = places.try_emplace(placeOf(server.endpoint), endpoints.size());
      if (isNew) {
        endpoints.push_back(server.endpoint);
        entriesOf.push_back(0);
      }
      ++entriesOf[at->second];
    }
  }
  const std::vector<PollResult> results = pollServers(endpoints, timeout, stopDescriptor);
  Survey survey{{}, timeout};
  for (const PoolEntry& pool : pools) {
    for (const ServerEntry& entry : pool.servers) {
      const std::size_t poll = places[placeOf(entry.endpoint)];
      SurveyedServer server{pool.name, entry, results[poll], {}, {}};
      if (server.answered()) server.standing = standingOf(server.result.statistics, bucketSize);
      server.remarks = remarksOf(entry.endpoint, server.result, server.standing, timeout);
      if (entriesOf[poll] > 1) {
        server.remarks.push_back("listed " + std::to_string(entriesOf[poll]) +
                                 " times: the daemon counts each entry apart");
      }
      survey.servers.push_back(std::move(server));
    }
  }
  return survey;
}

}  // namespace nimbolsp::tools
