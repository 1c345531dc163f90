#include "tools/ask_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/json_text.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

double seconds(const AskOutcome& outcome) {
  return inMilliseconds(std::max(outcome.elapsed, std::chrono::microseconds(1))) / 1000;
}

double rateOf(const AskOutcome& outcome) {
  return static_cast<double>(outcome.answers.total()) / seconds(outcome);
}

}  // namespace

std::string textOf(const AskOutcome& outcome, bool withVisits) {
  if (outcome.answers.total() == 0) return {};
  const DurationCount& times = outcome.times;
  const auto time = [](std::chrono::microseconds took) { return decimal(inMilliseconds(took), 2) + " ms"; };
  const std::string line = std::to_string(outcome.answers.total()) + " answered in " +
                           decimal(seconds(outcome), 2) + " s, " + decimal(rateOf(outcome), 1) +
                           " a second; time of an answer: p50 " + time(times.percentile(50)) + ", p99 " +
                           time(times.percentile(99)) + ", largest " + time(times.largest()) + "\n";
  return outcome.answers.table(withVisits) + line;
}

std::string jsonOf(const AskOutcome& outcome, const std::string& pool) {
  const AnswerCount& answers = outcome.answers;
  nlohmann::ordered_json servers = nlohmann::ordered_json::array();
  for (const AnswerCount::Row& row : answers.rows()) {
    nlohmann::ordered_json server;
    server["server"] = jsonText(row.server);
    server["answers"] = row.answers;
    server["share"] = row.share;
    server["failedVisits"] = row.failedVisits;
    servers.push_back(std::move(server));
  }
  nlohmann::ordered_json all;
  all["pool"] = jsonText(pool);
  all["answers"] = answers.total();
  all["withoutServer"] = answers.withoutServer();
  all["failedVisits"] = answers.failedVisits();
  all["seconds"] = seconds(outcome);
  all["answersPerSecond"] = rateOf(outcome);
  all["p50Milliseconds"] = inMilliseconds(outcome.times.percentile(50));
  all["p99Milliseconds"] = inMilliseconds(outcome.times.percentile(99));
  all["largestMilliseconds"] = inMilliseconds(outcome.times.largest());
  all["interrupted"] = outcome.interrupted;
  all["failure"] = jsonText(outcome.failure);
  all["servers"] = std::move(servers);
  return all.dump(2) + "\n";
}

}  // namespace nimbolsp::tools
