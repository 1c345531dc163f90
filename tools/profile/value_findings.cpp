// What is wrong with values: numbers by their key's rule, pools' names, servers named twice; and the
// comparison of all that a person reads with all that the daemon reads.
#include <arpa/inet.h>

#include <algorithm>
#include <map>

#include "service/wire/numbers.h"
#include "tools/profile/findings.h"

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kLongestValue = 255;

// What the daemon makes of a value, in the unit of the profile; of an interval what it sleeps.
std::int64_t loadedNumber(KeyId id, std::string_view value) {
  const std::int32_t number = keyNumber(id, value.substr(0, kLongestValue));
  return kProfileKeys[id].rule == kSeconds ? roundedSeconds(static_cast<std::uint32_t>(number))
                                           : std::int64_t{number};
}

class ValueFinder {
 public:
  ValueFinder(const VisibleProfile& visible, const ReadLines& read, Findings& findings)
      : visible_(visible), read_(read), findings_(findings) {}

  void find() {
    for (const VisibleSection& section : visible_.sections) {
      for (const auto& [key, index] : section.values) {
        const VisibleLine &first = visible_.lines[index], *read = read_.of(section, {key.first, key.second});
        findInValue(key.first, first, read == &first);
        if (read != nullptr && read != &first) findInValue(key.first, *read, true);
      }
    }
    findInPools();
    for (const VisiblePool& pool : visible_.pools) findSameServers(pool);
  }

 private:
  // Of the line that a person takes for the key's, and of that which the daemon reads.
  void findInValue(KeyId id, const VisibleLine& line, bool isRead) {
    const std::string_view raw = line.rawValue();
    const bool isText = kProfileKeys[id].rule == kText;
    if (line.value.empty() && id != kPort) {
      findings_.add(kEmptyValue, line, quoted(line.name) + " has no value");
      return;
    }
    if (raw.size() > kLongestValue) {
      findings_.add(kLongValue, line,
                    "the value of " + quoted(line.name) + " has " + std::to_string(raw.size()) + " bytes");
    }
    const char atEnd = raw == line.value ? 'x' : trimmedByte(raw, line.value);
    if (isText && line.remark.empty() && isControl(atEnd)) {
      findings_.add(kControlCharacter, line, "a control character at an end of " + quoted(raw));
    } else if (std::ranges::any_of(raw, [](char c) { return c < 0x20 || c == 0x7F; })) {
      findings_.add(kOddBytes, line, "a byte that is no printable ASCII character in " + quoted(raw));
    }
    if (!line.remark.empty()) {
      findings_.add(isText ? kTextBehindText : kTextBehindNumber, line, "text behind " + quoted(line.value));
    } else if (raw != line.value && !isControl(atEnd)) {
      findings_.add(isText ? kBlankInText : kBlankAroundNumber, line, "a blank at an end of " + quoted(raw));
    }
    if (isText) {
      if (id == kServer) findInServer(line, findings_);
    } else {
      findInNumber(id, line, isRead);
    }
  }

  void findInNumber(KeyId id, const VisibleLine& line, bool isRead) {
    const std::int64_t loaded = loadedNumber(id, line.rawValue());
    const auto number = visibleNumber(line.value);
    // A number ends in front of a control character, and begins behind blanks alone.
    const bool isHidden = loaded != loadedNumber(id, line.value);
    const std::string reads = quoted(line.name) + ": the daemon " + (isRead ? "reads " : "would read ") +
                              std::to_string(loaded) + " from " +
                              quoted(isHidden ? line.rawValue() : line.value) +
                              (id == kPollTimer && loaded == 0 ? ", and polls without a pause" : "");
    if (id == kPort && loaded == 0 && !isHidden) return findings_.add(kPortZero, line, reads);
    if (!number || isHidden) return findings_.add(kNotANumber, line, reads);
    if (id == kPort && (*number < 1 || *number > kHighestPort)) {
      return findings_.add(kPortRange, line, reads + ", port " + std::to_string(loaded & 0xFFFF));
    }
    if (id == kPollTimer && *number != loaded) return findInPollTimer(*number, line);
    if (kProfileKeys[id].rule == kAtLeastOne && *number < 1) return findings_.add(kBelowOne, line, reads);
    if (*number != loaded) return findings_.add(kNumberWraps, line, reads);
    if (id != kLogLineThreshold) return;
    constexpr int kSlowThreshold = 10'000;
    if (loaded == 1) findings_.add(kNeverCut, line, quoted(line.text));
    if (loaded > kSlowThreshold) findings_.add(kSlowLog, line, quoted(line.text));
  }

