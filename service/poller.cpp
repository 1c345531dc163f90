#include "service/poller.h"

#include "service/balance.h"
#include "service/layer_gate.h"
#include "service/reports.h"
#include "service/resources/string_table.h"
#include "service/settings.h"
#include "service/threads.h"
#include "service/wire/tcp_socket.h"

namespace nimbolsp {

namespace {

void report(std::string_view text, const PoolServer* server) {
  debugLog(text, server->ipAddress, server->port);
}

// The same from outside the layer.
void visitToReport(const char* text, const PoolServer* server) {
  if (const LayerVisit visit; visit) report(text, server);
}

// Withholds the server from allocation. False when the process ends.
bool withhold(PoolServer* server) {
  const LayerVisit visit;
  if (visit) markUnavailable(server);
  return static_cast<bool>(visit);
}

void logLoad(const PoolServer* server, std::int16_t load) {
  if (settings().debugLevel != 0) report("Load: " + std::to_string(load) + "%", server);
}

// The exchange with the server. False, told in a debug line, when it does not go well.
bool askServer(const PoolServer* server, PollReply& reply) {
  TcpSocket socket;
  socket.create();
  if (!socket.connectToAddress(server->ipAddress, server->port)) {
    visitToReport("Failed connecting to NIMBO server.", server);
    return false;
  }
  const PollRequest& request = server->pool->pollRequest;
  if (!socket.sendAll(request.data(), request.size())) {
    visitToReport("Failed sending message to NIMBO server.", server);
    return false;
  }
  if (!socket.receiveExactly(reply.data(), reply.size())) {
    visitToReport("No response received from NIMBO server.", server);
    return false;
  }
  return socket.orderlyClose();
}

// Stores what a good reply says and files the server into its allocation list.
void storeReply(PoolServer* server, const Statistics& statistics) {
  const LayerVisit visit;
  if (!visit) return;
  ServerPool* pool = server->pool;
  PoolHold hold(pool);
  server->statistics = statistics;
  if (hasNegative(statistics)) logMessage(kStringInvalidStatistic);
  const std::int16_t load = loadPercent(statistics.loadUsed, statistics.loadLimit);
  setLoad(server, load);
  logLoad(server, load);
  placeServer(pool, server,
              allocationListOf(statistics.ratioDivisor, statistics.ratioDividend, settings().bucketSize));
}

// One poll: withholds the server, asks it, and after a good reply stores the statistics and places it.
void pollServer(PoolServer* server) {
  PollReply reply;
  if (!withhold(server)) return;
  if (askServer(server, reply)) {
    storeReply(server, decodePollReply(reply));
  } else {
    withhold(server);  // it is withheld already: this does nothing
  }
}

void pollUntilStopped(PoolServer* server) {
  const auto interval = static_cast<std::uint32_t>(server->pool->pollInterval);
  visitToReport("Thread started", server);
  sleepRoundedToSeconds(interval);
  while (!stopPolling) {
    pollServer(server);
    sleepRoundedToSeconds(interval);
  }
  visitToReport("Thread finished", server);
}

void* pollServerThread(void* argument) {
  auto* server = static_cast<PoolServer*>(argument);
  ServerPool* pool = server->pool;
  pollUntilStopped(server);
  letGoOfPool(pool);
  return nullptr;
}

}  // namespace

bool startPolling(PoolServer* server) {
  ServerPool* pool = server->pool;
  pool->users.use();
  server->thread = startThread(pollServerThread, server);
  if (server->thread == nullptr) letGoOfPool(pool);
  return server->thread != nullptr;
}

}  // namespace nimbolsp
