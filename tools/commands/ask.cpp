// "ask": acts as a front end, and shows who answered how often.
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "service/wire/request_protocol.h"
#include "tools/commands/checks.h"
#include "tools/commands/command.h"
#include "tools/commands/service_options.h"
#include "tools/front_end.h"
#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

constexpr int kNoServerAnswered = 1;
constexpr std::int32_t kMaximumClients = 1000;

const char* const kStatuses =
    R"(Bytes that are no printable ASCII characters are shown as \xHH, a backslash as \\. SIGINT and SIGTERM end it;
what was answered until then is shown.
Exit status: 0 every request was answered with a server, 1 at least one was answered with no server, 64 the
command line is wrong or the profile has no port, 3 the service could not be reached or broke off (what was
answered until then is shown).)";

struct Line {
  AskOptions options;
  ServiceOptions service;
  std::int64_t interval = 0;
  bool plain = false;
};

int run(Line& line) {
  AskOptions& options = line.options;
  if (options.pool.size() > kMaximumBodySize) {
    throw std::invalid_argument("a pool's name has at most " + std::to_string(kMaximumBodySize) + " bytes");
  }
  options.service = line.service.resolved();
  options.timeout = line.service.timeout();
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

}  // namespace

Runner declareAsk(CLI::App& command) {
  const auto line = std::make_shared<Line>();
  command
      .add_option("POOL", line->options.pool, "The pool's name, at most 255 bytes; its case does not matter")
      ->required();
  command.add_option("-n,--count", line->options.count, "Ask so often (default 1); 0: until stopped")
      ->type_name("COUNT")
      ->check(between(std::int64_t{0}, INT64_MAX));
  addServiceOptions(command, line->service);
  command.add_flag("--visit", line->options.visit,
                   "After each answer connect to the server and close, as a request\n"
                   "that is brought there; an answer without address means 127.0.0.1");
  command
      .add_option("--clients", line->options.clients,
                  "Ask from so many threads, at most 1000, which share COUNT (default 1)")
      ->type_name("N")
      ->check(between(1, kMaximumClients));
  command.add_option("--interval", line->interval, "Pause of each client between two requests (default 0)")
      ->type_name("MILLISECONDS")
      ->check(between(std::int64_t{0}, std::int64_t{86'400'000}));
  command.add_flag("--plain", line->plain, "Print lines \"COUNT ADDRESS\" instead of a table");
  command.footer(kStatuses);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
