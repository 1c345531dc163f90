// Where sockets connect to, and one server that the test itself plays: who waits for the locks, what a poll
// stores, and the gate that ends all of it. Peers of every other manner show in the end-to-end tests.
#include "service/poller.h"

#include <fcntl.h>
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

class PollerTest : public ServiceTest {
 protected:
  PollerTest() {
    listening_.create();
    EXPECT_TRUE(listening_.bindAndListen(0));
    port_ = portOf(listening_.descriptor());
    server_->port = port_;
    PoolHold hold(pool_);
    listOf(server_).pushToHead({});
  }

  // Reads the poll of a connection, answers it, and waits for its orderly end.
  static void answer(TcpSocket& peer, const Statistics& statistics) {
    PollRequest bytes;
    const PollReply reply = encodePollReply(statistics);
    EXPECT_TRUE(peer.receiveExactly(bytes.data(), bytes.size()) && peer.sendAll(reply.data(), reply.size()));
    EXPECT_EQ(recv(peer.descriptor(), bytes.data(), 1, 0), 0);
  }

  static std::ptrdiff_t threadCount() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
  }

  TcpSocket listening_;
  std::uint16_t port_ = 0;
  ServerPool* const pool_ = createPool("Web", 1, 499);
  PoolServer* const server_ = &pool_->servers[0];
};

TEST_F(PollerTest, HostIsADottedAddress) {
  TcpSocket socket;
  socket.create();
  EXPECT_FALSE(socket.connectToHost("localhost", port_) || socket.connectToHost("255.255.255.255", port_));
  EXPECT_TRUE(socket.connectToHost("127.0.0.1", 65536 + port_)) << "the low 16 bits count";
}

TEST(TcpSocket, EitherCloseLeavesNothingToClose) {
  for (const bool orderly : {true, false}) {
    TcpSocket socket;
    socket.create();
    const int number = socket.descriptor();
    orderly ? void(socket.orderlyClose()) : socket.abortiveClose();
    EXPECT_TRUE(socket.descriptor() == 0 && fcntl(number, F_GETFD) == -1 && socket.orderlyClose());
    char byte = 0;
    EXPECT_FALSE(socket.connectToHost("127.0.0.1", 1) || socket.sendAll(&byte, 1) ||
                 socket.receiveExactly(&byte, 1) || socket.bindAndListen(0));
  }
}

// A connection to a port of this machine that nobody listens on may come from that very port.
TEST(TcpSocket, ReceiveWaitsWithoutLimitButNotForItself) {
  TcpSocket socket(bindPort());
  ASSERT_TRUE(socket.connectToAddress(0, portOf(socket.descriptor())));
  char bytes[34] = {};
  ASSERT_TRUE(socket.sendAll(bytes, 23));
  EXPECT_FALSE(socket.receiveExactly(bytes, sizeof bytes));
  timeval limit{1, 1};
  socklen_t size = sizeof limit;
  getsockopt(socket.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, &size);
  EXPECT_EQ(limit.tv_sec + limit.tv_usec, 0);  // Pins(no-receive-timeout)
}

TEST_F(PollerTest, EverybodyWaitsForTheLocks) {
  char reply[kNameSize];
  std::atomic<int> done = 0;
  std::vector<std::jthread> threads;
  PoolHold hold(pool_);
  LogWriter writer;
  threads.emplace_back([&] { allocateServer(pool_, reply), ++done; });
  threads.emplace_back([&] { markUnavailable(server_), ++done; });
  threads.emplace_back([&] { logText("written"), ++done; });
  letOthersGoOn();
  EXPECT_EQ(done, 0);
}

TEST_F(PollerTest, ReplyIsStoredUnderTheLockAndNotBehindTheGate) {
  set(&Settings::debugLevel, 1);
  server_->unavailable = true;  // so that the first poll takes no lock before its reply
  ASSERT_TRUE(startPolling(server_));
  TcpSocket first(listening_.accept());
  const std::ptrdiff_t polling = threadCount();
  {
    PoolHold hold(pool_);
    answer(first, {1, 0, 7, 10});
    letOthersGoOn();
    EXPECT_EQ(listOf(server_).row(0).load, 0);
  }
  TcpSocket second(listening_.accept());
  destroyAllPools();
  answer(second, {1, 0, 5, 10});
  EXPECT_TRUE(eventually([&] { return threadCount() < polling; }));
  const std::string line = "[ DEBUG ] [ " + std::to_string(port_) + " ] ";
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
      sleepRoundedToSeconds(milliseconds);
      EXPECT_EQ((std::chrono::steady_clock::now() - before) / std::chrono::seconds(1),
                milliseconds < 500 ? 0 : 1);
    });
  }
}

}  // namespace
}  // namespace nimbolsp
