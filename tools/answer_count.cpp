#include "tools/answer_count.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

constexpr double kLongestBar = 24;

std::string shown(const std::string& server) {
  return server.empty() ? "(no server)" : printable(server);
}

// Something is to be seen of every server that was chosen.
std::string bar(double share, double longestShare) {
  std::string text;
  return text.append(static_cast<std::size_t>(std::ceil(share / longestShare * kLongestBar)), '#');
}

}  // namespace

AnswerCount::Counts& AnswerCount::countsOf(const std::string& server) {
  const bool hasRow = servers_.size() < kMostServers || server.empty() || servers_.contains(server);
  return hasRow ? servers_[server] : others_;
}

void AnswerCount::add(const std::string& server) {
  ++countsOf(server).answers;
  ++total_;
}

void AnswerCount::addFailedVisit(const std::string& server) {
  ++countsOf(server).failedVisits;
  ++failedVisits_;
}

std::uint64_t AnswerCount::withoutServer() const {
  const auto found = servers_.find("");
  return found == servers_.end() ? 0 : found->second.answers;
}

std::vector<AnswerCount::Row> AnswerCount::rows() const {
  std::vector<Row> rows;
  rows.reserve(servers_.size() + 1);
  const auto addRow = [&](const std::string& server, const Counts& counts) {
    const double share = static_cast<double>(counts.answers) / static_cast<double>(total_);
    rows.push_back({server, counts.answers, share, counts.failedVisits});
  };
  for (const auto& [server, counts] : servers_) addRow(server, counts);
  if (others_.answers > 0) addRow("(others)", others_);
  std::ranges::stable_sort(rows, std::greater<>(), &Row::answers);
  return rows;
}

std::string AnswerCount::table(bool withVisits) const {
  std::vector<std::vector<std::string>> cells{{"ANSWERS", "SHARE"}};
  if (withVisits) cells[0].push_back("FAILED VISITS");
  cells[0].insert(cells[0].end(), {"", "SERVER"});
  const std::vector<Row> all = rows();
  for (const Row& row : all) {
    auto& line = cells.emplace_back();
    line = {std::to_string(row.answers), decimal(100 * row.share, 1) + "%"};
    if (withVisits) line.push_back(std::to_string(row.failedVisits));
    line.insert(line.end(), {bar(row.share, all.front().share), shown(row.server)});
  }
  return formatTable(cells, withVisits ? "rrrll" : "rrll");
}

std::string AnswerCount::plainLines() const {
  std::string lines;
  for (const Row& row : rows()) lines += std::to_string(row.answers) + " " + shown(row.server) + "\n";
  return lines;
}

}  // namespace nimbolsp::tools
