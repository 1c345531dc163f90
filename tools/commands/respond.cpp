// "respond": answers polls beside a server that does not, until it is told to stop.
#include <netinet/in.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/process.h"
#include "tools/responder.h"

namespace nimbolsp::tools {

namespace {

constexpr int kPortNotBound = 1;

const char* const kHelp = R"(
The profile names the address of --listen, where the daemon polls; front ends bring their requests to the port that
the server itself serves. While the load is not known (a command that fails or takes too long, a file that is missing
or too old, words that are not understood, a port on which nobody listens) polls are refused, so that the daemon
withholds the server. A file is best written under another name and renamed. SIGINT and SIGTERM end it.
Examples:
  nimbolspctl respond --listen 192.0.2.5:5912 --connections 8080 --limit 400 --drain-file /run/drain
  nimbolspctl respond --listen 192.0.2.5:5912 --command /usr/local/bin/web-load --check-port 8080 --warm-up 60
Exit status: 0 ended by a signal, 1 the port could not be bound, 64 the command line is wrong, 74 the output could
not be written.)";

struct Line {
  std::string listen;
  std::string command;  // empty for none, as the next two
  std::string file;
  std::string connections;
  std::string checkPort;
  std::string drainFile;
  std::int32_t limit = 0;  // 0: not given
  std::int32_t warmUp = 0;
  double every = 1;
  double age = 30;
};

std::chrono::milliseconds milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

SimulatedAddress servedPort(const std::string& text) {
  const SimulatedAddress port = parseAddress(text, INADDR_ANY);
  if (port.port == 0) throw std::invalid_argument("nobody serves port 0");
  return port;
}

std::unique_ptr<LoadSource> sourceOf(const Line& line) {
  const SourcePace pace{milliseconds(line.every), milliseconds(line.age)};
  if (line.command.empty() + line.file.empty() + line.connections.empty() != 2)
    throw std::invalid_argument("respond wants one of --command, --file and --connections");
  if (!line.connections.empty()) {
    if (line.limit == 0) throw std::invalid_argument("--connections wants --limit: how many are well served");
    return connectionSource(servedPort(line.connections), line.limit, pace);
  }
  if (!line.command.empty() && line.age == 0) throw std::invalid_argument("--max-age 0 is for --file alone");
  auto source = line.command.empty() ? fileSource(line.file, line.limit, pace)
                                     : commandSource(line.command, line.limit, pace);
  return line.checkPort.empty() ? std::move(source)
                                : whileServed(std::move(source), servedPort(line.checkPort), pace);
}

int run(const Line& line) {
  const RespondOptions options{parseAddress(line.listen, INADDR_LOOPBACK), line.drainFile, line.warmUp};
  const Descriptor stop = catchStopSignals();  // before the source's thread
  std::unique_ptr<LoadSource> source = sourceOf(line);
  raiseDescriptorLimit();
  try {
    Responder responder(options, std::move(source));
    print("at " + responder.address() + "\n");
    responder.run(stop.number());
  } catch (const OutputFailed&) {
    throw;
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return kPortNotBound;
  }
  return kDone;
}

}  // namespace

Runner declareRespond(Options& options) {
  const auto line = std::make_shared<Line>();
  options
      .text("--listen", line->listen, "ADDRESS:PORT",
            "Answer polls there; a port alone is on 127.0.0.1, 0 a free one")
      .required();
  options.text("--command", line->command, "COMMAND",
               "Run by the shell every so often, it prints the load (see below)");
  options.text("--file", line->file, "FILE", "Holds the load (see below)");
  options.text("--connections", line->connections, "[ADDRESS:]PORT",
               "The load is the established connections of a port here");
  options.number("--limit", line->limit, "N", "How much the server does well at once", 1, INT32_MAX);
  options.number("--every", line->every, "SECONDS", "Run the command or look at ports so often (default 1)",
                 0.1, 3600);
  options.number("--max-age", line->age, "SECONDS",
                 "A command may take, or a file be old, so long (default 30);\n0: a file of any age", 0, 1e9);
  options.text("--check-port", line->checkPort, "[ADDRESS:]PORT",
               "Refuse polls while nobody listens on this port here; goes\nwithout saying for --connections");
  options.text("--drain-file", line->drainFile, "FILE",
               "While this file exists, tell that the server is full, in the\nlast allocation list");
  options.number("--warm-up", line->warmUp, "SECONDS",
                 "After every begin of answering, and every drain, let the load\n"
                 "fall from full to its figure in so long",
                 0, 86'400);
  options.footer(kLoadReportHelp + std::string("\n") + kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
