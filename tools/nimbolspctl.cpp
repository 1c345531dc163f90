// The companion program's command line: its sub-commands, their options, help and exit statuses; nothing
// else.
#include <arpa/inet.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/pool_loader.h"
#include "service/settings.h"
#include "service/wire/descriptor.h"
#include "service/wire/descriptors.h"
#include "service/wire/request_protocol.h"
#include "tools/ask.h"
#include "tools/server_options.h"
#include "tools/simulate.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {
namespace {

constexpr int kDone = 0;
constexpr int kWrongCommandLine = 2;
constexpr int kPortNotBound = 1;      // simulate
constexpr int kNoServerAnswered = 1;  // ask
constexpr int kServiceFailed = 3;     // ask

constexpr std::int32_t kMaximumServers = 10000;
constexpr std::int32_t kMaximumClients = 1000;
constexpr double kLongestRun = 1e9;  // seconds
constexpr const char* kDefaultProfile = "nimbolsp.ini";

const char* const kSimulateStatuses =
    R"(Prints a line for every server, "127.0.0.1:PORT DESCRIPTION", then "ready"; at the end a table. SIGINT and
SIGTERM end it.
Exit status: 0 done, 1 a port could not be bound, 2 the command line is wrong.)";

const char* const kAskStatuses =
    R"(Bytes that are no printable ASCII characters are shown as \xHH, a backslash as \\. SIGINT and SIGTERM end it;
what was answered until then is shown.
Exit status: 0 every request was answered with a server, 1 at least one was answered with no server, 2 the
command line is wrong or the profile has no port, 3 the service could not be reached or broke off (what was
answered until then is shown).)";

struct SimulateLine {
  std::vector<std::string> descriptions;
  std::int32_t count = 1;
  std::int32_t bucketSize = 100;
  double seconds = -1;
  bool untilInputCloses = false;
};

struct AskLine {
  AskOptions options;
  std::string profile = kDefaultProfile;
  std::int64_t interval = 0;
  bool plain = false;
};

void complain(const std::string& sentence) {
  std::fprintf(stderr, "nimbolspctl: %s\n", printable(sentence).c_str());
}

void print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

// A descriptor that becomes readable with SIGINT or SIGTERM, for all threads that start from now on.
Descriptor catchStopSignals() {
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGINT);
  sigaddset(&stop, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);
  return Descriptor(signalfd(-1, &stop, SFD_CLOEXEC | SFD_NONBLOCK));
}

