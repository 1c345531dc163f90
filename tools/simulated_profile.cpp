#include "tools/simulated_profile.h"

#include <arpa/inet.h>

#include <set>
#include <stdexcept>
#include <string>

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kNamed = 5;  // servers in a sentence

// Why an endpoint cannot be simulated; empty when it can.
std::string obstacle(const ServerEndpoint& endpoint) {
  if (endpoint.ipAddress != 0 && !isOnThisMachine(ntohl(endpoint.ipAddress))) return "not on this machine";
  return static_cast<std::uint16_t>(endpoint.port) == 0 ? "without a port" : "";
}

SimulatedAddress addressOfEndpoint(const ServerEndpoint& endpoint) {
  SimulatedAddress address;
  if (endpoint.ipAddress != 0) address.ip = ntohl(endpoint.ipAddress);
  address.port = static_cast<std::uint16_t>(endpoint.port);
  return address;
}

}  // namespace

std::vector<ServerOptions> simulatedServers(const EffectiveProfile& profile, const ServerOptions& each) {
  std::vector<ServerOptions> servers;
  std::set<SimulatedAddress> seen;
  std::string refused;
  std::size_t refusedCount = 0;
  for (const PoolEntry& pool : profile.pools) {
    for (const ServerEntry& entry : pool.servers) {
      ServerOptions server = each;
      server.address = addressOfEndpoint(entry.endpoint);
      if (const std::string why = obstacle(entry.endpoint); !why.empty()) {
        if (++refusedCount <= kNamed)
          refused += (refused.empty() ? "" : ", ") + entry.text + " (" + why + ")";
      } else if (seen.insert(server.address).second) {
        servers.push_back(server);
      }
    }
  }
  if (refusedCount > kNamed) refused += " and " + std::to_string(refusedCount - kNamed) + " more";
  if (refusedCount > 0) {
    throw std::invalid_argument(profile.settings.profilePath + ": cannot act as " + refused +
                                "; simulated servers have addresses of 127.0.0.0/8");
  }
  return servers;
}

}  // namespace nimbolsp::tools
