// "serve": the figures of all servers over HTTP, for browsers and monitoring.
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/http/http_server.h"
#include "tools/http/listen_address.h"
#include "tools/http/pages.h"
#include "tools/polling/monitor.h"
#include "tools/polling/shortage.h"
#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

constexpr int kNotListening = 1;
constexpr std::size_t kRemotePlaces = 64;  // connections of one other machine
constexpr int kTick = 1000;                // milliseconds

const char* const kHelp =
    R"(Polls the servers itself, each pool once an interval, however many look on. It gives:
  /                a status page for browsers
  /metrics         the figures for Prometheus
  /api/v1/servers  the figures as JSON
  /healthz         200 when the daemon answers, 503 when it does not

There is no password: who reaches the port sees all servers. So it listens on addresses of this machine alone,
unless --allow-remote is given. SIGINT and SIGTERM end it.
Examples:
  nimbolspctl serve --profile /etc/nimbolsp/nimbolsp.ini
  nimbolspctl serve --listen 0.0.0.0:5980 --allow-remote
Exit status: 0 ended by a signal, 1 it cannot listen, 64 the command line or the profile is wrong, 74 the output
could not be written.)";

struct Line {
  ServiceOptions service;
  std::string listen = "127.0.0.1:5980";
  bool allowRemote = false;
};

int run(const Line& line) {
  ListenAddress address = parseListenAddress(line.listen);
  if (!address.isLoopback() && !line.allowRemote) {
    throw std::invalid_argument("other machines reach " + address.text() +
                                ", and there is no password: give --allow-remote if that is meant");
  }
  const EffectiveProfile profile = loadFaultlessProfile(line.service.profile);
  const Descriptor stop = catchStopSignals();
  raiseDescriptorLimit();
  HttpLimits limits;
  limits.connections = std::clamp<std::size_t>(freeDescriptors() / 4, 1, limits.connections);
  if (!address.isLoopback()) limits.perAddress = kRemotePlaces;
  Monitor monitor(
      profile,
      {line.service.resolved(profile), line.service.timeout(), {}, limits.connections + limits.spare()});
  std::optional<HttpServer> server;
  try {
    server.emplace(listenOn(address), Pages([&] { return monitor.picture(); }, line.allowRemote), limits);
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return kNotListening;
  }
  monitor.start();  // the polls would leave no descriptor to who comes later
  print("serving on http://" + address.text() + "/\n");
  pollfd watched{stop.number(), POLLIN, 0};
  while (poll(&watched, 1, kTick) <= 0) server->endLateConnections();
  return kDone;
}

}  // namespace

Runner declareServe(Options& options) {
  const auto line = std::make_shared<Line>();
  line->service.timeoutMilliseconds = 2000;
  options.text("--listen", line->listen, "ADDRESS:PORT",
               "Listen there (default 127.0.0.1:5980); port 0: a free one, which is told");
  options.flag("--allow-remote", line->allowRemote, "Listen also where other machines can reach it");
  addServiceOptions(options, line->service);
  options.footer(kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
