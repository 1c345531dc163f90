#include "tools/answer_count.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

std::string shown(const std::string& server) {
  return server.empty() ? "(no server)" : printable(server);
}

// The entries of a map by falling number of answers; entries of equal number stay in the map's order.
template <typename Map>
std::vector<typename Map::const_pointer> byAnswers(const Map& servers) {
  std::vector<typename Map::const_pointer> entries;
  entries.reserve(servers.size());
  for (const auto& entry : servers) entries.push_back(&entry);
  std::stable_sort(entries.begin(), entries.end(),
                   [](auto a, auto b) { return a->second.answers > b->second.answers; });
  return entries;
}

std::string percent(std::uint64_t part, std::uint64_t whole) {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f%%", 100.0 * static_cast<double>(part) / static_cast<double>(whole));
  return text;
}

}  // namespace

void AnswerCount::add(const std::string& server) {
  ++servers_[server].answers;
  ++total_;
}

void AnswerCount::addFailedVisit(const std::string& server) {
  ++servers_[server].failedVisits;
  ++failedVisits_;
}

std::uint64_t AnswerCount::withoutServer() const {
  const auto found = servers_.find("");
  return found == servers_.end() ? 0 : found->second.answers;
}

std::string AnswerCount::table(bool withVisits) const {
  std::vector<std::vector<std::string>> rows{{"ANSWERS", "SHARE"}};
  if (withVisits) rows[0].push_back("FAILED VISITS");
  rows[0].push_back("SERVER");
  for (const auto* entry : byAnswers(servers_)) {
    const Counts& counts = entry->second;
    auto& row = rows.emplace_back();
    row = {std::to_string(counts.answers), percent(counts.answers, total_)};
    if (withVisits) row.push_back(std::to_string(counts.failedVisits));
    row.push_back(shown(entry->first));
  }
  return formatTable(rows, withVisits ? "rrrl" : "rrl");
}

std::string AnswerCount::plainLines() const {
  std::string lines;
  for (const auto* entry : byAnswers(servers_)) {
    lines += std::to_string(entry->second.answers) + " " + shown(entry->first) + "\n";
  }
  return lines;
}

std::int64_t shareOf(std::int64_t count, std::int32_t clients, std::int32_t index) {
  return count / clients + (index < count % clients ? 1 : 0);
}

}  // namespace nimbolsp::tools
