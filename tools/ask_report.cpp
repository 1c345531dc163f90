#include "tools/ask_report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

double milliseconds(std::chrono::microseconds time) {
  return static_cast<double>(time.count()) / 1000;
}

double seconds(const AskOutcome& outcome) {
  return milliseconds(std::max(outcome.elapsed, std::chrono::microseconds(1))) / 1000;
}

double rateOf(const AskOutcome& outcome) {
  return static_cast<double>(outcome.answers.total()) / seconds(outcome);
}

}  // namespace

std::string textOf(const AskOutcome& outcome, bool withVisits) {
  if (outcome.answers.total() == 0) return {};
  const DurationCount& times = outcome.times;
  char line[200];
  std::snprintf(line, sizeof line,
                "%llu answered in %.2f s, %.1f a second; time of an answer: p50 %.2f ms, p99 %.2f ms, "
                "largest %.2f ms\n",
                static_cast<unsigned long long>(outcome.answers.total()), seconds(outcome), rateOf(outcome),
                milliseconds(times.percentile(50)), milliseconds(times.percentile(99)),
                milliseconds(times.largest()));
  return outcome.answers.table(withVisits) + line;
}

std::string jsonOf(const AskOutcome& outcome, const std::string& pool) {
  const AnswerCount& answers = outcome.answers;
  nlohmann::ordered_json servers = nlohmann::ordered_json::array();
  for (const AnswerCount::Row& row : answers.rows()) {
    nlohmann::ordered_json server;
    server["server"] = printable(row.server);
    server["answers"] = row.answers;
    server["share"] = row.share;
    server["failedVisits"] = row.failedVisits;
    servers.push_back(std::move(server));
  }
  nlohmann::ordered_json all;
  all["pool"] = printable(pool);
  all["answers"] = answers.total();
  all["withoutServer"] = answers.withoutServer();
  all["failedVisits"] = answers.failedVisits();
  all["seconds"] = seconds(outcome);
  all["answersPerSecond"] = rateOf(outcome);
  all["p50Milliseconds"] = milliseconds(outcome.times.percentile(50));
  all["p99Milliseconds"] = milliseconds(outcome.times.percentile(99));
  all["largestMilliseconds"] = milliseconds(outcome.times.largest());
  all["interrupted"] = outcome.interrupted;
  all["failure"] = printable(outcome.failure);
  all["servers"] = std::move(servers);
  return all.dump(2) + "\n";
}

}  // namespace nimbolsp::tools
