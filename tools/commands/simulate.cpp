// "simulate": acts as servers to poll, until it is told to stop.
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/balance.h"
#include "service/wire/process_limits.h"
#include "tools/commands/checks.h"
#include "tools/commands/command.h"
#include "tools/process.h"
#include "tools/server_options.h"
#include "tools/simulation.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

constexpr int kPortNotBound = 1;
constexpr std::int32_t kMaximumServers = 10000;
constexpr double kLongestRun = 1e9;  // seconds

const char* const kStatuses =
    R"(Prints a line for every server, "127.0.0.1:PORT DESCRIPTION", then "ready"; at the end a table. SIGINT and
SIGTERM end it.
Exit status: 0 done, 1 a port could not be bound, 64 the command line is wrong.)";

struct Line {
  std::vector<std::string> descriptions;
  std::int32_t count = 1;
  std::int32_t bucketSize = 100;
  double seconds = -1;
  bool untilInputCloses = false;
};

std::vector<ServerOptions> serversOf(const Line& line) {
  if (line.count > 1 && line.descriptions.size() > 1) {
    throw std::invalid_argument("--count wants exactly one --server");
  }
  std::vector<ServerOptions> servers;
  for (const std::string& description : line.descriptions) {
    try {
      servers.push_back(parseServerOptions(description));
    } catch (const std::invalid_argument& fault) {
      throw std::invalid_argument("--server " + description + ": " + fault.what());
    }
  }
  if (line.count > 1) servers = repeated(servers.front(), line.count);
  refuseSharedPorts(servers);
  return servers;
}

// A line for every server: its address and its description.
std::string listServers(const std::vector<ServerFigures>& servers) {
  std::string lines;
  for (const ServerFigures& server : servers) lines += server.address + " " + describe(server.options) + "\n";
  return lines;
}

// The table of the end: polls answered, visits, load and allocation list.
std::string report(const std::vector<ServerFigures>& servers, std::int32_t bucketSize) {
  std::vector<std::vector<std::string>> rows{{"ADDRESS", "ANSWERED", "VISITS", "LOAD", "LIST"}};
  for (const ServerFigures& server : servers) {
    const Statistics& now = server.statistics;
    rows.push_back({server.address, std::to_string(server.pollsAnswered), std::to_string(server.visits),
                    std::to_string(loadPercent(now.loadUsed, now.loadLimit)) + "%",
                    std::to_string(allocationListOf(now.ratioDivisor, now.ratioDividend, bucketSize))});
  }
  return formatTable(rows, "lrrrr");
}

int run(const Line& line) {
  const std::vector<ServerOptions> servers = serversOf(line);
  RunUntil until;
  const Descriptor stop = catchStopSignals();
  until.stopDescriptor = stop.number();
  if (line.untilInputCloses) until.inputDescriptor = STDIN_FILENO;
  if (line.seconds >= 0) until.milliseconds = static_cast<std::int64_t>(line.seconds * 1000);
  raiseDescriptorLimit();
  try {
    Simulation simulation(servers);
    print(listServers(simulation.figures()) + "ready\n");
    simulation.run(until);
    print(report(simulation.figures(), line.bucketSize));
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return kPortNotBound;
  }
  return kDone;
}

}  // namespace

Runner declareSimulate(CLI::App& command) {
  const auto line = std::make_shared<Line>();
  command.add_option("--server", line->descriptions, "A server to simulate (see below); any number of times")
      ->type_name("DESCRIPTION")
      ->required()
      ->allow_extra_args(false);
  command
      .add_option("--count", line->count,
                  "Simulate the one --server so many times, at most 10000, on\n"
                  "consecutive ports or, with port 0, on free ones")
      ->type_name("N")
      ->check(between(1, kMaximumServers));
  command.add_option("--for", line->seconds, "End after so many seconds")
      ->type_name("SECONDS")
      ->check(between(0.0, kLongestRun));
  command.add_flag("--until-stdin-closes", line->untilInputCloses, "End when standard input closes");
  command
      .add_option("--bucket-size", line->bucketSize,
                  "Width of an allocation list in the table of the end, as\n"
                  "BucketSize of the service's profile (default 100)")
      ->type_name("N")
      ->check(between(1, INT32_MAX));
  command.footer(std::string(kDescriptionHelp) + "\n\n" + kStatuses);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
