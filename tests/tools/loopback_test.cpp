// The simulated servers and the front end on real sockets of 127.0.0.1.
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <future>
#include <thread>

#include "tests/support/eventually.h"
#include "tests/support/fake_server.h"
#include "tools/front_end.h"
#include "tools/simulation.h"

namespace nimbolsp::tools {
namespace {

// A simulated server that runs from here to the end of the scope.
class RunningServer {
 public:
  explicit RunningServer(const std::string& description) : simulation_({parseServerOptions(description)}) {}
  ~RunningServer() { eventfd_write(stop_.number(), 1); }

  const std::string& address() const { return address_; }
  std::uint16_t port() const { return static_cast<std::uint16_t>(std::stoi(address().substr(10))); }

 private:
  Simulation simulation_;
  const std::string address_ = simulation_.figures()[0].address;
  const Descriptor stop_{eventfd(0, EFD_CLOEXEC)};
  std::jthread run_{[this] { simulation_.run({stop_.number(), -1, -1}); }};
};

const std::string kPoll = bytesOf(encodePollRequest());

std::string replyWith(std::int32_t loadUsed) {
  return bytesOf(encodePollReply({1, 0, loadUsed, 100}));
}

AskOptions askFor(std::int64_t count, std::int32_t port) {
  // As long as a poll, so that the fake server answers it.
  return {.pool = std::string(kPollRequestSize - 2, 'p'), .count = count, .port = port};
}

std::string answerOf(const std::string& server) {
  return std::string{1, static_cast<char>(server.size())} + server;
}

TEST(Simulation, EveryBehaviourIsWhatAPeerSees) {
  const struct {
    const char* behaviour;
    std::string bytes;
  } cases[] = {{"answer", replyWith(5)},
               {"short=33", replyWith(5).substr(0, 33)},
               {"extra", replyWith(5) + std::string(34, '\xFF')},
               {"dribble=1", replyWith(5)},
               {"reset", ""},
               {"close", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.behaviour);
    RunningServer server(std::string("0,used=5,behave=") + c.behaviour);
    TestClient client(server.port());
    client.send(kPoll);
    EXPECT_EQ(client.receive(c.bytes.size()), c.bytes);
    EXPECT_TRUE(*c.behaviour == 'r' ? client.isReset() : client.isEnded());
  }
  EXPECT_FALSE(TestClient(RunningServer("0,behave=refuse").port()).connected());
}

TEST(Simulation, VisitsRaiseTheLoadAndAreCounted) {
  RunningServer server("0,follow,hold=3600000");
  TestClient(server.port()).close();
  TestClient talks(server.port());
  talks.send("GET");
  EXPECT_TRUE(talks.isEnded());
  TestClient beginsLikeAPoll(server.port());
  beginsLikeAPoll.send(kPoll.substr(0, 2));
  beginsLikeAPoll.reset();
  const auto threeAreSeen = [&server] {
    TestClient client(server.port());
    client.send(kPoll);
    return client.receive(kPollReplySize) == replyWith(3);
  };
  EXPECT_TRUE(eventually(threeAreSeen));
}

TEST(Simulation, LoadFollowsTheVisitsAsLongAsTheyLast) {
  SimulatedServer server(parseServerOptions("0,used=2147483646,follow,hold=100"));
  for (const std::int64_t now : {1000, 1050}) server.react(Caller::kVisit, now);
  EXPECT_EQ(server.statistics(1099).loadUsed, INT32_MIN);
  EXPECT_EQ(server.statistics(1100).loadUsed, INT32_MAX);
  EXPECT_EQ(server.statistics(1150).loadUsed, INT32_MAX - 1);
}

TEST(Ask, CountsTheAnswersOfAllClientsAndTheirVisits) {
  RunningServer server("0");
  FakeServer service;
  service.answerWith(answerOf(server.address()));
  AskOptions options = askFor(20, service.port());
  options.visit = true;
  options.clients = 7;
  const AskOutcome good = ask(options, -1);
  EXPECT_EQ(good.answers.plainLines(), "20 " + server.address() + "\n");
  EXPECT_EQ(good.answers.failedVisits(), 0u);
  service.answerWith(answerOf("no address"));
  EXPECT_EQ(ask(options, -1).answers.failedVisits(), 20u);
}

TEST(Ask, KeepsWhatWasAnsweredBeforeTheServiceBrokeOff) {
  const struct {
    const char *lastAnswer, *failure;
  } cases[] = {{"\1", "closed the connection without an answer"},
               {"\1\5ab", "sent something that is no answer"},
               {"\2\4abcd", "sent something that is no answer"}};
  for (const auto& c : cases) {
    FakeServer service;
    service.answerWith(answerOf("5912"));
    auto asked = std::async(std::launch::async, [&service] { return ask(askFor(0, service.port()), -1); });
    EXPECT_TRUE(service.waitForPolls(1));
    service.answerWith(c.lastAnswer);
    const AskOutcome outcome = asked.get();
    EXPECT_NE(outcome.failure.find(c.failure), std::string::npos) << outcome.failure;
    EXPECT_GE(outcome.answers.total(), 1u);
  }
}

TEST(Ask, AStopEndsAClientThatTheServiceLeavesWaiting) {
  RunningServer server("0,behave=silent");  // never answers a front end either
  const Descriptor stop(eventfd(1, EFD_CLOEXEC));
  EXPECT_EQ(ask(askFor(0, server.port()), stop.number()).failure, "");
}

}  // namespace
}  // namespace nimbolsp::tools
