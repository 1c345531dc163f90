// Polls of scripted servers by the real service, what they make of the answers, and its end in their midst.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <limits>
#include <memory>

#include "tests/support/daemon_process.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_server.h"

namespace {

constexpr std::int32_t kLimit = kIdle.loadLimit;
constexpr nimbolsp::Statistics kHalf{1, 0, kLimit / 2, kLimit};

class PollingTest : public testing::Test {
 protected:
  void addPool(const std::string& name, const std::vector<std::string>& entries) {
    pools_ += "Pool" + std::to_string(++count_) + "=" + name + "\r\n";
    sections_ += "\r\n[" + name + "]\r\nPollTimer=1\r\n";
    for (std::size_t i = 0; i < entries.size(); ++i) {
      sections_ += "Server" + std::to_string(i + 1) + "=" + entries[i] + "\r\n";
    }
  }

  void start() {
    service_.writeProfile(pools_ + "QuietMode=1\r\nDebugMode=1\r\nLogLineThreshold=10000\r\n", sections_);
    ASSERT_TRUE(service_.startService());
  }

  ~PollingTest() override { EXPECT_EQ(service_.stopService(), 0); }

  // Waits until the service gives one server ten times in a row: by its load, not by turns.
  bool settlesOn(const FakeServer& server, const std::string& pool) const {
    return eventually([&] {
      for (int i = 0; i < 10; ++i) {
        if (ask(service_.port(), pool) != server.entry()) return false;
      }
      return true;
    });
  }

  bool waitForLog(const std::string& line) const {
    return eventually([&] { return service_.log().find(line + "\n") != std::string::npos; });
  }

  DaemonProcess service_{NIMBOLSP_PROGRAM};

