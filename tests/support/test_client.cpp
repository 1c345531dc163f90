#include "tests/support/test_client.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "tests/support/eventually.h"

namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

}  // namespace

void Descriptor::replace(int number) {
  if (number_ != -1) ::close(number_);
  number_ = number;
}

int bindPort(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  const int reuse = 1;
  // A port of its own is free of other users; one that is bound again may still have old connections.
  if (port != 0) setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("no port");
  }
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  return descriptor;
}

std::uint16_t portOf(int descriptor) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

TestClient::TestClient(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval limit{kFarDeadline.count(), 0};
  setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  const sockaddr_in address = loopback(port);
  if (connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) close();
}

bool TestClient::send(std::string_view bytes) {
  return ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes);
}

std::string TestClient::receive(std::size_t size) {
  if (size == 0) return {};  // even so a call would take the reset that awaitEnd is to see
  std::string bytes(size, '\0');
  const ssize_t received = recv(socket_.number(), bytes.data(), size, MSG_WAITALL);
  bytes.resize(received < 0 ? 0 : static_cast<std::size_t>(received));
  return bytes;
}

TestClient::End TestClient::awaitEnd() {
  char byte;
  const ssize_t received = recv(socket_.number(), &byte, 1, 0);
  if (received == 0) return kClosed;
  return received == -1 && errno == ECONNRESET ? kReset : kNone;
}

void TestClient::reset() {
  const linger now{1, 0};
  setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
  close();
}

std::string requestFor(std::string_view pool) {
  return std::string{'\0', static_cast<char>(pool.size())}.append(pool);
}

std::string ask(std::uint16_t port, std::string_view pool) {
  TestClient client(port);
  client.send(requestFor(pool));
  const std::string answer = client.receive(2 + 255 + 1);  // until the service closes
  const bool begun = answer.size() >= 2 && answer[0] == 1 && client.isClosed();
  const bool whole = begun && answer.size() - 2 == static_cast<unsigned char>(answer[1]);
  return whole ? answer.substr(2) : "(no answer)";
}
