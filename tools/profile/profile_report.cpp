#include "tools/profile/profile_report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "service/wire/numbers.h"
#include "tools/json_text.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using Json = nlohmann::ordered_json;

std::string oneDecimal(double number) {
  char text[400];  // the largest double has 309 digits
  std::snprintf(text, sizeof text, "%.1f", number);
  return text;
}

std::string percent(double share) {
  return oneDecimal(share * 100) + " %";
}

std::string counted(std::size_t count, const std::string& word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

const char* wordOf(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

std::int64_t settingOf(KeyId id, const EffectiveProfile& effective) {
  const Settings& all = effective.settings;
  switch (id) {
    case kPort:
      return effective.port;
    case kLogLineThreshold:
      return all.logLineThreshold;
    case kQuietMode:
      return all.quietMode ? 1 : 0;
    case kBucketSize:
      return all.bucketSize;
    case kDebugMode:
      return all.debugLevel;
    default:
      throw std::logic_error("a key that is no setting");
  }
}

// Keys of section "Setup" that are a number.
std::vector<KeyId> settingKeys() {
  std::vector<KeyId> keys;
  for (int id = 0; id < kKeyCount; ++id) {
    if (!kProfileKeys[id].ofPool && kProfileKeys[id].highest == 0) keys.push_back(static_cast<KeyId>(id));
  }
  return keys;
}

std::string configurationOf(const ProfileReport& report) {
  const EffectiveProfile& effective = report.effective;
  if (!report.isRead) return {};
  std::string text = printable(report.file) + ": the daemon would ";
  if (effective.error != 0) {
    text += "not start: \"" + effective.errorText() + "\"\n\n";
  } else {
    text += "listen on port " + std::to_string(effective.listeningPort()) +
            (effective.listeningPort() == 0 ? ", which is a free one each time\n\n" : "\n\n");
  }
  std::vector<std::vector<std::string>> settings{{"SETTING", "VALUE", "MEANING"}};
  for (const KeyId id : settingKeys()) {
    settings.push_back(
        {kProfileKeys[id].name, std::to_string(settingOf(id, effective)), kProfileKeys[id].meaning});
  }
  text += formatTable(settings, "lrl");
  if (effective.pools.empty()) return text + "\n";
  std::vector<std::vector<std::string>> rows{{"POOL", "SERVER", "POLLED AT", "EVERY"}};
  for (const PoolEntry& pool : effective.pools) {
    for (const ServerEntry& server : pool.servers) {
      rows.push_back({printable(pool.name), printable(server.text), polledAt(server.endpoint),
                      pauseText(pool.pollInterval)});
    }
  }
  return text + "\n" + formatTable(rows, "lllr") + "\n";
}

// When every server of a pool is full, and which PollTimer comes before that.
std::string roomText(const PoolForecast& told) {
  constexpr const char* kRemedy = "add servers or raise their limits";
  if (!told.room) return "never is every server full: one has no limit, or an odd one";
  if (*told.room == 0) {
    return std::string("every server is full or dead now: one gets all requests, with any PollTimer; ") +
           kRemedy;
  }
  std::string text = "every server is full after " +
                     counted(static_cast<std::size_t>(*told.room), "request") + ", " +
                     oneDecimal(*told.secondsToFull) + " s: ";
  if (told.interval <= *told.longestTimer) {
    return text + "the next poll comes before that, with a PollTimer up to " +
           std::to_string(*told.longestTimer);
  }
  text += "from then to the next poll one server gets all";
  if (told.requests < kMostForetold) text += " (" + counted(told.withoutRoom, "request") + ")";
  if (*told.longestTimer == 0) return text + "; no PollTimer is short enough: " + kRemedy;
  return text + "; with a PollTimer up to " + std::to_string(*told.longestTimer) +
         " the next poll comes before that";
}

std::string textOf(const PoolForecast& told, double rate) {
  const auto line = [](const std::string& words) { return "  " + words + "\n"; };
  const bool pauses = told.interval != 0;
  std::string text = "Pool " + printable(told.pool) + ", " + oneDecimal(rate) +
                     " requests a second, polled " +
                     (pauses ? "every " + secondsText(told.interval) : "without a pause") + "; " +
                     std::to_string(told.answered) + " of " + counted(told.servers, "server") + " answered\n";
  text += line("until the first poll each server takes " + percent(told.firstShare()) + ", dead or alive");
  if (pauses) {
    const bool isUneven = told.withoutRoom == 0 && told.answered > 1 &&
                          told.busiestShare > 1.2 / static_cast<double>(told.answered);
    text += line((told.requests < kMostForetold ? "of " : "of the first ") +
                 counted(told.requests, "request") + " from one poll to the next " + printable(told.busiest) +
                 " takes the most, " + percent(told.busiestShare) +
                 (isUneven ? ": the lowest allocation list comes first, and in it the least load" : ""));
  }
  return text + line(roomText(told));
}

Json poolJson(const PoolEntry& pool) {
  Json servers = Json::array();
  for (const ServerEntry& server : pool.servers) {
    servers.push_back({{"text", jsonText(server.text)},
                       {"address", dotted(server.endpoint.ipAddress)},
                       {"port", server.endpoint.port},
                       {"polledAt", polledAt(server.endpoint)}});
  }
  return {{"name", jsonText(pool.name)},
          {"answersTo", jsonText(foldedName(pool.name))},
          {"pollIntervalMilliseconds", static_cast<std::uint32_t>(pool.pollInterval)},
          {"pauseSeconds", roundedSeconds(static_cast<std::uint32_t>(pool.pollInterval))},
          {"servers", servers}};
}

Json findingJson(const Finding& finding) {
  const FindingRow& row = rowOf(finding.kind);
  Json json{{"line", finding.line},           {"severity", wordOf(row.severity)}, {"slug", row.slug},
            {"what", jsonText(finding.what)}, {"consequence", row.consequence},   {"remedy", row.remedy}};
  if (!finding.suggestion.empty()) json["didYouMean"] = jsonText(finding.suggestion);
  return json;
}

std::string textOf(const FixOutcome& fix, const std::string& file) {
  if (fix.changed)
    return printable(file) + ": rewritten; the former text is in " + printable(fix.backup) + "\n";
  return printable(file) + ": not changed: " + printable(fix.why) + "\n";
}

Json fixJson(const FixOutcome& fix) {
  if (fix.changed) return {{"changed", true}, {"backup", jsonText(fix.backup)}};
  return {{"changed", false}, {"why", jsonText(fix.why)}};
}

template <typename Number>
Json orNull(const std::optional<Number>& number) {
  return number ? Json(*number) : Json();
}

Json forecastJson(const PoolForecast& told) {
  return {{"pool", jsonText(told.pool)},
          {"intervalSeconds", told.interval},
          {"servers", told.servers},
          {"answered", told.answered},
          {"shareBeforeFirstPoll", told.firstShare()},
          {"requests", told.requests},
          {"busiestServer", jsonText(told.busiest)},
          {"busiestShare", told.busiestShare},
          {"requestsToFull", orNull(told.room)},
          {"secondsToFull", orNull(told.secondsToFull)},
          {"requestsWithoutRoom", told.withoutRoom},
          {"longestPollTimerSeconds", orNull(told.longestTimer)}};
}

}  // namespace

std::size_t ProfileReport::count(Severity severity) const {
  return static_cast<std::size_t>(
      std::ranges::count_if(findings, [severity](const Finding& one) { return one.severity() == severity; }));
}

std::string findingText(const std::string& file, const Finding& finding) {
  const FindingRow& row = rowOf(finding.kind);
  std::string text = printable(file) + ":" + std::to_string(finding.line) + ": " + wordOf(row.severity) +
                     ": " + finding.what + ". " + row.consequence + ". " + row.remedy;
  text += finding.suggestion.empty() ? "." : " (did you mean `" + printable(finding.suggestion) + "`?).";
  return text + " [" + row.slug + "]\n";
}

std::string textOf(const ProfileReport& report) {
  std::string text = configurationOf(report);
  if (report.fix) text += textOf(*report.fix, report.file);
  for (const Finding& finding : report.findings) text += findingText(report.file, finding);
  for (const PoolForecast& told : report.forecasts) text += textOf(told, report.rate);
  return text + counted(report.count(Severity::kError), "error") + ", " +
         counted(report.count(Severity::kWarning), "warning") + "\n";
}

std::string jsonOf(const ProfileReport& report) {
  const EffectiveProfile& effective = report.effective;
  Json json{{"file", jsonText(report.file)}};
  if (report.isRead) {
    json["starts"] = effective.error == 0;
    if (effective.error != 0) json["startError"] = {{"id", effective.error}, {"text", effective.errorText()}};
    json["listeningPort"] = effective.listeningPort();
    for (const KeyId id : settingKeys()) json["settings"][kProfileKeys[id].name] = settingOf(id, effective);
    json["pools"] = Json::array();
    for (const PoolEntry& pool : effective.pools) json["pools"].push_back(poolJson(pool));
  }
  if (report.fix) json["fix"] = fixJson(*report.fix);
  json["findings"] = Json::array();
  for (const Finding& finding : report.findings) json["findings"].push_back(findingJson(finding));
  for (const PoolForecast& told : report.forecasts) json["forecasts"].push_back(forecastJson(told));
  json["errors"] = report.count(Severity::kError);
  json["warnings"] = report.count(Severity::kWarning);
  return json.dump(2) + "\n";
}

}  // namespace nimbolsp::tools
