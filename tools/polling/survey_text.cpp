// A survey as text: for people and for programs.
#include <nlohmann/json.hpp>

#include "tools/json_text.h"
#include "tools/polling/survey.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using Json = nlohmann::ordered_json;

std::string joined(const std::vector<std::string>& remarks) {
  std::string text;
  for (const std::string& remark : remarks) text += (text.empty() ? "" : "; ") + remark;
  return text;
}

std::vector<std::string> rowOf(const SurveyedServer& server) {
  std::vector<std::string> row{printable(server.pool), printable(server.entry.text)};
  if (server.answered()) {
    const auto& [divisor, dividend, used, limit] = server.result.statistics;
    const Standing& standing = server.standing;
    for (const std::string& cell :
         {decimal(inMilliseconds(server.result.took), 1) + " ms", std::to_string(divisor),
          std::to_string(dividend), std::to_string(used), std::to_string(limit),
          std::to_string(standing.load) + "%", std::to_string(standing.average),
          std::to_string(standing.list), std::string(standing.hasRoom ? "yes" : "no")}) {
      row.push_back(cell);
    }
  } else {
    row.insert(row.end(), 8, "-");
    row.emplace_back(server.result.end == PollEnd::kShortage ? "-" : "no");
  }
  row.push_back(printable(joined(server.remarks)));
  return row;
}

std::string sumOf(const Survey& survey) {
  const std::size_t all = survey.servers.size(), answered = survey.answered(), well = survey.well(),
                    unpolled = survey.unpolled();
  std::string sum = std::to_string(all) + (all == 1 ? " server: " : " servers: ") + std::to_string(answered) +
                    " answered, " + std::to_string(all - answered - unpolled) + " did not";
  if (unpolled > 0) sum += ", " + std::to_string(unpolled) + " not polled";
  if (well < answered) sum += "; " + std::to_string(answered - well) + " with a negative statistic";
  return sum + "\n";
}

Json jsonOf(const SurveyedServer& server) {
  Json json{{"pool", jsonText(server.pool)},
            {"server", jsonText(server.entry.text)},
            {"answered", server.answered()},
            {"well", server.isWell()},
            {"tookMilliseconds", inMilliseconds(server.result.took)}};
  if (server.answered()) {
    const auto& [divisor, dividend, used, limit] = server.result.statistics;
    json["statistics"] = {{"divisor", divisor}, {"dividend", dividend}, {"used", used}, {"limit", limit}};
    json["loadPercent"] = server.standing.load;
    json["average"] = server.standing.average;
    json["list"] = server.standing.list;
  }
  json["hasRoom"] = server.answered() && server.standing.hasRoom;
  json["remarks"] = server.remarks;
  return json;
}

}  // namespace

std::string surveyTable(const Survey& survey) {
  std::vector<std::vector<std::string>> rows{{"POOL", "SERVER", "TIME", "DIVISOR", "DIVIDEND", "USED",
                                              "LIMIT", "LOAD", "AVERAGE", "LIST", "ROOM", "REMARKS"}};
  for (const SurveyedServer& server : survey.servers) {
    rows.push_back(rowOf(server));
    if (rows.back()[0].empty()) rows.back()[0] = "-";
  }
  return formatTable(rows, "llrrrrrrrrll") + sumOf(survey);
}

std::string surveyJson(const Survey& survey) {
  Json servers = Json::array();
  for (const SurveyedServer& server : survey.servers) servers.push_back(jsonOf(server));
  const Json json{{"servers", std::move(servers)}, {"total", survey.servers.size()},
                  {"answered", survey.answered()}, {"well", survey.well()},
                  {"unpolled", survey.unpolled()}, {"timeoutMilliseconds", survey.timeout.count()}};
  return json.dump() + "\n";
}

}  // namespace nimbolsp::tools
