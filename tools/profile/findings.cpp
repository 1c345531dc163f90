#include "tools/profile/findings.h"

#include <arpa/inet.h>

#include <algorithm>
#include <tuple>

#include "service/wire/numbers.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using enum Severity;

constexpr const char* kOddNumber = "A number ends at the first other character, and without a digit it is 0";
constexpr const char* kNotRead = "The daemon does not read it";
constexpr const char* kCaseCounts = "The daemon tells large from small letters and does not find it";
constexpr const char* kWillNotStart = "The daemon does not start";
constexpr const char* kEmptyPool = "A pool without a server ends the start";

// By FindingKind.
constexpr FindingRow kRows[] = {
    {"byte-order-mark", kError, "It hides what the first line says", "Save the file without one"},
    {"nul-byte", kError, "The text ends there: all behind it is not read", "Take it out"},
    {"utf-16", kError,
     "The text ends at its first NUL byte, so that nothing of it is read and the daemon does not start",
     "Save it as ASCII, or as UTF-8 without a byte order mark"},
    {"too-large", kError, "It is not looked into; the daemon may take hours to start", "Make it smaller"},
    {"lone-cr", kWarning, "The daemon ends the line there; most editors show one line", "Write CR LF"},

    {"section-not-ended", kWarning, "Keys that are added to the next one count here too",
     "Put two empty lines in front of it"},
    {"keys-leak", kError, "Keys of the next section count in this one", "Put two empty lines in front of it"},
    {"swallows-key", kError,
     "A line without an equals sign runs on to the next one, and the key there is not found",
     "Write KEY=VALUE, or take the line out"},
    {"remark-swallows-key", kError,
     "There are no remarks: the line runs on to the next equals sign, and the key there is not found",
     "Move it in front of the first section, or begin it with ;= instead"},
    {"without-equals", kWarning, "It would swallow the key of a line that follows",
     "Write KEY=VALUE, or take the line out"},
    {"key-without-equals", kError,
     "The daemon does not read it, and it may swallow the key of a line that follows", "Write KEY=VALUE"},
    {"ends-early", kError, "It ends the section, and keys behind it are not read",
     "Delete it if it is empty, else begin it with its first word"},
    {"header-not-first", kError, "It is no section header, and no section begins there",
     "Take away what is in front of it"},
    {"header-open", kError, "The section's name runs on to the next bracket", "Close it with ]"},
    {"section-blanks", kError, "Blanks are part of the name", "Take them out"},
    {"section-case", kError, kCaseCounts, "Write it the same way"},
    {"repeated-section", kWarning, "It continues the first one; of a repeated key the first counts",
     "Put all keys into one section"},
    {"repeated-section", kWarning, "To the daemon it is another section",
     "Write both headers alike, or join them"},
    {"unknown-section", kWarning, kNotRead, "Name it behind Pool1=, Pool2=, ... in [Setup]; or take it out"},

    {"key-above-sections", kError, "What stands in front of the first section is not read",
     "Move it below its section's header"},
    {"key-case", kError, kCaseCounts, "Write it as the daemon does"},
    {"key-numbering", kError,
     "Keys are numbered from 1, without leading zeros; the daemon does not find this one", "Number it so"},
    {"control-character", kError, "It is part of the key, name or text, and many programs do not show it",
     "Take it out"},
    {"blank-before-equals", kError, "The blank is part of the key, which the daemon does not find",
     "Take it out"},
    {"misspelled-key", kError, kNotRead, "Write it as the daemon does"},
    {"unknown-key", kWarning, kNotRead, "Take it out"},
    {"wrong-section", kError, kNotRead, "Move it there"},
    {"repeated-key", kWarning, "Only one of them counts", "Take one out"},
    {"repeated-key-differs", kError, "Only one of them counts", "Take the wrong one out"},
    {"gap", kError, "A gap ends the list: this one and all behind it are not read",
     "Number them from 1 without a gap"},
    {"too-many", kError, kNotRead, "Use fewer, or move some to another pool"},
    {"no-port", kError, kWillNotStart, "Write Port=NUMBER below [Setup]"},
    {"no-pools", kError, kWillNotStart, "Write Pool1=NAME below [Setup]"},
    {"no-section", kError, kEmptyPool, "Write the section, its name exactly so"},
    {"no-server", kError, kEmptyPool, "Write Server1=ADDRESS:PORT below its header"},

    {"empty-value", kWarning, "It counts as missing", "Write the value, or take the line out"},
    {"blank-around-number", kWarning, "It does not matter here, and in a text it would", "Take it out"},
    {"blank-in-text", kError, "Blanks are part of the text", "Take them out"},
    {"text-behind-number", kWarning, "It is skipped here, and in a text it would count", "Take it out"},
    {"text-behind-text", kError, "There are no remarks: it is part of the text", "Take it out"},
    {"not-a-number", kError, kOddNumber, "Write a number"},
    {"number-wraps", kError, "It does not fit and becomes another number", "Write a smaller one"},
    {"below-one", kError, "The daemon takes its default instead", "Write 1 or more"},
    {"port-zero", kError, kWillNotStart, "Write a number from 1 to 65535"},
    {"port-range", kError, "Its low 16 bits count", "Write a number from 1 to 65535"},
    {"poll-timer-range", kError, "0 stands for the default", "Write the seconds, 1 or more"},
    {"poll-timer-range", kError,
     "Milliseconds are counted in 32 bits without a sign, where a number below 0 becomes another one",
     "Write the seconds, 1 or more"},
    {"poll-timer-range", kError,
     "Milliseconds are counted in 32 bits: what is too large for them begins again at 0",
     "Write a number from 1 to 4294967"},
    {"never-cut", kWarning, "A threshold of 1 never cuts the log: it grows without limit", "Write 2 or more"},
    {"slow-log", kWarning, "Each report reads the log up to the threshold", "Write 10000 or less"},
    {"long-value", kError, "Values are cut to 255 bytes", "Write less"},
    {"odd-bytes", kWarning,
     "Not everybody sees or sends such bytes alike, and for those of 0x80 and above the case counts in UTF-8",
     "Write printable ASCII characters"},
    {"same-pool", kError, "Their names are one name to front ends, and the later one answers",
     "Give each pool a name of its own"},
    {"pool-bracket", kError,
     "A section's name ends at its first ], so that the pool's section cannot be found", "Take it out"},
    {"host-name", kError, "Names are not looked up: it is never reached, and front ends are given it",
     "Write a dotted address"},
    {"bad-address", kError, "It is never reached, and front ends are given it",
     "Write four numbers from 0 to 255"},
    {"any-address", kError, "It is polled at 127.0.0.1, and front ends are given it",
     "Write the server's address"},
    {"octal-address", kError, "A leading 0 makes a number octal, 0x hexadecimal", "Write it without"},
    {"padded-address", kWarning, "A leading 0 makes a number octal", "Write it without"},
    {"short-address", kWarning,
     "The last number fills all that is left of the address, and front ends may read it otherwise",
     "Write four numbers"},
    {"no-server-port", kError,
     "Without a colon all is the port; a port ends at the first other character, and without a digit it is 0",
     "Write ADDRESS:PORT, or the port alone for this machine"},
    {"server-port-range", kError, "The low 16 bits count in polls", "Write a number from 1 to 65535"},
    {"server-quotes", kError, "They are part of the address or the port, and front ends are given them",
     "Take them out"},
    {"server-scheme", kError,
     "What stands in front of the first colon is taken for the address, and front ends are given all of it",
     "Write ADDRESS:PORT alone"},
    {"server-ipv6", kError,
     "The daemon knows IPv4 alone, and takes what stands in front of the first colon for such an address",
     "Write the server's IPv4 address"},
    {"server-path", kError, "No address or port goes on with a path, and front ends are given it",
     "Write ADDRESS:PORT alone"},
    {"same-server", kWarning,
     "Each of them is polled, and counts alone what it is handed: the server gets a share for each, and can "
     "get more than it has room for",
     "Take one out; if it is meant to take a double share, let it report a double load limit instead"},

    {"descriptor-limit", kWarning, "Polls fail, and an accept that fails ends the daemon",
     "Raise the limit (LimitNOFILE=)"},
    {"thread-limit", kError, "The daemon does not start", "Raise the limit (TasksMax=, LimitNPROC=)"},
    {"differs", kError, "The daemon loads something else than the file says",
     "Compare the lines with the manual"},
};
static_assert(std::size(kRows) == kFindingKindCount);

}  // namespace