 private:
  std::string pools_, sections_;
  int count_ = 0;
};

TEST_F(PollingTest, StatisticsSteerTheAnswers) {
  FakeServer a(kIdle), b(kHalf);
  addPool("Web", {a.entry(), b.entry()});
  start();
  ASSERT_TRUE(a.waitForPolls(1));
  EXPECT_EQ(a.lastRequest(), std::string("\0\0\0\x17NIMBO_ORFC\0\x01\0\x0F\0\0\0\0\0", 23));
  EXPECT_TRUE(settlesOn(a, "web")) << "the lower load";
  b.answer(kIdle);
  a.answer(kHalf);
  EXPECT_TRUE(settlesOn(b, "web")) << "the loads have changed";
  b.answer({1, 100, 0, kLimit});
  EXPECT_TRUE(settlesOn(a, "web")) << "the lower list, in spite of its load";
}

TEST_F(PollingTest, DeadServerIsWithheldUntilItIsBack) {
  FakeServer steady(kHalf), failing(kIdle);
  addPool("Web", {steady.entry(), failing.entry()});
  addPool("Alone", {failing.entry()});
  start();
  EXPECT_TRUE(settlesOn(failing, "web"));
  failing.refuse();
  EXPECT_TRUE(settlesOn(steady, "web"));
  EXPECT_EQ(ask(service_.port(), "alone"), failing.entry()) << "better some server than none";
  failing.listenAgain();
  EXPECT_TRUE(settlesOn(failing, "web"));
}

TEST_F(PollingTest, MisbehaviourCostsOnlyTheServerItself) {
  const std::string idle =
      std::string(18, '\xFF') + std::string("\0\0\0\1\0\0\0\0\0\0\0\0\x7F\xFF\xFF\xFF", 16);
  const std::string oneByteShort = idle.substr(0, idle.size() - 1);
  const struct {
    const char* pool;
    std::string answer;
    FakeServer::Manner manner;
    bool wins;  // an odd but complete answer of an idle server
  } cases[] = {
      {"Silent", "", FakeServer::kKeepOpen, false},
      {"ClosesAtOnce", "", FakeServer::kClose, false},
      {"ClosesOneByteShort", oneByteShort, FakeServer::kClose, false},
      {"Resets", oneByteShort, FakeServer::kReset, false},
      {"Dribbles", idle, FakeServer::kDribble, true},
      {"SaysMore", idle + std::string(100000, '\xFF'), FakeServer::kClose, true},
  };
  FakeServer good(kHalf);
  std::vector<std::unique_ptr<FakeServer>> odd;
  for (const auto& row : cases) {
    odd.push_back(std::make_unique<FakeServer>());
    odd.back()->answerWith(row.answer, row.manner);
    addPool(row.pool, {good.entry(), odd.back()->entry()});
  }
  start();
  for (std::size_t i = 0; i < odd.size(); ++i) {
    EXPECT_TRUE(settlesOn(cases[i].wins ? *odd[i] : good, cases[i].pool)) << cases[i].pool;
  }
  odd[0]->answer(kIdle);  // the poll that waits stays without an answer
  const int polls = odd[0]->polls();
  ASSERT_TRUE(odd[1]->waitForPolls(2));
  EXPECT_EQ(odd[0]->polls(), polls);
  EXPECT_TRUE(waitForLog("[ DEBUG ] [ " + odd[1]->entry() + " ] No response received from NIMBO server."));
}

TEST_F(PollingTest, StatisticsOutOfRangeAreReportedAndUsed) {
  constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
  FakeServer idle(kIdle), negative({1, 0, -kLimit, kLimit}), refusing;
  refusing.refuse();
  FakeServer extremes[] = {
      {{-1, lowest, lowest, -1}}, {{highest, highest, 536870912, -1}}, {{0, highest, highest, 0}}};
  std::vector<std::string> entries{std::to_string(refusing.port())};
  for (const FakeServer& server : extremes) entries.push_back(server.entry());
  addPool("Web", {negative.entry(), idle.entry()});
  addPool("Extreme", entries);
  start();
  EXPECT_TRUE(settlesOn(negative, "web")) << "a negative load beats an idle server";
  for (FakeServer& server : extremes) {
    EXPECT_TRUE(eventually([&] { return server.polls() > 0; }));
  }
  for (int i = 0; i < 20; ++i) EXPECT_NE(ask(service_.port(), "extreme"), "(no answer)");
  EXPECT_TRUE(service_.log().starts_with("[ DEBUG ] [ 1 ] Debug is ON\n"));
  EXPECT_TRUE(waitForLog("[ DEBUG ] [ " + idle.entry() + " ] Thread started"));
  EXPECT_TRUE(waitForLog("Invalid statistic value received"));
  EXPECT_TRUE(waitForLog("[ DEBUG ] [ " + negative.entry() + " ] Load: -100%"));
  EXPECT_TRUE(waitForLog("[ DEBUG ] [ " + entries[0] + " ] Failed connecting to NIMBO server."));
}

// Seconds whose milliseconds wrap to 8: the threads poll without a pause.
const std::string kNoPause = "PollTimer=115964117\r\n";

TEST(Polling, EndsInOrderWhateverThePollersDo) {
  FakeServer good, resetting, silent, refusing;
  resetting.answerWith("", FakeServer::kReset);
  silent.answerWith("", FakeServer::kKeepOpen);
  refusing.refuse();
  const Descriptor full(bindPort());  // a connection to it waits for ever
  listen(full.number(), 0);
  const TestClient filling(portOf(full.number()));

  std::string servers;
  int number = 0;
  for (std::uint16_t port : {good.port(), good.port(), good.port(), resetting.port(), silent.port(),
                             refusing.port(), portOf(full.number())}) {
    servers += "Server" + std::to_string(++number) + "=" + std::to_string(port) + "\r\n";
  }
  DaemonProcess service(NIMBOLSP_PROGRAM);
  service.writeProfile("Pool1=Web\r\nDebugMode=2\r\nLogLineThreshold=100\r\n",
                       "\r\n[Web]\r\n" + kNoPause + servers);
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
