#include "tests/support/test_client.h"

#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>

#include "tests/support/eventually.h"

int bindPort(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (!nimbolsp::bindToLoopback(descriptor, port)) throw std::runtime_error("no port");
  nimbolsp::allowReuse(descriptor);
  return descriptor;
}

TestClient::TestClient(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval limit{kFarDeadline.count(), 0};
  setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  const sockaddr_in address = nimbolsp::addressOf(htonl(INADDR_LOOPBACK), port);
  if (connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) close();
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

std::string ask(std::uint16_t port, std::string_view pool) {
  TestClient client(port);
  client.send(requestFor(pool));
  const std::string answer = client.receive(2 + 255 + 1);  // until the service closes
  const bool begun = answer.size() >= 2 && answer[0] == 1 && client.isClosed();
  const bool whole = begun && answer.size() - 2 == static_cast<unsigned char>(answer[1]);
  return whole ? answer.substr(2) : "(no answer)";
}