const FindingRow& rowOf(FindingKind kind) {
  return kRows[kind];
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kShown = 60;
  return "\"" + printable(text.substr(0, kShown)) + (text.size() > kShown ? "..." : "") + "\"";
}

std::string dotted(std::uint32_t address) {
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &address, text, sizeof text);
}

std::string polledAt(const ServerEndpoint& endpoint) {
  if (endpoint.ipAddress == INADDR_NONE) return "(nowhere)";
  return dotted(endpoint.ipAddress == 0 ? htonl(INADDR_LOOPBACK) : endpoint.ipAddress) + ":" +
         std::to_string(endpoint.port & 0xFFFF);
}

std::string secondsText(std::uint32_t seconds) {
  constexpr std::uint32_t kHour = 3600, kDay = 24 * kHour;
  std::string text = std::to_string(seconds) + " s";
  if (seconds < 2 * kHour) return text;
  const std::uint32_t unit = seconds < 2 * kDay ? kHour : kDay;
  const std::uint64_t tenths = (std::uint64_t{seconds} * 10 + unit / 2) / unit;
  return text + " (" + std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) +
         (unit == kHour ? " hours)" : " days)");
}

std::string pauseText(std::int32_t pollInterval) {
  const std::uint32_t seconds = roundedSeconds(static_cast<std::uint32_t>(pollInterval));
  return seconds == 0 ? "without a pause" : secondsText(seconds);
}

void Findings::add(FindingKind kind, std::size_t line, std::string what, std::string suggestion) {
  if (isFull(kind)) return;
  ++counts_[kind];
  all_.push_back({kind, line, std::move(what), std::move(suggestion)});
}

bool Findings::hasErrors() const {
  return std::ranges::any_of(all_, [](const Finding& one) { return one.severity() == Severity::kError; });
}

std::vector<Finding> Findings::take() {
  std::ranges::stable_sort(all_, [](const Finding& a, const Finding& b) {
    return std::tie(a.line, a.kind) < std::tie(b.line, b.kind);
  });
  const auto isSame = [](const Finding& a, const Finding& b) { return a.line == b.line && a.kind == b.kind; };
  all_.erase(std::unique(all_.begin(), all_.end(), isSame), all_.end());
  return std::move(all_);
}

}  // namespace nimbolsp::tools
