// "check": what the daemon makes of a profile, and everything in it that is wrong.
#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/process.h"
#include "tools/profile/profile_contents.h"
#include "tools/profile/profile_report.h"

namespace nimbolsp::tools {

namespace {

constexpr int kWarnings = 1;
constexpr int kErrors = 2;
constexpr double kHighestRate = 1e9;

const char* const kFooter =
    R"(Every finding is a line "FILE:LINE: error|warning: what. consequence. remedy. [kind]", at most 1,000
of a kind; an error is where the daemon would not start or loads something else than the file visibly says.
In JSON a byte of 0x80 and above in a name or text is the character of that number.

Examples:
  nimbolspctl check /opt/nimbolsp/nimbolsp.ini
  nimbolspctl check nimbolsp.ini --rate 200

Exit status: 0 clean, 1 warnings, 2 errors, 64 the command line is wrong or the file cannot be read, 74
standard output or, with --fix, the file could not be written, 130 interrupted: with --rate nothing is foretold.)";

struct Line {
  std::string profile = kDefaultProfile;
  bool json = false;
  bool fix = false;
  double rate = 0;
  std::int64_t timeout = 2000;
};

// Nothing when the stop came.
std::optional<std::vector<PoolForecast>> forecastsOf(const EffectiveProfile& effective, const Line& line,
                                                     int stop) {
  std::vector<ServerEndpoint> endpoints;
  for (const PoolEntry& pool : effective.pools) {
    for (const ServerEntry& server : pool.servers) endpoints.push_back(server.endpoint);
  }
  const SlowWork work("polling " + std::to_string(endpoints.size()) + " servers once");
  const std::vector<PollResult> results =
      pollServers(endpoints, std::chrono::milliseconds(line.timeout), stop);
  if (std::ranges::find(results, PollEnd::kInterrupted, &PollResult::end) != results.end()) return {};
  std::vector<PoolForecast> forecasts;
  std::span<const PollResult> left = results;
  for (const PoolEntry& pool : effective.pools) {
    forecasts.push_back(
        forecast(pool, left.first(pool.servers.size()), effective.settings.bucketSize, line.rate));
    left = left.subspan(pool.servers.size());
  }
  return forecasts;
}

// Looks into the file as it is now.
void look(ProfileReport& report) {
  const std::string contents = readProfileText(report.file);
  const auto visible = readVisibleProfile(contents);
  report.isRead = visible.has_value();
  if (report.isRead) report.effective = readEffectiveProfile(report.file);
  report.findings = findAll(visible, report.effective);
}

int statusOf(const ProfileReport& report) {
  if (report.fix && report.fix->hasFailed) return kOutputFailed;
  if (report.count(Severity::kError) > 0) return kErrors;
  return report.findings.empty() ? kDone : kWarnings;
}

int run(const Line& line) {
  ProfileReport report;
  report.file = line.profile;
  look(report);
  if (line.fix) {
    const StopSignalsHeld held;  // a stop waits for the moment that it takes, and leaves no file half made
    report.fix = fixProfile(line.profile);
    if (report.fix->changed) look(report);
  }
  bool isStopped = false;
  if (line.rate > 0) {
    const Descriptor stop = catchStopSignals();
    const auto forecasts = forecastsOf(report.effective, line, stop.number());
    isStopped = !forecasts;
    report.rate = line.rate;
    report.forecasts = forecasts.value_or(std::vector<PoolForecast>{});
  }
  print(line.json ? jsonOf(report) : textOf(report));
  return isStopped ? kStoppedBySignal : statusOf(report);
}

}  // namespace

Runner declareCheck(Options& options) {
  const auto line = std::make_shared<Line>();
  const Option profile = addProfileOption(options, line->profile);
  options.text("PROFILE", line->profile, "", "The same, without the option's name").excludes(profile);
  options.flag("--json", line->json, "Print one JSON object instead of text");
  options.flag("--fix", line->fix,
               "Rewrite the file with CR LF and an empty line between sections, if the\n"
               "daemon then loads what the file visibly says; the former text stays\n"
               "in FILE.bak, or FILE.bak.1 and so on");
  options.number("--rate", line->rate, "REQUESTS",
                 "Poll every server once and tell how so many requests a second to each\n"
                 "pool would be shared until the next poll",
                 0.001, kHighestRate);
  addTimeoutOption(options, line->timeout, "Wait so long at most for a server's figures, with --rate");
  options.footer(kFooter);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
