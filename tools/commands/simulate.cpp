// "simulate": acts as servers to poll, until it is told to stop.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/balance.h"
#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/process.h"
#include "tools/profile/effective_profile.h"
#include "tools/server_options.h"
#include "tools/simulated_profile.h"
#include "tools/simulation.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

constexpr int kPortNotBound = 1;
constexpr std::int32_t kMaximumServers = 10000;
constexpr double kLongestRun = 1e9;              // seconds
constexpr std::size_t kLongestScript = 1 << 20;  // bytes

const char* const kStatuses =
    R"(Prints a line for every server, "ADDRESS:PORT DESCRIPTION", then "ready"; at the end a table. SIGINT and
SIGTERM end it.
Examples:
  nimbolspctl simulate --server 0,average=250,used=10,limit=50,follow,hold=800 --count 20
  nimbolspctl simulate --profile nimbolsp.ini --each follow,warmup=30 --script incident.txt
Exit status: 0 done, 1 a port could not be bound, 64 the command line, the profile or the script is wrong, 74 the
output could not be written.)";

struct Line {
  std::vector<std::string> descriptions;
  std::string profile;  // empty for none
  std::string each;
  std::string script;  // empty for none
  std::int32_t count = 1;
  std::int32_t bucketSize = 0;  // 0: not given
  double seconds = -1;
  bool untilInputCloses = false;
};

// Makes what a sentence is about its beginning.
template <typename Parse>
ServerOptions parsed(const std::string& what, const Parse& parse) {
  try {
    return parse();
  } catch (const std::invalid_argument& fault) {
    throw std::invalid_argument(what + ": " + fault.what());
  }
}

std::vector<ServerOptions> serversOfProfile(const Line& line, const EffectiveProfile& profile) {
  ServerOptions each;
  if (!line.each.empty()) {
    each = parsed("--each " + line.each, [&line] { return parseServerOptions("0," + line.each); });
  }
  return simulatedServers(profile, each);
}

// Those of the profile, each as its --server says if there is one; then those of the command line alone.
std::vector<ServerOptions> serversOf(const Line& line, const EffectiveProfile* profile) {
  if (line.descriptions.empty() && profile == nullptr) {
    throw std::invalid_argument("simulate wants --server or --profile");
  }
  if (line.count > 1 && (line.descriptions.size() != 1 || profile != nullptr)) {
    throw std::invalid_argument("--count wants exactly one --server and no --profile");
  }
  std::vector<ServerOptions> given;
  for (const std::string& description : line.descriptions) {
    given.push_back(parsed("--server " + description, [&] { return parseServerOptions(description); }));
  }
  if (line.count > 1) given = repeated(given.front(), line.count);
  refuseSharedPorts(given);
  if (profile == nullptr) return given;
  std::vector<ServerOptions> servers = serversOfProfile(line, *profile);
  for (const ServerOptions& server : given) {
    const auto same = std::ranges::find(servers, server.address, &ServerOptions::address);
    if (same == servers.end()) {
      servers.push_back(server);
    } else {
      *same = server;
    }
  }
  return servers;
}

std::string readScriptFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::string text(kLongestScript + 1, '\0');
  if (!stream.read(text.data(), static_cast<std::streamsize>(text.size())) && !stream.eof()) {
    throw std::invalid_argument(path + " cannot be read: " + std::strerror(errno));
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  if (text.size() > kLongestScript) {
    throw std::invalid_argument(path + " has more than " + std::to_string(kLongestScript) + " bytes");
  }
  return text;
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

int simulate(const Line& line, const std::vector<ServerOptions>& servers, std::vector<Change> changes,
             std::int32_t bucketSize) {
  RunUntil until;
  const Descriptor stop = catchStopSignals();
  until.stopDescriptor = stop.number();
  if (line.untilInputCloses) until.inputDescriptor = STDIN_FILENO;
  if (line.seconds >= 0) until.milliseconds = static_cast<std::int64_t>(line.seconds * 1000);
  raiseDescriptorLimit();
  try {
    Simulation simulation(servers, std::move(changes));
    print(listServers(simulation.figures()) + "ready\n");
    simulation.run(until, [](const Change& change) { print(printable(change.line) + "\n"); });
    print(report(simulation.figures(), bucketSize));
  } catch (const OutputFailed&) {
    throw;
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return kPortNotBound;
  }
  return kDone;
}

int run(const Line& line) {
  std::optional<EffectiveProfile> profile;
  if (!line.profile.empty()) profile = loadFaultlessProfile(line.profile);
  const std::vector<ServerOptions> servers = serversOf(line, profile ? &*profile : nullptr);
  ChangeScript script;
  if (!line.script.empty()) script = readChangeScript(readScriptFile(line.script), line.script, servers);
  for (const std::string& fault : script.faults) complain(fault);
  if (!script.faults.empty()) return kWrongCommandLine;
  std::int32_t bucketSize = line.bucketSize;
  if (bucketSize == 0) bucketSize = profile ? profile->settings.bucketSize : Settings{}.bucketSize;
  return simulate(line, servers, std::move(script.changes), bucketSize);
}

}  // namespace

Runner declareSimulate(Options& options) {
  const auto line = std::make_shared<Line>();
  options
      .texts("--server", line->descriptions, "DESCRIPTION",
             "A server to simulate (see below); any number of times")
      .oneWordEach();
  const Option profile = options.text("--profile", line->profile, "FILE",
                                      "Simulate all servers that a profile of the daemon names, at\n"
                                      "their addresses, which are of 127.0.0.0/8; a --server with one\n"
                                      "of these addresses says what that one is like");
  options
      .text("--each", line->each, "KEYS",
            "What every server of the profile is like, key=value[,key=value]...")
      .needs(profile);
  options.text("--script", line->script, "FILE",
               "Change servers as time goes by, as a file says (see below)");
  options.number("--count", line->count, "N",
                 "Simulate the one --server so many times, at most 10000, on\n"
                 "consecutive ports or, with port 0, on free ones",
                 1, kMaximumServers);
  options.number("--for", line->seconds, "SECONDS", "End after so many seconds", 0, kLongestRun);
  options.flag("--until-stdin-closes", line->untilInputCloses, "End when standard input closes");
  options.number("--bucket-size", line->bucketSize, "N",
                 "Width of an allocation list in the table of the end, as\n"
                 "BucketSize of the daemon's profile (default: the profile's, or " +
                     std::to_string(Settings{}.bucketSize) + ")",
                 1, INT32_MAX);
  options.footer(descriptionHelp() + "\n" + kChangeScriptHelp + "\n\n" + kStatuses);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
