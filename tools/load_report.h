// What a source says of a server's load, in words like "used=3 limit=50 average=120", and how the answer to a
// poll tells it. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace nimbolsp::tools {

struct LoadReport {
  std::int32_t used = 0;
  std::int32_t limit = 1;
  std::int32_t average = 0;
  bool drain = false;

  bool operator==(const LoadReport&) const = default;
};

// The report of numbers that are not negative, `limit` not 0. What the daemon could not reckon with is told
// in a larger unit, or as the highest that it can.
LoadReport reportOf(std::int64_t used, std::int64_t limit, std::int64_t average, bool drain);

// Reads words, with blanks or line ends between them.
//   limit  where the words tell none; 0: they must
// Throws std::invalid_argument with a sentence.
LoadReport parseLoadReport(std::string_view text, std::int32_t limit);

// The keys with which a simulated server answers so. Drained it is full and has the highest average, so that
// it is chosen neither while another server has room nor when all are full.
std::string serverKeys(const LoadReport& report);

// The part of a command's help that explains the words.
extern const char* const kLoadReportHelp;

}  // namespace nimbolsp::tools
