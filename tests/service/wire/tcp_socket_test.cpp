// Where a socket connects to, and its end. Peers that close, reset, stay silent and take their time show in
// the end-to-end tests.
#include "service/wire/tcp_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "tests/support/test_client.h"

namespace nimbolsp {
namespace {

class TcpSocketTest : public testing::Test {
 protected:
  // A listening socket that peers connect to.
  TcpSocketTest() {
    listening_.create();
    EXPECT_TRUE(listening_.bindAndListen(0));
    port_ = portOf(listening_.descriptor());
  }

  TcpSocket listening_;
  std::uint16_t port_ = 0;
};

TEST_F(TcpSocketTest, HostIsADottedAddress) {
  TcpSocket socket;
  EXPECT_FALSE(socket.connectToHost("127.0.0.1", port_)) << "without a socket";
  socket.create();
  EXPECT_FALSE(socket.connectToHost("localhost", port_) || socket.connectToHost("255.255.255.255", port_));
  EXPECT_TRUE(socket.connectToHost("127.0.0.1", 65536 + port_)) << "the low 16 bits count";
}

// Pins(no-receive-timeout)
TEST_F(TcpSocketTest, ReceiveWaitsWithoutLimit) {
  TestClient peer(port_);
  TcpSocket socket(listening_.accept());
  char byte;
  ASSERT_TRUE(peer.send("1") && socket.receiveExactly(&byte, 1));
  timeval limit{1, 1};
  socklen_t size = sizeof limit;
  getsockopt(socket.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, &size);
  EXPECT_EQ(limit.tv_sec + limit.tv_usec, 0);
}

TEST_F(TcpSocketTest, DescriptorIsClosedOnce) {
  TcpSocket socket;
  socket.create();
  const int number = socket.descriptor();
  socket.orderlyClose();
  const Descriptor other(fcntl(listening_.descriptor(), F_DUPFD, number));  // takes the number over
  socket.abortiveClose();
  EXPECT_NE(fcntl(other.number(), F_GETFD), -1);
}

// A connection to a port of this machine that nobody listens on may come from that very port.
TEST_F(TcpSocketTest, ConnectionToItselfGivesNoReply) {
  TcpSocket socket(bindPort());
  ASSERT_TRUE(socket.connectToAddress(0, portOf(socket.descriptor())));
  char bytes[34] = {};
  ASSERT_TRUE(socket.sendAll(bytes, 23));
  EXPECT_FALSE(socket.receiveExactly(bytes, sizeof bytes));
}

}  // namespace
}  // namespace nimbolsp
