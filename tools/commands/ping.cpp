// "ping": asks the daemon whether it is there, and touches no pool.
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/process.h"
#include "tools/service_process.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr double kLongestWait = 86'400;  // seconds
constexpr milliseconds kPause{100};      // between two attempts

const char* const kHelp =
    R"(One request with an empty pool name: the daemon answers it as any other, and nothing in its pools changes. The
time is that from the connect to the answer's last byte. It waits behind what other clients ask just then. With --pid
the answer must be that process's own: it fails at once when the process has ended or another one has the port.
Examples:
  nimbolspctl ping --profile /opt/nimbolsp/nimbolsp.ini
  nimbolspctl ping --port 5900 --wait 30 --pid 1234
Exit status: 0 the daemon answered, 3 it did not, 64 the command line is wrong or the profile has no port, 74 the
output could not be written, 130 interrupted.)";

struct Line {
  ServiceOptions service;
  std::int32_t process = 0;
  double waitSeconds = 0;
  bool json = false;
};

void tell(const ServiceAddress& service, const ServiceAnswer& answer, int attempts, bool asJson) {
  if (asJson) {
    nlohmann::ordered_json json{{"service", service.text()},
                                {"answered", answer.answered},
                                {"tookMilliseconds", inMilliseconds(answer.took)},
                                {"attempts", attempts}};
    if (!answer.answered) json["failure"] = answer.failure;
    print(json.dump() + "\n");
  } else if (answer.answered) {
    print(service.text() + " answered in " + decimal(inMilliseconds(answer.took), 2) + " ms\n");
  }
  if (!answer.answered) complain(answer.failure);
}

// Why the process of --pid cannot be the one that answers; empty when nothing speaks against it.
std::string objection(const ServiceAddress& service, pid_t process) {
  if (process <= 0) return {};
  if (!startTicksOf(process)) {
    const bool isTaken = isLocal(service) && listeningSocket(service);
    return noProcess(process) + (isTaken ? "; another one listens on " + service.text() : "");
  }
  return isListenedToByAnother(service, process) ? notTheListener(service, process) : std::string();
}

// An answer that another process may have given, before the wanted one listened or after it had ended, is
// none.
ServiceAnswer askOwn(const ServiceAddress& service, pid_t process, milliseconds limit, int stop) {
  ServiceAnswer answer = askService(service, "", limit, stop);
  if (answer.answered) answer.failure = objection(service, process);
  answer.answered = answer.answered && answer.failure.empty();
  return answer;
}

int run(const Line& line) {
  const ServiceAddress service = line.service.resolved();
  const Descriptor stop = catchStopSignals();
  const SlowWork slow("waiting for " + service.text());
  const Clock::time_point end =
      Clock::now() + milliseconds(static_cast<std::int64_t>(line.waitSeconds * 1000));
  pollfd watched{stop.number(), POLLIN, 0};
  for (int attempts = 1;; ++attempts) {
    auto limit = line.service.timeout();
    if (line.waitSeconds > 0) {
      const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
      limit = std::clamp(left, milliseconds(1), limit);
    }
    ServiceAnswer answer;
    answer.failure = objection(service, line.process);
    const bool isHopeless = !answer.failure.empty();
    if (!isHopeless) answer = askOwn(service, line.process, limit, stop.number());
    const bool isLast = answer.answered || isHopeless || Clock::now() + kPause >= end;
    if (!answer.answered && poll(&watched, 1, isLast ? 0 : static_cast<int>(kPause.count())) > 0) {
      return kStoppedBySignal;
    }
    if (!isLast) continue;
    tell(service, answer, attempts, line.json);
    if (answer.shortage) return kSystemFailed;
    return answer.answered ? kDone : kServiceFailed;
  }
}

}  // namespace

Runner declarePing(Options& options) {
  const auto line = std::make_shared<Line>();
  addServiceOptions(options, line->service);
  options.number("--pid", line->process, "PID", "The daemon's process: another's answer is none", 1,
                 INT32_MAX);
  options.number("--wait", line->waitSeconds, "SECONDS",
                 "Ask again until the daemon answers, for so long at most\n"
                 "(default 0: ask once)",
                 0, kLongestWait);
  options.flag("--json", line->json, "Print one JSON object");
  options.footer(kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
