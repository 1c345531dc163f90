// "ask": acts as a front end, and shows who answered how often.
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "service/wire/request_protocol.h"
#include "tools/ask_report.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/front_end.h"
#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

constexpr int kNoServerAnswered = 1;
constexpr int kVisitFailed = 4;
constexpr std::int32_t kMaximumClients = 1000;
constexpr std::int64_t kMaximumCount = 1'000'000'000'000;

const char* const kHelp =
    R"(The table shows how often each server was chosen, most often first; the line below it, how fast the daemon
answers. The time of an answer runs from the connect to the last byte, and half (p50) or 99 in 100 (p99) took no
longer than is said. Bytes that are no printable ASCII characters are shown as \xHH, a backslash as \\. SIGINT and
SIGTERM end it; what was answered until then is shown.
Examples:
  nimbolspctl ask Web -n 1000 --clients 4
  nimbolspctl ask Web --host 10.0.0.5 --port 5900 -n 0 --interval 100 --visit
Exit status: 0 every request was answered with a server, 1 at least one was answered with no server, 3 the daemon
could not be reached or broke off (what was answered until then is shown), 4 a visit failed, 64 the command line is
wrong or the profile has no port, 74 the output could not be written, 130 stopped by a signal before an answer. The
first of 3, 130, 1, 4 that applies.)";

struct Line {
  AskOptions options;
  ServiceOptions service;
  std::int64_t interval = 0;
  bool plain = false;
  bool json = false;
};

int statusOf(const AskOutcome& outcome) {
  const AnswerCount& answers = outcome.answers;
  if (!outcome.failure.empty()) return outcome.shortage ? kSystemFailed : kServiceFailed;
  if (outcome.interrupted && answers.total() == 0) return kStoppedBySignal;
  if (answers.withoutServer() > 0) return kNoServerAnswered;
  return answers.failedVisits() > 0 ? kVisitFailed : kDone;
}

AskOutcome askAndTell(const AskOptions& options, int stopDescriptor) {
  const SlowWork slow("asking " + options.service.text() + "; Ctrl-C ends it and shows what was answered");
  return ask(options, stopDescriptor);
}

int run(Line& line) {
  AskOptions& options = line.options;
  if (options.pool.size() > kMaximumBodySize) {
    throw std::invalid_argument("a pool's name has at most " + std::to_string(kMaximumBodySize) + " bytes");
  }
  options.service = line.service.resolved();
  options.timeout = line.service.timeout();
  options.interval = std::chrono::milliseconds(line.interval);
  const Descriptor stop = catchStopSignals();
  const AskOutcome outcome = askAndTell(options, stop.number());
  const AnswerCount& answers = outcome.answers;
  if (line.json) {
    print(jsonOf(outcome, options.pool));
  } else {
    print(line.plain ? answers.plainLines() : textOf(outcome, options.visit));
  }
  if (line.plain && answers.failedVisits() > 0) {
    complain("failed visits: " + std::to_string(answers.failedVisits()));
  }
  if (!outcome.failure.empty()) complain(outcome.failure);
  return statusOf(outcome);
}

}  // namespace

Runner declareAsk(Options& options) {
  const auto line = std::make_shared<Line>();
  options.text("POOL", line->options.pool, "", "The pool's name, at most 255 bytes; its case does not matter")
      .required();
  options.number("-n,--count", line->options.count, "COUNT", "Ask so often (default 1); 0: until stopped", 0,
                 kMaximumCount);
  addServiceOptions(options, line->service);
  options.flag("--visit", line->options.visit,
               "After each answer connect to the server and close, as a request\n"
               "that is brought there; an answer without address means 127.0.0.1");
  options.number("--clients", line->options.clients, "N",
                 "Ask from so many threads, at most 1000, which share COUNT (default 1)", 1, kMaximumClients);
  options.number("--interval", line->interval, "MILLISECONDS",
                 "Pause of each client between two requests (default 0)", 0, 86'400'000);
  const Option plain =
      options.flag("--plain", line->plain, "Print lines \"COUNT ADDRESS\" instead of a table");
  options.flag("--json", line->json, "Print all of it as JSON").excludes(plain);
  options.footer(kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
