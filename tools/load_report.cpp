#include "tools/load_report.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "tools/nearest.h"

namespace nimbolsp::tools {

namespace {

constexpr std::int64_t kHighest =
    std::numeric_limits<std::int32_t>::max() / 100;  // a hundredfold is reckoned
constexpr std::int64_t kHighestAverage = 32767;
constexpr std::int64_t kHighestLoad = 300;  // times the limit; the daemon's per cents end at 32767

struct Words {
  std::int64_t used = -1;
  std::int64_t limit = -1;
  std::int64_t average = -1;
  bool drain = false;
};

std::int64_t parseNumber(const std::string& name, std::string_view text, std::int64_t lowest) {
  std::int64_t number = -1;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || number < lowest) {
    throw std::invalid_argument(name + " is a whole number from " + std::to_string(lowest) + " on, not \"" +
                                std::string(text) + "\"");
  }
  return number;
}

std::int64_t parseRatio(std::string_view value) {
  const std::size_t slash = value.find('/');
  if (slash == std::string_view::npos) throw std::invalid_argument("ratio is written N/M");
  const std::int64_t dividend = parseNumber("the dividend of ratio", value.substr(0, slash), 0);
  const std::int64_t divisor = parseNumber("the divisor of ratio", value.substr(slash + 1), 0);
  return divisor == 0 ? 0 : dividend / divisor;
}

void readWord(Words& words, const std::string& word) {
  const std::size_t sign = std::min(word.find('='), word.size() - 1);
  const std::string key = word.substr(0, sign);
  const std::string_view value = std::string_view(word).substr(sign + 1);
  std::int64_t* const number = key == "used"                        ? &words.used
                               : key == "limit"                     ? &words.limit
                               : key == "average" || key == "ratio" ? &words.average
                                                                    : nullptr;
  if (word == "drain") {
    words.drain = true;
  } else if (number == nullptr) {
    throw std::invalid_argument("unknown word \"" + word + "\"" +
                                suggestion(key, {"used", "limit", "average", "ratio", "drain"}));
  } else if (*number >= 0) {
    throw std::invalid_argument(key + "= is told twice");
  } else {
    *number = key == "ratio" ? parseRatio(value) : parseNumber(key, value, key == "limit" ? 1 : 0);
  }
}

}  // namespace

LoadReport reportOf(std::int64_t used, std::int64_t limit, std::int64_t average, bool drain) {
  const std::int64_t unit = std::max(used, limit) / kHighest + 1;  // bytes become megabytes, say
  LoadReport report;
  report.limit = static_cast<std::int32_t>(std::max<std::int64_t>(limit / unit, 1));
  report.used = static_cast<std::int32_t>(std::min(used / unit, report.limit * kHighestLoad));
  report.average = static_cast<std::int32_t>(std::min(average, kHighestAverage));
  report.drain = drain;
  return report;
}

const char* const kLoadReportHelp =
    R"(What a command prints and a file holds are words with blanks or line ends between them:
  used=N           what the server has to do at this moment: connections, sessions, requests
  limit=N          how much of it the server does well at once (default: that of --limit)
  average=N        how well it has been doing of late, lower is better; it picks the allocation list (default: none)
  ratio=N/M        the same as a quotient
  drain            no more requests, please; then the others may be missing)";

LoadReport parseLoadReport(std::string_view text, std::int32_t limit) {
  Words words;
  std::istringstream stream{std::string(text)};
  for (std::string word; stream >> word;) readWord(words, word);
  if (words.limit < 0 && limit > 0) words.limit = limit;
  if (!words.drain && words.used < 0) throw std::invalid_argument("there is no used=");
  if (!words.drain && words.limit < 0)
    throw std::invalid_argument("there is no limit=, and no --limit either");
  return reportOf(std::max<std::int64_t>(words.used, 0), std::max<std::int64_t>(words.limit, 1),
                  std::max<std::int64_t>(words.average, 0), words.drain);
}

std::string serverKeys(const LoadReport& report) {
  return "used=" + std::to_string(report.used) + ",limit=" + std::to_string(report.limit) +
         ",average=" + std::to_string(report.drain ? kHighestAverage : report.average) +
         (report.drain ? ",drain=0" : ",drain=off") + ",behave=answer";
}

}  // namespace nimbolsp::tools
