// The real service at work: requests good, odd and hostile, polls of scripted servers, what it makes of their
// answers, and its end in their midst. NIMBOLSP_HOSTILE_COUNT is the number of hostile requests, else 2000.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

#include "tests/support/daemon_process.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_server.h"

namespace {

// All bytes that a value of the profile can have, up to a length.
std::string anyBytes(std::size_t length, const std::string& without) {
  std::string bytes;
  for (char byte = 1; byte != 0; ++byte) {
    if (without.find(byte) == std::string::npos) bytes += byte;
  }
  bytes.resize(length, 'z');
  return bytes;
}

class RequestsTest : public testing::Test {
 protected:
  RequestsTest() {
    const std::string slow = "PollTimer=4294967\r\n";  // nearly the most milliseconds there are
    service_.writeProfile("Pool1=Web\r\nPool2=B\xFCro\r\nPool3=" + longName_ + "\r\n",
                          "\r\n[Web]\r\nServer1=10.0.0.1:1\r\nServer2=10.0.0.2:2\r\nServer3=3\r\n" + slow +
                              "\r\n[B\xFCro]\r\nServer1=" + longText_ + "\r\n" + slow + "\r\n[" + longName_ +
                              "]\r\nServer1=long\r\n" + slow);
    EXPECT_TRUE(service_.startService());
  }
  ~RequestsTest() override { EXPECT_EQ(service_.stopService(), 0); }

  const std::string longName_ = anyBytes(255, "\r\n]");
  const std::string longText_ = anyBytes(300, "\r\n");  // cut to 255
  DaemonProcess service_{NIMBOLSP_PROGRAM};
};

TEST_F(RequestsTest, AnswerIsTheTextAsConfigured) {
  const auto answer = [this](const std::string& pool) { return ask(service_.port(), pool); };
  EXPECT_EQ(answer("WEB"), "3") << "the last server first";
  EXPECT_EQ(answer("web"), "10.0.0.2:2") << "then the next in the list";
  for (const std::string unknown : {"Mail", "We", "Webs", ""}) EXPECT_EQ(answer(unknown), "") << unknown;
  EXPECT_EQ(answer(std::string("Web\0", 4)), "") << "a name with a NUL";
  EXPECT_EQ(answer("b\xDCRO"), longText_.substr(0, 255)) << "another letter of the code page";
  EXPECT_EQ(answer(longName_), "long") << "a name of 255 bytes";
}

TEST_F(RequestsTest, BadMessageTypeIsReportedAndResetAndHalfARequestDroppedSilently) {
  for (std::size_t size : {1U, 4U}) TestClient(service_.port()).send(requestFor("web").substr(0, size));
  for (const char type : {'\1', '\3', '\xFF'}) {
    TestClient client(service_.port());
    client.send(std::string{type, '\0'});
    EXPECT_TRUE(client.isReset());
  }
  const std::string bad = "Bad message type received\n";
  EXPECT_EQ(ask(service_.port(), "web"), "3");
  EXPECT_EQ(service_.log(), "Process started\n" + bad + bad + bad);
}

// One hostile connection: half a request or none, or random bytes, or gone before the answer. Never a stop.
void attack(std::uint16_t port, std::mt19937& random) {
  TestClient client(port);
  std::string bytes = requestFor("web");
  if (random() % 2 == 0) bytes.resize(random() % 300);
  if (random() % 2 == 0) std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
  if (bytes.starts_with('\2')) bytes[0] = 0;
  client.send(bytes.substr(0, random() % 3 == 0 ? 1 : bytes.size()));
  if (random() % 2 == 0) client.reset();
}

TEST_F(RequestsTest, HostileClientsLeaveNothingBehind) {
  ASSERT_EQ(ask(service_.port(), "web"), "3");
  const std::ptrdiff_t before = service_.descriptors();
  const char* count = std::getenv("NIMBOLSP_HOSTILE_COUNT");
  std::atomic<int> left = count == nullptr ? 2000 : std::atoi(count);
  std::vector<std::jthread> clients;
  for (unsigned int seed = 1; seed <= 3; ++seed) {  // each has two connections in the queue at the most
    clients.emplace_back([&, seed] {
      std::mt19937 random(seed);
      while (left-- > 0) {
        attack(service_.port(), random);
        EXPECT_NE(ask(service_.port(), "web"), "(no answer)");
      }
    });
  }
  clients.clear();
  EXPECT_TRUE(eventually([&] { return service_.descriptors() <= before; }));
}

constexpr std::int32_t kLimit = kIdle.loadLimit;

std::string replyOf(const nimbolsp::Statistics& statistics) {
  return bytesOf(nimbolsp::encodePollReply(statistics));
}

const std::string kIdleReply = replyOf(kIdle), kShort = kIdleReply.substr(1), kRefuse = "not listening";
constexpr FakeServer::Manner kClose = FakeServer::kClose, kOpen = FakeServer::kKeepOpen;

// How a server meets polls, and whether it then takes the requests of its pool from the steady server there.
struct Act {
  std::string answer;
  FakeServer::Manner manner;
  bool wins;
};

TEST(Polling, RequestsFollowWhatTheLastPollFound) {
  const struct {
    const char* pool;
    Act acts[2];
  } cases[] = {
      {"Load", {{kIdleReply, kClose, true}, {replyOf({1, 0, kLimit / 4 * 3, kLimit}), kClose, false}}},
      {"List", {{replyOf({1, 100, 0, kLimit}), kClose, false}, {kIdleReply, FakeServer::kDribble, true}}},
      {"Ends", {{kIdleReply + std::string(100000, '\xFF'), kClose, true}, {kRefuse, kClose, false}}},
      {"Begins", {{kRefuse, kClose, false}, {kIdleReply, kOpen, true}}},
      {"ClosesAtOnce", {{"", kClose, false}, {replyOf({1, 0, -kLimit, kLimit}), kClose, true}}},
      {"ClosesEarly", {{kShort, kClose, false}, {kIdleReply, kClose, true}}},
      {"Resets", {{kShort, FakeServer::kReset, false}, {kShort, FakeServer::kReset, false}}},
      {"Silent", {{"", kOpen, false}, {kIdleReply, kClose, false}}},  // the poll that waits gets no answer
  };
  FakeServer steady({1, 0, kLimit / 2, kLimit}), odd[std::size(cases)];
  std::string pools, sections;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    pools += "Pool" + std::to_string(i + 1) + "=" + cases[i].pool + "\r\n";
    sections.append("\r\n[").append(cases[i].pool).append("]\r\nPollTimer=1\r\nServer1=" + steady.entry());
    sections += "\r\nServer2=" + odd[i].entry() + "\r\n";
  }
  DaemonProcess service(NIMBOLSP_PROGRAM);
  service.writeProfile(pools + "QuietMode=1\r\nDebugMode=1\r\nLogLineThreshold=10000\r\n", sections);
  const auto start = std::chrono::steady_clock::now();
  for (const int act : {0, 1}) {
    for (std::size_t i = 0; i < std::size(cases); ++i) {
      const Act& now = cases[i].acts[act];
      odd[i].answerWith(now.answer, now.manner);
      if (now.answer == kRefuse) odd[i].refuse();
      if (act == 1 && cases[i].acts[0].answer == kRefuse) odd[i].listenAgain();
    }
    ASSERT_TRUE(act == 1 || service.startService());
    for (std::size_t i = 0; i < std::size(cases); ++i) {
      const std::string winner = (cases[i].acts[act].wins ? odd[i] : steady).entry();
      // Ten times in a row: by its load, not by turns.
      EXPECT_TRUE(eventually([&] {
        int count = 0;
        while (count < 10 && ask(service.port(), cases[i].pool) == winner) ++count;
        return count == 10;
      })) << cases[i].pool;
    }
  }
  EXPECT_EQ(steady.lastRequest(), std::string("\0\0\0\x17NIMBO_ORFC\0\x01\0\x0F\0\0\0\0\0", 23));
  const auto seconds = (std::chrono::steady_clock::now() - start) / std::chrono::seconds(1) + 1;
  EXPECT_LE(steady.polls(), seconds * std::ssize(cases));
  EXPECT_EQ(odd[7].polls(), 1);
  const std::string debug = "[ DEBUG ] [ ";
  EXPECT_TRUE(service.log().starts_with(debug + "1 ] Debug is ON\n"));  // Pins(level-as-port)
  for (const std::string& line :
       {debug + odd[0].entry() + " ] Thread started", debug + odd[0].entry() + " ] Load: 75%",
        debug + odd[2].entry() + " ] Failed connecting to NIMBO server.",
        debug + odd[5].entry() + " ] No response received from NIMBO server.",
        debug + odd[4].entry() + " ] Load: -100%", std::string("Invalid statistic value received")}) {
    EXPECT_TRUE(eventually([&] { return service.log().find(line + "\n") != std::string::npos; })) << line;
  }
  EXPECT_EQ(service.stopService(), 0);
}