std::vector<ServerOptions> serversOf(const SimulateLine& line) {
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

int runSimulate(const SimulateLine& line) {
  const std::vector<ServerOptions> servers = serversOf(line);
  RunUntil until;
  const Descriptor stop = catchStopSignals();
  until.stopDescriptor = stop.number();
  if (line.untilInputCloses) until.inputDescriptor = STDIN_FILENO;
  if (line.seconds >= 0) until.milliseconds = static_cast<std::int64_t>(line.seconds * 1000);
  raiseDescriptorLimit();
  try {
    Simulation simulation(servers);
    print(simulation.listServers() + "ready\n");
    simulation.run(until);
    print(simulation.report(line.bucketSize));
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return kPortNotBound;
  }
  return kDone;
}

// The port of the service whose profile this is. A name without a folder gets one, for some names alone stand
// for the layer's own profile.
std::int32_t portOfProfile(const std::string& profile) {
  if (access(profile.c_str(), R_OK) != 0) {
    throw std::invalid_argument(profile + " cannot be read: give --port or --profile");
  }
  Settings found;
  found.profilePath = profile.find('/') == std::string::npos ? "./" + profile : profile;
  setSettings(found);
  const std::int32_t port = readServicePort();
  if (port == 0) throw std::invalid_argument(profile + " has no Port in section [Setup]");
  return port;
}

int runAsk(AskLine& line) {
  AskOptions& options = line.options;
  if (options.pool.size() > kMaximumBodySize) {
    throw std::invalid_argument("a pool's name has at most " + std::to_string(kMaximumBodySize) + " bytes");
  }
  if (options.port == 0) options.port = portOfProfile(line.profile);
  options.interval = std::chrono::milliseconds(line.interval);
  const Descriptor stop = catchStopSignals();
  const AskOutcome outcome = ask(options, stop.number());

  const AnswerCount& answers = outcome.answers;
  if (answers.total() > 0) print(line.plain ? answers.plainLines() : answers.table(options.visit));
  if (line.plain && answers.failedVisits() > 0) {
    complain("failed visits: " + std::to_string(answers.failedVisits()));
  }
  if (!outcome.failure.empty()) {
    complain(outcome.failure);
    return kServiceFailed;
  }
  return answers.withoutServer() > 0 ? kNoServerAnswered : kDone;
}

// A check without its own note in the help, where the option's text says what matters.
template <typename Number>
CLI::Validator between(Number lowest, Number highest) {
  return CLI::Range(lowest, highest).description("");
}

CLI::App* addSimulate(CLI::App& program, SimulateLine& line) {
  CLI::App* command = program.add_subcommand("simulate", "Act as servers to poll, on 127.0.0.1");
  command->add_option("--server", line.descriptions, "A server to simulate (see below); any number of times")
      ->type_name("DESCRIPTION")
      ->required()
      ->allow_extra_args(false);
  command
      ->add_option("--count", line.count,
                   "Simulate the one --server so many times, at most 10000, on\n"
                   "consecutive ports or, with port 0, on free ones")
      ->type_name("N")
      ->check(between(1, kMaximumServers));
  command->add_option("--for", line.seconds, "End after so many seconds")
      ->type_name("SECONDS")
      ->check(between(0.0, kLongestRun));
  command->add_flag("--until-stdin-closes", line.untilInputCloses, "End when standard input closes");
  command
      ->add_option("--bucket-size", line.bucketSize,
                   "Width of an allocation list in the table of the end, as\n"
                   "BucketSize of the service's profile (default 100)")
      ->type_name("N")
      ->check(between(1, INT32_MAX));
  command->footer(std::string(kDescriptionHelp) + "\n\n" + kSimulateStatuses);
  return command;
}

void addAddressOptions(CLI::App* command, AskLine& line) {
  command->add_option("--host", line.options.host, "The service's address, dotted (default 127.0.0.1)")
      ->type_name("ADDRESS")
      ->check([](const std::string& host) {
        in_addr address{};
        return inet_pton(AF_INET, host.c_str(), &address) == 1 ? "" : "\"" + host + "\" is no IPv4 address";
      });
  CLI::Option* port = command->add_option("--port", line.options.port, "The service's port");
  port->type_name("PORT")->check(between(1, 65535));
  command
      ->add_option("--profile", line.profile,
                   "The service's profile, to read the port from (default nimbolsp.ini)")
      ->type_name("FILE")
      ->excludes(port);
}

CLI::App* addAsk(CLI::App& program, AskLine& line) {
  CLI::App* command =
      program.add_subcommand("ask", "Act as a front end: ask the service for servers of a pool");
  command
      ->add_option("POOL", line.options.pool, "The pool's name, at most 255 bytes; its case does not matter")
      ->required();
  command->add_option("-n,--count", line.options.count, "Ask so often (default 1); 0: until stopped")
      ->type_name("COUNT")
      ->check(between(std::int64_t{0}, INT64_MAX));
  addAddressOptions(command, line);
  command->add_flag("--visit", line.options.visit,
                    "After each answer connect to the server and close, as a request\n"
                    "that is brought there; an answer without address means 127.0.0.1");
  command
      ->add_option("--clients", line.options.clients,
                   "Ask from so many threads, at most 1000, which share COUNT (default 1)")
      ->type_name("N")
      ->check(between(1, kMaximumClients));
  command->add_option("--interval", line.interval, "Pause of each client between two requests (default 0)")
      ->type_name("MILLISECONDS")
      ->check(between(std::int64_t{0}, std::int64_t{86'400'000}));
  command->add_flag("--plain", line.plain, "Print lines \"COUNT ADDRESS\" instead of a table");
  command->footer(kAskStatuses);
  return command;
}

int run(int argc, char** argv) {
  CLI::App program{
      "Companion of the Nimbo Web Client Load Sharing Process: simulated servers to poll, and a\n"
      "simulated front end.",
      "nimbolspctl"};
  program.set_version_flag("--version", "nimbolspctl " NIMBOLSP_VERSION);
  program.require_subcommand(1);
  program.footer("\"nimbolspctl COMMAND --help\" tells the options and the exit statuses of a command.");
  SimulateLine simulateLine;
  AskLine askLine;
  const CLI::App* simulate = addSimulate(program, simulateLine);
  addAsk(program, askLine);
  try {
    program.parse(argc, argv);
    return simulate->parsed() ? runSimulate(simulateLine) : runAsk(askLine);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kDone : kWrongCommandLine;
  } catch (const std::invalid_argument& fault) {
    complain(fault.what());
    return kWrongCommandLine;
  }
}

}  // namespace
}  // namespace nimbolsp::tools

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a peer that has gone costs nothing
  nimbolsp::openStandardDescriptors();
  try {
    return nimbolsp::tools::run(argc, argv);
  } catch (const std::exception& error) {
    nimbolsp::tools::complain(error.what());
    return nimbolsp::tools::kWrongCommandLine;
  }
}
