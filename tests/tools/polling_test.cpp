// What the companion's commands look at the daemon and its servers with: a round of polls, what it makes of
// the figures, one request to the daemon, and the nearest word.
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/resource.h>

#include <optional>

#include "tests/tools/running_server.h"
#include "tools/nearest.h"
#include "tools/polling/monitor.h"
#include "tools/polling/poll_round.h"
#include "tools/polling/shortage.h"
#include "tools/polling/standing.h"
#include "tools/service_client.h"

namespace nimbolsp::tools {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFar{60'000};
constexpr milliseconds kNear{50};

TEST(PollRound, TellsHowEachPollEnded) {
  const Statistics figures{2, -3, 5, 7};
  const std::string reply = bytesOf(encodePollReply(figures));
  const struct {
    const char* what;
    std::string bytes;
    FakeServer::Manner manner;
    const char* told;
  } cases[] = {{"answered", reply, FakeServer::kClose, "answered"},
               {"dribbling", reply, FakeServer::kDribble, "answered"},
               {"more than a reply", reply + "x", FakeServer::kKeepOpen, "answered"},
               {"closed early", reply.substr(1), FakeServer::kClose, "closed before the whole reply"},
               {"reset", "", FakeServer::kReset, "Connection reset by peer"}};
  std::deque<FakeServer> servers;
  std::vector<ServerEndpoint> endpoints;
  for (const auto& c : cases) {
    servers.emplace_back().answerWith(c.bytes, c.manner);
    endpoints.push_back(parseServerEntry(std::to_string(servers.back().port())));
  }
  const Descriptor refusing(bindPort());
  endpoints.push_back(parseServerEntry("127.0.0.1:" + std::to_string(portOf(refusing.number()))));
  endpoints.push_back(parseServerEntry("no address:1"));
  const std::vector<PollResult> results = pollServers(endpoints, kFar, -1);
  ASSERT_EQ(results.size(), endpoints.size());
  for (std::size_t i = 0; i < servers.size(); ++i) {
    EXPECT_EQ(describe(results[i], kFar), cases[i].told) << cases[i].what;
    const bool answered = results[i].end == PollEnd::kAnswered;
    EXPECT_EQ(results[i].statistics, answered ? figures : Statistics{}) << cases[i].what;
    EXPECT_EQ(servers[i].lastRequest(), bytesOf(encodePollRequest()));
  }
  EXPECT_EQ(describe(results[servers.size()], kFar), "Connection refused");
  EXPECT_EQ(results.back().end, PollEnd::kNotConnected);
}

TEST(PollRound, NoServerHoldsItUpLongerThanTheTimeOut) {
  const RunningServer silent("0,behave=silent"), dribbles("0,behave=dribble=40");        // 1.3 s for a reply
  const std::vector<ServerEndpoint> endpoints(600, parseServerEntry(silent.address()));  // in two lots
  for (const PollResult& result : pollServers(endpoints, kNear, -1))
    EXPECT_EQ(result.end, PollEnd::kTimedOut);
  const ServerEndpoint slow[] = {parseServerEntry(dribbles.address())};
  const std::vector<PollResult> results = pollServers(slow, 4 * kNear, -1);
  EXPECT_EQ(describe(results[0], 4 * kNear), "no answer within 200 ms");
  EXPECT_GE(results[0].took, 4 * kNear);
  const Descriptor stop(eventfd(1, EFD_CLOEXEC));
  EXPECT_EQ(describe(pollServers(endpoints, kFar, stop.number())[0], kFar), "not polled");
}

// The process may open so many more descriptors, until the end of the scope.
class FewDescriptors {
 public:
  explicit FewDescriptors(std::size_t more) {
    getrlimit(RLIMIT_NOFILE, &former_);
    const rlimit few{former_.rlim_cur - freeDescriptors() + more, former_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &former_); }

