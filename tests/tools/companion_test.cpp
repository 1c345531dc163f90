// The companion: descriptions of servers and counts of answers as text, the simulated servers and the front
// end on real sockets of 127.0.0.1, and the program itself.
#include <gtest/gtest.h>
#include <sys/signalfd.h>

#include <csignal>
#include <future>
#include <sstream>

#include "tests/support/temp_folder.h"
#include "tests/tools/running_server.h"
#include "tools/commands/command.h"
#include "tools/front_end.h"
#include "tools/process.h"
#include "tools/simulated_load.h"
#include "tools/simulated_profile.h"

namespace nimbolsp::tools {
namespace {

const std::string kPoll = bytesOf(encodePollRequest());

std::string replyWith(std::int32_t loadUsed) {
  return bytesOf(encodePollReply({1, 0, loadUsed, 100}));
}

AskOptions askFor(std::int64_t count, std::int32_t port) {
  // As long as a poll, so that the fake server answers it.
  return {.pool = std::string(kPollRequestSize - 2, 'p'), .count = count, .service = {.port = port}};
}

TEST(ServerOptions, ReadsDescriptionsAndTellsThem) {
  const struct {
    const char *description, *told;
  } cases[] = {{"127.3.2.1:9,weight=250,warmup=5,drain=60",
                "divisor=1,dividend=0,used=0,limit=100,weight=250,warmup=5,drain=60,behave=answer"},
               {"9,average=250,behave=short=0", "divisor=1,dividend=250,used=0,limit=100,behave=short=0"},
               {"1,divisor=-1,dividend=-2147483648,used=2147483647,limit=0,follow",
                "divisor=-1,dividend=-2147483648,used=2147483647,limit=0,follow,hold=1000,behave=answer"},
               {"65535,follow,hold=3600000,behave=dribble=60000",
                "divisor=1,dividend=0,used=0,limit=100,follow,hold=3600000,behave=dribble=60000"}};
  for (const auto& c : cases) EXPECT_EQ(describe(parseServerOptions(c.description)), c.told);
  EXPECT_EQ(parseServerOptions(cases[0].description).address.text(), "127.3.2.1:9");
}

TEST(ServerOptions, RefusesWhatIsNoDescription) {
  std::istringstream descriptions(  // the first one is empty
      " 5901x,follow 65536 -1 0, 0,follow=1 0,used 0,used= 0,limit=2147483648 0,used=1,used=1 0,hold=5"
      " 0,dividend=1,average=2 0,average=2,divisor=1 0,follow,hold=-1 0,follow,hold=3600001 0,behave=short"
      " 10.0.0.1:5 127.1:5 :5 0,weight=0 0,weight=10001 0,warmup=-1 0,drain=86401 0,drain=never "
      "0,behave=short=34 0,behave=dribble=0 0,behave=dribble=60001 0,behave=reset=1 0,behave=odd");
  for (std::string description; std::getline(descriptions, description, ' ');) {
    EXPECT_THROW(parseServerOptions(description), std::invalid_argument) << description;
  }
}

TEST(ServerOptions, EveryServerHasAPortOfItsOwn) {
  const auto servers = repeated(parseServerOptions("65533"), 3);
  EXPECT_EQ(servers[2].address.port, 65535);
  EXPECT_THROW(repeated(servers[0], 4), std::invalid_argument);
  const auto free = repeated(parseServerOptions("0"), 500);
  EXPECT_EQ(free[1].address.port, 0);
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
  for (int i = 0; i < 20'000; ++i) count.add(std::to_string(i));
  EXPECT_EQ(count.rows().size(), AnswerCount::kMostServers + 1);
  EXPECT_EQ(count.plainLines().substr(0, 15), "10005 (others)\n");
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

TEST(Simulation, AServerWhoseBehaviourChangesLosesItsConnections) {
  std::optional<TestClient> held;
  int changes = 0;
  bool refuses = false;
  RunningServer server("0,behave=silent",
                       "30ms * behave=answer used=9\n10ms * limit=9\n20ms * behave=refuse # at once\n",
                       [&](std::uint16_t port) {
                         if (++changes == 1) held.emplace(port);
                         if (changes == 2) refuses = !TestClient(port).connected();
                       });
  const std::string reply = bytesOf(encodePollReply({1, 0, 9, 9}));
  EXPECT_TRUE(eventually([&] { return server.reply() == reply; }));
  server.figures();
  EXPECT_TRUE(refuses);
  ASSERT_TRUE(held);
  EXPECT_TRUE(held->isReset() || held->isEnded());
}

TEST(Simulation, FiguresFollowWeightWarmUpAndDrain) {
  const struct {
    const char* description;
    std::int32_t visits;
    std::int64_t time;
    Statistics figures;
  } cases[] = {{"0,average=300,limit=50,weight=200", 0, 0, {1, 150, 0, 100}},
               {"0,limit=9,weight=1", 0, 0, {1, 0, 0, 1}},
               {"0,limit=2147483647,weight=10000", 0, 0, {1, 0, 0, INT32_MAX}},
               {"0,used=20,warmup=10", 0, 0, {1, 0, 100, 100}},
               {"0,used=20,warmup=10", 40, 5000, {1, 0, 80, 100}},
               {"0,used=20,warmup=10", 0, 10000, {1, 0, 20, 100}},
               {"0,used=150,warmup=10", 0, 0, {1, 0, 150, 100}},
               {"0,used=-2147483648,limit=2147483647,warmup=1", 0, 0, {1, 0, -1, INT32_MAX}},
               {"0,used=20,drain=3", 0, 2999, {1, 0, 20, 100}},
               {"0,used=20,drain=3", 0, 3000, {1, 0, 100, 100}},
               {"0,limit=0,drain=0", 130, 0, {1, 0, 130, 100}}};
  for (const auto& c : cases) {
    EXPECT_EQ(figuresAt(parseServerOptions(c.description), c.visits, c.time), c.figures) << c.description;
  }
  SimulatedServer server(parseServerOptions("0,used=20"), 1000);
  server.change("warmup=1", 5000);
  EXPECT_EQ(server.statistics(5500).loadUsed, 60);
}

TEST(ChangeScript, ReadsChangesInTheOrderOfTheirTimes) {
  const std::vector<ServerOptions> servers{parseServerOptions("5912"), parseServerOptions("127.0.0.2:5912")};
  const ChangeScript script = readChangeScript(
      " # none\n0.5m\t5912  used=1  limit=2#last\r\n\n1500ms 127.0.0.2:5912 follow\n1.5s * drain=off", "",
      servers);
  ASSERT_EQ(script.changes.size(), 3u);
  EXPECT_EQ(script.changes[0].time, 1500);
  EXPECT_EQ(script.changes[0].server, 1u);
  EXPECT_EQ(script.changes[1].line, "1.5s * drain=off");
  EXPECT_FALSE(script.changes[1].server);
  EXPECT_EQ(script.changes[2].keys, "used=1,limit=2");
  EXPECT_EQ(script.changes[2].time, 30000);
}

TEST(ChangeScript, NamesEveryFaultWithItsLine) {
  const struct {
    const char *line, *faults;  // parts of them, each behind a blank
  } cases[] = {{"1s *", " key=value"},
               {"1x * used=1", " time"},
               {"1 * used=1", " time"},
               {"-1s * used=1", " time"},
               {"nans * used=1", " time"},
               {"9999h * used=1", " time"},
               {"1s 5921 usde=1 behave=silnt used=x", " 127.0.0.1:5912 used silent number"},
               {"1s 10.0.0.1:5912 used=1", " machine"},
               {"1s * average=1 divisor=1", " excludes"},
               {"1s * used=1 used=2", " twice"}};
  for (const auto& c : cases) {
    const auto script = readChangeScript(std::string("\n") + c.line, "file", {parseServerOptions("5912")});
    std::istringstream parts(c.faults);
    for (const std::string& fault : script.faults) {
      std::string part;
      parts >> part;
      EXPECT_EQ(fault.substr(0, 8), "file:2: ");
      EXPECT_NE(fault.find(part), std::string::npos) << c.line << ": " << fault;
    }
    std::string missing;
    EXPECT_FALSE(parts >> missing) << c.line << ": " << missing;
  }
}

TEST(SimulatedProfile, ActsAsEveryServerOnceAndNamesWhatIsNotHere) {
  const auto poolOf = [](const std::vector<std::string>& texts) {
    PoolEntry pool;
    for (const std::string& text : texts) pool.servers.push_back({text, parseServerEntry(text)});
    return pool;
  };
  EffectiveProfile profile;
  profile.pools = {poolOf({"5912", "127.0.0.2:71448"}), poolOf({"127.0.0.1:5912"})};
  const auto servers = simulatedServers(profile, parseServerOptions("0,used=7"));
  ASSERT_EQ(servers.size(), 2u);
  EXPECT_EQ(servers[1].address.text(), "127.0.0.2:5912");
  EXPECT_EQ(servers[1].statistics.loadUsed, 7);
  profile.pools.push_back(poolOf({"10.0.0.1:1", "none:1", "x", "0", "5913", "8.8.8.8:1", "9.9.9.9:1"}));
  try {
    simulatedServers(profile, {});
    FAIL();
  } catch (const std::invalid_argument& fault) {
    EXPECT_STREQ(fault.what(),
                 ": cannot act as 10.0.0.1:1 (not on this machine), none:1 (not on this machine), "
                 "x (without a port), 0 (without a port), 8.8.8.8:1 (not on this machine) and "
                 "1 more; simulated servers have addresses of 127.0.0.0/8");
  }
}

TEST(DurationCount, TellsWithinWhichTimeAShareWasDone) {
  DurationCount times;
  EXPECT_EQ(times.percentile(50).count(), 0);
  for (const std::int64_t time : {-5, 10, 20, 63}) times.add(std::chrono::microseconds(time));
  EXPECT_EQ(times.percentile(50).count(), 10);
  EXPECT_EQ(times.percentile(51).count(), 20);
  for (int power = 6; power < 63; ++power) {
    const std::int64_t time = std::int64_t{1} << power;
    DurationCount one;
    for (const std::int64_t each : {time - 1, time, time + time / 2, INT64_MAX})
      one.add(std::chrono::microseconds(each));
    EXPECT_EQ(one.percentile(25).count(), time - 1);
    EXPECT_EQ(one.percentile(50).count() / (time / 32), 32) << time;
    EXPECT_EQ(one.percentile(75).count() / (time / 32), 48) << time;
    EXPECT_EQ(one.percentile(99), one.largest());
  }
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
  const struct {
    std::string text;
    std::uint64_t failed;
  } cases[] = {{server.address(), 0}, {"no address", 20}, {"", 0}};
  for (const auto& [text, failed] : cases) {
    service.answerWith(answerOf(text));
    const auto start = std::chrono::steady_clock::now();
    const AskOutcome outcome = ask(options, -1);
    const AnswerCount& answers = outcome.answers;
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2 * options.interval);
    EXPECT_GE(outcome.elapsed, 2 * options.interval);
    EXPECT_GT(outcome.times.percentile(1).count(), 0);
    EXPECT_FALSE(outcome.interrupted);
    EXPECT_EQ(answers.plainLines(), "20 " + (text.empty() ? "(no server)" : text) + "\n");
    EXPECT_EQ(answers.failedVisits(), failed) << text;
  }
}

TEST(Ask, KeepsWhatWasAnsweredBeforeTheServiceBrokeOff) {
  const struct {
    const char *lastAnswer, *failure;
  } cases[] = {{"\1", "closed the connection without an answer"},
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
    const AskOutcome outcome = ask(askFor(0, server.port()), stop.number());
    EXPECT_EQ(outcome.failure, "");
    EXPECT_TRUE(outcome.interrupted);
    signalfd_siginfo taken;
    EXPECT_EQ(read(stop.number(), &taken, sizeof taken), ssize_t{sizeof taken});
  }
}

TEST(Program, TellsWhatIsAskedOrWrongAndExitsWithItsStatus) {
  FakeServer service, astray;
  service.answerWith({"\1\0", 2});
  astray.answerWith("\1\1x");
  const Descriptor refusing(bindPort()), silent(bindPort());
  listen(silent.number(), 8);
  const TempFolder folder;
  const std::string taken = std::to_string(service.port()), dead = std::to_string(portOf(refusing.number()));
  const std::string profile = folder.write("nimbolsp.ini", "[Setup]\r\nPort=" + taken + "\r\n");
  folder.write(
      "pools.ini",
      "[Setup]\r\nPort=1\r\nPool1=Web\r\nBucketSize=20\r\n\r\n[Web]\r\nServer1=127.0.0.1:" + dead + "\r\n");
  folder.write("silent.ini", "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=" +
                                 std::to_string(portOf(silent.number())) + "\r\n");
  folder.write("bad.ini", "[Setup]\r\nPort=1\r\nPool1=Web\r\n");
  folder.write("script", "0s " + dead + " used=9\n1ms * used=8\n");
  const std::string asked = "ask aNameAsLongAsAPollIs1 ";
  const struct {
    std::string arguments;
    int status;
    std::string told;
  } cases[] = {
      {"", kWrongCommandLine, "nimbolspctl: A subcommand is required"},
      {"smulate", kWrongCommandLine, "did you mean \"simulate\"?"},
      {"ask p --hots 1", kWrongCommandLine, "\"ask\" has no option --hots; did you mean \"--host\"?"},
      {"help ask", kDone, "Act as a front end"},
      {"--port 1 ask p", kWrongCommandLine, "options go behind the command: nimbolspctl ask --port..."},
      {"top --sort laod", kWrongCommandLine, "\"laod\" is no key to sort by; did you mean \"load\"?"},
      {"ask --help >/dev/full", kOutputFailed, "standard output cannot be written: No space left"},
      {"--version", kDone, "nimbolspctl "},
      {"--version >&-", kOutputFailed, "standard output cannot be written: it is closed"},
      {"--version <&- >&-", kOutputFailed, "standard output cannot be written: it is closed"},
      {"--version >/dev/null; mkfifo left; exec 3<>left 4>left 3<&-; " NIMBOLSPCTL_PROGRAM
       " --version >&4; status=$?; [ -s output ] || echo silent; exit $status",
       kOutputFailed, "silent\n"},
      {"--version >/dev/full", kOutputFailed, "standard output cannot be written: No space left"},
      {"simulate", kWrongCommandLine, "simulate wants --server or --profile"},
      {"simulate --server 0,used", kWrongCommandLine, "nimbolspctl: --server 0,used: used is a number"},
      {"simulate --server 0 --server 0 --count 2", kWrongCommandLine, "--count wants exactly one"},
      {"simulate --server " + taken, 1, "nimbolspctl: cannot bind 127.0.0.1:"},
      {"simulate --server 0 --server 0,average=9,used=3,limit=4 --for 0 --bucket-size 2", kDone,
       "75%     4\n"},
      {"simulate --server 0,average=250 --until-stdin-closes </dev/null", kDone, "0%     2\n"},
      {"simulate --server 0 --count 300 --for 0", kDone, "ready\n"},
      {"simulate --server 0,lmit=1", kWrongCommandLine, "unknown key \"lmit\"; did you mean \"limit\"?"},
      {"simulate --server 0 >/dev/full", kOutputFailed, "standard output cannot be written: No space left"},
      {"simulate --profile bad.ini", kWrongCommandLine,
       "bad.ini: the daemon would not start: Each server pool must"},
      {"simulate --profile pools.ini --each used=7,average=50 --for 0", kDone, "7%     2\n"},
      {"simulate --profile pools.ini --server " + dead + ",used=5 --for 0", kDone, "5%     0\n"},
      {"simulate --profile pools.ini --script script --for 0", kDone, ",used=9,"},
      {"simulate --profile pools.ini --script script --for 0.1", kDone, "ready\n1ms * used=8\n"},
      {"simulate --server 0 --script script", kWrongCommandLine, "script:1: there is no server 127.0.0.1:"},
      {"simulate --server 0 --script /dev/zero", kWrongCommandLine, "/dev/zero has more than 1048576 bytes"},
      {"simulate --server 0 --script .", kWrongCommandLine, ". cannot be read: Is a directory"},
      {"check pools.ini --rate 0", kWrongCommandLine, "\"0\" is no number from 0.001 to 1000000000 "},
      {"ask p -n -1", kWrongCommandLine, "--count: \"-1\" is no number from 0 to 1000000000000 "},
      {"ask p --host localhost", kWrongCommandLine, "is no IPv4 address"},
      {"ask p --profile none", kWrongCommandLine, "none cannot be read"},
      {"ask p --profile /dev/null", kWrongCommandLine, "/dev/null is no ordinary file"},
      {"ask p --profile output", kWrongCommandLine, "output has no Port in section [Setup]"},
      {asked, 1, "      1  100.0%  ########################  (no server)\n"},
      {"ask --port 1 " + std::string(256, 'p'), kWrongCommandLine, "a pool's name has at most 255 bytes"},
      {asked + "--plain --profile " + profile + "; echo $?", kDone, "1 (no server)\n1\n"},
      {asked + "--port " + std::to_string(astray.port()) + " --visit --plain", 4, "failed visits: 1\n"},
      {asked + "--json", 1, "\"withoutServer\": 1,"},
      {asked + "--port " + std::to_string(portOf(silent.number())) +
           " & until grep -q 'asking 127.0.0.1:' output; do sleep 0.05; done; kill $!; wait $!",
       kStoppedBySignal, "Ctrl-C ends it"},
      {"check silent.ini --rate 1 --timeout 60000 & until grep -q 'polling 1' output; do sleep 0.05; done; "
       "kill $!; wait $!",
       kStoppedBySignal, "127.0.0.1:" + std::to_string(portOf(silent.number())) + "   30 s\n\n0 errors"},
      {asked + "--port " + dead, kServiceFailed, "nimbolspctl: cannot connect to 127.0.0.1:"},
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
    EXPECT_NE(folder.read("output").find("Examples:\n"), std::string::npos) << command.name;
  }
  for (const auto& row : cases) expect(row.arguments, row.status, row.told);
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)  // which have no room beside such stacks
  expect("--version; ulimit -s 200000000000; " NIMBOLSPCTL_PROGRAM " check pools.ini --rate 1", kSystemFailed,
         "nimbolspctl: Resource temporarily unavailable");
#endif
}

}  // namespace
}  // namespace nimbolsp::tools
