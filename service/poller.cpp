#include "service/poller.h"

#include "service/reports.h"
#include "service/resources/string_table.h"
#include "service/settings.h"
#include "service/wire/tcp_socket.h"

namespace nimbolsp {

namespace {

void report(const char* text, const PoolServer* server) {
  debugLog(text, server->ipAddress, server->port);
}

void logLoad(PoolServer* server) NIMBOXI_REQUIRES(poolGuard) {
  if (settings().debugLevel == 0) return;
  report(("Load: " + std::to_string(server->load) + "%").c_str(), server);
}

// The exchange with the server. False, told in a debug line, when it does not go well.
bool exchange(const PoolServer* server, PollReply& reply) {
  TcpSocket socket;
  socket.create();
  if (!socket.connectToAddress(server->ipAddress, server->port)) {
    report("Failed connecting to NIMBO server.", server);
    return false;
  }
  const PollRequest& request = server->pool->pollRequest;
  if (!socket.sendAll(request.data(), request.size())) {
    report("Failed sending message to NIMBO server.", server);
    return false;
  }
  if (!socket.receiveExactly(reply.data(), reply.size())) {
    report("No response received from NIMBO server.", server);
    return false;
  }
  return socket.orderlyClose();
}

void pollUntilStopped(PoolServer* server) {
  const auto interval = static_cast<std::uint32_t>(server->pool->pollInterval);
  report("Thread started", server);
  sleepSeconds(interval);
  while (!stopPolling) {
    pollServer(server);
    sleepSeconds(interval);
  }
  report("Thread finished", server);
}

void* pollServerThread(void* argument) {
  auto* server = static_cast<PoolServer*>(argument);
  ServerPool* pool = server->pool;
  pollUntilStopped(server);
  letGoOfPool(pool);
  return nullptr;
}

}  // namespace

void storeReply(PoolServer* server, const PollReply& reply) {
  ServerPool* pool = server->pool;
  PoolHold hold(pool);
  server->unavailable = false;
  server->statistics = decodePollReply(reply);
  if (hasNegative(server->statistics)) logMessage(kStringInvalidStatistic);
  server->load = loadPercent(server->statistics.loadUsed, server->statistics.loadLimit);
  logLoad(server);
  placeServer(pool, server);
}

void pollServer(PoolServer* server) {
  markUnavailable(server);
  PollReply reply;
  if (exchange(server, reply)) {
    storeReply(server, reply);
  } else {
    markUnavailable(server);
  }
}

bool startPolling(PoolServer* server) {
  ServerPool* pool = server->pool;
  if (!pool->users.tryUse()) return false;
  server->thread = startThread(pollServerThread, server);
  if (server->thread == nullptr) letGoOfPool(pool);
  return server->thread != nullptr;
}

}  // namespace nimbolsp