  void findInPollTimer(std::int64_t number, const VisibleLine& line) {
    const std::int32_t interval = keyNumber(kPollTimer, line.rawValue().substr(0, kLongestValue));
    const bool pauses = roundedSeconds(static_cast<std::uint32_t>(interval)) != 0;
    findings_.add(number < 0    ? kPollTimerNegative
                  : number == 0 ? kPollTimerZero
                                : kPollTimerRange,
                  line,
                  quoted(line.name) + ": with " + quoted(line.value) + " the daemon polls " +
                      (pauses ? "every " : "") + pauseText(interval));
  }

  void findInPools() {
    std::map<std::string, const VisiblePool*> byFoldedName;
    for (const VisiblePool& pool : visible_.pools) {
      const VisibleLine& line = visible_.lines[pool.line];
      if (pool.name.find(']') != std::string::npos)
        findings_.add(kPoolBracket, line, quoted(pool.name) + " holds a \"]\"");
      const auto [found, isNew] = byFoldedName.try_emplace(foldedName(std::string(line.rawValue())), &pool);
      if (isNew) continue;
      findings_.add(kSamePool, line,
                    "pool " + quoted(pool.name) + " again, first in line " +
                        std::to_string(visible_.lines[found->second->line].number));
    }
  }

  void findSameServers(const VisiblePool& pool) {
    std::map<std::pair<std::uint32_t, std::uint16_t>, const VisibleLine*> seen;
    for (const VisibleLine* line : visible_.serversOf(pool)) {
      const ServerEndpoint at = parseServerEntry(std::string(line->value));
      const std::uint32_t address = at.ipAddress == 0 ? htonl(INADDR_LOOPBACK) : at.ipAddress;
      const auto [found, isNew] = seen.try_emplace({address, static_cast<std::uint16_t>(at.port)}, line);
      if (isNew || address == INADDR_NONE || static_cast<std::uint16_t>(at.port) == 0) continue;
      findings_.add(kSameServer, *line,
                    quoted(found->second->text) + " in line " + std::to_string(found->second->number) +
                        " and " + quoted(line->text) + " in line " + std::to_string(line->number) +
                        " are one server");
    }
  }

  const VisibleProfile& visible_;
  const ReadLines& read_;
  Findings& findings_;
};

// Compares value by value what is visible with what is loaded.
class Comparison {
 public:
  Comparison(const VisibleProfile& visible, Findings& findings) : visible_(visible), findings_(findings) {}

  void compare(const EffectiveProfile& effective) {
    compareNumber(visible_.setup, kPort, effective.port);
    compareNumber(visible_.setup, kLogLineThreshold, effective.settings.logLineThreshold);
    compareNumber(visible_.setup, kBucketSize, effective.settings.bucketSize);
    compareNumber(visible_.setup, kDebugMode, effective.settings.debugLevel);
    const VisibleLine* quiet = visible_.valueOf(visible_.setup, {kQuietMode, 0});
    const bool isQuiet = quiet != nullptr && keyNumber(kQuietMode, quiet->value) != 0;
    if (isQuiet != effective.settings.quietMode) differ(quiet, "\"QuietMode\"", std::to_string(isQuiet));
    if (visible_.pools.size() != effective.pools.size()) {
      return differ(nullptr, "the number of pools", std::to_string(effective.pools.size()));
    }
    for (std::size_t i = 0; i < effective.pools.size(); ++i)
      comparePool(visible_.pools[i], effective.pools[i]);
  }

 private:
  void differ(const VisibleLine* line, const std::string& what, const std::string& loaded) {
    findings_.add(kDiffers, line == nullptr ? 1 : line->number, what + " is read as " + quoted(loaded));
  }

  void compareNumber(const VisibleSection* section, KeyId id, std::int32_t loaded) {
    const VisibleLine* line = visible_.valueOf(section, {id, 0});
    if (keyNumber(id, line == nullptr ? std::string_view{} : line->value) == loaded) return;
    differ(line, quoted(kProfileKeys[id].name), std::to_string(loaded));
  }

  void comparePool(const VisiblePool& pool, const PoolEntry& loaded) {
    const VisibleLine& line = visible_.lines[pool.line];
    const auto servers = visible_.serversOf(pool);
    if (pool.name != loaded.name) return differ(&line, quoted(pool.name), loaded.name);
    compareNumber(pool.section, kPollTimer, loaded.pollInterval);
    if (servers.size() != loaded.servers.size()) {
      return differ(&line, "the number of servers", std::to_string(loaded.servers.size()));
    }
    for (std::size_t i = 0; i < servers.size(); ++i) {
      if (servers[i]->value != loaded.servers[i].text)
        differ(servers[i], quoted(servers[i]->value), loaded.servers[i].text);
    }
  }

  const VisibleProfile& visible_;
  Findings& findings_;
};

}  // namespace

void findInValues(const VisibleProfile& visible, const ReadLines& read, Findings& findings) {
  ValueFinder(visible, read, findings).find();
}

void findDifferences(const VisibleProfile& visible, const EffectiveProfile& effective, Findings& findings) {
  Comparison(visible, findings).compare(effective);
}

}  // namespace nimbolsp::tools
