// "check": what the service makes of a profile, and everything in it that is wrong.
#include <sys/stat.h>
#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "tools/commands/checks.h"
#include "tools/commands/command.h"
#include "tools/commands/service_options.h"
#include "tools/process.h"
#include "tools/profile/profile_report.h"

namespace nimbolsp::tools {

namespace {

constexpr int kWarnings = 1;
constexpr int kErrors = 2;
constexpr double kHighestRate = 1e9;

const char* const kFooter =
    R"(Every finding is a line "FILE:LINE: error|warning: what. consequence. remedy. [kind]"; an error is where the
service would not start or loads something else than the file visibly says.
In JSON a byte of 0x80 and above in a name or text is the character of that number.

Examples:
  nimbolspctl check /opt/nimbolsp/nimbolsp.ini
  nimbolspctl check nimbolsp.ini --rate 200

Exit status: 0 clean, 1 warnings, 2 errors, 64 the command line is wrong or the file cannot be read, 74 standard
output could not be written.)";

struct Line {
  std::string profile = kDefaultProfile;
  bool json = false;
  double rate = 0;
  std::int64_t timeout = 2000;
};

// At most a byte more than what is looked into; nothing of what cannot be read or is no ordinary file.
std::string readContents(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  std::string contents(kMostVisibleBytes + 1, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(contents.data(), static_cast<std::streamsize>(contents.size()));
  contents.resize(static_cast<std::size_t>(file.gcount()));
  return contents;
}

std::vector<PoolForecast> forecastsOf(const EffectiveProfile& effective, const Line& line, int stop) {
  std::vector<ServerEndpoint> endpoints;
  for (const PoolEntry& pool : effective.pools) {
    for (const ServerEntry& server : pool.servers) endpoints.push_back(server.endpoint);
  }
  const SlowWork work("polling " + std::to_string(endpoints.size()) + " servers once");
  const std::vector<PollResult> results =
      pollServers(endpoints, std::chrono::milliseconds(line.timeout), stop);
  std::vector<PoolForecast> forecasts;
  std::span<const PollResult> left = results;
  for (const PoolEntry& pool : effective.pools) {
    forecasts.push_back(
        forecast(pool, left.first(pool.servers.size()), effective.settings.bucketSize, line.rate));
    left = left.subspan(pool.servers.size());
  }
  return forecasts;
}

int run(const Line& line) {
  ProfileReport report;
  report.file = line.profile;
  const std::string contents = readContents(line.profile);
  const auto visible = readVisibleProfile(contents);
  report.isRead = visible.has_value();
  if (report.isRead) report.effective = readEffectiveProfile(line.profile);
  report.findings = findAll(visible, report.effective);
  if (line.rate > 0) {
    const Descriptor stop = catchStopSignals();
    report.rate = line.rate;
    report.forecasts = forecastsOf(report.effective, line, stop.number());
  }
  print(line.json ? jsonOf(report) : textOf(report));
  if (report.count(Severity::kError) > 0) return kErrors;
  return report.findings.empty() ? kDone : kWarnings;
}

}  // namespace

Runner declareCheck(CLI::App& command) {
  const auto line = std::make_shared<Line>();
  CLI::Option* profile = addProfileOption(command, line->profile);
  command.add_option("PROFILE", line->profile, "The same, without the option's name")->excludes(profile);
  command.add_flag("--json", line->json, "Print one JSON object instead of text");
  command
      .add_option("--rate", line->rate,
                  "Poll every server once and tell how so many requests a second to each\n"
                  "pool would be shared until the next poll")
      ->type_name("REQUESTS")
      ->check(between(0.001, kHighestRate));
  addTimeoutOption(command, line->timeout, "Wait so long at most for a server's figures, with --rate");
  command.footer(kFooter);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
