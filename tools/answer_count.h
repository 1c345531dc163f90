// Who answered how often, and how that is shown. Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace nimbolsp::tools {

class AnswerCount {
 public:
  // Servers that are counted each by itself; what is beyond counts together, as "(others)". So a daemon that
  // makes up servers does not fill the memory.
  static constexpr std::size_t kMostServers = 10'000;

  // Counts an answer: the text of the server that the daemon chose; empty for no server.
  void add(const std::string& server);

  // Counts a visit to that server that failed.
  void addFailedVisit(const std::string& server);

  // Answers in all, and those without a server.
  std::uint64_t total() const { return total_; }
  std::uint64_t withoutServer() const;
  std::uint64_t failedVisits() const { return failedVisits_; }

  struct Row {
    std::string server;  // as the daemon gave it; empty for no server
    std::uint64_t answers;
    double share;  // of all answers, 0 to 1
    std::uint64_t failedVisits;
  };

  // A row a server, most answers first; equal counts by the server's text.
  std::vector<Row> rows() const;

  // The rows as a table with shares in per cent and bars, of which the longest belongs to the first row.
  //   withVisits  adds the column of failed visits
  std::string table(bool withVisits) const;

  // The rows as lines "COUNT ADDRESS".
  std::string plainLines() const;

 private:
  struct Counts {
    std::uint64_t answers = 0;
    std::uint64_t failedVisits = 0;
  };

  Counts& countsOf(const std::string& server);

  std::map<std::string, Counts> servers_;
  Counts others_;
  std::uint64_t total_ = 0;
  std::uint64_t failedVisits_ = 0;
};

}  // namespace nimbolsp::tools
