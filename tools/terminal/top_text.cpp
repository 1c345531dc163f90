#include "tools/terminal/top_text.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <vector>

#include "service/balance.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

constexpr const char* kEighths[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
constexpr const char* kHeights[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::string_view kPlainHeights = "_.-:=+*#";

std::string twoDigits(std::int64_t number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

// Whether the byte begins a character; the others of a UTF-8 sequence continue one.
bool beginsCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

std::size_t columnsOf(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, beginsCharacter));
}

// The first so many characters.
std::string firstOf(const std::string& text, std::size_t columns) {
  std::size_t at = 0;
  while (at < text.size() && (columns > 0 || !beginsCharacter(text[at])))
    columns -= beginsCharacter(text[at++]);
  return text.substr(0, at);
}

}  // namespace

std::string stateOf(const ServerState& server) {
  if (server.isUnpolled()) return "unpolled";
  if (server.polls == 0) return "waiting";
  if (server.answers) {
    if (hasNegative(server.last.statistics)) return "negative";
    if (!server.standing.hasRoom) return "full";
    return server.standing.remarks.empty() ? "good" : "odd";
  }
  if (!faultOf(server.endpoint).empty()) return "no address";
  switch (server.last.end) {
    case PollEnd::kTimedOut:
      return "silent";
    case PollEnd::kNoReply:
      return "broken off";
    default:
      return server.last.error == ECONNREFUSED ? "refused" : "unreachable";
  }
}

std::string barText(std::int16_t load, std::size_t width, bool unicode) {
  const auto share = static_cast<std::size_t>(std::clamp<int>(load, 0, 100));
  const std::size_t eighths = share * width * 8 / 100;
  std::string bar;
  for (std::size_t i = 0; i < eighths / 8; ++i) bar += unicode ? kEighths[8] : "#";
  if (unicode) return bar + kEighths[eighths % 8];
  return bar + std::string(width - eighths / 8, '.');
}

ScreenLine historyText(const std::deque<std::int16_t>& history, std::size_t width, bool unicode) {
  ScreenLine line;
  for (std::size_t i = history.size() - std::min(history.size(), width); i < history.size(); ++i) {
    const std::int16_t load = history[i];
    if (load == kNoLoad) {
      line.push_back({unicode ? "×" : "x", Role::kBad});
      continue;
    }
    const auto height = static_cast<std::size_t>(std::clamp<int>(load, 0, 99) * 8 / 100);
    line.push_back({unicode ? kHeights[height] : std::string(1, kPlainHeights[height])});
  }
  return line;
}

ScreenLine fit(ScreenLine line, std::size_t width, bool toTheRight, bool unicode) {
  std::size_t columns = 0;
  for (const Span& span : line) columns += columnsOf(span.text);
  if (columns <= width) {
    Span blanks{std::string(width - columns, ' ')};
    line.insert(toTheRight ? line.begin() : line.end(), std::move(blanks));
    return line;
  }
  ScreenLine cut;
  std::size_t left = width > 0 ? width - 1 : 0;
  for (const Span& span : line) {
    cut.push_back({firstOf(span.text, left), span.role});
    left -= columnsOf(cut.back().text);
  }
  if (width > 0) cut.push_back({unicode ? "…" : "~", Role::kDim});
  return cut;
}

std::string millisecondsText(std::chrono::microseconds time) {
  const double milliseconds = inMilliseconds(time);
  const int digits = milliseconds < 10 ? 2 : 1;
  return decimal(milliseconds, milliseconds < 1000 ? digits : 0);
}

std::string durationText(std::chrono::system_clock::duration time) {
  const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  const std::int64_t seconds = std::max<std::int64_t>(0, whole);
  const auto both = [](std::int64_t first, const char* unit, std::int64_t second, const char* lesser) {
    return std::to_string(first) + unit + twoDigits(second) + lesser;
  };
  if (seconds < 60) return std::to_string(seconds) + "s";
  if (seconds < 3600) return both(seconds / 60, "m", seconds % 60, "s");
  if (seconds < 86400) return both(seconds / 3600, "h", seconds / 60 % 60, "m");
  return both(seconds / 86400, "d", seconds / 3600 % 24, "h");
}

std::string clockText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  localtime_r(&seconds, &local);
  return twoDigits(local.tm_hour) + ":" + twoDigits(local.tm_min) + ":" + twoDigits(local.tm_sec);
}

std::string countText(std::uint64_t number) {
  if (number < 10'000) return std::to_string(number);
  return number < 1'000'000 ? std::to_string(number / 1000) + "k" : std::to_string(number / 1'000'000) + "M";
}

std::string intervalText(const Picture& picture) {
  if (picture.pools.empty()) return {};
  const auto [least, most] = std::ranges::minmax_element(picture.pools, {}, &PoolState::interval);
  const auto seconds = [](std::chrono::milliseconds time) {
    return decimal(inMilliseconds(time) / 1000, time.count() % 1000 == 0 ? 0 : 1);
  };
  std::string text = "polled every " + seconds(least->interval);
  if (most->interval != least->interval) text += " to " + seconds(most->interval);
  return text + " s";
}

std::chrono::microseconds typicalTime(const ServiceState& service) {
  std::vector<std::chrono::microseconds> times(service.times.begin(), service.times.end());
  if (times.empty()) return service.last.took;
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::ranges::nth_element(times, middle);
  return *middle;
}

}  // namespace nimbolsp::tools
