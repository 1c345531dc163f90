// What is wrong with a profile: where the daemon loads something else than a person reads, and what works
// today and will not tomorrow. One table of the kinds of findings; who finds what stands in files of their
// own.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/profile/effective_profile.h"
#include "tools/profile/read_lines.h"
#include "tools/profile/visible_profile.h"

namespace nimbolsp::tools {

inline constexpr std::int64_t kHighestPort = 65535;

// error: the daemon would not start, or loads something else than the file visibly says.
enum class Severity { kError, kWarning };

enum FindingKind {
  // The file
  kByteOrderMarkFound,
  kNulByte,
  kUtf16,
  kTooLarge,
  kLoneCr,
  // Lines and sections
  kSectionNotEnded,
  kKeysLeak,
  kSwallowsKey,
  kRemarkSwallowsKey,
  kWithoutEquals,
  kKeyWithoutEquals,
  kSectionEndsEarly,
  kHeaderNotFirst,
  kHeaderOpen,
  kSectionBlanks,
  kSectionCase,
  kRepeatedSection,
  kRepeatedSectionDiffers,
  kUnknownSection,
  // Keys
  kKeyAboveSections,
  kKeyCase,
  kKeyNumbering,
  kControlCharacter,
  kBlankBeforeEquals,
  kMisspelledKey,
  kUnknownKey,
  kWrongSection,
  kRepeatedKey,
  kRepeatedKeyDiffers,
  kGap,
  kTooMany,
  kNoPort,
  kNoPools,
  kNoSection,
  kNoServer,
  // Values
  kEmptyValue,
  kBlankAroundNumber,
  kBlankInText,
  kTextBehindNumber,
  kTextBehindText,
  kNotANumber,
  kNumberWraps,
  kBelowOne,
  kPortZero,
  kPortRange,
  kPollTimerZero,
  kPollTimerNegative,
  kPollTimerRange,
  kNeverCut,
  kSlowLog,
  kLongValue,
  kOddBytes,
  kSamePool,
  kPoolBracket,
  kHostName,
  kBadAddress,
  kAnyAddress,
  kOctalAddress,
  kPaddedAddress,
  kShortAddress,
  kNoServerPort,
  kServerPortRange,
  kServerQuotes,
  kServerScheme,
  kServerIpv6,
  kServerPath,
  kSameServer,
  // The whole
  kDescriptorLimit,
  kThreadLimit,
  kDiffers,
  kFindingKindCount
};

// How a kind of finding is told, in all views. Kinds that are told apart by their words alone share a slug.
struct FindingRow {
  const char* slug;
  Severity severity;
  const char* consequence;
  const char* remedy;
};

const FindingRow& rowOf(FindingKind kind);

struct Finding {
  FindingKind kind;
  std::size_t line;        // number, from 1
  std::string what;        // without a full stop
  std::string suggestion;  // what was meant; empty when nobody can tell

  Severity severity() const { return rowOf(kind).severity; }
};

// A name or value in a message.
std::string quoted(std::string_view text);

// An address in network order.
std::string dotted(std::uint32_t address);

// Where a server is polled, "127.0.0.1:5912". Nowhere, for an address that is none.
std::string polledAt(const ServerEndpoint& endpoint);

// "5 s"; what is long also in a unit that can be imagined, "4294966 s (49.7 days)".
std::string secondsText(std::uint32_t seconds);

// How long the daemon really sleeps between two polls, as secondsText, or "without a pause".
std::string pauseText(std::int32_t pollInterval);

// Gathers findings: one of a kind and line, and at most 1,000 of a kind.
class Findings {
 public:
  void add(FindingKind kind, std::size_t line, std::string what, std::string suggestion = {});
  void add(FindingKind kind, const VisibleLine& line, std::string what, std::string suggestion = {}) {
    add(kind, line.number, std::move(what), std::move(suggestion));
  }
  bool hasErrors() const;

  // No more of this kind are taken.
  bool isFull(FindingKind kind) const { return counts_[kind] == kMostOfAKind; }

  // All, by line.
  std::vector<Finding> take();

 private:
  static constexpr int kMostOfAKind = 1000;

  std::vector<Finding> all_;
  int counts_[kFindingKindCount] = {};
};

// What is wrong with the value of one server's line.
void findInServer(const VisibleLine& line, Findings& findings);

// The finders. Each looks at the whole profile.
void findInLines(const VisibleProfile& visible, Findings& findings);
void findInKeys(const VisibleProfile& visible, const EffectiveProfile& effective, const ReadLines& read,
                Findings& findings);
void findInValues(const VisibleProfile& visible, const ReadLines& read, Findings& findings);
void findDifferences(const VisibleProfile& visible, const EffectiveProfile& effective, Findings& findings);

// How many tasks the control groups of a process let it have, of the second version: its own and all above
// it.
//   groupsFile  /proc/PID/cgroup
//   root        where the groups are mounted
std::uint64_t mostTasks(const std::string& groupsFile, const std::string& root);

// All that is wrong with a file: what is visible of it, nothing when it is too large, and what the daemon
// makes of it.
std::vector<Finding> findAll(const std::optional<VisibleProfile>& visible, const EffectiveProfile& effective);

}  // namespace nimbolsp::tools
