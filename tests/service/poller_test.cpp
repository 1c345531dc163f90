// One server that the test itself plays: who waits for the locks, what a poll stores, and the gate that ends
// all of it. What many servers make of the answers shows in the end-to-end tests.
#include "service/poller.h"

#include <sys/socket.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "service/allocation.h"
#include "service/reports.h"
#include "service/threads.h"
#include "service/wire/tcp_socket.h"
#include "tests/support/eventually.h"
#include "tests/support/service_test.h"
#include "tests/support/test_client.h"

namespace nimbolsp {
namespace {

// Long enough for a thread that need not wait, even on a busy machine.
void letOthersGoOn() {
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

std::ptrdiff_t threadCount() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return std::distance(begin(threads), end(threads));
}

// Reads the poll of a connection, answers it, and waits for its orderly end.
void answer(TcpSocket& peer, const Statistics& statistics) {
  PollRequest request;
  const PollReply reply = encodePollReply(statistics);
  EXPECT_TRUE(peer.receiveExactly(request.data(), request.size()) &&
              peer.sendAll(reply.data(), reply.size()));
  EXPECT_EQ(recv(peer.descriptor(), request.data(), 1, 0), 0);
}

using PollerTest = ServiceTest;

TEST_F(PollerTest, EverybodyWaitsForTheLocks) {
  ServerPool* pool = createPool("Web", 1, 0);
  char reply[kNameSize];
  std::atomic<int> done = 0;
  std::vector<std::jthread> threads;
  PoolHold hold(pool);
  {
    LogWriter writer;
    threads.emplace_back([&] { allocateServer(pool, reply), ++done; });
    threads.emplace_back([&] { markUnavailable(&pool->servers[0]), ++done; });
    threads.emplace_back([&] { logText("written"), ++done; });
    letOthersGoOn();
    EXPECT_EQ(done, 0);
  }
  EXPECT_TRUE(eventually([&] { return done == 1; })) << "the log's alone";
  letOthersGoOn();
  EXPECT_EQ(done, 1);
}

TEST_F(PollerTest, ReplyIsStoredUnderTheLockAndNotBehindTheGate) {
  TcpSocket listening;
  listening.create();
  ASSERT_TRUE(listening.bindAndListen(0));
  set(&Settings::debugLevel, 1);
  ServerPool* pool = createPool("Web", 1, 499);
  PoolServer* server = &pool->servers[0];
  server->port = portOf(listening.descriptor());
  server->unavailable = true;  // so that the first poll takes no lock before its reply
  const std::ptrdiff_t before = threadCount();
  ASSERT_TRUE(startPolling(server));
  TcpSocket first(listening.accept());
  {
    PoolHold hold(pool);
    answer(first, {1, 0, 7, 10});
    letOthersGoOn();
    EXPECT_EQ(server->load, 0);
  }
  TcpSocket second(listening.accept());
  closeLayerGate();
  stopPolling = true;
  answer(second, {1, 0, 5, 10});
  EXPECT_TRUE(eventually([&] { return threadCount() == before; }));
  const std::string line = "[ DEBUG ] [ " + std::to_string(server->port) + " ] ";
  EXPECT_EQ(log(), line + "Thread started\n" + line + "Load: 70%\n");
}

TEST_F(PollerTest, GateClosesBehindTheVisitsUnderWay) {
  std::atomic<bool> inside = false;
  std::jthread visitor([&] {
    const LayerVisit visit;
    inside = true;
    letOthersGoOn();
    logText("still inside");
  });
  ASSERT_TRUE(eventually([&] { return inside.load(); }));
  closeLayerGate();
  EXPECT_EQ(log(), "still inside\n");
  EXPECT_FALSE(LayerVisit());
}

TEST(Sleep, LastsWholeSeconds) {
  std::vector<std::jthread> sleepers;
  for (const std::uint32_t milliseconds : {499U, 500U, 1499U}) {
    sleepers.emplace_back([milliseconds] {
      const auto before = std::chrono::steady_clock::now();
      sleepSeconds(milliseconds);
      const auto slept = std::chrono::floor<std::chrono::seconds>(std::chrono::steady_clock::now() - before);
      EXPECT_EQ(slept.count(), milliseconds < 500 ? 0 : 1) << milliseconds;
    });
  }
}

}  // namespace
}  // namespace nimbolsp
