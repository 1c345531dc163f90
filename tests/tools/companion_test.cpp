// The companion: descriptions of servers and counts of answers as text, the simulated servers and the front
// end on real sockets of 127.0.0.1, and the program itself.
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <csignal>
#include <future>
#include <sstream>

#include "tests/support/fake_server.h"
#include "tests/support/temp_folder.h"
#include "tools/commands/command.h"
#include "tools/front_end.h"
#include "tools/process.h"
#include "tools/simulation.h"

namespace nimbolsp::tools {
namespace {

const std::string kPoll = bytesOf(encodePollRequest());

// A simulated server that runs from here to the end of the scope, or until its figures are taken.
class RunningServer {
 public:
  explicit RunningServer(const std::string& description) : simulation_({parseServerOptions(description)}) {}
  ~RunningServer() { eventfd_write(stop_.number(), 1); }

  const std::string& address() const { return address_; }
  std::uint16_t port() const { return static_cast<std::uint16_t>(std::stoi(address().substr(10))); }
  std::string reply() const {
    TestClient client(port());
    client.send(kPoll);
    return client.receive(2 * kPollReplySize);
  }
  ServerFigures figures() {
    eventfd_write(stop_.number(), 1);
    run_.join();
    return simulation_.figures()[0];
  }

 private:
  Simulation simulation_;
  const std::string address_ = simulation_.figures()[0].address;
  const Descriptor stop_{eventfd(0, EFD_CLOEXEC)};
  std::jthread run_{[this] { simulation_.run({stop_.number(), -1, -1}); }};
};

std::string replyWith(std::int32_t loadUsed) {
  return bytesOf(encodePollReply({1, 0, loadUsed, 100}));
}

AskOptions askFor(std::int64_t count, std::int32_t port) {
  // As long as a poll, so that the fake server answers it.
  return {.pool = std::string(kPollRequestSize - 2, 'p'), .count = count, .service = {.port = port}};
}

TEST(ServerOptions, ReadsDescriptionsAndTellsThem) {
  const std::pair<const char*, const char*> cases[] = {
      {"9,average=250,behave=short=0", "divisor=1,dividend=250,used=0,limit=100,behave=short=0"},
      {"1,divisor=-1,dividend=-2147483648,used=2147483647,limit=0,follow",
       "divisor=-1,dividend=-2147483648,used=2147483647,limit=0,follow,hold=1000,behave=answer"},
      {"65535,follow,hold=3600000,behave=dribble=60000",
       "divisor=1,dividend=0,used=0,limit=100,follow,hold=3600000,behave=dribble=60000"}};
  for (const auto& [description, told] : cases) EXPECT_EQ(describe(parseServerOptions(description)), told);
}

TEST(ServerOptions, RefusesWhatIsNoDescription) {
  std::istringstream descriptions(  // the first one is empty
      " 5901x,follow 65536 -1 0, 0,follow=1 0,used 0,used= 0,limit=2147483648 0,used=1,used=1 0,hold=5"
      " 0,dividend=1,average=2 0,average=2,divisor=1 0,follow,hold=-1 0,follow,hold=3600001 0,behave=short"
      " 0,behave=short=34 0,behave=dribble=0 0,behave=dribble=60001 0,behave=reset=1 0,behave=odd");
  for (std::string description; std::getline(descriptions, description, ' ');) {
    EXPECT_THROW(parseServerOptions(description), std::invalid_argument) << description;
  }
}

TEST(ServerOptions, EveryServerHasAPortOfItsOwn) {
  const auto servers = repeated(parseServerOptions("65533"), 3);
  EXPECT_EQ(servers[2].port, 65535);
  EXPECT_THROW(repeated(servers[0], 4), std::invalid_argument);
  const auto free = repeated(parseServerOptions("0"), 500);
  EXPECT_EQ(free[1].port, 0);
  EXPECT_NO_THROW(refuseSharedPorts(free));
  EXPECT_THROW(refuseSharedPorts({servers[0], servers[1], servers[0]}), std::invalid_argument);
}

TEST(AnswerCount, SortsByCountThenByHarmlessTextAndTellsShares) {
  AnswerCount count;
  EXPECT_EQ(count.table(false), "ANSWERS  SHARE    SERVER\n");
  for (const char* server : {"c:1", "a:1", "b:1", "b:1", "", "", "a\x1F ~\x7F\\\n"}) count.add(server);
  EXPECT_EQ(count.plainLines(), "2 (no server)\n2 b:1\n1 a\\x1f ~\\x7f\\\\\\x0a\n1 a:1\n1 c:1\n");
  EXPECT_EQ(count.withoutServer(), 2u);
  count.addFailedVisit("a:1");
  EXPECT_NE(count.table(true).find("      1  14.3%              1  ############              a:1\n"),
            std::string::npos);
}

TEST(Simulation, EveryBehaviourIsWhatAPeerSees) {
  const struct {
    std::string behaviour, bytes;
    int error;  // of the end
    std::uint64_t answered;
  } cases[] = {{"answer", replyWith(5), 0, 1},
               {"short=33", replyWith(5).substr(0, 33), 0, 0},
               {"extra", replyWith(5) + std::string(34, '\xFF'), 0, 1},
               {"dribble=1", replyWith(5), 0, 1},
               {"reset", "", ECONNRESET, 0},
               {"close", "", 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.behaviour);
    RunningServer server("0,used=5,behave=" + c.behaviour);
    TestClient client(server.port());
    if (c.behaviour != "close") client.send(kPoll);
    EXPECT_EQ(client.receive(c.bytes.size()), c.bytes);
    EXPECT_TRUE(client.isEnded(c.error));
    EXPECT_EQ(server.figures().pollsAnswered, c.answered);
  }
  EXPECT_FALSE(TestClient(RunningServer("0,behave=refuse").port()).connected());
  const RunningServer garbage("0,behave=garbage");
  const std::string one = garbage.reply();
  EXPECT_EQ(one.size(), kPollReplySize);
  EXPECT_NE(one, garbage.reply());
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
  EXPECT_TRUE(eventually([&server] { return server.reply() == replyWith(3); }));
  EXPECT_EQ(server.figures().visits, 3u);
}

TEST(Simulation, LoadFollowsTheVisitsAsLongAsTheyLast) {
  SimulatedServer server(parseServerOptions("0,used=2147483646,follow,hold=100"));
  for (const std::int64_t now : {1000, 1050}) server.react(Caller::kVisit, now);
  EXPECT_EQ(server.statistics(1099).loadUsed, INT32_MIN);
  EXPECT_EQ(server.statistics(1100).loadUsed, INT32_MAX);
  EXPECT_EQ(server.statistics(1150).loadUsed, INT32_MAX - 1);
}

TEST(Ask, CountsTheAnswersOfAllClientsAndTheirVisits) {
  const RunningServer server("0");
  FakeServer service;
  AskOptions options = askFor(20, service.port());
  options.visit = true;
  options.clients = 7;
  options.interval = std::chrono::milliseconds(20);
  using Row = std::pair<std::string, std::uint64_t>;
  for (const auto& [text, failed] : {Row(server.address(), 0), Row("no address", 20), Row("", 0)}) {
    service.answerWith(answerOf(text));
    const auto start = std::chrono::steady_clock::now();
    const AnswerCount answers = ask(options, -1).answers;
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2 * options.interval);
    EXPECT_EQ(answers.plainLines(), "20 " + (text.empty() ? "(no server)" : text) + "\n");
    EXPECT_EQ(answers.failedVisits(), failed) << text;
  }
}

TEST(Ask, KeepsWhatWasAnsweredBeforeTheServiceBrokeOff) {
  const std::pair<const char*, const char*> cases[] = {{"\1", "closed the connection without an answer"},
                                                       {"\1\5ab", "sent something that is no answer"},
                                                       {"\2\4abcd", "sent something that is no answer"}};
  for (const auto& [lastAnswer, failure] : cases) {
    FakeServer service;
    service.answerWith(answerOf("5912"));
    auto asked = std::async(std::launch::async, [&service] { return ask(askFor(0, service.port()), -1); });
    EXPECT_TRUE(service.waitForPolls(1));
    service.answerWith(lastAnswer);
    const AskOutcome outcome = asked.get();
    EXPECT_EQ(outcome.failure, service.entry() + " " + failure);
    EXPECT_GE(outcome.answers.total(), 1u);
  }
}

TEST(Ask, AStopSignalEndsAClientThatTheServiceLeavesWaiting) {
  const RunningServer server("0,behave=silent");  // never answers a front end either
  for (const int signal : {SIGINT, SIGTERM}) {
    const Descriptor stop = catchStopSignals();
    raise(signal);
    EXPECT_EQ(ask(askFor(0, server.port()), stop.number()).failure, "");
    signalfd_siginfo taken;
    EXPECT_EQ(read(stop.number(), &taken, sizeof taken), ssize_t{sizeof taken});
  }
}

TEST(Program, TellsWhatIsAskedOrWrongAndExitsWithItsStatus) {
  FakeServer service, astray;
  service.answerWith({"\1\0", 2});
  astray.answerWith("\1\1x");
  const Descriptor refusing(bindPort());
  const TempFolder folder;
  const std::string taken = std::to_string(service.port()), dead = std::to_string(portOf(refusing.number()));
  const std::string profile = folder.write("nimbolsp.ini", "[Setup]\r\nPort=" + taken + "\r\n");
  const std::string asked = "ask aNameAsLongAsAPollIs1 ";
  const struct {
    std::string arguments;
    int status;
    const char* told;
  } cases[] = {
      {"", kWrongCommandLine, "nimbolspctl: A subcommand is required"},
      {"smulate", kWrongCommandLine, "did you mean \"simulate\"?"},
      {"ask p --hots 1", kWrongCommandLine, "\"ask\" has no option --hots; did you mean \"--host\"?"},
      {"ask --help >/dev/full", kOutputFailed, "standard output cannot be written: No space left"},
      {"--version", kDone, "nimbolspctl "},
      {"simulate", kWrongCommandLine, "--server is required"},
      {"simulate --server 0,used", kWrongCommandLine, "nimbolspctl: --server 0,used: used is a number"},
      {"simulate --server 0 --server 0 --count 2", kWrongCommandLine, "--count wants exactly one"},
      {"simulate --server " + taken, 1, "nimbolspctl: cannot bind 127.0.0.1:"},
      {"simulate --server 0 --server 0,average=9,used=3,limit=4 --for 0 --bucket-size 2", kDone,
       "75%     4\n"},
      {"simulate --server 0,average=250 --until-stdin-closes </dev/null", kDone, "0%     2\n"},
      {"simulate --server 0 --count 300 --for 0", kDone, "ready\n"},
      {"ask p --host localhost", kWrongCommandLine, "is no IPv4 address"},
      {"ask p --profile none", kWrongCommandLine, "none cannot be read"},
      {"ask p --profile /dev/null", kWrongCommandLine, "/dev/null is no ordinary file"},
      {"ask p --profile output", kWrongCommandLine, "output has no Port in section [Setup]"},
      {asked, 1, "      1  100.0%  ########################  (no server)\n"},
      {"ask --port 1 " + std::string(256, 'p'), kWrongCommandLine, "a pool's name has at most 255 bytes"},
      {asked + "--plain --profile " + profile + "; echo $?", kDone, "1 (no server)\n1\n"},
      {asked + "--port " + std::to_string(astray.port()) + " --visit --plain", 4, "failed visits: 1\n"},
      {asked + "--port " + dead, 3, "nimbolspctl: cannot connect to 127.0.0.1:"},
  };
  // With few descriptors, so that a command which needs many must raise the limit.
  const std::string start =
      "cd " + folder.path() + "; ulimit -Sn 256; exec >output 2>&1; " NIMBOLSPCTL_PROGRAM " ";
  const auto expect = [&](const std::string& arguments, int status, const std::string& told) {
    EXPECT_EQ(WEXITSTATUS(std::system((start + arguments).c_str())), status) << arguments;
    const std::string output = folder.read("output");
    EXPECT_NE(output.find(told), std::string::npos) << arguments << "\n" << output;
  };
  for (const Command& command : commands()) {
    expect("--help", kDone, command.help);
    expect(std::string(command.name) + " --help", kDone, "Exit status: 0 ");
  }
  for (const auto& row : cases) expect(row.arguments, row.status, row.told);
}

}  // namespace
}  // namespace nimbolsp::tools