 private:
  rlimit former_{};
};

TEST(PollRound, WaitsForDescriptorsAndTakesTheirLackForNoFailureOfAServer) {
  const Descriptor silent(bindPort());
  listen(silent.number(), 8);
  const std::string entry = "127.0.0.1:" + std::to_string(portOf(silent.number()));
  const std::vector<ServerEndpoint> endpoints(3, parseServerEntry(entry));
  const char* const lack = "not polled: nimbolspctl has too few descriptors: Too many open files";
  for (const std::size_t more : {0U, 1U, 2U}) {
    const FewDescriptors few(more);
    for (const PollResult& result : pollServers(endpoints, kNear, -1)) {
      EXPECT_EQ(describe(endpoints[0], result, kNear), more < 2 ? lack : "no answer within 50 ms") << more;
    }
  }
  const FewDescriptors none(0);
  EXPECT_EQ(askService({"127.0.0.1", 1}, "", kNear).failure,
            "127.0.0.1:1 was not asked: nimbolspctl has too few descriptors: Too many open files");
}

TEST(Monitor, CountsFailuresAndFlapsAndEndsAmidAPoll) {
  FakeServer server;
  const RunningServer silent("0,behave=silent");
  const Descriptor refusing(bindPort());
  const auto poolOf = [](const std::string& entry) {
    return PoolEntry{"p", 0, {{entry, parseServerEntry(entry)}}};
  };
  EffectiveProfile profile;
  profile.pools = {poolOf(server.entry()), poolOf(silent.address())};
  std::optional<Monitor> monitor;
  monitor.emplace(profile, MonitorOptions{{"127.0.0.1", portOf(refusing.number())}, kFar, milliseconds(5)});
  monitor->start();
  const auto seen = [&] { return monitor->picture()->pools[0].servers[0]; };
  EXPECT_TRUE(eventually([&] { return seen().answers; }));
  const ServerState first = seen();
  EXPECT_EQ(first.flaps, 0u);
  server.refuse();
  EXPECT_TRUE(eventually([&] { return seen().flaps == 1; }));
  const ServerState refused = seen();
  EXPECT_FALSE(refused.answers);
  EXPECT_GT(refused.since, first.since);
  EXPECT_EQ(refused.history.back(), kNoLoad);
  server.listenAgain();
  EXPECT_TRUE(eventually([&] { return seen().flaps == 2; }));
  const ServerState again = seen();
  EXPECT_GE(again.failures, refused.failures);
  EXPECT_GT(again.polls, again.failures + 1);
  EXPECT_EQ(again.history.back(), again.standing.load);
  EXPECT_TRUE(eventually([&] { return monitor->picture()->service.failures > 0; }));
  EXPECT_EQ(monitor->picture()->pools[1].rounds, 0u);  // its first poll is under way
  const auto start = std::chrono::steady_clock::now();
  monitor.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, kFar);
}

TEST(Standing, TellsWhatIsOddInTheFigures) {
  const struct {
    Statistics figures;
    Standing standing;
  } cases[] = {
      {{1, 250, 30, 40}, {75, 250, 2, true, {}}},
      {{0, 250, 99, 100}, {99, 0, 0, true, {"divisor 0: list 0, whatever the dividend"}}},
      {{1, 99999, 1, 1},
       {100,
        -31073,
        0,
        false,
        {"average 99999 does not fit 16 bits: counts as -31073",
         "full: handed out only when no server has room"}}},
      {{1, 0, 5, 0}, {0, 0, 0, true, {"limit 0: load 0 until the next poll, however many requests come"}}},
      {{1, 0, 400, 1},
       {-25536,
        0,
        0,
        true,
        {"load 40000% does not fit: counts as -25536%",
         "negative load: preferred to every other server of its list"}}},
      {{1, 0, 30'000'000, 100'000},
       {-12949,
        0,
        0,
        true,
        {"used 30000000: 100 times that does not fit 32 bits, so the load is -1294967296 / 100000, counted "
         "as -12949%",
         "negative load: preferred to every other server of its list"}}},
      {{1, 0, -5, 100},
       {-5,
        0,
        0,
        true,
        {"negative statistic: the daemon reports it and uses it",
         "negative load: preferred to every other server of its list"}}},
  };
  for (const auto& c : cases) {
    const Standing got = standingOf(c.figures, 100);
    SCOPED_TRACE(c.figures.loadUsed);
    EXPECT_EQ(got.load, c.standing.load);
    EXPECT_EQ(got.average, c.standing.average);
    EXPECT_EQ(got.list, c.standing.list);
    EXPECT_EQ(got.hasRoom, c.standing.hasRoom);
    EXPECT_EQ(got.remarks, c.standing.remarks);
  }
}

TEST(Nearest, IsTheWordThatWasMeantOrNone) {
  const std::vector<std::string> words{"PollTimer", "Port", "Pool1", "simulate"};
  const struct {
    const char *wrong, *meant;
  } cases[] = {{"polltimr", "PollTimer"}, {"ProtX", ""}, {"Prot", "Port"}, {"smulate", "simulate"}, {"", ""},
               {"Pool2", "Pool1"},        {"zzz", ""},   {"oPrt", "Port"}};
  for (const auto& c : cases) EXPECT_EQ(nearestWord(c.wrong, words), c.meant) << c.wrong;
  EXPECT_EQ(nearestWord(std::string(65, 'a'), {std::string(65, 'a')}), "");
}

TEST(ServiceClient, APingThatIsNotAnsweredTimesOut) {
  const Descriptor silent(bindPort());
  listen(silent.number(), 1);
  const ServiceAddress service{"127.0.0.1", portOf(silent.number())};
  const ServiceAnswer answer = askService(service, "", kNear);
  EXPECT_FALSE(answer.answered);
  EXPECT_EQ(answer.failure, service.text() + " gave no answer in time");
  EXPECT_GE(answer.took, kNear);
}

}  // namespace
}  // namespace nimbolsp::tools
