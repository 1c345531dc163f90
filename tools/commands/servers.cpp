// "servers": polls every server once and shows what each says.
#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/polling/survey.h"
#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

constexpr int kSomeDidNot = 1;
constexpr int kNoneAnswered = 2;

const char* const kHelp =
    R"(Each server is asked by the daemon's own protocol, all side by side; the daemon itself takes no part. LIST is
the allocation list where the daemon would file the server, ROOM whether its load is below 100 %, so that the normal
search may hand it out. A server that several entries name is polled once.
Examples:
  nimbolspctl servers /opt/nimbolsp/nimbolsp.ini
  nimbolspctl servers --json 10.0.0.5:5912 10.0.0.6:5912
Exit status: 0 all answered well, 1 some did not answer or sent a negative statistic, 2 none answered well, 64 the
command line is wrong or the profile names no server, 74 the output could not be written, 130 interrupted.)";

struct Line {
  std::vector<std::string> words;
  std::string profile = kDefaultProfile;
  Option profileOption;
  std::int64_t timeoutMilliseconds = 2000;
  bool json = false;
};

// ADDRESS:PORT and nothing else.
bool isAddressAndPort(const std::string& word) {
  const std::size_t colon = word.find(':');
  if (colon == std::string::npos) return false;
  in_addr address{};
  std::uint16_t port = 0;
  const char* const end = word.data() + word.size();
  const auto [at, fault] = std::from_chars(word.data() + colon + 1, end, port);
  return inet_pton(AF_INET, word.substr(0, colon).c_str(), &address) == 1 && fault == std::errc{} &&
         at == end && port != 0;
}

Survey survey(const Line& line, int stopDescriptor) {
  std::string path = line.profile;
  PoolEntry named;
  for (const std::string& word : line.words) {
    if (isAddressAndPort(word)) {
      named.servers.push_back({word, parseServerEntry(word)});
    } else if (access(word.c_str(), F_OK) != 0) {
      throw std::invalid_argument("\"" + word + "\" is neither a file nor ADDRESS:PORT (a dotted address)");
    } else if (line.words.size() > 1 || line.profileOption.wasGiven()) {
      throw std::invalid_argument("\"" + word + "\" is no ADDRESS:PORT, and a profile stands alone");
    } else {
      path = word;
    }
  }
  std::vector<PoolEntry> pools{named};
  std::int32_t bucketSize = Settings{}.bucketSize;
  if (named.servers.empty() || line.profileOption.wasGiven()) {
    const EffectiveProfile profile = loadProfile(path);
    bucketSize = profile.settings.bucketSize;
    if (named.servers.empty()) pools = profile.pools;
  }
  const SlowWork slow("polling the servers");
  return takeSurvey(pools, bucketSize, std::chrono::milliseconds(line.timeoutMilliseconds), stopDescriptor);
}

int run(const Line& line) {
  const Descriptor stop = catchStopSignals();
  raiseDescriptorLimit();
  const Survey result = survey(line, stop.number());
  print(line.json ? surveyJson(result) : surveyTable(result));
  if (result.interrupted()) return kStoppedBySignal;
  if (result.unpolled() > 0) {
    const auto first = std::ranges::find(result.servers, PollEnd::kShortage,
                                         [](const SurveyedServer& server) { return server.result.end; });
    complain(std::to_string(result.unpolled()) + (result.unpolled() == 1 ? " server " : " servers ") +
             describe(first->result, result.timeout));
    return kSystemFailed;
  }
  if (result.well() == 0) return kNoneAnswered;
  return result.well() < result.servers.size() ? kSomeDidNot : kDone;
}

}  // namespace

Runner declareServers(Options& options) {
  const auto line = std::make_shared<Line>();
  options.texts("SERVERS", line->words, "PROFILE | ADDRESS:PORT",
                "A profile whose servers are meant, or any number of servers\n"
                "(default: the profile of --profile)");
  line->profileOption = addProfileOption(options, line->profile);
  addTimeoutOption(options, line->timeoutMilliseconds, "Wait for each answer so long at most");
  options.flag("--json", line->json, "Print one JSON object instead of a table");
  options.footer(kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
