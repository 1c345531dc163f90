// One look at all servers: each is polled once, whatever lists name it, and what came is put into words.
// Keeps nothing.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "service/pool_profile.h"
#include "tools/polling/poll_round.h"
#include "tools/polling/standing.h"

namespace nimbolsp::tools {

// One entry of one pool.
struct SurveyedServer {
  std::string pool;  // as the profile has it; empty when it is of none
  ServerEntry entry;
  PollResult result;
  Standing standing;                 // of an answer
  std::vector<std::string> remarks;  // what is odd, in plain words

  bool answered() const { return result.end == PollEnd::kAnswered; }
  bool isWell() const;  // answered, with no negative statistic
};

struct Survey {
  std::vector<SurveyedServer> servers;  // in the order of the profile
  std::chrono::milliseconds timeout{0};

  std::size_t answered() const;
  std::size_t well() const;
  std::size_t unpolled() const;  // as this program itself lacked something
  bool interrupted() const;
};

// What there is to say of a poll's result: why it failed, or each odd figure. Pure.
std::vector<std::string> remarksOf(const ServerEndpoint& endpoint, const PollResult& result,
                                   const Standing& standing, std::chrono::milliseconds timeout);

// Polls the servers of the pools. Blocks for about `timeout` at most a 512 servers.
//   stopDescriptor  ends it when it becomes readable; -1: none
Survey takeSurvey(const std::vector<PoolEntry>& pools, std::int32_t bucketSize,
                  std::chrono::milliseconds timeout, int stopDescriptor);

// A table, and a line that sums it up. Pure.
std::string surveyTable(const Survey& survey);

// The same as one JSON object, a line long. Pure.
std::string surveyJson(const Survey& survey);

}  // namespace nimbolsp::tools