TEST(Polling, EndsInOrderWhateverThePollersDo) {
  FakeServer good, resetting, silent, refusing;
  resetting.answerWith("", FakeServer::kReset);
  silent.answerWith("", kOpen);
  refusing.refuse();
  const Descriptor full(bindPort());  // a connection to it waits for ever
  listen(full.number(), 0);
  const TestClient filling(portOf(full.number()));
  std::string servers;
  int count = 0;
  for (const int port : {good.port(), good.port(), good.port(), resetting.port(), silent.port(),
                         refusing.port(), portOf(full.number())}) {
    servers += "Server" + std::to_string(++count) + "=" + std::to_string(port) + "\r\n";
  }
  DaemonProcess service(NIMBOLSP_PROGRAM);
  // Seconds whose milliseconds wrap to 8: the threads poll without a pause.
  service.writeProfile("Pool1=Web\r\nDebugMode=2\r\nLogLineThreshold=100\r\n",
                       "\r\n[Web]\r\nPollTimer=115964117\r\n" + servers);
  for (int round = 0; round < 10; ++round) {
    ASSERT_TRUE(service.startService());
    ASSERT_TRUE(good.waitForPolls(20));
    EXPECT_NE(ask(service.port(), "web"), "(no answer)");
    EXPECT_EQ(service.stopService(), 0);
    EXPECT_TRUE(service.log().ends_with("\nProcess stopped\n"));
    service.folder().write("nimbolsp-run.log", "");
  }
}

}  // namespace
