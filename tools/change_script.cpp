#include "tools/change_script.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <stdexcept>

#include "tools/nearest.h"

namespace nimbolsp::tools {

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr double kLongestTime = 365.0 * 24 * 3600 * 1000;  // milliseconds
constexpr std::size_t kMostFaults = 1000;
constexpr std::size_t kSuggestions = 20;  // to so many faults, for each looks at the names of all servers

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  while (true) {
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    if (line.empty()) return words;
    words.push_back(line.substr(0, line.find_first_of(kBlanks)));
    line.remove_prefix(words.back().size());
  }
}

std::string joined(const std::vector<std::string_view>& words, char separator) {
  std::string text;
  for (const std::string_view word : words) {
    if (!text.empty()) text += separator;
    text += word;
  }
  return text;
}

// Milliseconds; none for a text that is no time.
std::optional<std::int64_t> parseTime(std::string_view text) {
  static constexpr std::pair<std::string_view, double> kUnits[] = {
      {"ms", 1}, {"s", 1000}, {"m", 60'000}, {"h", 3'600'000}};
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
  for (const auto& [word, factor] : kUnits) {
    if (error != std::errc{} || word != unit) continue;
    const double time = number * factor;
    if (time >= 0 && time <= kLongestTime) return static_cast<std::int64_t>(time);
  }
  return {};
}

class Reader {
 public:
  Reader(const std::string& fileName, const std::vector<ServerOptions>& servers) : fileName_(fileName) {
    for (std::size_t i = 0; i < servers.size(); ++i) {
      if (servers[i].address.port == 0) continue;
      servers_.emplace(servers[i].address, i);
      names_.push_back(servers[i].address.text());
    }
  }

  void readLine(std::string_view line) {
    ++lineNumber_;
    const std::vector<std::string_view> words = wordsOf(line.substr(0, line.find('#')));
    if (words.empty()) return;
    if (words.size() < 3) return add("a change is TIME SERVER key=value..., as in: 10s 5912 behave=silent");
    const std::optional<std::int64_t> time = parseTime(words[0]);
    if (!time) {
      add("a time is a number and ms, s, m or h, as in 10s, at most a year, not \"" + std::string(words[0]) +
          "\"");
    }
    const std::optional<std::size_t> server = words[1] == "*" ? std::nullopt : findServer(words[1]);
    const std::vector<std::string_view> keys(words.begin() + 2, words.end());
    checkKeys(keys);
    script_.changes.push_back({time.value_or(0), server, joined(keys, ','), joined(words, ' ')});
  }

  ChangeScript finish() {
    std::ranges::stable_sort(script_.changes, {}, &Change::time);
    return std::move(script_);
  }

 private:
  void add(const std::string& sentence) {
    if (script_.faults.size() == kMostFaults) script_.faults.push_back(fileName_ + ": and more");
    if (script_.faults.size() > kMostFaults) return;
    script_.faults.push_back(fileName_ + ":" + std::to_string(lineNumber_) + ": " + sentence);
  }

  std::optional<std::size_t> findServer(std::string_view word) {
    try {
      const SimulatedAddress address = parseSimulatedAddress(word);
      const auto found = servers_.find(address);
      if (found != servers_.end()) return found->second;
      add("there is no server " + address.text() +
          (script_.faults.size() < kSuggestions ? suggestion(address.text(), names_) : ""));
    } catch (const std::invalid_argument& fault) {
      add(fault.what());
    }
    return {};
  }

  void checkKeys(const std::vector<std::string_view>& keys) {
    const std::size_t before = script_.faults.size();
    for (const std::string_view key : keys) checkKey(key);
    if (script_.faults.size() == before) checkKey(joined(keys, ','));  // whether they go together
  }

  void checkKey(std::string_view key) {
    try {
      changed({}, key, 0);
    } catch (const std::invalid_argument& fault) {
      add(fault.what());
    }
  }

  const std::string& fileName_;
  std::map<SimulatedAddress, std::size_t> servers_;
  std::vector<std::string> names_;
  std::size_t lineNumber_ = 0;
  ChangeScript script_;
};

}  // namespace

const char* const kChangeScriptHelp =
    R"(A script has a change a line, TIME SERVER key=value..., with the keys of a DESCRIPTION: the time from the start, as
in 500ms, 10s, 2m or 1h; the server as ADDRESS:PORT or as a port of 127.0.0.1, * for all; # begins a remark. What
warmup= and drain= say counts from the change. A server whose behave= changes loses its connections, as one that is
started anew. Each change is told as it is made.)";

ChangeScript readChangeScript(std::string_view text, const std::string& fileName,
                              const std::vector<ServerOptions>& servers) {
  Reader reader(fileName, servers);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    reader.readLine(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return reader.finish();
}

}  // namespace nimbolsp::tools
